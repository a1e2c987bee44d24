// The adaptive volume leveller's analysis, decision and gain: everything
// behind the exported CAdaptiveVolume_S24 (include/hvtralofx/), which holds
// one LevellerCore and forwards its interface to it. Internal to the
// library; the library's tests, benchmarks, fuzz targets and soak reach the
// state through AdaptiveVolumeProbe.
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
//   * Level-ring indices after Reset: the newest entry's index starts at 0,
//     the statistics end's at L5 - framesPer20ms, L5 = framesPer5s +
//     lookAhead. The statistics end therefore always lies framesPer20ms
//     entries behind the newest entry. The unwrapped span positions (newest,
//     statEnd, spanStart, eventStart) all start at 0, so for the first
//     framesPer20ms frames the statistics end's position stays at 0 while its
//     index already runs framesPer20ms behind the newest.
//   * The span start's ring index is derived from the statistics end:
//     statEnd index - (statEnd - spanStart), wrapped. The span holds
//     statEnd - spanStart + 1 entries; a start that lies past the statistics
//     end wraps, as every ring statistic does, to a span of nearly the whole
//     ring. (No statistic reads the oldest entry's index, so none is kept.)
//   * Span limit after events: L is computed and applied every frame; a span
//     longer than L has its start set to span.newest - L and left where it
//     lands. Shortfall: the third start marker (span.eventStart) moves to
//     span.newest - allowed when the span is longer than allowed, never back;
//     "the distance back to the lowest level" is span.newest - lowestPos, where
//     lowestPos is the statistics end's position of the first frame of a
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

#include "LevellerRing.h"
#include "hvtralofx/CAdaptiveVolume_S24.h"

namespace hvfx {

class LevellerCore {
 public:
  static constexpr int kMaxChannels = CAdaptiveVolume_S24::kMaxChannels;
  static constexpr int kMaxFrameLength = 256;   // N at 32000 Hz and above
  static constexpr int kMaxLookAhead = 3;
  static constexpr int kMaxDelaySlots = kMaxLookAhead + 1;
  static constexpr int kMaxBands = 6;
  static constexpr int kBandRingCapacity = 191;    // framesPerSecond + lookAhead at 48000 Hz
  static constexpr int kEnergyRingCapacity = 566;  // framesPer3s + lookAhead at 48000 Hz
  static constexpr int kLevelRingCapacity = 941;   // framesPer5s + lookAhead at 48000 Hz
  static constexpr int kStatRingLength = 16;       // slope and gated-level rings
  static constexpr int kMaxTrendLength = 9;        // 2 * framesPer20ms + 1 at 48000 Hz
  static constexpr int32_t kUnityGainQ18 = CAdaptiveVolume_S24::kUnityGainQ18;
  static constexpr int32_t kMinTargetDb = CAdaptiveVolume_S24::kMinTargetDb;
  static constexpr int32_t kMaxTargetDb = CAdaptiveVolume_S24::kMaxTargetDb;

  // The exported class's interface, as documented there.
  LevellerCore(int sampleRate, int referenceLevel, int mode, int relativeVolume, int stationMs, int baseFlag);
  void SetAdaVParam(int mode, int relativeVolume, int stationMs, int baseFlag);
  void RetuneAdaVParam(int mode, int relativeVolume, int stationMs, int baseFlag);
  void SetRelativeVolumn(int percent);
  void SetStationSigMs(int ms);
  void SetVolUpDownRate(int up, int down);
  void Reset();
  void Process(int* out, int* in, int channels, int samples);

  // ---- Steps, so that the analysis can be driven and inspected.

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

  // The steps of FrameProcess, in order.
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
  int SpanStartIndex() const { return statEnd_.Back(span_.statEnd - span_.spanStart); }

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
  int framesPer20ms_ = 4;
  int framesPer400ms_ = 75;
  int framesPerSecond_ = 188;
  int framesPer3s_ = 563;
  int framesPer5s_ = 938;
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

  // Delay ring (the slot written this frame; the one read is the next) and
  // frame buffers.
  RingIndex delaySlot_{kMaxDelaySlots, 0};
  int delay_[kMaxDelaySlots][kMaxChannels][kMaxFrameLength];
  int analysis_[kMaxFrameLength];
  int mixLeft_[kMaxFrameLength];
  int mixRight_[kMaxFrameLength];
  int shelved_[kMaxFrameLength];
  int weighted_[kMaxFrameLength];
  int xState_[8][2];
  int yState_[8][2];

  // Rings, each with its position. The band rings take an entry every
  // station_.Length() frames (when station_ is at 0); the four level rings
  // (level_, hold_, energy400_, level400_) share newest_ and statEnd_.
  int bandRing_[kMaxBands][kBandRingCapacity];
  RingIndex band_{kBandRingCapacity, 0};
  RingIndex station_{1, 0};
  int energy_[kEnergyRingCapacity];
  RingIndex energyAt_{kEnergyRingCapacity, 0};
  int level_[kLevelRingCapacity];
  int hold_[kLevelRingCapacity];
  int energy400_[kLevelRingCapacity];
  int level400_[kLevelRingCapacity];
  RingIndex newest_{kLevelRingCapacity, 0};
  RingIndex statEnd_{kLevelRingCapacity, 0};
  SpanPositions span_;
  int slope16_[kStatRingLength];
  int gated16_[kStatRingLength];
  RingIndex stat16_{kStatRingLength, 0};
  int trend_[kMaxTrendLength];

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

// Reaches the leveller behind an exported CAdaptiveVolume_S24.
struct AdaptiveVolumeProbe {
  static LevellerCore& Core(CAdaptiveVolume_S24& av) { return *av.core_; }
  static const LevellerCore& Core(const CAdaptiveVolume_S24& av) { return *av.core_; }
};

}  // namespace hvfx
