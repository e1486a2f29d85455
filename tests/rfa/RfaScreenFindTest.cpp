// Screen finding on synthetic screens of known geometry, and screens that are not there.
#include "rfa/RfaScreenFind.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iostream>

#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

struct FindCase {
  const char* Name;
  int32_t Width, Height;
  double Cx, Cy, Radius, RimWidth, Noise;
  double DipAngleDeg;  // the MCP dip centred on the rim at this azimuth; NAN: inside the screen
  uint32_t Seed;
};

class RfaFindScreenAccuracy : public testing::TestWithParam<FindCase> {};

TEST_P(RfaFindScreenAccuracy, CentreWithinAQuarterPixelRadiusWithinHalf) {
  const FindCase& c = GetParam();
  const bool onRim = !std::isnan(c.DipAngleDeg);
  const double a = onRim ? c.DipAngleDeg * kPi / 180 : 0.0;
  RfaSyntheticScreenOptions o = RfaScreenOptions(
      c.Width, c.Height, c.Cx, c.Cy, c.Radius,
      onRim ? c.Cx + c.Radius * std::cos(a) : c.Cx + 0.3 * c.Radius,
      onRim ? c.Cy + c.Radius * std::sin(a) : c.Cy - 0.2 * c.Radius, 0.14 * c.Radius, c.Seed);
  o.RimWidth = c.RimWidth;
  o.Noise = c.Noise;
  const RfaFoundScreen found = RfaFindScreen(RfaMakeSyntheticScreen(o));
  // The errors, for the accuracy figures quoted in the docs.
  std::cout << "[ accuracy ] " << c.Name << ": centre " << found.Cx - c.Cx << ", "
            << found.Cy - c.Cy << "  radius " << found.R - c.Radius << "  (" << found.RimPoints
            << " of " << found.Rays << " rays, scatter " << found.Scatter << " px)\n";
  EXPECT_LE(std::abs(found.Cx - c.Cx), 0.25);
  EXPECT_LE(std::abs(found.Cy - c.Cy), 0.25);
  EXPECT_LE(std::abs(found.R - c.Radius), 0.5);
}

// Off centre by up to a quarter of the image on either axis, non-square images, soft and noisy
// rims, the dip on the rim.
const FindCase kFindCases[] = {
    {"Centred", 256, 256, 128.0, 128.0, 100.0, 0.0, 0.05, NAN, 1},
    {"QuarterOffRight", 256, 256, 192.0, 78.0, 60.0, 1.5, 0.05, NAN, 2},
    {"QuarterOffBothAxes", 400, 400, 100.4, 299.7, 90.0, 0.0, 0.05, NAN, 3},
    {"WideImage", 320, 200, 80.6, 130.2, 62.5, 1.0, 0.05, NAN, 4},
    {"TallImage", 180, 300, 110.25, 75.5, 70.0, 0.0, 0.1, NAN, 5},
    {"NoisySoftRim", 256, 256, 140.3, 117.8, 95.0, 2.0, 0.3, NAN, 6},
    {"DipOnRim", 256, 256, 131.6, 124.2, 100.0, 0.0, 0.05, 40.0, 7},
    {"DipOnRimNoisySoft", 300, 256, 160.1, 120.9, 105.3, 1.5, 0.25, -120.0, 8},
    {"SmallFractional", 128, 96, 70.37, 45.81, 35.2, 0.0, 0.05, NAN, 9},
    {"Large", 1024, 768, 420.6, 480.3, 300.8, 2.5, 0.1, 200.0, 10},
};

INSTANTIATE_TEST_SUITE_P(Screens, RfaFindScreenAccuracy, testing::ValuesIn(kFindCases),
                         ZrCaseName());

TEST(RfaFindScreen, RefusesImagesWithoutAScreen) {
  ZrFloatMatrix dark(64, 48);
  dark.Fill(0.0f);
  ZrFloatMatrix blob = dark;
  blob(30, 20) = blob(31, 20) = blob(30, 21) = 5.0f;
  ZrFloatMatrix square = dark;
  for (int32_t y = 4; y < 44; ++y) {
    for (int32_t x = 12; x < 52; ++x) square(x, y) = 1.0f;
  }
  EXPECT_ZR_ERROR(RfaFindScreen(ZrFloatMatrix()), "Find screen: the image is empty");
  EXPECT_ZR_ERROR(RfaFindScreen(dark),
                  "Find screen: no screen found: the image has no bright region");
  EXPECT_ZR_ERROR(RfaFindScreen(blob),
                  "Find screen: no screen found: the bright region is too small (3 pixels)");
  EXPECT_EQ(ZrErrorText([&] { RfaFindScreen(square); }).rfind("Find screen: no screen found: ", 0),
            0u);
}

}  // namespace
