// The standard Base64 decoder ("base64b") on arbitrary text, and a round trip of the input
// bytes through the encoder.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "formats/ZrBinaryDataToText.h"
#include "numerics/ZrError.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const ZrBinaryDataToText coder;
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::unique_ptr<unsigned char[]> bytes;
  uint32_t count = 0;
  try {
    coder.Decode(text, bytes, count, true, true);
  } catch (const ZrError&) {
  }
  if (size == 0) return 0;
  std::string encoded;
  coder.Encode(data, static_cast<uint32_t>(size), encoded, true, true);
  coder.Decode(encoded, bytes, count, true, true);
  if (count != size || std::memcmp(bytes.get(), data, size) != 0) __builtin_trap();
  return 0;
}
