// Adaptive volume leveller throughput: one 256-sample analysis frame per
// iteration at 48 kHz, stereo and 5.1 planar rows, reported in nanoseconds
// per sample (one channel's sample) and per frame (all channels).
//
// Material: noise bursts whose level changes every half second between
// -45 and -10 dBFS, so the gain moves on both paths, events start and end
// and the span limits act. Each iteration copies one fresh frame of every
// row into the input (included in the time).
//
// Yardstick in the same run (when found at configure time): WebRTC's gain
// control in adaptive-digital mode on 10 ms interleaved stereo frames of the
// same material, every other processing component off.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "hvtralofx/CAdaptiveVolume_S24.h"

#if defined(HVFX_HAVE_WEBRTC_APM)
#include <webrtc/modules/audio_processing/include/audio_processing.h>
#include <webrtc/modules/interface/module_common_types.h>
#endif

namespace {

constexpr int kFrame = 256;
constexpr int kFramesOfMaterial = 1875;  // 10 s at 48 kHz

std::vector<std::vector<int>> Material(int channels) {
  std::mt19937 rng(11);
  std::normal_distribution<double> g(0.0, 1.0);
  std::vector<std::vector<int>> rows(static_cast<size_t>(channels));
  for (int c = 0; c < channels; ++c) {
    auto& row = rows[static_cast<size_t>(c)];
    row.resize(static_cast<size_t>(kFrame) * kFramesOfMaterial);
    double rms = 1000;
    for (size_t t = 0; t < row.size(); ++t) {
      if (t % 24000 == 0) rms = 32768 * std::pow(10.0, -(10 + static_cast<double>(rng() % 36)) / 20);
      row[t] = static_cast<int>(std::lrint(std::fmax(-32768.0, std::fmin(32767.0, rms * g(rng)))));
    }
  }
  return rows;
}

void BM_LevellerFrame(benchmark::State& state) {
  const int channels = static_cast<int>(state.range(0));
  const auto material = Material(channels);
  std::vector<int> in(static_cast<size_t>(channels) * kFrame), out(in.size());
  CAdaptiveVolume_S24 leveller(48000, 32768, 1, 75, 6000, 0);
  size_t frame = 0;
  for (auto _ : state) {
    for (int c = 0; c < channels; ++c)
      std::memcpy(in.data() + static_cast<size_t>(c) * kFrame, material[static_cast<size_t>(c)].data() + frame * kFrame,
                  sizeof(int) * kFrame);
    leveller.Process(out.data(), in.data(), channels, kFrame);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
    frame = (frame + 1) % kFramesOfMaterial;
  }
  const double frames = static_cast<double>(state.iterations()) * kFrame;
  state.counters["ns_per_sample"] =
      benchmark::Counter(frames * channels, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["ns_per_frame"] = benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

#if defined(HVFX_HAVE_WEBRTC_APM)
void BM_WebRtcAgcAdaptiveDigital(benchmark::State& state) {
  constexpr int kChannels = 2;
  constexpr int k10ms = 480;
  const auto material = Material(kChannels);
  webrtc::AudioProcessing* apm = webrtc::AudioProcessing::Create();
  apm->gain_control()->set_mode(webrtc::GainControl::kAdaptiveDigital);
  apm->gain_control()->Enable(true);
  webrtc::AudioFrame frame;
  frame.sample_rate_hz_ = 48000;
  frame.num_channels_ = kChannels;
  frame.samples_per_channel_ = k10ms;
  const size_t frames = material[0].size() / k10ms;
  size_t index = 0;
  for (auto _ : state) {
    for (int t = 0; t < k10ms; ++t)
      for (int c = 0; c < kChannels; ++c)
        frame.data_[t * kChannels + c] = static_cast<int16_t>(material[static_cast<size_t>(c)][index * k10ms + t]);
    if (apm->ProcessStream(&frame) != 0) {
      state.SkipWithError("ProcessStream failed");
      break;
    }
    benchmark::DoNotOptimize(frame.data_);
    index = (index + 1) % frames;
  }
  delete apm;
  const double samples = static_cast<double>(state.iterations()) * k10ms;
  state.counters["ns_per_sample"] =
      benchmark::Counter(samples * kChannels, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
  state.counters["ns_per_frame"] = benchmark::Counter(samples, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_WebRtcAgcAdaptiveDigital);
#endif

}  // namespace

BENCHMARK(BM_LevellerFrame)->Arg(2)->Arg(6)->ArgName("channels");
