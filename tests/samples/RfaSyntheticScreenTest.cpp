// The synthetic RFA screen generator: determinism, geometry, background model and noise.
#include "samples/RfaSyntheticScreen.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

// The smooth background alone on a 120 x 100 image; the dip disc is placed but not deep.
RfaSyntheticScreenOptions Plain() {
  return RfaSmoothScreen(RfaScreenOptions(120, 100, 57.5, 48.0, 40.0, 60.0, 40.0, 6.0));
}

TEST(RfaSyntheticScreen, SameOptionsGiveSameBits) {
  RfaSyntheticScreenOptions o;
  o.Seed = 1234;
  const ZrFloatMatrix a = RfaMakeSyntheticScreen(o);
  EXPECT_TRUE(ZrSameBits(a, RfaMakeSyntheticScreen(o)));
  o.Seed = 1235;
  EXPECT_FALSE(ZrSameBits(a, RfaMakeSyntheticScreen(o)));
}

TEST(RfaSyntheticScreen, ZeroOutsideTheScreenAndPositiveInside) {
  const RfaSyntheticScreenOptions o = RfaScreenOptions(90, 70, 40.3, 36.8, 30.0, 45.0, 30.0, 10.0);
  const ZrFloatMatrix m = RfaMakeSyntheticScreen(o);
  ASSERT_EQ(m.Count(), 90 * 70);
  for (int32_t y = 0; y < 70; ++y) {
    for (int32_t x = 0; x < 90; ++x) {
      if (std::hypot(x - o.Cx, y - o.Cy) < o.Radius) {
        ASSERT_GT(m(x, y), 0.0f) << "(" << x << "," << y << ")";
      } else {
        ASSERT_EQ(m(x, y), 0.0f) << "(" << x << "," << y << ")";
      }
    }
  }
}

TEST(RfaSyntheticScreen, BackgroundFollowsTheEquidistantMapping) {
  RfaSyntheticScreenOptions o = Plain();
  o.TiltAzimuthDeg = 0.0;
  const ZrFloatMatrix m = RfaMakeSyntheticScreen(o);
  // Opposite points on the x axis; polar angle = distance / radius x 90 degrees.
  const auto expected = [&o](double signedDistance) {
    const double theta = std::abs(signedDistance) / 40.0 * M_PI / 2.0;
    return o.Level * (1.0 + std::copysign(o.Tilt, signedDistance) * std::sin(theta)) *
           (1.0 - o.PolarFall * (1.0 - std::cos(theta)));
  };
  EXPECT_NEAR(m(88, 48), expected(88 - o.Cx), 1e-3);
  EXPECT_NEAR(m(28, 48), expected(28 - o.Cx), 1e-3);
  // The pixel nearest the centre is at theta close to 0: the level itself.
  EXPECT_NEAR(m(57, 48), o.Level, 0.02 * o.Level);
}

TEST(RfaSyntheticScreen, DipScalesItsDisc) {
  RfaSyntheticScreenOptions o = Plain();
  const ZrFloatMatrix clear = RfaMakeSyntheticScreen(o);
  o.DipDepth = 0.75;
  const ZrFloatMatrix dipped = RfaMakeSyntheticScreen(o);
  for (int32_t y = 0; y < o.Height; ++y) {
    for (int32_t x = 0; x < o.Width; ++x) {
      const bool inDip = std::hypot(x - 60.0, y - 40.0) < 6.0;
      ASSERT_FLOAT_EQ(dipped(x, y), inDip ? 0.25f * clear(x, y) : clear(x, y));
    }
  }
}

TEST(RfaSyntheticScreen, NoiseIsGaussianOfTheRequestedWidth) {
  RfaSyntheticScreenOptions o =
      RfaSmoothScreen(RfaScreenOptions(300, 300, 150, 150, 140, 150, 140, 10));
  o.Tilt = 0.0;
  o.PolarFall = 0.0;
  o.Noise = 0.1;
  o.Seed = 99;
  const ZrFloatMatrix m = RfaMakeSyntheticScreen(o);
  double n = 0, sum = 0, sum2 = 0, within2 = 0;
  for (int64_t i = 0; i < m.Count(); ++i) {
    if (m.Data[i] == 0.0f) continue;
    const double z = (m.Data[i] / o.Level - 1.0) / o.Noise;
    n += 1;
    sum += z;
    sum2 += z * z;
    within2 += std::abs(z) < 2.0 ? 1 : 0;
  }
  ASSERT_GT(n, 50000);
  const double mean = sum / n;
  const double sd = std::sqrt(sum2 / n - mean * mean);
  EXPECT_NEAR(mean, 0.0, 0.02);
  EXPECT_NEAR(sd, 1.0, 0.02);
  EXPECT_NEAR(within2 / n, 0.9545, 0.005);
}

TEST(RfaSyntheticScreen, RefusesBadGeometry) {
  RfaSyntheticScreenOptions o;
  o.Width = -1;
  EXPECT_ZR_ERROR(RfaMakeSyntheticScreen(o), "Synthetic screen: negative image size");
  o.Width = 10;
  o.Radius = 0.0;
  EXPECT_ZR_ERROR(RfaMakeSyntheticScreen(o), "Synthetic screen: the radius must be positive");
  o.Radius = NAN;
  EXPECT_ZR_ERROR(RfaMakeSyntheticScreen(o), "Synthetic screen: the radius must be positive");
}

}  // namespace
