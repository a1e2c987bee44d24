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
// Per-frame analysis (FrameProcess), each step a function of its own:
//   1  PreFilter            biquads 0 and 1: the weighted frame
//   2  MeasureBandEnergies  biquads 2 ... 2 + bandCount - 1, band energy rings
//   3  UpdateLowEnergyRatio energy-weighted share of quiet band entries
//   4  MeasureFrameLevel    frame energy ring and frame level in dB
//   5  UpdatePeakHold       level hold decaying by 12 dB per second
//   6  UpdateLoudness       400 ms energy/level rings and the 3 s trend register
//   7  UpdateTrends         slopes, slope hold and the gated level
//   8  UpdateDecisionState  quiet/fall/event counters, span limits, shortfall,
//                           and FormTarget (the two target candidates)
//   9  target clamped to -23 ... +30 dB
//   10 MoveGainSlow / MoveGainMain
//   11 outputGain = 10^(gainDb/20) in Q18, then MoveBuff
//
// Note on silence: the pre-filter rounds each biquad output by 2^20 before
// its shift, so the high-pass (poles close to DC) keeps a constant output of
// up to 8192 analysis units once its input stops. Digital silence after a
// signal therefore reads as a low level (about 54 dB after a loud passage)
// rather than 0; only silence since Reset reads 0.
//
// Bookkeeping decisions (deliberate, and covered by the tests):
//   * Level-ring indices after Reset: the write index starts at 0; the
//     statistics-end index and the oldest index start at L5 - framesPer20ms,
//     L5 = framesPer5s + lookAhead. The statistics end therefore always lies
//     framesPer20ms entries behind the newest entry. The unwrapped positions
//     (newestPos, statEndPos, spanStartPos, eventStartPos) all start at 0, so
//     for the first framesPer20ms frames statEndPos stays at 0 while its index
//     already runs framesPer20ms behind the newest.
//   * The span start's ring index is derived from the statistics end:
//     statEndIndex - (statEndPos - spanStartPos), wrapped. The span holds
//     statEndPos - spanStartPos + 1 entries; a start that lies past the
//     statistics end wraps, as every ring statistic does, to a span of nearly
//     the whole ring. oldestIndex is kept (MoveBuff) but no statistic reads it.
//   * Span limit after events: L is computed and applied every frame; a span
//     longer than L has its start set to newestPos - L and left where it
//     lands. Shortfall: the third start marker (eventStartPos) moves to
//     newestPos - allowed when the span is longer than allowed, never back;
//     "the distance back to the lowest level" is newestPos - lowestPos, where
//     lowestPos is the statistics-end position of the first frame of a
//     shortfall run, then of each strictly lower 400 ms level; lowestPos is
//     not rebased by MoveBuff. Whenever fallCount is 0 the span start is
//     assigned the marker's value. Text order is kept within the step: the
//     3 dB minimum range uses the fallCount just updated, and eventCount's
//     increment comes before its clear.
//   * The sign-reset flag guards both resets of the main gain path: with the
//     flag clear, gainDb < 0 with target > 0, or gainDb >= 1 with target < 0,
//     sets gainDb to 0 and the flag; an event start and the event clear
//     re-arm it.
//   * The analysis frame is a buffer of its own: with a channel count that is
//     not analysed (other than 1, 2 or 6) the previous analysis frame is
//     analysed again and the filter states run on.
//   * Reset clears all analysis state (stationCounter included), restores the
//     default slew rates of 6 dB/s and keeps the configuration: mode,
//     relative volume, station frames and remainder. frameCount counts the
//     frames since construction; Reset leaves it.
//   * Sums whose width is not otherwise fixed (400 ms and 3 s means, the gated
//     level, the shortfall sum) are 64-bit. Energy sums of squares wrap
//     modulo 2^64 as unsigned values (exact while |sample| < 2^27, far beyond
//     the 16-bit domain), so stored energies are never negative.
//   * Event, fall, quiet and low-ratio counters stop at INT32_MAX instead of
//     overflowing (reached only after months of one condition).
//
// Not thread-safe; Process allocates nothing (all buffers are members).
#pragma once

#include <cstdint>

#include "Export.h"

class HVFX_API CAdaptiveVolume_S24 {
 public:
  static constexpr int kMaxChannels = 8;        // channels delayed and gained
  static constexpr int kMaxFrameLength = 256;   // N at 32000 Hz and above
  static constexpr int kMaxLookAhead = 3;
  static constexpr int kMaxDelaySlots = kMaxLookAhead + 1;
  static constexpr int kMaxBands = 6;
  static constexpr int kBandRingCapacity = 191;    // framesPerSecond + lookAhead at 48000 Hz
  static constexpr int kEnergyRingCapacity = 566;  // framesPer3s + lookAhead at 48000 Hz
  static constexpr int kLevelRingCapacity = 941;   // framesPer5s + lookAhead at 48000 Hz
  static constexpr int kStatRingLength = 16;       // slope and gated-level rings
  static constexpr int kMaxTrendLength = 9;        // 2 * framesPer20ms + 1 at 48000 Hz
  static constexpr int32_t kUnityGainQ18 = 262144;
  static constexpr int32_t kMinTargetDb = -1507328;  // -23 dB
  static constexpr int32_t kMaxTargetDb = 1966080;   // +30 dB

  // Stores the rate and the full-scale referenceLevel (its level
  // Amp2dB(referenceLevel, 0) is the 0 dB point of the level curve), then
  // SetAdaVParam(mode, relativeVolume, stationMs, baseFlag).
  CAdaptiveVolume_S24(int sampleRate, int referenceLevel, int mode, int relativeVolume, int stationMs,
                      int baseFlag);

  // Stores baseFlag, Reset(), stores mode (1: the steeper level curve), then
  // SetRelativeVolumn(relativeVolume) and SetStationSigMs(stationMs). Every
  // parameter change restarts the analysis and the gain (0 dB) and restores
  // the default slew rates.
  void SetAdaVParam(int mode, int relativeVolume, int stationMs, int baseFlag);

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

  // ---- Steps, public so that the analysis can be driven and inspected.

  // Builds the analysis frame from the N samples that start at sample
  // `offset` of each planar row (rows of `samples` samples): mono times 16;
  // stereo through AdaptiveMixLtRt; six channels fold to
  // left = ch0 + ch2 + ch3 + ch4, right = ch1 + ch2 + ch3 + ch5 (32-bit sums)
  // and mix. Any other count, a null in, or an offset outside
  // 0 ... samples - N (the frame would run past the row) leaves the frame as
  // it was.
  void Framing(const int* in, int channels, int samples, int offset);

  // x[i] = (w * L[i] + (1 - w) * R[i]) * 16 with the adaptive weight w (Q23)
  // following which side is louder (smoothed mean magnitudes, threshold
  // referenceLevel / 100). n must be 1 ... 256; otherwise nothing changes.
  void AdaptiveMixLtRt(int* x, const int* L, const int* R, int n);

  // Direct-form-I biquad over n samples, Q21 coefficients (b0, b1, b2, a1,
  // a2), rounding by 2^20 before the shift; xState/yState hold
  // {x[-1], x[-2]} and {y[-1], y[-2]} and are updated. y may equal x. 64-bit
  // accumulation: products of 24-bit values and 23-bit coefficients stay
  // below 2^48.
  static void IIR_Filter_2ord(int* y, const int* x, const int* coefs, int* xState, int* yState, int n);

  // Analyses the current analysis frame and updates the gain (analysis, decision, gain movement).
  void FrameProcess();

  // Gain in dB (Q16, -23 ... +30 dB) that brings a level (Q16 dB) to the
  // level curve's output, offset by the relative volume.
  int Get_TargetGaindB(int levelDb) const;

  // Ring statistics over a circular ring a of length len, walking back from
  // index e: count = e - s + 1, plus len when that is below 1. Minimum,
  // maximum, truncated mean; with count < 2 the single value a[e]. Indices
  // outside 0 ... len - 1 (or len < 1) are refused with 0.
  static int GetMin_CB(const int* a, int s, int e, int len);
  static int GetMax_CB(const int* a, int s, int e, int len);
  static int GetMean_CB(const int* a, int s, int e, int len);

  // Twice the least-squares slope over the 2h + 1 entries centred at e
  // (wrapping): (2 * sum k * a[e + k]) / (sum k^2), k = -h ... h, 32-bit
  // products summed in 64 bits, truncating. 0 for h < 1, h above
  // kMaxSlopeHalfWidth, len < 1 or e out of range. The bound lies far above
  // the class's own use (h = framesPer20ms, at most 4) and keeps every sum
  // and the loop counter well inside their types.
  static constexpr int kMaxSlopeHalfWidth = 1 << 10;
  static int Extract_K(const int* a, int e, int h, int len);

  // Low-energy ratio of a ring: mean = (sum of the len entries) / len;
  // returns (entries below mean asr 1) * 2^23 / len, or 8388607 when every
  // entry is below it (also for len = 0, with mean 0); 0 with mean 0 for a
  // negative len. e is the ring's current index; the result covers all
  // entries.
  static int STE2LER(const int* a, int e, int len, int& mean);

  // Gated level over the entries s ... e (wrapping) of the energy ring and its
  // level ring: the mean energy of the entries louder than referenceLevelDb -
  // 70 dB gives a level; the mean energy of the entries louder than that
  // level - 8 dB gives the result, in Q16 dB. A gate that no entry passes
  // falls back to the plain mean; a mean <= 0 reads 0. Invalid indices give 0.
  int CalCulate_IL(const int* energies, const int* levels, int s, int e, int len) const;

  // Advances every ring index and the unwrapped span positions by one frame.
  void MoveBuff();

  // ---- Read-only state for tests and diagnostics.
  int GetSampleRate() const { return sampleRate_; }
  int GetFrameLength() const { return frameLength_; }
  int GetFrameShift() const { return frameShift_; }
  int GetBandCount() const { return bandCount_; }
  int GetLookAhead() const { return lookAhead_; }
  int GetFramesPer20ms() const { return framesPer20ms_; }
  int GetFramesPer400ms() const { return framesPer400ms_; }
  int GetFramesPerSecond() const { return framesPerSecond_; }
  int GetFramesPer3s() const { return framesPer3s_; }
  int GetFramesPer5s() const { return framesPer5s_; }
  const int* GetCoefficients() const { return coefs_; }
  int GetReferenceLevelDb() const { return referenceLevelDb_; }
  int GetMode() const { return mode_; }
  int GetRelativeVolumeDb() const { return relativeVolumeDb_; }
  int GetBaseVolumeDb() const { return baseVolumeDb_; }
  int GetUpRate() const { return upRate_; }
  int GetDownRate() const { return downRate_; }
  int GetHalfUpRate() const { return halfUpRate_; }
  int GetHalfDownRate() const { return halfDownRate_; }
  int GetPeakDecay() const { return peakDecay_; }
  int GetStationFrames() const { return stationFrames_; }
  int GetStationCounter() const { return stationCounter_; }
  int GetStationRemainder() const { return stationRemainder_; }
  int GetGainDb() const { return gainDb_; }
  int GetOutputGain() const { return outputGain_; }
  int GetTarget() const { return target_; }
  long long GetFrameCount() const { return frameCount_; }
  int GetMixWeight() const { return mixWeight_; }
  const int* GetAnalysisFrame() const { return analysis_; }
  const int* GetWeightedFrame() const { return weighted_; }
  int GetLowEnergyRatio() const { return lowEnergyRatio_; }
  int GetLowRatioCount() const { return lowRatioCount_; }
  int GetQuietCount() const { return quietCount_; }
  int GetFallCount() const { return fallCount_; }
  int GetEventCount() const { return eventCount_; }
  bool GetSignResetDone() const { return signResetDone_; }
  int GetShortSlope() const { return shortSlope_; }
  int GetSlopeHold() const { return slopeHold_; }
  // Entries of the frame analysed last (MoveBuff has already advanced the
  // indices past them).
  int GetLastLevel() const { return level_[LevelIndexBack(levelWriteIndex_, 1)]; }
  int GetLastPeakHold() const { return hold_[LevelIndexBack(levelWriteIndex_, 1)]; }
  int GetLastLevel400() const { return level400_[LevelIndexBack(levelWriteIndex_, 1)]; }
  int GetLastGatedLevel() const { return gated16_[(statIndex_ + kStatRingLength - 1) % kStatRingLength]; }
  int GetBandEnergy(int band, int index) const {
    return band >= 0 && band < kMaxBands && index >= 0 && index < kBandRingCapacity ? bandRing_[band][index] : 0;
  }
  int GetBandIndex() const { return bandIndex_; }
  int GetLevelWriteIndex() const { return levelWriteIndex_; }
  int GetStatEndIndex() const { return statEndIndex_; }
  int GetOldestIndex() const { return oldestIndex_; }
  int GetStatIndex() const { return statIndex_; }
  int GetNewestPos() const { return newestPos_; }
  int GetEventStartPos() const { return eventStartPos_; }

 private:
  friend class AdaptiveVolumeProbe;  // white-box tests of the single steps

  // Step functions of FrameProcess, in order.
  void PreFilter();
  void MeasureBandEnergies();
  void UpdateLowEnergyRatio();
  void MeasureFrameLevel();
  void UpdatePeakHold();
  void UpdateLoudness();
  void UpdateTrends();
  void UpdateDecisionState();
  void UpdateLowRatioCount();
  void UpdateQuietCount();
  void UpdateFallCount();
  void UpdateEvents();
  void LimitSpanAfterEvents();
  void TrackShortfall();
  void FormTarget();
  void MoveGainSlow();
  void MoveGainMain();

  bool SelectRate();  // false: unsupported rate, configuration kept
  void ComputeSpans();
  int LevelIndexBack(int from, int back) const;  // (from - back) mod L5
  int SpanStartIndex() const;
  int SpanLength() const { return statEndPos_ - spanStartPos_ + 1; }

  // Configuration.
  int sampleRate_;
  int configRate_ = 48000;  // rate whose frame length and filters are in effect
  int referenceLevel_;
  int referenceLevelDb_;
  int frameLength_ = 256;
  int frameShift_ = 8;
  int analysisShift_ = 4;
  int energyShift_ = 15;
  const int* coefs_;
  int bandCount_ = 6;
  int lookAhead_ = 3;
  int delaySlots_ = 4;
  int framesPer20ms_ = 4;
  int framesPer400ms_ = 75;
  int framesPerSecond_ = 188;
  int framesPer3s_ = 563;
  int framesPer5s_ = 938;
  int bandRingLength_ = kBandRingCapacity;
  int energyRingLength_ = kEnergyRingCapacity;
  int levelRingLength_ = kLevelRingCapacity;  // L5
  int trendLength_ = kMaxTrendLength;
  int mode_ = 0;
  int baseFlag_ = 0;
  int relativeVolumeDb_ = 0;
  int baseVolumeDb_ = 0;
  int upRate_ = 0;
  int downRate_ = 0;
  int halfUpRate_ = 0;
  int halfDownRate_ = 0;
  int peakDecay_ = 0;  // dB per frame, negative
  int stationFrames_ = 1;
  int stationCounter_ = 0;
  int stationRemainder_ = 0;

  // Gain.
  int gainDb_ = 0;
  int outputGain_ = kUnityGainQ18;
  int target_ = 0;
  long long frameCount_ = 0;

  // Channel mix.
  bool firstMixFrame_ = true;
  int64_t smoothLeft_ = 0;
  int64_t smoothRight_ = 0;
  int64_t smoothSum_ = 0;
  int mixWeight_ = 4194304;
  int activityThreshold_ = 0;

  // Delay ring and frame buffers.
  int writeSlot_ = 0;
  int readSlot_ = 1;
  int delay_[kMaxDelaySlots][kMaxChannels][kMaxFrameLength];
  int analysis_[kMaxFrameLength];
  int mixLeft_[kMaxFrameLength];
  int mixRight_[kMaxFrameLength];
  int shelved_[kMaxFrameLength];
  int weighted_[kMaxFrameLength];
  int xState_[8][2];
  int yState_[8][2];

  // Rings.
  int bandRing_[kMaxBands][kBandRingCapacity];
  int bandIndex_ = 0;
  int energy_[kEnergyRingCapacity];
  int energyIndex_ = 0;
  int level_[kLevelRingCapacity];
  int hold_[kLevelRingCapacity];
  int energy400_[kLevelRingCapacity];
  int level400_[kLevelRingCapacity];
  int levelWriteIndex_ = 0;
  int statEndIndex_ = 0;
  int oldestIndex_ = 0;
  int slope16_[kStatRingLength];
  int gated16_[kStatRingLength];
  int statIndex_ = 0;
  int trend_[kMaxTrendLength];
  int newestPos_ = 0;
  int statEndPos_ = 0;
  int spanStartPos_ = 0;
  int eventStartPos_ = 0;

  // Decision state.
  int lowEnergyRatio_ = 0;
  int shortSlope_ = 0;
  int slopeHold_ = 0;
  int lowRatioCount_ = 0;
  int quietCount_ = 0;
  int fallCount_ = 0;
  int eventCount_ = 0;
  int eventBaseLevel_ = 0;
  bool signResetDone_ = false;
  int peakExcess_ = 0;
  int64_t shortfallSum_ = 0;
  int64_t shortfallCount_ = 0;
  int lowestPos_ = 0;
  int lowestLevel_ = 0;
};
