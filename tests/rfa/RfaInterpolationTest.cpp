// Resampling: whole-pixel shifts against the roll, fractional shifts of a known pattern, holes.
#include "rfa/RfaInterpolation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "rfa/RfaImageOps.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

ZrFloatMatrix Random(int32_t cols, int32_t rows, uint32_t seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<float> value(0.5f, 100.0f);
  ZrFloatMatrix m(cols, rows);
  for (int64_t i = 0; i < m.Count(); ++i) m.Data[i] = value(engine);
  return m;
}

// A periodic pattern of the image's own periods, so that a cyclic shift moves it exactly.
double Wave(double x, double y, int32_t cols, int32_t rows) {
  return 10.0 + std::cos(2 * kPi * 3 * x / cols) + 0.5 * std::sin(2 * kPi * 2 * y / rows + 0.4);
}

TEST(RfaShiftImage, WholePixelsMoveAsTheRoll) {
  ZrFloatMatrix image = Random(9, 7, 1);
  image.SetBegin(-4, 3);
  for (const double sx : {4.0, 1.0, 11.0, -30.0}) {
    ZrFloatMatrix rolled = image;
    RfaMoveToCenter(rolled, sx, 2.0);
    for (RfaInterpolation kind : {RfaInterpolation::Linear, RfaInterpolation::Keys}) {
      ZrFloatMatrix shifted = image;
      RfaMoveToCenterSubpixel(shifted, sx, 2.0, kind);
      EXPECT_TRUE(ZrSameBits(shifted, rolled)) << RfaInterpolationName(kind) << " sx " << sx;
    }
    ZrFloatMatrix spline = image;
    RfaMoveToCenterSubpixel(spline, sx, 2.0, RfaInterpolation::BSpline);
    for (int64_t i = 0; i < image.Count(); ++i) {
      ASSERT_NEAR(spline.Data[i], rolled.Data[i], 1e-4) << "sx " << sx << " pixel " << i;
    }
  }
}

// Each interpolation reproduces a smooth pattern shifted by a fraction of a pixel, the cubic
// ones far better than the linear one.
TEST(RfaShiftImage, FractionalShiftOfASmoothPattern) {
  const int32_t cols = 48, rows = 40;
  ZrFloatMatrix image(cols, rows);
  for (int32_t y = 0; y < rows; ++y) {
    for (int32_t x = 0; x < cols; ++x) image(x, y) = static_cast<float>(Wave(x, y, cols, rows));
  }
  const double dx = 0.3, dy = -1.6;
  for (const auto& [kind, bound] : {std::pair{RfaInterpolation::Linear, 0.05},
                                    {RfaInterpolation::Keys, 0.01},
                                    {RfaInterpolation::BSpline, 0.001}}) {
    const ZrFloatMatrix shifted = RfaShiftImage(image, dx, dy, kind);
    double worst = 0.0;
    for (int32_t y = 0; y < rows; ++y) {
      for (int32_t x = 0; x < cols; ++x) {
        worst = std::max(worst, std::abs(shifted(x, y) - Wave(x - dx, y - dy, cols, rows)));
      }
    }
    EXPECT_LT(worst, bound) << RfaInterpolationName(kind);
  }
}

// Screens centred at sub-pixel offsets agree with the screen made at the centre far better after
// the interpolated move than after the roll (figures: bench/rfa/RfaShiftStudy.cpp).
TEST(RfaShiftImage, CentredSeriesAgreesBetterThanRolled) {
  auto screen = [](double cx, double cy) {
    RfaSyntheticScreenOptions o = RfaScreenOptions(96, 96, cx, cy, 36, cx, cy, 0);
    o.RimWidth = 1.0;
    o.Noise = 0.0;
    return RfaMakeSyntheticScreen(o);
  };
  const ZrFloatMatrix reference = screen(48, 48);
  for (const auto& [cx, cy] : {std::pair{44.3, 50.8}, {51.55, 45.1}, {47.9, 48.45}}) {
    ZrFloatMatrix rolled = screen(cx, cy), shifted = rolled;
    RfaMoveToCenter(rolled, cx, cy);
    RfaMoveToCenterSubpixel(shifted, cx, cy, RfaInterpolation::Keys);
    double roll2 = 0, shift2 = 0;
    for (int32_t y = 0; y < 96; ++y) {
      for (int32_t x = 0; x < 96; ++x) {
        if (std::hypot(x - 48, y - 48) >= 33) continue;
        roll2 += std::pow(rolled(x, y) - reference(x, y), 2);
        shift2 += std::pow(shifted(x, y) - reference(x, y), 2);
      }
    }
    EXPECT_LT(std::sqrt(shift2), std::sqrt(roll2) / 20) << cx << "," << cy;
  }
}

TEST(RfaShiftImage, NonFinitePixelIsAHoleForItsStencilOnly) {
  ZrFloatMatrix image = Random(12, 10, 2);
  image(5, 4) = std::numeric_limits<float>::infinity();
  const ZrFloatMatrix shifted = RfaShiftImage(image, 0.5, 0.0, RfaInterpolation::Keys);
  // result(x) = image(x - 0.5) reads columns x - 2 .. x + 1 of the same row.
  for (int32_t x = 0; x < 12; ++x) {
    EXPECT_EQ(shifted(x, 4) == 0.0f, x >= 4 && x <= 7) << x;
    EXPECT_NE(shifted(x, 3), 0.0f) << x;
  }
  EXPECT_ZR_ERROR(RfaShiftImage(image, NAN, 0, RfaInterpolation::Keys),
                  "Sub-pixel shift: the shift is not a finite number");
}

// Holes are never blended: a position that reads one is 0, unless zeros are values; so is a
// position that needs a sample beyond the edge.
TEST(RfaResampler, HolesAndEdges) {
  ZrFloatMatrix ramp(20, 16);
  ramp.SetBegin(5, -3);
  for (int64_t i = 0; i < ramp.Count(); ++i) ramp.Data[i] = static_cast<float>(100 + i % 20);
  ramp(12, 2) = 0.0f;
  const RfaResampler holes(ramp, RfaInterpolation::Linear, RfaEdge::Outside, true);
  EXPECT_EQ(holes.At(11.5, 2.0), 0.0f);
  EXPECT_EQ(holes.At(12.0, 2.5), 0.0f);
  EXPECT_EQ(holes.At(13.0, 2.5), 108.0f);
  EXPECT_EQ(holes.At(4.5, 0.0), 0.0f) << "half a pixel before the first column";
  const RfaResampler zeroIsValue(ramp, RfaInterpolation::Linear, RfaEdge::Wrap, false);
  EXPECT_EQ(zeroIsValue.At(11.5, 2.0), 53.0f);
}

}  // namespace
