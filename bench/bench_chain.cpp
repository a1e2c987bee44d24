// The whole chain as a host runs it: the front interface at 48 kHz in
// 512-frame calls, stereo (equalizer with 8 bands and both shelves,
// leveller, limiter) and 5.1 (the same plus the soundbar, the LFE band-pass
// and the LFE leveller). Reported in ns per frame and times real time.
//
// Beside each chain, every stage alone on one block in the chain's own
// configuration (the engine's module instances after the chain set them
// up), in ns per frame: the chain's figure less the stages' sum is what the
// engine spends between them (gathering and emitting the interleaved block,
// domain conversions, copies between the working buffers). Each stage
// iteration copies the next block of the chain's material first (a few hundred ns per block at
// most, inside the stage's figure).
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "ChainSetup.h"

namespace {

void Report(benchmark::State& state) {
  const double frames = static_cast<double>(state.iterations()) * chain::kBlock;
  state.counters["ns_per_frame"] = benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["x_realtime"] = benchmark::Counter(frames / chain::kRate, benchmark::Counter::kIsRate);
}

constexpr int kMaterialBlocks = 16;

void BM_Chain(benchmark::State& state) {
  const int channels = static_cast<int>(state.range(0));
  chain::Configure(channels);
  const auto material = chain::Material(channels, kMaterialBlocks);
  std::vector<short> io(static_cast<size_t>(channels) * chain::kBlock);
  int block = 0;
  for (auto _ : state) {
    std::memcpy(io.data(), material.data() + static_cast<size_t>(block) * io.size(), sizeof(short) * io.size());
    HVTralo_Process(io.data(), chain::kBlock);
    benchmark::DoNotOptimize(io.data());
    block = (block + 1) % kMaterialBlocks;
  }
  Report(state);
}

void BM_Stage(benchmark::State& state) {
  const int channels = static_cast<int>(state.range(0));
  const auto stage = static_cast<chain::Stage>(state.range(1));
  state.SetLabel(chain::StageName(stage));
  chain::Configure(channels);
  const auto blocks = chain::PlanarBlocks(chain::Material(channels, kMaterialBlocks), channels,
                                          chain::StageRunner::InputShift(stage));
  std::vector<int> in(blocks[0].size()), out(in.size());
  const chain::StageRunner runner(stage, channels);
  size_t b = 0;
  for (auto _ : state) {
    std::memcpy(in.data(), blocks[b].data(), sizeof(int) * in.size());
    b = (b + 1) % blocks.size();
    runner.Run(in.data(), out.data());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  Report(state);
}

void StageArgs(benchmark::internal::Benchmark* b) {
  for (int channels : {2, 6})
    for (chain::Stage s : chain::kStages)
      if (chain::StageInChain(s, channels)) b->Args({channels, static_cast<int>(s)});
}

}  // namespace

BENCHMARK(BM_Chain)->Arg(2)->Arg(6)->ArgName("channels");
BENCHMARK(BM_Stage)->Apply(StageArgs)->ArgNames({"channels", "stage"});
