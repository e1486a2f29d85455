// Spherical-harmonics background fit: disc mapping, the normal equations (tiled against the
// plain loop, bit for bit), the fitted background and its failures.
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
#include "tests/common/ZrTestUtil.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

// Collects the debug output of the fit (the two matrix dumps) instead of printing it.
QStringList* gDebugLines = nullptr;
void CollectDebug(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type == QtDebugMsg && gDebugLines != nullptr) gDebugLines->append(text);
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

  static RfaParameters Params(double sr, int32_t margin, int32_t degree) {
    RfaParameters p;
    p.Sr = sr;
    p.SMargin = margin;
    p.Size_l = degree;
    return p;
  }

  // A screen image: smooth background, a ring of bright spots, noise, a blanked dip inside
  // the disc and zeros around the screen.
  static ZrFloatMatrix ScreenImage(int32_t size, double radius, unsigned seed) {
    ZrFloatMatrix image(size, size);
    std::mt19937 random(seed);
    std::normal_distribution<float> noise(0.0f, 3.0f);
    const double c = size / 2;
    for (int32_t y = 0; y < size; ++y) {
      for (int32_t x = 0; x < size; ++x) {
        const double dx = x - c, dy = y - c;
        const double r = std::sqrt(dx * dx + dy * dy) / radius;
        float v = 0.0f;
        if (r < 1.0) {
          v = static_cast<float>(900.0 * (1.0 - 0.5 * r * r) + 70.0 * dy / radius);
          for (int k = 0; k < 5; ++k) {
            const double sx = c + 0.6 * radius * std::cos(k * 1.2566) - x;
            const double sy = c + 0.6 * radius * std::sin(k * 1.2566) - y;
            v += static_cast<float>(300.0 * std::exp(-(sx * sx + sy * sy) / 20.0));
          }
          v += noise(random);
          if ((dx - 9) * (dx - 9) + (dy + 7) * (dy + 7) < 16) v = 0.0f;
        }
        image(x, y) = v;
      }
    }
    return image;
  }

  // An image whose disc pixels are exactly sum_k c_k Y_k at the fit's own directions, with a
  // blanked patch (zeros) inside the disc.
  static ZrFloatMatrix CombinationImage(int32_t size, const RfaParameters& p,
                                        const std::vector<long double>& c) {
    ZrFloatMatrix image(size, size);
    image.Fill(0.0f);
    const int32_t degrees = static_cast<int32_t>(std::lround(std::sqrt(c.size())));
    ZrSphericalHarmonics harmonics;
    harmonics.Normalisation(degrees);
    std::vector<long double> Y(c.size());
    const double R = p.Sr - p.SMargin;
    const long double thetaMax = p.MappingAzThetaMax_deg * kPi / 180;
    for (int32_t y = -size / 2; y < size - size / 2; ++y) {
      for (int32_t x = -size / 2; x < size - size / 2; ++x) {
        long double theta, phi;
        if (!RfaMapDiscPixel(theta, phi, x, y, R, false, true, thetaMax)) continue;
        if (x > 5 && x < 12 && y > -4 && y < 3) continue;  // blanked: stays 0
        harmonics.BasisValues(Y.data(), degrees, theta, phi);
        long double sum = 0;
        for (size_t k = 0; k < c.size(); ++k) sum += c[k] * Y[k];
        image(x + size / 2, y + size / 2) = static_cast<float>(sum);
      }
    }
    return image;
  }

  // The combination's exact value at every pixel of the disc must be reproduced.
  static void ExpectReproduced(const ZrFloatMatrix& background, const RfaParameters& p,
                               const std::vector<long double>& c, double tolerance) {
    const int32_t size = background.ColSize;
    const int32_t degrees = static_cast<int32_t>(std::lround(std::sqrt(c.size())));
    ZrSphericalHarmonics harmonics;
    harmonics.Normalisation(degrees);
    std::vector<long double> Y(c.size());
    const double R = p.Sr - p.SMargin;
    int inside = 0;
    for (int32_t y = -size / 2; y < size - size / 2; ++y) {
      for (int32_t x = -size / 2; x < size - size / 2; ++x) {
        long double theta, phi;
        const float got = background(x + size / 2, y + size / 2);
        if (!RfaMapDiscPixel(theta, phi, x, y, R, false, true,
                             p.MappingAzThetaMax_deg * kPi / 180)) {
          ASSERT_EQ(got, 0.0f) << x << "," << y;
          continue;
        }
        ++inside;
        harmonics.BasisValues(Y.data(), degrees, theta, phi);
        long double expected = 0;
        for (size_t k = 0; k < c.size(); ++k) expected += c[k] * Y[k];
        ASSERT_NEAR(got, static_cast<double>(expected), tolerance * std::fabs(expected))
            << x << "," << y;
      }
    }
    EXPECT_GT(inside, 100);
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

TEST_F(RfaBackgroundFitTest, GeometryOfTheSquare) {
  const ZrFloatMatrix image(301, 200);
  const RfaFitGeometry g = RfaMakeFitGeometry(Params(100.5, 10, 3), image);
  EXPECT_EQ(g.Radius, 90.5);
  EXPECT_EQ(g.First, -90);
  EXPECT_EQ(g.Degrees, 4);
  EXPECT_EQ(g.CenterX, 150);
  EXPECT_EQ(g.CenterY, 100);
  EXPECT_EQ(g.ThetaMax, 90 * kPi / 180.0f);
}

// The tiled accumulation must give the plain loop's normal equations bit for bit, for even and
// odd K (padding), several chunk fills, and values too small to split into doubles.
struct BitCase {
  const char* Name;
  int32_t Size;
  double Sr;
  int32_t Degree;
  long double ThetaMaxDeg;
};

void PrintTo(const BitCase& bc, std::ostream* os) {
  *os << bc.Name;
}

class RfaNormalEquationsBits : public RfaBackgroundFitTest,
                               public ::testing::WithParamInterface<BitCase> {};

TEST_P(RfaNormalEquationsBits, TiledEqualsPlainLoop) {
  const BitCase& bc = GetParam();
  const ZrFloatMatrix image = ScreenImage(bc.Size, bc.Sr - 10, 7);
  RfaParameters p = Params(bc.Sr, 10, bc.Degree);
  p.MappingAzThetaMax_deg = bc.ThetaMaxDeg;
  RfaNormalEquations tiled, plain;
  RfaAccumulateNormalEquations(tiled, image, p);
  RfaAccumulateNormalEquationsReference(plain, image, p);
  const int32_t K = (bc.Degree + 1) * (bc.Degree + 1);
  ASSERT_EQ(tiled.M.ColSize, K);
  ASSERT_EQ(tiled.M.RowSize, K);
  ASSERT_EQ(tiled.b.ColSize, 1);
  ASSERT_EQ(tiled.b.RowSize, K);
  ASSERT_EQ(plain.M.ColSize, K);
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
                         [](const ::testing::TestParamInfo<BitCase>& row) {
                           return std::string(row.param.Name);
                         });

TEST_F(RfaBackgroundFitTest, ReproducesAnExactCombinationOfBasisFunctions) {
  const RfaParameters p = Params(70, 10, 3);
  std::mt19937 random(2024);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<long double> c(16);
  for (long double& v : c) v = u(random);
  c[0] = 20;  // keeps the function away from 0, so no pixel is skipped by accident
  const ZrFloatMatrix image = CombinationImage(140, p, c);
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, p, image);
  ASSERT_EQ(background.ColSize, 140);
  ASSERT_EQ(background.RowSize, 140);
  ExpectReproduced(background, p, c, 1e-5);
}

TEST_F(RfaBackgroundFitTest, HighDegreeStillReproducesTheBackground) {
  // From degree 10 on the normal matrix is badly conditioned: the coefficients may move, the
  // fitted background must not.
  RfaParameters p = Params(75, 10, 10);
  p.MappingAzThetaMax_deg = 80;
  std::mt19937 random(99);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<long double> c(121);
  for (size_t k = 0; k < c.size(); ++k) c[k] = u(random) / (1 + std::sqrt(k));
  c[0] = 30;
  const ZrFloatMatrix image = CombinationImage(150, p, c);
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, p, image);
  ExpectReproduced(background, p, c, 1e-3);
}

TEST_F(RfaBackgroundFitTest, DegreeZeroIsTheMeanOfTheNonZeroDiscPixels) {
  const RfaParameters p = Params(50, 10, 0);
  const ZrFloatMatrix image = ScreenImage(100, 45, 3);
  long double sum = 0;
  int count = 0;
  for (int32_t y = -50; y < 50; ++y) {
    for (int32_t x = -50; x < 50; ++x) {
      const double u = x / 40.0, v = y / 40.0;
      if (u * u + v * v >= 1 || image(x + 50, y + 50) == 0.0f) continue;
      sum += image(x + 50, y + 50);
      ++count;
    }
  }
  ASSERT_GT(count, 4000);
  const double mean = static_cast<double>(sum / count);
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, p, image);
  EXPECT_NEAR(background(50, 50), mean, 1e-5 * mean);
  EXPECT_NEAR(background(50 + 39, 50), mean, 1e-5 * mean);
  EXPECT_NEAR(background(50 + 9, 50 - 7), mean, 1e-5 * mean);  // a blanked pixel gets it too
  EXPECT_EQ(image(50 + 9, 50 - 7), 0.0f);
  EXPECT_EQ(background(50 + 40, 50), 0.0f);  // on the rim
  EXPECT_EQ(background(0, 0), 0.0f);
}

TEST_F(RfaBackgroundFitTest, NonIntegerRadiusBoundsTheSquare) {
  ZrFloatMatrix image(200, 200);
  image.Fill(5.0f);
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, Params(100.5, 10, 1), image);
  EXPECT_NEAR(background(100 + 90, 100), 5.0f, 1e-4);
  EXPECT_NEAR(background(100 - 90, 100), 5.0f, 1e-4);
  EXPECT_EQ(background(100 + 91, 100), 0.0f);
  EXPECT_EQ(background(100 - 91, 100), 0.0f);
}

TEST_F(RfaBackgroundFitTest, StoredMappingFlagsChangeNothingButThetaMaxDoes) {
  const ZrFloatMatrix image = ScreenImage(90, 35, 11);
  RfaParameters p = Params(45, 10, 3);
  ZrFloatMatrix plain, flagged, wider;
  RfaSphericalHarmonicsBackground(plain, p, image);
  p.MappingIsGnomonic = true;
  p.MappingIsAz = true;
  RfaSphericalHarmonicsBackground(flagged, p, image);
  EXPECT_EQ(std::memcmp(plain.Data, flagged.Data, sizeof(float) * plain.Count()), 0);
  p.MappingAzThetaMax_deg = 60;
  RfaSphericalHarmonicsBackground(wider, p, image);
  EXPECT_NE(std::memcmp(plain.Data, wider.Data, sizeof(float) * plain.Count()), 0);
}

TEST_F(RfaBackgroundFitTest, DumpsBothMatricesColumnByColumn) {
  ZrFloatMatrix image(40, 40);
  image.Fill(2.0f);
  ZrFloatMatrix background;
  RfaSphericalHarmonicsBackground(background, Params(18, 2, 1), image);
  QStringList m, im;
  for (const QString& line : DebugLines) {
    if (line.startsWith("M ")) m.append(line);
    if (line.startsWith("iM ")) im.append(line);
  }
  ASSERT_EQ(m.size(), 16);
  ASSERT_EQ(im.size(), 16);
  EXPECT_TRUE(m[0].startsWith("M 0 0 "));
  EXPECT_TRUE(m[1].startsWith("M 1 0 "));
  EXPECT_TRUE(m[4].startsWith("M 0 1 "));
  EXPECT_TRUE(im[15].startsWith("iM 3 3 "));
}

TEST_F(RfaBackgroundFitTest, DiscOfZerosIsSingular) {
  ZrFloatMatrix image(80, 80);
  image.Fill(0.0f);
  image(0, 0) = 7.0f;  // outside the disc: never enters the fit
  ZrFloatMatrix background;
  EXPECT_ZR_ERROR(RfaSphericalHarmonicsBackground(background, Params(30, 10, 2), image),
                  "Sirngular matrirx irn routirne luExtractiron");
}

TEST_F(RfaBackgroundFitTest, DiscLargerThanTheImageIsARangeError) {
  ZrFloatMatrix image(100, 100);
  image.Fill(1.0f);
  ZrFloatMatrix background;
  EXPECT_ZR_ERROR(RfaSphericalHarmonicsBackground(background, Params(60, 0, 2), image),
                  "Matrix over range. access=(-10,-10) size=(100,100) begin=(0,0)FastReturn=false");
  // Only the far side leaves the image: the first pixel outside is at the end of row -50.
  ZrFloatMatrix wide(100, 101);
  wide.Fill(1.0f);
  EXPECT_ZR_ERROR(RfaSphericalHarmonicsBackground(background, Params(50, 0, 2), wide),
                  "Matrix over range. access=(100,0) size=(100,101) begin=(0,0)FastReturn=false");
}

TEST_F(RfaBackgroundFitTest, NegativeDegreeIsABasisError) {
  ZrFloatMatrix image(40, 40);
  image.Fill(1.0f);
  ZrFloatMatrix background;
  EXPECT_ZR_ERROR(RfaSphericalHarmonicsBackground(background, Params(15, 0, -2), image), "Error");
}

}  // namespace
