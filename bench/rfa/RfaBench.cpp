// Timing of the screen search, the azimuthal-average background with its robust (median) and
// plain (mean) ring statistic, and, for scale, the spherical-harmonics fit on the same screens.
#include <benchmark/benchmark.h>

#include <map>

#include "rfa/RfaAngularMap.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaInterpolation.h"
#include "rfa/RfaParameters.h"
#include "rfa/RfaScreenAdjust.h"
#include "rfa/RfaScreenFind.h"
#include "tests/common/ZrTestScreens.h"

namespace {

// A size x size screen (the 1024 one scaled): off-centre, with its MCP dip and spots.
const ZrFloatMatrix& Screen(int32_t size) {
  static std::map<int32_t, ZrFloatMatrix> screens;
  auto it = screens.find(size);
  if (it == screens.end()) {
    const double s = size / 1024.0;
    it = screens
             .emplace(size, RfaMakeSyntheticScreen(RfaScreenOptions(size, size, 521.5 * s,
                                                                    503.0 * s, 440.0 * s, 560.0 * s,
                                                                    470.0 * s, 40.0 * s, 7)))
             .first;
  }
  return it->second;
}

void BM_AdjustScreen(benchmark::State& state) {
  const ZrFloatMatrix& screen = Screen(1024);
  for (auto _ : state) {
    RfaScreenAdjustResult r = RfaAdjustScreen(screen, 0.1, static_cast<int32_t>(state.range(0)));
    benchmark::DoNotOptimize(r.Cx);
  }
}
BENCHMARK(BM_AdjustScreen)->Arg(10)->Arg(4)->Unit(benchmark::kMillisecond);

// rfa-process --find-screen: the whole image, coarse region then rays.
void BM_FindScreen(benchmark::State& state) {
  const ZrFloatMatrix& screen = Screen(static_cast<int32_t>(state.range(0)));
  for (auto _ : state) {
    RfaFoundScreen found = RfaFindScreen(screen);
    benchmark::DoNotOptimize(found.R);
  }
}
BENCHMARK(BM_FindScreen)->Arg(1024)->Arg(2048)->Unit(benchmark::kMillisecond);

// rfa-process --subpixel-shift (argument: the RfaInterpolation) and --angular-map 0.25.
void BM_SubpixelShift(benchmark::State& state) {
  const ZrFloatMatrix& screen = Screen(1024);
  const auto kind = static_cast<RfaInterpolation>(state.range(0));
  for (auto _ : state) {
    ZrFloatMatrix moved = RfaShiftImage(screen, 3.37, -8.61, kind);
    benchmark::DoNotOptimize(moved.Data);
  }
  state.SetLabel(RfaInterpolationName(kind));
}
BENCHMARK(BM_SubpixelShift)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void BM_AngularMaps(benchmark::State& state) {
  const ZrFloatMatrix& screen = Screen(1024);
  RfaParameters p;
  p.Sr = 440;
  p.SMargin = 10;
  const RfaAngularGrid grid = RfaMakeAngularGrid(0.25, p);
  const RfaStereoGrid stereo = RfaMakeStereoGrid(0.25, p);
  for (auto _ : state) {
    ZrFloatMatrix a = RfaAngularMap(screen, p, grid, RfaInterpolation::Keys);
    ZrFloatMatrix b = RfaStereographicMap(screen, p, stereo, RfaInterpolation::Keys);
    benchmark::DoNotOptimize(a.Data);
    benchmark::DoNotOptimize(b.Data);
  }
}
BENCHMARK(BM_AngularMaps)->Unit(benchmark::kMillisecond);

// Arguments: image size, ring statistic (0 median, 1 mean), threads.
void BM_AzimuthalAverageBackground(benchmark::State& state) {
  const int32_t size = static_cast<int32_t>(state.range(0));
  const ZrFloatMatrix& screen = Screen(size);
  const auto statistic = state.range(1) == 0 ? RfaRingStatistic::Median : RfaRingStatistic::Mean;
  for (auto _ : state) {
    ZrFloatMatrix bg = RfaAzimuthalAverageBackground(
        screen, size / 2.0f, size / 2.0f, 1.0f, statistic, static_cast<int32_t>(state.range(2)));
    benchmark::DoNotOptimize(bg.Data);
  }
  state.SetLabel(statistic == RfaRingStatistic::Median ? "median" : "mean");
}
BENCHMARK(BM_AzimuthalAverageBackground)
    ->ArgsProduct({{1024, 2048}, {0, 1}, {1, 2}})
    ->Unit(benchmark::kMillisecond);

// The fit the chain runs before the azimuthal step (degree 5, margin 10, the screen's radius).
void BM_SphericalHarmonicsBackground(benchmark::State& state) {
  const int32_t size = static_cast<int32_t>(state.range(0));
  const ZrFloatMatrix& screen = Screen(size);
  RfaParameters p;
  p.Sr = 440.0 * size / 1024.0;
  p.SMargin = 10;
  p.SizeL = 5;
  ZrFloatMatrix bg;
  for (auto _ : state) {
    RfaSphericalHarmonicsBackground(bg, p, screen);
    benchmark::DoNotOptimize(bg.Data);
  }
}
BENCHMARK(BM_SphericalHarmonicsBackground)
    ->Arg(1024)
    ->Arg(2048)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
