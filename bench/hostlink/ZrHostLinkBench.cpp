// Host link speed against the reference host on loopback: one small call, and a
// 2048 x 2048 float image through shared memory in each direction. The host runs either
// in a thread of this process or as its own veldra-refhost process, as users run it.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QProcess>
#include <memory>
#include <string>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "refhost/ZrRefHost.h"
#include "tests/common/ZrRefHostProcess.h"

namespace {

ZrFloatMatrix TestImage() {
  ZrFloatMatrix image(2048, 2048);
  for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = static_cast<float>(i % 4099);
  return image;
}

struct Link {
  std::unique_ptr<ZrPluginFuncVeldra> Client;
  int32_t Window = -1;
};

struct ThreadLink : Link {
  ZrRefHost Host;
  ZrRefHostThread Server{Host};

  ThreadLink() {
    if (!Server.Start(0)) throw ZrError("reference host does not listen");
    Client = std::make_unique<ZrPluginFuncVeldra>("localhost", Server.Port());
    Client->SubConnect();
    Window = Host.AddImageWindow(TestImage());
  }
};

struct ProcessLink : Link {
  QProcess Program;

  ProcessLink() {
    std::string line;
    const int32_t port =
        ZrStartRefHost(Program, ZR_REFHOST_EXE, {"--port", "0", "--local-name", ""}, 10000, line);
    if (port <= 0) throw ZrError("veldra-refhost did not start: " + line);
    Client = std::make_unique<ZrPluginFuncVeldra>("localhost", port);
    Client->SubConnect();
    Window = Client->ImageNewWindow();
    Client->ImageSet(Window, TestImage());
  }
  ~ProcessLink() {
    Program.kill();
    Program.waitForFinished(5000);
  }
};

Link& TheLink(const benchmark::State& state) {
  if (state.range(0) == 0) {
    static ThreadLink link;
    return link;
  }
  static ProcessLink link;
  return link;
}

// Argument 0: host in a thread of this process; 1: host in its own process.
void HostPlaces(benchmark::internal::Benchmark* b) {
  b->ArgName("own_process")->Arg(0)->Arg(1);
}

void BM_SmallCallRoundTrip(benchmark::State& state) {
  Link& link = TheLink(state);
  for (auto _ : state) benchmark::DoNotOptimize(link.Client->WindowGetFocusedID());
}
BENCHMARK(BM_SmallCallRoundTrip)
    ->Apply(HostPlaces)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

void BM_ImageGet2048(benchmark::State& state) {
  Link& link = TheLink(state);
  ZrFloatMatrix image;
  for (auto _ : state) {
    link.Client->ImageGetBySharedMemory(link.Window, image);
    benchmark::DoNotOptimize(image.Data);
  }
  state.SetBytesProcessed(state.iterations() * 2048LL * 2048 * 4);
}
BENCHMARK(BM_ImageGet2048)
    ->Apply(HostPlaces)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

void BM_ImageSet2048(benchmark::State& state) {
  Link& link = TheLink(state);
  ZrFloatMatrix image(2048, 2048);
  image.Fill(1.5f);
  for (auto _ : state) link.Client->ImageSet(link.Window, image);
  state.SetBytesProcessed(state.iterations() * 2048LL * 2048 * 4);
}
BENCHMARK(BM_ImageSet2048)
    ->Apply(HostPlaces)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
