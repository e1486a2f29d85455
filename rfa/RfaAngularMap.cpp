// Angular maps through the background fit's azimuthal-equidistant mapping.
#include "rfa/RfaAngularMap.h"

#include <cmath>
#include <sstream>

#include "rfa/RfaParameters.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

std::string Text(double v) {
  std::ostringstream s;
  s << v;
  return s.str();
}

[[noreturn]] void Refuse(const std::string& why) {
  throw ZrError("Angular map: " + why);
}

// The checks both grids share; the polar-angle limit in degrees.
double CheckCommon(double stepDeg, const RfaParameters& params) {
  if (!(stepDeg > 0.0 && stepDeg <= 90.0)) {
    Refuse("the step must be a number of degrees above 0 and at most 90, not " + Text(stepDeg));
  }
  const double radius = params.Sr - static_cast<double>(params.SMargin);
  if (!(radius > 0.0)) {
    Refuse("the screen radius Sr_ - SMargin_ must be above 0, not " + Text(radius));
  }
  const double thetaMax = static_cast<double>(params.MappingAzThetaMaxDeg);
  if (!(thetaMax > 0.0 && thetaMax <= 180.0)) {
    Refuse("MappingAzThetaMax_deg_ must be above 0 and at most 180, not " + Text(thetaMax));
  }
  return thetaMax;
}

void CheckSize(double stepDeg, double rows, double cols) {
  if (rows * cols > static_cast<double>(kRfaAngularMapMaxPixels)) {
    Refuse("a step of " + Text(stepDeg) + " degrees makes a grid of " + Text(cols) + " x " +
           Text(rows) + " pixels, more than " + std::to_string(kRfaAngularMapMaxPixels));
  }
}

// Samples image at every grid point that direction(column, row, theta, phi) names (false: no
// direction there, the point stays 0).
template <class Direction>
ZrFloatMatrix Resample(const ZrFloatMatrix& image, const RfaParameters& params, int32_t cols,
                       int32_t rows, RfaInterpolation kind, Direction direction) {
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  const RfaResampler sample(image, kind, RfaEdge::Outside, true);
  ZrFloatMatrix map(cols, rows);
  map.Fill(0.0f);
  for (int32_t row = 0; row < rows; ++row) {
    for (int32_t col = 0; col < cols; ++col) {
      long double theta = 0, phi = 0;
      if (!direction(col, row, theta, phi)) continue;
      double x = 0, y = 0;
      RfaDiscPixelOf(g, theta, phi, x, y);
      map.Data[static_cast<int64_t>(row) * cols + col] = sample.At(x, y);
    }
  }
  return ZrReturnFast(map);
}

}  // namespace

void RfaDiscPixelOf(const RfaFitGeometry& g, long double theta, long double phi, double& x,
                    double& y) {
  const long double rho = g.Radius * theta / g.ThetaMax;
  x = static_cast<double>(g.CenterX + rho * std::cos(phi));
  y = static_cast<double>(g.CenterY + rho * std::sin(phi));
}

RfaAngularGrid RfaMakeAngularGrid(double stepDeg, const RfaParameters& params) {
  const double thetaMax = CheckCommon(stepDeg, params);
  // A hair of slack, so that a limit that is a whole number of steps keeps its last row.
  const double rows = std::floor(thetaMax / stepDeg * (1 + 1e-12)) + 1;
  const double cols = std::ceil(360.0 / stepDeg * (1 - 1e-12));
  CheckSize(stepDeg, rows, cols);
  return {stepDeg, thetaMax, static_cast<int32_t>(rows), static_cast<int32_t>(cols)};
}

RfaStereoGrid RfaMakeStereoGrid(double stepDeg, const RfaParameters& params) {
  const double thetaMax = CheckCommon(stepDeg, params);
  if (!(thetaMax < 180.0)) {
    Refuse("the stereographic projection needs MappingAzThetaMax_deg_ below 180, not " +
           Text(thetaMax));
  }
  const double reach = 2 * std::tan(thetaMax * static_cast<double>(kPi) / 360) /
                       (stepDeg * static_cast<double>(kPi) / 180);
  const double side = 2 * std::ceil(reach) + 1;
  CheckSize(stepDeg, side, side);
  return {stepDeg, thetaMax, static_cast<int32_t>(side)};
}

ZrFloatMatrix RfaAngularMap(const ZrFloatMatrix& image, const RfaParameters& params,
                            const RfaAngularGrid& grid, RfaInterpolation kind) {
  const long double step = grid.StepDeg * kPi / 180;
  return Resample(image, params, grid.Cols, grid.Rows, kind,
                  [&](int32_t col, int32_t row, long double& theta, long double& phi) {
                    theta = row * step;
                    phi = col * step;
                    return true;
                  });
}

ZrFloatMatrix RfaStereographicMap(const ZrFloatMatrix& image, const RfaParameters& params,
                                  const RfaStereoGrid& grid, RfaInterpolation kind) {
  const long double step = grid.StepDeg * kPi / 180;
  const long double limit = grid.ThetaMaxDeg * kPi / 180;
  const long double pole = (grid.Side - 1) / 2.0L;
  return Resample(image, params, grid.Side, grid.Side, kind,
                  [&](int32_t col, int32_t row, long double& theta, long double& phi) {
                    const long double u = col - pole, v = row - pole;
                    theta = 2 * std::atan(std::hypot(u, v) * step / 2);
                    phi = u == 0 && v == 0 ? 0.0L : std::atan2(v, u);
                    return theta <= limit;
                  });
}
