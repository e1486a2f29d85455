// rfa-process throughput: 8 synthetic 512 x 512 screens (Size_l 5) with one and two jobs.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tools/RfaProcess.h"

namespace {

namespace fs = std::filesystem;

struct Batch {
  std::vector<RfaProcessJob> jobs;
  RfaParameters params;
};

// The inputs are made once; every run writes its outputs into a folder of its own.
Batch& SharedBatch() {
  static Batch batch = [] {
    Batch b;
    RfaSilenceDebugOutput();
    const fs::path dir = fs::temp_directory_path() / "zr_tools_bench";
    fs::remove_all(dir);
    RfaMakeSamples((dir / "in").string(), 8, 512);
    RfaProcessOptions o;
    o.parameterFile = (dir / "in" / "default.rfa_bg").string();
    b.params = RfaLoadParameters(o);
    b.params.Size_l = 5;
    b.jobs = RfaCollectJobs({(dir / "in").string()}, (dir / "out").string());
    fs::create_directories(dir / "out");
    return b;
  }();
  return batch;
}

void BM_RfaProcessEightImages(benchmark::State& state) {
  Batch& batch = SharedBatch();
  const int threads = static_cast<int>(state.range(0));
  for (auto _ : state) {
    const std::vector<std::string> failures =
        RfaRunJobs(batch.jobs, batch.params, threads, {}).failures;
    if (!failures.empty()) state.SkipWithError(failures.front().c_str());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(batch.jobs.size()));
}
BENCHMARK(BM_RfaProcessEightImages)
    ->ArgName("jobs")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
