// rfa-process throughput:
// - BM_RfaProcessEightImages: 8 synthetic 512 x 512 screens (Size_l 5) with one and two jobs,
//   in this process.
// - BM_RfaProcessSeries: 32 synthetic 1024 x 1024 screens of one series (the same screen and
//   dip, other pixel values; Size_l 5) through the program: one run of `rfa-process -j 1` over
//   the 32 files against 32 runs of one file each, which cannot reuse the background fit's
//   normal matrix. Each run starts the program, as a script would.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/RfaProcess.h"

namespace {

namespace fs = std::filesystem;

struct Batch {
  std::vector<RfaProcessJob> Jobs;
  RfaParameters Params;
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
    o.ParameterFile = (dir / "in" / "default.rfa_bg").string();
    b.Params = RfaLoadParameters(o);
    b.Params.SizeL = 5;
    b.Jobs = RfaCollectJobs({(dir / "in").string()}, (dir / "out").string());
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
        RfaRunJobs(batch.Jobs, batch.Params, threads, {}).Failures;
    if (!failures.empty()) state.SkipWithError(failures.front().c_str());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(batch.Jobs.size()));
}
BENCHMARK(BM_RfaProcessEightImages)
    ->ArgName("jobs")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

constexpr int kSeriesFiles = 32;

// The 32 files and their parameter file, made once.
const fs::path& SeriesFolder() {
  static const fs::path dir = [] {
    const fs::path d = fs::temp_directory_path() / "zr_tools_bench_series";
    fs::remove_all(d);
    RfaMakeSamples((d / "in").string(), kSeriesFiles, 1024);
    return d;
  }();
  return dir;
}

bool RunProgram(const std::string& arguments) {
  const std::string command = std::string(ZR_RFA_PROCESS) + " " + arguments + " > /dev/null";
  return std::system(command.c_str()) == 0;
}

// Argument: 1 for one run over all files, 0 for one run per file.
void BM_RfaProcessSeries(benchmark::State& state) {
  const fs::path& dir = SeriesFolder();
  const std::string common =
      "-p " + (dir / "in" / "default.rfa_bg").string() + " -j 1 -o " + (dir / "out").string();
  for (auto _ : state) {
    bool ok = true;
    if (state.range(0) != 0) {
      ok = RunProgram(common + " " + (dir / "in").string());
    } else {
      for (int i = 1; i <= kSeriesFiles; ++i) {
        const fs::path file = dir / "in" / ("sample-" + std::to_string(i) + ".tif");
        ok = RunProgram(common + " " + file.string()) && ok;
      }
    }
    if (!ok) state.SkipWithError("rfa-process failed");
  }
  state.counters["s_per_file"] = benchmark::Counter(
      kSeriesFiles, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_RfaProcessSeries)
    ->ArgName("one_run")
    ->Arg(1)
    ->Arg(0)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
