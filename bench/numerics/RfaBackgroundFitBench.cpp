// Timings of the background fit on realistic screen images (Size_l 5 unless named):
// - BM_Fit: one fit without reuse, by image size, threads and basis (the symmetric basis against
//   the per-pixel one of the fit as first written). Counters: the largest relative difference
//   of the background from the per-pixel fit's (parts per billion) and the number of pixels
//   that differ at all, and whether M is bit for bit the one-thread M.
// - BM_Series: 32 screens of 1024 x 1024 with the same disc and dip and different pixel values,
//   fitted one after another without reuse, with reuse, and with reuse but no basis table.
//   Counters: seconds per image, images whose normal matrix was reused, the table's size, and
//   images whose background is bit for bit the one of the fit without reuse.
// - BM_AccumulateTiled / BM_AccumulatePlain: the accumulation of the normal equations on one
//   thread against its plain reference loop.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaParameters.h"

namespace {

// A screen image: a smooth background falling towards the rim, a ring of diffraction-like
// spots, shot noise, a blanked MCP dip and zeros outside the screen. The seed changes the
// noise, the tilt and the spots' brightness, not where the zeros are.
ZrFloatMatrix ScreenImage(int32_t size, double radius, unsigned seed = 12345) {
  ZrFloatMatrix image(size, size);
  std::mt19937 random(seed);
  std::normal_distribution<float> noise(0.0f, 2.0f);
  const double tilt = 80.0 + (seed % 7) * 10.0;
  const double spots = 400.0 + (seed % 5) * 50.0;
  const double c = size / 2;
  for (int32_t y = 0; y < size; ++y) {
    for (int32_t x = 0; x < size; ++x) {
      const double dx = x - c, dy = y - c;
      const double r = std::sqrt(dx * dx + dy * dy) / radius;
      float v = 0.0f;
      if (r < 1.0) {
        v = static_cast<float>(1000.0 * (1.0 - 0.6 * r * r) + tilt * dx / radius);
        for (int k = 0; k < 6; ++k) {
          const double a = k * 1.0471975511965976;
          const double sx = c + 0.55 * radius * std::cos(a) - x;
          const double sy = c + 0.55 * radius * std::sin(a) - y;
          v += static_cast<float>(spots *
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
  p.SizeL = degree;
  return p;
}

// The screen radius is 500/1024 of the size.
double ScreenRadius(int32_t size) {
  return 500.0 * size / 1024.0;
}

const ZrFloatMatrix& Screen(int32_t size) {
  static std::map<int32_t, ZrFloatMatrix> screens;
  auto it = screens.find(size);
  if (it == screens.end()) it = screens.emplace(size, ScreenImage(size, ScreenRadius(size))).first;
  return it->second;
}

// The fit as first written (per-pixel basis, one thread), once per size.
const ZrFloatMatrix& PerPixelBackground(int32_t size) {
  static std::map<int32_t, ZrFloatMatrix> done;
  auto it = done.find(size);
  if (it == done.end()) {
    RfaFitOptions o;
    o.Threads = 1;
    o.Reuse = false;
    o.Basis = RfaBasisKind::PerPixel;
    ZrFloatMatrix background;
    RfaSphericalHarmonicsBackground(background, Parameters(ScreenRadius(size), 5), Screen(size), o);
    it = done.emplace(size, background).first;
  }
  return it->second;
}

// The largest relative difference of a from b, and how many pixels differ at all.
double LargestRelativeDifference(const ZrFloatMatrix& a, const ZrFloatMatrix& b,
                                 int64_t& differing) {
  double largest = 0;
  differing = 0;
  for (int64_t i = 0; i < a.Count(); ++i) {
    differing += a.Data[i] != b.Data[i] ? 1 : 0;
    if (b.Data[i] != 0) {
      largest = std::max(largest, std::fabs(static_cast<double>(a.Data[i]) - b.Data[i]) /
                                      std::fabs(static_cast<double>(b.Data[i])));
    } else if (a.Data[i] != 0) {
      largest = INFINITY;
    }
  }
  return largest;
}

bool SameM(int32_t size, int32_t threads) {
  RfaNormalEquations one, many;
  RfaFitOptions o;
  o.Reuse = false;
  o.Threads = 1;
  const RfaParameters p = Parameters(ScreenRadius(size), 5);
  RfaAccumulateNormalEquations(one, Screen(size), p, o);
  o.Threads = threads;
  RfaAccumulateNormalEquations(many, Screen(size), p, o);
  return std::memcmp(one.M.Data, many.M.Data, sizeof(long double) * one.M.Count()) == 0 &&
         std::memcmp(one.b.Data, many.b.Data, sizeof(long double) * one.b.Count()) == 0;
}

// Arguments: image size, threads, per-pixel basis (1) or symmetric (0).
void BM_Fit(benchmark::State& state) {
  const int32_t size = static_cast<int32_t>(state.range(0));
  RfaFitOptions o;
  o.Threads = static_cast<int32_t>(state.range(1));
  o.Reuse = false;
  o.Basis = state.range(2) != 0 ? RfaBasisKind::PerPixel : RfaBasisKind::Symmetric;
  const RfaParameters params = Parameters(ScreenRadius(size), 5);
  const ZrFloatMatrix& image = Screen(size);
  ZrFloatMatrix background;
  for (auto _ : state) {
    RfaSphericalHarmonicsBackground(background, params, image, o);
    benchmark::DoNotOptimize(background.Data);
  }
  if (o.Basis == RfaBasisKind::Symmetric && size <= 1024) {
    // In parts per billion: the counters print small fractions as 0.
    int64_t differing = 0;
    state.counters["rel_diff_vs_per_pixel_ppb"] =
        1e9 * LargestRelativeDifference(background, PerPixelBackground(size), differing);
    state.counters["pixels_differing"] = static_cast<double>(differing);
  }
  if (o.Threads > 1) state.counters["M_same_as_1_thread"] = SameM(size, o.Threads) ? 1 : 0;
}
BENCHMARK(BM_Fit)
    ->ArgNames({"size", "threads", "per_pixel"})
    ->Args({1024, 1, 1})
    ->Args({1024, 1, 0})
    ->Args({1024, 2, 0})
    ->Args({2048, 1, 0})
    ->Args({2048, 2, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

constexpr int kSeriesImages = 32;

const std::vector<ZrFloatMatrix>& SeriesImages() {
  static const std::vector<ZrFloatMatrix> images = [] {
    std::vector<ZrFloatMatrix> all;
    for (int i = 0; i < kSeriesImages; ++i) {
      all.push_back(ScreenImage(1024, ScreenRadius(1024), 1000 + static_cast<unsigned>(i)));
    }
    return all;
  }();
  return images;
}

uint64_t Fingerprint(const ZrFloatMatrix& m) {
  uint64_t h = 1469598103934665603ull;  // FNV-1a over the bytes
  const auto* bytes = reinterpret_cast<const unsigned char*>(m.Data);
  for (int64_t i = 0; i < m.Count() * 4; ++i) h = (h ^ bytes[i]) * 1099511628211ull;
  return h;
}

// Argument: 0 without reuse, 1 with reuse, 2 with reuse but no basis table. The caches are
// emptied before each pass over the series, so its first image computes M.
void BM_Series(benchmark::State& state) {
  static std::vector<uint64_t> uncached;  // fingerprints of the backgrounds without reuse
  const std::vector<ZrFloatMatrix>& images = SeriesImages();
  const RfaParameters params = Parameters(ScreenRadius(1024), 5);
  RfaFitReport report;
  RfaFitOptions o;
  o.Reuse = state.range(0) != 0;
  o.TableLimit = state.range(0) == 2 ? 0 : -1;
  o.Report = &report;
  std::vector<uint64_t> prints;
  int reused = 0;
  int64_t tableBytes = 0;
  for (auto _ : state) {
    RfaClearFitCaches();
    prints.clear();
    reused = 0;
    for (const ZrFloatMatrix& image : images) {
      ZrFloatMatrix background;
      RfaSphericalHarmonicsBackground(background, params, image, o);
      reused += report.MatrixReused ? 1 : 0;
      tableBytes = std::max(tableBytes, report.TableBytes);
      state.PauseTiming();
      prints.push_back(Fingerprint(background));
      state.ResumeTiming();
    }
  }
  if (!o.Reuse) uncached = prints;
  int same = -1;
  if (!uncached.empty()) {
    same = 0;
    for (size_t i = 0; i < prints.size(); ++i) same += prints[i] == uncached[i] ? 1 : 0;
  }
  state.counters["s_per_image"] = benchmark::Counter(
      kSeriesImages, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["reused"] = reused;
  state.counters["table_MB"] = static_cast<double>(tableBytes) / 1e6;
  state.counters["same_bits_as_uncached"] = same;
}
BENCHMARK(BM_Series)
    ->ArgName("mode")
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

// Arguments: image size, Size_l.
void Accumulate(benchmark::State& state, bool tiled) {
  const int32_t size = static_cast<int32_t>(state.range(0));
  const ZrFloatMatrix& image = Screen(size);
  const RfaParameters params = Parameters(ScreenRadius(size), static_cast<int32_t>(state.range(1)));
  RfaFitOptions o;
  o.Threads = 1;
  o.Reuse = false;
  RfaNormalEquations eq;
  for (auto _ : state) {
    if (tiled) {
      RfaAccumulateNormalEquations(eq, image, params, o);
    } else {
      RfaAccumulateNormalEquationsReference(eq, image, params);
    }
    benchmark::DoNotOptimize(eq.M.Data);
  }
}

void BM_AccumulateTiled(benchmark::State& state) {
  Accumulate(state, true);
}
void BM_AccumulatePlain(benchmark::State& state) {
  Accumulate(state, false);
}

void Sizes(benchmark::internal::Benchmark* b) {
  // The plain loop costs K^2 per pixel: degree 10 (K = 121) is timed on 512^2 only.
  b->Args({1024, 5})->Args({512, 5})->Args({2048, 5})->Args({512, 10});
  b->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3)->ReportAggregatesOnly(true);
}

}  // namespace

BENCHMARK(BM_AccumulateTiled)->Apply(Sizes);
BENCHMARK(BM_AccumulatePlain)->Apply(Sizes);

BENCHMARK_MAIN();
