// Timing of the screen search and the azimuthal-average background on a 1024 x 1024 screen.
#include <benchmark/benchmark.h>

#include "rfa/RfaImageOps.h"
#include "rfa/RfaScreenAdjust.h"
#include "samples/RfaSyntheticScreen.h"

namespace {

const ZrFloatMatrix& Screen1024() {
  static const ZrFloatMatrix screen = [] {
    RfaSyntheticScreenOptions o;
    o.width = 1024;
    o.height = 1024;
    o.cx = 521.5;
    o.cy = 503.0;
    o.radius = 440.0;
    o.dipCx = 560.0;
    o.dipCy = 470.0;
    o.dipRadius = 40.0;
    o.seed = 7;
    return RfaMakeSyntheticScreen(o);
  }();
  return screen;
}

void BM_AdjustScreen(benchmark::State& state) {
  const ZrFloatMatrix& screen = Screen1024();
  for (auto _ : state) {
    RfaScreenAdjustResult r = RfaAdjustScreen(screen, 0.1, static_cast<int32_t>(state.range(0)));
    benchmark::DoNotOptimize(r.cx);
  }
}
BENCHMARK(BM_AdjustScreen)->Arg(10)->Arg(4)->Unit(benchmark::kMillisecond);

void BM_AzimuthalAverageBackground(benchmark::State& state) {
  const ZrFloatMatrix& screen = Screen1024();
  for (auto _ : state) {
    ZrFloatMatrix bg = RfaAzimuthalAverageBackground(screen, 512.0f, 512.0f, 1.0f);
    benchmark::DoNotOptimize(bg.Data);
  }
}
BENCHMARK(BM_AzimuthalAverageBackground)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
