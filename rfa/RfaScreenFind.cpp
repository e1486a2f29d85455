// Screen circle search over the whole image: lit region, rim points along rays, robust circle.
#include "rfa/RfaScreenFind.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "rfa/RfaInterpolation.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kStep = 0.25;       // pixels between the samples of a ray
constexpr double kBlur = 1.5;        // pixels: sigma of the Gaussian that smooths the image
constexpr double kSmooth = 1.0;      // pixels: sigma of the Gaussian that smooths a ray
constexpr double kMinRadius = 4.0;   // pixels
constexpr double kMaxScatter = 1.5;  // pixels
constexpr int32_t kMinRimPoints = 16;
constexpr int32_t kMaxPasses = 10;
constexpr double kMinBand = 4.0;    // pixels on either side of the rim
constexpr double kTukey = 4.685;    // biweight constant for 95 % efficiency with normal errors
constexpr double kMinScale = 0.05;  // pixels: the spread of exact rim points is not 0

[[noreturn]] void NotFound(const std::string& why) {
  throw ZrError("Find screen: no screen found: " + why);
}

// Otsu's threshold between the dark surroundings and the lit screen. (On a screen dim at one
// side it can fall inside the screen's own range; the region above it then leans to the bright
// side, which the first, wide band of rays allows for.)
double OtsuThreshold(const ZrFloatMatrix& image) {
  std::vector<float> values;
  values.reserve(static_cast<size_t>(image.Count()));
  for (int64_t i = 0; i < image.Count(); ++i) {
    if (std::isfinite(image.Data[i])) values.push_back(image.Data[i]);
  }
  if (values.size() < 2) NotFound("the image has no bright region");
  const float lo = *std::min_element(values.begin(), values.end());
  auto quantile = values.begin() + static_cast<std::ptrdiff_t>(0.995 * (values.size() - 1));
  std::nth_element(values.begin(), quantile, values.end());
  float hi = *quantile;
  if (!(hi > lo)) hi = *std::max_element(values.begin(), values.end());
  if (!(hi > lo)) NotFound("the image has no bright region");
  constexpr int32_t kBins = 256;
  std::array<double, kBins> count{};
  const double scale = kBins / (static_cast<double>(hi) - lo);
  for (const float v : values) {
    const double bin = std::min((static_cast<double>(v) - lo) * scale, kBins - 1.0);
    count[static_cast<size_t>(bin)] += 1.0;
  }
  const double total = static_cast<double>(values.size());
  double sumAll = 0.0;
  for (int32_t k = 0; k < kBins; ++k) sumAll += k * count[static_cast<size_t>(k)];
  double below = 0.0, sumBelow = 0.0, best = -1.0;
  int32_t split = 0;
  for (int32_t k = 0; k + 1 < kBins; ++k) {
    below += count[static_cast<size_t>(k)];
    sumBelow += k * count[static_cast<size_t>(k)];
    const double above = total - below;
    if (below == 0.0 || above == 0.0) continue;
    const double d = sumBelow / below - (sumAll - sumBelow) / above;
    const double between = below * above * d * d;
    if (between > best) {
      best = between;
      split = k;
    }
  }
  return lo + (split + 1) / scale;
}

struct Region {
  double Cx = 0, Cy = 0;
  int64_t Area = 0;
};

// The largest 4-connected set of pixels above the threshold.
Region LargestRegion(const ZrFloatMatrix& image, double threshold) {
  const int64_t cols = image.ColSize;
  const int64_t n = image.Count();
  std::vector<char> seen(static_cast<size_t>(n), 0);
  std::vector<int64_t> stack;
  Region best;
  for (int64_t start = 0; start < n; ++start) {
    if (seen[static_cast<size_t>(start)] || !(image.Data[start] > threshold)) continue;
    Region r;
    double sx = 0.0, sy = 0.0;
    seen[static_cast<size_t>(start)] = 1;
    stack.assign(1, start);
    while (!stack.empty()) {
      const int64_t i = stack.back();
      stack.pop_back();
      const int64_t x = i % cols, y = i / cols;
      sx += static_cast<double>(x);
      sy += static_cast<double>(y);
      ++r.Area;
      const int64_t next[4] = {x > 0 ? i - 1 : -1, x + 1 < cols ? i + 1 : -1, y > 0 ? i - cols : -1,
                               i + cols < n ? i + cols : -1};
      for (const int64_t j : next) {
        if (j < 0 || seen[static_cast<size_t>(j)] || !(image.Data[j] > threshold)) continue;
        seen[static_cast<size_t>(j)] = 1;
        stack.push_back(j);
      }
    }
    if (r.Area > best.Area) {
      r.Cx = image.ColBegin + sx / static_cast<double>(r.Area);
      r.Cy = image.RowBegin + sy / static_cast<double>(r.Area);
      best = r;
    }
  }
  return best;
}

// The image smoothed by a Gaussian of kBlur pixels (separable; near the edges the weights of
// the pixels inside are renormalised), non-finite pixels read as 0: multiplicative noise is
// stronger on the bright side of the rim and would pull the steepest fall inwards otherwise.
ZrFloatMatrix Blurred(const ZrFloatMatrix& image) {
  const int32_t half = static_cast<int32_t>(std::ceil(3 * kBlur));
  std::vector<double> w(static_cast<size_t>(2 * half + 1));
  for (int32_t i = -half; i <= half; ++i) {
    w[static_cast<size_t>(i + half)] = std::exp(-0.5 * i * i / (kBlur * kBlur));
  }
  const int64_t cols = image.ColSize, rows = image.RowSize;
  auto pass = [&](const std::vector<double>& in, std::vector<double>& out, int64_t length,
                  int64_t lines, int64_t step, int64_t next) {
    out.assign(in.size(), 0.0);
    for (int64_t line = 0; line < lines; ++line) {
      for (int64_t i = 0; i < length; ++i) {
        double sum = 0.0, weight = 0.0;
        for (int64_t k = std::max<int64_t>(-half, -i); k <= half && i + k < length; ++k) {
          const double wk = w[static_cast<size_t>(k + half)];
          sum += wk * in[static_cast<size_t>(line * next + (i + k) * step)];
          weight += wk;
        }
        out[static_cast<size_t>(line * next + i * step)] = sum / weight;
      }
    }
  };
  std::vector<double> a(static_cast<size_t>(image.Count())), b;
  for (int64_t i = 0; i < image.Count(); ++i) {
    a[static_cast<size_t>(i)] = std::isfinite(image.Data[i]) ? image.Data[i] : 0.0;
  }
  pass(a, b, cols, rows, 1, cols);
  pass(b, a, rows, cols, cols, 1);
  ZrFloatMatrix result(image.ColSize, image.RowSize);
  result.SetBegin(image.ColBegin, image.RowBegin);
  for (int64_t i = 0; i < image.Count(); ++i)
    result.Data[i] = static_cast<float>(a[static_cast<size_t>(i)]);
  return ZrReturnFast(result);
}

struct RimPoint {
  double X, Y, Strength;
};

// Derivative-of-Gaussian weights, normalised so that a ramp of slope 1 per sample gives 1.
struct SlopeKernel {
  int32_t Half = 0;
  std::vector<double> W;  // offsets -Half .. Half
  SlopeKernel() {
    const double sigma = kSmooth / kStep;
    Half = static_cast<int32_t>(std::ceil(3 * sigma));
    double norm = 0.0;
    for (int32_t i = -Half; i <= Half; ++i) {
      W.push_back(i * std::exp(-0.5 * i * i / (sigma * sigma)));
      norm += W.back() * i;
    }
    for (double& w : W) w /= norm;
  }
};

// The rim along the ray from (cx, cy) at angle a, between the radii from and to: where the
// smoothed profile falls most steeply. False when the steepest fall lies at an end of the
// band (the rim is not inside it) or the profile leaves the image too soon.
bool RimAlong(const RfaResampler& sample, const SlopeKernel& kernel, const ZrFloatMatrix& image,
              double cx, double cy, double a, double from, double to, RimPoint& point) {
  const int32_t half = kernel.Half;
  const double c = std::cos(a), s = std::sin(a);
  const double x0 = image.ColBegin, x1 = image.ColBegin + image.ColSize - 1.0;
  const double y0 = image.RowBegin, y1 = image.RowBegin + image.RowSize - 1.0;
  std::vector<double> profile;
  for (double rho = from; rho <= to; rho += kStep) {
    const double x = cx + c * rho, y = cy + s * rho;
    if (x < x0 || x > x1 || y < y0 || y > y1) break;
    profile.push_back(sample.At(x, y));
  }
  const int32_t n = static_cast<int32_t>(profile.size());
  if (n < 2 * half + 3) return false;
  int32_t bestI = -1;
  double bestSlope = 0.0;
  std::vector<double> slope(static_cast<size_t>(n), 0.0);
  for (int32_t i = half; i < n - half; ++i) {
    double d = 0.0;
    for (int32_t k = -half; k <= half; ++k) {
      d += kernel.W[static_cast<size_t>(k + half)] * profile[static_cast<size_t>(i + k)];
    }
    slope[static_cast<size_t>(i)] = d;
    if (d < bestSlope) {
      bestSlope = d;
      bestI = i;
    }
  }
  if (bestI <= half || bestI >= n - half - 1) return false;
  const double l = slope[static_cast<size_t>(bestI - 1)], m = bestSlope;
  const double r = slope[static_cast<size_t>(bestI + 1)];
  const double curvature = l - 2 * m + r;
  const double shift = curvature > 0 ? std::clamp(0.5 * (l - r) / curvature, -0.5, 0.5) : 0.0;
  const double rho = from + (bestI + shift) * kStep;
  point = {cx + c * rho, cy + s * rho, -bestSlope / kStep};
  return true;
}

struct Circle {
  double Cx = 0, Cy = 0, R = 0;
};

// Solves the 3 x 3 system a x = b by Gaussian elimination with partial pivoting.
bool Solve3(std::array<std::array<double, 3>, 3> a, std::array<double, 3> b,
            std::array<double, 3>& x) {
  for (int i = 0; i < 3; ++i) {
    int p = i;
    for (int j = i + 1; j < 3; ++j) {
      if (std::abs(a[j][i]) > std::abs(a[p][i])) p = j;
    }
    if (!(std::abs(a[p][i]) > 0.0)) return false;
    std::swap(a[i], a[p]);
    std::swap(b[i], b[p]);
    for (int j = i + 1; j < 3; ++j) {
      const double f = a[j][i] / a[i][i];
      for (int k = i; k < 3; ++k) a[j][k] -= f * a[i][k];
      b[j] -= f * b[i];
    }
  }
  for (int i = 2; i >= 0; --i) {
    double v = b[i];
    for (int k = i + 1; k < 3; ++k) v -= a[i][k] * x[k];
    x[i] = v / a[i][i];
  }
  return std::isfinite(x[0]) && std::isfinite(x[1]) && std::isfinite(x[2]);
}

double Median(std::vector<double> v) {
  auto mid = v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2);
  std::nth_element(v.begin(), mid, v.end());
  return *mid;
}

// Least squares in the geometric distance with Tukey's biweight, from the start circle;
// inliers and their RMS distance returned.
bool RobustCircle(const std::vector<RimPoint>& points, Circle& circle, int32_t& inliers,
                  double& scatter) {
  std::vector<double> e(points.size());
  for (int32_t iteration = 0; iteration < 50; ++iteration) {
    for (size_t i = 0; i < points.size(); ++i) {
      e[i] = std::hypot(points[i].X - circle.Cx, points[i].Y - circle.Cy) - circle.R;
    }
    std::vector<double> magnitude(e.size());
    for (size_t i = 0; i < e.size(); ++i) magnitude[i] = std::abs(e[i]);
    const double cut = kTukey * std::max(kMinScale, 1.4826 * Median(magnitude));
    std::array<std::array<double, 3>, 3> a{};
    std::array<double, 3> b{};
    inliers = 0;
    double sum2 = 0.0;
    for (size_t i = 0; i < points.size(); ++i) {
      if (!(std::abs(e[i]) < cut)) continue;
      const double u = e[i] / cut;
      const double w = (1 - u * u) * (1 - u * u);
      const double d = std::max(e[i] + circle.R, 1e-9);
      const double j[3] = {-(points[i].X - circle.Cx) / d, -(points[i].Y - circle.Cy) / d, -1.0};
      for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) a[r][c] += w * j[r] * j[c];
        b[r] -= w * j[r] * e[i];
      }
      ++inliers;
      sum2 += e[i] * e[i];
    }
    scatter = inliers > 0 ? std::sqrt(sum2 / inliers) : 0.0;
    std::array<double, 3> step{};
    if (inliers < 3 || !Solve3(a, b, step)) return false;
    circle.Cx += step[0];
    circle.Cy += step[1];
    circle.R += step[2];
    if (std::abs(step[0]) + std::abs(step[1]) + std::abs(step[2]) < 1e-7) break;
  }
  return std::isfinite(circle.R) && circle.R > 0;
}

}  // namespace

RfaFoundScreen RfaFindScreen(const ZrFloatMatrix& image) {
  if (image.Count() == 0) throw ZrError("Find screen: the image is empty");
  const Region region = LargestRegion(image, OtsuThreshold(image));
  Circle circle{region.Cx, region.Cy, std::sqrt(static_cast<double>(region.Area) / kPi)};
  if (circle.R < kMinRadius) {
    NotFound("the bright region is too small (" + std::to_string(region.Area) + " pixels)");
  }
  const RfaResampler sample(Blurred(image), RfaInterpolation::Linear, RfaEdge::Outside, false);
  const SlopeKernel kernel;
  RfaFoundScreen found;
  // The band across the rim narrows as the circle settles; the passes end once a pass over
  // the narrowest band has moved it by less than a hundredth of a pixel.
  double band = std::max(8.0, 0.25 * circle.R);
  for (int32_t pass = 0; pass < kMaxPasses; ++pass) {
    const Circle before = circle;
    const int32_t rays = std::clamp(static_cast<int32_t>(2 * kPi * circle.R), 64, 4096);
    std::vector<RimPoint> points;
    for (int32_t k = 0; k < rays; ++k) {
      RimPoint p;
      if (RimAlong(sample, kernel, image, circle.Cx, circle.Cy, 2 * kPi * k / rays,
                   std::max(0.0, circle.R - band), circle.R + band, p)) {
        points.push_back(p);
      }
    }
    // A ray whose fall is far weaker than the typical one crosses no rim (the image edge cuts
    // the screen there, or the band holds only the screen's own structure).
    if (!points.empty()) {
      std::vector<double> strength;
      for (const RimPoint& p : points) strength.push_back(p.Strength);
      const double typical = Median(strength);
      points.erase(std::remove_if(points.begin(), points.end(),
                                  [&](const RimPoint& p) { return p.Strength < 0.25 * typical; }),
                   points.end());
    }
    const int32_t needed = std::max(kMinRimPoints, rays / 4);
    int32_t inliers = static_cast<int32_t>(points.size());
    double scatter = 0.0;
    if (inliers < needed || !RobustCircle(points, circle, inliers, scatter) || inliers < needed) {
      NotFound("only " + std::to_string(inliers) + " of " + std::to_string(rays) +
               " rays cross a rim");
    }
    found = {circle.Cx, circle.Cy, circle.R, inliers, rays, scatter};
    const double moved = std::abs(circle.Cx - before.Cx) + std::abs(circle.Cy - before.Cy) +
                         std::abs(circle.R - before.R);
    if (band <= kMinBand && moved < 0.01) break;
    band = std::max(kMinBand, std::min(0.5 * band, 3 * moved + kMinBand));
  }
  if (found.R < kMinRadius) NotFound("the rim circle is too small");
  if (found.Scatter > kMaxScatter) {
    NotFound("the rim is not a circle (its points scatter by " + std::to_string(found.Scatter) +
             " pixels)");
  }
  return found;
}
