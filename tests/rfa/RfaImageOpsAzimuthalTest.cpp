// The azimuthal-average background against a brute-force radial profile.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "rfa/RfaImageOps.h"
#include "tests/common/ZrTestUtil.h"

namespace {

// Random pixels in 1 .. 100 with about a fifth of them holes (zero), and one NaN pixel.
ZrFloatMatrix RandomImageWithHoles(int32_t cols, int32_t rows, int32_t colBegin, int32_t rowBegin,
                                   uint32_t seed) {
  ZrFloatMatrix m(cols, rows);
  m.SetBegin(colBegin, rowBegin);
  std::mt19937 engine(seed);
  for (int64_t i = 0; i < m.Count(); ++i) {
    const uint32_t bits = engine();
    m.Data[i] = bits % 5 == 0 ? 0.0f : 1.0f + static_cast<float>(bits % 9901) / 100.0f;
  }
  m.Data[m.Count() / 3] = std::numeric_limits<float>::quiet_NaN();
  return m;
}

// Brute force: every ring's mean over its non-zero, non-NaN pixels, ring k holding the pixels
// at distances in [k, k + 1) x step; empty rings interpolated between the nearest filled ones
// on each side (or copied from the one filled side). Ring k stands at radius (k + 0.5) x step.
std::vector<double> BruteForceRingMeans(const ZrFloatMatrix& image, double cx, double cy,
                                        double step) {
  std::vector<double> sum, count;
  for (int32_t y = image.RowBegin; y < image.RowBegin + image.RowSize; ++y) {
    for (int32_t x = image.ColBegin; x < image.ColBegin + image.ColSize; ++x) {
      const size_t k = static_cast<size_t>(std::floor(std::hypot(x - cx, y - cy) / step));
      if (k >= sum.size()) {
        sum.resize(k + 1, 0.0);
        count.resize(k + 1, 0.0);
      }
      const float v = image(x, y);
      if (v == 0.0f || std::isnan(v)) continue;
      sum[k] += v;
      count[k] += 1;
    }
  }
  const auto mean = [&](size_t k) { return sum[k] / count[k]; };
  std::vector<double> result(sum.size(), 0.0);
  for (size_t k = 0; k < sum.size(); ++k) {
    if (count[k] > 0) {
      result[k] = mean(k);
      continue;
    }
    size_t below = k, above = k + 1;
    while (below > 0 && count[below - 1] == 0) --below;  // below - 1: nearest filled below
    while (above < sum.size() && count[above] == 0) ++above;
    const bool hasBelow = below > 0, hasAbove = above < sum.size();
    if (hasBelow && hasAbove) {
      const double f =
          static_cast<double>(k - (below - 1)) / static_cast<double>(above - (below - 1));
      result[k] = mean(below - 1) * (1.0 - f) + mean(above) * f;
    } else if (hasBelow || hasAbove) {
      result[k] = hasBelow ? mean(below - 1) : mean(above);
    }  // no data at all: zeros
  }
  return result;
}

double ReadProfile(const std::vector<double>& ring, double radius, double step) {
  const double t = radius / step - 0.5;
  if (t <= 0.0) return ring.front();
  const size_t i = static_cast<size_t>(std::floor(t));
  if (i + 1 >= ring.size()) return ring.back();
  const double f = t - static_cast<double>(i);
  return ring[i] * (1.0 - f) + ring[i + 1] * f;
}

struct AzimuthalCase {
  const char* name;
  int32_t cols, rows, colBegin, rowBegin;
  float cx, cy, step;
  uint32_t seed;
};

class RfaAzimuthalBackgroundBruteForce : public testing::TestWithParam<AzimuthalCase> {};

TEST_P(RfaAzimuthalBackgroundBruteForce, MatchesIndependentProfile) {
  const AzimuthalCase& c = GetParam();
  const ZrFloatMatrix image = RandomImageWithHoles(c.cols, c.rows, c.colBegin, c.rowBegin, c.seed);
  const ZrFloatMatrix bg = RfaAzimuthalAverageBackground(image, c.cx, c.cy, c.step);
  ASSERT_EQ(bg.ColSize, c.cols);
  ASSERT_EQ(bg.RowSize, c.rows);
  EXPECT_EQ(bg.ColBegin, c.colBegin);
  EXPECT_EQ(bg.RowBegin, c.rowBegin);
  const std::vector<double> ring = BruteForceRingMeans(image, c.cx, c.cy, c.step);
  for (int32_t y = c.rowBegin; y < c.rowBegin + c.rows; ++y) {
    for (int32_t x = c.colBegin; x < c.colBegin + c.cols; ++x) {
      const double expected = ReadProfile(ring, std::hypot(x - c.cx, y - c.cy), c.step);
      ASSERT_NEAR(bg(x, y), expected, 1e-5 * std::abs(expected)) << "(" << x << "," << y << ")";
    }
  }
}

const AzimuthalCase kAzimuthalCases[] = {
    {"CentreInside", 23, 17, 0, 0, 11.0f, 8.0f, 1.0f, 1},
    {"FractionalCentre", 23, 17, 0, 0, 9.3f, 10.6f, 1.0f, 2},
    {"Begins", 23, 17, -4, 7, 3.5f, 14.25f, 1.0f, 3},
    {"NarrowRings", 19, 21, 0, 0, 9.0f, 10.0f, 0.7f, 4},
    {"WideRings", 19, 21, 2, -3, 6.0f, 4.0f, 2.5f, 5},
    {"CentreOutsideImage", 15, 12, 0, 0, -30.0f, 40.5f, 1.0f, 6},
    {"SingleRow", 31, 1, 0, 0, 15.0f, 0.0f, 1.0f, 7},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaAzimuthalBackgroundBruteForce,
                         testing::ValuesIn(kAzimuthalCases), ZrCaseName());

TEST(RfaAzimuthalBackground, HolesReceiveTheValueOfTheirRadius) {
  // A constant image punched with holes: the background is the constant everywhere.
  ZrFloatMatrix image(40, 30);
  image.Fill(7.5f);
  for (int32_t y = 10; y < 20; ++y) {
    for (int32_t x = 0; x < 40; x += 3) image(x, y) = 0.0f;
  }
  for (int32_t x = 0; x < 40; ++x) image(x, 0) = 0.0f;
  const ZrFloatMatrix bg = RfaAzimuthalAverageBackground(image, 20.0f, 15.0f);
  for (int64_t i = 0; i < bg.Count(); ++i) ASSERT_FLOAT_EQ(bg.Data[i], 7.5f) << i;
}

TEST(RfaAzimuthalBackground, RadialImageIsReproduced) {
  // f(r) = 100 + 2 r: ring means sit slightly off the ring middles (most where the image edge
  // cuts a ring), so allow a quarter pixel of radius, 0.5.
  ZrFloatMatrix image(64, 64);
  for (int32_t y = 0; y < 64; ++y) {
    for (int32_t x = 0; x < 64; ++x) {
      image(x, y) = static_cast<float>(100.0 + 2.0 * std::hypot(x - 30.5, y - 33.0));
    }
  }
  const ZrFloatMatrix bg = RfaAzimuthalAverageBackground(image, 30.5f, 33.0f);
  for (int32_t y = 0; y < 64; ++y) {
    for (int32_t x = 0; x < 64; ++x) {
      if (std::hypot(x - 30.5, y - 33.0) < 3.0) continue;  // the innermost rings hold few pixels
      ASSERT_NEAR(bg(x, y), image(x, y), 0.5) << "(" << x << "," << y << ")";
    }
  }
}

TEST(RfaAzimuthalBackground, ImageWithoutDataGivesZeroBackground) {
  ZrFloatMatrix image(5, 4);
  image.SetBegin(1, 2);
  image.Fill(0.0f);
  const ZrFloatMatrix bg = RfaAzimuthalAverageBackground(image, 2.0f, 3.0f);
  ASSERT_EQ(bg.Count(), 20);
  EXPECT_EQ(bg.ColBegin, 1);
  EXPECT_EQ(bg.RowBegin, 2);
  for (int64_t i = 0; i < bg.Count(); ++i) EXPECT_EQ(bg.Data[i], 0.0f);
  EXPECT_TRUE(RfaAzimuthalAverageBackground(ZrFloatMatrix(), 0.0f, 0.0f).IsEmpty());
}

TEST(RfaAzimuthalBackground, RefusesBadStepAndCentre) {
  ZrFloatMatrix image(4, 4);
  image.Fill(1.0f);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const char* badStep = "Azimuthal average: step must be a positive number";
  EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, 2.0f, 2.0f, 0.0f), badStep);
  EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, 2.0f, 2.0f, -1.0f), badStep);
  EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, 2.0f, 2.0f, nan), badStep);
  EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, nan, 2.0f),
                  "Azimuthal average: centre is not a finite number");
  EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, 2.0f, INFINITY),
                  "Azimuthal average: centre is not a finite number");
  EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, 2.0f, 2.0f, 1e-9f),
                  "Azimuthal average: too many radial rings");
}

}  // namespace
