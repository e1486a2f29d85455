// The fit's inner loops, shared by the fit's files: the pixels that enter the sums, the
// accumulation of the normal equations and the evaluation of the fitted background.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaDiscBasis.h"
#include "rfa/RfaFitCache.h"

// The last offset of the square, floor(R), found as the loop bound does (First - 1: empty).
inline int32_t RfaSquareLast(const RfaFitGeometry& g) {
  int32_t last = g.First - 1;
  for (int32_t x = g.First; x <= g.Radius; ++x) last = x;
  return last;
}

// The disc pixels that enter the sums, in the order of the walk, and the key of the normal
// matrix they give.
struct RfaFitPixels {
  std::vector<int32_t> X, Y;
  std::vector<float> P;
  RfaNormalMatrixKey Key;
  int64_t Count() const { return static_cast<int64_t>(P.size()); }
};

// Element k of a chunk's basis vectors, read from the extended-precision buffer.
struct RfaExtendedValues {
  const long double* Y;
  long double operator()(int64_t k) const { return Y[k]; }
};

// The same element rebuilt from two doubles, hi + lo, which hold it exactly (checked when the
// values are split). Two double loads and one addition are cheaper on x87 than one load of an
// 80-bit value, which dominates the tile loop otherwise; the sum is exact, so the value and
// every product are the same bits.
struct RfaSplitValues {
  const double* Hi;
  const double* Lo;
  long double operator()(int64_t k) const { return static_cast<long double>(Hi[k]) + Lo[k]; }
};

// Per-thread working storage of `count` values each, made before a parallel region (nothing
// inside the region allocates or throws).
struct RfaPerThread {
  std::vector<long double> Values;
  int32_t Size;
  RfaPerThread(int32_t threads, int32_t size)
      : Values(static_cast<size_t>(threads) * static_cast<size_t>(std::max(size, 1))),
        Size(std::max(size, 1)) {}
  long double* Of(int32_t thread) { return Values.data() + static_cast<size_t>(thread) * Size; }
};

// Sums b (Kp values) and, when wantM, the upper triangle of the padded Mp (Kp x Kp, Kp = K
// rounded up to even) over the pixels in their order, on `threads` threads. Each element is
// summed by one thread in pixel order, so the result does not depend on the thread count.
void RfaAccumulateFitSums(const RfaFitPixels& px, const RfaDiscBasis& basis,
                          const RfaBasisTable* table, int32_t threads, bool wantM,
                          std::vector<long double>& Mp, std::vector<long double>& bp);

// result(x + cx, y + cy) = sum over i of c[i] Y[i] at every disc pixel (the square was read
// whole by the walk, so every disc pixel lies inside result).
void RfaEvaluateFit(ZrFloatMatrix& result, const RfaFitGeometry& g, const RfaDiscBasis& basis,
                    const RfaBasisTable* table, const ZrLDoubleMatrix& c, int32_t threads,
                    RfaBasisKind kind);
