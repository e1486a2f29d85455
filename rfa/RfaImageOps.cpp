// Pure image operations of the RFA chain.
#include "rfa/RfaImageOps.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// Shift reduced into 0 .. n - 1, computed without overflowing for any finite shift.
int64_t WrappedShift(double shift, int32_t n) {
  const double reduced = std::fmod(shift, static_cast<double>(n));  // |reduced| < n
  const int64_t s = static_cast<int64_t>(reduced);
  return ((s % n) + n) % n;
}

}  // namespace

void RfaMoveToCenter(ZrFloatMatrix& image, double sx, double sy) {
  if (!std::isfinite(sx) || !std::isfinite(sy)) {
    throw ZrError("Move to center: screen centre is not a finite number");
  }
  const int32_t cols = image.ColSize;
  const int32_t rows = image.RowSize;
  if (image.IsEmpty() || cols == 0 || rows == 0) return;
  const int64_t dx = WrappedShift(std::trunc(static_cast<double>(cols / 2) - sx), cols);
  const int64_t dy = WrappedShift(std::trunc(static_cast<double>(rows / 2) - sy), rows);
  if (dx == 0 && dy == 0) return;
  std::vector<float> rolled(static_cast<size_t>(image.Count()));
  for (int64_t y = 0; y < rows; ++y) {
    const float* src = image.Data + y * cols;
    float* dst = rolled.data() + ((y + dy) % rows) * cols;
    // Row y splits into the part that moves right by dx and the tail that wraps to the front.
    std::copy(src, src + (cols - dx), dst + dx);
    std::copy(src + (cols - dx), src + cols, dst);
  }
  std::copy(rolled.begin(), rolled.end(), image.Data);
}

namespace {

// The ring statistic over one ring's values (reordered by the median).
double RingValue(float* first, float* last, RfaRingStatistic statistic) {
  const std::ptrdiff_t n = last - first;
  if (statistic == RfaRingStatistic::Mean) {
    double sum = 0.0;
    for (const float* v = first; v != last; ++v) sum += *v;
    return sum / static_cast<double>(n);
  }
  float* middle = first + n / 2;
  std::nth_element(first, middle, last);
  if (n % 2 == 1) return *middle;
  return 0.5 * (static_cast<double>(*std::max_element(first, middle)) + *middle);
}

}  // namespace

ZrFloatMatrix RfaAzimuthalAverageBackground(const ZrFloatMatrix& image, float cx, float cy,
                                            float step, RfaRingStatistic statistic,
                                            int32_t threads) {
  threads = std::max(threads, 1);
  if (!(step > 0.0f) || !std::isfinite(step)) {
    throw ZrError("Azimuthal average: step must be a positive number");
  }
  if (!std::isfinite(cx) || !std::isfinite(cy)) {
    throw ZrError("Azimuthal average: centre is not a finite number");
  }
  ZrFloatMatrix background;
  background.SetBegin(image.ColBegin, image.RowBegin);
  background.Resize(image.ColSize, image.RowSize);
  if (image.IsEmpty()) return ZrReturnFast(background);

  const double x0 = image.ColBegin;
  const double x1 = x0 + image.ColSize - 1;
  const double y0 = image.RowBegin;
  const double y1 = y0 + image.RowSize - 1;
  const double ccx = cx;
  const double ccy = cy;
  const double st = step;

  // Only the radii that the image's pixels span get rings, so a centre far outside the image
  // costs no more memory than one inside it.
  const double nearX = std::clamp(ccx, x0, x1) - ccx;
  const double nearY = std::clamp(ccy, y0, y1) - ccy;
  const double farX = std::max(std::abs(x0 - ccx), std::abs(x1 - ccx));
  const double farY = std::max(std::abs(y0 - ccy), std::abs(y1 - ccy));
  const double ringMin = std::floor(std::sqrt(nearX * nearX + nearY * nearY) / st);
  const double ringMax = std::floor(std::sqrt(farX * farX + farY * farY) / st);
  // Beyond 2^53 ring numbers are no longer whole doubles (and soon beyond any integer).
  if (!(ringMax < 0x1p53)) throw ZrError("Azimuthal average: centre is too far from the image");
  const double ringSpan = ringMax - ringMin + 1.0;
  if (ringSpan > static_cast<double>(1 << 24)) {
    throw ZrError("Azimuthal average: too many radial rings");
  }
  const int32_t rings = static_cast<int32_t>(ringSpan);
  const int64_t firstRing = static_cast<int64_t>(ringMin);
  auto distance = [&](int32_t x, int32_t y) {
    const double dx = x0 + x - ccx;
    const double dy = y0 + y - ccy;
    return std::sqrt(dx * dx + dy * dy);
  };
  // d / st is never negative and below 2^53, so the conversion, which cuts towards zero, is its
  // floor (without a call of floor() for every pixel).
  auto ringOf = [&](double d) {
    const int64_t k = static_cast<int64_t>(d / st) - firstRing;
    return static_cast<int32_t>(std::clamp<int64_t>(k, 0, rings - 1));  // rounding at the ends
  };

  // The measured pixels grouped by ring: ring k holds values[start[k] .. start[k + 1]).
  const int32_t cols = image.ColSize;
  std::vector<int32_t> ringOfPixel(static_cast<size_t>(image.Count()), -1);
  std::vector<int64_t> start(static_cast<size_t>(rings) + 1, 0);
  std::vector<double> radiusSum(static_cast<size_t>(rings), 0.0);
  for (int32_t y = 0; y < image.RowSize; ++y) {
    for (int32_t x = 0; x < cols; ++x) {
      const int64_t i = static_cast<int64_t>(y) * cols + x;
      if (RfaIsHole(image.Data[i])) continue;
      const double d = distance(x, y);
      const int32_t k = ringOf(d);
      ringOfPixel[static_cast<size_t>(i)] = k;
      ++start[static_cast<size_t>(k) + 1];
      radiusSum[static_cast<size_t>(k)] += d;
    }
  }
  for (int32_t k = 0; k < rings; ++k) start[k + 1] += start[k];
  std::vector<float> values(static_cast<size_t>(start[rings]));
  std::vector<int64_t> next(start.begin(), start.end() - 1);
  for (int64_t i = 0; i < image.Count(); ++i) {
    const int32_t k = ringOfPixel[static_cast<size_t>(i)];
    if (k >= 0) values[static_cast<size_t>(next[k]++)] = image.Data[i];
  }
  if (values.empty()) {  // no data at all
    background.Fill(0.0f);
    return ZrReturnFast(background);
  }

  // Each filled ring gives one node of the profile: its statistic, placed at the mean distance
  // of its pixels (a ring cut by the image edge or by holes is not centred on its middle).
  std::vector<double> node(static_cast<size_t>(rings), 0.0);
  std::vector<double> level(static_cast<size_t>(rings), 0.0);
  std::vector<int32_t> below(static_cast<size_t>(rings), -1);  // last filled ring <= k
  std::vector<int32_t> above(static_cast<size_t>(rings), -1);  // first filled ring >= k
  // Each ring's statistic reads and reorders only its own values.
#pragma omp parallel for num_threads(threads) if (threads > 1) schedule(dynamic, 16)
  for (int32_t k = 0; k < rings; ++k) {
    const int64_t n = start[k + 1] - start[k];
    if (n > 0) {
      node[k] = radiusSum[k] / static_cast<double>(n);
      level[k] = RingValue(values.data() + start[k], values.data() + start[k + 1], statistic);
    }
  }
  for (int32_t k = 0, last = -1; k < rings; ++k) {
    if (start[k + 1] > start[k]) last = k;
    below[k] = last;
  }
  for (int32_t k = rings - 1, first = -1; k >= 0; --k) {
    if (start[k + 1] > start[k]) first = k;
    above[k] = first;
  }

  // Linear in the distance between the nodes on either side; constant beyond the outer ones.
#pragma omp parallel for num_threads(threads) if (threads > 1) schedule(static)
  for (int32_t y = 0; y < image.RowSize; ++y) {
    float* out = background.Data + static_cast<int64_t>(y) * cols;
    for (int32_t x = 0; x < cols; ++x) {
      const double d = distance(x, y);
      const int32_t k = ringOf(d);
      int32_t lo = below[k];
      int32_t hi = above[k];
      if (lo == k) {  // a filled ring: its node splits it
        if (d >= node[k]) {
          hi = k + 1 < rings ? above[k + 1] : -1;
        } else {
          lo = k > 0 ? below[k - 1] : -1;
          hi = k;
        }
      }
      double value;
      if (lo < 0) {
        value = level[hi];
      } else if (hi < 0) {
        value = level[lo];
      } else {
        value = level[lo] + (level[hi] - level[lo]) * (d - node[lo]) / (node[hi] - node[lo]);
      }
      out[x] = static_cast<float>(value);
    }
  }
  return ZrReturnFast(background);
}

ZrFloatMatrix RfaDivideByBackground(const ZrFloatMatrix& image, const ZrFloatMatrix& background) {
  ZrCheckSameShape(image, background);
  ZrFloatMatrix result;
  result.SetBegin(image.ColBegin, image.RowBegin);
  result.Resize(image.ColSize, image.RowSize);
  for (int64_t i = 0; i < result.Count(); ++i) {
    const float b = background.Data[i];
    const float v = image.Data[i];
    result.Data[i] = b == 0.0f || !std::isfinite(v) ? 0.0f : v / b;
  }
  return ZrReturnFast(result);
}

void RfaMaskMcpDip(ZrFloatMatrix& image, double cx, double cy, double r) {
  const float radius = (2.0f * static_cast<float>(r) + 1.0f) * 0.5f;
  // A non-positive or non-finite radius, or a non-finite centre, selects no pixel: the inside
  // test below fails for every one of them; returning early keeps the float-to-integer
  // conversions of the ranges defined.
  if (!(radius > 0.0f) || !std::isfinite(radius) || !std::isfinite(cx) || !std::isfinite(cy)) {
    return;
  }
  const double xFirst =
      std::max(std::floor(cx - radius + 0.5), static_cast<double>(image.ColBegin));
  const double xLast = std::min(std::floor(cx + radius + 0.5),
                                static_cast<double>(image.ColBegin) + image.ColSize - 1);
  const double yFirst =
      std::max(std::floor(cy - radius + 0.5), static_cast<double>(image.RowBegin));
  const double yLast = std::min(std::floor(cy + radius + 0.5),
                                static_cast<double>(image.RowBegin) + image.RowSize - 1);
  if (xFirst > xLast || yFirst > yLast) return;
  const float fcx = static_cast<float>(cx);
  const float fcy = static_cast<float>(cy);
  for (int64_t y = static_cast<int64_t>(yFirst); y <= static_cast<int64_t>(yLast); ++y) {
    const float v = (static_cast<float>(y) - fcy) / radius;
    for (int64_t x = static_cast<int64_t>(xFirst); x <= static_cast<int64_t>(xLast); ++x) {
      const float u = (static_cast<float>(x) - fcx) / radius;
      if (u * u + v * v <= 1.0f) {
        image.Data[(x - image.ColBegin) + (y - image.RowBegin) * image.ColSize] = 0.0f;
      }
    }
  }
}

void RfaMaskOutside(ZrFloatMatrix& image, double cx, double cy, double rx, double ry) {
  const float radiusX = (2.0f * static_cast<float>(rx) + 1.0f) * 0.5f;
  const float radiusY = (2.0f * static_cast<float>(ry) + 1.0f) * 0.5f;
  if (radiusX <= 0.0f || radiusY <= 0.0f) return;
  const double rx2 = static_cast<double>(radiusX) * radiusX;
  const double ry2 = static_cast<double>(radiusY) * radiusY;
  const float fcx = static_cast<float>(cx);
  const float fcy = static_cast<float>(cy);
  const int64_t rowEnd = static_cast<int64_t>(image.RowBegin) + image.RowSize;
  for (int64_t y = image.RowBegin; y < rowEnd; ++y) {
    const double dy = static_cast<float>(y) - fcy;
    // The column loop is bounded by the row extent on purpose (see the header).
    for (int64_t x = image.ColBegin; x < rowEnd; ++x) {
      const double dx = static_cast<float>(x) - fcx;
      if (dx * dx / rx2 + dy * dy / ry2 > 1.0) {
        image(static_cast<int32_t>(x), static_cast<int32_t>(y)) = 0.0f;
      }
    }
  }
}
