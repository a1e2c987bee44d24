// One coefficient set of the soundbar virtualizer: the side-signal FIR pair,
// the low-pass pair and the side gain pair that the processor loads for one
// sample rate, listening distance and width. The values live in the constant
// store (SoundbarTables.h, generated); a set only points into it.
//
// Scaling: an int16 value v with exponent q means v / 2^(15 + q).
#pragma once

#include <cstdint>

namespace hvfx::soundbar {

struct SoundbarCoefficientSet {
  // 257-tap linear-phase FIRs for the front and the surround side signal
  // (`Highpass_S_front_fir_…`, `Highpass_S_side_fir_…`).
  const int16_t* frontFir;
  const int16_t* frontFirQ;  // one exponent
  int32_t frontFirTaps;
  int32_t frontFirChannels;
  const int16_t* sideFir;
  const int16_t* sideFirQ;
  int32_t sideFirTaps;
  int32_t sideFirChannels;

  // Two-section low-pass cascades (`Lowpass1_front_…`, `Lowpass1_side_…`):
  // sections b0 b1 b2 a0 a1 a2, one exponent per section, per-section gains
  // plus a final gain with their exponents.
  const int16_t* frontLowpassSos;
  const int16_t* frontLowpassSosQ;
  const int16_t* frontLowpassGain;
  const int16_t* frontLowpassGainQ;
  int32_t frontLowpassSections;
  int32_t frontLowpassChannels;
  const int16_t* sideLowpassSos;
  const int16_t* sideLowpassSosQ;
  const int16_t* sideLowpassGain;
  const int16_t* sideLowpassGainQ;
  int32_t sideLowpassSections;
  int32_t sideLowpassChannels;

  // Side gain pairs (`SGain_…`, `SGain_side_…`): element 0 weights the low
  // band, element 1 the high band; the processor shifts by exponent + 27.
  const int16_t* frontGainPair;
  int16_t frontGainShift;
  const int16_t* surroundGainPair;
  int16_t surroundGainShift;
};

// The set for a sample rate, distance (cm) and width code, or null for a
// rate other than 44100 and 48000 Hz. Distances 30, 40, 60 and 70 select
// their own sets; every other value (50, values in between, values outside
// 30 ... 70) selects the 50 cm set. Width 0 is wide, 2 narrow, anything
// else the default width.
const SoundbarCoefficientSet* SelectSoundbarCoefficientSet(int sampleRate, int distance, int angle);

}  // namespace hvfx::soundbar
