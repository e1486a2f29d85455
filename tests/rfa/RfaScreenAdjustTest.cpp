// Screen search on synthetic screens of known centre and radius.
#include "rfa/RfaScreenAdjust.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

struct ScreenCase {
  const char* Name;
  int32_t Width, Height;
  double OffX, OffY;  // screen centre relative to (width / 2, width / 2)
  double Radius, RimWidth, Noise, Threshold;
  int32_t SearchSize;
  uint32_t Seed;
};

class RfaScreenAdjustAccuracy : public testing::TestWithParam<ScreenCase> {};

TEST_P(RfaScreenAdjustAccuracy, FindsCentreAndRadius) {
  const ScreenCase& c = GetParam();
  // The dip sits inside the screen, off its centre, as on a real analyser.
  const double cx = c.Width / 2 + c.OffX, cy = c.Width / 2 + c.OffY;
  RfaSyntheticScreenOptions o =
      RfaScreenOptions(c.Width, c.Height, cx, cy, c.Radius, cx + 0.3 * c.Radius,
                       cy - 0.2 * c.Radius, 0.1 * c.Radius, c.Seed);
  o.RimWidth = c.RimWidth;
  o.Noise = c.Noise;
  const ZrFloatMatrix screen = RfaMakeSyntheticScreen(o);

  const RfaScreenAdjustResult r = RfaAdjustScreen(screen, c.Threshold, c.SearchSize);
  EXPECT_LE(std::abs(r.Cx - o.Cx), 0.5) << "found cx " << r.Cx << " true " << o.Cx;
  EXPECT_LE(std::abs(r.Cy - o.Cy), 0.5) << "found cy " << r.Cy << " true " << o.Cy;
  EXPECT_LE(std::abs(r.R - o.Radius), 1.0) << "found r " << r.R << " true " << o.Radius;
  // The candidates lie on the half-pixel grid about (width / 2, width / 2).
  EXPECT_EQ(std::fmod((r.Cx - c.Width / 2) * 2.0, 1.0), 0.0);
  EXPECT_EQ(std::fmod((r.Cy - c.Width / 2) * 2.0, 1.0), 0.0);
}

const ScreenCase kScreenCases[] = {
    {"Centred128", 128, 128, 0.0, 0.0, 50.0, 0.0, 0.05, 0.1, 10, 1},
    {"OffCentre128", 128, 128, 7.3, -4.6, 45.0, 0.0, 0.05, 0.1, 10, 2},
    {"FarFractional", 256, 256, -14.7, 12.2, 97.6, 0.0, 0.05, 0.1, 10, 4},
    {"NoisySoftRim", 256, 256, -6.2, -11.9, 88.0, 0.5, 0.3, 0.1, 10, 6},
    {"HighThreshold", 256, 256, 4.25, 8.75, 95.0, 0.0, 0.1, 0.6, 10, 7},
    {"SearchSize3", 200, 200, 12.6, -2.4, 80.0, 0.8, 0.05, 0.1, 3, 9},
    {"WideGridOnColumnCentre", 320, 240, 5.5, -14.5, 90.0, 0.0, 0.05, 0.1, 10, 10},
    {"Large512", 512, 512, -13.3, 14.1, 220.7, 1.0, 0.1, 0.1, 10, 11},
    {"SmallScreen", 96, 96, 3.9, -2.2, 30.5, 0.0, 0.05, 0.1, 10, 12},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaScreenAdjustAccuracy, testing::ValuesIn(kScreenCases),
                         ZrCaseName());

std::tuple<double, double, double> Found(const RfaScreenAdjustResult& r) {
  return {r.Cx, r.Cy, r.R};
}

// The exhaustive search (search size 1) finds the screen; the coarse-to-fine search finds the
// same candidate; begins move the answer with them.
TEST(RfaScreenAdjust, CoarseToFineAgreesWithExhaustiveSearchInBeginBasedCoordinates) {
  const double centres[][2] = {{40.2, 55.7}, {57.9, 41.4}};
  uint32_t seed = 30;
  for (const auto& c : centres) {
    SCOPED_TRACE(testing::Message() << "centre " << c[0] << "," << c[1]);
    ZrFloatMatrix screen = RfaMakeSyntheticScreen(
        RfaScreenOptions(96, 90, c[0], c[1], 33.0, c[0] - 8.0, c[1] + 5.0, 4.0, ++seed));
    const RfaScreenAdjustResult all = RfaAdjustScreen(screen, 0.1, 1);
    EXPECT_NEAR(all.Cx, c[0], 0.5);
    EXPECT_NEAR(all.Cy, c[1], 0.5);
    EXPECT_NEAR(all.R, 33.0, 1.0);
    for (int32_t searchSize : {3, 10, 1000}) {
      EXPECT_EQ(Found(RfaAdjustScreen(screen, 0.1, searchSize)), Found(all)) << searchSize;
    }
    screen.SetBegin(-17, 23);
    EXPECT_EQ(Found(RfaAdjustScreen(screen, 0.1, 10)),
              std::make_tuple(all.Cx - 17.0, all.Cy + 23.0, all.R));
  }
}

TEST(RfaScreenAdjust, ClipsAtThresholdOfMaximum) {
  ZrFloatMatrix image(64, 48);
  image.SetBegin(3, -2);
  for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = 0.5f + static_cast<float>(i % 101);
  ZrFloatMatrix clipped = image;
  const float level = static_cast<float>(100.5f * 0.25);
  for (int64_t i = 0; i < image.Count(); ++i) clipped.Data[i] = std::min(image.Data[i], level);
  EXPECT_TRUE(ZrSameBits(RfaAdjustScreen(image, 0.25, 10).Clipped, clipped));
  // A broken (non-finite) pixel is neither the maximum nor kept in the clipped image.
  image.Data[5] = std::numeric_limits<float>::infinity();
  image.Data[6] = std::numeric_limits<float>::quiet_NaN();
  clipped.Data[5] = clipped.Data[6] = 0.0f;
  EXPECT_TRUE(ZrSameBits(RfaAdjustScreen(image, 0.25, 10).Clipped, clipped));
}

TEST(RfaScreenAdjust, RefusesBadInput) {
  ZrFloatMatrix dark(16, 16);
  dark.Fill(0.0f);
  ZrFloatMatrix lit(16, 16);
  lit.Fill(1.0f);
  EXPECT_ZR_ERROR(RfaAdjustScreen(ZrFloatMatrix(), 0.1, 10), "Adjust Screen: the image is empty");
  EXPECT_ZR_ERROR(RfaAdjustScreen(lit, 0.0, 10),
                  "Adjust Screen: the threshold must be a positive number");
  EXPECT_ZR_ERROR(RfaAdjustScreen(lit, NAN, 10),
                  "Adjust Screen: the threshold must be a positive number");
  EXPECT_ZR_ERROR(RfaAdjustScreen(lit, 0.1, 0),
                  "Adjust Screen: the search size must be at least 1");
  EXPECT_ZR_ERROR(RfaAdjustScreen(dark, 0.1, 10), "Adjust Screen: the image has no positive pixel");
}

TEST(RfaScreenAdjust, DegenerateImagesGiveAFiniteAnswer) {
  // Images far smaller than the candidate grid: every candidate and ring stays addressable.
  const int32_t shapes[][2] = {{1, 1}, {1, 40}, {40, 1}, {3, 3}, {7, 2}};
  for (const auto& s : shapes) {
    ZrFloatMatrix image(s[0], s[1]);
    for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = static_cast<float>(1 + i % 3);
    const RfaScreenAdjustResult r = RfaAdjustScreen(image, 0.5, 10);
    EXPECT_TRUE(std::isfinite(r.Cx) && std::isfinite(r.Cy) && std::isfinite(r.R))
        << s[0] << " x " << s[1];
    EXPECT_GE(r.R, 0.0);
  }
}

}  // namespace
