// Diagnostics of the spherical-harmonics background fit.
#include "rfa/RfaFitDiagnostics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <sstream>

#include "rfa/RfaFitCache.h"
#include "rfa/RfaParameters.h"

namespace {

// The largest column sum of absolute values.
long double Norm1(const ZrLDoubleMatrix& m) {
  long double best = 0;
  for (int32_t x = 0; x < m.ColSize; ++x) {
    long double sum = 0;
    for (int32_t y = 0; y < m.RowSize; ++y) sum += std::fabs(m.Data[x + int64_t{y} * m.ColSize]);
    best = std::max(best, sum);
  }
  return best;
}

}  // namespace

double RfaConditionNumber(const ZrLDoubleMatrix& M, const ZrLDoubleMatrix& inverse) {
  return static_cast<double>(Norm1(M) * Norm1(inverse));
}

RfaFitQuality RfaAssessFit(const ZrFloatMatrix& image, const ZrFloatMatrix& background,
                           const RfaParameters& params, const RfaFitSolution& solution) {
  RfaFitQuality q;
  if (solution.Normal != nullptr) {
    q.Condition = RfaConditionNumber(solution.Normal->M, solution.Normal->Inverse);
  }
  ZrCheckSameShape(image, background);
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  double sum = 0, sum2 = 0;
  for (int32_t y = 0; y < image.RowSize; ++y) {
    for (int32_t x = 0; x < image.ColSize; ++x) {
      const int64_t at = x + int64_t{y} * image.ColSize;
      const float p = image.Data[at];
      if (!RfaPixelEntersFit(p) ||
          !RfaInDisc(image.ColBegin + x - g.CenterX, image.RowBegin + y - g.CenterY, g.Radius)) {
        continue;
      }
      const double e = static_cast<double>(p) - background.Data[at];
      sum += p;
      sum2 += e * e;
      ++q.Pixels;
    }
  }
  if (q.Pixels > 0) {
    q.ResidualRms = std::sqrt(sum2 / static_cast<double>(q.Pixels));
    q.RelativeResidualRms = q.ResidualRms / (sum / static_cast<double>(q.Pixels));
  }
  return q;
}

std::string RfaFitWarning(const RfaFitQuality& quality, const RfaParameters& params) {
  if (!quality.Unreliable()) return "";
  std::ostringstream text;
  text << "the normal matrix of the background fit is ill-conditioned (condition "
       << std::setprecision(3) << quality.Condition << " above " << kRfaConditionLimit
       << ", Size_l_ " << params.SizeL << "): the background is unreliable; use a lower Size_l_";
  return text.str();
}

std::string RfaCoefficientsCsv(const ZrLDoubleMatrix& coefficients) {
  std::string csv = "l,m,coefficient\n";
  const int64_t K = coefficients.Count();
  for (int32_t l = 0; int64_t{l} * l < K; ++l) {
    for (int32_t m = -l; m <= l; ++m) {
      const int64_t i = int64_t{l} * (l + 1) + m;
      if (i >= K) break;
      char line[80];
      std::snprintf(line, sizeof line, "%d,%d,%.21Lg\n", l, m, coefficients.Data[i]);
      csv += line;
    }
  }
  return csv;
}
