// Spherical-harmonics background fit: disc mapping, the symmetric basis, the normal equations
// and the whole fit against their plain forms (bit for bit, any thread count, table or not,
// cached or not), the reuse of normal matrices, the fitted background, its debug dumps and its
// failures.
#include "rfa/RfaBackgroundFit.h"

#include <gtest/gtest.h>

#include <QStringList>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "numerics/ZrDebugOutput.h"
#include "numerics/ZrMatrixOperator.h"
#include "numerics/ZrSphericalHarmonics.h"
#include "rfa/RfaFitCache.h"
#include "rfa/RfaParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

// Collects the debug lines of the fit (the two matrix dumps) instead of printing them. (The way
// to Qt's debug output that the programs take: ZrQtDebugTest.)
QStringList gDebugLines;
void CollectDebug(const std::string& line) {
  gDebugLines << QString::fromStdString(line);
}

RfaParameters Params(double sr, int32_t margin, int32_t degree, long double thetaMaxDeg = 90) {
  RfaParameters p;
  p.Sr = sr;
  p.SMargin = margin;
  p.SizeL = degree;
  p.MappingAzThetaMaxDeg = thetaMaxDeg;
  return p;
}

// A centred synthetic screen with its dip blanked (zeros) inside the disc, at (+9, -7) from
// the centre, and zeros around the screen.
ZrFloatMatrix ScreenImage(int32_t size, double radius, unsigned seed) {
  const double c = size / 2;
  RfaSyntheticScreenOptions o = RfaScreenOptions(size, size, c, c, radius, c + 9, c - 7, 4, seed);
  o.DipDepth = 1.0;
  return RfaMakeSyntheticScreen(o);
}

class RfaBackgroundFitTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gDebugLines.clear();
    ZrSetDebugSink(CollectDebug);
    RfaClearFitCaches();
  }
  void TearDown() override { ZrSetDebugSink(nullptr); }
};

TEST_F(RfaBackgroundFitTest, DiscMappingRules) {
  long double theta = -1, phi = -1;
  // Azimuthal equidistant: theta grows linearly to thetaMax at the rim; phi from +x to +y.
  ASSERT_TRUE(RfaMapDiscPixel(theta, phi, 30, 40, 100.0, false, true, 1.5L));
  EXPECT_NEAR(static_cast<double>(theta), 0.5 * 1.5, 1e-15);
  EXPECT_NEAR(static_cast<double>(phi), std::atan2(40.0, 30.0), 1e-15);
  ASSERT_TRUE(RfaMapDiscPixel(theta, phi, 0, -10, 100.0, false, true, 1.5L));
  EXPECT_NEAR(static_cast<double>(phi), -kPi / 2, 1e-15);
  // The asin rule: theta = asin(rho), and it takes precedence.
  ASSERT_TRUE(RfaMapDiscPixel(theta, phi, 30, 40, 100.0, true, true, 1.5L));
  EXPECT_NEAR(static_cast<double>(theta), std::asin(0.5), 1e-15);
  // The rim itself (rho^2 = 1) and beyond lie outside.
  EXPECT_FALSE(RfaMapDiscPixel(theta, phi, 100, 0, 100.0, false, true, 1.5L));
  EXPECT_FALSE(RfaMapDiscPixel(theta, phi, 60, 80, 100.0, false, true, 1.5L));
  EXPECT_TRUE(RfaMapDiscPixel(theta, phi, 99, 0, 100.0, false, true, 1.5L));
  EXPECT_ZR_ERROR(RfaMapDiscPixel(theta, phi, 1, 1, 100.0, false, false, 1.5L),
                  "Undefined Mapping Method");
}

// The symmetric basis is exact where the symmetry is exact in floating point: at x >= |y| a
// pixel is its group's representative or that one's mirror image in the x axis, and gets its
// own evaluation's bits. Elsewhere (azimuth pi - phi or pi/2 -+ phi taken exactly rather than
// rounded anew) it differs by a few units in the last place, growing with the order m.
TEST(RfaDiscBasis, SymmetricBasisIsThePixelsOwnToAFewUlps) {
  RfaFitGeometry g;
  g.Radius = 40.5;
  g.ThetaMax = 80 * kPi / 180;
  g.Degrees = 11;
  g.First = -40;
  const int32_t K = g.Degrees * g.Degrees;
  std::vector<long double> shared(static_cast<size_t>(K)), own(shared.size());
  int inside = 0;
  for (int32_t y = -40; y <= 40; ++y) {
    for (int32_t x = -40; x <= 40; ++x) {
      const bool in = RfaDiscBasisAt(shared.data(), g, x, y, RfaBasisKind::Symmetric);
      ASSERT_EQ(RfaDiscBasisAt(own.data(), g, x, y, RfaBasisKind::PerPixel), in) << x << "," << y;
      if (!in) continue;
      ++inside;
      long double largest = 0;
      for (long double v : own) largest = std::max(largest, std::fabs(v));
      for (int32_t i = 0; i < K; ++i) {
        if (x >= std::abs(y)) {
          ASSERT_EQ(shared[i], own[i]) << x << "," << y << " i " << i;
        } else {
          ASSERT_LE(std::fabs(shared[i] - own[i]), 2 * g.Degrees * LDBL_EPSILON * largest)
              << x << "," << y << " i " << i;
        }
      }
    }
  }
  EXPECT_GT(inside, 5000);
}

// The whole fit against its plain form: the reference accumulation (whose M the fit's must equal
// bit for bit), the LU inverse and at every disc pixel the sum of c[i] Y[i] with the basis of
// RfaDiscBasisAt -- bit for bit, whatever the threads, the table or the caches. With the
// per-pixel basis this is the fit as first written; the symmetric basis moves its background by
// float rounding only, except where the normal matrix is badly conditioned (degree 10), where a
// change of theta max by one unit in the last place moves the first-written background as much
// (1e-4), and at values too small to split into two doubles (no basis table then; M is nearly
// singular). The cases hold even and odd K (padding).
struct PlainFitCase {
  const char* Name;
  int32_t Size;
  double Sr;
  int32_t Degree;
  long double ThetaMaxDeg;
  bool Splits;       // every basis value is a sum of two doubles, so the table can hold it
  double Tolerance;  // of the symmetric basis's background against the per-pixel one
};

// The fit with the caches, saying what it did into report.
RfaFitOptions Reusing(RfaFitReport* report) {
  return {0, true, RfaBasisKind::Symmetric, -1, report};
}

std::vector<long double> Elements(const ZrLDoubleMatrix& m) {
  return {m.Data, m.Data + m.Count()};
}

class RfaFitBits : public RfaBackgroundFitTest,
                   public ::testing::WithParamInterface<PlainFitCase> {};

TEST_P(RfaFitBits, FitEqualsItsPlainForm) {
  const PlainFitCase& fc = GetParam();
  const RfaParameters p = Params(fc.Sr, 10, fc.Degree, fc.ThetaMaxDeg);
  const ZrFloatMatrix image = ScreenImage(fc.Size, fc.Sr - 5, 3);
  const RfaFitGeometry g = RfaMakeFitGeometry(p, image);
  const int32_t K = g.Degrees * g.Degrees;
  ZrFloatMatrix plain[2];
  for (RfaBasisKind kind : {RfaBasisKind::Symmetric, RfaBasisKind::PerPixel}) {
    RfaNormalEquations eq;
    RfaAccumulateNormalEquationsReference(eq, image, p, kind);
    ASSERT_GT(eq.M(0, 0), 0);
    const ZrLDoubleMatrix c = ZrMatrixOperator::LuInverse(eq.M) * eq.b;
    ZrFloatMatrix& expected = plain[kind == RfaBasisKind::PerPixel];
    expected.Create(fc.Size, fc.Size);
    expected.Fill(0.0f);
    std::vector<long double> Y(static_cast<size_t>(K));
    for (int32_t y = -g.CenterY; y < fc.Size - g.CenterY; ++y) {
      for (int32_t x = -g.CenterX; x < fc.Size - g.CenterX; ++x) {
        if (!RfaDiscBasisAt(Y.data(), g, x, y, kind)) continue;
        long double sum = 0;
        for (int32_t i = 0; i < K; ++i) sum += c.Data[i] * Y[static_cast<size_t>(i)];
        expected(x + g.CenterX, y + g.CenterY) = static_cast<float>(sum);
      }
    }
    // {threads, table limit, reuse}: the fourth run computes M (the matrix of the other basis,
    // kept before, is not this one's), the last three reuse it.
    int run = 0;
    for (const auto& [threads, limit, reuse] : {std::tuple{1, -1, false},
                                                {2, -1, false},
                                                {2, 0, false},
                                                {1, -1, true},
                                                {2, -1, true},
                                                {2, 0, true},
                                                {1, -1, true}}) {
      SCOPED_TRACE(::testing::Message()
                   << "per pixel " << (kind == RfaBasisKind::PerPixel) << ", threads " << threads
                   << ", limit " << limit << ", reuse " << reuse);
      RfaFitReport report;
      RfaFitSolution solution;
      ZrFloatMatrix background;
      RfaSphericalHarmonicsBackground(background, p, image,
                                      {threads, reuse, kind, limit, &report, &solution});
      EXPECT_TRUE(ZrSameBits(background, expected));
      EXPECT_EQ(report.MatrixReused, ++run > 4);
      if (!report.MatrixReused) {
        EXPECT_EQ(report.TableUsed, kind == RfaBasisKind::Symmetric && limit != 0 && fc.Splits);
      }
      EXPECT_EQ(Elements(solution.Normal->M), Elements(eq.M));
      EXPECT_EQ(Elements(solution.Coefficients), Elements(c));  // what the background came from
    }
  }
  double largest = 0;
  for (int64_t i = 0; i < image.Count(); ++i) {
    const double today = plain[1].Data[i];
    if (today == 0) {
      ASSERT_EQ(plain[0].Data[i], 0.0f) << i;
      continue;
    }
    largest = std::max(largest, std::fabs(plain[0].Data[i] - today) / std::fabs(today));
  }
  EXPECT_LE(largest, fc.Tolerance);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RfaFitBits,
    ::testing::Values(PlainFitCase{"Degree5", 128, 60.5, 5, 85, true, 1e-6},
                      PlainFitCase{"Degree10", 80, 38, 10, 85, true, 1e-3},
                      PlainFitCase{"Degree4OddK", 161, 80.5, 4, 90, true, 1e-6},
                      PlainFitCase{"Degree0", 64, 30.0, 0, 90, true, 1e-6},
                      PlainFitCase{"TinyValuesBeyondDouble", 96, 45.0, 3, 1e-300L, false, 0.2}),
    ZrCaseName());

// A series with one mask: the first fit computes M and the basis table, the others reuse both,
// and every background is the uncached fit's bit for bit.
TEST_F(RfaBackgroundFitTest, SeriesReusesTheNormalMatrixWithTheSameBits) {
  const RfaParameters p = Params(75, 10, 5);
  for (unsigned seed = 1; seed <= 4; ++seed) {
    const ZrFloatMatrix image = ScreenImage(160, 70, seed);
    RfaFitReport report;
    ZrFloatMatrix cached, uncached;
    RfaSphericalHarmonicsBackground(cached, p, image, Reusing(&report));
    EXPECT_EQ(report.MatrixReused, seed > 1) << seed;
    EXPECT_EQ(report.TableReused, seed > 1) << seed;
    RfaSphericalHarmonicsBackground(uncached, p, image, {0, false});
    EXPECT_TRUE(ZrSameBits(cached, uncached)) << seed;
  }
}

// Whatever the normal matrix depends on is part of its key: after a fit of the same image with
// the key changed in one respect, the result is the uncached fit's (a stale matrix would give
// another) and differs from the first fit's.
struct KeyCase {
  const char* Name;
  std::function<void(RfaParameters&, ZrFloatMatrix&)> Change;
};

class RfaFitKey : public RfaBackgroundFitTest, public ::testing::WithParamInterface<KeyCase> {};

TEST_P(RfaFitKey, AChangeNeverReusesAStaleMatrix) {
  RfaParameters p = Params(75.3, 10, 5);
  ZrFloatMatrix image = ScreenImage(160, 70, 5);
  ZrFloatMatrix first, cached, uncached;
  RfaSphericalHarmonicsBackground(first, p, image);
  GetParam().Change(p, image);
  RfaFitReport report;
  RfaSphericalHarmonicsBackground(cached, p, image, Reusing(&report));
  EXPECT_FALSE(report.MatrixReused);
  RfaSphericalHarmonicsBackground(uncached, p, image, {0, false});
  EXPECT_TRUE(ZrSameBits(cached, uncached));
  EXPECT_FALSE(ZrSameBits(cached, first));
}

// The mask: one pixel of the dip in, another out. Radius and theta max change by too little to move
// the rim past a pixel (the nearest pixels lie 7e-4 inside and outside it): only the key's numbers
// differ, not its pattern.
INSTANTIATE_TEST_SUITE_P(
    Cases, RfaFitKey,
    ::testing::Values(KeyCase{"MaskWithTheSameCount",
                              [](RfaParameters&, ZrFloatMatrix& m) {
                                ASSERT_EQ(m(89, 73), 0.0f);  // the dip's centre
                                m(89, 73) = 500;
                                m(100, 90) = 0;
                              }},
                      KeyCase{"Radius", [](RfaParameters& p, ZrFloatMatrix&) { p.Sr += 3e-4; }},
                      KeyCase{"ThetaMax", [](RfaParameters& p,
                                             ZrFloatMatrix&) { p.MappingAzThetaMaxDeg += 1e-6L; }},
                      KeyCase{"Size",
                              [](RfaParameters&, ZrFloatMatrix& m) {
                                ZrFloatMatrix wider(m.ColSize + 2, m.RowSize);
                                wider.Fill(0.0f);
                                for (int32_t y = 0; y < m.RowSize; ++y) {
                                  for (int32_t x = 0; x < m.ColSize; ++x) wider(x, y) = m(x, y);
                                }
                                m = wider;
                              }},
                      KeyCase{"Degree", [](RfaParameters& p, ZrFloatMatrix&) { p.SizeL = 4; }}),
    ZrCaseName());

TEST(RfaFitThreads, SettingThenEnvironmentThenAllProcessors) {
  RfaSetFitThreads(0);
  unsetenv("RFA_FIT_THREADS");
  const int32_t all = RfaFitThreads();
  EXPECT_GE(all, 1);
  const std::pair<const char*, int32_t> cases[] = {{"3", 3}, {"0", all}, {"2x", all}, {"", all}};
  for (const auto& [text, threads] : cases) {
    setenv("RFA_FIT_THREADS", text, 1);
    EXPECT_EQ(RfaFitThreads(), threads) << text;
  }
  RfaSetFitThreads(5);
  EXPECT_EQ(RfaFitThreads(), 5);
  RfaSetFitThreads(0);
  unsetenv("RFA_FIT_THREADS");
}

// An image whose disc pixels are sum_k c_k Y_k at the fit's own (azimuthal-equidistant)
// direction of each pixel, about (Cols / 2, Rows / 2), with a blanked patch inside the disc
// whose pixels are every kind of hole (0, infinities, NaN). From degree 10 on the normal matrix is
// badly conditioned: the coefficients may move, the fitted background must not.
struct ReproduceCase {
  const char* Name;
  int32_t Cols, Rows;
  double Sr;
  int32_t Degree;
  long double ThetaMaxDeg;
  unsigned Seed;
  long double C0;  // keeps the function away from 0, so no pixel is skipped by accident
  bool Decaying;   // higher coefficients smaller, as on a real screen
  double Tolerance;
};

class RfaBackgroundReproduces : public RfaBackgroundFitTest,
                                public ::testing::WithParamInterface<ReproduceCase> {};

TEST_P(RfaBackgroundReproduces, AnExactCombinationOfBasisFunctions) {
  const ReproduceCase& rc = GetParam();
  RfaParameters p = Params(rc.Sr, 10, rc.Degree, rc.ThetaMaxDeg);
  // The stored mapping flags play no part in the fit: it always maps azimuthal-equidistantly.
  p.MappingIsGnomonic = p.MappingIsAz = true;
  std::mt19937 random(rc.Seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<long double> c(static_cast<size_t>((rc.Degree + 1) * (rc.Degree + 1))), Y(c.size());
  for (size_t k = 0; k < c.size(); ++k) c[k] = u(random) / (rc.Decaying ? 1 + std::sqrt(k) : 1.0);
  c[0] = rc.C0;
  ZrSphericalHarmonics harmonics;
  harmonics.Normalisation(rc.Degree + 1);
  // truth: the combination at every disc pixel, NaN outside; the image has the blanked patch.
  const int32_t cx = rc.Cols / 2, cy = rc.Rows / 2;
  ZrFloatMatrix image(rc.Cols, rc.Rows), truth(rc.Cols, rc.Rows);
  image.Fill(0.0f);
  truth.Fill(NAN);
  for (int32_t y = -cy; y < rc.Rows - cy; ++y) {
    for (int32_t x = -cx; x < rc.Cols - cx; ++x) {
      long double theta, phi, value = 0;
      if (!RfaMapDiscPixel(theta, phi, x, y, rc.Sr - 10, false, true, rc.ThetaMaxDeg * kPi / 180)) {
        continue;
      }
      harmonics.BasisValues(Y.data(), rc.Degree + 1, theta, phi);
      for (size_t k = 0; k < c.size(); ++k) value += c[k] * Y[k];
      truth(x + cx, y + cy) = static_cast<float>(value);
      const bool blanked = x > 5 && x < 12 && y > -4 && y < 3;
      const float holes[] = {0.0f, INFINITY, -INFINITY, NAN};
      image(x + cx, y + cy) = blanked ? holes[(x + y) & 3] : static_cast<float>(value);
    }
  }
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, p, image);
  ASSERT_EQ(std::pair(background.ColSize, background.RowSize), std::pair(rc.Cols, rc.Rows));
  // The combination at every disc pixel, blanked ones included; 0 outside.
  int inside = 0;
  for (int64_t i = 0; i < truth.Count(); ++i) {
    const float expected = truth.Data[i];
    if (std::isnan(expected)) {
      ASSERT_EQ(background.Data[i], 0.0f) << i;
    } else {
      ++inside;
      ASSERT_NEAR(background.Data[i], expected, rc.Tolerance * std::fabs(expected)) << i;
    }
  }
  EXPECT_GT(inside, 100);
}

// Odd and unequal sides put the disc centre at (Cols / 2, Rows / 2) rounded down.
INSTANTIATE_TEST_SUITE_P(
    Cases, RfaBackgroundReproduces,
    ::testing::Values(ReproduceCase{"Degree3", 141, 156, 70.5, 3, 90, 2024, 20, false, 1e-5},
                      ReproduceCase{"Degree10", 150, 150, 75, 10, 80, 99, 30, true, 1e-3}),
    ZrCaseName());

// Also when the matrices are reused: the second fit prints what the first did.
TEST_F(RfaBackgroundFitTest, DumpsBothMatricesColumnByColumn) {
  ZrFloatMatrix image(40, 40);
  image.Fill(2.0f);
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, Params(18, 2, 1), image);
  const QStringList first = gDebugLines;
  gDebugLines.clear();
  RfaFitReport report;
  RfaSphericalHarmonicsBackground(background, Params(18, 2, 1), image, Reusing(&report));
  EXPECT_TRUE(report.MatrixReused);
  EXPECT_EQ(gDebugLines, first);
  QStringList heads, expected;  // "M <row> <column>", then "iM ...", column after column
  for (const QString& line : gDebugLines) heads << line.section(' ', 0, 2);
  for (const char* name : {"M", "iM"}) {
    for (int i = 0; i < 16; ++i) expected << QString("%1 %2 %3").arg(name).arg(i % 4).arg(i / 4);
  }
  EXPECT_EQ(heads, expected);
}

struct FailureCase {
  const char* Name;
  int32_t Cols, Rows;
  float Fill;
  double Sr;
  int32_t Margin, Degree;
  const char* Text;
};

class RfaBackgroundFailure : public RfaBackgroundFitTest,
                             public ::testing::WithParamInterface<FailureCase> {};

TEST_P(RfaBackgroundFailure, IsReportedWithItsText) {
  const FailureCase& fc = GetParam();
  ZrFloatMatrix image(fc.Cols, fc.Rows);
  image.Fill(fc.Fill);
  image(0, 0) = 7.0f;  // outside every disc: never enters the fit
  ZrFloatMatrix background;
  EXPECT_ZR_ERROR(
      RfaSphericalHarmonicsBackground(background, Params(fc.Sr, fc.Margin, fc.Degree), image),
      fc.Text);
}

// With the wide image only the far side leaves it: the first pixel outside is at the end of
// row -50.
INSTANTIATE_TEST_SUITE_P(
    Cases, RfaBackgroundFailure,
    ::testing::Values(FailureCase{"DiscOfZerosIsSingular", 80, 80, 0.0f, 30, 10, 2,
                                  "Sirngular matrirx irn routirne luExtractiron"},
                      FailureCase{"DiscLargerThanTheImage", 100, 100, 1.0f, 60, 0, 2,
                                  "Matrix over range. access=(-10,-10) size=(100,100) begin=(0,0)"
                                  "FastReturn=false"},
                      FailureCase{"DiscWiderThanTheImage", 100, 101, 1.0f, 50, 0, 2,
                                  "Matrix over range. access=(100,0) size=(100,101) begin=(0,0)"
                                  "FastReturn=false"},
                      FailureCase{"RadiusBeyondTheIntRange", 40, 40, 1.0f, 3e9, 0, 2,
                                  "Matrix over range. access=(-2147483648,-2147483648) "
                                  "size=(40,40) begin=(0,0)FastReturn=false"},
                      FailureCase{"RadiusFarBelowZeroHoldsNoPixel", 40, 40, 1.0f, -1e300, 0, 2,
                                  "Sirngular matrirx irn routirne luExtractiron"},
                      FailureCase{"NegativeDegreeIsABasisError", 40, 40, 1.0f, 15, 0, -2, "Error"},
                      // The square leaves the image only at its last row: the disc pixels
                      // before it are evaluated first.
                      FailureCase{"NegativeDegreeBeforeALateRangeError", 101, 100, 1.0f, 50, 0, -2,
                                  "Error"},
                      FailureCase{"LargestDegreeGetsNoMemory", 40, 40, 1.0f, 15, 0, 2147483647,
                                  "Cannot Get Memory"}),
    ZrCaseName());

}  // namespace
