// Soundbar virtualizer throughput at 48 kHz: the processor alone on 5.1 and
// stereo planar blocks (32- and 16-bit paths), and a whole 5.1 engine block
// with every stage on (soundbar with the LFE pre-mix, LFE and main leveller,
// equalizer with 8 bands and both shelves, limiter). Reported in ns per
// frame (all channels) and as times real time.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "hvtralofx/HVSFX_AdaVControl.h"
#include "hvtralofx/HVSFX_EQControl.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/HVSFX_SoundbarControl.h"
#include "hvtralofx/HVSFX_Switches.h"
#include "hvtralofx/CSoundbar4Fxd.h"

namespace {

constexpr int kRate = 48000;

template <class Sample>
std::vector<Sample> Noise(size_t n, int amplitude) {
  std::mt19937 rng(3);
  std::uniform_int_distribution<int> d(-amplitude, amplitude);
  std::vector<Sample> v(n);
  for (auto& s : v) s = static_cast<Sample>(d(rng));
  return v;
}

void Report(benchmark::State& state, int framesPerIteration) {
  const double frames = static_cast<double>(state.iterations()) * framesPerIteration;
  state.counters["ns_per_frame"] = benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["x_realtime"] = benchmark::Counter(frames / kRate, benchmark::Counter::kIsRate);
}

template <class Sample>
void BM_SoundbarProcess(benchmark::State& state) {
  const int channels = static_cast<int>(state.range(0));
  const int block = static_cast<int>(state.range(1));
  CSoundbar4Fxd sb;
  sb.Init(kRate, channels, block, 128, 50, 1);
  const auto material = Noise<Sample>(static_cast<size_t>(channels) * block, sizeof(Sample) == 2 ? 20000 : 1 << 21);
  std::vector<Sample> in(material.size()), out(static_cast<size_t>(6) * block);
  for (auto _ : state) {
    in = material;  // the processor scales its input in place
    sb.Process(in.data(), block, channels, out.data(), block, 6, 0);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  Report(state, block);
}

void BM_Engine51AllStages(benchmark::State& state) {
  const int block = 512;
  HVSFX_Param param;
  HVSFX_GetDefaultParam(&param);
  param.nSampleRate = kRate;
  param.nInChannels = param.nOutChannels = 6;
  param.nFrameSize = block;
  param.nGainShift = 1;
  param.bLFECopyEnable = param.bLFESVEnable = 1;
  HVSFX_Init(&param);
  HVSFX_Soundbar_SetEnable(&param, true);
  HVSFX_AdaV_SetEnable(&param, true);
  HVSFX_EQ_SetEnable(&param, true);
  HVSFX_DRC_SetEnable(&param, true);
  HVSFX_EQ_SetLPFEnable(&param, -1, true);
  HVSFX_EQ_SetHPFEnable(&param, -1, true);
  HVSFX_EQ_SetLPFBandGain(&param, -1, -6, 200);
  HVSFX_EQ_SetHPFBandGain(&param, -1, 3, 8000);
  HVSFX_EQ_ResetBandFreq(&param, -1, -1);
  for (int band = 0; band < 8; ++band) HVSFX_EQ_SetBandGain(&param, -1, band, band % 2 ? 3 : -3, 0, 0.0f);
  const auto material = Noise<short>(static_cast<size_t>(6) * block * 16, 12000);
  std::vector<short> io(static_cast<size_t>(6) * block);
  size_t offset = 0;
  for (auto _ : state) {
    std::copy_n(material.begin() + static_cast<long>(offset), io.size(), io.begin());
    offset = (offset + io.size()) % material.size();
    HVSFX_Process(&param, io.data(), block);
    benchmark::DoNotOptimize(io.data());
  }
  Report(state, block);
  HVSFX_Release(&param);
}

}  // namespace

BENCHMARK(BM_SoundbarProcess<int>)->Args({6, 512})->Args({2, 512})->Args({6, 128})->ArgNames({"channels", "block"});
BENCHMARK(BM_SoundbarProcess<short>)->Args({6, 512})->ArgNames({"channels", "block"});
BENCHMARK(BM_Engine51AllStages);
