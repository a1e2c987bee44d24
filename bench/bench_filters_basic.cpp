// Throughput of the small filter blocks on one channel in 512-sample blocks,
// as the soundbar runs them, reported as nanoseconds per sample:
//   delay line   127 samples (the DC blocker's latency), ring and block
//                forms, 16- and 32-bit lines, in place;
//   DC blocker   the three variants with the soundbar's shifts (10, 10);
//   integrator   both widths with the soundbar's (48000, 10, 2).
// Each iteration filters the next block of a 64-block noise buffer in place.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "hvtralofx/CDCBlockerMAFxd.h"
#include "hvtralofx/CDelayLineFxd.h"
#include "hvtralofx/CNGOIntegratorFxd.h"

namespace {

constexpr int kBlock = 512;
constexpr int kBlocksOfMaterial = 64;

template <class Sample>
std::vector<Sample> Material() {
  std::mt19937 rng(11);
  std::uniform_int_distribution<int> d(-32768, 32767);
  std::vector<Sample> v(static_cast<size_t>(kBlock) * kBlocksOfMaterial);
  for (Sample& s : v) s = static_cast<Sample>(d(rng));
  return v;
}

// Runs `filter(data, n)` over consecutive blocks of the material, cycling
// (the values filtered in place keep changing; no block's cost depends on them).
template <class Sample, class Fn>
void Loop(benchmark::State& state, Fn filter) {
  std::vector<Sample> work = Material<Sample>();
  size_t block = 0;
  for (auto _ : state) {
    filter(work.data() + block * kBlock, kBlock);
    benchmark::ClobberMemory();
    block = (block + 1) % kBlocksOfMaterial;
  }
  state.counters["ns_per_sample"] = benchmark::Counter(static_cast<double>(state.iterations()) * kBlock,
                                                       benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

template <class Sample>
void BM_DelayLineRing(benchmark::State& state) {
  CDelayLineFxd dl;
  dl.Init(127, 1, 0, nullptr);
  Loop<Sample>(state, [&](Sample* x, int n) { dl.Filter(x, x, n, 1); });
}

template <class Sample>
void BM_DelayLineBlockCopy(benchmark::State& state) {
  CDelayLineFxd dl;
  dl.Init(127, 1, 0, nullptr);
  Loop<Sample>(state, [&](Sample* x, int n) { dl.Filter_v3(x, x, n, 1); });
}

template <class Sample>
void BM_DCBlocker(benchmark::State& state) {
  CDCBlockerMAFxd dc;
  dc.Init(10, 10);
  Loop<Sample>(state, [&](Sample* x, int n) { dc.Filter(x, x, n); });
}

void BM_DCBlockerShortToInt(benchmark::State& state) {
  CDCBlockerMAFxd dc;
  dc.Init(10, 10);
  std::vector<int> out(kBlock);
  Loop<short>(state, [&](short* x, int n) {
    dc.Filter(x, out.data(), n);
    benchmark::DoNotOptimize(out.data());
  });
}

template <class Sample>
void BM_Integrator(benchmark::State& state) {
  CNGOIntegratorFxd it;
  it.Clear();
  it.Init(48000, 10, 2);
  Loop<Sample>(state, [&](Sample* x, int n) { it.Filter(x, x, n); });
}

}  // namespace

BENCHMARK_TEMPLATE(BM_DelayLineRing, short);
BENCHMARK_TEMPLATE(BM_DelayLineRing, int);
BENCHMARK_TEMPLATE(BM_DelayLineBlockCopy, short);
BENCHMARK_TEMPLATE(BM_DelayLineBlockCopy, int);
BENCHMARK_TEMPLATE(BM_DCBlocker, short);
BENCHMARK_TEMPLATE(BM_DCBlocker, int);
BENCHMARK(BM_DCBlockerShortToInt);
BENCHMARK_TEMPLATE(BM_Integrator, short);
BENCHMARK_TEMPLATE(BM_Integrator, int);
