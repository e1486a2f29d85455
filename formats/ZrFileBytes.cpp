// Whole-file reading, and file replacement over QSaveFile, alone or as a group.
#include "formats/ZrFileBytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSaveFile>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "numerics/ZrError.h"

std::string ZrReadFileBytes(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw ZrError(path + ": cannot open (" + std::strerror(errno) + ")");
  std::string bytes;
  struct stat st {};
  if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
    ::close(fd);
    throw ZrError(path + ": cannot open (not a regular file)");
  }
  bytes.resize(static_cast<size_t>(st.st_size));
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::read(fd, &bytes[done], bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int err = n < 0 ? errno : 0;
      ::close(fd);
      throw ZrError(path + ": cannot read (" + (err != 0 ? std::strerror(err) : "file shrank") +
                    ")");
    }
    done += static_cast<size_t>(n);
  }
  ::close(fd);
  return bytes;
}

namespace {

[[noreturn]] void CannotWrite(const std::string& path, const std::string& reason) {
  throw ZrError(path + ": cannot write (" + reason + ")");
}

// The file QSaveFile replaces: path with its symbolic links followed, as QSaveFile follows them.
std::string FinalPath(const QString& path) {
  QFileInfo info(path);
  for (int depth = 0; depth < 128 && info.isSymLink(); ++depth) info.setFile(info.symLinkTarget());
  return info.isSymLink() ? path.toStdString() : info.filePath().toStdString();
}

// A hard link to the regular file at path under a new hidden name beside it; "" when there is
// no such file. link() refuses a name that exists, so no other file is ever taken over.
std::string LinkBackup(const std::string& path) {
  if (!QFileInfo(QString::fromStdString(path)).isFile()) return std::string();
  const size_t slash = path.find_last_of('/');
  const std::string dir = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
  const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  for (int attempt = 0;; ++attempt) {
    char suffix[24];
    std::snprintf(suffix, sizeof suffix, ".%08x", QRandomGenerator::global()->generate());
    const std::string backup = dir + "." + base + suffix;
    if (::link(path.c_str(), backup.c_str()) == 0) return backup;
    if (errno != EEXIST || attempt == 100) CannotWrite(path, std::strerror(errno));
  }
}

}  // namespace

struct ZrStagedFiles::File {
  std::string Path;
  std::string Final;   // path with its links followed: what is replaced
  std::string Backup;  // hard link to what final held, while it is being replaced
  QSaveFile Save;

  explicit File(const std::string& p) : Path(p), Save(QString::fromStdString(p)) {}
};

ZrStagedFiles::ZrStagedFiles() = default;

ZrStagedFiles::~ZrStagedFiles() {
  for (const auto& f : files_) {
    if (!f->Backup.empty()) ::unlink(f->Backup.c_str());
  }
}

void ZrStagedFiles::Add(const std::string& path, const std::string& bytes) {
  files_.push_back(std::make_unique<File>(path));
  File& f = *files_.back();
  f.Final = FinalPath(QString::fromStdString(path));
  if (!f.Save.open(QIODevice::WriteOnly)) {
    // QSaveFile has its own words for a folder in the way; the system's are kept.
    if (QFileInfo(QString::fromStdString(path)).isDir()) CannotWrite(path, std::strerror(EISDIR));
    CannotWrite(path, f.Save.errorString().toStdString());
  }
  const auto size = static_cast<qint64>(bytes.size());
  if (f.Save.write(bytes.data(), size) != size) {
    CannotWrite(path, f.Save.errorString().toStdString());
  }
}

void ZrStagedFiles::Commit() {
  for (size_t i = 0; i < files_.size(); ++i) {
    File& f = *files_[i];
    try {
      // A single file needs no way back: its commit either happens or leaves it as it was.
      if (files_.size() > 1) f.Backup = LinkBackup(f.Final);
    } catch (const ZrError&) {
      RollBack(i);
      throw;
    }
    if (!f.Save.commit()) {
      const std::string reason = f.Save.errorString().toStdString();
      RollBack(i);
      CannotWrite(f.Path, reason);
    }
  }
  for (const auto& f : files_) {
    if (!f->Backup.empty()) ::unlink(f->Backup.c_str());
    f->Backup.clear();
  }
}

// Puts back what the files before `failed` held; the failed one was not replaced.
void ZrStagedFiles::RollBack(size_t failed) {
  for (size_t i = 0; i < failed; ++i) {
    File& f = *files_[i];
    if (f.Backup.empty()) {
      ::unlink(f.Final.c_str());
    } else if (::rename(f.Backup.c_str(), f.Final.c_str()) == 0) {
      f.Backup.clear();
    }
  }
}

void ZrWriteFilesAtomic(const std::vector<std::pair<std::string, std::string>>& files) {
  ZrStagedFiles staged;
  for (const auto& [path, bytes] : files) staged.Add(path, bytes);
  staged.Commit();
}

void ZrWriteFileAtomic(const std::string& path, const std::string& bytes,
                       const std::string& failurePrefix) {
  try {
    ZrWriteFilesAtomic({{path, bytes}});
  } catch (const ZrError&) {
    if (failurePrefix.empty()) throw;
    throw ZrError(failurePrefix + path);
  }
}
