// Cost per sample of the soundbar's heavy filter blocks: the 257-tap FIR
// (class, and its portable and vector kernels over the same 512 outputs) and
// the two-section forward-backward low-pass with a look-ahead of 128.
// The counter "per_sample" is the time per sample.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "FirTaps.h"
#include "hvtralofx/CFIRFxd.h"
#include "hvtralofx/CFiltFiltFxd.h"
#include "filters/FirKernelsInternal.h"
#include "simd/SimdLevel.h"

namespace {

using bench::kTaps;
using bench::HighpassTaps;
namespace fir = hvfx::fir;

template <class S>
std::vector<S> Noise(size_t n, int amplitude) {
  std::mt19937 rng(5);
  std::uniform_int_distribution<int> dist(-amplitude, amplitude);
  std::vector<S> v(n);
  for (auto& s : v) s = static_cast<S>(dist(rng));
  return v;
}

// The level the library runs at (the vector kernels below are its kernels).
const char* VectorName() { return hvfx::simd::ActiveLevelName(); }

void PerSample(benchmark::State& state, int samplesPerIteration) {
  state.counters["per_sample"] = benchmark::Counter(static_cast<double>(samplesPerIteration),
                                                    benchmark::Counter::kIsIterationInvariantRate |
                                                        benchmark::Counter::kInvert);
}

template <class S>
void FirFilter(benchmark::State& state) {
  const int n = 512;
  std::vector<short> taps = HighpassTaps();
  short q = 1;
  CFIRFxd fir;
  fir.Init(taps.data(), &q, kTaps, 1);
  state.SetLabel(VectorName());
  auto block = Noise<S>(n, sizeof(S) == 2 ? 8000 : 2000000);
  std::vector<S> out(n);
  for (auto _ : state) {
    fir.Filter(block.data(), out.data(), n, 1);
    benchmark::DoNotOptimize(out.data());
  }
  PerSample(state, n);
}

// The kernels alone over 512 outputs (a block's worth, history included).
template <class Fn, class S>
void FirKernel(benchmark::State& state, Fn kernel) {
  if (kernel == nullptr) {
    state.SkipWithError("no vector kernels in this build");
    return;
  }
  const int n = 512;
  std::vector<short> reversed = HighpassTaps();  // symmetric: reversing changes nothing
  const auto x = Noise<S>(n + kTaps - 1, sizeof(S) == 2 ? 8000 : 2000000);
  std::vector<S> out(n);
  for (auto _ : state) {
    kernel(reversed.data(), kTaps, x.data(), n, 16, out.data());
    benchmark::DoNotOptimize(out.data());
  }
  PerSample(state, n);
}


void Fir32Portable(benchmark::State& state) { FirKernel<fir::RunTaps32Fn, int>(state, fir::RunTaps32Portable); }
void Fir32Vector(benchmark::State& state) {
  state.SetLabel(VectorName());
  FirKernel<fir::RunTaps32Fn, int>(state, fir::ActiveTapKernels().taps32);
}
void Fir16Portable(benchmark::State& state) { FirKernel<fir::RunTaps16Fn, short>(state, fir::RunTaps16Portable); }
void Fir16Vector(benchmark::State& state) {
  state.SetLabel(VectorName());
  FirKernel<fir::RunTaps16Fn, short>(state, fir::ActiveTapKernels().taps16);
}

// Low-pass of the 50 cm / 48 kHz set: two sections, L = 128.
template <class S>
void FiltFilt(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<short> sos = {16384, 16384, 0, 16384, -13404, 0, 8192, 16384, 8192, 8192, -14612, 6715};
  std::vector<short> sosQ = {-1, -2}, gain = {16384, 16384, 27512}, gainQ = {-1, -1, 10};
  CFiltFiltFxd lowpass;
  lowpass.Init(sos.data(), sosQ.data(), gain.data(), gainQ.data(), 2, 1, 128, n);
  auto block = Noise<S>(n, sizeof(S) == 2 ? 8000 : 2000000);
  std::vector<S> out(n);
  for (auto _ : state) {
    lowpass.Filter(block.data(), out.data(), n, 1);
    benchmark::DoNotOptimize(out.data());
  }
  PerSample(state, n);
}

}  // namespace

BENCHMARK_TEMPLATE(FirFilter, int)->Name("FIR257/Filter32/512");
BENCHMARK_TEMPLATE(FirFilter, short)->Name("FIR257/Filter16/512");
BENCHMARK(Fir32Portable)->Name("FIR257/kernel32/portable");
BENCHMARK(Fir32Vector)->Name("FIR257/kernel32/vector");
BENCHMARK(Fir16Portable)->Name("FIR257/kernel16/portable");
BENCHMARK(Fir16Vector)->Name("FIR257/kernel16/vector");
BENCHMARK_TEMPLATE(FiltFilt, int)->Name("FiltFilt2x/L128/Filter32")->Arg(512)->Arg(128);
BENCHMARK_TEMPLATE(FiltFilt, short)->Name("FiltFilt2x/L128/Filter16")->Arg(512)->Arg(128);
