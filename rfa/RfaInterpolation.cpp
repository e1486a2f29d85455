// Resampling of images at fractional pixel positions.
#include "rfa/RfaInterpolation.h"

#include <algorithm>
#include <cmath>

#include "rfa/RfaImageOps.h"

namespace {

// Beyond this many periods the geometric sums of the prefilter add nothing to a double.
constexpr int64_t kPrefilterHorizon = 40;

bool IsHole(float v, bool zeroIsHole) {
  return zeroIsHole ? RfaIsHole(v) : !std::isfinite(v);
}

int64_t Wrap(int64_t i, int64_t n) {
  const int64_t r = i % n;
  return r < 0 ? r + n : r;
}

// The image as doubles with its holes set to 0, and where the holes are.
void Split(const ZrFloatMatrix& image, bool zeroIsHole, std::vector<double>& values,
           std::vector<char>& hole) {
  const size_t n = static_cast<size_t>(image.Count());
  values.assign(n, 0.0);
  hole.assign(n, 0);
  for (size_t i = 0; i < n; ++i) {
    if (IsHole(image.Data[i], zeroIsHole)) {
      hole[i] = 1;
    } else {
      values[i] = image.Data[i];
    }
  }
}

void Prefilter2D(std::vector<double>& values, int64_t cols, int64_t rows) {
  for (int64_t y = 0; y < rows; ++y) RfaBSplinePrefilter(values.data() + y * cols, cols, 1);
  for (int64_t x = 0; x < cols; ++x) RfaBSplinePrefilter(values.data() + x, rows, cols);
}

// One axis of the shift: out[i] = sum over k of w[k] in[i + m - 1 + k] (cyclic), a hole where a
// tap of non-zero weight reads one. n lines of `length` samples; `step` between the samples of
// a line, `next` between lines.
void ShiftAxis(const std::vector<double>& in, const std::vector<char>& holeIn,
               std::vector<double>& out, std::vector<char>& holeOut, int64_t length, int64_t lines,
               int64_t step, int64_t next, int64_t m, const double w[4]) {
  out.assign(in.size(), 0.0);
  holeOut.assign(in.size(), 0);
  for (int64_t line = 0; line < lines; ++line) {
    const int64_t base = line * next;
    for (int64_t i = 0; i < length; ++i) {
      double sum = 0.0;
      char hole = 0;
      for (int k = 0; k < 4; ++k) {
        if (w[k] == 0.0) continue;
        const int64_t at = base + Wrap(i + m - 1 + k, length) * step;
        sum += w[k] * in[static_cast<size_t>(at)];
        hole |= holeIn[static_cast<size_t>(at)];
      }
      out[static_cast<size_t>(base + i * step)] = sum;
      holeOut[static_cast<size_t>(base + i * step)] = hole;
    }
  }
}

}  // namespace

const char* RfaInterpolationName(RfaInterpolation kind) {
  switch (kind) {
    case RfaInterpolation::Linear:
      return "linear";
    case RfaInterpolation::Keys:
      return "keys";
    case RfaInterpolation::BSpline:
      return "bspline";
  }
  return "";
}

void RfaInterpolationWeights(RfaInterpolation kind, double t, double w[4]) {
  switch (kind) {
    case RfaInterpolation::Linear:
      w[0] = 0.0;
      w[1] = 1.0 - t;
      w[2] = t;
      w[3] = 0.0;
      return;
    case RfaInterpolation::Keys:
      w[0] = ((-0.5 * t + 1.0) * t - 0.5) * t;
      w[1] = (1.5 * t - 2.5) * t * t + 1.0;
      w[2] = ((-1.5 * t + 2.0) * t + 0.5) * t;
      w[3] = (0.5 * t - 0.5) * t * t;
      return;
    case RfaInterpolation::BSpline: {
      const double u = 1.0 - t;
      w[0] = u * u * u / 6.0;
      w[1] = ((3.0 * t - 6.0) * t * t + 4.0) / 6.0;
      w[2] = (((-3.0 * t + 3.0) * t + 3.0) * t + 1.0) / 6.0;
      w[3] = t * t * t / 6.0;
      return;
    }
  }
}

void RfaBSplinePrefilter(double* line, int64_t n, int64_t stride) {
  if (n < 2) return;  // a single sample is its own coefficient
  // The inverse of the sampled B-spline (1, 4, 1) / 6 as a causal and an anti-causal
  // first-order recursion with pole z, started from the periodic extension.
  const double z = std::sqrt(3.0) - 2.0;
  auto at = [&](int64_t i) -> double& { return line[Wrap(i, n) * stride]; };
  const int64_t terms = std::min(n, kPrefilterHorizon);
  const double period =
      n <= kPrefilterHorizon ? 1.0 / (1.0 - std::pow(z, static_cast<double>(n))) : 1.0;
  for (int64_t i = 0; i < n; ++i) at(i) *= 6.0;
  double sum = 0.0;
  double power = 1.0;
  for (int64_t i = 0; i < terms; ++i, power *= z) sum += power * at(-i);
  const double first = sum * period;
  at(0) = first;
  for (int64_t i = 1; i < n; ++i) at(i) += z * at(i - 1);
  sum = 0.0;
  power = 1.0;
  for (int64_t i = 0; i < terms; ++i, power *= z) sum += power * at(n - 1 + i);
  at(n - 1) = -z * period * sum;
  for (int64_t i = n - 2; i >= 0; --i) at(i) = z * (at(i + 1) - at(i));
}

RfaResampler::RfaResampler(const ZrFloatMatrix& image, RfaInterpolation kind, RfaEdge edge,
                           bool zeroIsHole)
    : cols_(image.ColSize),
      rows_(image.RowSize),
      colBegin_(image.ColBegin),
      rowBegin_(image.RowBegin),
      kind_(kind),
      edge_(edge) {
  Split(image, zeroIsHole, values_, hole_);
  if (kind_ == RfaInterpolation::BSpline) Prefilter2D(values_, cols_, rows_);
}

float RfaResampler::At(double x, double y) const {
  if (cols_ <= 0 || rows_ <= 0 || !std::isfinite(x) || !std::isfinite(y)) return 0.0f;
  double px = x - colBegin_;
  double py = y - rowBegin_;
  if (edge_ == RfaEdge::Wrap) {
    px = std::fmod(px, static_cast<double>(cols_));
    py = std::fmod(py, static_cast<double>(rows_));
  } else if (px < -2.0 || py < -2.0 || px > cols_ + 1.0 || py > rows_ + 1.0) {
    return 0.0f;
  }
  const double fx = std::floor(px);
  const double fy = std::floor(py);
  double wx[4];
  double wy[4];
  RfaInterpolationWeights(kind_, px - fx, wx);
  RfaInterpolationWeights(kind_, py - fy, wy);
  const int64_t ix = static_cast<int64_t>(fx) - 1;
  const int64_t iy = static_cast<int64_t>(fy) - 1;
  double sum = 0.0;
  for (int j = 0; j < 4; ++j) {
    if (wy[j] == 0.0) continue;
    int64_t row = iy + j;
    if (row < 0 || row >= rows_) {
      if (edge_ == RfaEdge::Outside) return 0.0f;
      row = Wrap(row, rows_);
    }
    double line = 0.0;
    for (int k = 0; k < 4; ++k) {
      if (wx[k] == 0.0) continue;
      int64_t col = ix + k;
      if (col < 0 || col >= cols_) {
        if (edge_ == RfaEdge::Outside) return 0.0f;
        col = Wrap(col, cols_);
      }
      const size_t at = static_cast<size_t>(row * cols_ + col);
      if (hole_[at] != 0) return 0.0f;
      line += wx[k] * values_[at];
    }
    sum += wy[j] * line;
  }
  return static_cast<float>(sum);
}

ZrFloatMatrix RfaShiftImage(const ZrFloatMatrix& image, double dx, double dy,
                            RfaInterpolation kind) {
  if (!std::isfinite(dx) || !std::isfinite(dy)) {
    throw ZrError("Sub-pixel shift: the shift is not a finite number");
  }
  ZrFloatMatrix result;
  result.SetBegin(image.ColBegin, image.RowBegin);
  result.Resize(image.ColSize, image.RowSize);
  if (image.Count() == 0) return ZrReturnFast(result);
  const int64_t cols = image.ColSize;
  const int64_t rows = image.RowSize;
  std::vector<double> values;
  std::vector<char> hole;
  Split(image, false, values, hole);
  if (kind == RfaInterpolation::BSpline) Prefilter2D(values, cols, rows);
  // result(x) = image(x - d): the samples from floor(-d) - 1 on, at t = -d - floor(-d); the
  // shift reduced by whole periods first, so that huge shifts stay exact integers.
  auto split = [](double d, int64_t n, int64_t& m, double w[4], RfaInterpolation k) {
    const double reduced = std::fmod(-d, static_cast<double>(n));
    const double whole = std::floor(reduced);
    m = static_cast<int64_t>(whole);
    RfaInterpolationWeights(k, reduced - whole, w);
  };
  int64_t mx = 0;
  int64_t my = 0;
  double wx[4];
  double wy[4];
  split(dx, cols, mx, wx, kind);
  split(dy, rows, my, wy, kind);
  std::vector<double> along;
  std::vector<char> alongHole;
  ShiftAxis(values, hole, along, alongHole, cols, rows, 1, cols, mx, wx);
  ShiftAxis(along, alongHole, values, hole, rows, cols, cols, 1, my, wy);
  for (int64_t i = 0; i < image.Count(); ++i) {
    result.Data[i] = hole[static_cast<size_t>(i)] != 0
                         ? 0.0f
                         : static_cast<float>(values[static_cast<size_t>(i)]);
  }
  return ZrReturnFast(result);
}

void RfaMoveToCenterSubpixel(ZrFloatMatrix& image, double sx, double sy, RfaInterpolation kind) {
  if (!std::isfinite(sx) || !std::isfinite(sy)) {
    throw ZrError("Move to center: screen centre is not a finite number");
  }
  const double dx = static_cast<double>(image.ColSize / 2) - sx;
  const double dy = static_cast<double>(image.RowSize / 2) - sy;
  image = RfaShiftImage(image, dx, dy, kind);
}
