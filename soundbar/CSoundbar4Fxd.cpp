// Soundbar virtualizer: block processing, fades and the filter build.
//
// Overflow notes. 32-bit path: mid/side and band sums wrap in 32 bits; the
// side gains are exact 32 x 16-bit products, shifted by (exponent + 27) and
// truncated to 32 bits; the 23167 and 32767 matrix weights likewise with a
// shift of 15. 16-bit path: the same with 32-bit products and sums, each
// result truncated to 16 bits. Nothing saturates: the input gain of 0.35
// and the halving at every mid/side step keep full-scale input in range.
#include "hvtralofx/CSoundbar4Fxd.h"

#include <cstdlib>
#include <cstring>

#include "../fixedpoint/FixedPoint.h"
#include "SoundbarCoefficientSet.h"
#include "SoundbarFadeTables.h"

using namespace fxp;
using namespace hvfx::soundbar;


namespace {

constexpr int16_t kSurroundWeight = 23167;  // 1/sqrt(2) in Q15
constexpr int16_t kFrontWeight = 32767;     // unity less one step in Q15
constexpr int kGainShiftBias = 27;          // side gains shift by exponent + 27
constexpr int kDcBlockerShift = 10;         // DC blocker input and output scaling
constexpr int kIntegratorInShift = 10;
constexpr int kIntegratorOutAdjust = 2;

// The sample arithmetic of each path. 32-bit: wrapping 32-bit sums, 64-bit
// products. 16-bit: sums and products formed in 32 bits; the band split's
// difference is stored truncated (it stays in range), while a side band
// weighted by a gain above 1 stays 32 bits wide until it is mixed with its
// mid band, and the mixes saturate to 16 bits: full-scale input would
// otherwise wrap an output from one rail to the other.
template <class Sample>
struct PathArith;

template <>
struct PathArith<int> {
  static int Half(int a, int b) { return Asr32(AddWrap32(a, b), 1); }
  static int HalfDiff(int a, int b) { return Asr32(SubWrap32(a, b), 1); }
  static int Add(int a, int b) { return AddWrap32(a, b); }
  static int Sub(int a, int b) { return SubWrap32(a, b); }
  static int MulShift(int x, int g, int s) { return Asr64To32(Mul32x32(x, g), s); }
};

template <>
struct PathArith<short> {
  // Overflow note: |a|, |b| < 2^16 and |x * g| < 2^30 keep every sum and
  // product in 32 bits; Sat16 narrows where the 16-bit result is final.
  static short Half(short a, int b) { return Sat16((a + b) >> 1); }
  static short HalfDiff(short a, int b) { return Sat16((a - b) >> 1); }
  static short Add(short a, short b) { return Sat16(a + b); }
  static short Sub(short a, short b) { return Wrap16(a - b); }
  static int MulShift(short x, int g, int s) { return Asr32(x * g, s); }
};

// (s * gain) asr 15 of one sample, truncated to its width.
inline int ScaleQ15(int s, int gain) { return Asr64To32(Mul32x32(s, gain), 15); }
inline short ScaleQ15(short s, int gain) { return Wrap16(Asr32(s * gain, 15)); }

// Sample (frame n, channel k) of a planar (channel stride `frames`) or
// interleaved (frame stride `channels`) block.
inline size_t Index(int n, int k, int frames, int channels, int interleaved) {
  return interleaved ? static_cast<size_t>(n) * static_cast<size_t>(channels) + static_cast<size_t>(k)
                     : static_cast<size_t>(k) * static_cast<size_t>(frames) + static_cast<size_t>(n);
}

// Multiplies every channel of each frame by the table entry at the shared
// position while the fade is active; returns the position reached.
// Output sample (frame n, channel k): planar rows outChannelStride apart or
// interleaved frames outFrameStride apart.
inline size_t OutIndex(int n, int k, int outChannelStride, int outFrameStride, int interleaved) {
  return interleaved ? static_cast<size_t>(n) * static_cast<size_t>(outFrameStride) + static_cast<size_t>(k)
                     : static_cast<size_t>(k) * static_cast<size_t>(outChannelStride) + static_cast<size_t>(n);
}

template <class Sample>
uint32_t WalkFade(Sample* buf, int frames, int channels, int interleaved, const int16_t* table, uint32_t length,
                  uint32_t position) {
  for (int n = 0; n < frames && position < length; ++n, ++position) {
    const int g = table[position];
    for (int k = 0; k < channels; ++k) {
      Sample& s = buf[Index(n, k, frames, channels, interleaved)];
      s = ScaleQ15(s, g);
    }
  }
  return position;
}

template <class Sample>
void ScaleAll(Sample* buf, size_t count, int gain) {
  for (size_t i = 0; i < count; ++i) buf[i] = ScaleQ15(buf[i], gain);
}

template <class Sample>
void ScaleChannels(Sample* buf, int frames, int channels, const int* gains, int interleaved) {
  for (int n = 0; n < frames; ++n)
    for (int k = 0; k < channels; ++k) {
      Sample& s = buf[Index(n, k, frames, channels, interleaved)];
      s = ScaleQ15(s, gains[k]);
    }
}

template <class Block>
void FreeBlock(Block*& block) {
  if (block == nullptr) return;
  block->Free();
  delete block;
  block = nullptr;
}

// The block in `block`, created (cleared) if it does not exist yet.
template <class Block>
Block* EnsureBlock(Block*& block) {
  if (block == nullptr) {
    block = new Block();
    block->Clear();
  }
  return block;
}

template <class Block>
void ResetBlock(Block* block) {
  if (block != nullptr) block->Reset();
}

}  // namespace

// ---- Work buffers and block access -------------------------------------------------

// Rows of a band split: per mid/side pair, the mid signal's delayed copy,
// low band and high band, then the side signal's.
enum BandRow { kMidDelayed, kMidLow, kMidHigh, kSideDelayed, kSideLow, kSideHigh, kBandRows };

template <class Sample>
struct CSoundbar4Fxd::WorkBuffers {
  // Pair 0 is the front pair, pair 1 the surround pair.
  Sample* mid[2];
  Sample* side[2];
  Sample* channel2;
  Sample* channel3;
  Sample* bands[2][kBandRows];

  WorkBuffers(Sample* base, int length) {
    Sample* row[kWorkSignals];
    for (int i = 0; i < kWorkSignals; ++i) row[i] = base + static_cast<size_t>(i) * static_cast<size_t>(length);
    mid[0] = row[0];
    side[0] = row[1];
    mid[1] = row[2];
    side[1] = row[3];
    channel2 = row[4];
    channel3 = row[5];
    for (int pair = 0; pair < 2; ++pair)
      for (int b = 0; b < kBandRows; ++b) bands[pair][b] = row[6 + kBandRows * pair + b];
  }
};

// The caller's input and output blocks, planar or interleaved. Passed by
// value: a copy of its own lets the compiler keep the strides in registers
// while samples are stored.
template <class Sample>
struct CSoundbar4Fxd::BlockIo {
  const Sample* in;
  int frames;
  int inChannels;
  Sample* out;
  int outChannelStride;
  int outFrameStride;
  int interleaved;

  Sample In(int n, int k) const { return in[Index(n, k, frames, inChannels, interleaved)]; }
  void Out(int n, int k, Sample v) const { out[OutIndex(n, k, outChannelStride, outFrameStride, interleaved)] = v; }
};

namespace {

// Input channels `left` and left + 1 as mid = (L + R) / 2 and side = (L - R) / 2.
template <class Io, class Sample>
void ToMidSide(Io io, int left, Sample* mid, Sample* side) {
  using A = PathArith<Sample>;
  for (int n = 0; n < io.frames; ++n) {
    mid[n] = A::Half(io.In(n, left), io.In(n, left + 1));
    side[n] = A::HalfDiff(io.In(n, left), io.In(n, left + 1));
  }
}

// One pair's bands matrixed back to left and right: the high pair from the
// mid high band and the side high band times gHigh (shift kHigh), the low
// pair likewise. The rows are taken once per block.
template <class Sample>
struct PairOutput {
  Sample highL, highR, lowL, lowR;
};
template <class Sample>
struct PairMatrix {
  const Sample* midLow;
  const Sample* midHigh;
  const Sample* sideLow;
  const Sample* sideHigh;
  int gLow, gHigh, kLow, kHigh;

  PairMatrix(Sample* const* bands, int gLowIn, int gHighIn, int kLowIn, int kHighIn)
      : midLow(bands[kMidLow]), midHigh(bands[kMidHigh]), sideLow(bands[kSideLow]), sideHigh(bands[kSideHigh]),
        gLow(gLowIn), gHigh(gHighIn), kLow(kLowIn), kHigh(kHighIn) {}

  PairOutput<Sample> At(int n) const {
    using A = PathArith<Sample>;
    const auto high = A::MulShift(sideHigh[n], gHigh, kHigh);
    const auto low = A::MulShift(sideLow[n], gLow, kLow);
    return {A::Half(midHigh[n], high), A::HalfDiff(midHigh[n], high), A::Half(midLow[n], low),
            A::HalfDiff(midLow[n], low)};
  }
};

}  // namespace

// ---- Life cycle -------------------------------------------------------------------

CSoundbar4Fxd::~CSoundbar4Fxd() { Free(); }

void CSoundbar4Fxd::Clear() {
  initialized = 0;
  sampleRate = 0;
  channels = 0;
  outputChannels = 0;
  blockLength = 0;
  filtfiltDelay = 0;
  distance.store(50, std::memory_order_relaxed);
  angle.store(1, std::memory_order_relaxed);
  frontMidDcDelay = surroundMidDcDelay = nullptr;
  frontSideDcBlocker = surroundSideDcBlocker = nullptr;
  frontSideIntegrator = surroundSideIntegrator = nullptr;
  frontMidFirDelay = surroundMidFirDelay = nullptr;
  frontSideFir = surroundSideFir = nullptr;
  frontMidLowpass = frontSideLowpass = surroundMidLowpass = surroundSideLowpass = nullptr;
  frontMidBandDelay = frontSideBandDelay = surroundMidBandDelay = surroundSideBandDelay = nullptr;
  channel2Delay = channel3Delay = nullptr;
  frontGainPair = surroundGainPair = nullptr;
  frontGainShift = surroundGainShift = 0;
  coefficients = nullptr;
  passThroughDelay = 0;
  work32 = nullptr;
  work16 = nullptr;
}

int CSoundbar4Fxd::Init(int sampleRateIn, int channelsIn, int blockLengthIn, int filtfiltDelayIn, int distanceIn,
                        int angleIn) {
  if (blockLengthIn < 1 || filtfiltDelayIn < 1) return 0;
  Free();
  Clear();
  channels = channelsIn;
  outputChannels = 6;
  blockLength = blockLengthIn;
  filtfiltDelay = filtfiltDelayIn;
  sampleRate = sampleRateIn;
  initialized = 1;
  distance.store(distanceIn, std::memory_order_relaxed);
  angle.store(angleIn, std::memory_order_relaxed);
  outputFadePosition.store(0);
  const size_t count = static_cast<size_t>(kWorkSignals) * static_cast<size_t>(blockLength);
  work32 = static_cast<int32_t*>(std::calloc(count, sizeof(int32_t)));
  work16 = static_cast<int16_t*>(std::calloc(count, sizeof(int16_t)));
  UpdateFilterParameters(sampleRateIn, distanceIn, angleIn);
  Reset();
  return 0;
}

int CSoundbar4Fxd::Reset() {
  if (initialized == 0) return 0;
  const size_t count = static_cast<size_t>(kWorkSignals) * static_cast<size_t>(blockLength);
  if (work32 != nullptr) std::memset(work32, 0, count * sizeof(int32_t));
  if (work16 != nullptr) std::memset(work16, 0, count * sizeof(int16_t));
  ResetBlock(frontMidDcDelay);
  ResetBlock(surroundMidDcDelay);
  ResetBlock(frontSideDcBlocker);
  ResetBlock(surroundSideDcBlocker);
  ResetBlock(frontSideIntegrator);
  ResetBlock(surroundSideIntegrator);
  ResetBlock(frontMidFirDelay);
  ResetBlock(surroundMidFirDelay);
  ResetBlock(frontSideFir);
  ResetBlock(surroundSideFir);
  ResetBlock(frontMidLowpass);
  ResetBlock(frontSideLowpass);
  ResetBlock(surroundMidLowpass);
  ResetBlock(surroundSideLowpass);
  ResetBlock(frontMidBandDelay);
  ResetBlock(frontSideBandDelay);
  ResetBlock(surroundMidBandDelay);
  ResetBlock(surroundSideBandDelay);
  ResetBlock(channel2Delay);
  ResetBlock(channel3Delay);
  return 0;
}

int CSoundbar4Fxd::Free() {
  std::free(work32);
  std::free(work16);
  work32 = nullptr;
  work16 = nullptr;
  delete_filters();
  initialized = 0;
  return 0;
}

void CSoundbar4Fxd::SetDistance(int value) {
  distance.store(value, std::memory_order_relaxed);
  inputFadePosition.store(0);
}

void CSoundbar4Fxd::SetAngle(int value) {
  angle.store(value, std::memory_order_relaxed);
  inputFadePosition.store(0);
}

// ---- Filter build -------------------------------------------------------------------

void CSoundbar4Fxd::delete_filters() {
  FreeBlock(frontMidDcDelay);
  FreeBlock(surroundMidDcDelay);
  FreeBlock(frontSideDcBlocker);
  FreeBlock(surroundSideDcBlocker);
  FreeBlock(frontSideIntegrator);
  FreeBlock(surroundSideIntegrator);
  FreeBlock(frontMidFirDelay);
  FreeBlock(surroundMidFirDelay);
  FreeBlock(frontSideFir);
  FreeBlock(surroundSideFir);
  FreeBlock(frontMidLowpass);
  FreeBlock(frontSideLowpass);
  FreeBlock(surroundMidLowpass);
  FreeBlock(surroundSideLowpass);
  FreeBlock(frontMidBandDelay);
  FreeBlock(frontSideBandDelay);
  FreeBlock(surroundMidBandDelay);
  FreeBlock(surroundSideBandDelay);
  FreeBlock(channel2Delay);
  FreeBlock(channel3Delay);
  coefficients = nullptr;
}

int CSoundbar4Fxd::UpdateFilterParameters(int rate, int distanceCm, int width) {
  coefficients = nullptr;
  for (CDCBlockerMAFxd** b : {&frontSideDcBlocker, &surroundSideDcBlocker}) EnsureBlock(*b);
  for (CNGOIntegratorFxd** b : {&frontSideIntegrator, &surroundSideIntegrator}) EnsureBlock(*b);
  for (CFIRFxd** b : {&frontSideFir, &surroundSideFir}) EnsureBlock(*b);
  for (CFiltFiltFxd** b : {&frontMidLowpass, &frontSideLowpass, &surroundMidLowpass, &surroundSideLowpass})
    EnsureBlock(*b);
  for (CDelayLineFxd** b : {&frontMidDcDelay, &surroundMidDcDelay, &frontMidFirDelay, &surroundMidFirDelay,
                            &frontMidBandDelay, &frontSideBandDelay, &surroundMidBandDelay, &surroundSideBandDelay,
                            &channel2Delay, &channel3Delay})
    EnsureBlock(*b);

  // The mid path waits beside the DC blocker for as long as the blocker lags.
  frontSideDcBlocker->Init(kDcBlockerShift, kDcBlockerShift);
  const int dcDelay = surroundSideDcBlocker->Init(kDcBlockerShift, kDcBlockerShift);
  frontMidDcDelay->Init(dcDelay, 1, 0, nullptr);
  surroundMidDcDelay->Init(dcDelay, 1, 0, nullptr);
  frontSideIntegrator->Init(rate, kIntegratorInShift, kIntegratorOutAdjust);
  surroundSideIntegrator->Init(rate, kIntegratorInShift, kIntegratorOutAdjust);

  const SoundbarCoefficientSet* set = SelectSoundbarCoefficientSet(rate, distanceCm, width);
  if (set == nullptr) return 0;  // no tables for this rate: the rest stays unbuilt

  // The mid path also waits beside the linear-phase FIR: half its length.
  const int firDelay = (set->frontFirTaps - 1) / 2;
  frontMidFirDelay->Init(firDelay, 1, 0, nullptr);
  surroundMidFirDelay->Init(firDelay, 1, 0, nullptr);
  // The blocks copy their coefficients; the tables themselves stay constant.
  frontSideFir->Init(const_cast<short*>(set->frontFir), const_cast<short*>(set->frontFirQ), set->frontFirTaps,
                     set->frontFirChannels);
  surroundSideFir->Init(const_cast<short*>(set->sideFir), const_cast<short*>(set->sideFirQ), set->sideFirTaps,
                        set->sideFirChannels);
  for (CFiltFiltFxd* lowpass : {frontMidLowpass, frontSideLowpass})
    lowpass->Init(const_cast<short*>(set->frontLowpassSos), const_cast<short*>(set->frontLowpassSosQ),
                  const_cast<short*>(set->frontLowpassGain), const_cast<short*>(set->frontLowpassGainQ),
                  set->frontLowpassSections, set->frontLowpassChannels, filtfiltDelay, blockLength);
  for (CFiltFiltFxd* lowpass : {surroundMidLowpass, surroundSideLowpass})
    lowpass->Init(const_cast<short*>(set->sideLowpassSos), const_cast<short*>(set->sideLowpassSosQ),
                  const_cast<short*>(set->sideLowpassGain), const_cast<short*>(set->sideLowpassGainQ),
                  set->sideLowpassSections, set->sideLowpassChannels, filtfiltDelay, blockLength);
  // The band delays align the unfiltered signal with the low-pass output, so
  // that their difference is the complementary high band.
  for (CDelayLineFxd* delay : {frontMidBandDelay, frontSideBandDelay, surroundMidBandDelay, surroundSideBandDelay})
    delay->Init(filtfiltDelay, 1, 0, nullptr);
  // Centre and LFE pass straight through, delayed like the side chain.
  channel2Delay->Init(dcDelay + firDelay, 1, 0, nullptr);
  channel3Delay->Init(dcDelay + firDelay, 1, 0, nullptr);

  frontGainPair = set->frontGainPair;
  frontGainShift = set->frontGainShift;
  surroundGainPair = set->surroundGainPair;
  surroundGainShift = set->surroundGainShift;
  coefficients = set;
  passThroughDelay = dcDelay + firDelay;
  return 0;
}

// ---- Gains and fades ----------------------------------------------------------------

void CSoundbar4Fxd::ApplyInputGain(int* buf, int frames, int channelCount, short gain) {
  if (buf == nullptr || frames < 1 || channelCount < 1) return;
  ScaleAll(buf, static_cast<size_t>(frames) * static_cast<size_t>(channelCount), gain);
}
void CSoundbar4Fxd::ApplyInputGain(short* buf, int frames, int channelCount, short gain) {
  if (buf == nullptr || frames < 1 || channelCount < 1) return;
  ScaleAll(buf, static_cast<size_t>(frames) * static_cast<size_t>(channelCount), gain);
}

void CSoundbar4Fxd::ApplyInputGain(int* buf, int frames, int channelCount, short gain, short gain2, short gain3,
                                   int interleaved) {
  const int gains[6] = {gain, gain, gain2, gain3, gain, gain};
  if (buf != nullptr && frames > 0 && (channelCount == 2 || channelCount == 6))
    ScaleChannels(buf, frames, channelCount, gains, interleaved);
}
void CSoundbar4Fxd::ApplyInputGain(short* buf, int frames, int channelCount, short gain, short gain2, short gain3,
                                   int interleaved) {
  const int gains[6] = {gain, gain, gain2, gain3, gain, gain};
  if (buf != nullptr && frames > 0 && (channelCount == 2 || channelCount == 6))
    ScaleChannels(buf, frames, channelCount, gains, interleaved);
}

template <class Sample>
void CSoundbar4Fxd::FadeInput(Sample* buf, int frames, int channelCount, int interleaved) {
  if (buf == nullptr || frames < 1 || channelCount < 1) return;
  const uint32_t start = inputFadePosition.load();
  if (start >= kInputFadeLength) return;
  const uint32_t reached =
      WalkFade(buf, frames, channelCount, interleaved, SoundbarInputFadeTable, kInputFadeLength, start);
  // A control thread may restart the fade meanwhile; its restart wins.
  uint32_t expected = start;
  inputFadePosition.compare_exchange_strong(expected, reached);
  // The block that reaches the silent point rebuilds every filter; the
  // rest of it already runs through the new ones.
  const int64_t c = reached;
  if (c >= kInputFadeSilentPoint && c <= static_cast<int64_t>(frames) + kInputFadeSilentPoint - 1) {
    UpdateFilterParameters(sampleRate, distance.load(std::memory_order_relaxed),
                           angle.load(std::memory_order_relaxed));
    outputFadePosition.store(0);
  }
}

void CSoundbar4Fxd::ApplyInputFadeinout(int* buf, int frames, int channelCount, int interleaved) {
  FadeInput(buf, frames, channelCount, interleaved);
}
void CSoundbar4Fxd::ApplyInputFadeinout(short* buf, int frames, int channelCount, int interleaved) {
  FadeInput(buf, frames, channelCount, interleaved);
}

template <class Sample>
void CSoundbar4Fxd::FadeOutput(Sample* buf, int frames, int channelCount, int interleaved) {
  if (buf == nullptr || frames < 1 || channelCount < 1) return;
  const uint32_t start = outputFadePosition.load();
  if (start >= kOutputFadeLength) return;
  outputFadePosition.store(
      WalkFade(buf, frames, channelCount, interleaved, SoundbarOutputFadeTable, kOutputFadeLength, start));
}

void CSoundbar4Fxd::ApplyOutputFadeinout(int* buf, int frames, int channelCount, int interleaved) {
  FadeOutput(buf, frames, channelCount, interleaved);
}
void CSoundbar4Fxd::ApplyOutputFadeinout(short* buf, int frames, int channelCount, int interleaved) {
  FadeOutput(buf, frames, channelCount, interleaved);
}

// ---- Processing -------------------------------------------------------------------------

bool CSoundbar4Fxd::Accepts(const void* in, int frames, int inChannels, const void* out, int outChannelStride,
                            int outFrameStride, int interleaved) const {
  if (!FiltersReady() || in == nullptr || out == nullptr) return false;
  if (frames < 1 || frames > blockLength || inChannels < 1 || outFrameStride < 6) return false;
  return interleaved != 0 || outChannelStride >= frames;
}

// DC blocker and integrator on the side signal, the mid signal delayed to
// match, then the FIR on the side signal and the mid signal delayed by half
// its length. All in place.
// The DC blocker's output is its input times 2^10, which the integrator
// scales back: the 16-bit path runs both on a 32-bit scratch row (`wide`)
// and stores the integrated side signal in 16 bits again.
template <class Sample>
void CSoundbar4Fxd::ConditionSide(Sample* mid, Sample* side, int frames, bool front, int* wide) {
  (front ? frontMidDcDelay : surroundMidDcDelay)->Filter(mid, mid, frames, 1);
  CDCBlockerMAFxd* blocker = front ? frontSideDcBlocker : surroundSideDcBlocker;
  CNGOIntegratorFxd* integrator = front ? frontSideIntegrator : surroundSideIntegrator;
  if constexpr (sizeof(Sample) == sizeof(int32_t)) {
    blocker->Filter(side, side, frames);
    integrator->Filter(side, side, frames);
  } else {
    blocker->Filter(side, wide, frames);
    integrator->Filter(wide, wide, frames);
    for (int n = 0; n < frames; ++n) side[n] = Wrap16(wide[n]);
  }
  (front ? frontMidFirDelay : surroundMidFirDelay)->Filter(mid, mid, frames, 1);
  (front ? frontSideFir : surroundSideFir)->Filter(side, side, frames, 1);
}

// Splits mid and side into low band (zero-phase low-pass) and high band
// (input delayed by the low-pass look-ahead, minus the low band), into the
// rows of BandRow.
template <class Sample>
void CSoundbar4Fxd::SplitBands(Sample* mid, Sample* side, int frames, bool front, Sample* const* bands) {
  using A = PathArith<Sample>;
  (front ? frontMidBandDelay : surroundMidBandDelay)->Filter(mid, bands[kMidDelayed], frames, 1);
  (front ? frontSideBandDelay : surroundSideBandDelay)->Filter(side, bands[kSideDelayed], frames, 1);
  (front ? frontMidLowpass : surroundMidLowpass)->Filter(mid, bands[kMidLow], frames, 1);
  (front ? frontSideLowpass : surroundSideLowpass)->Filter(side, bands[kSideLow], frames, 1);
  for (int n = 0; n < frames; ++n) {
    bands[kMidHigh][n] = A::Sub(bands[kMidDelayed][n], bands[kMidLow][n]);
    bands[kSideHigh][n] = A::Sub(bands[kSideDelayed][n], bands[kSideLow][n]);
  }
}

template <class Sample>
void CSoundbar4Fxd::SplitBandPairs(const WorkBuffers<Sample>& w, int frames, int pairs) {
  if constexpr (sizeof(Sample) != sizeof(int32_t)) {
    for (int p = 0; p < pairs; ++p) SplitBands(w.mid[p], w.side[p], frames, p == 0, w.bands[p]);
  } else {
    // The (up to) four low-pass filters are independent: one call runs them
    // together; the delays and the high bands are as in SplitBands.
    CFiltFiltFxd* lowpass[4];
    int* in[4];
    int* low[4];
    for (int p = 0; p < pairs; ++p) {
      const bool front = p == 0;
      Sample* const* b = w.bands[p];
      (front ? frontMidBandDelay : surroundMidBandDelay)->Filter(w.mid[p], b[kMidDelayed], frames, 1);
      (front ? frontSideBandDelay : surroundSideBandDelay)->Filter(w.side[p], b[kSideDelayed], frames, 1);
      lowpass[2 * p] = front ? frontMidLowpass : surroundMidLowpass;
      lowpass[2 * p + 1] = front ? frontSideLowpass : surroundSideLowpass;
      in[2 * p] = w.mid[p];
      in[2 * p + 1] = w.side[p];
      low[2 * p] = b[kMidLow];
      low[2 * p + 1] = b[kSideLow];
    }
    CFiltFiltFxd::FilterSideBySide(lowpass, 2 * pairs, in, low, frames);
    for (int p = 0; p < pairs; ++p) {
      Sample* const* b = w.bands[p];
      for (int n = 0; n < frames; ++n) {
        b[kMidHigh][n] = PathArith<Sample>::Sub(b[kMidDelayed][n], b[kMidLow][n]);
        b[kSideHigh][n] = PathArith<Sample>::Sub(b[kSideDelayed][n], b[kSideLow][n]);
      }
    }
  }
}

// Stereo: the front pair's high band on outputs 0/1, its low band on 4/5,
// outputs 2/3 silent.
template <class Sample>
void CSoundbar4Fxd::ProcessStereo(BlockIo<Sample> io, const WorkBuffers<Sample>& w) {
  const int frames = io.frames;
  ToMidSide(io, 0, w.mid[0], w.side[0]);
  ConditionSide(w.mid[0], w.side[0], frames, true, work32);
  SplitBandPairs(w, frames, 1);
  const int k = frontGainShift + kGainShiftBias;
  const PairMatrix<Sample> frontPair(w.bands[0], frontGainPair[0], frontGainPair[1], k, k);
  for (int n = 0; n < frames; ++n) {
    const PairOutput<Sample> front = frontPair.At(n);
    io.Out(n, 0, front.highL);
    io.Out(n, 1, front.highR);
    io.Out(n, 2, 0);
    io.Out(n, 3, 0);
    io.Out(n, 4, front.lowL);
    io.Out(n, 5, front.lowR);
  }
}

// 5.1: front and surround pairs mixed, the surround pair by 1/sqrt(2): high
// bands on outputs 0/1, low bands on 4/5; centre and LFE delayed on 2/3.
template <class Sample>
void CSoundbar4Fxd::ProcessSurround(BlockIo<Sample> io, const WorkBuffers<Sample>& w) {
  using A = PathArith<Sample>;
  const int frames = io.frames;
  ToMidSide(io, 0, w.mid[0], w.side[0]);
  ToMidSide(io, 4, w.mid[1], w.side[1]);
  for (int n = 0; n < frames; ++n) {
    w.channel2[n] = io.In(n, 2);
    w.channel3[n] = io.In(n, 3);
  }
  ConditionSide(w.mid[0], w.side[0], frames, true, work32);
  ConditionSide(w.mid[1], w.side[1], frames, false, work32);
  channel2Delay->Filter(w.channel2, w.channel2, frames, 1);
  channel3Delay->Filter(w.channel3, w.channel3, frames, 1);
  SplitBandPairs(w, frames, 2);
  // The high band takes the front exponent and the low band the surround
  // exponent for both pairs: the crossing is part of the design (the
  // stored exponents are equal).
  const int kHigh = frontGainShift + kGainShiftBias;
  const int kLow = surroundGainShift + kGainShiftBias;
  const PairMatrix<Sample> frontPair(w.bands[0], frontGainPair[0], frontGainPair[1], kLow, kHigh);
  const PairMatrix<Sample> surroundPair(w.bands[1], surroundGainPair[0], surroundGainPair[1], kLow, kHigh);
  auto mix = [](Sample surround, Sample front) {
    return A::Add(ScaleQ15(surround, kSurroundWeight), ScaleQ15(front, kFrontWeight));
  };
  for (int n = 0; n < frames; ++n) {
    const PairOutput<Sample> f = frontPair.At(n);
    const PairOutput<Sample> s = surroundPair.At(n);
    io.Out(n, 0, mix(s.highL, f.highL));
    io.Out(n, 1, mix(s.highR, f.highR));
    io.Out(n, 2, w.channel2[n]);
    io.Out(n, 3, w.channel3[n]);
    io.Out(n, 4, mix(s.lowL, f.lowL));
    io.Out(n, 5, mix(s.lowR, f.lowR));
  }
}

// The input gain and fade in place, the layout's processing, the output fade.
template <class Sample>
int CSoundbar4Fxd::ProcessBlock(Sample* in, int frames, int inChannels, Sample* out, int outChannelStride,
                                int outFrameStride, int interleaved) {
  if (!Accepts(in, frames, inChannels, out, outChannelStride, outFrameStride, interleaved)) return 0;
  ApplyInputGain(in, frames, inChannels, kInputGain);
  FadeInput(in, frames, inChannels, interleaved);
  Sample* const base = sizeof(Sample) == sizeof(int32_t) ? reinterpret_cast<Sample*>(work32)
                                                          : reinterpret_cast<Sample*>(work16);
  const WorkBuffers<Sample> w(base, blockLength);
  const BlockIo<Sample> io{in, frames, inChannels, out, outChannelStride, outFrameStride, interleaved};
  if (inChannels == 2) ProcessStereo(io, w);
  if (inChannels == 6) ProcessSurround(io, w);
  ApplyOutputFadeinout(out, outChannelStride, outFrameStride, interleaved);
  return 0;
}

template <class Sample>
int CSoundbar4Fxd::BypassBlock(Sample* in, int frames, int inChannels, Sample* out, int outChannelStride,
                               int outFrameStride, int interleaved) {
  if (!Accepts(in, frames, inChannels, out, outChannelStride, outFrameStride, interleaved)) return 0;
  ApplyInputGain(in, frames, inChannels, kInputGain);
  if (inChannels != 2 && inChannels != 6 && inChannels != 8) return 0;
  for (int n = 0; n < frames; ++n)
    for (int k = 0; k < 6; ++k) {
      Sample v = 0;
      if (inChannels == 2) {
        if (k >= 4) v = in[Index(n, k - 4, frames, inChannels, interleaved)];
      } else {
        v = in[Index(n, k, frames, inChannels, interleaved)];
      }
      out[OutIndex(n, k, outChannelStride, outFrameStride, interleaved)] = v;
    }
  return 0;
}

int CSoundbar4Fxd::Process(int* in, int frames, int inChannels, int* out, int outChannelStride, int outFrameStride,
                           int interleaved) {
  return ProcessBlock(in, frames, inChannels, out, outChannelStride, outFrameStride, interleaved);
}
int CSoundbar4Fxd::Process(short* in, int frames, int inChannels, short* out, int outChannelStride,
                           int outFrameStride, int interleaved) {
  return ProcessBlock(in, frames, inChannels, out, outChannelStride, outFrameStride, interleaved);
}
int CSoundbar4Fxd::Bypass(int* in, int frames, int inChannels, int* out, int outChannelStride, int outFrameStride,
                          int interleaved) {
  return BypassBlock(in, frames, inChannels, out, outChannelStride, outFrameStride, interleaved);
}
int CSoundbar4Fxd::Bypass(short* in, int frames, int inChannels, short* out, int outChannelStride,
                          int outFrameStride, int interleaved) {
  return BypassBlock(in, frames, inChannels, out, outChannelStride, outFrameStride, interleaved);
}
