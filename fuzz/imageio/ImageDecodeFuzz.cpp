// Fuzz target for the raw float, TIFF (pixels and text tags) and PNG readers: the first byte picks
// the reader (bit 0 TIFF, else bit 1 PNG, else raw float; for TIFF bits 2-3 the page), the rest is
// the file. A ZrError is the expected answer to bad input; anything else is a finding.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "imageio/ZrImageCodec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  try {
    if (data[0] & 1) {
      ZrImagePage page;
      page.Index = (data[0] >> 2) & 3;
      const ZrFloatMatrix image = ZrDecodeTiff(bytes, "fuzz.tif", &page);
      if (page.Index >= page.Count) std::abort();  // a page it lacks is refused
      const ZrTiffText text = ZrDecodeTiffText(bytes, "fuzz.tif");
      // What was read, tags included, must survive our own writer and reader unchanged.
      if (image.Count() > 0) {
        const std::string written = ZrEncodeTiff(image, "fuzz.tif", text);
        const ZrFloatMatrix again = ZrDecodeTiff(written, "fuzz.tif");
        if (again.Count() != image.Count() ||
            std::memcmp(again.Data, image.Data, 4 * static_cast<size_t>(image.Count())) != 0) {
          std::abort();
        }
        const ZrTiffText textAgain = ZrDecodeTiffText(written, "fuzz.tif");
        if (textAgain.Description != text.Description || textAgain.Software != text.Software) {
          std::abort();
        }
      }
    } else if (data[0] & 2) {
      const ZrFloatMatrix image = ZrDecodePng(bytes, "fuzz.png");
      for (int64_t i = 0; i < image.Count(); ++i) {
        if (!(image.Data[i] >= 0.0f && image.Data[i] <= 65535.0f)) std::abort();  // grey levels
      }
    } else {
      const ZrFloatMatrix image = ZrDecodeRawFloat(bytes, "fuzz.rawf");
      if (ZrEncodeRawFloat(image) != bytes) std::abort();  // the raw layout is canonical
    }
  } catch (const ZrError&) {
  }
  return 0;
}
