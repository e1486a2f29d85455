#include "viewer/ZrViewerImage.h"

#include <algorithm>
#include <cmath>
#include <limits>

ZrDisplayRange ZrViewerAutoRange(const ZrFloatMatrix& image) {
  float lo = std::numeric_limits<float>::infinity();
  float hi = -std::numeric_limits<float>::infinity();
  for (int64_t i = 0; i < image.Count(); ++i) {
    const float v = image.Data[i];
    if (!std::isfinite(v)) continue;
    lo = std::min(lo, v);
    hi = std::max(hi, v);
  }
  if (lo > hi) return {0.0f, 1.0f};
  if (lo == hi) return {lo, lo + 1.0f};
  return {lo, hi};
}

QImage ZrViewerRender(const ZrFloatMatrix& image, float lo, float hi) {
  QImage picture(image.ColSize, image.RowSize, QImage::Format_Grayscale8);
  const double span = static_cast<double>(hi) - lo;
  for (int32_t row = 0; row < image.RowSize; ++row) {
    uchar* line = picture.scanLine(row);
    const float* source = image.Data + static_cast<int64_t>(row) * image.ColSize;
    for (int32_t col = 0; col < image.ColSize; ++col) {
      const float v = source[col];
      uchar grey = 0;
      if (std::isnan(v) || v <= lo) {
        grey = 0;
      } else if (v >= hi || span <= 0) {
        grey = 255;
      } else {
        grey = static_cast<uchar>(std::lround((v - lo) / span * 255.0));
      }
      line[col] = grey;
    }
  }
  return picture;
}

QString ZrViewerCursorText(const ZrFloatMatrix& image, int32_t x, int32_t y) {
  if (x < image.ColBegin || x >= image.ColBegin + image.ColSize || y < image.RowBegin ||
      y >= image.RowBegin + image.RowSize) {
    return QString();
  }
  return QString("x=%1  y=%2  value=%3")
      .arg(x)
      .arg(y)
      .arg(static_cast<double>(image(x, y)), 0, 'g', 7);
}

std::vector<QPointF> ZrViewerRadialProfile(const ZrFloatMatrix& image, double cx, double cy,
                                           bool skipZeros) {
  std::vector<double> sum;
  std::vector<int64_t> count;
  for (int32_t y = image.RowBegin; y < image.RowBegin + image.RowSize; ++y) {
    for (int32_t x = image.ColBegin; x < image.ColBegin + image.ColSize; ++x) {
      const float v = image(x, y);
      if (!std::isfinite(v) || (skipZeros && v == 0.0f)) continue;
      const double d = std::hypot(x - cx, y - cy);
      const size_t ring = static_cast<size_t>(std::floor(d + 0.5));
      if (ring >= sum.size()) {
        sum.resize(ring + 1, 0.0);
        count.resize(ring + 1, 0);
      }
      sum[ring] += v;
      ++count[ring];
    }
  }
  std::vector<QPointF> profile;
  for (size_t r = 0; r < sum.size(); ++r) {
    if (count[r] > 0) profile.emplace_back(static_cast<double>(r), sum[r] / count[r]);
  }
  return profile;
}
