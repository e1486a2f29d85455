// Radial profiles for reports.
#include "rfa/RfaRadialProfile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "imageio/ZrPlot.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaParameters.h"

namespace {

std::string Cell(double v) {
  if (!std::isfinite(v)) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", v);
  return text;
}

ZrPlotPanel Panel(const RfaRadialProfile& profile, const std::string& title,
                  const RfaParameters& params) {
  ZrPlotPanel panel;
  panel.Title = title;
  panel.XLabel = "radius (pixels)";
  ZrPlotSeries mean{"ring mean", {}, profile.Mean, 0x1F5FA8, false};
  ZrPlotSeries median{"ring median", {}, profile.Median, 0xC0392B, true};
  for (size_t k = 0; k < profile.Mean.size(); ++k) mean.X.push_back(k + 0.5);
  median.X = mean.X;
  panel.Series = {mean, median};
  panel.MarkX = {params.Sr - params.SMargin, params.Sr};
  return panel;
}

}  // namespace

RfaRadialProfile RfaMakeRadialProfile(const ZrFloatMatrix& image, double cx, double cy,
                                      int32_t rings) {
  RfaRadialProfile profile;
  profile.Cx = cx;
  profile.Cy = cy;
  rings = std::max(rings, 0);
  std::vector<std::vector<float>> values(static_cast<size_t>(rings));
  for (int32_t y = 0; y < image.RowSize; ++y) {
    for (int32_t x = 0; x < image.ColSize; ++x) {
      const float v = image.Data[x + int64_t{y} * image.ColSize];
      const double d = std::hypot(image.ColBegin + x - cx, image.RowBegin + y - cy);
      if (RfaIsHole(v) || !(d < rings)) continue;
      values[static_cast<size_t>(d)].push_back(v);
    }
  }
  const double none = std::numeric_limits<double>::quiet_NaN();
  for (std::vector<float>& ring : values) {
    profile.Pixels.push_back(static_cast<int64_t>(ring.size()));
    if (ring.empty()) {
      profile.Mean.push_back(none);
      profile.Median.push_back(none);
      continue;
    }
    double sum = 0;
    for (const float v : ring) sum += v;
    profile.Mean.push_back(sum / static_cast<double>(ring.size()));
    auto middle = ring.begin() + static_cast<std::ptrdiff_t>(ring.size() / 2);
    std::nth_element(ring.begin(), middle, ring.end());
    double median = *middle;
    if (ring.size() % 2 == 0) median = 0.5 * (median + *std::max_element(ring.begin(), middle));
    profile.Median.push_back(median);
  }
  return profile;
}

void RfaResultScreenCentre(const ZrFloatMatrix& image, const RfaParameters& params, bool subpixel,
                           double& cx, double& cy) {
  cx = params.Sx;
  cy = params.Sy;
  if (!params.IsMoveCenter) return;
  const double midX = image.ColSize / 2, midY = image.RowSize / 2;
  cx = subpixel ? midX : params.Sx + std::trunc(midX - params.Sx);
  cy = subpixel ? midY : params.Sy + std::trunc(midY - params.Sy);
}

std::string RfaProfileCsv(const RfaRadialProfile& image, const RfaRadialProfile& quotient,
                          const RfaParameters& params) {
  std::string csv =
      "radius_px,theta_deg,image_pixels,image_mean,image_median,quotient_pixels,quotient_mean,"
      "quotient_median\n";
  const double radius = params.Sr - params.SMargin;
  const double thetaMax = static_cast<double>(params.MappingAzThetaMaxDeg);
  const size_t rings = std::max(image.Pixels.size(), quotient.Pixels.size());
  auto columns = [](const RfaRadialProfile& p, size_t k) {
    if (k >= p.Pixels.size()) return std::string(",,");
    return std::to_string(p.Pixels[k]) + "," + Cell(p.Mean[k]) + "," + Cell(p.Median[k]);
  };
  for (size_t k = 0; k < rings; ++k) {
    const double r = k + 0.5;
    csv += Cell(r) + "," + (r < radius ? Cell(r / radius * thetaMax) : "") + "," +
           columns(image, k) + "," + columns(quotient, k) + "\n";
  }
  return csv;
}

std::string RfaProfilePlotPng(const RfaRadialProfile& image, const RfaRadialProfile& quotient,
                              const RfaParameters& params) {
  return ZrPlotPng({Panel(image, "image about the screen centre", params),
                    Panel(quotient, "quotient (the result) about the screen centre", params)});
}
