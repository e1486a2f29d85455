// Radial profiles of a screen image and of the chain's quotient about their screen centres,
// for reports: a CSV table and a plotted picture. No host calls.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "numerics/ZrMatrix.h"

class RfaParameters;

// Rings of one pixel about (Cx, Cy), begin-based pixel coordinates: ring k holds the measured
// pixels (no holes, RfaIsHole) at distances [k, k + 1). A ring without any has NaN statistics.
struct RfaRadialProfile {
  double Cx = 0, Cy = 0;
  std::vector<int64_t> Pixels;
  std::vector<double> Mean, Median;
};
RfaRadialProfile RfaMakeRadialProfile(const ZrFloatMatrix& image, double cx, double cy,
                                      int32_t rings);

// Where the chain leaves the screen centre (Sx, Sy) of the image it was given: on the image
// centre (ColSize / 2, RowSize / 2) after a sub-pixel move, moved by the roll's whole pixels
// after the roll, where it was without a move.
void RfaResultScreenCentre(const ZrFloatMatrix& image, const RfaParameters& params, bool subpixel,
                           double& cx, double& cy);

// The two profiles side by side, one line per ring: "radius_px" (the ring's middle, k + 0.5),
// "theta_deg" (the polar angle the fit gives that radius, radius / (Sr - SMargin) x
// MappingAzThetaMax_deg; empty beyond the fitted disc), then pixels, mean and median of the
// image and of the quotient (empty for a ring without pixels).
std::string RfaProfileCsv(const RfaRadialProfile& image, const RfaRadialProfile& quotient,
                          const RfaParameters& params);

// The same as a PNG picture: two panels over the radius, the image's ring mean and median
// above and the quotient's below, with the rim of the fitted disc (Sr - SMargin) and of the
// screen (Sr) marked.
std::string RfaProfilePlotPng(const RfaRadialProfile& image, const RfaRadialProfile& quotient,
                              const RfaParameters& params);
