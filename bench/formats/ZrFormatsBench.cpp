// Throughput of the binary matrix forms: a 2048 x 2048 float image written to document text
// and read back, in "bb" (standard Base64) and "b" (own layout). Rates are in text bytes.
// Reading a list of N siblings, and N siblings of two interleaved names, tagging included:
// linear in N (the complexity fit says "N"), since a read never rescans what it consumed.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "formats/ZrBarnXml.h"
#include "formats/ZrBinaryDataToText.h"

namespace {

constexpr int32_t kSide = 2048;

ZrFloatMatrix Image() {
  ZrFloatMatrix m(kSide, kSide);
  for (int64_t k = 0; k < m.Count(); ++k) m.Data[k] = static_cast<float>(k % 4099) * 0.37F;
  return m;
}

std::string Document(ZrFloatMatrix& m, const std::string& format) {
  ZrBarnXml w("w");
  w.Value("image", m, format);
  std::string text;
  w.GetText(text);
  return text;
}

void BM_WriteImage(benchmark::State& state, const std::string& format) {
  ZrFloatMatrix m = Image();
  size_t bytes = 0;
  for (auto _ : state) {
    const std::string text = Document(m, format);
    bytes = text.size();
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  state.counters["text_MB"] = static_cast<double>(bytes) / 1e6;
}

void BM_ReadImage(benchmark::State& state, const std::string& format) {
  ZrFloatMatrix m = Image();
  const std::string text = Document(m, format);
  for (auto _ : state) {
    ZrBarnXml r("r");
    r.SetText(text);
    ZrFloatMatrix back;
    r.Value("image", back, format);
    benchmark::DoNotOptimize(back.Data);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// The encoders alone, without the tree.
void BM_Encode(benchmark::State& state, bool standard) {
  ZrFloatMatrix m = Image();
  ZrBinaryDataToText coder;
  std::string text;
  for (auto _ : state) {
    coder.Encode(m.Data, static_cast<uint32_t>(m.Count() * 4), text, true, standard);
    benchmark::DoNotOptimize(text.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_Decode(benchmark::State& state, bool standard) {
  ZrFloatMatrix m = Image();
  ZrBinaryDataToText coder;
  std::string text;
  coder.Encode(m.Data, static_cast<uint32_t>(m.Count() * 4), text, true, standard);
  for (auto _ : state) {
    coder.DecodeInto(text, reinterpret_cast<unsigned char*>(m.Data),
                     static_cast<uint64_t>(m.Count() * 4), true, standard);
    benchmark::DoNotOptimize(m.Data);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

}  // namespace

BENCHMARK_CAPTURE(BM_WriteImage, bb, std::string("bb"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ReadImage, bb, std::string("bb"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_WriteImage, b, std::string("b"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ReadImage, b, std::string("b"))->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Encode, standard, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Decode, standard, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Encode, own, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Decode, own, false)->Unit(benchmark::kMillisecond);

// A list of state.range(0) items "<r>k</r>" read whole.
void BM_ReadList(benchmark::State& state) {
  std::string text = "<list>";
  for (int64_t k = 0; k < state.range(0); ++k) text += "<r>" + std::to_string(k) + "</r>";
  text += "</list>";
  for (auto _ : state) {
    ZrBarnXml r("r");
    r.SetText(text);
    std::vector<std::string> items;
    r.Value("list", items);
    benchmark::DoNotOptimize(items.data());
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_ReadList)->RangeMultiplier(4)->Range(1 << 12, 1 << 18)->Complexity();

// state.range(0) pairs "<a>k</a><b>x</b>": every a read, then every b.
void BM_ReadInterleaved(benchmark::State& state) {
  std::string text = "<t>";
  for (int64_t k = 0; k < state.range(0); ++k) text += "<a>" + std::to_string(k) + "</a><b>x</b>";
  text += "</t>";
  for (auto _ : state) {
    ZrBarnXml r("r");
    r.SetText(text);
    r.OpenRack("t");
    int32_t v = 0;
    int64_t sum = 0;
    while (r.Value("a", v, -1)) sum += v;
    std::string b;
    while (r.Value("b", b, "")) ++sum;
    benchmark::DoNotOptimize(sum);
  }
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_ReadInterleaved)->RangeMultiplier(4)->Range(1 << 12, 1 << 18)->Complexity();

BENCHMARK_MAIN();
