// Test programmes for the whole chain: an integer-only signal (identical on
// every platform and compiler, no libm), the effect switches as a bit set,
// and the settings a scenario applies through either interface.
#pragma once

#include <cstdint>
#include <vector>

#include "api/FrontInternal.h"
#include "hvtralofx/hvtralofx.h"

using namespace hvfx::api;  // the engine's internals

namespace chain {

enum Effect : unsigned { kEq = 1, kLeveller = 2, kLimiter = 4, kSurround = 8, kSoundbar = 16, kDynamicBass = 32 };
constexpr unsigned kAllEffects = kEq | kLeveller | kLimiter | kSurround | kSoundbar;

// Interleaved frames [first, first + frames) of a programme: per channel a
// triangle wave of its own period plus noise, under an envelope that moves
// between quiet, moderate and clipping-loud passages every 4096 frames
// (or held at `steadyLevel`, 1 ... 32767, when one is given).
inline std::vector<short> Signal(int channels, long first, int frames, int steadyLevel = 0) {
  std::vector<short> out(static_cast<size_t>(frames) * static_cast<size_t>(channels));
  static constexpr int kLevels[] = {600, 9000, 32767, 2500, 20000, 150};
  for (int f = 0; f < frames; ++f) {
    const long t = first + f;
    const int level = steadyLevel > 0 ? steadyLevel : kLevels[(t / 4096) % 6];
    uint32_t noise = static_cast<uint32_t>(t) * 2654435761u;
    for (int c = 0; c < channels; ++c) {
      const int period = 40 + 23 * c;
      const int phase = static_cast<int>(t % period);
      const int tri = 4 * (phase < period / 2 ? phase : period - phase) * 32767 / period - 32767;  // +-32767
      noise = noise * 1664525u + 1013904223u;
      const int n = static_cast<int>(noise >> 17) - 16384;  // +-16384
      const long v = (static_cast<long>(tri) * 3 + n) / 4 * level / 32767;
      out[static_cast<size_t>(f) * static_cast<size_t>(channels) + static_cast<size_t>(c)] = static_cast<short>(v);
    }
  }
  return out;
}

// The programme of Signal under a slow envelope: loud events after long
// quiet passages, for the leveller's decisions. Each of six levels is held
// for 131072 frames (about 2.8 s): 0, -35, 0 dB, silence, -10 and -45 dB;
// or, `quick`, for 65536 frames: 0, -40, 0, -20, -6 and -50 dB.
inline std::vector<short> SlowlyMovingSignal(int channels, long first, int frames, bool quick = false) {
  std::vector<short> out = Signal(channels, first, frames);
  static constexpr int kSlowQ10[2][6] = {{1024, 18, 1024, 0, 324, 6}, {1024, 10, 1024, 102, 513, 3}};
  for (int f = 0; f < frames; ++f)
    for (int c = 0; c < channels; ++c) {
      short& v = out[static_cast<size_t>(f) * static_cast<size_t>(channels) + static_cast<size_t>(c)];
      v = static_cast<short>(v * kSlowQ10[quick][((first + f) >> (quick ? 16 : 17)) % 6] / 1024);
    }
  return out;
}

// The library's state at load time: the front's record and switches, the
// process-wide engine released.
inline void ReloadLibrary() {
  hvfx::api::ResetGlobalFrontForTests();
}

// The front's record changed through the engine interface reaches the
// front's audio side only when published (the front's own setters do it).
inline void PublishIfFront(HVSFX_Param* p) {
  if (p == &hvfx::api::GlobalFront().record) hvfx::api::PublishFrontRecord(hvfx::api::GlobalFront());
}

// Switches the effects in `effects` on and the others off on a record, and
// gives the equalizer and the leveller settings that make them work.
inline void Configure(HVSFX_Param* p, unsigned effects) {
  HVSFX_EQ_SetEnable(p, effects & kEq);
  HVSFX_AdaV_SetEnable(p, effects & kLeveller);
  HVSFX_DRC_SetEnable(p, effects & kLimiter);
  HVSFX_Surround_SetEnable(p, effects & kSurround);
  HVSFX_Soundbar_SetEnable(p, effects & kSoundbar);
  HVSFX_DynamicBass_SetEnable(p, effects & kDynamicBass);
  HVSFX_EQ_SetBandGain(p, -1, 1, 9, 400, 1.4f);
  HVSFX_EQ_SetBandGain(p, -1, 5, -7, 2500, 0.7f);
  HVSFX_EQ_SetLPFBandGain(p, -1, 6, 150);
  HVSFX_EQ_SetHPFBandGain(p, -1, -4, 9000);
  HVSFX_AdaV_SetParam(p, 1, 90, 5000, 1);
  HVSFX_AdaV_SetVolUpDownRate(p, 12, 9);
  PublishIfFront(p);
}

// A settings change mid-stream, number k of a scenario.
inline void ChangeSettings(HVSFX_Param* p, int k) {
  HVSFX_EQ_SetBandGain(p, k % 2 == 0 ? -1 : 0, k % 8, 12 - 5 * (k % 5), 300 + 700 * k, 0.5f + 0.5f * (k % 4));
  HVSFX_EQ_SetLPFBandGain(p, -1, -10 + 4 * (k % 6), 200 + 50 * k);
  HVSFX_AdaV_SetParam(p, k % 2, 40 + 10 * k, 5000 + 1000 * k, k % 2);
  HVSFX_Soundbar_SetLFEGain(p, -6 + k);
  HVSFX_Surround_SetEnable(p, k % 3 == 0);
  PublishIfFront(p);
}

}  // namespace chain
