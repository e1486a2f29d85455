// Timings of the background fit: the tiled normal-matrix accumulation against the plain
// loop on the same realistic screen image, and the whole fit.
#include <benchmark/benchmark.h>

#include <QtGlobal>
#include <cmath>
#include <cstdint>
#include <random>

#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaParameters.h"

namespace {

// A screen image: a smooth background falling towards the rim, a ring of diffraction-like
// spots, shot noise, a blanked MCP dip and zeros outside the screen.
ZrFloatMatrix ScreenImage(int32_t size, double radius) {
  ZrFloatMatrix image(size, size);
  std::mt19937 random(12345);
  std::normal_distribution<float> noise(0.0f, 2.0f);
  const double c = size / 2;
  for (int32_t y = 0; y < size; ++y) {
    for (int32_t x = 0; x < size; ++x) {
      const double dx = x - c, dy = y - c;
      const double r = std::sqrt(dx * dx + dy * dy) / radius;
      float v = 0.0f;
      if (r < 1.0) {
        v = static_cast<float>(1000.0 * (1.0 - 0.6 * r * r) + 80.0 * dx / radius);
        for (int k = 0; k < 6; ++k) {
          const double a = k * 1.0471975511965976;
          const double sx = c + 0.55 * radius * std::cos(a) - x;
          const double sy = c + 0.55 * radius * std::sin(a) - y;
          v += static_cast<float>(400.0 *
                                  std::exp(-(sx * sx + sy * sy) / (0.002 * radius * radius)));
        }
        v += noise(random);
        const double mx = x - (c + 0.3 * radius), my = y - (c - 0.2 * radius);
        if (mx * mx + my * my < 0.0025 * radius * radius) v = 0.0f;
      }
      image(x, y) = v;
    }
  }
  return image;
}

RfaParameters Parameters(double screenRadius, int32_t degree) {
  RfaParameters p;
  p.Sr = screenRadius;
  p.SMargin = 10;
  p.Size_l = degree;
  return p;
}

// Arguments: image size, Size_l; the screen radius is 500/1024 of the size.
void Run(benchmark::State& state, bool tiled) {
  const int32_t size = static_cast<int32_t>(state.range(0));
  const double screen = 500.0 * size / 1024.0;
  const ZrFloatMatrix image = ScreenImage(size, screen);
  const RfaParameters params = Parameters(screen, static_cast<int32_t>(state.range(1)));
  RfaNormalEquations eq;
  for (auto _ : state) {
    if (tiled) {
      RfaAccumulateNormalEquations(eq, image, params);
    } else {
      RfaAccumulateNormalEquationsReference(eq, image, params);
    }
    benchmark::DoNotOptimize(eq.M.Data);
  }
}

void BM_AccumulateTiled(benchmark::State& state) {
  Run(state, true);
}
void BM_AccumulatePlain(benchmark::State& state) {
  Run(state, false);
}

void BM_FullFit(benchmark::State& state) {
  qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
  const int32_t size = static_cast<int32_t>(state.range(0));
  const double screen = 500.0 * size / 1024.0;
  const ZrFloatMatrix image = ScreenImage(size, screen);
  const RfaParameters params = Parameters(screen, static_cast<int32_t>(state.range(1)));
  ZrFloatMatrix background;
  for (auto _ : state) {
    RfaSphericalHarmonicsBackground(background, params, image);
    benchmark::DoNotOptimize(background.Data);
  }
}

void Sizes(benchmark::internal::Benchmark* b) {
  // The plain loop costs K^2 per pixel: degree 10 (K = 121) is timed on 512^2 only.
  b->Args({1024, 5})->Args({512, 5})->Args({2048, 5})->Args({512, 10});
  b->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3)->ReportAggregatesOnly(true);
}

}  // namespace

BENCHMARK(BM_AccumulateTiled)->Apply(Sizes);
BENCHMARK(BM_AccumulatePlain)->Apply(Sizes);
BENCHMARK(BM_FullFit)
    ->Args({1024, 5})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

BENCHMARK_MAIN();
