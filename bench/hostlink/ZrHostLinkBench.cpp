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
  std::unique_ptr<ZrPluginFuncVeldra> client;
  int32_t window = -1;
};

struct ThreadLink : Link {
  ZrRefHost host;
  ZrRefHostThread server{host};

  ThreadLink() {
    if (!server.Start(0)) throw ZrError("reference host does not listen");
    client = std::make_unique<ZrPluginFuncVeldra>("localhost", server.Port());
    client->SubConnect();
    window = host.AddImageWindow(TestImage());
  }
};

struct ProcessLink : Link {
  QProcess program;

  ProcessLink() {
    std::string line;
    const int32_t port =
        ZrStartRefHost(program, ZR_REFHOST_EXE, {"--port", "0", "--local-name", ""}, 10000, line);
    if (port <= 0) throw ZrError("veldra-refhost did not start: " + line);
    client = std::make_unique<ZrPluginFuncVeldra>("localhost", port);
    client->SubConnect();
    window = client->ImageNewWindow();
    client->ImageSet(window, TestImage());
  }
  ~ProcessLink() {
    program.kill();
    program.waitForFinished(5000);
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
  for (auto _ : state) benchmark::DoNotOptimize(link.client->WindowGetFocusedID());
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
    link.client->ImageGetBySharedMemory(link.window, image);
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
  for (auto _ : state) link.client->ImageSet(link.window, image);
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
