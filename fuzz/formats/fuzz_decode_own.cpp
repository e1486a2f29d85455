// The own-layout array decoder ("binary" / "base64") on arbitrary text; what decodes must
// encode back to text that decodes to the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "formats/ZrBinaryDataToText.h"
#include "numerics/ZrError.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool useBase64Alphabet = (data[0] & 1) != 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  static const ZrBinaryDataToText coder;
  std::unique_ptr<unsigned char[]> bytes;
  uint32_t count = 0;
  try {
    coder.Decode(text, bytes, count, useBase64Alphabet, false);
  } catch (const ZrError&) {
    return 0;
  }
  std::string again;
  coder.Encode(bytes.get(), count, again, useBase64Alphabet, false);
  std::unique_ptr<unsigned char[]> back;
  uint32_t backCount = 0;
  coder.Decode(again, back, backCount, useBase64Alphabet, false);
  if (backCount != count || std::memcmp(back.get(), bytes.get(), count) != 0) __builtin_trap();
  return 0;
}
