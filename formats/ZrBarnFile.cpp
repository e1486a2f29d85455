// The XML tree on a stdio file.
#include "formats/ZrBarnFile.h"

#include <sys/stat.h>
#include <QtGlobal>
#include <cstring>
#include <new>

#include "formats/ZrBarnXmlRack.h"

ZrBarnFile::ZrBarnFile(const std::string& path, const std::string& mode)
    : ZrBarnXml(mode), path_(path) {
  Open();
}

ZrBarnFile::ZrBarnFile(const std::string& path, const std::string& mode,
                       const std::string& rootName, const std::string& message)
    : ZrBarnXml(mode), path_(path) {
  if (!mode_) {
    FILE* probe = std::fopen(path.c_str(), "rt");
    if (probe == nullptr) throw ZrError("Canot file open " + path);
    char head[4096];
    const size_t got = std::fread(head, 1, sizeof(head), probe);
    std::fclose(probe);
    if (std::string_view(head, got).find("<" + rootName + ">") == std::string_view::npos) {
      throw ZrError(message);
    }
  }
  Open();
}

void ZrBarnFile::Open() {
  if (mode_) {
    file_ = std::fopen(path_.c_str(), "w");
    if (file_ == nullptr) throw ZrError("Cannot File Open " + path_);
    return;
  }
  impl_->statusText = "Loading....";
  impl_->status = 0;
  FILE* in = std::fopen(path_.c_str(), "r");
  // A folder opens as a stream on some systems but holds no text (and no usable length).
  struct stat st {};
  if (in != nullptr && (::fstat(::fileno(in), &st) != 0 || S_ISDIR(st.st_mode))) {
    std::fclose(in);
    in = nullptr;
  }
  if (in == nullptr) throw ZrError(path_ + ": Cannot File Open");
  long length = -1;
  if (std::fseek(in, 0, SEEK_END) == 0) length = std::ftell(in);
  std::rewind(in);
  if (length < 0) length = 0;
  char* buffer = new (std::nothrow) char[static_cast<size_t>(length) + 128];
  if (buffer == nullptr) {
    std::fclose(in);
    throw ZrError("Cannot get the temp memory for xml loading");
  }
  // Text mode may return fewer bytes than the length; keep what was read.
  const size_t got = std::fread(buffer, 1, static_cast<size_t>(length), in);
  std::fclose(in);
  std::string text(buffer, got);
  delete[] buffer;
  TagText(std::move(text), "Analyzing....");
}

void ZrBarnFile::Write() {
  if (file_ == nullptr) return;
  std::string text;
  GetText(text);
  FILE* out = file_;
  file_ = nullptr;
  const bool written = std::fwrite(text.data(), 1, text.size(), out) == text.size();
  const bool closed = std::fclose(out) == 0;
  if (!written || !closed) throw ZrError("Cannot File Write " + path_);
}

ZrBarnFile::~ZrBarnFile() {
  try {
    Write();
  } catch (const ZrError& e) {
    qWarning("%s", e.Message.c_str());
  } catch (...) {
    qWarning("%s", ("Cannot File Write " + path_).c_str());
  }
}
