// Encoders and decoders of the three array text forms; single table-driven passes.
#include "formats/ZrBinaryDataToText.h"

#include <cstdio>
#include <cstring>

#include "numerics/ZrError.h"

namespace {

// (n - 1) / 3 + 1 truncating toward zero: one group even for no bytes.
int64_t GroupCount(int64_t n) {
  return (n - 1) / 3 + 1;
}

}  // namespace

ZrBinaryDataToText::ZrBinaryDataToText()
    : ownAlphabet("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ.-"),
      base64Alphabet("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/") {
  BuildReverse(ownAlphabet, ownReverse);
  BuildReverse(base64Alphabet, base64Reverse);
}

ZrBinaryDataToText::~ZrBinaryDataToText() = default;

void ZrBinaryDataToText::BuildReverse(const std::string& alphabet, unsigned char* reverse) {
  if (alphabet.size() != 64) throw ZrError("Definition error");
  std::memset(reverse, 0, 256);
  for (size_t v = 0; v < alphabet.size(); ++v) {
    const int code = static_cast<unsigned char>(alphabet[v]);
    if (code < 0 || code > 255) throw ZrError("Error");
    reverse[code] = static_cast<unsigned char>(v);
  }
}

void ZrBinaryDataToText::Encode(const void* data, uint32_t byteCount, std::string& text,
                                bool useBase64Alphabet, bool standard) const {
  const auto* in = static_cast<const unsigned char*>(data);
  const int64_t n = byteCount;
  const int64_t groups = GroupCount(n);
  const int64_t full = n / 3;  // groups with three real bytes
  unsigned char tail[3] = {0, 0, 0};
  if (n > full * 3) std::memcpy(tail, in + full * 3, static_cast<size_t>(n - full * 3));

  if (standard) {
    text.resize(static_cast<size_t>(4 * groups));
    const char* a = base64Alphabet.data();
    char* out = text.data();
    for (int64_t g = 0; g < full; ++g, in += 3, out += 4) {
      const uint32_t v = (uint32_t{in[0]} << 16) | (uint32_t{in[1]} << 8) | in[2];
      out[0] = a[v >> 18];
      out[1] = a[(v >> 12) & 63];
      out[2] = a[(v >> 6) & 63];
      out[3] = a[v & 63];
    }
    if (groups > full) {
      const uint32_t v = (uint32_t{tail[0]} << 16) | (uint32_t{tail[1]} << 8) | tail[2];
      const int64_t left = n - full * 3;  // 0 (empty array), 1 or 2
      out[0] = a[v >> 18];
      out[1] = a[(v >> 12) & 63];
      out[2] = left == 2 ? a[(v >> 6) & 63] : '=';
      out[3] = '=';
    }
    return;
  }

  const char* a = useBase64Alphabet ? base64Alphabet.data() : ownAlphabet.data();
  text.resize(static_cast<size_t>(8 + 4 * groups));
  char header[16];
  std::snprintf(header, sizeof(header), "%08lx", static_cast<unsigned long>(byteCount));
  std::memcpy(text.data(), header, 8);
  char* out = text.data() + 8;
  auto put = [a](const unsigned char* b, char* o) {
    const uint32_t v = b[0] | (uint32_t{b[1]} << 8) | (uint32_t{b[2]} << 16);
    o[0] = a[v & 63];
    o[1] = a[(v >> 6) & 63];
    o[2] = a[(v >> 12) & 63];
    o[3] = a[v >> 18];
  };
  for (int64_t g = 0; g < full; ++g, in += 3, out += 4) put(in, out);
  if (groups > full) put(tail, out);
}

uint64_t ZrBinaryDataToText::DecodedSize(std::string_view text, bool standard) const {
  const size_t length = text.size();
  if (length % 4 != 0) throw ZrError("Illigal Data");
  if (standard) {
    uint64_t n = 3 * static_cast<uint64_t>(length) / 4;
    if (length >= 2 && text[length - 2] == '=') {
      n -= 2;
    } else if (length >= 1 && text[length - 1] == '=') {
      n -= 1;
    }
    return n;
  }
  // The header is read as "%08lx" would read it, from a bounded copy.
  char header[9] = {};
  if (length > 0) std::memcpy(header, text.data(), length < 8 ? length : 8);
  unsigned long n = 0;
  if (std::sscanf(header, "%08lx", &n) != 1 || n > 0xffffffffUL) throw ZrError("Size Error");
  if (GroupCount(static_cast<int64_t>(n)) != (static_cast<int64_t>(length) - 8) / 4) {
    throw ZrError("Size Error");
  }
  return n;
}

void ZrBinaryDataToText::DecodeInto(std::string_view text, unsigned char* out, uint64_t count,
                                    bool useBase64Alphabet, bool standard) const {
  if (standard) {
    const unsigned char* r = base64Reverse;
    const auto* in = reinterpret_cast<const unsigned char*>(text.data());
    const uint64_t full = count / 3;
    for (uint64_t g = 0; g < full; ++g, in += 4, out += 3) {
      const uint32_t v = (uint32_t{r[in[0]]} << 18) | (uint32_t{r[in[1]]} << 12) |
                         (uint32_t{r[in[2]]} << 6) | r[in[3]];
      out[0] = static_cast<unsigned char>(v >> 16);
      out[1] = static_cast<unsigned char>(v >> 8);
      out[2] = static_cast<unsigned char>(v);
    }
    const uint64_t left = count - full * 3;
    if (left > 0) {
      const uint32_t v = (uint32_t{r[in[0]]} << 18) | (uint32_t{r[in[1]]} << 12) |
                         (uint32_t{r[in[2]]} << 6) | r[in[3]];
      const unsigned char b[3] = {static_cast<unsigned char>(v >> 16),
                                  static_cast<unsigned char>(v >> 8),
                                  static_cast<unsigned char>(v)};
      std::memcpy(out, b, static_cast<size_t>(left));
    }
    return;
  }
  const unsigned char* r = useBase64Alphabet ? base64Reverse : ownReverse;
  const auto* in = reinterpret_cast<const unsigned char*>(text.data()) + 8;
  auto get = [r](const unsigned char* c, unsigned char* b) {
    const uint32_t c0 = r[c[0]], c1 = r[c[1]], c2 = r[c[2]], c3 = r[c[3]];
    b[0] = static_cast<unsigned char>(c0 + 64 * (c1 % 4));
    b[1] = static_cast<unsigned char>(c1 / 4 + 16 * (c2 % 16));
    b[2] = static_cast<unsigned char>(c2 / 16 + 4 * c3);
  };
  const uint64_t full = count / 3;
  for (uint64_t g = 0; g < full; ++g, in += 4, out += 3) get(in, out);
  const uint64_t left = count - full * 3;
  if (left > 0) {
    unsigned char b[3];
    get(in, b);
    std::memcpy(out, b, static_cast<size_t>(left));
  }
}

void ZrBinaryDataToText::Decode(std::string_view text, std::unique_ptr<unsigned char[]>& bytes,
                                uint32_t& byteCount, bool useBase64Alphabet, bool standard) const {
  const uint64_t n = DecodedSize(text, standard);
  // The standard layout fills whole groups into a buffer of 3L/4 bytes.
  const uint64_t allocated = standard ? 3 * static_cast<uint64_t>(text.size()) / 4 : n;
  bytes.reset(new unsigned char[allocated > 0 ? allocated : 1]());
  DecodeInto(text, bytes.get(), n, useBase64Alphabet, standard);
  byteCount = static_cast<uint32_t>(n);
}
