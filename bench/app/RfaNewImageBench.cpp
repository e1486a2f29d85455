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
  ZrRefHost Host;
  ZrRefHostThread Server{Host};
  std::unique_ptr<MainWindow> Window;
  ZrFloatMatrix Source = Screen(1);
  int32_t SourceId = -1;
  int32_t OtherId = -1;  // the same screen geometry, other pixel values

  Setup() {
    RfaSetSettingsFileOverride("zr_app_bench.ini");
    if (!Server.Start(0)) std::abort();
    Window = std::make_unique<MainWindow>();
    QTest::qWait(30);
    Window->Host().SetPort(Server.Port());
    Window->Host().SubConnect();
    RfaParameters::Instance() = Parameters();
    Window->FillPanel();
    SourceId = Host.AddImageWindow(Source, "screen.rawf");
    OtherId = Host.AddImageWindow(Screen(2), "next.rawf");
  }
};

Setup& Shared() {
  static Setup setup;
  return setup;
}

void Click(Setup& s, int32_t windowId) {
  s.Host.SetFocus(windowId);
  QTest::mouseClick(s.Window->Form()->pushButton_8, Qt::LeftButton);
}

// Argument: 1 for the first image of its geometry (the fit's caches emptied before the click),
// 0 for the next image of the same geometry (the two screens take turns).
void BM_NewImageClickToResult(benchmark::State& state) {
  Setup& s = Shared();
  const bool first = state.range(0) != 0;
  Click(s, s.OtherId);  // the fit's caches hold this geometry
  bool other = false;
  for (auto _ : state) {
    if (first) {
      state.PauseTiming();
      RfaClearFitCaches();
      state.ResumeTiming();
    }
    Click(s, other ? s.OtherId : s.SourceId);
    other = !other;
  }
  state.counters["windows"] = static_cast<double>(s.Host.WindowIds().size());
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
    RfaFetchImageRecord(s.Window->Host(), s.SourceId, record);
    benchmark::DoNotOptimize(record.Image.Data);
  }
}
BENCHMARK(BM_FetchImageAndKeys)->Unit(benchmark::kMillisecond);

void BM_SendImageAndKeys(benchmark::State& state) {
  Setup& s = Shared();
  const int32_t id = s.Window->Host().ImageNewWindow();
  std::map<std::string, double> doubles{{"MoveToCenter/Sx", 520}};
  std::map<std::string, std::string> texts{{"log", "<app></app>"}};
  for (auto _ : state) RfaSendImageRecord(s.Window->Host(), id, s.Source, doubles, texts);
}
BENCHMARK(BM_SendImageAndKeys)->Unit(benchmark::kMillisecond);

void BM_NewWindowAndUpdate(benchmark::State& state) {
  Setup& s = Shared();
  for (auto _ : state) {
    benchmark::DoNotOptimize(s.Window->Host().ImageNewWindow());
    s.Window->Host().UpdateAll();
  }
}
BENCHMARK(BM_NewWindowAndUpdate)->Unit(benchmark::kMillisecond);

void BM_MoveToCenter(benchmark::State& state) {
  const Setup& s = Shared();
  const RfaParameters p = Parameters();
  for (auto _ : state) {
    ZrFloatMatrix image = s.Source;
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
    RfaSphericalHarmonicsBackground(background, p, s.Source, o);
    benchmark::DoNotOptimize(RfaDivideByBackground(s.Source, background).Data);
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
    const ZrFloatMatrix background = RfaAzimuthalAverageBackground(s.Source, 512.0f, 512.0f);
    benchmark::DoNotOptimize(RfaDivideByBackground(s.Source, background).Data);
  }
}
BENCHMARK(BM_AzimuthalBackgroundAndDivide)->Unit(benchmark::kMillisecond);

void BM_Masks(benchmark::State& state) {
  const Setup& s = Shared();
  const RfaParameters p = Parameters();
  for (auto _ : state) {
    ZrFloatMatrix image = s.Source;
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
