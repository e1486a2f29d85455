// How well the patterns of a series agree once centred: the whole-pixel roll against the
// interpolated shifts, on synthetic screens whose centres lie at known sub-pixel offsets.
// Prints a table and writes the figure of docs/cli.md:
//   build/bench/rfa/zr_shift_study docs/subpixel-shift.png
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "imageio/ZrPlot.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaInterpolation.h"
#include "samples/RfaSyntheticScreen.h"

namespace {

constexpr int32_t kSize = 256;
constexpr double kRadius = 100.0;
constexpr double kLevel = 1000.0;
constexpr int32_t kSeries = 12;

// The screen of the bundled samples (a rim of 1.5 pixels, or a sharp one) with sharper spots
// (1.5 degrees, about 1.7 pixels), centred at (cx, cy); noise only when asked for.
ZrFloatMatrix Screen(double cx, double cy, double rimWidth, double noise, uint32_t seed) {
  RfaSyntheticScreenOptions o;
  o.Width = o.Height = kSize;
  o.Cx = cx;
  o.Cy = cy;
  o.Radius = kRadius;
  o.RimWidth = rimWidth;
  o.SpotWidthDeg = 1.5;
  o.DipDepth = 0.0;  // a dip fixed on the screen would move with it: left out of the comparison
  o.Noise = noise;
  o.Seed = seed;
  return RfaMakeSyntheticScreen(o);
}

struct Method {
  const char* Name;
  int Kind;  // -1: the roll, else an RfaInterpolation
  uint32_t Rgb;
  bool Dashed;
};

}  // namespace

int main(int argc, char** argv) {
  const Method methods[] = {
      {"whole-pixel roll", -1, 0x000000, false},
      {"linear", static_cast<int>(RfaInterpolation::Linear), 0x7F7F7F, true},
      {"keys cubic", static_cast<int>(RfaInterpolation::Keys), 0xC0392B, false},
      {"cubic b-spline", static_cast<int>(RfaInterpolation::BSpline), 0x1F5FA8, true}};
  const double c = kSize / 2;
  std::vector<ZrPlotPanel> panels;
  for (const auto& [rimWidth, noise] :
       {std::pair{1.5, 0.0}, {0.0, 0.0}, {1.5, 0.05}, {0.0, 0.05}}) {
    ZrPlotPanel inside;
    inside.Title = std::string(rimWidth > 0 ? "rim 1.5 pixels wide" : "sharp rim") +
                   ": rms difference inside radius r - 3, % of the level";
    inside.XLabel = "distance the roll leaves the centre off (pixels)";
    inside.LogY = true;
    std::printf(
        "rim width %.1f, noise %.0f %%: rms difference from the screen made at the centre, "
        "%% of the level\n",
        rimWidth, 100 * noise);
    std::printf("%-18s %12s %12s %12s %12s\n", "", "inside mean", "inside worst", "rim mean",
                "rim worst");
    const ZrFloatMatrix reference = Screen(c, c, rimWidth, 0.0, 1);
    for (const Method& m : methods) {
      std::vector<std::pair<double, std::pair<double, double>>> rows;  // (left off, (in, rim))
      for (int32_t i = 0; i < kSeries; ++i) {
        // Offsets spread over the pixel on both axes, none of them whole.
        const double dx = (i + 0.5) / kSeries, dy = std::fmod(0.37 * i + 0.23, 1.0);
        const double cx = 121.0 + dx, cy = 134.0 + dy;
        ZrFloatMatrix image = Screen(cx, cy, rimWidth, noise, 1 + i);
        if (m.Kind < 0) {
          RfaMoveToCenter(image, cx, cy);
        } else {
          RfaMoveToCenterSubpixel(image, cx, cy, static_cast<RfaInterpolation>(m.Kind));
        }
        const double leftOff = std::hypot(cx + std::trunc(c - cx) - c, cy + std::trunc(c - cy) - c);
        double in2 = 0, inN = 0, rim2 = 0, rimN = 0;
        for (int32_t y = 0; y < kSize; ++y) {
          for (int32_t x = 0; x < kSize; ++x) {
            const double d = std::hypot(x - c, y - c);
            const double e = image(x, y) - reference(x, y);
            if (d < kRadius - 3) {
              in2 += e * e;
              ++inN;
            } else if (d < kRadius + 2) {
              rim2 += e * e;
              ++rimN;
            }
          }
        }
        rows.push_back(
            {leftOff,
             {100 * std::sqrt(in2 / inN) / kLevel, 100 * std::sqrt(rim2 / rimN) / kLevel}});
      }
      std::sort(rows.begin(), rows.end());
      double inMean = 0, inWorst = 0, rimMean = 0, rimWorst = 0;
      ZrPlotSeries a{m.Name, {}, {}, m.Rgb, m.Dashed};
      for (const auto& [left, errors] : rows) {
        inMean += errors.first / kSeries;
        rimMean += errors.second / kSeries;
        inWorst = std::max(inWorst, errors.first);
        rimWorst = std::max(rimWorst, errors.second);
        a.X.push_back(left);
        a.Y.push_back(errors.first);
      }
      std::printf("%-18s %12.4f %12.4f %12.4f %12.4f\n", m.Name, inMean, inWorst, rimMean,
                  rimWorst);
      inside.Series.push_back(a);
    }
    if (noise == 0.0) panels.push_back(inside);
  }
  if (argc > 1) {
    std::ofstream(argv[1], std::ios::binary) << ZrPlotPng(panels, 1000, 380);
    std::printf("figure: %s\n", argv[1]);
  }
  return 0;
}
