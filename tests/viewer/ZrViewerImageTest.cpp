// Display range, rendering, cursor read-out and radial profile of float images.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "viewer/ZrViewerImage.h"

namespace {

ZrFloatMatrix Image(int32_t cols, int32_t rows, std::vector<float> values, int32_t colBegin = 0,
                    int32_t rowBegin = 0) {
  ZrFloatMatrix image(cols, rows);
  image.SetBegin(colBegin, rowBegin);
  for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = values[static_cast<size_t>(i)];
  return image;
}

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

struct RangeCase {
  std::vector<float> Values;
  float Lo, Hi;
};
class ZrViewerAutoRangeTest : public ::testing::TestWithParam<RangeCase> {};

TEST_P(ZrViewerAutoRangeTest, FiniteMinimumAndMaximum) {
  const RangeCase& c = GetParam();
  const ZrDisplayRange range = ZrViewerAutoRange(Image(2, 2, c.Values));
  EXPECT_EQ(std::make_pair(range.Lo, range.Hi), std::make_pair(c.Lo, c.Hi));
}

INSTANTIATE_TEST_SUITE_P(
    Images, ZrViewerAutoRangeTest,
    ::testing::Values(RangeCase{{3, -2, 7.5f, 0}, -2, 7.5f},
                      RangeCase{{kNaN, 4, kInf, -kInf}, 4, 5},  // one finite value
                      RangeCase{{kNaN, kNaN, kNaN, kNaN}, 0, 1}, RangeCase{{2, 2, 2, 2}, 2, 3}));

TEST(ZrViewerRender, LinearBetweenLoAndHiClampedOutsideNaNBlackPixelsInPlace) {
  const QImage picture = ZrViewerRender(Image(6, 1, {-5, 10, 15, 20, 99, kNaN}), 10, 20);
  ASSERT_EQ(picture.size(), QSize(6, 1));
  const uchar* line = picture.constScanLine(0);
  // 127.5 rounds up
  EXPECT_EQ(std::vector<int>(line, line + 6), std::vector<int>({0, 0, 128, 255, 255, 0}));
  const QImage placed = ZrViewerRender(Image(3, 2, {0, 0, 1, 0, 1, 0}, 7, -3), 0, 1);
  ASSERT_EQ(placed.size(), QSize(3, 2));
  EXPECT_EQ(std::vector<int>({qGray(placed.pixel(2, 0)), qGray(placed.pixel(1, 1)),
                              qGray(placed.pixel(0, 0)), qGray(placed.pixel(2, 1))}),
            std::vector<int>({255, 255, 0, 0}));
}

struct CursorCase {
  int32_t X, Y;
  const char* Text;
};
class ZrViewerCursorTest : public ::testing::TestWithParam<CursorCase> {};

// Begins 10, 20: the pixels are x 10..12, y 20..21.
TEST_P(ZrViewerCursorTest, ValueOfThePixelByBeginBasedCoordinates) {
  const ZrFloatMatrix image = Image(3, 2, {1, 2, 3.25f, -4, 1e-8f, 123456789.0f}, 10, 20);
  EXPECT_EQ(ZrViewerCursorText(image, GetParam().X, GetParam().Y).toStdString(), GetParam().Text);
}

INSTANTIATE_TEST_SUITE_P(Pixels, ZrViewerCursorTest,
                         ::testing::Values(CursorCase{10, 20, "x=10  y=20  value=1"},
                                           CursorCase{12, 20, "x=12  y=20  value=3.25"},
                                           CursorCase{10, 21, "x=10  y=21  value=-4"},
                                           CursorCase{11, 21, "x=11  y=21  value=1e-08"},
                                           CursorCase{12, 21, "x=12  y=21  value=1.234568e+08"},
                                           CursorCase{9, 20, ""}, CursorCase{13, 20, ""},
                                           CursorCase{10, 19, ""}, CursorCase{10, 22, ""}));

TEST(ZrViewerRadialProfile, RingMeansAboutTheCentreLeavingOutNonFinitePixels) {
  // Value = 100 + distance from (3, 4) rounded to the ring; begins shift the coordinates.
  ZrFloatMatrix image(9, 9);
  image.SetBegin(-1, 0);
  for (int32_t y = 0; y < 9; ++y) {
    for (int32_t x = -1; x < 8; ++x) {
      image(x, y) = 100.0f + static_cast<float>(std::floor(std::hypot(x - 3, y - 4) + 0.5));
    }
  }
  const std::vector<QPointF> profile = ZrViewerRadialProfile(image, 3, 4, false);
  ASSERT_EQ(profile.size(), 7u);  // the farthest corner (4, 4) away lies at 5.66: ring 6
  for (size_t r = 0; r < profile.size(); ++r) {
    EXPECT_EQ(profile[r].x(), static_cast<double>(r));
    EXPECT_DOUBLE_EQ(profile[r].y(), 100.0 + r);
  }

  // Zeros and non-finite pixels. Centre on pixel (0, 0): ring 0 is that pixel; ring 1 its four
  // neighbours (distance 1) and the four corners (distance 1.41).
  const ZrFloatMatrix holes = Image(3, 3, {0, 8, 0, 2, 5, kNaN, 0, 0, 0}, -1, -1);
  const std::vector<QPointF> withZeros = ZrViewerRadialProfile(holes, 0, 0, false);
  ASSERT_EQ(withZeros.size(), 2u);
  EXPECT_DOUBLE_EQ(withZeros[0].y(), 5.0);
  EXPECT_DOUBLE_EQ(withZeros[1].y(), (8.0 + 2.0) / 7.0);  // NaN left out, five zeros in
  const std::vector<QPointF> noZeros = ZrViewerRadialProfile(holes, 0, 0, true);
  ASSERT_EQ(noZeros.size(), 2u);
  EXPECT_DOUBLE_EQ(noZeros[1].y(), 5.0);
  // Only zeros: no ring at all.
  EXPECT_TRUE(ZrViewerRadialProfile(Image(2, 1, {0, 0}), 0, 0, true).empty());
}

}  // namespace
