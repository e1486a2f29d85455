// Radial profiles: ring statistics, the result's screen centre and the CSV table.
#include "rfa/RfaRadialProfile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <vector>

#include "rfa/RfaParameters.h"

namespace {

// Every pixel holds 1 + its ring number about (20.5, 17), except holes; ring 3 holds a few
// larger values, so its mean moves and its median does not.
TEST(RfaRadialProfile, RingStatisticsWithoutHoles) {
  ZrFloatMatrix image(40, 30);
  image.SetBegin(-2, 1);
  std::vector<int64_t> count(6, 0);
  for (int32_t y = 0; y < 30; ++y) {
    for (int32_t x = 0; x < 40; ++x) {
      const double d = std::hypot(-2 + x - 20.5, 1 + y - 17);
      float& v = image.Data[x + y * 40];
      v = static_cast<float>(1 + std::floor(d));
      if (x % 5 == 0) v = 0.0f;  // holes
      if (d < 6 && v != 0) ++count[static_cast<size_t>(d)];
    }
  }
  image(20, 17) = std::nanf("");  // distance 0.5, ring 0: not finite, a hole
  --count[0];
  image(19, 20) = 100.0f;  // distance 3.35, ring 3
  const RfaRadialProfile profile = RfaMakeRadialProfile(image, 20.5, 17, 6);
  EXPECT_EQ(profile.Pixels, count);
  EXPECT_EQ(profile.Median, (std::vector<double>{1, 2, 3, 4, 5, 6}));
  ASSERT_EQ(profile.Mean.size(), 6u);
  EXPECT_DOUBLE_EQ(profile.Mean[2], 3.0);
  EXPECT_DOUBLE_EQ(profile.Mean[3], 4.0 + 96.0 / count[3]);
  // A ring of an even count has the mean of its two middle values as its median.
  ZrFloatMatrix pair(2, 1);
  pair.Data[0] = 1.0f;
  pair.Data[1] = 4.0f;
  EXPECT_EQ(RfaMakeRadialProfile(pair, 0.5, 0, 1).Median, std::vector<double>{2.5});
}

TEST(RfaRadialProfile, ScreenCentreOfTheResultAndTheTable) {
  const ZrFloatMatrix image(101, 80);
  RfaParameters p;
  p.Sx = 47.7;
  p.Sy = 44.2;
  double cx = 0, cy = 0;
  RfaResultScreenCentre(image, p, false, cx, cy);  // rolled by trunc(50 - 47.7) = 2, trunc(-4.2)
  EXPECT_DOUBLE_EQ(cx, 49.7);
  EXPECT_DOUBLE_EQ(cy, 40.2);
  RfaResultScreenCentre(image, p, true, cx, cy);
  EXPECT_EQ(std::pair(cx, cy), std::pair(50.0, 40.0));
  p.IsMoveCenter = false;
  RfaResultScreenCentre(image, p, true, cx, cy);
  EXPECT_EQ(cx, 47.7);

  p.Sr = 4;
  p.SMargin = 1;  // the fitted disc reaches radius 3
  p.MappingAzThetaMaxDeg = 60;
  RfaRadialProfile a, b;
  a.Pixels = {3, 0, 5, 2};
  a.Mean = {1.5, NAN, 2, 0.25};
  a.Median = {1, NAN, 2, 0.25};
  b.Pixels = {1, 1, 1, 1};
  b.Mean = b.Median = {1, 1, 1, 1};
  EXPECT_EQ(RfaProfileCsv(a, b, p),
            "radius_px,theta_deg,image_pixels,image_mean,image_median,quotient_pixels,"
            "quotient_mean,quotient_median\n"
            "0.5,10,3,1.5,1,1,1,1\n"
            "1.5,30,0,,,1,1,1\n"
            "2.5,50,5,2,2,1,1,1\n"
            "3.5,,2,0.25,0.25,1,1,1\n");
}

}  // namespace
