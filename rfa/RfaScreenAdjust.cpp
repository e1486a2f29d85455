// Screen-circle search for "Adjust Screen".
#include "rfa/RfaScreenAdjust.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {

constexpr int32_t kGridSteps = 40;   // half-pixel steps on either side of the grid centre
constexpr double kGridStep = 0.5;    // pixels
constexpr double kRingWidth = 0.25;  // pixels; narrower than the grid step, see header
constexpr int32_t kDropWindow = 4;   // rings averaged on either side of a profile drop
// Largest distance of a candidate from the grid centre, and the slack added for the error of
// the rough radius: every candidate sees the whole rim inside the band of pixels used.
const double kCandidateReach = kGridSteps * kGridStep * std::sqrt(2.0);
constexpr double kRoughRadiusSlack = 16.0;

struct BandPixel {
  double X, Y;  // offset from the grid centre
  double V;     // clipped value: compared between candidates
  double Raw;   // unclipped value: locates the rim once the centre is known
};

// Azimuthal profiles of the band pixels about one candidate.
class RingProfiles {
 public:
  RingProfiles(const std::vector<BandPixel>& band, double firstRadius, double lastRadius)
      : band_(band), firstRing_(static_cast<int64_t>(std::floor(firstRadius / kRingWidth))) {
    const int64_t last = static_cast<int64_t>(std::ceil(lastRadius / kRingWidth));
    sum_.assign(static_cast<size_t>(last - firstRing_ + 1), 0.0);
    count_.assign(sum_.size(), 0);
  }

  void Accumulate(double ox, double oy, bool raw = false) {
    std::fill(sum_.begin(), sum_.end(), 0.0);
    std::fill(count_.begin(), count_.end(), 0);
    const int64_t n = static_cast<int64_t>(sum_.size());
    for (const BandPixel& p : band_) {
      const double dx = p.X - ox;
      const double dy = p.Y - oy;
      int64_t k = static_cast<int64_t>(std::sqrt(dx * dx + dy * dy) / kRingWidth) - firstRing_;
      k = std::clamp<int64_t>(k, 0, n - 1);
      sum_[static_cast<size_t>(k)] += raw ? p.Raw : p.V;
      ++count_[static_cast<size_t>(k)];
    }
  }

  // Sum over rings of (ring sum)^2 / (ring count): the band's total sum of squares minus the
  // within-ring one. The band is the same for every candidate, so maximising this minimises
  // the azimuthal variance.
  double BetweenRingScore() const {
    double score = 0.0;
    for (size_t k = 0; k < sum_.size(); ++k) {
      if (count_[k] > 0) score += sum_[k] * sum_[k] / static_cast<double>(count_[k]);
    }
    return score;
  }

  // Ring means; an empty ring repeats the nearest filled ring inside it (the first filled
  // ring for those before it), so a gap never reads as a drop.
  std::vector<double> Means() const {
    std::vector<double> mean(sum_.size(), 0.0);
    size_t filled = 0;
    bool any = false;
    for (size_t k = 0; k < sum_.size(); ++k) {
      if (count_[k] == 0) continue;
      mean[k] = sum_[k] / static_cast<double>(count_[k]);
      for (size_t j = any ? filled + 1 : 0; j < k; ++j) mean[j] = any ? mean[filled] : mean[k];
      filled = k;
      any = true;
    }
    for (size_t j = filled + 1; any && j < mean.size(); ++j) mean[j] = mean[filled];
    return mean;
  }

  double RingRadius(double ringIndex) const {
    return (static_cast<double>(firstRing_) + ringIndex) * kRingWidth;
  }
  int64_t RingOf(double radius) const {
    return static_cast<int64_t>(std::floor(radius / kRingWidth)) - firstRing_;
  }

 private:
  const std::vector<BandPixel>& band_;
  int64_t firstRing_;
  std::vector<double> sum_;
  std::vector<int64_t> count_;
};

// Outermost radius about the grid centre at which the 1-pixel azimuthal profile of the clipped
// image still reaches half its largest value. Candidates up to kCandidateReach away smear the
// rim over that much, but its middle stays near the true radius.
double RoughRadius(const ZrFloatMatrix& clipped, double gx, double gy) {
  std::vector<double> sum;
  std::vector<int64_t> count;
  for (int32_t y = 0; y < clipped.RowSize; ++y) {
    const double dy = clipped.RowBegin + y - gy;
    for (int32_t x = 0; x < clipped.ColSize; ++x) {
      const double dx = clipped.ColBegin + x - gx;
      const size_t k = static_cast<size_t>(std::sqrt(dx * dx + dy * dy));
      if (k >= sum.size()) {
        sum.resize(k + 1, 0.0);
        count.resize(k + 1, 0);
      }
      sum[k] += clipped.Data[x + static_cast<int64_t>(y) * clipped.ColSize];
      ++count[k];
    }
  }
  double largest = 0.0;
  for (size_t k = 0; k < sum.size(); ++k) {
    if (count[k] > 0) largest = std::max(largest, sum[k] / static_cast<double>(count[k]));
  }
  double radius = 0.0;
  for (size_t k = 0; k < sum.size(); ++k) {
    if (count[k] > 0 && sum[k] / static_cast<double>(count[k]) >= 0.5 * largest) {
      radius = static_cast<double>(k) + 1.0;
    }
  }
  return radius;
}

}  // namespace

RfaScreenAdjustResult RfaAdjustScreen(const ZrFloatMatrix& image, double threshold,
                                      int32_t searchSize) {
  if (image.IsEmpty()) throw ZrError("Adjust Screen: the image is empty");
  if (!(threshold > 0.0) || !std::isfinite(threshold)) {
    throw ZrError("Adjust Screen: the threshold must be a positive number");
  }
  if (searchSize < 1) throw ZrError("Adjust Screen: the search size must be at least 1");

  float largest = 0.0f;
  for (int64_t i = 0; i < image.Count(); ++i) {
    if (std::isfinite(image.Data[i])) largest = std::max(largest, image.Data[i]);
  }
  if (!(largest > 0.0f)) throw ZrError("Adjust Screen: the image has no positive pixel");

  RfaScreenAdjustResult result;
  result.Clipped = image;
  const float level = static_cast<float>(largest * threshold);
  for (int64_t i = 0; i < result.Clipped.Count(); ++i) {
    float& v = result.Clipped.Data[i];
    if (!std::isfinite(v)) v = 0.0f;  // a broken pixel is neither screen nor rim
    if (v > level) v = level;
  }

  const double gx = image.ColBegin + image.ColSize / 2;
  const double gy = image.RowBegin + image.ColSize / 2;
  const double rough = RoughRadius(result.Clipped, gx, gy);
  const double bandHalfWidth = kCandidateReach + kRoughRadiusSlack;
  const double bandInner = std::max(0.0, rough - bandHalfWidth);
  const double bandOuter = rough + bandHalfWidth;

  std::vector<BandPixel> band;
  for (int32_t y = 0; y < image.RowSize; ++y) {
    const double dy = image.RowBegin + y - gy;
    for (int32_t x = 0; x < image.ColSize; ++x) {
      const double dx = image.ColBegin + x - gx;
      const double d = std::sqrt(dx * dx + dy * dy);
      if (d >= bandInner && d <= bandOuter) {
        const int64_t at = x + static_cast<int64_t>(y) * image.ColSize;
        const float raw = std::isfinite(image.Data[at]) ? image.Data[at] : 0.0f;
        band.push_back({dx, dy, result.Clipped.Data[at], raw});
      }
    }
  }
  RingProfiles profiles(band, std::max(0.0, bandInner - kCandidateReach),
                        bandOuter + kCandidateReach);

  // Scores of the grid points already evaluated (NaN: not yet).
  const int32_t side = 2 * kGridSteps + 1;
  std::vector<double> scores(static_cast<size_t>(side) * side,
                             std::numeric_limits<double>::quiet_NaN());
  auto score = [&](int32_t i, int32_t j) {
    double& s = scores[static_cast<size_t>((i + kGridSteps) + (j + kGridSteps) * side)];
    if (std::isnan(s)) {
      profiles.Accumulate(i * kGridStep, j * kGridStep);
      s = profiles.BetweenRingScore();
    }
    return s;
  };

  int32_t spacing = std::min(searchSize, kGridSteps);
  int32_t bestI = 0;
  int32_t bestJ = 0;
  double bestScore = -1.0;
  // Coarse pass: a lattice through the grid centre.
  for (int32_t j = -(kGridSteps / spacing) * spacing; j <= kGridSteps; j += spacing) {
    for (int32_t i = -(kGridSteps / spacing) * spacing; i <= kGridSteps; i += spacing) {
      const double s = score(i, j);
      if (s > bestScore) {
        bestScore = s;
        bestI = i;
        bestJ = j;
      }
    }
  }
  // Finer passes within one former spacing of the best point.
  while (spacing > 1) {
    const int32_t reach = spacing;
    spacing = std::max(1, spacing / 2);
    const int32_t ci = bestI;
    const int32_t cj = bestJ;
    for (int32_t j = std::max(-kGridSteps, cj - reach); j <= std::min(kGridSteps, cj + reach);
         j += spacing) {
      for (int32_t i = std::max(-kGridSteps, ci - reach); i <= std::min(kGridSteps, ci + reach);
           i += spacing) {
        const double s = score(i, j);
        if (s > bestScore) {
          bestScore = s;
          bestI = i;
          bestJ = j;
        }
      }
    }
  }
  // Final check of the eight half-pixel neighbours, until none improves.
  for (bool moved = true; moved;) {
    moved = false;
    const int32_t ci = bestI;
    const int32_t cj = bestJ;
    for (int32_t j = std::max(-kGridSteps, cj - 1); j <= std::min(kGridSteps, cj + 1); ++j) {
      for (int32_t i = std::max(-kGridSteps, ci - 1); i <= std::min(kGridSteps, ci + 1); ++i) {
        const double s = score(i, j);
        if (s > bestScore) {
          bestScore = s;
          bestI = i;
          bestJ = j;
          moved = true;
        }
      }
    }
  }

  const double ox = bestI * kGridStep;
  const double oy = bestJ * kGridStep;
  result.Cx = gx + ox;
  result.Cy = gy + oy;

  // Radius: steepest smoothed descent of the unclipped profile about the chosen centre, looked
  // for only where every ring lies wholly inside the band. The unclipped profile is used
  // because on a blurred rim the clipped one falls where the rim crosses the clip level, which
  // would make the radius depend on the threshold; the steepest descent of the true profile
  // is the middle of the rim whatever the threshold.
  profiles.Accumulate(ox, oy, true);
  const std::vector<double> mean = profiles.Means();
  const double offset = std::hypot(ox, oy);
  const int64_t n = static_cast<int64_t>(mean.size());
  const int64_t kFirst =
      std::max<int64_t>(kDropWindow - 1, profiles.RingOf(bandInner + offset) + kDropWindow);
  const int64_t kLast =
      std::min<int64_t>(n - kDropWindow - 1, profiles.RingOf(bandOuter - offset) - kDropWindow - 1);
  auto drop = [&](int64_t k) {  // mean of rings k-w+1..k minus mean of rings k+1..k+w
    double inner = 0.0;
    double outer = 0.0;
    for (int64_t m = 0; m < kDropWindow; ++m) {
      inner += mean[static_cast<size_t>(k - m)];
      outer += mean[static_cast<size_t>(k + 1 + m)];
    }
    return (inner - outer) / kDropWindow;
  };
  int64_t bestK = -1;
  double bestDrop = -std::numeric_limits<double>::infinity();
  for (int64_t k = kFirst; k <= kLast; ++k) {
    const double d = drop(k);
    if (d > bestDrop) {
      bestDrop = d;
      bestK = k;
    }
  }
  if (bestK < 0) {  // band too thin to hold a drop window: fall back on the rough radius
    result.R = rough;
    return result;
  }
  double shift = 0.0;
  if (bestK > kFirst && bestK < kLast) {
    const double a = drop(bestK - 1);
    const double b = bestDrop;
    const double c = drop(bestK + 1);
    const double curvature = a - 2.0 * b + c;
    if (curvature < 0.0) shift = std::clamp(0.5 * (a - c) / curvature, -0.5, 0.5);
  }
  // The drop between rings k and k + 1 sits on their common border, radius of ring k + 1.
  result.R = profiles.RingRadius(static_cast<double>(bestK) + 1.0 + shift);
  return result;
}
