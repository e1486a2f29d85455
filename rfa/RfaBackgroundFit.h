// The spherical-harmonics background of an RFA screen image.
#pragma once

#include <cstdint>

#include "numerics/ZrMatrix.h"

class RfaParameters;

// Fits real spherical harmonics of degrees 0..Size_l to the pixels of the disc of
// radius Sr - SMargin about the image centre (azimuthal-equidistant mapping up to
// MappingAzThetaMax_deg) that are no holes (RfaIsHole: 0 or not finite) and fills result,
// shaped like image, with the fitted background at every disc pixel (zero outside the disc).
void RfaSphericalHarmonicsBackground(ZrFloatMatrix& result, const RfaParameters& params,
                                     const ZrFloatMatrix& image);

// Maps the pixel offset (x, y) from the disc centre to a direction: theta (polar angle) and
// phi (azimuth from +x towards +y), radians. With u = x / R, v = y / R in double, pixels with
// u^2 + v^2 >= 1 lie outside (false). asinMethod: theta = asin(rho); else azimuthalMethod:
// theta = rho * thetaMax. Neither: "Undefined Mapping Method".
bool RfaMapDiscPixel(long double& theta, long double& phi, int32_t x, int32_t y, double radius,
                     bool asinMethod, bool azimuthalMethod, long double thetaMax);

// Where and how the fit samples an image: the square of offsets First..floor(Radius) on both
// axes about (CenterX, CenterY) = (ColSize / 2, RowSize / 2) of the image.
struct RfaFitGeometry {
  double Radius = 0;         // Sr - SMargin, pixels
  long double ThetaMax = 0;  // radians
  int32_t Degrees = 0;       // Size_l + 1
  int32_t First = 0;         // trunc(-Radius); 0 for a negative radius
  int32_t CenterX = 0;
  int32_t CenterY = 0;
};
RfaFitGeometry RfaMakeFitGeometry(const RfaParameters& params, const ZrFloatMatrix& image);

// Normal equations of the least-squares fit: M (K x K) = sum over pixels of Y Y^T and
// b (a K-row column) = sum of Y p, K = Degrees^2, summed in extended precision over the
// non-zero disc pixels in row-major order.
struct RfaNormalEquations {
  ZrLDoubleMatrix M;
  ZrLDoubleMatrix b;
};

// The accumulation used by the fit: the upper triangle of M in register tiles over chunks of
// pixels, mirrored at the end. Every element is summed over the same pixels in the same order
// as the reference loop below, so both give bit-identical results.
void RfaAccumulateNormalEquations(RfaNormalEquations& equations, const ZrFloatMatrix& image,
                                  const RfaParameters& params);
// The plain loop (per pixel, M(i, j) += Y[i] * Y[j] for every i and j), kept as the reference
// that the optimised accumulation is checked and timed against.
void RfaAccumulateNormalEquationsReference(RfaNormalEquations& equations,
                                           const ZrFloatMatrix& image, const RfaParameters& params);
