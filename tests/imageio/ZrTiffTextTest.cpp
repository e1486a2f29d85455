// The TIFF's text tags: written when given, read back, absent otherwise.
#include <gtest/gtest.h>

#include "imageio/ZrImageCodec.h"
#include "tests/common/ZrTestUtil.h"

namespace {

TEST(ZrTiffText, RoundTripAndAbsence) {
  ZrFloatMatrix image(3, 2);
  for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = 0.5f * static_cast<float>(i);
  const std::string json =
      "{\"input\":{\"file\":\"caf\\u00e9.tif\"},\"time\":\"2023-11-14T22:13:20Z\"}";
  const std::string tagged = ZrEncodeTiff(image, "t.tif", {json, "rfa-process 0.0.5"});
  const ZrTiffText text = ZrDecodeTiffText(tagged, "t.tif");
  EXPECT_EQ(text.Description, json);
  EXPECT_EQ(text.Software, "rfa-process 0.0.5");
  const ZrFloatMatrix back = ZrDecodeTiff(tagged, "t.tif");
  EXPECT_EQ(back(2, 1), 2.5f);

  const ZrTiffText none = ZrDecodeTiffText(ZrEncodeTiff(image, "t.tif"), "t.tif");
  EXPECT_EQ(none.Description, "");
  EXPECT_EQ(none.Software, "");
  EXPECT_ZR_ERROR(ZrDecodeTiffText("II*\0", "x.tif"),
                  "x.tif: not a valid TIFF file (Cannot read TIFF header)");
}

}  // namespace
