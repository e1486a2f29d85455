// Spherical-harmonics background fit: disc mapping, the normal equations (tiled against the
// plain loop, bit for bit), the fitted background, its debug dumps and its failures.
#include "rfa/RfaBackgroundFit.h"

#include <gtest/gtest.h>

#include <QStringList>
#include <QtGlobal>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "numerics/ZrSphericalHarmonics.h"
#include "rfa/RfaParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "tests/common/ZrTestUtil.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

// Collects the debug output of the fit (the two matrix dumps) instead of printing it.
QStringList* gDebugLines = nullptr;
void CollectDebug(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type == QtDebugMsg && gDebugLines != nullptr) gDebugLines->append(text);
}

RfaParameters Params(double sr, int32_t margin, int32_t degree, long double thetaMaxDeg = 90) {
  RfaParameters p;
  p.Sr = sr;
  p.SMargin = margin;
  p.Size_l = degree;
  p.MappingAzThetaMax_deg = thetaMaxDeg;
  return p;
}

// A centred synthetic screen with its dip blanked (zeros) inside the disc, at (+9, -7) from
// the centre, and zeros around the screen.
ZrFloatMatrix ScreenImage(int32_t size, double radius, unsigned seed) {
  const double c = size / 2;
  RfaSyntheticScreenOptions o = RfaScreenOptions(size, size, c, c, radius, c + 9, c - 7, 4, seed);
  o.dipDepth = 1.0;
  return RfaMakeSyntheticScreen(o);
}

class RfaBackgroundFitTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gDebugLines = &DebugLines;
    previous = qInstallMessageHandler(CollectDebug);
  }
  void TearDown() override {
    qInstallMessageHandler(previous);
    gDebugLines = nullptr;
  }
  QStringList DebugLines;
  QtMessageHandler previous = nullptr;
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

// The tiled accumulation must give the plain loop's normal equations bit for bit, for even and
// odd K (padding), several chunk fills, and values too small to split into doubles.
struct BitCase {
  const char* name;
  int32_t Size;
  double Sr;
  int32_t Degree;
  long double ThetaMaxDeg;
};

class RfaNormalEquationsBits : public ::testing::TestWithParam<BitCase> {};

TEST_P(RfaNormalEquationsBits, TiledEqualsPlainLoop) {
  const BitCase& bc = GetParam();
  const RfaParameters p = Params(bc.Sr, 10, bc.Degree, bc.ThetaMaxDeg);
  const ZrFloatMatrix image = ScreenImage(bc.Size, bc.Sr - 10, 7);
  RfaNormalEquations tiled, plain;
  RfaAccumulateNormalEquations(tiled, image, p);
  RfaAccumulateNormalEquationsReference(plain, image, p);
  const int32_t K = (bc.Degree + 1) * (bc.Degree + 1);
  ASSERT_TRUE(tiled.M.ColSize == K && tiled.M.RowSize == K && plain.M.ColSize == K);
  ASSERT_TRUE(tiled.b.ColSize == 1 && tiled.b.RowSize == K);
  EXPECT_GT(plain.M(0, 0), 0);
  EXPECT_EQ(std::memcmp(tiled.M.Data, plain.M.Data, sizeof(long double) * K * K), 0);
  EXPECT_EQ(std::memcmp(tiled.b.Data, plain.b.Data, sizeof(long double) * K), 0);
}

INSTANTIATE_TEST_SUITE_P(Cases, RfaNormalEquationsBits,
                         ::testing::Values(BitCase{"Degree5", 200, 95.0, 5, 90},
                                           BitCase{"Degree4OddK", 161, 80.5, 4, 90},
                                           BitCase{"Degree0", 64, 30.0, 0, 90},
                                           BitCase{"Degree10", 120, 55.0, 10, 75},
                                           BitCase{"TinyValuesBeyondDouble", 96, 45.0, 3, 1e-300L}),
                         ZrCaseName());

// An image whose disc pixels are sum_k c_k Y_k at the fit's own (azimuthal-equidistant)
// direction of each pixel, about (Cols / 2, Rows / 2), with a blanked patch inside the disc
// whose pixels are every kind of hole (0, infinities, NaN). From degree 10 on the normal matrix is
// badly conditioned: the coefficients may move, the fitted background must not.
struct ReproduceCase {
  const char* name;
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
  ASSERT_EQ(background.ColSize, rc.Cols);
  ASSERT_EQ(background.RowSize, rc.Rows);
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
    ::testing::Values(ReproduceCase{"Degree3", 141, 156, 70, 3, 90, 2024, 20, false, 1e-5},
                      ReproduceCase{"Degree10", 150, 150, 75, 10, 80, 99, 30, true, 1e-3}),
    ZrCaseName());

TEST_F(RfaBackgroundFitTest, DegreeZeroIsTheMeanOfTheNonZeroDiscPixels) {
  // Radius 40.5: the sampled square runs from trunc(-40.5) to floor(40.5) on both axes.
  const ZrFloatMatrix image = ScreenImage(100, 45, 3);
  long double sum = 0;
  int count = 0;
  for (int32_t y = -50; y < 50; ++y) {
    for (int32_t x = -50; x < 50; ++x) {
      const double u = x / 40.5, v = y / 40.5;
      if (u * u + v * v >= 1 || image(x + 50, y + 50) == 0.0f) continue;
      sum += image(x + 50, y + 50);
      ++count;
    }
  }
  ASSERT_GT(count, 4000);
  const double mean = static_cast<double>(sum / count);
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, Params(50.5, 10, 0), image);
  ASSERT_EQ(image(50 + 9, 50 - 7), 0.0f);
  const int32_t inside[][2] = {{0, 0}, {40, 0}, {-40, 0}, {0, -40}, {9, -7}};
  for (const auto& at : inside) {
    EXPECT_NEAR(background(50 + at[0], 50 + at[1]), mean, 1e-5 * mean) << at[0] << "," << at[1];
  }
  EXPECT_EQ(background(50 + 41, 50), 0.0f);
  EXPECT_EQ(background(50 - 41, 50), 0.0f);
  EXPECT_EQ(background(0, 0), 0.0f);
}

TEST_F(RfaBackgroundFitTest, DumpsBothMatricesColumnByColumn) {
  ZrFloatMatrix image(40, 40);
  image.Fill(2.0f);
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, Params(18, 2, 1), image);
  ASSERT_EQ(DebugLines.size(), 32);
  EXPECT_TRUE(DebugLines[0].startsWith("M 0 0 "));
  EXPECT_TRUE(DebugLines[1].startsWith("M 1 0 "));
  EXPECT_TRUE(DebugLines[4].startsWith("M 0 1 "));
  EXPECT_TRUE(DebugLines[16].startsWith("iM 0 0 "));
  EXPECT_TRUE(DebugLines[31].startsWith("iM 3 3 "));
}

struct FailureCase {
  const char* name;
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
                      FailureCase{"LargestDegreeGetsNoMemory", 40, 40, 1.0f, 15, 0, 2147483647,
                                  "Cannot Get Memory"}),
    ZrCaseName());

}  // namespace
