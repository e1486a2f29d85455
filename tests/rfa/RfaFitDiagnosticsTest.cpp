// What the background fit hands out, and the quality figures and warning made from it.
#include "rfa/RfaFitDiagnostics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "rfa/RfaParameters.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"

namespace {

// A lower-triangular matrix, whose column sums (4 and 1.5) differ from its row sums (2).
TEST(RfaConditionNumber, OneNormOfMatrixTimesInverse) {
  const long double a[3][3] = {{2, 0, 0}, {1, 1, 0}, {1, 0, 1}};
  const long double b[3][3] = {{0.5, 0, 0}, {-0.5, 1, 0}, {-0.5, 0, 1}};
  ZrLDoubleMatrix m(3, 3), inverse(3, 3);
  std::copy(&a[0][0], &a[0][0] + 9, m.Data);  // row after row
  std::copy(&b[0][0], &b[0][0] + 9, inverse.Data);
  EXPECT_EQ(RfaConditionNumber(m, inverse), 6.0);
}

// Degree 0 fits the mean, so the residual of a checkerboard about it is its amplitude; holes
// and the pixels outside the disc do not count.
TEST(RfaAssessFit, ResidualOfACheckerboardAboutItsMean) {
  ZrFloatMatrix image(64, 64);
  for (int32_t y = 0; y < 64; ++y) {
    for (int32_t x = 0; x < 64; ++x) image(x, y) = (x + y) % 2 == 0 ? 12.0f : 8.0f;
  }
  image(0, 0) = 1e6f;    // outside the disc
  image(33, 32) = 0.0f;  // a hole inside it
  image(32, 33) = 0.0f;
  RfaParameters p = RfaGeometry(32, 32, 25, 5, 0, 32, 32, 0, 0, 0, 32, 32, 30, 30);
  ZrFloatMatrix background = image;
  background.Fill(10.0f);
  const RfaFitQuality q = RfaAssessFit(image, background, p, RfaFitSolution{});
  EXPECT_DOUBLE_EQ(q.ResidualRms, 2.0);
  EXPECT_NEAR(q.RelativeResidualRms, 0.2, 2e-3);  // the mean of as many 12s as 8s, about
  EXPECT_EQ(q.Condition, 0.0);                    // no matrix handed over
}

// Degree 10 on a hemisphere is ill-conditioned (the reason for the limit), degree 5 is not. (The
// solution handed out is the one the background came from: RfaFitBits.)
TEST(RfaFitWarning, DegreeTenOnAHemisphere) {
  const ZrFloatMatrix image =
      RfaMakeSyntheticScreen(RfaScreenOptions(80, 80, 40, 40, 38, 50, 40, 4));
  for (const int32_t degree : {5, 10}) {
    RfaParameters p = RfaGeometry(40, 40, 38, 5, degree, 40, 40, 50, 40, 4, 40, 40, 36, 36);
    RfaFitSolution solution;
    RfaFitOptions options;
    options.Solution = &solution;
    ZrFloatMatrix background;
    RfaSphericalHarmonicsBackground(background, p, image, options);
    EXPECT_NE(RfaCoefficientsCsv(solution.Coefficients).find("\n4,-4,"), std::string::npos);
    const RfaFitQuality q = RfaAssessFit(image, background, p, solution);
    EXPECT_GT(q.Pixels, 3000);
    EXPECT_LT(q.RelativeResidualRms, 0.5);
    std::ostringstream condition;
    condition << std::setprecision(3) << q.Condition;
    EXPECT_EQ(RfaFitWarning(q, p),
              degree == 5
                  ? ""
                  : "the normal matrix of the background fit is ill-conditioned (condition " +
                        condition.str() +
                        " above 1e+13, Size_l_ 10): the background is unreliable; use a "
                        "lower Size_l_");
  }
}

}  // namespace
