// The NumPy array file format: version 1 to 3 headers, numeric element types, frames.
#include "imageio/ZrImageNpy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include "imageio/ZrImageCodec.h"

namespace {

constexpr char kMagic[] = "\x93NUMPY";
constexpr size_t kMagicSize = 6;
// numpy itself writes a few hundred bytes at most; a larger header is not an image file.
constexpr uint32_t kMaxHeaderSize = 1u << 20;

uint32_t LittleEndian(const std::string& bytes, size_t at, int size) {
  uint32_t v = 0;
  for (int i = 0; i < size; ++i) {
    v |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
  }
  return v;
}

// The header dictionary is a Python literal; numpy writes only strings, True/False and a tuple
// of integers in it, and that is all this reader accepts.
class DictReader {
 public:
  DictReader(const std::string& text, const std::string& name) : text_(text), name_(name) {}

  bool Take(char c) {
    SkipSpace();
    if (at_ < text_.size() && text_[at_] == c) {
      ++at_;
      return true;
    }
    return false;
  }
  void Expect(char c) {
    if (!Take(c)) Fail(std::string("'") + c + "' expected");
  }
  bool AtEnd() {
    SkipSpace();
    return at_ == text_.size();
  }
  bool Peek(char c) {
    SkipSpace();
    return at_ < text_.size() && text_[at_] == c;
  }

  std::string String() {
    SkipSpace();
    if (at_ >= text_.size() || (text_[at_] != '\'' && text_[at_] != '"')) Fail("text expected");
    const char quote = text_[at_++];
    const size_t end = text_.find(quote, at_);
    if (end == std::string::npos) Fail("unterminated text");
    std::string s = text_.substr(at_, end - at_);
    at_ = end + 1;
    return s;
  }

  bool Bool() {
    SkipSpace();
    for (const auto& [word, value] : {std::pair{"True", true}, std::pair{"False", false}}) {
      const size_t n = std::strlen(word);
      if (text_.compare(at_, n, word) == 0) {
        at_ += n;
        return value;
      }
    }
    Fail("True or False expected");
  }

  std::vector<int64_t> Tuple() {
    Expect('(');
    std::vector<int64_t> values;
    while (!Take(')')) {
      values.push_back(Integer());
      if (!Take(',')) {
        Expect(')');
        break;
      }
    }
    return values;
  }

  [[noreturn]] void Fail(const std::string& what) const {
    throw ZrError(name_ + ": .npy header is malformed (" + what + " at character " +
                  std::to_string(at_) + ")");
  }

 private:
  void SkipSpace() {
    while (at_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[at_]))) ++at_;
  }

  int64_t Integer() {
    SkipSpace();
    if (at_ >= text_.size() || !std::isdigit(static_cast<unsigned char>(text_[at_]))) {
      Fail("a size expected");
    }
    int64_t v = 0;
    while (at_ < text_.size() && std::isdigit(static_cast<unsigned char>(text_[at_]))) {
      const int digit = text_[at_++] - '0';
      if (v > (std::numeric_limits<int64_t>::max() - digit) / 10) Fail("size too large");
      v = 10 * v + digit;
    }
    if (at_ < text_.size() && text_[at_] == 'L') ++at_;  // Python 2 long literals
    return v;
  }

  const std::string& text_;
  const std::string& name_;
  size_t at_ = 0;
};

// "<f4", ">u2", "|u1": byte order, kind, item size.
bool ParseDescr(const std::string& descr, ZrNpyHeader& h) {
  if (descr.size() != 3 || std::string("<>|=").find(descr[0]) == std::string::npos) return false;
  h.Kind = descr[1];
  h.ItemSize = descr[2] - '0';
  h.BigEndian = descr[0] == '>';
  if (h.Kind == 'f') return h.ItemSize == 4 || h.ItemSize == 8;
  if (h.Kind != 'i' && h.Kind != 'u') return false;
  return h.ItemSize == 1 || h.ItemSize == 2 || h.ItemSize == 4 || h.ItemSize == 8;
}

template <typename T>
void Convert(const char* in, int64_t count, bool swap, float* out) {
  for (int64_t i = 0; i < count; ++i) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, in + i * static_cast<int64_t>(sizeof(T)), sizeof(T));
    if (swap) {
      for (size_t k = 0; k < sizeof(T) / 2; ++k) std::swap(bytes[k], bytes[sizeof(T) - 1 - k]);
    }
    T v;
    std::memcpy(&v, bytes, sizeof(T));
    out[i] = static_cast<float>(v);
  }
}

void ConvertElements(const ZrNpyHeader& h, const char* in, int64_t count, float* out) {
  const bool swap = h.BigEndian;  // this build runs on little-endian hosts (see ZrImageFile.cpp)
  if (h.Kind == 'f') {
    return h.ItemSize == 4 ? Convert<float>(in, count, swap, out)
                           : Convert<double>(in, count, swap, out);
  }
  const bool sign = h.Kind == 'i';
  switch (h.ItemSize) {
    case 1:
      return sign ? Convert<int8_t>(in, count, swap, out) : Convert<uint8_t>(in, count, swap, out);
    case 2:
      return sign ? Convert<int16_t>(in, count, swap, out)
                  : Convert<uint16_t>(in, count, swap, out);
    case 4:
      return sign ? Convert<int32_t>(in, count, swap, out)
                  : Convert<uint32_t>(in, count, swap, out);
    default:
      return sign ? Convert<int64_t>(in, count, swap, out)
                  : Convert<uint64_t>(in, count, swap, out);
  }
}

}  // namespace

ZrNpyHeader ZrParseNpyHeader(const std::string& bytes, const std::string& name) {
  if (bytes.size() < 8 || bytes.compare(0, kMagicSize, kMagic, kMagicSize) != 0) {
    throw ZrError(name + ": not a .npy file (no NumPy signature)");
  }
  const int major = static_cast<unsigned char>(bytes[6]);
  const int minor = static_cast<unsigned char>(bytes[7]);
  if (major < 1 || major > 3) {
    throw ZrError(name + ": .npy version " + std::to_string(major) + "." + std::to_string(minor) +
                  " is not supported");
  }
  const size_t start = major == 1 ? 10 : 12;
  if (bytes.size() < start) throw ZrError(name + ": .npy header is truncated");
  const uint32_t length = LittleEndian(bytes, 8, major == 1 ? 2 : 4);
  if (length > kMaxHeaderSize) {
    throw ZrError(name + ": .npy header of " + std::to_string(length) + " bytes is too large");
  }
  if (bytes.size() < start + length) throw ZrError(name + ": .npy header is truncated");

  ZrNpyHeader h;
  h.DataOffset = static_cast<int64_t>(start + length);
  const std::string text = bytes.substr(start, length);
  DictReader dict(text, name);
  std::string descr;
  bool haveDescr = false, haveOrder = false, haveShape = false;
  dict.Expect('{');
  while (!dict.Take('}')) {
    const std::string key = dict.String();
    dict.Expect(':');
    if (key == "descr" && !dict.Peek('[')) {
      descr = dict.String();
      haveDescr = true;
    } else if (key == "descr") {
      throw ZrError(name + ": .npy arrays of records are not images");
    } else if (key == "fortran_order") {
      h.FortranOrder = dict.Bool();
      haveOrder = true;
    } else if (key == "shape") {
      h.Shape = dict.Tuple();
      haveShape = true;
    } else {
      dict.Fail("unknown key '" + key + "'");
    }
    if (!dict.Take(',')) {
      dict.Expect('}');
      break;
    }
  }
  if (!dict.AtEnd()) dict.Fail("end of header expected");
  if (!haveDescr || !haveOrder || !haveShape) {
    throw ZrError(name + ": .npy header lacks '" +
                  (!haveDescr   ? "descr"
                   : !haveOrder ? "fortran_order"
                                : "shape") +
                  "'");
  }
  if (!ParseDescr(descr, h)) {
    throw ZrError(name + ": .npy element type '" + descr +
                  "' is not supported (float32, float64 or 8- to 64-bit integers)");
  }
  if (h.Shape.size() != 2 && h.Shape.size() != 3) {
    throw ZrError(name + ": a .npy array of " + std::to_string(h.Shape.size()) +
                  " dimensions is not an image (2-D, or 3-D for a stack of frames)");
  }
  if (h.FortranOrder && h.Shape.size() == 3) {
    throw ZrError(name + ": a Fortran-ordered 3-D .npy array is not supported (save it C-ordered)");
  }
  const int64_t rows = h.Shape[h.Shape.size() - 2];
  const int64_t cols = h.Shape[h.Shape.size() - 1];
  if (rows > std::numeric_limits<int32_t>::max() || cols > std::numeric_limits<int32_t>::max() ||
      (rows > 0 && cols > kZrImageMaxPixels / rows)) {
    throw ZrError(name + ": .npy frame size " + std::to_string(rows) + " x " +
                  std::to_string(cols) + " is too large");
  }
  if (h.Shape.size() == 3 && h.Frames() > 0 && h.FrameBytes() == 0) {
    throw ZrError(name + ": a .npy stack of empty frames (" + std::to_string(rows) + " x " +
                  std::to_string(cols) + ")");
  }
  if (h.FrameBytes() > 0 &&
      h.Frames() > (std::numeric_limits<int64_t>::max() - h.DataOffset) / h.FrameBytes()) {
    throw ZrError(name + ": .npy array of " + std::to_string(h.Frames()) + " frames is too large");
  }
  return h;
}

ZrFloatMatrix ZrNpyFrame(const ZrNpyHeader& h, const char* elements) {
  ZrFloatMatrix image(h.Cols(), h.Rows());
  if (!h.FortranOrder) {
    ConvertElements(h, elements, image.Count(), image.Data);
    return image;
  }
  // Fortran order (2-D only) stores the columns one after another.
  std::vector<float> columns(static_cast<size_t>(image.Count()));
  ConvertElements(h, elements, image.Count(), columns.data());
  for (int64_t y = 0; y < image.RowSize; ++y) {
    for (int64_t x = 0; x < image.ColSize; ++x) {
      image.Data[y * image.ColSize + x] = columns[static_cast<size_t>(x * image.RowSize + y)];
    }
  }
  return image;
}

ZrFloatMatrix ZrDecodeNpy(const std::string& bytes, const std::string& name) {
  const ZrNpyHeader h = ZrParseNpyHeader(bytes, name);
  if (h.Shape.size() == 3) {
    throw ZrError(name + ": a stack of " + std::to_string(h.Frames()) +
                  " frames (3-D .npy array) is not one image");
  }
  if (static_cast<uint64_t>(h.DataOffset + h.FrameBytes()) != bytes.size()) {
    throw ZrError(name + ": .npy shape (" + std::to_string(h.Rows()) + ", " +
                  std::to_string(h.Cols()) + ") does not match the file length of " +
                  std::to_string(bytes.size()) + " bytes");
  }
  return ZrNpyFrame(h, bytes.data() + h.DataOffset);
}

std::string ZrEncodeNpy(const ZrFloatMatrix& image) {
  std::string dict = "{'descr': '<f4', 'fortran_order': False, 'shape': (" +
                     std::to_string(image.RowSize) + ", " + std::to_string(image.ColSize) + "), }";
  // numpy pads the header with blanks and a newline so that the data start 64-byte aligned.
  const size_t unpadded = 10 + dict.size() + 1;
  dict.append((64 - unpadded % 64) % 64, ' ');
  dict.push_back('\n');
  std::string out(kMagic, kMagicSize);
  out += std::string("\x01\x00", 2);
  out.push_back(static_cast<char>(dict.size() & 0xff));
  out.push_back(static_cast<char>(dict.size() >> 8));
  out += dict;
  if (image.Count() > 0) {
    out.append(reinterpret_cast<const char*>(image.Data), 4 * static_cast<size_t>(image.Count()));
  }
  return out;
}

namespace {

// An open .npy file: its header (checked against the file length) and positioned reads.
class NpyFile {
 public:
  explicit NpyFile(const std::string& path) : path_(path) {
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd_ < 0) throw ZrError(path + ": cannot open (" + std::strerror(errno) + ")");
    struct stat st {};
    if (::fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode)) {
      ::close(fd_);
      throw ZrError(path + ": cannot open (not a regular file)");
    }
    try {
      // The fixed part tells the header's length; then the header alone is read.
      const std::string fixed = Read(0, static_cast<size_t>(std::min<int64_t>(st.st_size, 12)));
      size_t size = fixed.size();
      if (fixed.size() >= 10 && fixed.compare(0, kMagicSize, kMagic, kMagicSize) == 0) {
        const int major = static_cast<unsigned char>(fixed[6]);
        const size_t start = major == 1 ? 10 : 12;
        if (fixed.size() >= start) {
          const uint32_t length = LittleEndian(fixed, 8, major == 1 ? 2 : 4);
          size = static_cast<size_t>(std::min<int64_t>(
              st.st_size, static_cast<int64_t>(start) + std::min(length, kMaxHeaderSize + 1)));
        }
      }
      Header = ZrParseNpyHeader(Read(0, size), path);
      if (Header.DataOffset + Header.Frames() * Header.FrameBytes() != st.st_size) {
        throw ZrError(path + ": .npy shape does not match the file length of " +
                      std::to_string(st.st_size) + " bytes");
      }
    } catch (...) {
      ::close(fd_);
      throw;
    }
  }
  ~NpyFile() { ::close(fd_); }
  NpyFile(const NpyFile&) = delete;
  NpyFile& operator=(const NpyFile&) = delete;

  std::string Read(int64_t offset, size_t size) const {
    std::string bytes(size, '\0');
    size_t done = 0;
    while (done < size) {
      const ssize_t n = ::pread(fd_, &bytes[done], size - done, offset + static_cast<off_t>(done));
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) {
        throw ZrError(path_ + ": cannot read (" + (n < 0 ? std::strerror(errno) : "file shrank") +
                      ")");
      }
      done += static_cast<size_t>(n);
    }
    return bytes;
  }

  ZrNpyHeader Header;

 private:
  std::string path_;
  int fd_ = -1;
};

}  // namespace

ZrNpyHeader ZrReadNpyHeader(const std::string& path) {
  return NpyFile(path).Header;
}

ZrFloatMatrix ZrReadNpyFrame(const std::string& path, int64_t frame) {
  const NpyFile file(path);
  const ZrNpyHeader& h = file.Header;
  if (frame < 0 || frame >= h.Frames()) {
    throw ZrError(path + ": frame " + std::to_string(frame) + " is outside the " +
                  std::to_string(h.Frames()) + " frames of the file");
  }
  const std::string elements =
      file.Read(h.DataOffset + frame * h.FrameBytes(), static_cast<size_t>(h.FrameBytes()));
  return ZrNpyFrame(h, elements.data());
}
