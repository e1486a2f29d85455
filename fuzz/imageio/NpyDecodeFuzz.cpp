// Fuzz target for the .npy reader: the header dictionary parser and the element conversion.
// A ZrError is the expected answer to bad input; anything else is a finding.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "imageio/ZrImageCodec.h"
#include "imageio/ZrImageNpy.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  try {
    const ZrNpyHeader h = ZrParseNpyHeader(bytes, "fuzz.npy");
    // Frames of a stack are read from the file one at a time: the first and the last here.
    const auto available = static_cast<int64_t>(bytes.size()) - h.DataOffset;
    if (h.Frames() > 0 && h.FrameBytes() <= available / h.Frames()) {
      ZrNpyFrame(h, bytes.data() + h.DataOffset);
      ZrNpyFrame(h, bytes.data() + h.DataOffset + (h.Frames() - 1) * h.FrameBytes());
    }
    const ZrFloatMatrix image = ZrDecodeNpy(bytes, "fuzz.npy");
    // What was read must survive our own writer and reader unchanged.
    const ZrFloatMatrix again = ZrDecodeNpy(ZrEncodeNpy(image), "fuzz.npy");
    if (again.ColSize != image.ColSize || again.RowSize != image.RowSize ||
        (image.Count() > 0 &&
         std::memcmp(again.Data, image.Data, 4 * static_cast<size_t>(image.Count())) != 0)) {
      std::abort();
    }
  } catch (const ZrError&) {
  }
  return 0;
}
