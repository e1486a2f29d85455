// Spherical-harmonics basis, fits and coefficient images.
#include "numerics/ZrSphericalHarmonics.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <new>

#include "numerics/ZrDebugOutput.h"
#include "numerics/ZrSphericalMapping.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;
constexpr double kInvSqrt2Pi = 0.3989422804014327;  // 1 / sqrt(2 pi)
constexpr double kInvSqrtPi = 0.5641895835477563;   // 1 / sqrt(pi)
constexpr double kFourPi = 12.566370614359172;

bool Cancelled(const ZrShFitControl* control) {
  return control != nullptr && control->Cancel.load(std::memory_order_relaxed);
}

void Publish(ZrShFitControl* control, int32_t current, int32_t total) {
  if (control == nullptr) return;
  control->Current.store(current);
  control->Total.store(total);
}

// The image as an extended-precision matrix with its angle and solid-angle maps; the image
// itself is the mask, so zero pixels get no direction.
struct AngleMaps {
  ZrLDoubleMatrix Value, Theta, Phi, Omega;
  AngleMaps(const ZrFloatMatrix& image, const std::string& mappingName)
      : Value(image.ColSize, image.RowSize) {
    Value.SetBegin(image.ColBegin, image.RowBegin);
    for (int64_t k = 0; k < image.Count(); ++k) Value.Data[k] = image.Data[k];
    ZrBuildSphericalAngleMaps(Theta, Phi, Omega, Value, mappingName);
  }
};

}  // namespace

void ZrShCoefficients::Reset(int32_t degrees) {
  l_ = degrees;
  Values.assign(static_cast<size_t>(degrees) * static_cast<size_t>(degrees), 0.0L);
}

long double& ZrShCoefficients::At(int32_t l, int32_t m) {
  if (l < 0 || l >= l_) throw ZrError("Illegal l value");
  if (std::fabs(static_cast<float>(m)) > static_cast<float>(l)) throw ZrError("Illegal m value");
  return Values[static_cast<size_t>(ZrShIndex(l, m))];
}

void ZrSphericalHarmonics::Legendre(long double* P, int32_t L, long double theta) {
  if (L <= 0) return;
  long double s, c;
  sincosl(theta, &s, &c);  // one argument reduction; the same bits as sin and cos
  P[0] = 1;
  for (int32_t m = 0; m <= L - 2; ++m) {
    P[ZrShIndex(m + 1, m + 1)] = s * (2 * m + 1) * P[ZrShIndex(m, m)];
  }
  for (int32_t m = 0; m <= L - 2; ++m) {
    P[ZrShIndex(m + 1, m)] = c * (2 * m + 1) * P[ZrShIndex(m, m)];
  }
  for (int32_t l = 2; l <= L - 1; ++l) {
    for (int32_t m = 0; m <= l - 2; ++m) {
      P[ZrShIndex(l, m)] =
          (c * (2 * l - 1) * P[ZrShIndex(l - 1, m)] - (l - 1 + m) * P[ZrShIndex(l - 2, m)]) /
          (l - m);
    }
  }
  for (int32_t l = 1; l <= L - 1; ++l) {
    for (int32_t m = 1; m <= l; ++m) P[ZrShIndex(l, -m)] = P[ZrShIndex(l, m)];
  }
}

const std::vector<long double>& ZrSphericalHarmonics::Normalisation(int32_t L) {
  if (L <= normL_) return norm_;
  std::vector<long double> n(static_cast<size_t>(L) * static_cast<size_t>(L), 0.0L);
  auto N = [&n](int32_t l, int32_t m) -> long double& {
    return n[static_cast<size_t>(ZrShIndex(l, m))];
  };
  N(0, 0) = 1;
  if (L >= 2) N(1, -1) = std::sqrt(0.5L) * N(0, 0);
  for (int32_t l = 1; l + 1 <= L - 1; ++l) {
    N(l + 1, -(l + 1)) = N(l, -l) * std::sqrt(1.0L / ((2 * l + 1) * (2.0L * l + 2)));
  }
  for (int32_t l = 0; l <= L - 2; ++l) {
    for (int32_t k = 0; k <= l; ++k) {
      N(l + 1, -k) = std::sqrt(static_cast<long double>(1 + l - k) / (1 + k + l)) * N(l, -k);
    }
  }
  for (int32_t l = 0; l < L; ++l) {
    const long double f = std::sqrt((2 * l + 1) / 2.0L);
    for (int32_t m = -l; m <= 0; ++m) N(l, m) *= f;
  }
  for (int32_t l = 1; l < L; ++l) {
    for (int32_t m = 1; m <= l; ++m) N(l, m) = (m % 2 != 0) ? -N(l, -m) : N(l, -m);
  }
  norm_.swap(n);
  normL_ = L;
  return norm_;
}

void ZrSphericalHarmonics::BasisValues(long double* Y, int32_t L, long double theta,
                                       long double phi) const {
  if (L < 0) throw ZrError("Error");
  if (L == 0) return;
  // Y first holds P, then the normalised P, then the basis; (l, -m) keeps Nbar(l, -m) until
  // both (l, m) and (l, -m) are written from it.
  Legendre(Y, L, theta);
  const size_t count = static_cast<size_t>(L) * static_cast<size_t>(L);
  for (size_t k = 0; k < count; ++k) Y[k] = norm_[k] * Y[k];
  for (int32_t l = 0; l < L; ++l) Y[ZrShIndex(l, 0)] = Y[ZrShIndex(l, 0)] * kInvSqrt2Pi;
  // cos(m phi) and sin(m phi) by the multiple-angle recurrence (a rotation by phi per step):
  // two library calls per direction instead of two per order; the error grows by about one
  // unit of extended precision per order, far below double precision for L <= 500.
  long double cos1 = 1;
  long double sin1 = 0;
  if (L > 1) sincosl(phi, &sin1, &cos1);
  long double cosM = 1;
  long double sinM = 0;
  for (int32_t m = 1; m < L; ++m) {
    const long double c = cosM * cos1 - sinM * sin1;
    sinM = sinM * cos1 + cosM * sin1;
    cosM = c;
    for (int32_t l = m; l < L; ++l) {
      const long double p = Y[ZrShIndex(l, -m)];
      Y[ZrShIndex(l, m)] = p * cosM * kInvSqrtPi;
      Y[ZrShIndex(l, -m)] = p * sinM * kInvSqrtPi;
    }
  }
}

void ZrSphericalHarmonics::Basis(ZrLDoubleMatrix& Y, int32_t L, long double theta,
                                 long double phi) {
  if (L < 0) throw ZrError("Error");
  Normalisation(L);
  if (Y.ColSize != 1 || Y.RowSize != L * L) Y.Resize(1, L * L);
  Y.Fill(0);
  BasisValues(Y.Data, L, theta, phi);
}

void ZrSphericalHarmonics::BasisTables(ZrLDoubleMatrix& C, ZrLDoubleMatrix& S, int32_t L,
                                       long double theta, long double phi) {
  if (L < 0) throw ZrError("Error");
  const std::vector<long double>& n = Normalisation(L);
  std::vector<long double> P(static_cast<size_t>(L) * static_cast<size_t>(L));
  Legendre(P.data(), L, theta);
  C.Create(L, L);
  S.Create(L, L);
  C.Fill(0);
  S.Fill(0);
  const long double invSqrt2Pi = 1 / std::sqrt(2 * kPi);
  const long double cosFactor = std::sqrt(2.0L) / std::sqrt(2 * kPi);
  const long double sinFactor = -std::sqrt(2.0L) / std::sqrt(2 * kPi);
  for (int32_t l = 0; l < L; ++l) {
    const size_t k0 = static_cast<size_t>(ZrShIndex(l, 0));
    C(l, 0) = n[k0] * P[k0] * invSqrt2Pi;
    for (int32_t m = 1; m <= l; ++m) {
      const size_t k = static_cast<size_t>(ZrShIndex(l, m));
      const long double pBar = n[k] * P[k];  // signed factor N(l, +m)
      C(l, m) = std::cos(m * phi) * cosFactor * pBar;
      S(l, m) = std::sin(m * phi) * sinFactor * pBar;
    }
  }
}

ZrShCoefficients ZrSphericalHarmonics::ProjectionFit(const ZrFloatMatrix& image, int32_t L,
                                                     const std::string& mappingName,
                                                     ZrShFitControl* control) {
  if (static_cast<uint32_t>(L) > 500) throw ZrError("Please correct Size of spherical harmonics");
  AngleMaps maps(image, mappingName);
  ZrShCoefficients coefficients(L);
  Normalisation(L);
  std::vector<long double> Y(static_cast<size_t>(L) * static_cast<size_t>(L));
  const int32_t width = image.ColSize;
  const int32_t rows = image.RowSize;
  for (int32_t y = 0; y < rows && !Cancelled(control); ++y) {
    Publish(control, y, rows);
    for (int32_t x = 0; x < width; ++x) {
      const int64_t at = x + static_cast<int64_t>(y) * width;
      const long double omega = maps.Omega.Data[at];
      const long double v = maps.Value.Data[at];
      if (omega == 0 || v == 0) continue;
      // The basis is evaluated at the angles rounded to double, deliberately.
      const double theta = static_cast<double>(maps.Theta.Data[at]);
      const double phi = static_cast<double>(maps.Phi.Data[at]);
      BasisValues(Y.data(), L, theta, phi);
      for (size_t k = 0; k < Y.size(); ++k) coefficients.Values[k] += Y[k] * v * omega;
    }
  }
  return coefficients;
}

ZrShCoefficients ZrSphericalHarmonics::DegreeFit(const ZrFloatMatrix& image, int32_t L,
                                                 const std::string& mappingName,
                                                 ZrShFitControl* control) {
  if (static_cast<uint32_t>(L) > 180) throw ZrError("Please correct Size of spherical harmonics");
  AngleMaps maps(image, mappingName);
  ZrLDoubleMatrix& residual = maps.Value;
  ZrShCoefficients coefficients(L);
  Normalisation(L);  // grown here: the parallel loop only reads the table
  const int32_t width = image.ColSize;
  const int32_t rows = image.RowSize;
  const int64_t count = image.Count();
  for (int32_t l = 0; l < L && !Cancelled(control); ++l) {
    Publish(control, l, L);
    ZrDebug() << "OpenMP" << l;
    std::vector<ZrFloatMatrix> basisMaps(static_cast<size_t>(2 * l + 1));
    for (ZrFloatMatrix& map : basisMaps) {
      map.Create(width, rows);
      map.Fill(0.0f);
    }
#pragma omp parallel
    {
      // Static split: each thread gets rows/threads consecutive rows, the first
      // rows % threads threads one more.
      const int32_t threads = omp_get_num_threads();
      const int32_t id = omp_get_thread_num();
      const int32_t share = rows / threads;
      const int32_t extra = rows % threads;
      const int32_t first = id * share + std::min(id, extra);
      const int32_t last = first + share + (id < extra ? 1 : 0);
      std::vector<long double> Y(static_cast<size_t>(l + 1) * static_cast<size_t>(l + 1));
      for (int32_t y = first; y < last; ++y) {
        if (Cancelled(control)) break;
        for (int32_t x = 0; x < width; ++x) {
          const int64_t at = x + static_cast<int64_t>(y) * width;
          if (maps.Omega.Data[at] == 0) continue;  // no direction: never used below
          // Degrees above l do not change the values of degree l, so l + 1 degrees suffice.
          BasisValues(Y.data(), l + 1, maps.Theta.Data[at], maps.Phi.Data[at]);
          for (int32_t m = -l; m <= l; ++m) {
            basisMaps[static_cast<size_t>(m + l)].Data[at] =
                static_cast<float>(Y[static_cast<size_t>(ZrShIndex(l, m))]);
          }
        }
      }
    }
    long double covered = 0;
    std::vector<long double> moment(static_cast<size_t>(2 * l + 1), 0.0L);
    for (int64_t at = 0; at < count; ++at) {
      const long double omega = maps.Omega.Data[at];
      const long double v = residual.Data[at];
      if (v == 0 || omega == 0) continue;
      covered += omega;
      for (int32_t m = -l; m <= l; ++m) {
        moment[static_cast<size_t>(m + l)] +=
            v * omega * basisMaps[static_cast<size_t>(m + l)].Data[at];
      }
    }
    for (int32_t m = -l; m <= l; ++m) {
      coefficients.At(l, m) = moment[static_cast<size_t>(m + l)] / covered * kFourPi;
    }
    for (int64_t at = 0; at < count; ++at) {
      if (maps.Omega.Data[at] == 0) continue;
      long double model = 0;
      for (int32_t m = -l; m <= l; ++m) {
        model += coefficients.At(l, m) * basisMaps[static_cast<size_t>(m + l)].Data[at];
      }
      residual.Data[at] -= model;
    }
  }
  return coefficients;
}

ZrFloatMatrix ZrSphericalHarmonics::FitCoefficientImage(const ZrFloatMatrix& image, int32_t L,
                                                        const std::string& mappingName,
                                                        bool degreeByDegree,
                                                        ZrShFitControl* control) {
  const ZrShCoefficients coefficients = degreeByDegree
                                            ? DegreeFit(image, L, mappingName, control)
                                            : ProjectionFit(image, L, mappingName, control);
  ZrFloatMatrix result = CoefficientImage(coefficients);
  return ZrReturnFast(result);
}

ZrFloatMatrix ZrSphericalHarmonics::CoefficientImage(const ZrShCoefficients& coefficients) {
  const int32_t L = coefficients.Degrees();
  ZrFloatMatrix image(2 * L + 1, L);
  image.Fill(0.0f);
  for (int32_t l = 0; l < L; ++l) {
    for (int32_t m = -l; m <= l; ++m) image(m + L, l) = static_cast<float>(coefficients.At(l, m));
  }
  return ZrReturnFast(image);
}

ZrShCoefficients ZrSphericalHarmonics::ReadCoefficientImage(const ZrFloatMatrix& image) {
  const int32_t L = image.RowSize;
  const bool shaped = L >= 1 && image.ColSize == 2 * static_cast<int64_t>(L) + 1 &&
                      image.ColBegin == 0 && image.RowBegin == 0;
  if (!shaped) throw ZrError("This image is not Spherical Harmonics data");
  // Outside the orders of each degree a coefficient image holds zeros only.
  for (int32_t l = 0; l < L; ++l) {
    for (int32_t x = 0; x < image.ColSize; ++x) {
      if (std::abs(x - L) > l && image(x, l) != 0.0f) {
        throw ZrError("This image is not Spherical Harmonics data");
      }
    }
  }
  ZrShCoefficients coefficients;
  try {
    coefficients.Reset(L);
  } catch (const std::bad_alloc&) {
    throw ZrError("Cannot allocate memory");
  }
  for (int32_t l = 0; l < L; ++l) {
    for (int32_t m = -l; m <= l; ++m) coefficients.At(l, m) = image(m + L, l);
  }
  return coefficients;
}

namespace {

template <class Mapping>
void EvaluateWith(const Mapping& mapping, const ZrSphericalHarmonics& harmonics,
                  const ZrShCoefficients& coefficients, ZrFloatMatrix& out) {
  const int32_t L = coefficients.Degrees();
  std::vector<long double> Y(coefficients.Values.size());
  const int32_t width = out.ColSize;
  const int32_t height = out.RowSize;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      long double dx, dy, dz, omega;
      if (!mapping.ImageToSphere(dx, dy, dz, omega, x, y, width, height)) continue;
      const long double theta = std::acos(dz);
      const long double phi = (dx == 0 && dy == 0) ? 0 : std::atan2(dy, dx);
      harmonics.BasisValues(Y.data(), L, theta, phi);
      long double sum = 0;
      for (size_t k = 0; k < Y.size(); ++k) sum += coefficients.Values[k] * Y[k];
      out(x, y) = static_cast<float>(sum);
    }
  }
}

}  // namespace

ZrFloatMatrix ZrSphericalHarmonics::Evaluate(const ZrShCoefficients& coefficients, int32_t width,
                                             int32_t height, const std::string& mappingName) {
  ZrFloatMatrix out(width, height);
  out.Fill(0.0f);
  Normalisation(coefficients.Degrees());
  if (mappingName == "AzimuthalEquidistant") {
    EvaluateWith(ZrConvertAzimuthalEquidistantMap(), *this, coefficients, out);
  } else if (mappingName == "EquidistantCylindrical") {
    EvaluateWith(ZrConvertEquidistantCylindricalMap(), *this, coefficients, out);
  } else {
    throw ZrError("Mapping type is not supported");
  }
  return ZrReturnFast(out);
}
