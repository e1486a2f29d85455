// SHA-256 over OpenSSL's EVP digest interface.
#include "formats/ZrSha256.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "numerics/ZrError.h"

namespace {

struct ContextFree {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_MD_CTX, ContextFree>;

Context Begin() {
  Context context(EVP_MD_CTX_new());
  if (context == nullptr || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) {
    throw ZrError("SHA-256: the digest cannot be started");
  }
  return context;
}

void Add(EVP_MD_CTX* context, const void* data, size_t size) {
  if (EVP_DigestUpdate(context, data, size) != 1) throw ZrError("SHA-256: the digest failed");
}

ZrSha256Digest End(EVP_MD_CTX* context) {
  ZrSha256Digest digest{};
  unsigned int length = 0;
  if (EVP_DigestFinal_ex(context, digest.data(), &length) != 1 || length != digest.size()) {
    throw ZrError("SHA-256: the digest failed");
  }
  return digest;
}

std::string Hex(const ZrSha256Digest& digest) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * digest.size());
  for (const unsigned char byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// Closes the descriptor on every way out.
struct FileCloser {
  int Fd;
  ~FileCloser() { ::close(Fd); }
};

}  // namespace

ZrSha256Digest ZrSha256(const void* data, size_t size) {
  const Context context = Begin();
  Add(context.get(), data, size);
  return End(context.get());
}

std::string ZrSha256Hex(const std::string& bytes) {
  return Hex(ZrSha256(bytes.data(), bytes.size()));
}

std::string ZrFileSha256Hex(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw ZrError(path + ": cannot open (" + std::strerror(errno) + ")");
  const FileCloser closer{fd};
  struct stat st {};
  if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    throw ZrError(path + ": cannot open (not a regular file)");
  }
  const Context context = Begin();
  std::vector<char> piece(1 << 20);
  for (;;) {
    const ssize_t n = ::read(fd, piece.data(), piece.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) throw ZrError(path + ": cannot read (" + std::strerror(errno) + ")");
    if (n == 0) break;
    Add(context.get(), piece.data(), static_cast<size_t>(n));
  }
  return Hex(End(context.get()));
}
