// The whole chain as a host runs it, shared by the chain benchmark and the
// instruction-count driver: the front interface at 48 kHz in 512-frame
// calls, stereo (equalizer with 8 bands and both shelves, leveller,
// limiter) or 5.1 (the same plus the soundbar virtualizer, the LFE
// band-pass and the LFE leveller).
//
// The per-stage runners call the engine's own module instances on one
// 512-frame block of the working format, configured exactly as the chain
// configured them, so their costs and the remainder (gathering, domain
// conversions, copies between the working buffers) add up to the chain.
#pragma once

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "api/Engine.h"
#include "hvtralofx/HVTralo_Front.h"
#include "hvtralofx/CHVAudioEQ_Ts.h"
#include "hvtralofx/CAdaptiveVolume_S24.h"
#include "hvtralofx/CDynamicRangeControl.h"
#include "hvtralofx/CSoundbar4Fxd.h"

using namespace hvfx::api;  // the engine's internals

namespace chain {

constexpr int kRate = 48000;
constexpr int kBlock = 512;  // frames per HVTralo_Process call (the engine's block)

// The process-wide engine's running chain.
inline hvfx::api::Chain& Live() { return *hvfx::api::Engine::Global().LiveChain(); }

// Switches every stage of the chain on for `channels` (2 or 6).
inline void Configure(int channels) {
  HVTralo_Release();
  HVTralo_Init(kRate, channels);
  HVTralo_SetEnable(true);
  HVTralo_EQ_SetEnable(true);
  HVTralo_EQ_SetLPFEnable(true);
  HVTralo_EQ_SetHPFEnable(true);
  HVTralo_EQ_SetLPFBandGain(-1, -6, 200);
  HVTralo_EQ_SetHPFBandGain(-1, 3, 8000);
  for (int band = 0; band < 8; ++band) HVTralo_EQ_SetBandGain(-1, band, band % 2 ? 3 : -3, 0, 0.0f);
  HVTralo_AutoLevel_SetEnable(true);
  HVTralo_DRC_SetEnable(true);
  HVTralo_Soundbar_SetEnable(channels == 6);
  HVTralo_Soundbar_SetLFECopyEnable(channels == 6);
  HVTralo_Soundbar_SetLFESVEnable(channels == 6);
  hvfx::api::Engine::Global().TakeChanges();  // as the next call would: the stage runners use the chain now
}

// Interleaved 16-bit material: noise whose level jumps every 2000 frames
// (about 42 ms) between -40 and -6 dBFS, so the levellers and the limiter
// act.
inline std::vector<short> Material(int channels, int blocks) {
  std::mt19937 rng(7);
  std::normal_distribution<double> g(0.0, 1.0);
  std::vector<short> v(static_cast<size_t>(channels) * kBlock * static_cast<size_t>(blocks));
  double rms = 1000;
  for (size_t t = 0; t < v.size(); ++t) {
    if (t % (static_cast<size_t>(channels) * 2000) == 0)
      rms = 32768 * std::pow(10.0, -(6 + static_cast<double>(rng() % 35)) / 20);
    v[t] = static_cast<short>(std::lrint(std::fmax(-32768.0, std::fmin(32767.0, rms * g(rng)))));
  }
  return v;
}

// Planar working rows (six, as the engine keeps them) of block `block` of
// the material, in the given scale: `shift` 8 for the working scale, 0 for
// the 16-bit domain of the levellers and the limiter, 6 for the
// virtualizer's quarter scale.
inline std::vector<int> PlanarBlock(const std::vector<short>& material, int channels, int block, int shift) {
  std::vector<int> rows(static_cast<size_t>(6) * kBlock, 0);
  const short* frames = material.data() + static_cast<size_t>(block) * kBlock * channels;
  for (int f = 0; f < kBlock; ++f)
    for (int c = 0; c < channels; ++c)
      rows[static_cast<size_t>(c) * kBlock + f] =
          static_cast<int>(static_cast<unsigned>(frames[static_cast<size_t>(f) * channels + c]) << shift);
  return rows;
}

// Every block of the material as planar rows: a stage alone sees the same
// changes of level as in the chain, so its data-dependent work matches.
inline std::vector<std::vector<int>> PlanarBlocks(const std::vector<short>& material, int channels, int shift) {
  std::vector<std::vector<int>> blocks;
  const size_t count = material.size() / (static_cast<size_t>(kBlock) * channels);
  for (size_t b = 0; b < count; ++b) blocks.push_back(PlanarBlock(material, channels, static_cast<int>(b), shift));
  return blocks;
}

// The stages of the chain, in the order the engine runs them.
enum class Stage { kSoundbar, kLfeBandPass, kLfeLeveller, kLeveller, kEqualizer, kLimiter };
constexpr Stage kStages[] = {Stage::kSoundbar, Stage::kLeveller, Stage::kLfeBandPass,
                             Stage::kLfeLeveller, Stage::kEqualizer, Stage::kLimiter};

inline const char* StageName(Stage s) {
  switch (s) {
    case Stage::kSoundbar: return "soundbar";
    case Stage::kLfeBandPass: return "lfe_bandpass";
    case Stage::kLfeLeveller: return "lfe_leveller";
    case Stage::kLeveller: return "leveller";
    case Stage::kEqualizer: return "equalizer";
    case Stage::kLimiter: return "limiter";
  }
  return "";
}

inline bool StageInChain(Stage s, int channels) {
  return channels == 6 || s == Stage::kLeveller || s == Stage::kEqualizer || s == Stage::kLimiter;
}

// Runs one stage of a configured chain on one block. `in` and `out` hold six
// rows of kBlock samples in the stage's scale (see PlanarBlocks); stages that
// work in place (the limiter, the virtualizer's input scaling) change `in`.
class StageRunner {
 public:
  StageRunner(Stage stage, int channels) : stage_(stage), channels_(channels) {}

  static int InputShift(Stage s) {
    return s == Stage::kSoundbar || s == Stage::kLfeBandPass ? 6 : (s == Stage::kEqualizer ? 8 : 0);
  }

  // The virtualizer scales its input in place and the limiter works in
  // place: they need a fresh copy of their input for every run.
  static bool ChangesInput(Stage s) { return s == Stage::kSoundbar || s == Stage::kLimiter; }

  void Run(int* in, int* out) const {
    const int n = kBlock;
    switch (stage_) {
      case Stage::kSoundbar:
        Live().soundbar->Process(in, n, channels_, out, n, channels_, 0);
        break;
      case Stage::kLfeBandPass:
        Live().eqLfe->EQProcess(out, in, 1, n);
        break;
      case Stage::kLfeLeveller:
        Live().adavLfe->Process(out, in, 1, n);
        break;
      case Stage::kLeveller:
        Live().adav->Process(out, in, channels_, n);
        break;
      case Stage::kEqualizer:
        for (int c = 0; c < channels_; ++c) Live().eq[c]->EQProcess(out + c * n, in + c * n, 1, n);
        break;
      case Stage::kLimiter: {
        int* rows[6];
        for (int c = 0; c < 6; ++c) rows[c] = in + c * n;
        Live().drc->Process(rows, n);
        break;
      }
    }
  }

 private:
  Stage stage_;
  int channels_;
};

}  // namespace chain
