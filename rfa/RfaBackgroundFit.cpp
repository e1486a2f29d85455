// Least-squares fit of real spherical harmonics to the disc of an RFA screen image.
#include "rfa/RfaBackgroundFit.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "numerics/ZrDebugOutput.h"
#include "numerics/ZrMatrixOperator.h"
#include "numerics/ZrSphericalHarmonics.h"
#include "rfa/RfaDiscBasis.h"
#include "rfa/RfaFitCache.h"
#include "rfa/RfaParameters.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

// Pixels per chunk of the tiled accumulation: the chunk's basis vectors (kChunk x K values,
// as hi and lo doubles) stay in the nearest caches while every tile of M walks them.
constexpr int32_t kChunk = 32;
// Without a table: pixels whose basis vectors are evaluated (by all threads) before the threads
// sum their tiles over them; two barriers per block.
constexpr int32_t kBlock = 2048;
// How many pixels ahead the table's values are fetched into the cache.
constexpr int64_t kAhead = 8;

std::atomic<int32_t> gFitThreads{0};

// The last offset of the square, floor(R), found as the loop bound does (First - 1: empty).
int32_t SquareLast(const RfaFitGeometry& g) {
  int32_t last = g.First - 1;
  for (int32_t x = g.First; x <= g.Radius; ++x) last = x;
  return last;
}

// Visits the fit's square of offsets row by row, calling visit(x, y, p) for every pixel whose
// value p enters the fit (RfaPixelEntersFit; p read with the image's range check, so a disc that
// leaves the image ends the walk with the range error at the first pixel outside).
template <class Visit>
void WalkSquare(const RfaFitGeometry& g, const ZrFloatMatrix& image, Visit visit) {
  const int32_t last = SquareLast(g);
  for (int32_t y = g.First; y <= last; ++y) {
    const int64_t row = static_cast<int64_t>(y) + g.CenterY - image.RowBegin;
    const int64_t x0 = static_cast<int64_t>(g.First) + g.CenterX - image.ColBegin;
    const int64_t x1 = static_cast<int64_t>(last) + g.CenterX - image.ColBegin;
    if (row >= 0 && row < image.RowSize && x0 >= 0 && x1 < image.ColSize) {
      const float* pixels = image.Data + row * image.ColSize + x0 - g.First;
      for (int32_t x = g.First; x <= last; ++x) {
        const float p = pixels[x];
        if (RfaPixelEntersFit(p)) visit(x, y, p);
      }
    } else {
      for (int32_t x = g.First; x <= last; ++x) {
        const float p = image(x + g.CenterX, y + g.CenterY);
        if (RfaPixelEntersFit(p)) visit(x, y, p);
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

// The disc pixels that enter the sums, in the order of the walk, and the key of the normal
// matrix they give.
struct FitPixels {
  std::vector<int32_t> X, Y;
  std::vector<float> P;
  RfaNormalMatrixKey Key;
  int64_t Count() const { return static_cast<int64_t>(P.size()); }
};

void CollectPixels(FitPixels& px, const RfaFitGeometry& g, const ZrFloatMatrix& image,
                   RfaBasisKind basis) {
  const int32_t last = SquareLast(g);
  const int64_t side = static_cast<int64_t>(last) - g.First + 1;
  // A square that leaves the image ends the walk with the range error; only a square inside it
  // has a pattern worth storing (and a size that can be stored).
  const int64_t col0 = static_cast<int64_t>(g.First) + g.CenterX - image.ColBegin;
  const int64_t row0 = static_cast<int64_t>(g.First) + g.CenterY - image.RowBegin;
  const bool inside = side > 0 && col0 >= 0 && row0 >= 0 && col0 + side <= image.ColSize &&
                      row0 + side <= image.RowSize;
  std::vector<double> u;  // x / R for every offset of the square, as the mapping computes it
  if (inside) {
    px.Key.Pattern.assign(static_cast<size_t>((side * side + 63) / 64), 0);
    u.resize(static_cast<size_t>(side));
    for (int64_t k = 0; k < side; ++k) u[static_cast<size_t>(k)] = (g.First + k) / g.Radius;
    const size_t disc = static_cast<size_t>(0.8 * static_cast<double>(side * side)) + 64;
    px.X.reserve(disc);
    px.Y.reserve(disc);
    px.P.reserve(disc);
  }
  WalkSquare(g, image, [&](int32_t x, int32_t y, float p) {
    const double ux = inside ? u[static_cast<size_t>(x - g.First)] : x / g.Radius;
    const double vy = inside ? u[static_cast<size_t>(y - g.First)] : y / g.Radius;
    if (!(ux * ux + vy * vy < 1)) return;
    // The basis evaluator's refusal of a negative degree count, at the first pixel that needs
    // it, as an evaluation there would report it.
    if (g.Degrees < 0) throw ZrError("Error");
    if (!inside) return;  // the walk ends with the range error
    const int64_t bit = (static_cast<int64_t>(y) - g.First) * side + (x - g.First);
    px.Key.Pattern[static_cast<size_t>(bit / 64)] |= uint64_t{1} << (bit % 64);
    px.X.push_back(x);
    px.Y.push_back(y);
    px.P.push_back(p);
  });
  px.Key.Radius = g.Radius;
  px.Key.ThetaMax = g.ThetaMax;
  px.Key.Cols = image.ColSize;
  px.Key.Rows = image.RowSize;
  px.Key.Degrees = g.Degrees;
  px.Key.Basis = basis;
  px.Key.Count = px.Count();
  px.Key.Seal();
}

// Element k of a chunk's basis vectors, read from the extended-precision buffer.
struct ExtendedValues {
  const long double* Y;
  long double operator()(int64_t k) const { return Y[k]; }
};

// The same element rebuilt from two doubles, hi + lo, which hold it exactly (checked when the
// values are split). Two double loads and one addition are cheaper on x87 than one load of an
// 80-bit value, which dominates the tile loop otherwise; the sum is exact, so the value and
// every product are the same bits.
struct SplitValues {
  const double* Hi;
  const double* Lo;
  long double operator()(int64_t k) const { return static_cast<long double>(Hi[k]) + Lo[k]; }
};

// b[i] for i in [first, last) over the chunk's pixels, which lie pixel after pixel, Kp values
// each; first and last are even. Four sums (at the end two) at a time, so that their
// additions overlap.
template <class Values>
void AccumulateB(long double* b, int32_t Kp, Values Y, const float* p, int32_t count, int32_t first,
                 int32_t last) {
  int32_t i = first;
  for (; i + 4 <= last; i += 4) {
    long double sum0 = b[i], sum1 = b[i + 1], sum2 = b[i + 2], sum3 = b[i + 3];
    for (int32_t n = 0; n < count; ++n) {
      const int64_t at = static_cast<int64_t>(n) * Kp + i;
      const long double value = p[n];
      sum0 += Y(at) * value;
      sum1 += Y(at + 1) * value;
      sum2 += Y(at + 2) * value;
      sum3 += Y(at + 3) * value;
    }
    b[i] = sum0;
    b[i + 1] = sum1;
    b[i + 2] = sum2;
    b[i + 3] = sum3;
  }
  for (; i < last; i += 2) {
    long double sum0 = b[i], sum1 = b[i + 1];
    for (int32_t n = 0; n < count; ++n) {
      const int64_t at = static_cast<int64_t>(n) * Kp + i;
      const long double value = p[n];
      sum0 += Y(at) * value;
      sum1 += Y(at + 1) * value;
    }
    b[i] = sum0;
    b[i + 1] = sum1;
  }
}

// The 2 x 2 tiles [first, last) of the padded matrix Mp (Kp x Kp, Kp even) over the chunk's
// pixels. Each tile keeps its four sums in registers while it walks the pixels in their
// order, so every element gets the same additions in the same order as in the plain loop. Two
// rows and two columns of Y plus four sums fill the eight x87 registers exactly.
template <class Values>
void AccumulateTiles(long double* Mp, int32_t Kp, Values Y, int32_t count,
                     const std::pair<int32_t, int32_t>* tiles, size_t first, size_t last) {
  for (size_t t = first; t < last; ++t) {
    const int32_t i0 = tiles[t].first;
    const int32_t j0 = tiles[t].second;
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

// Per-thread working storage of `count` values each, made before a parallel region (nothing
// inside the region allocates or throws).
struct PerThread {
  std::vector<long double> Values;
  int32_t Size;
  PerThread(int32_t threads, int32_t size)
      : Values(static_cast<size_t>(threads) * static_cast<size_t>(std::max(size, 1))),
        Size(std::max(size, 1)) {}
  long double* Of(int32_t thread) { return Values.data() + static_cast<size_t>(thread) * Size; }
};

// Sums b (Kp values) and, when wantM, the upper triangle of the padded Mp (Kp x Kp) over the
// pixels in their order, on `threads` threads, each summing its own share of the tiles and of
// b over all pixels. Each element is summed by one thread in pixel order, so the result does
// not depend on the thread count.
void Accumulate(const FitPixels& px, const RfaDiscBasis& basis, const RfaBasisTable* table,
                int32_t threads, bool wantM, std::vector<long double>& Mp,
                std::vector<long double>& bp) {
  const int32_t K = basis.Count();
  const int32_t Kp = K + (K % 2);  // tiles are 2 x 2; the padding row and column stay 0
  Mp.assign(wantM ? static_cast<size_t>(Kp) * static_cast<size_t>(Kp) : 0, 0.0L);
  bp.assign(static_cast<size_t>(Kp), 0.0L);
  const int64_t n = px.Count();
  if (n == 0 || K == 0) return;
  std::vector<std::pair<int32_t, int32_t>> tiles;
  if (wantM) {
    for (int32_t i0 = 0; i0 < Kp; i0 += 2) {
      for (int32_t j0 = i0; j0 < Kp; j0 += 2) tiles.emplace_back(i0, j0);
    }
  }
  long double* const M = Mp.data();
  long double* const b = bp.data();
  // A thread's share: tiles [First, Last), b [BFirst, BLast) (even bounds).
  struct Share {
    size_t First, Last;
    int32_t BFirst, BLast;
  };
  auto share = [&](int32_t id, int32_t team) {
    return Share{tiles.size() * id / team, tiles.size() * (id + 1) / team, Kp / 2 * id / team * 2,
                 Kp / 2 * (id + 1) / team * 2};
  };

  // Copies the values [from0, end) of pixel `at`'s vector from the table into h and l; where
  // |x| < |y| consecutive pixels use groups of different rows of the table, far apart, so the
  // group of a pixel a few places ahead is fetched into the cache meanwhile.
  const RfaMemberPicks& picks = basis.Picks();
  auto entry = [&](int64_t at) {
    const int32_t ax = std::abs(px.X[static_cast<size_t>(at)]);
    const int32_t ay = std::abs(px.Y[static_cast<size_t>(at)]);
    return table->Groups.Index(std::max(ax, ay), std::min(ax, ay));
  };
  auto copy = [&](int64_t at, double* h, double* l, int32_t from0, int32_t end) {
    if (at + kAhead < n) {
      const char* next = reinterpret_cast<const char*>(table->Hi(entry(at + kAhead)));
      for (int32_t byte = 0; byte < 2 * K * 8; byte += 64) __builtin_prefetch(next + byte);
    }
    const int64_t e = entry(at);
    const double* th = table->Hi(e);
    const double* tl = table->Lo(e);
    const int32_t kind =
        RfaMemberKind(px.X[static_cast<size_t>(at)], px.Y[static_cast<size_t>(at)]);
    const int32_t* from = picks.From(kind);
    const double* sign = picks.SignDouble(kind);
    for (int32_t i = from0; i < end; ++i) {
      h[i] = sign[i] * th[from[i]];
      l[i] = sign[i] * tl[from[i]];
    }
  };

  if (table != nullptr) {
    // Copying a vector from the table costs little beside the sums, so every thread copies
    // what it needs of those of all pixels into chunks of its own (the values from the first
    // index of its tiles or share of b on): no thread waits for another until the end.
    const size_t chunkValues = static_cast<size_t>(kChunk) * static_cast<size_t>(Kp);
    std::vector<double> hiAll(static_cast<size_t>(threads) * chunkValues, 0.0);
    std::vector<double> loAll(hiAll.size(), 0.0);  // the padding (odd K) stays 0
#pragma omp parallel num_threads(threads) if (threads > 1)
    {
      const int32_t id = omp_get_thread_num();
      const Share mine = share(id, omp_get_num_threads());
      double* const hi = hiAll.data() + static_cast<size_t>(id) * chunkValues;
      double* const lo = loAll.data() + static_cast<size_t>(id) * chunkValues;
      // The values this thread reads: from its first tile's row or its first b on (to the end
      // with tiles, as columns reach K; to the end of its b share without).
      const int32_t from0 =
          std::min(mine.First < mine.Last ? tiles[mine.First].first : Kp, mine.BFirst);
      const int32_t end = wantM ? K : std::min(mine.BLast, K);
      for (int64_t first = 0; first < n; first += kChunk) {
        const int32_t count = static_cast<int32_t>(std::min<int64_t>(kChunk, n - first));
        for (int32_t k = 0; k < count; ++k) {
          copy(first + k, hi + static_cast<size_t>(k) * Kp, lo + static_cast<size_t>(k) * Kp, from0,
               end);
        }
        const SplitValues Y{hi, lo};
        const float* p = px.P.data() + first;
        AccumulateB(b, Kp, Y, p, count, mine.BFirst, mine.BLast);
        AccumulateTiles(M, Kp, Y, count, tiles.data(), mine.First, mine.Last);
      }
    }
    return;
  }

  // Without a table the vectors are evaluated, which costs as much as the sums: per block of
  // pixels all threads evaluate a share of them, then each sums its own tiles and share of b
  // over the whole block.
  const size_t values = static_cast<size_t>(kBlock) * static_cast<size_t>(Kp);
  std::vector<double> hi(values), lo(values);
  std::vector<long double> extended(values, 0.0L);  // the padding (odd K) stays 0
  std::vector<char> exact(static_cast<size_t>(kBlock));
  PerThread scratch(threads, K);
#pragma omp parallel num_threads(threads) if (threads > 1)
  {
    const int32_t id = omp_get_thread_num();
    const Share mine = share(id, omp_get_num_threads());
    long double* work = scratch.Of(id);
    for (int64_t first = 0; first < n; first += kBlock) {
      const int32_t count = static_cast<int32_t>(std::min<int64_t>(kBlock, n - first));
#pragma omp for schedule(static)
      for (int32_t k = 0; k < count; ++k) {
        const size_t at = static_cast<size_t>(first + k);
        long double* Y = extended.data() + static_cast<size_t>(k) * Kp;
        basis.At(Y, work, px.X[at], px.Y[at]);
        bool split = true;
        for (int32_t i = 0; i < Kp; ++i) {
          split = RfaSplitExact(Y[i], hi[static_cast<size_t>(k) * Kp + i],
                                lo[static_cast<size_t>(k) * Kp + i]) &&
                  split;
        }
        exact[static_cast<size_t>(k)] = split ? 1 : 0;
      }
      const bool split =
          std::all_of(exact.begin(), exact.begin() + count, [](char e) { return e; });
      for (int32_t c0 = 0; c0 < count; c0 += kChunk) {
        const int32_t cn = std::min(kChunk, count - c0);
        const size_t at = static_cast<size_t>(c0) * Kp;
        const float* p = px.P.data() + first + c0;
        if (split) {
          const SplitValues Y{hi.data() + at, lo.data() + at};
          AccumulateB(b, Kp, Y, p, cn, mine.BFirst, mine.BLast);
          AccumulateTiles(M, Kp, Y, cn, tiles.data(), mine.First, mine.Last);
        } else {
          const ExtendedValues Y{extended.data() + at};
          AccumulateB(b, Kp, Y, p, cn, mine.BFirst, mine.BLast);
          AccumulateTiles(M, Kp, Y, cn, tiles.data(), mine.First, mine.Last);
        }
      }
#pragma omp barrier
    }
  }
}

// The table of the disc's groups for this fit: kept from an earlier fit, or built (and kept)
// when within the limit; null for the per-pixel basis or when no table applies.
std::shared_ptr<const RfaBasisTable> BasisTable(const RfaFitGeometry& g, const RfaDiscBasis& basis,
                                                const FitPixels& px, const RfaFitOptions& options,
                                                int32_t threads, RfaFitReport& report) {
  if (options.Basis != RfaBasisKind::Symmetric || g.Degrees <= 0 || px.Count() == 0) {
    return nullptr;
  }
  RfaFitCache& cache = RfaFitCache::Instance();
  std::shared_ptr<const RfaBasisTable> table;
  if (options.Reuse) table = cache.FindTable(g);
  report.TableReused = table != nullptr;
  if (table == nullptr) {
    RfaDiscGroups groups = RfaMakeDiscGroups(g.Radius);
    const int64_t limit = options.TableLimit < 0 ? RfaFitCache::kTableLimit : options.TableLimit;
    if (RfaBasisTableBytes(groups, basis.Count()) > limit) return nullptr;
    table = RfaBuildBasisTable(g, basis, std::move(groups), threads);
    if (table != nullptr && options.Reuse) cache.KeepTable(table);
  }
  report.TableUsed = table != nullptr;
  report.TableBytes = table != nullptr ? table->Bytes() : 0;
  return table;
}

void DumpMatrix(const char* name, const ZrLDoubleMatrix& m) {
  if (!ZrDebugEnabled()) return;
  const int32_t K = m.ColSize;
  for (int32_t j = 0; j < K; ++j) {
    for (int32_t i = 0; i < K; ++i) ZrDebug() << name << i << j << static_cast<double>(m(i, j));
  }
}

// The background at the members of one sign set of a group: out[0] at the base (x0, y0) with
// its kind's signed coefficients cs and picks from, and where present out[1] at its mirror
// image in the x axis (y negated), out[2] in the y axis (x negated), out[3] in both. A mirror
// image negates whole classes of terms: in the x axis the sin terms (m < 0), in the y axis the
// cos terms (m > 0) of odd m and the sin terms of even m. So each term q = cs[i] Y(from[i]) is
// formed once and added to or subtracted from each sum (x - q is x + (-q), the same bits), and
// the four sums run side by side so that their additions overlap. Each sum is in the order of i.
template <bool MirrorX, bool MirrorY, class Values>
void MemberSums(float* const* out, const long double* cs, const int32_t* from, int32_t L,
                Values Y) {
  long double s0 = 0, s1 = 0, s2 = 0, s3 = 0;  // named sums, so that they stay in registers
  int32_t i = 0;
  for (int32_t l = 0; l < L; ++l) {
    for (int32_t m = -l; m <= l; ++m, ++i) {
      const long double q = cs[i] * Y(from[i]);
      s0 += q;
      const bool flipX = m < 0;
      const bool flipY = m < 0 ? m % 2 == 0 : m % 2 != 0;
      if constexpr (MirrorX) {
        if (flipX) {
          s1 -= q;
        } else {
          s1 += q;
        }
      }
      if constexpr (MirrorY) {
        if (flipY) {
          s2 -= q;
        } else {
          s2 += q;
        }
      }
      if constexpr (MirrorX && MirrorY) {
        if (flipX != flipY) {
          s3 -= q;
        } else {
          s3 += q;
        }
      }
    }
  }
  *out[0] = static_cast<float>(s0);
  if constexpr (MirrorX) *out[1] = static_cast<float>(s1);
  if constexpr (MirrorY) *out[2] = static_cast<float>(s2);
  if constexpr (MirrorX && MirrorY) *out[3] = static_cast<float>(s3);
}

// result(x + cx, y + cy) = sum over i of c[i] Y[i] at every disc pixel (the square was read
// whole by the walk, so every disc pixel lies inside result).
void Evaluate(ZrFloatMatrix& result, const RfaFitGeometry& g, const RfaDiscBasis& basis,
              const RfaBasisTable* table, const ZrLDoubleMatrix& c, int32_t threads,
              RfaBasisKind kind) {
  const int32_t K = basis.Count();
  PerThread scratch(threads, 2 * K);
  auto at = [&](int32_t x, int32_t y) -> float* {
    return result.Data + (static_cast<int64_t>(y) + g.CenterY - result.RowBegin) * result.ColSize +
           (static_cast<int64_t>(x) + g.CenterX - result.ColBegin);
  };
  if (kind == RfaBasisKind::PerPixel) {
    const int32_t last = SquareLast(g);
#pragma omp parallel for num_threads(threads) if (threads > 1) schedule(dynamic, 4)
    for (int32_t y = g.First; y <= last; ++y) {
      long double* Y = scratch.Of(omp_get_thread_num());
      for (int32_t x = g.First; x <= last; ++x) {
        if (!basis.At(Y, Y + K, x, y)) continue;
        long double sum = 0;
        for (int32_t i = 0; i < K; ++i) sum += c.Data[i] * Y[i];
        *at(x, y) = static_cast<float>(sum);
      }
    }
    return;
  }
  // Per member kind: sign times c, so that sum c[i] Y_member[i] = sum (sign c)[i] Y_rep[from[i]]
  // term by term (a product with a negated factor is the negated product).
  const RfaMemberPicks& picks = basis.Picks();
  std::vector<long double> signedC(8 * static_cast<size_t>(K));
  for (int32_t member = 0; member < 8; ++member) {
    for (int32_t i = 0; i < K; ++i) {
      signedC[static_cast<size_t>(member) * K + i] = picks.Sign(member)[i] * c.Data[i];
    }
  }
  // Every member of the group (p, q) from the representative's values Y(k): the base (p, q)
  // and, when p != q, the swapped (q, p), each with its distinct mirror images (a coordinate of
  // 0 has none).
  const int32_t L = g.Degrees;
  auto members = [&](int32_t p, int32_t q, auto Y) {
    for (int32_t swap = 0; swap < (p != q ? 2 : 1); ++swap) {
      const int32_t x0 = swap != 0 ? q : p;
      const int32_t y0 = swap != 0 ? p : q;
      const int32_t member = RfaMemberKind(x0, y0);
      const long double* cs = signedC.data() + static_cast<size_t>(member) * K;
      const int32_t* from = picks.From(member);
      float* const out[4] = {at(x0, y0), at(x0, -y0), at(-x0, y0), at(-x0, -y0)};
      if (x0 != 0 && y0 != 0) {
        MemberSums<true, true>(out, cs, from, L, Y);
      } else if (y0 != 0) {
        MemberSums<true, false>(out, cs, from, L, Y);
      } else if (x0 != 0) {
        MemberSums<false, true>(out, cs, from, L, Y);
      } else {
        MemberSums<false, false>(out, cs, from, L, Y);
      }
    }
  };
  RfaDiscGroups own;
  if (table == nullptr) own = RfaMakeDiscGroups(g.Radius);
  const RfaDiscGroups& groups = table != nullptr ? table->Groups : own;
  const int64_t count = groups.Count();
#pragma omp parallel for num_threads(threads) if (threads > 1) schedule(dynamic, 256)
  for (int64_t e = 0; e < count; ++e) {
    const int32_t p = groups.P[static_cast<size_t>(e)];
    const int32_t q = groups.Q[static_cast<size_t>(e)];
    if (table != nullptr) {
      members(p, q, SplitValues{table->Hi(e), table->Lo(e)});
    } else {
      long double* Y = scratch.Of(omp_get_thread_num());
      basis.Representative(Y, p, q);
      members(p, q, ExtendedValues{Y});
    }
  }
}

int32_t ThreadsOf(const RfaFitOptions& options) {
  return options.Threads > 0 ? options.Threads : RfaFitThreads();
}

}  // namespace

int32_t RfaFitThreads() {
  const int32_t set = gFitThreads.load();
  if (set > 0) return set;
  if (const char* text = std::getenv("RFA_FIT_THREADS")) {
    char* end = nullptr;
    const long n = std::strtol(text, &end, 10);
    if (end != text && *end == '\0' && n >= 1 && n <= 1024) return static_cast<int32_t>(n);
  }
  return std::max(1, omp_get_num_procs());
}

void RfaSetFitThreads(int32_t threads) {
  gFitThreads.store(std::max(0, threads));
}

void RfaClearFitCaches() {
  RfaFitCache::Instance().Clear();
}

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

bool RfaDiscBasisAt(long double* Y, const RfaFitGeometry& geometry, int32_t x, int32_t y,
                    RfaBasisKind basis) {
  const RfaDiscBasis evaluator(geometry, basis);
  std::vector<long double> scratch(static_cast<size_t>(std::max(evaluator.Count(), 1)));
  return evaluator.At(Y, scratch.data(), x, y);
}

void RfaAccumulateNormalEquationsReference(RfaNormalEquations& eq, const ZrFloatMatrix& image,
                                           const RfaParameters& params, RfaBasisKind kind) {
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  const int32_t K = BasisCount(g.Degrees);
  ClearEquations(eq, K);
  const RfaDiscBasis basis(g, kind);
  std::vector<long double> Y(static_cast<size_t>(K)), scratch(static_cast<size_t>(K));
  long double* M = eq.M.Data;
  long double* b = eq.b.Data;
  WalkSquare(g, image, [&](int32_t x, int32_t y, float p) {
    if (!basis.At(Y.data(), scratch.data(), x, y)) return;
    for (int32_t i = 0; i < K; ++i) b[i] += Y[i] * p;
    for (int32_t i = 0; i < K; ++i) {
      for (int32_t j = 0; j < K; ++j) M[i + static_cast<int64_t>(j) * K] += Y[i] * Y[j];
    }
  });
}

namespace {

// M (when wantM) and b from the padded sums.
void Unpad(RfaNormalEquations& eq, const std::vector<long double>& Mp,
           const std::vector<long double>& bp, bool wantM) {
  const int32_t K = eq.b.RowSize;
  const size_t Kp = static_cast<size_t>(K + (K % 2));
  for (int32_t i = 0; i < K; ++i) {
    eq.b.Data[i] = bp[static_cast<size_t>(i)];
    if (!wantM) continue;
    // Y[i] * Y[j] and Y[j] * Y[i] are the same product, so the mirrored lower triangle equals
    // what the plain loop sums there.
    for (int32_t j = i; j < K; ++j) {
      const long double v = Mp[static_cast<size_t>(i) * Kp + static_cast<size_t>(j)];
      eq.M.Data[i + static_cast<int64_t>(j) * K] = v;
      eq.M.Data[j + static_cast<int64_t>(i) * K] = v;
    }
  }
}

}  // namespace

void RfaAccumulateNormalEquations(RfaNormalEquations& eq, const ZrFloatMatrix& image,
                                  const RfaParameters& params, const RfaFitOptions& options) {
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  ClearEquations(eq, BasisCount(g.Degrees));
  FitPixels px;
  CollectPixels(px, g, image, options.Basis);
  const RfaDiscBasis basis(g, options.Basis);
  const int32_t threads = ThreadsOf(options);
  RfaFitReport report;
  report.Threads = threads;
  const auto table = BasisTable(g, basis, px, options, threads, report);
  std::vector<long double> Mp, bp;
  Accumulate(px, basis, table.get(), threads, true, Mp, bp);
  Unpad(eq, Mp, bp, true);
  if (options.Report != nullptr) *options.Report = report;
}

void RfaSphericalHarmonicsBackground(ZrFloatMatrix& result, const RfaParameters& params,
                                     const ZrFloatMatrix& image, const RfaFitOptions& options) {
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  RfaNormalEquations eq;
  ClearEquations(eq, BasisCount(g.Degrees));
  FitPixels px;
  CollectPixels(px, g, image, options.Basis);
  RfaFitCache& cache = RfaFitCache::Instance();
  std::shared_ptr<const RfaNormalMatrixEntry> kept;
  if (options.Reuse) kept = cache.FindMatrix(px.Key);
  const RfaDiscBasis basis(g, options.Basis);
  const int32_t threads = ThreadsOf(options);
  RfaFitReport report;
  report.Threads = threads;
  report.MatrixReused = kept != nullptr;
  const auto table = BasisTable(g, basis, px, options, threads, report);
  std::vector<long double> Mp, bp;
  Accumulate(px, basis, table.get(), threads, kept == nullptr, Mp, bp);
  Unpad(eq, Mp, bp, kept == nullptr);
  px.X = {};  // the pixel list is not needed any more
  px.Y = {};
  px.P = {};

  if (kept == nullptr) {
    DumpMatrix("M", eq.M);
    ZrLDoubleMatrix inverse = ZrMatrixOperator::LuInverse(eq.M);
    auto entry = std::make_shared<RfaNormalMatrixEntry>();
    entry->Key = std::move(px.Key);
    entry->M = std::move(eq.M);
    entry->Inverse = std::move(inverse);
    kept = entry;
    DumpMatrix("iM", kept->Inverse);
    if (options.Reuse) cache.KeepMatrix(kept);
  } else {
    DumpMatrix("M", kept->M);
    DumpMatrix("iM", kept->Inverse);
  }
  const ZrLDoubleMatrix c = kept->Inverse * eq.b;

  result.Resize(image.ColSize, image.RowSize);
  result.SetBegin(image.ColBegin, image.RowBegin);
  result.Fill(0.0f);
  Evaluate(result, g, basis, table.get(), c, threads, options.Basis);
  if (options.Report != nullptr) *options.Report = report;
  if (options.Solution != nullptr) *options.Solution = {c, kept};
}
