#include "hvtralofx/CAdaptiveVolume_S24.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "../fixedpoint/FixedPoint.h"
#include "../fixedpoint/ScalarMath.h"
#include "AdaptiveVolumeTables.h"
#include "LevellerBandBankInternal.h"
#include "LevellerCore.h"

using namespace fxp;
using namespace hvfx;
using namespace hvfx::leveller;

namespace {

// Decibels in Q16.
constexpr int32_t DbQ16(int db) { return db * 65536; }
constexpr int32_t k1Db = DbQ16(1);
constexpr int32_t k3Db = DbQ16(3);
constexpr int32_t k8Db = DbQ16(8);
constexpr int32_t k9Db = DbQ16(9);
constexpr int32_t k10Db = DbQ16(10);
constexpr int32_t k11Db = DbQ16(11);
constexpr int32_t k12Db = DbQ16(12);
constexpr int32_t k15Db = DbQ16(15);
constexpr int32_t k20Db = DbQ16(20);
constexpr int32_t k21Db = DbQ16(21);
constexpr int32_t k23Db = DbQ16(23);
constexpr int32_t k26Db = DbQ16(26);
constexpr int32_t k30Db = DbQ16(30);
constexpr int32_t k35Db = DbQ16(35);
constexpr int32_t k37Db = DbQ16(37);
constexpr int32_t k40Db = DbQ16(40);
constexpr int32_t k46Db = DbQ16(46);
constexpr int32_t k50Db = DbQ16(50);
constexpr int32_t k70Db = DbQ16(70);

constexpr int32_t kBaseVolumeHighDb = -DbQ16(3);  // baseFlag > 0
constexpr int32_t kBaseVolumeLowDb = -DbQ16(9);
constexpr int32_t kPeakDecayPerSecond = -786432;  // -12 dB/s
constexpr int32_t kSlewBasePerSecond = 196608;    // 3 dB/s at rate 0 %
constexpr int32_t kMaxFallStep = -k1Db;           // main path, per frame
constexpr int32_t kMaxRiseStep = 16384;           // +0.25 dB per frame

// Channel mix (Q23).
constexpr int64_t kOneQ23 = int64_t{1} << 23;
constexpr int32_t kMaxWeightQ23 = 8388607;
constexpr int32_t kHalfWeightQ23 = 4194304;
constexpr int32_t kSmoothOldQ23 = 6710886;  // 0.8
constexpr int32_t kSmoothNewQ23 = 1677722;  // 0.2
constexpr int32_t kWeightStepQ23 = 83886;   // 0.01
constexpr int64_t kActivityFactor = 2;

// Level curve slopes (Q23).
constexpr int32_t kSlopeUnityQ23 = 8388607;
constexpr int32_t kSlopeSteepLowQ23 = 5242880;  // 0.625
constexpr int32_t kSlopeFlatQ23 = 1094166;      // ~0.13
constexpr int32_t kSlopeSteepQ23 = 4376665;     // ~0.52

constexpr int32_t kLowRatioThresholdQ23 = 39321;
constexpr int32_t kFallSlopeThreshold = -4095;
constexpr int32_t kBiquadRound = 1 << 20;

struct RateConfig {
  int rate;
  int frameLength;
  int frameShift;
  const int* coefs;
};
constexpr RateConfig kRates[] = {
    {8000, 64, 6, AdaV_Ord2_Coefs_80},     {11025, 64, 6, AdaV_Ord2_Coefs_110},
    {16000, 128, 7, AdaV_Ord2_Coefs_160},  {22050, 128, 7, AdaV_Ord2_Coefs_220},
    {32000, 256, 8, AdaV_Ord2_Coefs_320},  {44100, 256, 8, AdaV_Ord2_Coefs_441},
    {48000, 256, 8, AdaV_Ord2_Coefs_480},
};

int Clamp(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }
int ClampToInt(int64_t v) {
  return v < INT32_MIN ? INT32_MIN : (v > INT32_MAX ? INT32_MAX : static_cast<int>(v));
}
// Counter increment that stops at INT32_MAX.
int CountUp(int c) { return c < INT32_MAX ? c + 1 : c; }
bool ValidRange(int s, int e, int len) { return len >= 1 && s >= 0 && s < len && e >= 0 && e < len; }
// Entries from s to e walking forward, wrapping: e - s + 1, plus len when < 1.
int SpanCount(int s, int e, int len) {
  const int count = e - s + 1;
  return count < 1 ? count + len : count;
}

// The entries of the span s ... e (wrapping, as SpanCount counts them) as at
// most two contiguous index ranges [from, to): sums over a span need no
// wrap test per entry.
template <class RangeFn>
void ForEachSegment(int s, int e, int len, RangeFn range) {
  if (e - s + 1 >= 1) {
    range(s, e + 1);
  } else {
    range(s, len);
    range(0, e + 1);
  }
}

// Sum of squares of n samples, modulo 2^64 as an unsigned value: exact while
// |y| < 2^27 (n <= 256), never negative.
uint64_t SumOfSquares(const int* y, int n) {
  uint64_t sum = 0;
  for (int i = 0; i < n; ++i) sum += static_cast<uint64_t>(Mul32x32(y[i], y[i]));
  return sum;
}

// The analysis biquad (IIR_Filter_2ord) one sample at a time, its history in
// registers: five exact Q21 products summed modulo 2^64, rounded by 2^20,
// shifted by 21, low 32 bits kept.
struct Biquad {
  int b0, b1, b2, a1, a2;
  int x1, x2, y1, y2;
  Biquad(const int* coefs, const int* xState, const int* yState)
      : b0(coefs[0]), b1(coefs[1]), b2(coefs[2]), a1(coefs[3]), a2(coefs[4]),
        x1(xState[0]), x2(xState[1]), y1(yState[0]), y2(yState[1]) {}
  int Step(int xi) {
    // Products of 24-bit values and 23-bit coefficients stay below 2^47;
    // the wrapping sums cannot wrap in range.
    int64_t acc = AddWrap64(Mul32x32(b0, xi), Mul32x32(b1, x1));
    acc = AddWrap64(acc, Mul32x32(b2, x2));
    acc = SubWrap64(acc, Mul32x32(a1, y1));
    acc = SubWrap64(acc, Mul32x32(a2, y2));
    const int yi = Asr64To32(AddWrap64(acc, kBiquadRound), 21);
    x2 = x1;
    x1 = xi;
    y2 = y1;
    y1 = yi;
    return yi;
  }
  void Save(int* xState, int* yState) const {
    xState[0] = x1;
    xState[1] = x2;
    yState[0] = y1;
    yState[1] = y2;
  }
};

// An energy sum scaled down and held at the 24-bit ceiling.
int ScaledEnergy(uint64_t sum, int shift) {
  const uint64_t e = sum >> shift;
  return e > static_cast<uint64_t>(kMax24) ? kMax24 : static_cast<int>(e);
}

}  // namespace

namespace hvfx {

// ---- Configuration ------------------------------------------------------------------

LevellerCore::LevellerCore(int sampleRate, int referenceLevel, int mode, int relativeVolume, int stationMs,
                           int baseFlag)
    : sampleRate_(sampleRate),
      referenceLevel_(referenceLevel),
      referenceLevelDb_(Amp2dB(referenceLevel, 0)),
      coefs_(AdaV_Ord2_Coefs_480) {
  SetAdaVParam(mode, relativeVolume, stationMs, baseFlag);
  frameCount_ = 0;
  analysisShift_ = 4;
  energyShift_ = 15;
}

void LevellerCore::SetAdaVParam(int mode, int relativeVolume, int stationMs, int baseFlag) {
  baseFlag_ = baseFlag;
  Reset();
  RetuneAdaVParam(mode, relativeVolume, stationMs, baseFlag);
}

void LevellerCore::RetuneAdaVParam(int mode, int relativeVolume, int stationMs, int baseFlag) {
  baseFlag_ = baseFlag;
  baseVolumeDb_ = baseFlag_ > 0 ? kBaseVolumeHighDb : kBaseVolumeLowDb;
  mode_ = mode;
  SetRelativeVolumn(relativeVolume);
  SetStationSigMs(stationMs);
}

void LevellerCore::SetRelativeVolumn(int percent) {
  const int p = Clamp(percent, 0, 100);
  relativeVolumeDb_ = static_cast<int>(Mul32x32(baseVolumeDb_ + k37Db, p) / 100 - k37Db);
}

void LevellerCore::SetStationSigMs(int ms) {
  const int64_t clampedMs = Clamp(ms, 5000, 20000);
  const int64_t frames = clampedMs * configRate_ / (int64_t{frameLength_} * 1000);  // F
  const int64_t ring = band_.Length();
  const int64_t k = frames / (2 * ring);
  const int64_t stationFrames = ring * (k + 1) <= frames ? k + 1 : k;
  station_ = RingIndex(static_cast<int>(std::max<int64_t>(stationFrames, 1)), 0);
  stationRemainder_ = static_cast<int>(frames - ring * station_.Length());
}

void LevellerCore::SetVolUpDownRate(int up, int down) {
  // ((percent * 1 dB) / 100 * 12 + 3 dB) per second, times N / rate per frame.
  auto perFrame = [this](int percent) {
    const int64_t perSecond = (int64_t{Clamp(percent, 0, 100)} * 65536 / 100) * 12 + kSlewBasePerSecond;
    return static_cast<int>(ShlWrap64(perSecond, frameShift_) / configRate_);
  };
  upRate_ = perFrame(up);
  downRate_ = -perFrame(down);
  halfUpRate_ = Asr32(upRate_, 1);
  halfDownRate_ = Asr32(downRate_, 1);
}

bool LevellerCore::SelectRate() {
  for (const RateConfig& r : kRates) {
    if (r.rate != sampleRate_) continue;
    configRate_ = r.rate;
    frameLength_ = r.frameLength;
    frameShift_ = r.frameShift;
    coefs_ = r.coefs;
    return true;
  }
  return false;
}

void LevellerCore::ComputeSpans() {
  const int fs = configRate_;
  const int n = frameLength_;
  framesPer20ms_ = (fs + 25 * n) / (50 * n);
  framesPer400ms_ = (4 * fs + 5 * n) / (10 * n);
  framesPerSecond_ = (fs + n / 2) >> frameShift_;
  framesPer3s_ = (3 * fs + n / 2) >> frameShift_;
  framesPer5s_ = (5 * fs + n / 2) >> frameShift_;
  lookAhead_ = std::min(framesPer20ms_, kMaxLookAhead);
  delaySlot_ = RingIndex(lookAhead_ + 1, 0);
  band_ = RingIndex(framesPerSecond_ + lookAhead_, 0);
  energyAt_ = RingIndex(framesPer3s_ + lookAhead_, 0);
  newest_ = RingIndex(framesPer5s_ + lookAhead_, 0);
  statEnd_ = RingIndex(framesPer5s_ + lookAhead_, 0);
  trendLength_ = 2 * framesPer20ms_ + 1;
  bandCount_ = fs == 8000 ? 5 : 6;
}

void LevellerCore::Reset() {
  baseVolumeDb_ = baseFlag_ > 0 ? kBaseVolumeHighDb : kBaseVolumeLowDb;
  if (SelectRate()) ComputeSpans();  // another rate keeps the configuration in effect

  std::memset(delay_, 0, sizeof(delay_));
  std::memset(analysis_, 0, sizeof(analysis_));
  std::memset(mixLeft_, 0, sizeof(mixLeft_));
  std::memset(mixRight_, 0, sizeof(mixRight_));
  std::memset(shelved_, 0, sizeof(shelved_));
  std::memset(weighted_, 0, sizeof(weighted_));
  std::memset(xState_, 0, sizeof(xState_));
  std::memset(yState_, 0, sizeof(yState_));
  std::memset(bandRing_, 0, sizeof(bandRing_));
  std::memset(energy_, 0, sizeof(energy_));
  std::memset(level_, 0, sizeof(level_));
  std::memset(hold_, 0, sizeof(hold_));
  std::memset(energy400_, 0, sizeof(energy400_));
  std::memset(level400_, 0, sizeof(level400_));
  std::memset(slope16_, 0, sizeof(slope16_));
  std::memset(gated16_, 0, sizeof(gated16_));
  std::memset(trend_, 0, sizeof(trend_));

  delaySlot_.MoveTo(0);
  band_.MoveTo(0);
  station_.MoveTo(0);
  energyAt_.MoveTo(0);
  newest_.MoveTo(0);
  statEnd_.MoveTo(newest_.Length() - framesPer20ms_);
  stat16_.MoveTo(kStatRingLength - framesPer20ms_);
  span_ = SpanPositions{};

  lowEnergyRatio_ = shortSlope_ = slopeHold_ = 0;
  lowRatioCount_ = quietCount_ = fallCount_ = eventCount_ = eventBaseLevel_ = 0;
  signResetDone_ = false;
  peakExcess_ = 0;
  shortfallSum_ = shortfallCount_ = 0;
  lowestPos_ = lowestLevel_ = 0;

  gainDb_ = 0;
  outputGain_ = kUnityGainQ18;
  target_ = 0;

  // -12 dB per second, per frame (-4194 at 48000 Hz); default slew 6 dB/s.
  peakDecay_ = static_cast<int>(Mul32x32(frameLength_, kPeakDecayPerSecond) / configRate_);
  downRate_ = Asr32(peakDecay_, 1);
  upRate_ = -downRate_;
  halfDownRate_ = Asr32(peakDecay_, 2);
  halfUpRate_ = -halfDownRate_;

  firstMixFrame_ = true;
  smoothLeft_ = smoothRight_ = smoothSum_ = 0;
  mixWeight_ = kHalfWeightQ23;
  activityThreshold_ = referenceLevel_ / 100;
}

// ---- Processing ---------------------------------------------------------------------

void LevellerCore::Process(int* out, int* in, int channels, int samples) {
  const int n = frameLength_;
  const int frames = samples / n;
  if (frames < 1) return;
  if (channels > 0 && (in == nullptr || out == nullptr)) return;
  const int rows = std::clamp(channels, 0, kMaxChannels);
  const size_t stride = static_cast<size_t>(samples);

  for (int f = 0; f < frames; ++f) {
    const size_t offset = static_cast<size_t>(f) * static_cast<size_t>(n);
    for (int ch = 0; ch < rows; ++ch) {
      const int* src = in + static_cast<size_t>(ch) * stride + offset;
      std::memcpy(delay_[delaySlot_.Index()][ch], src, sizeof(int) * static_cast<size_t>(n));
    }
    Framing(in, channels, samples, f * n);
    FrameProcess();
    // Q18 gain on 16-bit-domain samples: product below 2^40, shift 18, low
    // 32 bits kept; nothing saturates here.
    const int readSlot = delaySlot_.Forward(1);
    for (int ch = 0; ch < rows; ++ch) {
      const int* delayed = delay_[readSlot][ch];
      int* dst = out + static_cast<size_t>(ch) * stride + offset;
      for (int i = 0; i < n; ++i) dst[i] = MulAsr32(delayed[i], outputGain_, 18);
    }
    delaySlot_.Advance();
  }
}

void LevellerCore::Framing(const int* in, int channels, int samples, int offset) {
  const int n = frameLength_;
  if (in == nullptr || offset < 0 || samples < n || offset > samples - n) return;
  const size_t stride = static_cast<size_t>(samples);
  const int* base = in + offset;
  if (channels == 1) {
    for (int i = 0; i < n; ++i) analysis_[i] = ShlWrap32(base[i], analysisShift_);
  } else if (channels == 2) {
    AdaptiveMixLtRt(analysis_, base, base + stride, n);
  } else if (channels == 6) {
    const int* ch[6];
    for (int c = 0; c < 6; ++c) ch[c] = base + static_cast<size_t>(c) * stride;
    for (int i = 0; i < n; ++i) {
      const int centreAndLfe = AddWrap32(ch[2][i], ch[3][i]);
      mixLeft_[i] = AddWrap32(AddWrap32(ch[0][i], centreAndLfe), ch[4][i]);
      mixRight_[i] = AddWrap32(AddWrap32(ch[1][i], centreAndLfe), ch[5][i]);
    }
    AdaptiveMixLtRt(analysis_, mixLeft_, mixRight_, n);
  }
}

void LevellerCore::AdaptiveMixLtRt(int* x, const int* L, const int* R, int n) {
  if (n < 1 || n > kMaxFrameLength) return;
  int64_t sumL = 0, sumR = 0, sumS = 0;
  for (int i = 0; i < n; ++i) {
    sumL += Abs64(L[i]);
    sumR += Abs64(R[i]);
    sumS += Abs64(AddWrap32(L[i], R[i]));
  }
  const int64_t meanL = sumL / n, meanR = sumR / n, meanS = sumS / n;
  if (firstMixFrame_) {
    smoothLeft_ = meanL;
    smoothRight_ = meanR;
    smoothSum_ = meanS;
    firstMixFrame_ = false;
  } else {
    // 0.8 old + 0.2 new in Q23; means are below 2^32, products below 2^55.
    smoothLeft_ = Asr64(smoothLeft_ * kSmoothOldQ23 + meanL * kSmoothNewQ23, 23);
    smoothRight_ = Asr64(smoothRight_ * kSmoothOldQ23 + meanR * kSmoothNewQ23, 23);
    smoothSum_ = Asr64(smoothSum_ * kSmoothOldQ23 + meanS * kSmoothNewQ23, 23);
  }

  const int64_t sL = smoothLeft_, sR = smoothRight_, sS = smoothSum_;
  const int64_t threshold = activityThreshold_;
  auto stepUp = [this] {
    if (mixWeight_ < kMaxWeightQ23 - kWeightStepQ23) mixWeight_ += kWeightStepQ23;
  };
  auto stepDown = [this] { mixWeight_ = std::max(mixWeight_ - kWeightStepQ23, 0); };
  if (sL <= threshold && sR < threshold) {
    // both quiet: weight unchanged (the left test is non-strict, the right strict)
  } else if (kActivityFactor * sR < sL) {
    stepUp();  // left clearly louder
  } else if (kActivityFactor * sL < sR) {
    stepDown();  // right clearly louder
  } else if (sL >= sR && 2 * sS <= sL) {
    stepUp();
  } else if ((sL >= sR || 2 * sS > sR) && sL > sS && sR > sS) {
    // comparable and partly cancelling: unchanged
  } else if ((sL >= sR || 2 * sS > sR) && mixWeight_ <= kHalfWeightQ23) {
    mixWeight_ += kWeightStepQ23;
  } else {
    stepDown();
  }
  if (mixWeight_ < 0) mixWeight_ = 0;

  // w * L + (1 - w) * R, times 2^analysisShift: 24-bit inputs times a Q23
  // weight stay below 2^56; the shift by 23 - 4 floors, low 32 bits kept.
  const int64_t w = mixWeight_;
  for (int i = 0; i < n; ++i) {
    const int64_t acc = w * L[i] + int64_t{R[i]} * kOneQ23 - w * R[i];
    x[i] = Asr64To32(acc, 23 - analysisShift_);
  }
}

void LevellerCore::IIR_Filter_2ord(int* y, const int* x, const int* coefs, int* xState, int* yState,
                                          int n) {
  Biquad filter(coefs, xState, yState);
  for (int i = 0; i < n; ++i) y[i] = filter.Step(x[i]);
  filter.Save(xState, yState);
}

// ---- Frame analysis ---------------------------------------------------------------

void LevellerCore::FrameProcess() {
  PreFilter();             // 1
  MeasureBandEnergies();   // 2
  UpdateLowEnergyRatio();  // 3
  MeasureFrameLevel();     // 4
  UpdatePeakHold();        // 5
  UpdateLoudness();        // 6
  UpdateTrends();          // 7
  UpdateDecisionState();   // 8 (with the target candidates)
  target_ = Clamp(target_, kMinTargetDb, kMaxTargetDb);  // 9
  if (eventCount_ == 0)    // 10
    MoveGainSlow();
  else
    MoveGainMain();
  ++frameCount_;  // 11
  outputGain_ = dB2Gain(gainDb_, 16, 18);
  MoveBuff();
}

// K-weighting: high shelf then high pass, each with its own state.
// The high pass runs one sample behind the shelf in the same loop, so the
// two recursions overlap instead of following each other.
void LevellerCore::PreFilter() {
  const int n = frameLength_;
  if (n < 1) return;
  Biquad shelf(coefs_, xState_[0], yState_[0]);
  Biquad highPass(coefs_ + kAdaVCoefsPerBiquad, xState_[1], yState_[1]);
  int previous = shelf.Step(analysis_[0]);
  shelved_[0] = previous;
  for (int i = 1; i < n; ++i) {
    const int current = shelf.Step(analysis_[i]);
    shelved_[i] = current;
    weighted_[i - 1] = highPass.Step(previous);
    previous = current;
  }
  weighted_[n - 1] = highPass.Step(previous);
  shelf.Save(xState_[0], yState_[0]);
  highPass.Save(xState_[1], yState_[1]);
}

// Band energies: each band filter runs every frame (its state stays continuous); its
// energy enters the band ring only on the frames the station counter selects.
// The bands all read the weighted frame and nothing else, so they run as one
// bank, side by side, each summing its own squares.
void LevellerCore::MeasureBandEnergies() {
  uint64_t energy[leveller::kMaxBankBands];
  leveller::BandBankPass pass;
  pass.x = weighted_;
  pass.n = frameLength_;
  pass.bands = bandCount_;
  pass.coefs = coefs_ + 2 * kAdaVCoefsPerBiquad;
  pass.xState = xState_ + 2;
  pass.yState = yState_ + 2;
  pass.energy = energy;
  leveller::RunBandBank(pass);
  if (station_.Index() != 0) return;
  for (int b = 0; b < bandCount_; ++b) bandRing_[b][band_.Index()] = ScaledEnergy(energy[b], frameShift_ + 15);
}

// Low-energy ratio: the share of quiet entries in each band ring, weighted by the band's
// mean energy. Kept from the previous frame when every band is silent.
void LevellerCore::UpdateLowEnergyRatio() {
  int64_t s = 0, p = 0;
  for (int b = 0; b < bandCount_; ++b) {
    int mean = 0;
    const int ratio = STE2LER(bandRing_[b], band_.Index(), band_.Length(), mean);
    s += mean;
    p += Mul32x32(mean, ratio);  // 24-bit x Q23, sum below 2^50
  }
  if (s <= 0) return;
  while (s > kMax24) {
    s >>= 1;
    p >>= 1;
  }
  lowEnergyRatio_ = static_cast<int>(p / s);
}

// Frame loudness: energy of the weighted frame and its level (0 when silent).
void LevellerCore::MeasureFrameLevel() {
  const int e = ScaledEnergy(SumOfSquares(weighted_, frameLength_), energyShift_ + frameShift_);
  energy_[energyAt_.Index()] = e;
  level_[newest_.Index()] = e < 2 ? 0 : Pwr2dB(e, static_cast<short>(2 * analysisShift_ - energyShift_));
}

// Peak hold: the level, or the previous hold decayed by 12 dB per second.
void LevellerCore::UpdatePeakHold() {
  const int newest = newest_.Index();
  hold_[newest] = std::max(level_[newest], AddWrap32(hold_[newest_.Back(1)], peakDecay_));
}

// Loudness means: 400 ms mean energy and level; 3 s level into the trend register.
void LevellerCore::UpdateLoudness() {
  const short q = static_cast<short>(2 * analysisShift_ - energyShift_);
  auto levelOf = [q](int mean) { return mean <= 1 ? 0 : Pwr2dB(mean, q); };
  const int e = energyAt_.Index(), len = energyAt_.Length();
  const int mean400 = GetMean_CB(energy_, energyAt_.FirstOfNewest(framesPer400ms_), e, len);
  energy400_[newest_.Index()] = mean400;
  level400_[newest_.Index()] = levelOf(mean400);
  const int mean3s = GetMean_CB(energy_, energyAt_.FirstOfNewest(framesPer3s_), e, len);
  trend_[trendLength_ - 1] = levelOf(mean3s);
}

// Trends: the 400 ms slope around the statistics end, the 3 s short slope,
// the slope hold and the gated level over the span.
void LevellerCore::UpdateTrends() {
  const int s = stat16_.Index();
  slope16_[s] = Extract_K(level400_, statEnd_.Index(), framesPer20ms_, statEnd_.Length());
  shortSlope_ = Extract_K(trend_, framesPer20ms_, framesPer20ms_, trendLength_);
  slopeHold_ = std::max(AddWrap32(slopeHold_, peakDecay_), slope16_[s]);
  gated16_[s] = CalCulate_IL(energy400_, level400_, SpanStartIndex(), statEnd_.Index(), statEnd_.Length());
}

// ---- Decision state ------------------------------------------------------------------

void LevellerCore::UpdateDecisionState() {
  UpdateLowRatioCount();
  UpdateQuietCount();
  UpdateFallCount();
  UpdateEvents();
  LimitSpanAfterEvents();
  TrackShortfall();
  FormTarget();
}

void LevellerCore::UpdateLowRatioCount() {
  lowRatioCount_ = lowEnergyRatio_ < kLowRatioThresholdQ23 ? CountUp(lowRatioCount_) : 0;
}

// Quiet: the 400 ms level at the statistics end is more than 70 dB below full
// scale (silence reads 0 dB and counts as quiet).
void LevellerCore::UpdateQuietCount() {
  quietCount_ = level400_[statEnd_.Index()] < referenceLevelDb_ - k70Db ? CountUp(quietCount_) : 0;
}

// Frames of falling 3 s loudness. A steep fall counts up, a gentle one scales
// the count by the slope (in 1/4096 dB per frame), a rise clears it.
void LevellerCore::UpdateFallCount() {
  const int s = shortSlope_;
  if (s < kFallSlopeThreshold)
    fallCount_ = CountUp(fallCount_);
  else if (s < 0)
    fallCount_ = static_cast<int>(Asr64(Mul32x32(fallCount_, -s), 12));
  else
    fallCount_ = 0;
  if (slope16_[stat16_.Index()] > 6 * 65536 || quietCount_ > 0) fallCount_ = 0;
  // The minimum from fallCount entries before the statistics end (the count
  // just updated) up to the newest entry.
  const int newest = newest_.Index();
  const int lowest = GetMin_CB(level400_, statEnd_.Back(fallCount_), newest, newest_.Length());
  if (int64_t{level400_[newest]} - lowest > k3Db) fallCount_ = 0;
}

// Events: a peak well above the gated level in the look-ahead frames.
void LevellerCore::UpdateEvents() {
  const int statEnd = statEnd_.Index(), newest = newest_.Index(), len = newest_.Length();
  const int s = stat16_.Index();
  const int gated = gated16_[s];
  const int peak = GetMax_CB(hold_, statEnd, newest, len);
  peakExcess_ = ClampToInt(int64_t{peak} - gated);  // H
  const int newest9 = stat16_.FirstOfNewest(9);
  const int riseMax = GetMax_CB(slope16_, newest9, s, kStatRingLength);  // R
  if (peakExcess_ > k15Db || (riseMax > k3Db && peakExcess_ > k12Db)) {
    eventCount_ = CountUp(eventCount_);
    if (eventCount_ == 1) {
      eventBaseLevel_ = GetMean_CB(gated16_, newest9, s, kStatRingLength);
      signResetDone_ = false;
    }
  }
  if (eventCount_ != 0 && GetMax_CB(level400_, statEnd, newest, len) < gated) {
    eventCount_ = 0;
    signResetDone_ = false;
    eventBaseLevel_ = 0;
  }
}

// After an event the statistics span shrinks to L frames: 1 for a peak 20 dB
// or more above the gated level, up to framesPer5s for a small one, shorter
// with every event frame, but never below eventCount.
void LevellerCore::LimitSpanAfterEvents() {
  const int h = peakExcess_;
  int limit = 1;
  if (h < k20Db && eventCount_ < 20) {
    const int64_t remaining = 20 - eventCount_;
    if (h <= k9Db) {
      limit = static_cast<int>(remaining * framesPer5s_ / 20);
    } else {
      const int64_t scaled = remaining * ((k20Db - h) / 11) / 20;  // Q16 share of the span
      limit = std::max<int>(Wrap16(Asr64(scaled * framesPer5s_, 16)), 1);
    }
  }
  if (limit < eventCount_) limit = eventCount_;
  if (span_.Length() > limit) span_.spanStart = span_.newest - limit;
}

// Shortfall: while the 400 ms level at the statistics end lies 1 dB or more
// below the gated level, the deficit accumulates; the larger it grows, the
// shorter the span the gated level may use, never excluding the lowest level
// of the run. A span longer than that moves the third start marker, which the
// span start adopts whenever the 3 s loudness is not falling.
void LevellerCore::TrackShortfall() {
  const int level = level400_[statEnd_.Index()];
  const int64_t d = int64_t{level} - gated16_[stat16_.Index()];
  if (d > -k1Db) {
    shortfallSum_ = 0;
    shortfallCount_ = 0;
    lowestPos_ = 0;
  } else {
    shortfallSum_ += std::max<int64_t>(d, -k70Db);
    ++shortfallCount_;
    if (shortfallCount_ == 1 || level < lowestLevel_) {
      lowestPos_ = span_.statEnd;
      lowestLevel_ = level;
    }
  }
  const int64_t meanShortfall = shortfallCount_ > 0 ? shortfallSum_ / shortfallCount_ : 0;
  const int64_t divisor = meanShortfall < -k40Db ? 1000 : (meanShortfall < -k30Db ? 1500 : 2000);
  const int64_t f = -shortfallSum_ / divisor;
  int64_t allowed = 1;
  if (f <= 0)
    allowed = framesPer5s_;
  else if (f < 65536)
    allowed = std::max<int64_t>(1, Wrap16(Asr64((65536 - f) * framesPer5s_, 16)));
  allowed = std::max<int64_t>(allowed, int64_t{span_.newest} - lowestPos_);
  if (span_.Length() > allowed)
    span_.eventStart = std::max(span_.eventStart, static_cast<int>(span_.newest - allowed));
  if (fallCount_ == 0) span_.spanStart = span_.eventStart;
}

// The fast candidate follows the peak hold of the look-ahead frames, with a
// bonus that shrinks as the peak rises above the level before the event; the
// slow one follows the gated level.
void LevellerCore::FormTarget() {
  const int m = GetMax_CB(hold_, statEnd_.Forward(1), newest_.Index(), newest_.Length());
  const int64_t rise = int64_t{m} - eventBaseLevel_;
  const int64_t bonus = rise < k12Db ? k9Db : k21Db - std::min<int64_t>(rise, k21Db);
  const int64_t fast = Get_TargetGaindB(m) + bonus;
  const int slow = Get_TargetGaindB(gated16_[stat16_.Index()]);
  target_ = eventCount_ >= 1 ? ClampToInt(std::min<int64_t>(fast, slow)) : slow;
}

// ---- Gain movement -------------------------------------------------------------------

// No event: one slew step toward the target per frame, not clamped at it (the
// gain toggles around the target by one step, deliberately). A steady signal
// that would be raised drifts back toward 0 dB at half speed once it has
// lasted stationRemainder frames, and holds before that.
void LevellerCore::MoveGainSlow() {
  int step = 0;
  if (target_ <= 0 || lowRatioCount_ <= 0)
    step = gainDb_ < target_ ? upRate_ : downRate_;
  else if (lowRatioCount_ >= stationRemainder_)
    step = gainDb_ >= 1 ? halfDownRate_ : halfUpRate_;
  gainDb_ = AddWrap32(gainDb_, step);
}

// During an event: a gain on the wrong side of 0 dB restarts from 0 once per
// event; then the gain falls by at most 1 dB per frame (more after a quick
// rise of the level) and rises by at most 0.25 dB per frame.
void LevellerCore::MoveGainMain() {
  if (!signResetDone_ && ((gainDb_ < 0 && target_ > 0) || (gainDb_ >= 1 && target_ < 0))) {
    gainDb_ = 0;
    signResetDone_ = true;
  }
  if (target_ <= gainDb_) {
    int limit = kMaxFallStep;
    if (slopeHold_ > k3Db - 1) limit = -((std::min(slopeHold_, k10Db) - k3Db) * 5) / 7 - k1Db;
    gainDb_ += std::max(target_ - gainDb_, limit);
  } else {
    gainDb_ += std::min(target_ - gainDb_, kMaxRiseStep);
  }
}

// ---- Level curve ------------------------------------------------------------------

// Segment products: a distance of at most 24 dB in Q16 (< 2^21) times a Q23
// slope, below 2^44 in 64 bits, floored by 23; the sum is clamped at the end.
int LevellerCore::Get_TargetGaindB(int levelDb) const {
  int64_t d = int64_t{levelDb} - referenceLevelDb_;
  if (d >= 1) d = 0;
  const bool steep = mode_ == 1;
  int64_t f = 0;  // desired output level relative to the reference
  if (d < -k70Db)
    f = d + k20Db;
  else if (d < -k46Db)
    f = Asr64((d + k70Db) * (steep ? kSlopeSteepLowQ23 : kSlopeUnityQ23), 23) - k50Db;
  else if (d < -k23Db)
    f = (steep ? -k35Db : -k26Db) + Asr64((d + k46Db) * (steep ? kSlopeSteepQ23 : kSlopeFlatQ23), 23);
  else if (d < 0)
    f = Asr64((d + k23Db) * (steep ? kSlopeSteepQ23 : kSlopeFlatQ23), 23) - k23Db;
  else
    f = steep ? -k11Db : -k20Db;
  const int64_t g = int64_t{relativeVolumeDb_} + k23Db + f - d;
  return static_cast<int>(std::clamp<int64_t>(g, kMinTargetDb, kMaxTargetDb));
}

// ---- Ring statistics ----------------------------------------------------------------

namespace {

// The entry that `better` prefers among a[e], a[e-1], ... over the span's
// count; 0 for an invalid span.
template <typename Better>
int PickOverSpan(const int* a, int s, int e, int len, Better better) {
  if (a == nullptr || !ValidRange(s, e, len)) return 0;
  const int count = SpanCount(s, e, len);
  RingIndex at(len, e);
  int m = a[e];
  for (int k = 1; k < count; ++k) {
    at.Retreat();
    if (better(a[at.Index()], m)) m = a[at.Index()];
  }
  return m;
}

}  // namespace

int LevellerCore::GetMin_CB(const int* a, int s, int e, int len) {
  return PickOverSpan(a, s, e, len, [](int x, int m) { return x < m; });
}

int LevellerCore::GetMax_CB(const int* a, int s, int e, int len) {
  return PickOverSpan(a, s, e, len, [](int x, int m) { return x > m; });
}

int LevellerCore::GetMean_CB(const int* a, int s, int e, int len) {
  if (a == nullptr || !ValidRange(s, e, len)) return 0;
  const int count = SpanCount(s, e, len);
  if (count < 2) return a[e];
  int64_t sum = 0;
  ForEachSegment(s, e, len, [&](int from, int to) {
    for (int i = from; i < to; ++i) sum += a[i];
  });
  return static_cast<int>(sum / count);
}

int LevellerCore::Extract_K(const int* a, int e, int h, int len) {
  if (a == nullptr || h < 1 || h > kMaxSlopeHalfWidth || len < 1 || e < 0 || e >= len) return 0;
  const RingIndex centre(len, e);
  int64_t num = 0, den = 0;
  for (int k = -h; k <= h; ++k) {
    num += MulWrap32(k, a[centre.Forward(k)]);
    den += int64_t{k} * k;
  }
  return Wrap32((2 * num) / den);
}

int LevellerCore::STE2LER(const int* a, int /*e*/, int len, int& mean) {
  mean = 0;
  if (len < 0) return 0;
  if (len == 0 || a == nullptr) return kMax24;
  int64_t sum = 0;
  for (int i = 0; i < len; ++i) sum += a[i];
  mean = static_cast<int>(sum / len);
  const int half = Asr32(mean, 1);
  int below = 0;
  for (int i = 0; i < len; ++i) below += a[i] < half ? 1 : 0;
  if (below == len) return kMax24;
  return static_cast<int>((int64_t{below} << 23) / len);
}

int LevellerCore::CalCulate_IL(const int* energies, const int* levels, int s, int e, int len) const {
  if (energies == nullptr || levels == nullptr || !ValidRange(s, e, len)) return 0;
  const int count = SpanCount(s, e, len);
  const short q = static_cast<short>(2 * analysisShift_ - energyShift_);
  // Mean energy of the entries louder than the gate, or of all entries when
  // none is; the sum of at most len 24-bit energies fits 64 bits easily.
  auto gatedMean = [&](int64_t gate) {
    int64_t gatedSum = 0, plainSum = 0;
    int passed = 0;
    // Without branches: whether an entry passes the gate is as good as random.
    ForEachSegment(s, e, len, [&](int from, int to) {
      for (int i = from; i < to; ++i) {
        const int64_t pass = levels[i] > gate ? 1 : 0;
        plainSum += energies[i];
        gatedSum += energies[i] * pass;
        passed += static_cast<int>(pass);
      }
    });
    return passed > 0 ? gatedSum / passed : plainSum / count;
  };
  auto levelOf = [q](int64_t mean) { return mean <= 0 ? 0 : Pwr2dB(SatHigh24(mean), q); };
  const int absolute = levelOf(gatedMean(int64_t{referenceLevelDb_} - k70Db));
  return levelOf(gatedMean(int64_t{absolute} - k8Db));
}

// ---- Ring positions ---------------------------------------------------------------

// Every ring moves one frame on; the band rings only on the frames that
// stored an entry.
void LevellerCore::MoveBuff() {
  span_.Advance(framesPer20ms_, framesPer5s_, newest_.Length());
  newest_.Advance();
  statEnd_.Advance();
  energyAt_.Advance();
  if (station_.Index() == 0) band_.Advance();
  station_.Advance();
  stat16_.Advance();
  // Trend register: the oldest value drops out.
  std::memmove(trend_, trend_ + 1, sizeof(int) * static_cast<size_t>(trendLength_ - 1));
}

}  // namespace hvfx

// ---- The exported class ------------------------------------------------------------

CAdaptiveVolume_S24::CAdaptiveVolume_S24(int sampleRate, int referenceLevel, int mode, int relativeVolume,
                                         int stationMs, int baseFlag)
    : core_(std::make_unique<hvfx::LevellerCore>(sampleRate, referenceLevel, mode, relativeVolume, stationMs,
                                                 baseFlag)) {}

CAdaptiveVolume_S24::~CAdaptiveVolume_S24() = default;

void CAdaptiveVolume_S24::SetAdaVParam(int mode, int relativeVolume, int stationMs, int baseFlag) {
  core_->SetAdaVParam(mode, relativeVolume, stationMs, baseFlag);
}
void CAdaptiveVolume_S24::RetuneAdaVParam(int mode, int relativeVolume, int stationMs, int baseFlag) {
  core_->RetuneAdaVParam(mode, relativeVolume, stationMs, baseFlag);
}
void CAdaptiveVolume_S24::SetRelativeVolumn(int percent) { core_->SetRelativeVolumn(percent); }
void CAdaptiveVolume_S24::SetStationSigMs(int ms) { core_->SetStationSigMs(ms); }
void CAdaptiveVolume_S24::SetVolUpDownRate(int up, int down) { core_->SetVolUpDownRate(up, down); }
void CAdaptiveVolume_S24::Reset() { core_->Reset(); }
void CAdaptiveVolume_S24::Process(int* out, int* in, int channels, int samples) {
  core_->Process(out, in, channels, samples);
}
int CAdaptiveVolume_S24::GetLookAhead() const { return core_->lookAhead_; }
int CAdaptiveVolume_S24::GetFrameLength() const { return core_->frameLength_; }
