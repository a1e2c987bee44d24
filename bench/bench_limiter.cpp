// Peak limiter throughput: 512-sample blocks, stereo and 5.1, reported as
// nanoseconds per sample (one channel's sample) and per frame.
//
// "Limiting": programme alternating between quiet stretches and bursts up to
// four times the ceiling, so gains fall, hold and recover (ramps and constant
// gains mixed). "Bypass": peaks below the ceiling, unity gain, copies only.
// Each iteration copies one fresh block into the working rows (included).
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "hvtralofx/CDynamicRangeControl.h"

namespace {

constexpr int kBlock = 512;
constexpr int kBlocksOfMaterial = 64;

std::vector<std::vector<int>> Material(int channels, bool loud) {
  std::mt19937 rng(7);
  std::vector<std::vector<int>> rows(static_cast<size_t>(channels));
  for (auto& row : rows) {
    row.resize(static_cast<size_t>(kBlock) * kBlocksOfMaterial);
    int level = 8000;
    for (size_t t = 0; t < row.size(); ++t) {
      if (t % (3 * kBlock) == 0) level = loud ? static_cast<int>(rng() % 131072) + 1000 : 8000 + static_cast<int>(rng() % 20000);
      row[t] = static_cast<int>(rng() % (2u * static_cast<unsigned>(level) + 1)) - level;
    }
  }
  return rows;
}

void Run(benchmark::State& state, bool loud) {
  const int channels = static_cast<int>(state.range(0));
  const auto material = Material(channels, loud);
  std::vector<std::vector<int>> work(static_cast<size_t>(channels), std::vector<int>(kBlock));
  std::vector<int*> rows;
  for (auto& w : work) rows.push_back(w.data());
  CDynamicRangeControl drc(channels, kBlock);
  drc.Init(48000);
  size_t block = 0;
  for (auto _ : state) {
    for (int c = 0; c < channels; ++c)
      std::memcpy(work[c].data(), material[c].data() + block * kBlock, sizeof(int) * kBlock);
    drc.Process(rows.data(), kBlock);
    benchmark::DoNotOptimize(work[0][0]);
    benchmark::ClobberMemory();
    block = (block + 1) % kBlocksOfMaterial;
  }
  const double frames = static_cast<double>(state.iterations()) * kBlock;
  state.counters["ns_per_sample"] =
      benchmark::Counter(frames * channels, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["ns_per_frame"] = benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_LimiterLimiting(benchmark::State& state) { Run(state, true); }
void BM_LimiterBypass(benchmark::State& state) { Run(state, false); }

}  // namespace

BENCHMARK(BM_LimiterLimiting)->Arg(2)->Arg(6)->ArgName("channels");
BENCHMARK(BM_LimiterBypass)->Arg(2)->Arg(6)->ArgName("channels");
