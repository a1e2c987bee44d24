// EQProcess speed: one channel through the full equalizer (eight bands and
// both shelves, as the engine's channels run with every band set), through
// the default shelves only, and through all twelve sections; 512-frame
// blocks, stride 1. Reported as ns per sample.
//
// Yardstick in the same run: a plain float cascade of ten biquad sections
// (transposed direct form II, the usual float equalizer) over the same
// blocks.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "hvtralofx/CHVAudioEQ_Ts.h"

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

// Ten peaking sections (RBJ design, Q 2, alternating +5 / -4 dB) at the band
// frequencies above, one float channel.
void BM_FloatBiquadCascade10(benchmark::State& state) {
  constexpr int kFrames = 512;
  constexpr int kSections = 10;
  static const double kHz[kSections] = {100, 250, 400, 630, 1000, 1600, 2500, 4000, 6300, 9000};
  struct Section {
    float b0, b1, b2, a1, a2, s1 = 0, s2 = 0;
  };
  std::vector<Section> sections;
  for (int k = 0; k < kSections; ++k) {
    const double w = 2.0 * M_PI * kHz[k] / 48000.0, alpha = std::sin(w) / (2.0 * 2.0);
    const double a = std::pow(10.0, (k % 2 ? -4.0 : 5.0) / 40.0), a0 = 1.0 + alpha / a;
    sections.push_back({static_cast<float>((1.0 + alpha * a) / a0), static_cast<float>(-2.0 * std::cos(w) / a0),
                        static_cast<float>((1.0 - alpha * a) / a0), static_cast<float>(-2.0 * std::cos(w) / a0),
                        static_cast<float>((1.0 - alpha / a) / a0)});
  }
  std::vector<float> in(kFrames), out(kFrames);
  for (int n = 0; n < kFrames; ++n)
    in[n] = static_cast<float>(0.3 * std::sin(0.05 * n) + 0.1 * std::sin(0.9 * n));
  for (auto _ : state) {
    for (int n = 0; n < kFrames; ++n) {
      float x = in[n];
      for (Section& s : sections) {
        const float y = s.b0 * x + s.s1;
        s.s1 = s.b1 * x - s.a1 * y + s.s2;
        s.s2 = s.b2 * x - s.a2 * y;
        x = y;
      }
      out[n] = x;
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.counters["ns_per_sample"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kFrames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

}  // namespace

BENCHMARK(BM_FloatBiquadCascade10);
BENCHMARK(BM_EQProcess_8Bands2Shelves);
BENCHMARK(BM_EQProcess_10Bands2Shelves);
BENCHMARK(BM_EQProcess_DefaultShelves);
