// Accumulation of the fit's normal equations: tiles of M summed over chunks of pixels.
#include <omp.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "rfa/RfaFitKernels.h"

namespace {

// Pixels per chunk of the tiled accumulation: the chunk's basis vectors (kChunk x K values,
// as hi and lo doubles) stay in the nearest caches while every tile of M walks them.
constexpr int32_t kChunk = 32;
// Without a table: pixels whose basis vectors are evaluated (by all threads) before the threads
// sum their tiles over them; two barriers per block.
constexpr int32_t kBlock = 2048;
// How many pixels ahead the table's values are fetched into the cache.
constexpr int64_t kAhead = 8;

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

// Where a pixel's run of values starts in the table, and the pixel's value times the run's
// sign (exact: the sign is +-1).
struct RunRef {
  const double* Hi;
  float P;
};

// b over the slots [d, d + G) of the member's vectors, read straight from the table through
// each pixel's runs (refs: R per pixel): bs[d + j] += (hi + lo) * (sign * p), which is
// sign * (hi + lo) * p rounded the same way, in pixel order. G sums at a time, so that their
// additions overlap; lo lies K values after hi.
template <int G>
void AccumulateBRuns(long double* bs, int32_t d, const int32_t* run, const int32_t* offset,
                     const RunRef* refs, int32_t R, int32_t count, int32_t K) {
  static_assert(G >= 1 && G <= 4, "four sums fill the x87 registers with their operands");
  long double sum0 = bs[d], sum1 = 0, sum2 = 0, sum3 = 0;
  if constexpr (G > 1) sum1 = bs[d + 1];
  if constexpr (G > 2) sum2 = bs[d + 2];
  if constexpr (G > 3) sum3 = bs[d + 3];
  auto term = [&](const RunRef* ref, int32_t j) {
    const RunRef& r = ref[run[j]];
    const double* v = r.Hi + offset[j];
    return (static_cast<long double>(v[0]) + v[K]) * r.P;
  };
  for (int32_t n = 0; n < count; ++n) {
    const RunRef* ref = refs + static_cast<int64_t>(n) * R;
    sum0 += term(ref, 0);
    if constexpr (G > 1) sum1 += term(ref, 1);
    if constexpr (G > 2) sum2 += term(ref, 2);
    if constexpr (G > 3) sum3 += term(ref, 3);
  }
  bs[d] = sum0;
  if constexpr (G > 1) bs[d + 1] = sum1;
  if constexpr (G > 2) bs[d + 2] = sum2;
  if constexpr (G > 3) bs[d + 3] = sum3;
}

}  // namespace

// Sums b (Kp values) and, when wantM, the upper triangle of the padded Mp (Kp x Kp) over the
// pixels in their order, on `threads` threads, each summing its own share of the tiles and of
// b over all pixels. Each element is summed by one thread in pixel order, so the result does
// not depend on the thread count.
void RfaAccumulateFitSums(const RfaFitPixels& px, const RfaDiscBasis& basis,
                          const RfaBasisTable* table, int32_t threads, bool wantM,
                          std::vector<long double>& Mp, std::vector<long double>& bp) {
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
    const int32_t* from = picks.FromSlot(kind);
    const double* sign = picks.SignDouble(kind);
    for (int32_t i = from0; i < end; ++i) {
      h[i] = sign[i] * th[from[i]];
      l[i] = sign[i] * tl[from[i]];
    }
  };

  if (table != nullptr && !wantM) {
    // b alone (the normal matrix is known): each value is read once, so it is read straight
    // from the table rather than copied first. The sums are kept by slot and put back in basis
    // order at the end; each thread sums its own share of the slots over all pixels.
    const int32_t R = picks.Runs();
    const int32_t* basisOf = picks.BasisOfSlot();
    std::vector<long double> bs(static_cast<size_t>(Kp), 0.0L);
    std::vector<RunRef> refsAll(static_cast<size_t>(threads) * kChunk * static_cast<size_t>(R));
    std::vector<int32_t> runOf(static_cast<size_t>(K)), offsetOf(static_cast<size_t>(K));
    for (int32_t d = 0; d < K; ++d) {
      runOf[static_cast<size_t>(d)] = picks.RunOfSlot(d);
      offsetOf[static_cast<size_t>(d)] = d - picks.RunFirst(picks.RunOfSlot(d));
    }
#pragma omp parallel num_threads(threads) if (threads > 1)
    {
      const int32_t id = omp_get_thread_num();
      const Share mine = share(id, omp_get_num_threads());
      RunRef* const refs = refsAll.data() + static_cast<size_t>(id) * kChunk * R;
      const int32_t last = std::min(mine.BLast, K);  // the padding slot (odd K) stays 0
      const int32_t slots = std::max(last - mine.BFirst, 0);
      const int32_t* const run = runOf.data() + mine.BFirst;
      const int32_t* const offset = offsetOf.data() + mine.BFirst;
      const int32_t r0 = slots > 0 ? run[0] : 0;
      const int32_t r1 = slots > 0 ? run[slots - 1] + 1 : 0;
      for (int64_t first = 0; first < n; first += kChunk) {
        const int32_t count = static_cast<int32_t>(std::min<int64_t>(kChunk, n - first));
        for (int32_t k = 0; k < count; ++k) {
          const int64_t at = first + k;
          if (at + kAhead < n) {
            const char* next = reinterpret_cast<const char*>(table->Hi(entry(at + kAhead)));
            for (int32_t byte = 0; byte < 2 * K * 8; byte += 64) __builtin_prefetch(next + byte);
          }
          const double* hi = table->Hi(entry(at));
          const int32_t kind =
              RfaMemberKind(px.X[static_cast<size_t>(at)], px.Y[static_cast<size_t>(at)]);
          const int32_t* source = picks.RunSource(kind);
          const float* sign = picks.RunSign(kind);
          const float p = px.P[static_cast<size_t>(at)];
          RunRef* ref = refs + static_cast<size_t>(k) * R;
          for (int32_t r = r0; r < r1; ++r) ref[r] = {hi + source[r], sign[r] * p};
        }
        int32_t j = 0;
        for (; j + 4 <= slots; j += 4) {
          AccumulateBRuns<4>(bs.data(), mine.BFirst + j, run + j, offset + j, refs, R, count, K);
        }
        const int32_t* rj = run + j;
        const int32_t* oj = offset + j;
        const int32_t d = mine.BFirst + j;
        if (slots - j == 3) AccumulateBRuns<3>(bs.data(), d, rj, oj, refs, R, count, K);
        if (slots - j == 2) AccumulateBRuns<2>(bs.data(), d, rj, oj, refs, R, count, K);
        if (slots - j == 1) AccumulateBRuns<1>(bs.data(), d, rj, oj, refs, R, count, K);
      }
    }
    for (int32_t d = 0; d < K; ++d) b[basisOf[d]] = bs[static_cast<size_t>(d)];
    return;
  }

  if (table != nullptr) {
    // With M, copying a vector from the table costs little beside the sums, so every thread
    // copies what it needs of those of all pixels into chunks of its own (the values from the
    // first index of its tiles or share of b on): no thread waits for another until the end.
    const size_t chunkValues = static_cast<size_t>(kChunk) * static_cast<size_t>(Kp);
    std::vector<double> hiAll(static_cast<size_t>(threads) * chunkValues, 0.0);
    std::vector<double> loAll(hiAll.size(), 0.0);  // the padding (odd K) stays 0
#pragma omp parallel num_threads(threads) if (threads > 1)
    {
      const int32_t id = omp_get_thread_num();
      const Share mine = share(id, omp_get_num_threads());
      double* const hi = hiAll.data() + static_cast<size_t>(id) * chunkValues;
      double* const lo = loAll.data() + static_cast<size_t>(id) * chunkValues;
      // The values this thread reads: from its first tile's row or its first b on, to the end
      // (the tiles' columns reach K).
      const int32_t from0 =
          std::min(mine.First < mine.Last ? tiles[mine.First].first : Kp, mine.BFirst);
      const int32_t end = K;
      for (int64_t first = 0; first < n; first += kChunk) {
        const int32_t count = static_cast<int32_t>(std::min<int64_t>(kChunk, n - first));
        for (int32_t k = 0; k < count; ++k) {
          copy(first + k, hi + static_cast<size_t>(k) * Kp, lo + static_cast<size_t>(k) * Kp, from0,
               end);
        }
        const RfaSplitValues Y{hi, lo};
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
  RfaPerThread scratch(threads, K);
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
          const RfaSplitValues Y{hi.data() + at, lo.data() + at};
          AccumulateB(b, Kp, Y, p, cn, mine.BFirst, mine.BLast);
          AccumulateTiles(M, Kp, Y, cn, tiles.data(), mine.First, mine.Last);
        } else {
          const RfaExtendedValues Y{extended.data() + at};
          AccumulateB(b, Kp, Y, p, cn, mine.BFirst, mine.BLast);
          AccumulateTiles(M, Kp, Y, cn, tiles.data(), mine.First, mine.Last);
        }
      }
#pragma omp barrier
    }
  }
}
