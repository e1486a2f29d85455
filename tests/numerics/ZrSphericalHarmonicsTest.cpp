// Spherical harmonics: orthonormality by quadrature, closed forms, the table form, coefficient
// tables and images, and the two fits.
#include "numerics/ZrSphericalHarmonics.h"

#include <gtest/gtest.h>

#include <omp.h>

#include <cmath>
#include <string>
#include <vector>

#include "numerics/ZrDebugOutput.h"
#include "numerics/ZrSphericalMapping.h"
#include "tests/common/ZrTestUtil.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

TEST(ZrSphericalHarmonicsBasis, OrthonormalOverTheSphereUpToDegree10) {
  const int32_t L = 11, K = L * L;
  const int nodes = 24;     // Gauss-Legendre in cos(theta): exact for degrees <= 47
  const int phiSteps = 48;  // exact for azimuthal orders up to 20
  std::vector<long double> gram(static_cast<size_t>(K) * K, 0.0L);
  ZrSphericalHarmonics sh;
  ZrLDoubleMatrix Y;
  for (int t = 0; t < nodes; ++t) {
    // Node t is a root of P_nodes, found by Newton iteration from its usual first guess.
    long double u = std::cos(kPi * (t + 0.75L) / (nodes + 0.5L)), derivative = 0, step = 1;
    for (int iteration = 0; iteration < 100 && std::fabs(step) > 1e-19L; ++iteration) {
      long double p0 = 1, p1 = u;
      for (int k = 2; k <= nodes; ++k) {
        const long double p2 = ((2 * k - 1) * u * p1 - (k - 1) * p0) / k;
        p0 = p1;
        p1 = p2;
      }
      derivative = nodes * (u * p1 - p0) / (u * u - 1);
      step = p1 / derivative;
      u -= step;
    }
    const long double weight = 2 / ((1 - u * u) * derivative * derivative) * 2 * kPi / phiSteps;
    for (int p = 0; p < phiSteps; ++p) {
      sh.Basis(Y, L, std::acos(u), 2 * kPi * p / phiSteps);
      for (int32_t i = 0; i < K; ++i)
        for (int32_t j = 0; j < K; ++j) gram[i * K + j] += weight * Y.Data[i] * Y.Data[j];
    }
  }
  for (int32_t i = 0; i < K; ++i)
    for (int32_t j = 0; j < K; ++j)
      ASSERT_NEAR(static_cast<double>(gram[i * K + j]), i == j ? 1.0 : 0.0, 1e-6) << i << "," << j;
}

TEST(ZrSphericalHarmonicsBasis, LowOrdersMatchTheirClosedForms) {
  // Real harmonics without the Condon-Shortley sign, as (theta, phi) -> value.
  using Form = long double (*)(long double, long double);
  static const long double c0 = 1 / std::sqrt(4 * kPi), c1 = std::sqrt(3 / (4 * kPi));
  const std::tuple<int32_t, int32_t, Form> forms[] = {
      {0, 0, [](long double, long double) { return c0; }},
      {1, 0, [](long double th, long double) { return c1 * std::cos(th); }},
      {1, 1, [](long double th, long double ph) { return c1 * std::sin(th) * std::cos(ph); }},
      {1, -1, [](long double th, long double ph) { return c1 * std::sin(th) * std::sin(ph); }},
      {2, 0,
       [](long double th, long double) {
         return std::sqrt(5 / (16 * kPi)) * (3 * std::cos(th) * std::cos(th) - 1);
       }},
      {2, 1,
       [](long double th, long double ph) {
         return std::sqrt(15 / (4 * kPi)) * std::sin(th) * std::cos(th) * std::cos(ph);
       }},
      {2, -2,
       [](long double th, long double ph) {
         return std::sqrt(15 / (16 * kPi)) * std::sin(th) * std::sin(th) * std::sin(2 * ph);
       }},
      {3, 3, [](long double th, long double ph) {
         return std::sqrt(35 / (32 * kPi)) * std::pow(std::sin(th), 3) * std::cos(3 * ph);
       }}};
  ZrSphericalHarmonics sh;
  ZrLDoubleMatrix Y;
  for (long double theta : {0.0L, 0.3L, 1.2L, 2.9L}) {
    for (long double phi : {0.0L, 0.7L, -2.5L}) {
      sh.Basis(Y, 4, theta, phi);
      ASSERT_EQ(Y.RowSize, 16);
      for (const auto& [l, m, value] : forms) {
        EXPECT_NEAR(static_cast<double>(Y.Data[ZrShIndex(l, m)]),
                    static_cast<double>(value(theta, phi)), 1e-15)
            << l << "," << m << " at " << theta << "," << phi;
      }
    }
  }
}

// The factors themselves show in the basis: the unit norms above and the closed forms' signs.
TEST(ZrSphericalHarmonicsBasis, NormalisationTableGrowsOnly) {
  ZrSphericalHarmonics sh;
  sh.Normalisation(6);
  sh.Normalisation(3);
  EXPECT_EQ(sh.NormalisationDegrees(), 6);
  EXPECT_EQ(sh.Normalisation(9).size(), 81u);
}

TEST(ZrSphericalHarmonicsBasis, TableFormRelatesToTheVectorBySignsNegativeDegreesFail) {
  // With the signed factor N(l, +m): C(l, m) = (-1)^m Y(l, m), S(l, m) = (-1)^(m+1) Y(l, -m).
  ZrSphericalHarmonics sh;
  ZrLDoubleMatrix Y, C, S;
  const long double theta = 1.1L, phi = -0.4L;
  sh.Basis(Y, 5, theta, phi);
  sh.BasisTables(C, S, 5, theta, phi);
  ASSERT_EQ(std::make_pair(C.ColSize, S.RowSize), std::make_pair(5, 5));
  for (int32_t l = 0; l < 5; ++l) {
    for (int32_t m = 0; m <= l; ++m) {
      const double sign = m % 2 ? -1 : 1;
      EXPECT_NEAR(static_cast<double>(C(l, m)), sign * static_cast<double>(Y.Data[ZrShIndex(l, m)]),
                  1e-15);
      if (m > 0) {
        EXPECT_NEAR(static_cast<double>(S(l, m)),
                    -sign * static_cast<double>(Y.Data[ZrShIndex(l, -m)]), 1e-15);
      }
    }
    for (int32_t m = l + 1; m < 5; ++m) EXPECT_EQ(C(l, m), 0);
  }
  EXPECT_ZR_ERROR(sh.Basis(Y, -1, 0, 0), "Error");
  EXPECT_ZR_ERROR(sh.BasisTables(C, S, -1, 0, 0), "Error");
  sh.Basis(Y, 0, 0.5L, 0.5L);
  EXPECT_EQ(Y.RowSize, 0);
}

TEST(ZrShCoefficients, CheckedAccessImageLayoutAndReadingBack) {
  ZrShCoefficients c(4);
  for (size_t k = 0; k < c.Values.size(); ++k) c.Values[k] = 0.25L * (k + 1);
  EXPECT_EQ(c.At(2, -2), c.Values[ZrShIndex(2, -2)]);
  EXPECT_ZR_ERROR(c.At(-1, 0), "Illegal l value");
  EXPECT_ZR_ERROR(c.At(4, 0), "Illegal l value");
  EXPECT_ZR_ERROR(c.At(1, 2), "Illegal m value");
  EXPECT_ZR_ERROR(c.At(1, -2), "Illegal m value");

  const ZrFloatMatrix image = ZrSphericalHarmonics::CoefficientImage(c);
  // m = -3..3 plus a zero column each side
  ASSERT_EQ(std::make_pair(image.ColSize, image.RowSize), std::make_pair(9, 4));
  EXPECT_EQ(image(4 + 3, 3), static_cast<float>(c.At(3, 3)));
  EXPECT_EQ(image(4 - 2, 2), static_cast<float>(c.At(2, -2)));
  EXPECT_EQ(image(8, 3), 0.0f);
  EXPECT_EQ(image(5, 0), 0.0f);
  const ZrShCoefficients back = ZrSphericalHarmonics::ReadCoefficientImage(image);
  EXPECT_EQ(back.Degrees(), 4);
  EXPECT_EQ(back.Values, c.Values);  // quarters are exact in float

  // Even columns, nothing, shifted begins, a value where |m| > l.
  ZrFloatMatrix shifted(image), stray(image);
  shifted.SetBegin(0, 1);
  stray(0, 2) = 1.0f;
  for (const ZrFloatMatrix& bad : {ZrFloatMatrix(8, 4), ZrFloatMatrix(), shifted, stray}) {
    EXPECT_ZR_ERROR(ZrSphericalHarmonics::ReadCoefficientImage(bad),
                    "This image is not Spherical Harmonics data");
  }
}

// The basis of L degrees at pixel (x, y) of a w x h image under `map`; false beyond the map.
bool BasisAt(ZrLDoubleMatrix& Y, int32_t L, const ZrSphericalMappingConvert& map, int32_t x,
             int32_t y, int32_t w, int32_t h) {
  long double dx, dy, dz, omega;
  if (!map.ImageToSphere(dx, dy, dz, omega, x, y, w, h)) return false;
  const long double phi = (dx == 0 && dy == 0) ? 0 : std::atan2(dy, dx);
  ZrSphericalHarmonics().Basis(Y, L, std::acos(dz), phi);
  return true;
}

// A whole-sphere image of one basis function (plus a constant) under the cylindrical
// projection; both fits must find that function's coefficient.
ZrFloatMatrix SphereImage(int32_t l, int32_t m, float offset) {
  ZrFloatMatrix image(180, 91);
  ZrLDoubleMatrix Y;
  for (int32_t y = 0; y < 91; ++y) {
    for (int32_t x = 0; x < 180; ++x) {
      BasisAt(Y, l + 1, ZrConvertEquidistantCylindricalMap(), x, y, 180, 91);
      image(x, y) = static_cast<float>(Y.Data[ZrShIndex(l, m)] + offset);
    }
  }
  return image;
}

TEST(ZrShFits, ProjectionFindsTheCoefficientOfASingleFunctionAndPublishesRows) {
  ZrSphericalHarmonics sh;
  ZrShFitControl control;
  const ZrFloatMatrix image = SphereImage(2, -1, 0.0f);
  const ZrShCoefficients c = sh.ProjectionFit(image, 4, "EquidistantCylindrical", &control);
  for (int32_t l = 0; l < 4; ++l)
    for (int32_t m = -l; m <= l; ++m)
      EXPECT_NEAR(static_cast<double>(c.At(l, m)), (l == 2 && m == -1) ? 1.0 : 0.0, 2e-3)
          << l << "," << m;
  EXPECT_EQ(std::make_pair(control.Current.load(), control.Total.load()), std::make_pair(90, 91));
  const ZrFloatMatrix ci = sh.FitCoefficientImage(image, 4, "EquidistantCylindrical", false);
  EXPECT_EQ(ci(4 - 1, 2), static_cast<float>(c.At(2, -1)));
}

TEST(ZrShFits, DegreeByDegreeRemovesEachDegreeInTurnWhateverTheThreadCount) {
  static std::vector<std::string> lines;
  lines.clear();
  ZrSetDebugSink([](const std::string& line) { lines.push_back(line); });
  const ZrFloatMatrix image = SphereImage(2, 1, 3.0f);
  ZrSphericalHarmonics sh;
  ZrShFitControl control;
  // The static row split must cover every row exactly once whatever the team size.
  const int threads = omp_get_max_threads();
  omp_set_num_threads(1);
  const ZrShCoefficients c = sh.DegreeFit(image, 3, "EquidistantCylindrical", &control);
  omp_set_num_threads(6);  // more threads than cores; 91 rows = 6 x 15 + 1
  const ZrShCoefficients six = sh.DegreeFit(image, 3, "EquidistantCylindrical");
  omp_set_num_threads(threads);
  ZrSetDebugSink(nullptr);
  EXPECT_EQ(c.Values, six.Values);
  EXPECT_EQ(lines, std::vector<std::string>(
                       {"OpenMP 0", "OpenMP 1", "OpenMP 2", "OpenMP 0", "OpenMP 1", "OpenMP 2"}));
  EXPECT_EQ(std::make_pair(control.Current.load(), control.Total.load()), std::make_pair(2, 3));
  // The constant 3 is 3 sqrt(4 pi) Y00.
  EXPECT_NEAR(static_cast<double>(c.At(0, 0)), 3 * std::sqrt(4 * M_PI), 1e-2);
  EXPECT_NEAR(static_cast<double>(c.At(2, 1)), 1.0, 1e-2);
  EXPECT_NEAR(static_cast<double>(c.At(1, 0)), 0.0, 1e-2);
  EXPECT_NEAR(static_cast<double>(c.At(2, -2)), 0.0, 1e-2);
}

TEST(ZrShFits, SizeLimitsAndCancel) {
  ZrSphericalHarmonics sh;
  ZrFloatMatrix dot(3, 3);
  dot.Fill(0.0f);
  dot(1, 1) = 1.0f;
  const char* tooBig = "Please correct Size of spherical harmonics";
  EXPECT_ZR_ERROR(sh.ProjectionFit(dot, 501, "AzimuthalEquidistant"), tooBig);
  EXPECT_ZR_ERROR(sh.ProjectionFit(dot, -1, "AzimuthalEquidistant"), tooBig);
  EXPECT_ZR_ERROR(sh.DegreeFit(dot, 181, "AzimuthalEquidistant"), tooBig);
  EXPECT_ZR_ERROR(sh.DegreeFit(dot, 500, "AzimuthalEquidistant"), tooBig);
  EXPECT_ZR_ERROR(sh.ProjectionFit(dot, 2, "Mercator"), "Mapping type is not supported");
  // L = 500 is accepted by the projection: one pixel at the pole, so only m = 0 survives.
  const ZrShCoefficients big = sh.ProjectionFit(dot, 500, "AzimuthalEquidistant");
  EXPECT_GT(big.At(499, 0), 0);
  EXPECT_EQ(big.At(499, 1), 0);

  ZrShFitControl cancelled;
  cancelled.Cancel = true;
  const ZrFloatMatrix image = SphereImage(1, 0, 2.0f);
  const ZrShCoefficients p = sh.ProjectionFit(image, 3, "EquidistantCylindrical", &cancelled);
  const ZrShCoefficients d = sh.DegreeFit(image, 3, "EquidistantCylindrical", &cancelled);
  EXPECT_EQ(p.Values, std::vector<long double>(9, 0));
  EXPECT_EQ(d.Values, std::vector<long double>(9, 0));
}

TEST(ZrShEvaluate, CoefficientsBackIntoAnImage) {
  ZrSphericalHarmonics sh;
  ZrShCoefficients c(3);
  c.At(1, 1) = 2;
  c.At(0, 0) = 1;
  const ZrFloatMatrix image = sh.Evaluate(c, 31, 31, "AzimuthalEquidistant");
  ZrLDoubleMatrix Y;
  for (int32_t y = 0; y < 31; y += 5) {
    for (int32_t x = 0; x < 31; x += 5) {
      if (!BasisAt(Y, 2, ZrConvertAzimuthalEquidistantMap(), x, y, 31, 31)) {
        EXPECT_EQ(image(x, y), 0.0f);
      } else {
        EXPECT_NEAR(image(x, y), static_cast<double>(Y.Data[0] + 2 * Y.Data[ZrShIndex(1, 1)]),
                    1e-6);
      }
    }
  }
  EXPECT_ZR_ERROR(sh.Evaluate(c, 3, 3, "Stereographic"), "Mapping type is not supported");
}

}  // namespace
