// Sphere-to-plane projections: fixed points, round trips, solid angles and the angle maps.
#include "numerics/ZrSphericalMapping.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "tests/common/ZrTestUtil.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

// Expects the projected position (x, y) within 1e-12.
#define EXPECT_AT(x, y, ex, ey)                     \
  do {                                              \
    EXPECT_NEAR(static_cast<double>(x), ex, 1e-12); \
    EXPECT_NEAR(static_cast<double>(y), ey, 1e-12); \
  } while (0)

TEST(ZrAzimuthalEquidistant, FixedPoints) {
  const ZrConvertAzimuthalEquidistantMap map;
  EXPECT_TRUE(map.CheckImageSize(101, 101));
  EXPECT_FALSE(map.CheckImageSize(100, 101));
  long double x, y;
  ASSERT_TRUE(map.SphereToImage(x, y, 101, 101, 0, 0, 1));
  EXPECT_AT(x, y, 50, 50);
  // theta = 90 deg lands on the last column; the scale rounded to double puts it a hair
  // beyond, so only the position is checked here.
  map.SphereToImage(x, y, 101, 101, 1, 0, 0);
  EXPECT_AT(x, y, 100, 50);
  const long double half = std::sqrt(0.5L);
  ASSERT_TRUE(map.SphereToImage(x, y, 101, 101, 0, half, half));
  EXPECT_AT(x, y, 50, 75);                                    // +y is down the image
  EXPECT_FALSE(map.SphereToImage(x, y, 101, 101, 0, 0, -1));  // the far pole: beyond the image
  // 45 deg towards +y in a 200 x 100 rectangle: radius 100 for 90 deg on both axes; the bounds
  // are inclusive.
  EXPECT_TRUE(map.SphereToRect(x, y, 0, 200, 0, 100, 0, std::sin(kPi / 4), std::cos(kPi / 4)));
  EXPECT_AT(x, y, 100, 100);
  EXPECT_FALSE(map.SphereToRect(x, y, 0, 200, 0, 100, 0, 1, 0));

  long double dx, dy, dz, omega;
  ASSERT_TRUE(map.ImageToSphere(dx, dy, dz, omega, 50, 50, 101, 101));
  EXPECT_EQ(dz, 1);
  EXPECT_NEAR(static_cast<double>(omega), static_cast<double>(kPi * kPi / (4 * 50 * 50)), 1e-18);
  dx = 7;
  EXPECT_FALSE(map.ImageToSphere(dx, dy, dz, omega, 101, 50, 101, 101));  // 91.8 deg
  EXPECT_EQ(dx, 7);                                                       // nothing written
  ASSERT_TRUE(map.ImageToSphere(dx, dy, dz, omega, 100, 50, 101, 101));
  EXPECT_NEAR(static_cast<double>(dx), 1, 1e-15);
  EXPECT_NEAR(static_cast<double>(omega), static_cast<double>(kPi / (2 * 50 * 50)), 1e-15);
}

TEST(ZrEquidistantCylindrical, FixedPointsAndWrap) {
  const ZrConvertEquidistantCylindricalMap map;
  EXPECT_TRUE(map.CheckImageSize(7, 300));
  long double x, y;
  ASSERT_TRUE(map.SphereToImage(x, y, 360, 181, -1, 0, 0));
  EXPECT_AT(x, y, 180, 90);
  ASSERT_TRUE(map.SphereToImage(x, y, 360, 181, 0, -1, 0));
  EXPECT_AT(x, y, 270, 90);  // -90 wrapped
  ASSERT_TRUE(map.SphereToImage(x, y, 360, 181, 0, 0, -1));
  EXPECT_AT(x, y, 0, 180);
  ASSERT_TRUE(map.SphereToImage(x, y, 360, 181, 0, 0, 1.0000001L));  // clamped to the pole
  EXPECT_EQ(y, 0);
  EXPECT_FALSE(map.SphereToRect(x, y, 0, 10, 0, 10, 1, 0, 0));

  long double dx, dy, dz, pole, inner;
  ASSERT_TRUE(map.ImageToSphere(dx, dy, dz, pole, 0, 0, 360, 181));
  ASSERT_TRUE(map.ImageToSphere(dx, dy, dz, inner, 10, 90, 360, 181));
  EXPECT_NEAR(static_cast<double>(pole),
              static_cast<double>(kPi * kPi * kPi / (180.0 * 4 * 180 * 360)), 1e-18);
  EXPECT_NEAR(static_cast<double>(inner), static_cast<double>(2 * kPi * kPi / (180.0 * 360)),
              1e-15);
  ASSERT_TRUE(map.ImageToSphere(dx, dy, dz, pole, 5, 180, 360, 181));
  EXPECT_NEAR(static_cast<double>(dz), -1, 1e-15);
}

// Forward then back returns the pixel, for both projections, across the image (rim included).
struct RoundTrip {
  const char* Name;
  std::shared_ptr<const ZrSphericalMappingConvert> Map;
  int32_t Width, Height;
};
class ZrMappingRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(ZrMappingRoundTrip, ImageToSphereToImageAndSolidAnglesCoverTheProjectedSphere) {
  const RoundTrip& rt = GetParam();
  int checked = 0;
  long double total = 0;
  for (int32_t py = 0; py < rt.Height; ++py) {
    for (int32_t px = 0; px < rt.Width; ++px) {
      long double dx, dy, dz, omega, x, y;
      if (!rt.Map->ImageToSphere(dx, dy, dz, omega, px, py, rt.Width, rt.Height)) continue;
      total += omega;
      EXPECT_NEAR(static_cast<double>(dx * dx + dy * dy + dz * dz), 1.0, 1e-15);
      EXPECT_GT(omega, 0);
      if (px % 3 != 0 || py % 3 != 0) continue;
      if (rt.Map->MappingType == 2 && (py == 0 || py == rt.Height - 1)) continue;  // poles
      EXPECT_TRUE(rt.Map->SphereToImage(x, y, rt.Width, rt.Height, dx, dy, dz));
      EXPECT_NEAR(static_cast<double>(x), px, 1e-9) << px << "," << py;
      EXPECT_NEAR(static_cast<double>(y), py, 1e-9) << px << "," << py;
      ++checked;
    }
  }
  EXPECT_GT(checked, 100);
  const double expected = rt.Map->MappingType == 1 ? 2 * M_PI : 4 * M_PI;  // hemisphere, sphere
  EXPECT_NEAR(static_cast<double>(total), expected, 0.01 * expected);
}

INSTANTIATE_TEST_SUITE_P(
    Projections, ZrMappingRoundTrip,
    ::testing::Values(
        RoundTrip{"Azimuthal", std::make_shared<ZrConvertAzimuthalEquidistantMap>(), 121, 121},
        RoundTrip{"Cylindrical", std::make_shared<ZrConvertEquidistantCylindricalMap>(), 200, 101}),
    [](const ::testing::TestParamInfo<RoundTrip>& row) { return std::string(row.param.Name); });

TEST(ZrSphericalAngleMaps, MaskedPixelsAndProjections) {
  ZrLDoubleMatrix mask(21, 21);
  mask.Fill(1);
  mask(13, 10) = 0;
  ZrLDoubleMatrix theta, phi, omega;
  ZrBuildSphericalAngleMaps(theta, phi, omega, mask, "AzimuthalEquidistant");
  EXPECT_EQ(theta(10, 10), 0);
  EXPECT_GT(omega(10, 10), 0);
  EXPECT_NEAR(static_cast<double>(theta(19, 10)), 81 * M_PI / 180, 1e-15);
  EXPECT_NEAR(static_cast<double>(phi(10, 19)), M_PI / 2, 1e-15);
  // sin of the extended pi is a tiny negative number: the azimuth comes out as -pi.
  EXPECT_NEAR(std::fabs(static_cast<double>(phi(1, 10))), M_PI, 1e-15);
  EXPECT_NEAR(static_cast<double>(phi(10, 1)), -M_PI / 2, 1e-15);
  EXPECT_EQ(omega(13, 10), 0);  // masked
  EXPECT_EQ(omega(0, 0), 0);    // corner: beyond 90 deg
  ZrBuildSphericalAngleMaps(theta, phi, omega, mask, "EquidistantCylindrical");
  EXPECT_NEAR(static_cast<double>(theta(0, 20)), M_PI, 1e-15);
  EXPECT_GT(omega(0, 0), 0);
}

TEST(ZrSphericalAngleMaps, Failures) {
  ZrLDoubleMatrix mask(4, 4);
  mask.Fill(1);
  ZrLDoubleMatrix theta(2, 3), phi, omega;
  EXPECT_ZR_ERROR(ZrBuildSphericalAngleMaps(theta, phi, omega, mask, "Gnomonic"),
                  "Mapping type is not supported");
  EXPECT_EQ(theta.ColSize, 2);  // refused before any output was touched
  mask.SetBegin(1, 0);
  EXPECT_ZR_ERROR(ZrBuildSphericalAngleMaps(theta, phi, omega, mask, "AzimuthalEquidistant"),
                  "Matrix over range. access=(0,0) size=(4,4) begin=(1,0)FastReturn=false");
}

}  // namespace
