// Timing of the screen search and the azimuthal-average background on a 1024 x 1024 screen.
#include <benchmark/benchmark.h>

#include "rfa/RfaImageOps.h"
#include "rfa/RfaScreenAdjust.h"
#include "tests/common/ZrTestScreens.h"

namespace {

const ZrFloatMatrix& Screen1024() {
  static const ZrFloatMatrix screen = RfaMakeSyntheticScreen(
      RfaScreenOptions(1024, 1024, 521.5, 503.0, 440.0, 560.0, 470.0, 40.0, 7));
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
