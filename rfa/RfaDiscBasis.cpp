// The fit's basis per group of symmetric disc offsets, and the table of a disc's groups.
#include "rfa/RfaDiscBasis.h"

#include <omp.h>

#include <algorithm>
#include <cstring>

namespace {

// A slot of a member's (cos m phi, sin m phi): Sign times the representative's cos (FromSin
// false) or sin (FromSin true).
struct Pick {
  int32_t Sign;
  bool FromSin;
};

// Applies the reflection psi -> quarterTurns * pi/2 - psi to the pair (c, s):
// cos(m(a - psi)) = cos(m a) c + sin(m a) s, sin(m(a - psi)) = sin(m a) c - cos(m a) s, with
// cos(m a), sin(m a) in {-1, 0, 1}.
void Reflect(Pick& c, Pick& s, int32_t m, int32_t quarterTurns) {
  static const int32_t kCos[4] = {1, 0, -1, 0};
  static const int32_t kSin[4] = {0, 1, 0, -1};
  const int32_t k = (m % 4) * quarterTurns % 4;
  const Pick oldC = c;
  const Pick oldS = s;
  if (kCos[k] != 0) {
    c = {kCos[k] * oldC.Sign, oldC.FromSin};
    s = {-kCos[k] * oldS.Sign, oldS.FromSin};
  } else {
    c = {kSin[k] * oldS.Sign, oldS.FromSin};
    s = {kSin[k] * oldC.Sign, oldC.FromSin};
  }
}

// u^2 + v^2 < 1 with u = x / R, v = y / R, the test of RfaMapDiscPixel.
bool InsideDisc(int32_t x, int32_t y, double radius) {
  const double u = x / radius;
  const double v = y / radius;
  return u * u + v * v < 1;
}

}  // namespace

RfaMemberPicks::RfaMemberPicks(int32_t degrees) {
  const int32_t L = std::max(degrees, 0);
  k_ = static_cast<size_t>(L) * static_cast<size_t>(L);
  from_.resize(8 * k_);
  sign_.resize(8 * k_);
  // The slot order and its runs: m = 0 first, then per m its cos and its sin run.
  slot_.resize(k_);
  basisOfSlot_.resize(k_);
  runOfSlot_.resize(k_);
  auto addRun = [&](int32_t m, int32_t sign) {
    const int32_t r = static_cast<int32_t>(runFirst_.size());
    const int32_t first = runFirst_.empty() ? 0 : runFirst_.back() + runCount_.back();
    runFirst_.push_back(first);
    runCount_.push_back(L - m);
    for (int32_t l = m; l < L; ++l) {
      const int32_t d = first + l - m;
      slot_[static_cast<size_t>(ZrShIndex(l, sign * m))] = d;
      basisOfSlot_[static_cast<size_t>(d)] = ZrShIndex(l, sign * m);
      runOfSlot_[static_cast<size_t>(d)] = r;
    }
  };
  if (L > 0) addRun(0, 1);
  for (int32_t m = 1; m < L; ++m) {
    addRun(m, 1);
    addRun(m, -1);
  }
  const size_t runs = runFirst_.size();
  runSource_.resize(8 * runs);
  runSign_.resize(8 * runs);
  for (int32_t kind = 0; kind < 8; ++kind) {
    int32_t* from = from_.data() + kind * k_;
    long double* sign = sign_.data() + kind * k_;
    int32_t* source = runSource_.data() + kind * runs;
    float* runSign = runSign_.data() + kind * runs;
    for (int32_t l = 0; l < L; ++l) {
      from[ZrShIndex(l, 0)] = ZrShIndex(l, 0);
      sign[ZrShIndex(l, 0)] = 1;
    }
    if (L > 0) {
      source[0] = 0;
      runSign[0] = 1;
    }
    for (int32_t m = 1; m < L; ++m) {
      // The member is the representative swapped (if so), then x negated, then y negated.
      Pick c{1, false};
      Pick s{1, true};
      if ((kind & 4) != 0) Reflect(c, s, m, 1);
      if ((kind & 2) != 0) Reflect(c, s, m, 2);
      if ((kind & 1) != 0) Reflect(c, s, m, 0);
      for (int32_t l = m; l < L; ++l) {
        from[ZrShIndex(l, m)] = ZrShIndex(l, c.FromSin ? -m : m);
        sign[ZrShIndex(l, m)] = c.Sign;
        from[ZrShIndex(l, -m)] = ZrShIndex(l, s.FromSin ? -m : m);
        sign[ZrShIndex(l, -m)] = s.Sign;
      }
      // The cos run is run 2m - 1, the sin run 2m; each reads a whole run of the same m.
      source[2 * m - 1] = slot_[static_cast<size_t>(ZrShIndex(m, c.FromSin ? -m : m))];
      runSign[2 * m - 1] = static_cast<float>(c.Sign);
      source[2 * m] = slot_[static_cast<size_t>(ZrShIndex(m, s.FromSin ? -m : m))];
      runSign[2 * m] = static_cast<float>(s.Sign);
    }
  }
  signDouble_.assign(sign_.begin(), sign_.end());
  fromSlot_.resize(8 * k_);
  for (size_t i = 0; i < fromSlot_.size(); ++i) {
    fromSlot_[i] = slot_[static_cast<size_t>(from_[i])];
  }
}

RfaDiscGroups RfaMakeDiscGroups(double radius) {
  RfaDiscGroups groups;
  if (!(radius > 0)) return groups;  // no disc (the fit's square is empty or outside it)
  for (int32_t q = 0; InsideDisc(q, q, radius); ++q) {
    groups.RowStart.push_back(groups.Count());
    // u grows with p (division and squaring round monotonically), so a row ends at its first
    // pixel outside.
    for (int32_t p = q; InsideDisc(p, q, radius); ++p) {
      groups.P.push_back(p);
      groups.Q.push_back(q);
    }
  }
  groups.RowStart.push_back(groups.Count());
  return groups;
}

RfaDiscBasis::RfaDiscBasis(const RfaFitGeometry& geometry, RfaBasisKind kind)
    : g_(geometry), kind_(kind), picks_(geometry.Degrees) {
  k_ = geometry.Degrees > 0 ? geometry.Degrees * geometry.Degrees : 0;
  harmonics_.Normalisation(geometry.Degrees);
}

void RfaDiscBasis::Representative(long double* Y, int32_t p, int32_t q) const {
  long double theta, phi;
  RfaMapDiscPixel(theta, phi, p, q, g_.Radius, false, true, g_.ThetaMax);
  harmonics_.BasisValues(Y, g_.Degrees, theta, phi);
}

bool RfaDiscBasis::At(long double* Y, long double* scratch, int32_t x, int32_t y) const {
  if (kind_ == RfaBasisKind::PerPixel) {
    long double theta, phi;
    if (!RfaMapDiscPixel(theta, phi, x, y, g_.Radius, false, true, g_.ThetaMax)) return false;
    harmonics_.BasisValues(Y, g_.Degrees, theta, phi);
    return true;
  }
  const int32_t ax = x < 0 ? -x : x;
  const int32_t ay = y < 0 ? -y : y;
  if (!InsideDisc(std::max(ax, ay), std::min(ax, ay), g_.Radius)) return false;
  Representative(scratch, std::max(ax, ay), std::min(ax, ay));
  const int32_t kind = RfaMemberKind(x, y);
  const int32_t* from = picks_.From(kind);
  const long double* sign = picks_.Sign(kind);
  for (int32_t i = 0; i < k_; ++i) Y[i] = sign[i] * scratch[from[i]];
  return true;
}

bool RfaBasisTable::Matches(const RfaFitGeometry& g) const {
  return std::memcmp(&Radius, &g.Radius, sizeof Radius) == 0 &&
         std::memcmp(&ThetaMax, &g.ThetaMax, 10) == 0 && Degrees == g.Degrees;
}

int64_t RfaBasisTableBytes(const RfaDiscGroups& groups, int32_t K) {
  return 2 * static_cast<int64_t>(sizeof(double)) * groups.Count() * K;
}

std::shared_ptr<const RfaBasisTable> RfaBuildBasisTable(const RfaFitGeometry& geometry,
                                                        const RfaDiscBasis& basis,
                                                        RfaDiscGroups groups, int32_t threads) {
  auto table = std::make_shared<RfaBasisTable>();
  table->Radius = geometry.Radius;
  table->ThetaMax = geometry.ThetaMax;
  table->Degrees = geometry.Degrees;
  table->K = basis.Count();
  table->Groups = std::move(groups);
  const int64_t n = table->Groups.Count();
  const int32_t K = table->K;
  table->Values.reset(new double[static_cast<size_t>(2 * n * K)]);
  std::vector<long double> scratch(static_cast<size_t>(threads) * static_cast<size_t>(K));
  const int32_t* slot = basis.Picks().Slot();
  bool exact = true;
#pragma omp parallel num_threads(threads) if (threads > 1)
  {
    long double* Y = scratch.data() + static_cast<size_t>(omp_get_thread_num()) * K;
#pragma omp for schedule(static) reduction(&& : exact)
    for (int64_t e = 0; e < n; ++e) {
      basis.Representative(Y, table->Groups.P[static_cast<size_t>(e)],
                           table->Groups.Q[static_cast<size_t>(e)]);
      double* hi = table->Values.get() + 2 * e * K;
      double* lo = hi + K;
      for (int32_t i = 0; i < K; ++i) {
        const int32_t d = slot[i];
        exact = RfaSplitExact(Y[i], hi[d], lo[d]) && exact;
      }
    }
  }
  if (!exact) return nullptr;
  return table;
}
