// EQProcess speed: one channel through the full equalizer (eight bands and
// both shelves, as the engine's channels run with every band set), through
// the default shelves only, and through all twelve sections; 512-frame
// blocks, stride 1. Reported as ns per sample.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "eq/CHVAudioEQ_Ts.h"

namespace {

void RunBlocks(benchmark::State& state, CHVAudioEQ_Ts& eq) {
  constexpr int kFrames = 512;
  std::vector<int> in(kFrames), out(kFrames);
  for (int n = 0; n < kFrames; ++n)
    in[n] = static_cast<int>(3000000.0 * std::sin(0.05 * n) + 1000000.0 * std::sin(0.9 * n));
  for (auto _ : state) {
    eq.EQProcess(out.data(), in.data(), 1, kFrames);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.counters["ns_per_sample"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kFrames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void SetBands(CHVAudioEQ_Ts& eq, int count) {
  static const int kHz[10] = {250, 400, 630, 1000, 1600, 2500, 4000, 6300, 9000, 12000};
  for (int b = 0; b < count; ++b) eq.Tst_SetBPFOption(b, true, kHz[b], (b % 2 ? -4 : 5), 2.0f);
}

void BM_EQProcess_8Bands2Shelves(benchmark::State& state) {
  CHVAudioEQ_Ts eq(48000);
  SetBands(eq, 8);
  RunBlocks(state, eq);
}

void BM_EQProcess_10Bands2Shelves(benchmark::State& state) {
  CHVAudioEQ_Ts eq(48000);
  SetBands(eq, 10);
  RunBlocks(state, eq);
}

void BM_EQProcess_DefaultShelves(benchmark::State& state) {
  CHVAudioEQ_Ts eq(48000);
  RunBlocks(state, eq);
}

}  // namespace

BENCHMARK(BM_EQProcess_8Bands2Shelves);
BENCHMARK(BM_EQProcess_10Bands2Shelves);
BENCHMARK(BM_EQProcess_DefaultShelves);
