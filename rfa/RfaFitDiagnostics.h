// What the spherical-harmonics background fit found: its coefficients, how well the background
// matches the disc, and whether the normal matrix was fit to be inverted. No host calls.
#pragma once

#include <cstdint>
#include <string>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaBackgroundFit.h"

class RfaParameters;

// M is inverted in 80-bit arithmetic (unit roundoff 5.4e-20) by LU without pivoting, so the
// inverse's relative error grows like the condition number times that roundoff and a modest
// factor. Above 1e13 it reaches the 6e-8 resolution of the float images, and a change of the
// data changes the background by more than itself. Measured on a 256 x 256 screen (R 95,
// hemisphere): Size_l 9 gives a condition of 6e12 and |M M^-1 - I| = 5e-8; Size_l 10 gives 2e14
// and 1.6e-6, and a relative change of 1e-6 in the pixels moves the background by 1.4e-6.
constexpr double kRfaConditionLimit = 1e13;

struct RfaFitQuality {
  double Condition = 0;            // ||M||_1 ||M^-1||_1
  double ResidualRms = 0;          // RMS of image - background over the pixels that entered the fit
  double RelativeResidualRms = 0;  // ResidualRms / the mean of those pixels
  int64_t Pixels = 0;
  bool Unreliable() const { return !(Condition <= kRfaConditionLimit); }
};

// The 1-norm condition number of M from M and its inverse (both square, the same size).
double RfaConditionNumber(const ZrLDoubleMatrix& M, const ZrLDoubleMatrix& inverse);

// image: what the fit was given; background: what it returned for it; solution: what it solved
// (RfaFitOptions::Solution). The pixels are those inside the fit's disc that enter the fit.
RfaFitQuality RfaAssessFit(const ZrFloatMatrix& image, const ZrFloatMatrix& background,
                           const RfaParameters& params, const RfaFitSolution& solution);

// The warning for an unreliable fit, e.g. "the normal matrix of the background fit is
// ill-conditioned (condition 1.95e+14 above 1e+13, Size_l_ 10): the background is unreliable;
// use a lower Size_l_"; "" when the fit is reliable.
std::string RfaFitWarning(const RfaFitQuality& quality, const RfaParameters& params);

// The coefficients as CSV: a header "l,m,coefficient", then one line per basis function in
// the fit's order, with 21 significant digits (they read back to the same long double).
std::string RfaCoefficientsCsv(const ZrLDoubleMatrix& coefficients);
