// Angular maps: directions land on the pixels the fit's mapping gives them; impossible grids.
#include "rfa/RfaAngularMap.h"

#include <gtest/gtest.h>

#include <cmath>

#include "rfa/RfaParameters.h"
#include "tests/common/ZrTestUtil.h"

namespace {

constexpr double kDeg = 3.14159265358979323846 / 180;

// R = Sr - SMargin = 50 pixels for theta up to 80 degrees.
RfaParameters Screen() {
  RfaParameters p;
  p.Sr = 60;
  p.SMargin = 10;
  p.MappingAzThetaMaxDeg = 80;
  return p;
}

// Pixels that hold where they are: 1000 + x, or 1000 + y. Linear and Keys interpolation give a
// ramp back exactly, so a map of these reads out the position of each of its directions.
ZrFloatMatrix Ramp(bool alongX) {
  ZrFloatMatrix m(121, 111);  // centre (60, 55)
  for (int32_t y = 0; y < m.RowSize; ++y) {
    for (int32_t x = 0; x < m.ColSize; ++x) m(x, y) = static_cast<float>(1000 + (alongX ? x : y));
  }
  return m;
}

TEST(RfaAngularMap, DirectionsLandWhereTheFitMapsThem) {
  const RfaParameters p = Screen();
  const RfaAngularGrid grid = RfaMakeAngularGrid(10, p);
  ASSERT_EQ(grid.Rows, 9);  // 0 .. 80 degrees
  ASSERT_EQ(grid.Cols, 36);
  for (RfaInterpolation kind : {RfaInterpolation::Linear, RfaInterpolation::Keys}) {
    const ZrFloatMatrix xs = RfaAngularMap(Ramp(true), p, grid, kind);
    const ZrFloatMatrix ys = RfaAngularMap(Ramp(false), p, grid, kind);
    // Row k is theta 10 k degrees, at 50 k / 8 pixels from the centre; column j is phi 10 j.
    for (int32_t row = 0; row < grid.Rows; ++row) {
      for (int32_t col = 0; col < grid.Cols; ++col) {
        const double rho = 50.0 * row / 8;
        ASSERT_NEAR(xs(col, row), 1060 + rho * std::cos(10 * col * kDeg), 2e-3)
            << col << "," << row;
        ASSERT_NEAR(ys(col, row), 1055 + rho * std::sin(10 * col * kDeg), 2e-3)
            << col << "," << row;
      }
    }
  }
  // The fit's own mapping of a pixel, turned around, gives the pixel back.
  const RfaFitGeometry g = RfaMakeFitGeometry(p, Ramp(true));
  for (const auto& offset : {std::pair{13, -7}, std::pair{-30, 22}, std::pair{0, 49}}) {
    long double theta = 0, phi = 0;
    ASSERT_TRUE(RfaMapDiscPixel(theta, phi, offset.first, offset.second, g.Radius, false, true,
                                g.ThetaMax));
    double x = 0, y = 0;
    RfaDiscPixelOf(g, theta, phi, x, y);
    EXPECT_NEAR(x, 60 + offset.first, 1e-9);
    EXPECT_NEAR(y, 55 + offset.second, 1e-9);
  }
}

TEST(RfaAngularMap, StereographicPixelsAndHoles) {
  const RfaParameters p = Screen();
  const RfaStereoGrid grid = RfaMakeStereoGrid(10, p);
  ASSERT_EQ(grid.Side, 21);  // 2 tan(40 deg) / 10 deg = 9.6 pixels from the pole
  const ZrFloatMatrix xs = RfaStereographicMap(Ramp(true), p, grid, RfaInterpolation::Linear);
  EXPECT_NEAR(xs(10, 10), 1060, 1e-3);                    // the pole
  const double theta = 2 * std::atan(5 * 10 * kDeg / 2);  // 5 pixels to the right of the pole
  EXPECT_NEAR(xs(15, 10), 1060 + 50 * theta / (80 * kDeg), 1e-3);
  EXPECT_EQ(xs(0, 0), 0.0f) << "beyond 80 degrees";
  ZrFloatMatrix holed = Ramp(true);
  holed(60, 55) = 0.0f;
  EXPECT_EQ(RfaStereographicMap(holed, p, grid, RfaInterpolation::Linear)(10, 10), 0.0f);
}

TEST(RfaAngularMap, RefusesImpossibleGrids) {
  RfaParameters p = Screen();
  EXPECT_ZR_ERROR(
      RfaMakeAngularGrid(0, p),
      "Angular map: the step must be a number of degrees above 0 and at most 90, not 0");
  EXPECT_ZR_ERROR(RfaMakeStereoGrid(NAN, p),
                  "Angular map: the step must be a number of degrees "
                  "above 0 and at most 90, not nan");
  // The grid too large and the stereographic projection at 180 degrees: ImpossibleRequests of
  // rfa-process.
  p.MappingAzThetaMaxDeg = 180;
  EXPECT_EQ(RfaMakeAngularGrid(1, p).Rows, 181);
  p.MappingAzThetaMaxDeg = -5;
  EXPECT_ZR_ERROR(RfaMakeAngularGrid(1, p),
                  "Angular map: MappingAzThetaMax_deg_ must be above 0 and at most 180, not -5");
  p = Screen();
  p.SMargin = 60;
  EXPECT_ZR_ERROR(RfaMakeAngularGrid(1, p),
                  "Angular map: the screen radius Sr_ - SMargin_ must be above 0, not 0");
}

}  // namespace
