// Host link speed against the reference host on loopback: one small call, and a
// 2048 x 2048 float image through shared memory in each direction.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <memory>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "refhost/ZrRefHost.h"

namespace {

struct Link {
  ZrRefHost host;
  ZrRefHostThread server{host};
  std::unique_ptr<ZrPluginFuncVeldra> client;
  int32_t window = -1;

  Link() {
    if (!server.Start(0)) throw ZrError("reference host does not listen");
    client = std::make_unique<ZrPluginFuncVeldra>("localhost", server.Port());
    client->SubConnect();
    ZrFloatMatrix image(2048, 2048);
    for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = static_cast<float>(i % 4099);
    window = host.AddImageWindow(image);
  }
};

Link& TheLink() {
  static Link link;
  return link;
}

void BM_SmallCallRoundTrip(benchmark::State& state) {
  Link& link = TheLink();
  for (auto _ : state) benchmark::DoNotOptimize(link.client->WindowGetFocusedID());
}
BENCHMARK(BM_SmallCallRoundTrip)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

void BM_ImageGet2048(benchmark::State& state) {
  Link& link = TheLink();
  ZrFloatMatrix image;
  for (auto _ : state) {
    link.client->ImageGetBySharedMemory(link.window, image);
    benchmark::DoNotOptimize(image.Data);
  }
  state.SetBytesProcessed(state.iterations() * 2048LL * 2048 * 4);
}
BENCHMARK(BM_ImageGet2048)
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

void BM_ImageSet2048(benchmark::State& state) {
  Link& link = TheLink();
  ZrFloatMatrix image(2048, 2048);
  image.Fill(1.5f);
  for (auto _ : state) link.client->ImageSet(link.window, image);
  state.SetBytesProcessed(state.iterations() * 2048LL * 2048 * 4);
}
BENCHMARK(BM_ImageSet2048)
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
