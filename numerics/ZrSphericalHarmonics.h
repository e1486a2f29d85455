// Real orthonormal spherical harmonics: the basis, coefficient tables, the projection and
// degree-by-degree fits of an image, and the coefficient image that carries the result.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "numerics/ZrMatrix.h"

// Tables over degrees l = 0 .. L-1 and orders -l <= m <= l hold (l, m) at l(l+1)+m, L^2
// entries in all. The same layout serves Legendre values, normalisation factors, basis values
// and coefficients.
inline int32_t ZrShIndex(int32_t l, int32_t m) {
  return l * (l + 1) + m;
}

// Coefficients of degrees 0 .. L-1, with checked (l, m) access.
class ZrShCoefficients {
 public:
  ZrShCoefficients() = default;
  explicit ZrShCoefficients(int32_t degrees) { Reset(degrees); }

  // Sizes the table for L degrees and clears it.
  void Reset(int32_t degrees);
  int32_t Degrees() const { return l_; }

  // "Illegal l value" unless 0 <= l < L; "Illegal m value" when |m| > l.
  long double& At(int32_t l, int32_t m);
  long double At(int32_t l, int32_t m) const {
    return const_cast<ZrShCoefficients*>(this)->At(l, m);
  }

  std::vector<long double> Values;  // L^2 entries, (l, m) at l(l+1)+m

 private:
  int32_t l_ = 0;
};

// Cancel flag (set by the user interface, read without a lock by the fit and its threads) and
// the progress pair (current step, total steps) that the fit publishes from its calling thread.
struct ZrShFitControl {
  std::atomic<bool> Cancel{false};
  std::atomic<int32_t> Current{0};
  std::atomic<int32_t> Total{0};
};

// Evaluates the basis at directions given as polar angle theta (from +z) and azimuth phi
// (from +x towards +y), radians. Owns the table of normalisation factors, which grows with the
// largest L asked for and is never shrunk.
class ZrSphericalHarmonics {
 public:
  // Associated Legendre values P(l, m) at theta for l < L, without the Condon-Shortley sign;
  // P(l, -m) = P(l, m). P must hold L^2 entries.
  static void Legendre(long double* P, int32_t L, long double theta);

  // Ensures the normalisation table holds at least L degrees and returns it:
  // N(l, -m) = sqrt((2l+1)/2 (l-m)!/(l+m)!) for m >= 0 and N(l, m) = (-1)^m N(l, -m).
  const std::vector<long double>& Normalisation(int32_t L);
  int32_t NormalisationDegrees() const { return normL_; }

  // All L^2 basis values at (theta, phi): Y(l, 0) = Nbar P(l, 0) / sqrt(2 pi);
  // Y(l, m) = N(l, -m) P(l, m) cos(m phi) / sqrt(pi), Y(l, -m) = the same with sin(m phi).
  // Y is resized to an L^2 column (storage kept while L is unchanged). "Error" for L < 0.
  void Basis(ZrLDoubleMatrix& Y, int32_t L, long double theta, long double phi);
  // The same into a raw array of L^2 values. The table must already hold L degrees
  // (Normalisation(L)); then this is const and safe to call from many threads at once.
  void BasisValues(long double* Y, int32_t L, long double theta, long double phi) const;

  // The basis as two L x L tables, element (x = l, y = m) for 0 <= m <= l (the rest 0):
  // C(l, 0) = Nbar P(l, 0) / sqrt(2 pi); C(l, m) = cos(m phi) sqrt(2) / sqrt(2 pi) Nbar(l, m),
  // S(l, m) = -sin(m phi) sqrt(2) / sqrt(2 pi) Nbar(l, m), Nbar(l, m) = N(l, +m) P(l, m).
  void BasisTables(ZrLDoubleMatrix& C, ZrLDoubleMatrix& S, int32_t L, long double theta,
                   long double phi);

  // Discrete integral of the image against every basis function over the solid angle its
  // non-zero pixels cover under the named projection (image begins must be 0). L <= 500.
  ZrShCoefficients ProjectionFit(const ZrFloatMatrix& image, int32_t L,
                                 const std::string& mappingName, ZrShFitControl* control = nullptr);
  // Degree by degree: the mean of the residual against each degree's functions over the
  // covered solid angle, scaled to the whole sphere, then that degree removed from the
  // residual. The basis maps of one degree are computed in an OpenMP loop over rows. L <= 180.
  ZrShCoefficients DegreeFit(const ZrFloatMatrix& image, int32_t L, const std::string& mappingName,
                             ZrShFitControl* control = nullptr);
  // Either fit, delivered as a coefficient image.
  ZrFloatMatrix FitCoefficientImage(const ZrFloatMatrix& image, int32_t L,
                                    const std::string& mappingName, bool degreeByDegree,
                                    ZrShFitControl* control = nullptr);

  // The coefficient image: 2L+1 columns by L rows, begins 0, (l, m) as float at column m + L
  // of row l, everything else 0.
  static ZrFloatMatrix CoefficientImage(const ZrShCoefficients& coefficients);
  // Reads a coefficient image back; refuses any image that a coefficient image cannot be
  // ("This image is not Spherical Harmonics data").
  static ZrShCoefficients ReadCoefficientImage(const ZrFloatMatrix& image);

  // The expansion evaluated at every pixel of a width x height image under the named
  // projection; pixels outside the projected sphere are 0.
  ZrFloatMatrix Evaluate(const ZrShCoefficients& coefficients, int32_t width, int32_t height,
                         const std::string& mappingName);

 private:
  std::vector<long double> norm_;
  int32_t normL_ = 0;
};
