// Evaluation of the fitted background over the disc, a group of mirror images at a time.
#include <omp.h>

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "rfa/RfaFitKernels.h"

namespace {

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

}  // namespace

// result(x + cx, y + cy) = sum over i of c[i] Y[i] at every disc pixel (the square was read
// whole by the walk, so every disc pixel lies inside result).
void RfaEvaluateFit(ZrFloatMatrix& result, const RfaFitGeometry& g, const RfaDiscBasis& basis,
                    const RfaBasisTable* table, const ZrLDoubleMatrix& c, int32_t threads,
                    RfaBasisKind kind) {
  const int32_t K = basis.Count();
  RfaPerThread scratch(threads, 2 * K);
  auto at = [&](int32_t x, int32_t y) -> float* {
    return result.Data + (static_cast<int64_t>(y) + g.CenterY - result.RowBegin) * result.ColSize +
           (static_cast<int64_t>(x) + g.CenterX - result.ColBegin);
  };
  if (kind == RfaBasisKind::PerPixel) {
    const int32_t last = RfaSquareLast(g);
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
  // Every member of the group (p, q) from the representative's values Y(k) (by slot when they
  // come from the table, by basis index when just evaluated): the base (p, q)
  // and, when p != q, the swapped (q, p), each with its distinct mirror images (a coordinate of
  // 0 has none).
  const int32_t L = g.Degrees;
  auto members = [&](int32_t p, int32_t q, auto Y, bool fromTable) {
    for (int32_t swap = 0; swap < (p != q ? 2 : 1); ++swap) {
      const int32_t x0 = swap != 0 ? q : p;
      const int32_t y0 = swap != 0 ? p : q;
      const int32_t member = RfaMemberKind(x0, y0);
      const long double* cs = signedC.data() + static_cast<size_t>(member) * K;
      const int32_t* from = fromTable ? picks.FromSlot(member) : picks.From(member);
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
      members(p, q, RfaSplitValues{table->Hi(e), table->Lo(e)}, true);
    } else {
      long double* Y = scratch.Of(omp_get_thread_num());
      basis.Representative(Y, p, q);
      members(p, q, RfaExtendedValues{Y}, false);
    }
  }
}
