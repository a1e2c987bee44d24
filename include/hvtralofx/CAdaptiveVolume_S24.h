// Adaptive volume leveller ("AutoLevel").
//
// The input is cut into frames of N samples (64, 128 or 256 by sample rate).
// Each frame the channels are folded into one analysis signal, weighted by a
// high-shelf plus high-pass pre-filter and measured: band energies (for the
// low-energy ratio that tells steady from intermittent material), frame
// energy and level, a decaying peak hold, 400 ms and 3 s loudness, their
// trends, and a gated level over a span of up to five seconds. A fixed
// level-mapping curve turns the levels into a target gain; the applied gain
// moves toward it at limited speeds and is applied to every channel of the
// frame that entered lookAhead frames earlier, so the analysis has already
// seen the frames it steers.
//
// Domain: samples in the 16-bit range held in 32-bit words (the engine feeds
// (v + 128) asr 8 and shifts the output back). Levels are dB in Q16
// (65536 = 1 dB); a level is measured against the 16-bit full scale given as
// referenceLevel (32768 from the engine, about 90.31 dB). Sample gains are
// Q18 (262144 = 1.0, at most 30 dB); mixing weights and smoothing factors
// Q23. The output is not saturated: at +30 dB a full-scale input leaves the
// 16-bit range (the engine's 16-bit emission clamps it; the limiter after the
// leveller pulls it back).
//
// Supported sample rates: 8000, 11025, 16000, 22050, 32000, 44100, 48000 Hz.
// Another rate keeps the configuration the instance already has: frame
// length, filters, span lengths and the per-frame time constants of 48000 Hz
// (the class's starting configuration), so every buffer stays in bounds.
//
// The analysis itself (its steps, rings and decision state) lives in the
// library: the object holds it on the heap, allocated once by the
// constructor; Process allocates nothing. Not thread-safe.
#pragma once

#include <cstdint>
#include <memory>

#include "Export.h"

namespace hvfx {
class LevellerCore;
struct AdaptiveVolumeProbe;
}  // namespace hvfx

class HVFX_API CAdaptiveVolume_S24 {
 public:
  static constexpr int kMaxChannels = 8;             // channels delayed and gained
  static constexpr int32_t kUnityGainQ18 = 262144;
  static constexpr int32_t kMinTargetDb = -1507328;  // -23 dB, the lowest gain
  static constexpr int32_t kMaxTargetDb = 1966080;   // +30 dB, the highest gain

  // Stores the rate and the full-scale referenceLevel (its level
  // Amp2dB(referenceLevel, 0) is the 0 dB point of the level curve), then
  // SetAdaVParam(mode, relativeVolume, stationMs, baseFlag).
  CAdaptiveVolume_S24(int sampleRate, int referenceLevel, int mode, int relativeVolume, int stationMs,
                      int baseFlag);
  ~CAdaptiveVolume_S24();
  CAdaptiveVolume_S24(const CAdaptiveVolume_S24&) = delete;
  CAdaptiveVolume_S24& operator=(const CAdaptiveVolume_S24&) = delete;

  // Stores baseFlag, Reset(), stores mode (1: the steeper level curve), then
  // SetRelativeVolumn(relativeVolume) and SetStationSigMs(stationMs). Every
  // parameter change restarts the analysis and the gain (0 dB) and restores
  // the default slew rates.
  void SetAdaVParam(int mode, int relativeVolume, int stationMs, int baseFlag);

  // The same settings without the Reset: the analysis, the delay ring, the
  // gain and the slew rates carry on, and the gain moves toward the target
  // the new settings give at the configured rates (the stationarity count
  // restarts for its new length). The output is never silenced.
  void RetuneAdaVParam(int mode, int relativeVolume, int stationMs, int baseFlag);

  // Target output level offset: percent clamped to 0 ... 100 maps linearly
  // from -37 dB (0) to the base volume (100): -3 dB when baseFlag > 0, else
  // -9 dB. relativeVolumeDb = ((base + 37 dB) * p) / 100 - 37 dB, truncating.
  void SetRelativeVolumn(int percent);

  // Time a steady signal must last before the gain drifts back toward 0 dB:
  // ms clamped to 5000 ... 20000 and counted in frames F; band energies are
  // stored every stationFrames frames (about F / 2 over the band ring) and
  // stationRemainder = F - bandRingLength * stationFrames is the count of
  // steady frames that starts the drift.
  void SetStationSigMs(int ms);

  // Gain slew limits per frame for the slow path: up and down percent,
  // clamped to 0 ... 100, give 3 + 12 * percent / 100 dB per second; the half
  // rates are the drift speeds. Reset restores 6 dB/s for both.
  void SetVolUpDownRate(int up, int down);

  // Selects the frame length, filters and span lengths for the rate, clears
  // every ring, filter state and the delay ring (the next lookAhead output
  // frames are silent), and returns the gain to 0 dB (outputGain 1.0).
  void Reset();

  // Levels `channels` planar rows of `samples` samples: row ch is
  // in[ch * samples ...] and out[ch * samples ...]. Only whole frames are
  // processed: samples beyond (samples / N) * N are neither analysed nor
  // written. Output sample t of a row is input sample t - lookAhead * N times
  // the gain decided by the analysis of the frame that just entered:
  // (delayed * outputGain) asr 18, low 32 bits, no rounding, no saturation.
  // Rows 8 and above are left untouched. channels <= 0 runs the analysis
  // only (in and out are not read). in may equal out. Nothing happens when
  // samples < N, or when channels > 0 and in or out is null.
  void Process(int* out, int* in, int channels, int samples);

  // The output's delay, lookAhead frames of N samples: 3 frames at every
  // supported rate, N = 64, 128 or 256 by rate (another rate keeps the
  // values the instance had, 256 from the start).
  int GetLookAhead() const;
  int GetFrameLength() const;

 private:
  friend struct hvfx::AdaptiveVolumeProbe;  // the library's tests and diagnostics
  std::unique_ptr<hvfx::LevellerCore> core_;
};
