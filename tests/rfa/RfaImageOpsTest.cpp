// The pure image operations of the RFA chain: roll, division, masks, and the azimuthal-average
// background against a brute-force radial profile.
#include "rfa/RfaImageOps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

ZrFloatMatrix Numbered(int32_t cols, int32_t rows, int32_t colBegin = 0, int32_t rowBegin = 0) {
  ZrFloatMatrix m(cols, rows);
  m.SetBegin(colBegin, rowBegin);
  for (int64_t i = 0; i < m.Count(); ++i) m.Data[i] = static_cast<float>(i + 1);
  return m;
}

struct RollCase {
  const char* Name;
  int32_t Cols, Rows, ColBegin, RowBegin;
  double Sx, Sy;
  int32_t Dx, Dy;  // the expected roll, worked out by hand from trunc(size / 2 - centre)
};

class RfaMoveToCenterRoll : public testing::TestWithParam<RollCase> {};

TEST_P(RfaMoveToCenterRoll, RollsCyclicallyKeepingShape) {
  const RollCase& c = GetParam();
  const ZrFloatMatrix source = Numbered(c.Cols, c.Rows, c.ColBegin, c.RowBegin);
  ZrFloatMatrix image = source, expected = source;
  RfaMoveToCenter(image, c.Sx, c.Sy);
  for (int32_t y = 0; y < c.Rows; ++y) {
    for (int32_t x = 0; x < c.Cols; ++x) {
      expected(c.ColBegin + ((x + c.Dx) % c.Cols + c.Cols) % c.Cols,
               c.RowBegin + ((y + c.Dy) % c.Rows + c.Rows) % c.Rows) =
          source(c.ColBegin + x, c.RowBegin + y);
    }
  }
  EXPECT_TRUE(ZrSameBits(image, expected));
}

const RollCase kRollCases[] = {
    {"Unmoved", 8, 6, 0, 0, 4.0, 3.0, 0, 0},
    {"RightDown", 8, 6, 0, 0, 2.7, 1.2, 1, 1},
    {"LeftUpTruncatesTowardZero", 8, 6, 0, 0, 5.9, 4.99, -1, -1},
    {"OddSizesDivideDown", 7, 5, 0, 0, 1.0, 0.0, 2, 2},
    {"WrapsBeyondTheExtent", 8, 6, 0, 0, -20.5, 30.0, 24, -27},
    {"BeginsPlayNoPart", 8, 6, -3, 10, 2.0, 1.0, 2, 2},
    {"SingleColumn", 1, 5, 0, 0, 7.0, 0.5, -7, 1},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaMoveToCenterRoll, testing::ValuesIn(kRollCases), ZrCaseName());

TEST(RfaMoveToCenter, RefusesNonFiniteCentreAndIgnoresEmptyImage) {
  ZrFloatMatrix image = Numbered(4, 4);
  for (const auto& [sx, sy] : {std::pair{NAN, 1.0}, {1.0, INFINITY}}) {
    EXPECT_ZR_ERROR(RfaMoveToCenter(image, sx, sy),
                    "Move to center: screen centre is not a finite number");
  }
  ZrFloatMatrix empty;
  RfaMoveToCenter(empty, 3.0, 3.0);
  EXPECT_TRUE(empty.IsEmpty());
}

// Numbered pixels 1 .. 6 over a background with zeros of both signs; a background of another
// shape is refused, the size checked first.
TEST(RfaDivideByBackground, DividesAndGivesZeroWhereBackgroundIsZero) {
  const ZrFloatMatrix image = Numbered(3, 2, 2, -1);
  ZrFloatMatrix background = image, expected = image;
  const float bg[] = {2.0f, 4.0f, 0.0f, 0.0f, -0.0f, 0.5f};
  const float quotient[] = {0.5f, 0.5f, 0.0f, 0.0f, 0.0f, 12.0f};
  std::copy(bg, bg + 6, background.Data);
  std::copy(quotient, quotient + 6, expected.Data);
  EXPECT_TRUE(ZrSameBits(RfaDivideByBackground(image, background), expected));
  const struct {
    int32_t Cols, Rows, ColBegin, RowBegin;
    const char* Message;
  } cases[] = {
      {3, 3, 2, -1, "ColSize or RowSize is different"},
      {2, 3, 2, -1, "ColSize or RowSize is different"},  // transposed
      {3, 2, 0, -1, "ColBegin is different"},
      {3, 2, 2, 0, "RowBegin is different"},
      {4, 2, 0, 0, "ColSize or RowSize is different"},  // the size is checked first
  };
  for (const auto& c : cases) {
    EXPECT_ZR_ERROR(RfaDivideByBackground(image, Numbered(c.Cols, c.Rows, c.ColBegin, c.RowBegin)),
                    c.Message)
        << c.Cols << " x " << c.Rows << " at " << c.ColBegin << "," << c.RowBegin;
  }
}

struct MaskCase {
  const char* Name;
  bool Dip;  // RfaMaskMcpDip(cx, cy, rx), else RfaMaskOutside(cx, cy, rx, ry)
  int32_t Cols, Rows, ColBegin, RowBegin;
  double Cx, Cy, Rx, Ry;
};

class RfaMask : public testing::TestWithParam<MaskCase> {};

// Independent check. The dip: a pixel is cleared exactly when its distance from the centre is
// at most r + 0.5 > 0 (and every parameter is finite). Outside: columns within the row extent
// are cleared outside the ellipse of radii r + 0.5, columns beyond it are left alone, radii of
// -0.5 or less switch the mask off. The cases avoid distances within float rounding of a limit.
TEST_P(RfaMask, ClearsExactlyItsPixels) {
  const MaskCase& c = GetParam();
  ZrFloatMatrix image = Numbered(c.Cols, c.Rows, c.ColBegin, c.RowBegin);
  const ZrFloatMatrix source = image;
  if (c.Dip) {
    RfaMaskMcpDip(image, c.Cx, c.Cy, c.Rx);
  } else {
    RfaMaskOutside(image, c.Cx, c.Cy, c.Rx, c.Ry);
  }
  const double ax = c.Rx + 0.5, ay = c.Ry + 0.5;
  for (int32_t y = c.RowBegin; y < c.RowBegin + c.Rows; ++y) {
    for (int32_t x = c.ColBegin; x < c.ColBegin + c.Cols; ++x) {
      const double e = (x - c.Cx) * (x - c.Cx) / (ax * ax) + (y - c.Cy) * (y - c.Cy) / (ay * ay);
      // A dip radius of exactly 0 divides 0 by 0 at the centre: nothing is inside.
      const bool cleared = c.Dip ? std::isfinite(c.Cx + c.Cy + c.Rx) && ax > 0 &&
                                       std::hypot(x - c.Cx, y - c.Cy) <= ax + 1e-9
                                 : ax > 0 && ay > 0 && x < c.RowBegin + c.Rows && e > 1.0;
      EXPECT_EQ(image(x, y), cleared ? 0.0f : source(x, y)) << "(" << x << "," << y << ")";
    }
  }
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

const MaskCase kMaskCases[] = {
    {"DipRadiusZeroClearsCentrePixel", true, 12, 10, 0, 0, 5.0, 4.0, 0.0, 0},
    {"DipRadiusZeroBetweenTwoPixels", true, 12, 10, 0, 0, 5.5, 4.0, 0.0, 0},
    {"DipFractionalCentre", true, 12, 10, 0, 0, 6.4, 4.7, 2.5, 0},
    {"DipCrossesTopLeftCorner", true, 12, 10, 0, 0, 0.5, -1.0, 3.0, 0},
    {"DipCentreOutsideImage", true, 12, 10, 0, 0, 14.0, 5.0, 3.0, 0},
    {"DipFarOutside", true, 12, 10, 0, 0, -50.0, 300.0, 4.0, 0},
    {"DipNegativeBegins", true, 12, 10, -6, -3, -1.0, 1.0, 2.0, 0},
    {"DipNegativeRadiusClearsNothing", true, 12, 10, 0, 0, 5.0, 4.0, -1.0, 0},
    {"DipRadiusMinusHalfClearsNothing", true, 12, 10, 0, 0, 5.0, 4.0, -0.5, 0},
    {"DipCoversEverything", true, 12, 10, 2, 1, 8.0, 6.0, 100.0, 0},
    {"DipNaNCentreClearsNothing", true, 6, 6, 0, 0, kNaN, 3.0, 2.0, 0},
    {"DipInfiniteRadiusClearsNothing", true, 6, 6, 0, 0, 3.0, 3.0, kInf, 0},
    {"DipNaNRadiusClearsNothing", true, 6, 6, 0, 0, 3.0, 3.0, kNaN, 0},
    {"OutsideCircle", false, 11, 11, 0, 0, 5.0, 5.0, 3.0, 3.0},
    {"OutsideEllipse", false, 12, 12, 0, 0, 6.5, 5.0, 4.0, 2.0},
    {"OutsideRadiusXZeroKeepsCentreColumn", false, 9, 9, 0, 0, 4.0, 4.0, 0.0, 10.0},
    {"OutsideRadiusXMinusHalfIsOff", false, 9, 9, 0, 0, 4.0, 4.0, -0.5, 3.0},
    {"OutsideRadiusYNegativeIsOff", false, 9, 9, 0, 0, 4.0, 4.0, 3.0, -2.0},
    {"OutsideWideImageKeepsColumnsBeyondRowExtent", false, 14, 8, 0, 0, 4.0, 4.0, 2.0, 2.0},
    {"OutsideEqualBeginsSquare", false, 8, 8, 3, 3, 7.0, 7.0, 2.0, 3.0},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaMask, testing::ValuesIn(kMaskCases), ZrCaseName());

// On a tall image the column loop runs past the matrix: the first column beyond it that lies
// outside the ellipse raises the range error; columns beyond it inside the ellipse do not.
TEST(RfaMaskOutside, TallImageFailsAtTheFirstClearedColumnBeyondTheMatrix) {
  ZrFloatMatrix image = Numbered(4, 6);
  RfaMaskOutside(image, 2.0, 2.5, 50.0, 50.0);
  EXPECT_EQ(image(3, 5), 24.0f);
  EXPECT_ZR_ERROR(RfaMaskOutside(image, 1.0, 1.0, 0.0, 0.0),
                  "Matrix over range. access=(4,0) size=(4,6) begin=(0,0)FastReturn=false");
  // Row 0 lies wholly outside the ellipse and was cleared up to the failing column; the rows
  // after it were never reached.
  for (int32_t x = 0; x < 4; ++x) EXPECT_EQ(image(x, 0), 0.0f) << x;
  EXPECT_EQ(image(1, 1), 6.0f);
}

struct AzimuthalCase {
  const char* Name;
  int32_t Cols, Rows, ColBegin, RowBegin;
  float Cx, Cy, Step;
  uint32_t Seed;
  double HoleFrom, HoleTo;  // every pixel at a distance in [holeFrom, holeTo) is a hole
};

// Random pixels in 1 .. 100 with about a fifth of them holes (zero), a NaN and an infinite
// pixel, and the case's band of holes about the centre, which empties whole rings.
ZrFloatMatrix RandomImageWithHoles(const AzimuthalCase& c) {
  ZrFloatMatrix m(c.Cols, c.Rows);
  m.SetBegin(c.ColBegin, c.RowBegin);
  std::mt19937 engine(c.Seed);
  for (int64_t i = 0; i < m.Count(); ++i) {
    const uint32_t bits = engine();
    m.Data[i] = bits % 5 == 0 ? 0.0f : 1.0f + static_cast<float>(bits % 9901) / 100.0f;
  }
  m.Data[m.Count() / 3] = std::numeric_limits<float>::quiet_NaN();
  m.Data[m.Count() / 2] = -std::numeric_limits<float>::infinity();
  for (int32_t y = c.RowBegin; y < c.RowBegin + c.Rows; ++y) {
    for (int32_t x = c.ColBegin; x < c.ColBegin + c.Cols; ++x) {
      const double d = std::hypot(x - c.Cx, y - c.Cy);
      if (d >= c.HoleFrom && d < c.HoleTo) m(x, y) = 0.0f;
    }
  }
  return m;
}

// Brute force: the nodes (mean distance, statistic) of the rings that hold finite non-zero
// pixels, ring k holding the distances [k, k + 1) x step, read linearly between the nodes
// around a distance and constant beyond the outer ones; 0 without any node.
double BruteForceProfile(const ZrFloatMatrix& image, double cx, double cy, double step,
                         RfaRingStatistic statistic, double radius) {
  std::map<int64_t, std::pair<double, std::vector<double>>> rings;  // distance sum, values
  for (int32_t y = image.RowBegin; y < image.RowBegin + image.RowSize; ++y) {
    for (int32_t x = image.ColBegin; x < image.ColBegin + image.ColSize; ++x) {
      const float v = image(x, y);
      if (v == 0.0f || !std::isfinite(v)) continue;
      const double d = std::hypot(x - cx, y - cy);
      auto& ring = rings[static_cast<int64_t>(std::floor(d / step))];
      ring.first += d;
      ring.second.push_back(v);
    }
  }
  std::vector<std::pair<double, double>> nodes;
  for (auto& [k, ring] : rings) {
    std::vector<double>& v = ring.second;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    const double median = n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
    double mean = 0;
    for (double value : v) mean += value / static_cast<double>(n);
    nodes.emplace_back(ring.first / static_cast<double>(n),
                       statistic == RfaRingStatistic::Median ? median : mean);
  }
  if (nodes.empty()) return 0.0;
  if (radius <= nodes.front().first) return nodes.front().second;
  for (size_t i = 1; i < nodes.size(); ++i) {
    const auto& [r0, v0] = nodes[i - 1];
    const auto& [r1, v1] = nodes[i];
    if (radius <= r1) return v0 + (v1 - v0) * (radius - r0) / (r1 - r0);
  }
  return nodes.back().second;
}

class RfaAzimuthalBackgroundBruteForce : public testing::TestWithParam<AzimuthalCase> {};

TEST_P(RfaAzimuthalBackgroundBruteForce, MatchesIndependentProfile) {
  const AzimuthalCase& c = GetParam();
  const ZrFloatMatrix image = RandomImageWithHoles(c);
  for (const RfaRingStatistic statistic : {RfaRingStatistic::Median, RfaRingStatistic::Mean}) {
    const ZrFloatMatrix bg = RfaAzimuthalAverageBackground(image, c.Cx, c.Cy, c.Step, statistic);
    ASSERT_EQ(std::tie(bg.ColSize, bg.RowSize, bg.ColBegin, bg.RowBegin),
              std::tie(c.Cols, c.Rows, c.ColBegin, c.RowBegin));
    for (int32_t y = c.RowBegin; y < c.RowBegin + c.Rows; ++y) {
      for (int32_t x = c.ColBegin; x < c.ColBegin + c.Cols; ++x) {
        const double expected =
            BruteForceProfile(image, c.Cx, c.Cy, c.Step, statistic, std::hypot(x - c.Cx, y - c.Cy));
        ASSERT_NEAR(bg(x, y), expected, 1e-5 * std::abs(expected))
            << "(" << x << "," << y << ") median " << (statistic == RfaRingStatistic::Median);
      }
    }
    // On three threads: the same bits.
    EXPECT_TRUE(
        ZrSameBits(RfaAzimuthalAverageBackground(image, c.Cx, c.Cy, c.Step, statistic, 3), bg));
  }
}

const AzimuthalCase kAzimuthalCases[] = {
    {"CentreInside", 23, 17, 0, 0, 11.0f, 8.0f, 1.0f, 1, 0, 0},
    {"FractionalCentre", 23, 17, 0, 0, 9.3f, 10.6f, 1.0f, 2, 0, 0},
    {"Begins", 23, 17, -4, 7, 3.5f, 14.25f, 1.0f, 3, 0, 0},
    {"NarrowRings", 19, 21, 0, 0, 9.0f, 10.0f, 0.7f, 4, 0, 0},
    {"WideRings", 19, 21, 2, -3, 6.0f, 4.0f, 2.5f, 5, 0, 0},
    {"CentreOutsideImage", 15, 12, 0, 0, -30.0f, 40.5f, 1.0f, 6, 0, 0},
    {"SingleRow", 31, 1, 0, 0, 15.0f, 0.0f, 1.0f, 7, 0, 0},
    {"EmptyRingsInterpolated", 23, 17, 0, 0, 11.0f, 8.0f, 1.0f, 8, 3.0, 6.5},
    {"EmptyInnerRingsCopied", 23, 17, 0, 0, 11.0f, 8.0f, 1.0f, 9, 0.0, 3.0},
    {"EmptyOuterRingsCopied", 23, 17, 0, 0, 11.0f, 8.0f, 1.0f, 11, 9.0, 1e9},
    {"NoDataGivesZeros", 5, 4, 1, 2, 2.0f, 3.0f, 1.0f, 10, 0, 1e9},
};

INSTANTIATE_TEST_SUITE_P(Cases, RfaAzimuthalBackgroundBruteForce,
                         testing::ValuesIn(kAzimuthalCases), ZrCaseName());

TEST(RfaAzimuthalBackground, RefusesBadStepAndCentreButTakesAnEmptyImage) {
  ZrFloatMatrix image(4, 4);
  image.Fill(1.0f);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const char* badStep = "Azimuthal average: step must be a positive number";
  for (const float step : {0.0f, -1.0f, nan}) {
    EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, 2.0f, 2.0f, step), badStep) << step;
  }
  for (const auto& [cx, cy] : {std::pair{nan, 2.0f}, {2.0f, INFINITY}}) {
    EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, cx, cy),
                    "Azimuthal average: centre is not a finite number");
  }
  EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, 2.0f, 2.0f, 1e-9f),
                  "Azimuthal average: too many radial rings");
  EXPECT_ZR_ERROR(RfaAzimuthalAverageBackground(image, -3e38f, 2.0f),
                  "Azimuthal average: centre is too far from the image");
  EXPECT_TRUE(RfaAzimuthalAverageBackground(ZrFloatMatrix(), 0.0f, 0.0f).IsEmpty());
}

}  // namespace
