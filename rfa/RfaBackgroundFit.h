// The spherical-harmonics background of an RFA screen image.
#pragma once

#include <cstdint>
#include <memory>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaImageOps.h"

class RfaParameters;

// Whether a pixel value enters the sums of the fit: holes (RfaIsHole: 0, masked or empty, or
// not finite) never do, though they still receive a background value.
inline bool RfaPixelEntersFit(float p) {
  return !RfaIsHole(p);
}

// How the fit obtains the basis vector of a disc pixel.
enum class RfaBasisKind {
  // Once per group of the eight offsets (+-x, +-y), (+-y, +-x): they share rho^2 and so theta,
  // and their cos(m phi), sin(m phi) follow from those of the group's representative by sign
  // changes and swaps. The representative and its mirror image in the x axis get exactly the
  // values of their own evaluation; the other members differ from theirs by a few units in the
  // last place of long double (their azimuth is pi - phi or pi/2 -+ phi taken exactly instead of
  // rounded anew).
  Symmetric,
  // Every pixel mapped and evaluated on its own: the fit as first written, kept as the baseline
  // that the symmetric basis is checked and timed against.
  PerPixel,
};

// What one fit did, for reports and tests.
struct RfaFitReport {
  bool MatrixReused = false;  // M and its inverse came from the cache
  bool TableUsed = false;     // the basis came from a table of the disc's groups
  bool TableReused = false;   // ... kept from an earlier fit
  int64_t TableBytes = 0;     // the table's size
  int32_t Threads = 1;
};

struct RfaNormalMatrixEntry;

// What the fit solved, handed out for diagnostics (RfaFitDiagnostics.h) when asked for.
struct RfaFitSolution {
  ZrLDoubleMatrix Coefficients;                        // K rows; degree l, order m at l (l + 1) + m
  std::shared_ptr<const RfaNormalMatrixEntry> Normal;  // M and its inverse, as the fit used them
};

struct RfaFitOptions {
  // Threads of the fit's parallel loops; 0: RfaFitThreads(). The result does not depend on it.
  int32_t Threads = 0;
  // Look up and keep normal matrices and basis tables in the process-wide caches. A reused
  // matrix is the one the fit would compute, so the result is the same bits either way.
  bool Reuse = true;
  RfaBasisKind Basis = RfaBasisKind::Symmetric;
  // Largest basis table (bytes) the fit builds; above it, the basis is evaluated per group as
  // the pixels are visited. -1: the built-in limit.
  int64_t TableLimit = -1;
  RfaFitReport* Report = nullptr;      // where to say what happened; may be null
  RfaFitSolution* Solution = nullptr;  // where to hand what was solved; may be null
};

// Threads of a fit when its options leave it open: the last RfaSetFitThreads(n) with n >= 1,
// else the environment variable RFA_FIT_THREADS (a whole number >= 1), else all processors.
int32_t RfaFitThreads();
void RfaSetFitThreads(int32_t threads);  // 0: back to the environment or all processors

// Fits real spherical harmonics of degrees 0..Size_l to the pixels of the disc of radius
// Sr - SMargin about the image centre (azimuthal-equidistant mapping up to
// MappingAzThetaMax_deg) that enter the fit (RfaPixelEntersFit) and fills result, shaped like
// image, with the fitted background at every disc pixel (zero outside the disc). The parallel loops
// end before the call returns.
void RfaSphericalHarmonicsBackground(ZrFloatMatrix& result, const RfaParameters& params,
                                     const ZrFloatMatrix& image, const RfaFitOptions& options = {});

// Empties the process-wide caches of normal matrices and basis tables.
void RfaClearFitCaches();

// Whether the pixel offset (x, y) from the disc centre lies inside the fit's disc: with
// u = x / R, v = y / R in double, u^2 + v^2 < 1 (the test RfaMapDiscPixel makes).
inline bool RfaInDisc(int32_t x, int32_t y, double radius) {
  const double u = x / radius;
  const double v = y / radius;
  return u * u + v * v < 1;
}

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

// The accumulation used by the fit: the upper triangle of M in register tiles spread over the
// threads, over chunks of pixels, mirrored at the end. Every element is summed over the same
// pixels in the same order as the reference loop below with the same basis, so both give
// bit-identical results. The options' Reuse covers the basis table only: M is always summed.
void RfaAccumulateNormalEquations(RfaNormalEquations& equations, const ZrFloatMatrix& image,
                                  const RfaParameters& params, const RfaFitOptions& options = {});
// The plain loop (per pixel, M(i, j) += Y[i] * Y[j] for every i and j, with the basis of
// RfaDiscBasisAt), kept as the reference that the accumulation is checked and timed against.
void RfaAccumulateNormalEquationsReference(RfaNormalEquations& equations,
                                           const ZrFloatMatrix& image, const RfaParameters& params,
                                           RfaBasisKind basis = RfaBasisKind::Symmetric);

// The basis vector (Degrees^2 values) that the fit uses at disc offset (x, y); false (Y
// untouched) outside the disc. One pixel at a time: for checks, not for speed.
bool RfaDiscBasisAt(long double* Y, const RfaFitGeometry& geometry, int32_t x, int32_t y,
                    RfaBasisKind basis);
