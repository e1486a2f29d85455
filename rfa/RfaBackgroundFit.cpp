// Least-squares fit of real spherical harmonics to the disc of an RFA screen image.
#include "rfa/RfaBackgroundFit.h"

#include <QDebug>
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "numerics/ZrMatrixOperator.h"
#include "numerics/ZrSphericalHarmonics.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaParameters.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

// Pixels per chunk of the tiled accumulation: the chunk's basis vectors (kChunk x K values,
// with their double splits) stay in the nearest caches while every tile of M walks them.
constexpr int32_t kChunk = 32;

// Visits the fit's square of offsets row by row, calling visit(x, y, p) for every pixel that
// enters the sums, i.e. is no hole (RfaIsHole: 0, infinite or NaN). p is read with the image's
// range check, so a disc that leaves the image ends the walk with the range error at the first
// pixel outside.
template <class Visit>
void WalkSquare(const RfaFitGeometry& g, const ZrFloatMatrix& image, Visit visit) {
  const double R = g.Radius;
  int32_t last = g.First - 1;  // floor(R), found as the loop bound does
  for (int32_t x = g.First; x <= R; ++x) last = x;
  for (int32_t y = g.First; y <= R; ++y) {
    const int64_t row = static_cast<int64_t>(y) + g.CenterY - image.RowBegin;
    const int64_t x0 = static_cast<int64_t>(g.First) + g.CenterX - image.ColBegin;
    const int64_t x1 = static_cast<int64_t>(last) + g.CenterX - image.ColBegin;
    if (row >= 0 && row < image.RowSize && x0 >= 0 && x1 < image.ColSize) {
      const float* pixels = image.Data + row * image.ColSize + x0 - g.First;
      for (int32_t x = g.First; x <= last; ++x) {
        const float p = pixels[x];
        if (!RfaIsHole(p)) visit(x, y, p);
      }
    } else {
      for (int32_t x = g.First; x <= last; ++x) {
        const float p = image(x + g.CenterX, y + g.CenterY);
        if (!RfaIsHole(p)) visit(x, y, p);
      }
    }
  }
}

int32_t BasisCount(int32_t degrees) {
  const int64_t k = static_cast<int64_t>(degrees) * degrees;
  if (k > std::numeric_limits<int32_t>::max() / 2) throw ZrError("Cannot Get Memory");
  return static_cast<int32_t>(k);
}

void ClearEquations(RfaNormalEquations& eq, int32_t K) {
  eq.M.Create(K, K);
  eq.M.Fill(0);
  eq.b.Create(1, K);
  eq.b.Fill(0);
}

// Element k of a chunk's basis vectors, read from the extended-precision buffer.
struct ExtendedValues {
  const long double* Y;
  long double operator()(int64_t k) const { return Y[k]; }
};

// The same element rebuilt from two doubles, hi + lo, which hold it exactly (checked when the
// chunk is split). Two double loads and one addition are cheaper on x87 than one load of an
// 80-bit value, which dominates the tile loop otherwise; the sum is exact, so the value and
// every product are the same bits.
struct SplitValues {
  const double* Hi;
  const double* Lo;
  long double operator()(int64_t k) const { return static_cast<long double>(Hi[k]) + Lo[k]; }
};

// Splits count x Kp extended values into hi and lo doubles; false if any value is not their
// exact sum (a value beyond the double range, or a lo part too small for a double).
bool SplitChunk(const long double* Y, double* hi, double* lo, int64_t count) {
  bool exact = true;
  for (int64_t k = 0; k < count; ++k) {
    const long double v = Y[k];
    const double h = static_cast<double>(v);
    const double l = static_cast<double>(v - h);
    hi[k] = h;
    lo[k] = l;
    exact = exact && (static_cast<long double>(h) + l == v);
  }
  return exact;
}

// Accumulates the chunk's pixels into b and into the 2 x 2 tiles (i0, j0) with i0 <= j0 of
// the padded matrix Mp (Kp x Kp, Kp even). The chunk's basis vectors lie pixel after pixel,
// Kp values each (the padding is 0). Each tile keeps its four sums in registers while it
// walks the pixels in their order, so every element gets the same additions in the same
// order as in the plain loop. Two rows and two columns of Y plus four sums fill the eight
// x87 registers exactly.
template <class Values>
void AccumulateChunk(long double* Mp, long double* b, int32_t Kp, Values Y, const long double* p,
                     int32_t count) {
  for (int32_t i = 0; i < Kp; ++i) {
    long double sum = b[i];
    for (int32_t n = 0; n < count; ++n) sum += Y(static_cast<int64_t>(n) * Kp + i) * p[n];
    b[i] = sum;
  }
  for (int32_t i0 = 0; i0 < Kp; i0 += 2) {
    for (int32_t j0 = i0; j0 < Kp; j0 += 2) {
      long double* row0 = Mp + static_cast<int64_t>(i0) * Kp + j0;
      long double* row1 = row0 + Kp;
      long double m00 = row0[0], m01 = row0[1], m10 = row1[0], m11 = row1[1];
      for (int32_t n = 0; n < count; ++n) {
        const int64_t at = static_cast<int64_t>(n) * Kp;
        // One column value at a time: six live values plus one product fit the stack.
        const long double yi0 = Y(at + i0), yi1 = Y(at + i0 + 1);
        const long double yj0 = Y(at + j0);
        m00 += yi0 * yj0;
        m10 += yi1 * yj0;
        const long double yj1 = Y(at + j0 + 1);
        m01 += yi0 * yj1;
        m11 += yi1 * yj1;
      }
      row0[0] = m00;
      row0[1] = m01;
      row1[0] = m10;
      row1[1] = m11;
    }
  }
}

}  // namespace

bool RfaMapDiscPixel(long double& theta, long double& phi, int32_t x, int32_t y, double radius,
                     bool asinMethod, bool azimuthalMethod, long double thetaMax) {
  const double u = x / radius;
  const double v = y / radius;
  const double rho2 = u * u + v * v;
  if (!(rho2 < 1)) return false;  // on or beyond the rim (or R = 0)
  const long double azimuth = std::atan2(static_cast<long double>(v), static_cast<long double>(u));
  if (asinMethod) {
    const long double t = std::min(std::max(1 - static_cast<long double>(rho2), 0.0L), 1.0L);
    theta = std::acos(std::sqrt(t));
  } else if (azimuthalMethod) {
    theta = std::sqrt(static_cast<long double>(rho2)) * thetaMax;
  } else {
    throw ZrError("Undefined Mapping Method");
  }
  phi = azimuth;
  return true;
}

RfaFitGeometry RfaMakeFitGeometry(const RfaParameters& params, const ZrFloatMatrix& image) {
  RfaFitGeometry g;
  g.Radius = params.Sr - static_cast<double>(params.SMargin);
  g.ThetaMax = params.MappingAzThetaMax_deg * kPi / 180.0f;
  // Saturated rather than overflowing: a degree that large fails as memory the basis cannot get.
  g.Degrees = static_cast<int32_t>(
      std::min<int64_t>(int64_t{params.Size_l} + 1, std::numeric_limits<int32_t>::max()));
  g.CenterX = image.ColSize / 2;
  g.CenterY = image.RowSize / 2;
  // A radius beyond the int range would overflow the offsets; the first pixel of such a
  // square lies far outside any image, so report it as the range error it leads to.
  if (g.Radius > 1e9) {
    throw image.RangeError(std::numeric_limits<int32_t>::min(),
                           std::numeric_limits<int32_t>::min());
  }
  // A negative radius holds no pixel, whatever its size: the walk from 0 up to it is empty.
  g.First = std::isnan(g.Radius) || g.Radius < 0 ? 0 : static_cast<int32_t>(-g.Radius);
  return g;
}

void RfaAccumulateNormalEquationsReference(RfaNormalEquations& eq, const ZrFloatMatrix& image,
                                           const RfaParameters& params) {
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  const int32_t K = BasisCount(g.Degrees);
  ClearEquations(eq, K);
  ZrSphericalHarmonics harmonics;
  harmonics.Normalisation(g.Degrees);
  std::vector<long double> Y(static_cast<size_t>(K));
  long double* M = eq.M.Data;
  long double* b = eq.b.Data;
  WalkSquare(g, image, [&](int32_t x, int32_t y, float p) {
    long double theta, phi;
    if (!RfaMapDiscPixel(theta, phi, x, y, g.Radius, false, true, g.ThetaMax)) return;
    harmonics.BasisValues(Y.data(), g.Degrees, theta, phi);
    for (int32_t i = 0; i < K; ++i) b[i] += Y[i] * p;
    for (int32_t i = 0; i < K; ++i) {
      for (int32_t j = 0; j < K; ++j) M[i + static_cast<int64_t>(j) * K] += Y[i] * Y[j];
    }
  });
}

void RfaAccumulateNormalEquations(RfaNormalEquations& eq, const ZrFloatMatrix& image,
                                  const RfaParameters& params) {
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  const int32_t K = BasisCount(g.Degrees);
  const int32_t Kp = K + (K % 2);  // tiles are 2 x 2; the padding row and column stay 0
  ClearEquations(eq, K);
  ZrSphericalHarmonics harmonics;
  harmonics.Normalisation(g.Degrees);
  std::vector<long double> Mp(static_cast<size_t>(Kp) * static_cast<size_t>(Kp), 0.0L);
  std::vector<long double> bp(static_cast<size_t>(Kp), 0.0L);
  std::vector<long double> Y(static_cast<size_t>(kChunk) * static_cast<size_t>(Kp), 0.0L);
  std::vector<double> hi(Y.size()), lo(Y.size());
  std::vector<long double> values(static_cast<size_t>(kChunk));
  int32_t filled = 0;
  auto flush = [&] {
    const int64_t n = static_cast<int64_t>(filled) * Kp;
    if (SplitChunk(Y.data(), hi.data(), lo.data(), n)) {
      AccumulateChunk(Mp.data(), bp.data(), Kp, SplitValues{hi.data(), lo.data()}, values.data(),
                      filled);
    } else {
      AccumulateChunk(Mp.data(), bp.data(), Kp, ExtendedValues{Y.data()}, values.data(), filled);
    }
    filled = 0;
  };
  WalkSquare(g, image, [&](int32_t x, int32_t y, float p) {
    long double theta, phi;
    if (!RfaMapDiscPixel(theta, phi, x, y, g.Radius, false, true, g.ThetaMax)) return;
    harmonics.BasisValues(Y.data() + static_cast<size_t>(filled) * Kp, g.Degrees, theta, phi);
    values[static_cast<size_t>(filled)] = p;
    if (++filled == kChunk) flush();
  });
  if (filled > 0) flush();
  // Y[i] * Y[j] and Y[j] * Y[i] are the same product, so the mirrored lower triangle equals
  // what the plain loop sums there.
  for (int32_t i = 0; i < K; ++i) {
    eq.b.Data[i] = bp[static_cast<size_t>(i)];
    for (int32_t j = i; j < K; ++j) {
      const long double v = Mp[static_cast<size_t>(i) * Kp + static_cast<size_t>(j)];
      eq.M.Data[i + static_cast<int64_t>(j) * K] = v;
      eq.M.Data[j + static_cast<int64_t>(i) * K] = v;
    }
  }
}

void RfaSphericalHarmonicsBackground(ZrFloatMatrix& result, const RfaParameters& params,
                                     const ZrFloatMatrix& image) {
  RfaNormalEquations eq;
  RfaAccumulateNormalEquations(eq, image, params);
  const int32_t K = eq.M.ColSize;
  for (int32_t j = 0; j < K; ++j) {
    for (int32_t i = 0; i < K; ++i) qDebug() << "M" << i << j << static_cast<double>(eq.M(i, j));
  }
  const ZrLDoubleMatrix inverse = ZrMatrixOperator::LuInverse(eq.M);
  for (int32_t j = 0; j < K; ++j) {
    for (int32_t i = 0; i < K; ++i) {
      qDebug() << "iM" << i << j << static_cast<double>(inverse(i, j));
    }
  }
  const ZrLDoubleMatrix c = inverse * eq.b;

  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  ZrSphericalHarmonics harmonics;
  harmonics.Normalisation(g.Degrees);
  std::vector<long double> Y(static_cast<size_t>(K));
  result.Resize(image.ColSize, image.RowSize);
  result.SetBegin(image.ColBegin, image.RowBegin);
  result.Fill(0.0f);
  for (int32_t y = g.First; y <= g.Radius; ++y) {
    for (int32_t x = g.First; x <= g.Radius; ++x) {
      long double theta, phi;
      if (!RfaMapDiscPixel(theta, phi, x, y, g.Radius, false, true, g.ThetaMax)) continue;
      harmonics.BasisValues(Y.data(), g.Degrees, theta, phi);
      long double sum = 0;
      for (int32_t i = 0; i < K; ++i) sum += c.Data[i] * Y[static_cast<size_t>(i)];
      result(x + g.CenterX, y + g.CenterY) = static_cast<float>(sum);
    }
  }
}
