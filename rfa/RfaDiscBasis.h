// The basis of the background fit at the pixels of its disc, evaluated once per group of
// symmetric offsets, and the table of those evaluations that a series of fits shares.
//
// The offsets (+-a, +-b), (+-b, +-a) of a group have the same rho^2 (u^2 + v^2 is the same
// double sum for all of them), so the same theta and Legendre values. Their azimuths are those
// of the group's representative (p, q) = (max, min) of (|x|, |y|), phi in [0, pi/4], reflected:
// a swap of x and y gives pi/2 - phi, a negated x pi - phi, a negated y -phi. Each reflection
// maps cos(m phi) and sin(m phi) to +-cos(m phi) or +-sin(m phi), so a member's basis vector is
// the representative's with, per order m, the (l, m) and (l, -m) entries swapped and negated:
// Y(l, m) = (Nbar P) cos(m phi) / sqrt(pi), and (Nbar P) (-s) / sqrt(pi) is exactly
// -((Nbar P) s / sqrt(pi)).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "numerics/ZrSphericalHarmonics.h"
#include "rfa/RfaBackgroundFit.h"

// Member kind of an offset relative to its representative: bit 2 set when |x| < |y| (swapped),
// bit 1 when x < 0, bit 0 when y < 0.
inline int32_t RfaMemberKind(int32_t x, int32_t y) {
  const int32_t ax = x < 0 ? -x : x;
  const int32_t ay = y < 0 ? -y : y;
  return (ax < ay ? 4 : 0) | (x < 0 ? 2 : 0) | (y < 0 ? 1 : 0);
}

// For each member kind: Y_member[i] = Sign[i] * Y_rep[From[i]] over the K basis indices.
//
// A table holds the representative's values in slot order, by m rather than by l: the m = 0
// values for l = 0 .. L-1, then for each m >= 1 the (l, m) and then the (l, -m) for
// l = m .. L-1. In that order a member's vector is made of 2L - 1 runs, one per m and cos or
// sin, each a run of the representative's slots, negated or not as a whole.
class RfaMemberPicks {
 public:
  explicit RfaMemberPicks(int32_t degrees);
  const int32_t* From(int32_t kind) const { return from_.data() + static_cast<size_t>(kind) * k_; }
  const long double* Sign(int32_t kind) const {
    return sign_.data() + static_cast<size_t>(kind) * k_;
  }
  const double* SignDouble(int32_t kind) const {
    return signDouble_.data() + static_cast<size_t>(kind) * k_;
  }
  // Slot of basis index i; slot of From(kind)[i] (where a table holds the picked value).
  const int32_t* Slot() const { return slot_.data(); }
  const int32_t* FromSlot(int32_t kind) const {
    return fromSlot_.data() + static_cast<size_t>(kind) * k_;
  }
  // Basis index of slot d.
  const int32_t* BasisOfSlot() const { return basisOfSlot_.data(); }
  // Run r covers the member's slots [RunFirst(r), RunFirst(r) + RunCount(r)); for a kind it
  // is the representative's slots from RunSource(kind)[r] on, times RunSign(kind)[r].
  int32_t Runs() const { return static_cast<int32_t>(runFirst_.size()); }
  int32_t RunFirst(int32_t r) const { return runFirst_[static_cast<size_t>(r)]; }
  int32_t RunCount(int32_t r) const { return runCount_[static_cast<size_t>(r)]; }
  // Run of slot d.
  int32_t RunOfSlot(int32_t d) const { return runOfSlot_[static_cast<size_t>(d)]; }
  const int32_t* RunSource(int32_t kind) const {
    return runSource_.data() + static_cast<size_t>(kind) * runFirst_.size();
  }
  const float* RunSign(int32_t kind) const {
    return runSign_.data() + static_cast<size_t>(kind) * runFirst_.size();
  }

 private:
  size_t k_ = 0;
  std::vector<int32_t> from_;
  std::vector<long double> sign_;  // +1 or -1: multiplying by it is exact
  std::vector<double> signDouble_;
  std::vector<int32_t> slot_, fromSlot_, basisOfSlot_;
  std::vector<int32_t> runFirst_, runCount_, runOfSlot_, runSource_;
  std::vector<float> runSign_;
};

// The representatives of a disc, row by row of q: (p, q) for p = q .. the last p inside.
struct RfaDiscGroups {
  std::vector<int32_t> P, Q;
  std::vector<int64_t> RowStart;  // index of (q, q) for each q that has one, then the end
  int64_t Count() const { return static_cast<int64_t>(P.size()); }
  int64_t Index(int32_t p, int32_t q) const { return RowStart[static_cast<size_t>(q)] + (p - q); }
};
RfaDiscGroups RfaMakeDiscGroups(double radius);

// The basis of the fit at disc offsets, one vector at a time. Const methods are safe to call
// from several threads at once.
class RfaDiscBasis {
 public:
  RfaDiscBasis(const RfaFitGeometry& geometry, RfaBasisKind kind);
  int32_t Count() const { return k_; }
  const RfaMemberPicks& Picks() const { return picks_; }
  // The representative's own vector at (p, q), p >= q >= 0, inside the disc.
  void Representative(long double* Y, int32_t p, int32_t q) const;
  // The vector at (x, y); false outside the disc. scratch holds K values.
  bool At(long double* Y, long double* scratch, int32_t x, int32_t y) const;

 private:
  RfaFitGeometry g_;
  RfaBasisKind kind_;
  int32_t k_ = 0;
  ZrSphericalHarmonics harmonics_;
  RfaMemberPicks picks_;
};

// Bytes that the table of a disc's groups takes with K values per group.
int64_t RfaBasisTableBytes(const RfaDiscGroups& groups, int32_t K);

// The representatives' vectors of one disc, each value held as hi + lo doubles (their exact
// sum), the form in which the accumulation reads them.
struct RfaBasisTable {
  double Radius = 0;
  long double ThetaMax = 0;
  int32_t Degrees = 0;
  int32_t K = 0;
  RfaDiscGroups Groups;
  // Per representative its K hi values, then its K lo values, each in the slot order of
  // RfaMemberPicks: one run of memory per group.
  // Left uninitialised when made, so that the threads that fill it touch its pages first.
  std::unique_ptr<double[]> Values;
  const double* Hi(int64_t e) const { return Values.get() + 2 * e * K; }
  const double* Lo(int64_t e) const { return Values.get() + (2 * e + 1) * K; }
  int64_t Bytes() const { return RfaBasisTableBytes(Groups, K); }
  bool Matches(const RfaFitGeometry& g) const;
};

// Evaluates every representative on `threads` threads. Null when some value cannot be held as
// hi + lo (beyond the double range or below its smallest normal numbers): the fit then
// evaluates as it goes.
std::shared_ptr<const RfaBasisTable> RfaBuildBasisTable(const RfaFitGeometry& geometry,
                                                        const RfaDiscBasis& basis,
                                                        RfaDiscGroups groups, int32_t threads);

// Splits v into hi + lo doubles; false unless their sum is v exactly.
inline bool RfaSplitExact(long double v, double& hi, double& lo) {
  hi = static_cast<double>(v);
  lo = static_cast<double>(v - hi);
  return static_cast<long double>(hi) + lo == v;
}
