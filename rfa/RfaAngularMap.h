// Angular maps of a (centred) RFA result: the image resampled onto a regular grid of emission
// directions and onto a stereographic projection, through the background fit's own
// azimuthal-equidistant mapping. No host calls.
#pragma once

#include <cstdint>
#include <string>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaInterpolation.h"

class RfaParameters;

// Where the direction (theta, phi) -- radians, polar angle from the screen normal and azimuth
// from +x towards +y -- lies on the image whose fit geometry is g: at rho = Radius x theta /
// ThetaMax from the disc centre (CenterX, CenterY), the inverse of RfaMapDiscPixel's
// azimuthal-equidistant rule. (x, y) are the coordinates the fit reads its pixels at.
void RfaDiscPixelOf(const RfaFitGeometry& g, long double theta, long double phi, double& x,
                    double& y);

// The regular grid of an angular map: row i holds theta = i x Step (0 .. ThetaMax), column j
// phi = j x Step (0 up to below 360). Degrees.
struct RfaAngularGrid {
  double StepDeg = 0;
  double ThetaMaxDeg = 0;
  int32_t Rows = 0;  // theta values
  int32_t Cols = 0;  // phi values
};

// The stereographic picture of the directions up to ThetaMax: a square of Side pixels about the
// pole at ((Side - 1) / 2, (Side - 1) / 2); a direction lies at 2 tan(theta / 2) / step from it
// (step in radians, so one pixel spans Step degrees at the pole), in the direction phi from +x
// towards +y, as on the screen. Pixels beyond ThetaMax are 0.
struct RfaStereoGrid {
  double StepDeg = 0;
  double ThetaMaxDeg = 0;
  int32_t Side = 0;
};

// The largest map either grid may make (a 256 MiB float image).
constexpr int64_t kRfaAngularMapMaxPixels = int64_t{1} << 26;

// The grids for a step in degrees and the fit's geometry of the parameters (MappingAzThetaMax_deg,
// Sr - SMargin), checked before anything is computed: a step that is not a number above 0 and at
// most 90, a radius Sr - SMargin that is not above 0, a largest angle that is not above 0 and
// at most 180 (below 180 for the stereographic projection), or a grid of more than
// kRfaAngularMapMaxPixels pixels: ZrError "Angular map: ...".
RfaAngularGrid RfaMakeAngularGrid(double stepDeg, const RfaParameters& params);
RfaStereoGrid RfaMakeStereoGrid(double stepDeg, const RfaParameters& params);

// The maps of image, whose screen centre is the image centre as the fit takes it (the chain's
// result after "move to centre"). Holes (0, not finite) stay holes: a grid point whose
// interpolation reads one, or a pixel outside the image, is 0.
ZrFloatMatrix RfaAngularMap(const ZrFloatMatrix& image, const RfaParameters& params,
                            const RfaAngularGrid& grid, RfaInterpolation kind);
ZrFloatMatrix RfaStereographicMap(const ZrFloatMatrix& image, const RfaParameters& params,
                                  const RfaStereoGrid& grid, RfaInterpolation kind);
