// "New Image (Apply checked operations)" with every box checked on a 1024 x 1024 screen, from
// the click to the result window in the reference host (served from a thread of this
// process): on the first image of its geometry (the background fit computes its normal matrix
// and basis table) and on the next image of the same geometry (other pixel values, the fit
// reuses them). Then the parts the time goes to: fetching the image and keys, each operation
// of the chain, and sending the result.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QPushButton>
#include <QTest>
#include <cstdlib>
#include <memory>

#include "app/MainWindow.h"
#include "app/RfaParameterFiles.h"
#include "app/RfaParametersBind.h"
#include "formats/ZrQtDebug.h"
#include "refhost/ZrRefHost.h"
#include "rfa/RfaBackgroundFit.h"
#include "rfa/RfaImageOps.h"
#include "rfa/RfaParameters.h"
#include "rfahost/RfaPipeline.h"
#include "tests/common/RfaTestParameters.h"
#include "tests/common/ZrTestScreens.h"
#include "ui_MainWindow.h"

namespace {

ZrFloatMatrix Screen(uint32_t seed) {
  return RfaMakeSyntheticScreen(RfaScreenOptions(1024, 1024, 520, 505, 420, 600, 560, 30, seed));
}

// Every operation checked, as by default.
RfaParameters Parameters() {
  return RfaGeometry(520, 505, 420, 10, 5, 512, 512, 592, 567, 30, 512, 512, 425, 425);
}

// One host, one connected main window and the source image, shared by the benchmarks.
struct Setup {
  ZrRefHost host;
  ZrRefHostThread server{host};
  std::unique_ptr<MainWindow> window;
  ZrFloatMatrix source = Screen(1);
  int32_t sourceId = -1;
  int32_t otherId = -1;  // the same screen geometry, other pixel values

  Setup() {
    RfaSetSettingsFileOverride("zr_app_bench.ini");
    if (!server.Start(0)) std::abort();
    window = std::make_unique<MainWindow>();
    QTest::qWait(30);
    window->Host().SetPort(server.Port());
    window->Host().SubConnect();
    RfaParameters::Instance() = Parameters();
    window->FillPanel();
    sourceId = host.AddImageWindow(source, "screen.rawf");
    otherId = host.AddImageWindow(Screen(2), "next.rawf");
  }
};

Setup& Shared() {
  static Setup setup;
  return setup;
}

void Click(Setup& s, int32_t windowId) {
  s.host.SetFocus(windowId);
  QTest::mouseClick(s.window->Form()->pushButton_8, Qt::LeftButton);
}

// Argument: 1 for the first image of its geometry (the fit's caches emptied before the click),
// 0 for the next image of the same geometry (the two screens take turns).
void BM_NewImageClickToResult(benchmark::State& state) {
  Setup& s = Shared();
  const bool first = state.range(0) != 0;
  Click(s, s.otherId);  // the fit's caches hold this geometry
  bool other = false;
  for (auto _ : state) {
    if (first) {
      state.PauseTiming();
      RfaClearFitCaches();
      state.ResumeTiming();
    }
    Click(s, other ? s.otherId : s.sourceId);
    other = !other;
  }
  state.counters["windows"] = static_cast<double>(s.host.WindowIds().size());
}
BENCHMARK(BM_NewImageClickToResult)
    ->ArgName("first_of_geometry")
    ->Arg(1)
    ->Arg(0)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

void BM_FetchImageAndKeys(benchmark::State& state) {
  Setup& s = Shared();
  for (auto _ : state) {
    RfaImageRecord record;
    RfaFetchImageRecord(s.window->Host(), s.sourceId, record);
    benchmark::DoNotOptimize(record.image.Data);
  }
}
BENCHMARK(BM_FetchImageAndKeys)->Unit(benchmark::kMillisecond);

void BM_SendImageAndKeys(benchmark::State& state) {
  Setup& s = Shared();
  const int32_t id = s.window->Host().ImageNewWindow();
  std::map<std::string, double> doubles{{"MoveToCenter/Sx", 520}};
  std::map<std::string, std::string> texts{{"log", "<app></app>"}};
  for (auto _ : state) RfaSendImageRecord(s.window->Host(), id, s.source, doubles, texts);
}
BENCHMARK(BM_SendImageAndKeys)->Unit(benchmark::kMillisecond);

void BM_NewWindowAndUpdate(benchmark::State& state) {
  Setup& s = Shared();
  for (auto _ : state) {
    benchmark::DoNotOptimize(s.window->Host().ImageNewWindow());
    s.window->Host().UpdateAll();
  }
}
BENCHMARK(BM_NewWindowAndUpdate)->Unit(benchmark::kMillisecond);

void BM_MoveToCenter(benchmark::State& state) {
  const Setup& s = Shared();
  const RfaParameters p = Parameters();
  for (auto _ : state) {
    ZrFloatMatrix image = s.source;
    RfaMoveToCenter(image, p.Sx, p.Sy);
    benchmark::DoNotOptimize(image.Data);
  }
}
BENCHMARK(BM_MoveToCenter)->Unit(benchmark::kMillisecond);

// Argument: reuse of the normal matrix and basis table (1) or none (0).
void BM_SphericalHarmonicsBackgroundAndDivide(benchmark::State& state) {
  const Setup& s = Shared();
  const RfaParameters p = Parameters();
  RfaFitOptions o;
  o.Reuse = state.range(0) != 0;
  for (auto _ : state) {
    ZrFloatMatrix background;
    RfaSphericalHarmonicsBackground(background, p, s.source, o);
    benchmark::DoNotOptimize(RfaDivideByBackground(s.source, background).Data);
  }
}
BENCHMARK(BM_SphericalHarmonicsBackgroundAndDivide)
    ->ArgName("reuse")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_AzimuthalBackgroundAndDivide(benchmark::State& state) {
  const Setup& s = Shared();
  for (auto _ : state) {
    const ZrFloatMatrix background = RfaAzimuthalAverageBackground(s.source, 512.0f, 512.0f);
    benchmark::DoNotOptimize(RfaDivideByBackground(s.source, background).Data);
  }
}
BENCHMARK(BM_AzimuthalBackgroundAndDivide)->Unit(benchmark::kMillisecond);

void BM_Masks(benchmark::State& state) {
  const Setup& s = Shared();
  const RfaParameters p = Parameters();
  for (auto _ : state) {
    ZrFloatMatrix image = s.source;
    RfaMaskMcpDip(image, p.McpDipCx, p.McpDipCy, p.McpDipR);
    RfaMaskOutside(image, p.MaskCx, p.MaskCy, p.MaskRx, p.MaskRy);
    benchmark::DoNotOptimize(image.Data);
  }
}
BENCHMARK(BM_Masks)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  if (std::getenv("QT_QPA_PLATFORM") == nullptr) setenv("QT_QPA_PLATFORM", "offscreen", 1);
  // The fit's diagnostic dumps stay out of the report's way unless asked for.
  if (std::getenv("ZR_BENCH_SHOW_DEBUG") != nullptr) ZrDebugToQt();
  QApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
