#include "hvtralofx/CDynamicRangeControl.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "../fixedpoint/FixedPoint.h"

using namespace fxp;

namespace {

// x[i] = (x[i] * gainQ24) asr 24 over n samples.
// Overflow: exact 64-bit product (|x| <= 2^31, |gain| < 2^25), flooring shift
// by 24, low 32 bits kept: no rounding, no saturation.
void ScaleByGain(int* x, int n, int32_t gainQ24) {
  for (int i = 0; i < n; ++i) x[i] = MulAsr32(x[i], gainQ24, 24);
}

// x[i] = (x[i] * (g0 + i * step)) asr 24 over n samples: a straight gain line.
// Overflow: as ScaleByGain; the caller keeps every gain on the line within
// one step of the block's start and target gains, far inside int32.
void ScaleByGainLine(int* x, int n, int32_t g0Q24, int32_t stepQ24) {
  int32_t gainQ24 = g0Q24;
  for (int i = 0; i < n; ++i) {
    x[i] = MulAsr32(x[i], gainQ24, 24);
    gainQ24 += stepQ24;
  }
}

// One block of the gain ramp, in place; returns the gain after the block.
//
// Per sample the ramp scales by g and then moves g one step toward T, or sets
// g = T once g has reached or passed T. With d = |T - g| at the block's start
// and K = ceil(d / step), sample i is therefore scaled by g + i*step (toward T)
// for i <= K and by T afterwards; the same numbers as the sample loop, in two
// straight runs that vectorise.
int32_t ApplyGainRamp(int* x, int n, int32_t gQ24, int32_t targetQ24) {
  if (gQ24 == targetQ24) {
    // Exact unity is a bypass; (x * 2^24) asr 24 would give x anyway.
    if (gQ24 != CDynamicRangeControl::kUnityQ24) ScaleByGain(x, n, gQ24);
    return gQ24;
  }
  const bool rising = gQ24 < targetQ24;
  const int64_t distance = rising ? int64_t{targetQ24} - gQ24 : int64_t{gQ24} - targetQ24;
  // Release moves ten times slower than attack; both round the step to
  // nearest and never stall.
  const int64_t step = std::max<int64_t>(1, rising ? (distance + 5120) / 10240 : (distance + 512) / 1024);
  const int64_t stepsToTarget = (distance + step - 1) / step;  // K
  const int32_t signedStep = static_cast<int32_t>(rising ? step : -step);
  if (n <= stepsToTarget) {
    ScaleByGainLine(x, n, gQ24, signedStep);
    return static_cast<int32_t>(gQ24 + int64_t{n} * signedStep);
  }
  const int onLine = static_cast<int>(stepsToTarget) + 1;
  ScaleByGainLine(x, onLine, gQ24, signedStep);
  ScaleByGain(x + onLine, n - onLine, targetQ24);
  return targetQ24;
}

}  // namespace

CDynamicRangeControl::CDynamicRangeControl(int channels, int blockLength)
    : channels_(std::clamp(channels, 0, kMaxChannels)), blockLength_(blockLength), fillPosition_(blockLength) {
  for (int ch = 0; ch < kMaxChannels; ++ch) {
    maxGain_[ch] = kUnityQ24;
    currentGain_[ch] = kUnityQ24;
    targetGain_[ch] = kUnityQ24;
  }
}

CDynamicRangeControl::~CDynamicRangeControl() { FreeBuffers(); }

void CDynamicRangeControl::FreeBuffers() {
  for (int ch = 0; ch < kMaxChannels; ++ch) {
    blockBank_[0][ch].reset();
    blockBank_[1][ch].reset();
    spareBuffer_[ch].reset();
  }
}

int CDynamicRangeControl::Init(int /*sampleRate*/) {
  if (initialized_) return 1;
  if (blockLength_ < 1 || blockLength_ > kMaxBlockLength) return 0;
  const size_t n = static_cast<size_t>(blockLength_);
  bool allocated = true;
  for (int ch = 0; ch < channels_; ++ch) {
    blockBank_[0][ch].reset(new (std::nothrow) int[n]);
    blockBank_[1][ch].reset(new (std::nothrow) int[n]);
    spareBuffer_[ch].reset(new (std::nothrow) int[n]);
    allocated = allocated && blockBank_[0][ch] && blockBank_[1][ch] && spareBuffer_[ch];
  }
  if (!allocated) {
    FreeBuffers();
    return 0;
  }
  initialized_ = 1;
  Reset();
  return 1;
}

void CDynamicRangeControl::Reset() {
  if (!initialized_) return;
  const size_t bytes = sizeof(int) * static_cast<size_t>(blockLength_);
  for (int ch = 0; ch < channels_; ++ch) {
    lastPeak_[ch] = 0;
    std::fill(std::begin(peakHistory_[ch]), std::end(peakHistory_[ch]), 0);
    std::memset(blockBank_[0][ch].get(), 0, bytes);
    std::memset(blockBank_[1][ch].get(), 0, bytes);
    std::memset(spareBuffer_[ch].get(), 0, bytes);
  }
  historyIndex_ = 0;
  resetCount_ = 2;
  bankIndex_ = 0;
}

void CDynamicRangeControl::EnableDRC(int enable) { enabled_ = enable; }

int CDynamicRangeControl::GetMaximum(const int* x, int n) {
  if (x == nullptr || n < 1) return 0;
  int32_t maximum = 0;
  for (int i = 0; i < n; ++i) maximum = std::max(maximum, AbsWrap32(x[i]));  // signed: INT32_MIN loses
  return maximum;
}

void CDynamicRangeControl::DetermineDRCVolume(int n) {
  if (channels_ >= 1) {
    if (!initialized_ || n > blockLength_) return;
    for (int ch = 0; ch < channels_; ++ch) {
      const int32_t blockPeak = GetMaximum(blockBank_[bankIndex_][ch].get(), n);
      // Held peak over the ring slots historyIndex-19 ... historyIndex, counted
      // back modulo 200 (a non-negative remainder, so the span wraps from slot
      // 0 to 199). The slot at historyIndex is read before it is overwritten
      // and so still holds the peak of 200 blocks ago.
      int32_t peak = blockPeak;
      for (int back = 0; back < kHoldBlocks; ++back) {
        int slot = historyIndex_ - back;
        if (slot < 0) slot += kHistoryLength;
        peak = std::max(peak, peakHistory_[ch][slot]);
      }
      lastPeak_[ch] = peak;
      peakHistory_[ch][historyIndex_] = blockPeak;

      // Hard ceiling: gain = ceiling / peak wherever peak * maxGain exceeds it.
      // Overflow: 32 x 32 -> 64-bit product asr 24; ceiling * 2^24 = 2^39 and
      // the quotient (<= maxGain) fit 64 and 32 bits.
      int64_t target;
      if (int64_t{ceiling_} < MulAsr64(peak, maxGain_[ch], 24))
        target = peak == 0 ? 0 : ShlWrap64(ceiling_, 24) / peak;
      else
        target = maxGain_[ch];
      targetGain_[ch] = target < 0 ? 0 : Wrap32(target);
    }
  }
  historyIndex_ = historyIndex_ + 1 > kHistoryLength - 1 ? 0 : historyIndex_ + 1;
}

void CDynamicRangeControl::ProcessBlock() {
  if (!initialized_) return;
  if (enabled_ == 0) {
    for (int ch = 0; ch < channels_; ++ch) targetGain_[ch] = maxGain_[ch];
  } else {
    DetermineDRCVolume(blockLength_);
  }
  for (int ch = 0; ch < channels_; ++ch)
    currentGain_[ch] = ApplyGainRamp(blockBank_[bankIndex_][ch].get(), blockLength_, currentGain_[ch], targetGain_[ch]);
}

void CDynamicRangeControl::Process(int** channelBuffers, int n) {
  if (!initialized_ || n < 1) return;
  int* rows[kMaxChannels] = {};
  for (int ch = 0; ch < channels_; ++ch) {
    if (channelBuffers == nullptr || channelBuffers[ch] == nullptr) return;
    rows[ch] = channelBuffers[ch];
  }
  // Each row: the new samples go into the bank being filled, and the
  // processed samples of the previous block at the same positions come out.
  auto exchange = [&](int count) {
    const size_t bytes = sizeof(int) * static_cast<size_t>(count);
    for (int ch = 0; ch < channels_; ++ch) {
      std::memcpy(blockBank_[bankIndex_][ch].get() + fillPosition_, rows[ch], bytes);
      std::memcpy(rows[ch], blockBank_[1 - bankIndex_][ch].get() + fillPosition_, bytes);
      rows[ch] += count;
    }
  };
  int remaining = n;
  for (;;) {
    const int room = blockLength_ - fillPosition_;
    if (remaining < room) {
      exchange(remaining);
      fillPosition_ += remaining;
      return;
    }
    exchange(room);
    fillPosition_ = 0;
    remaining -= room;
    ProcessBlock();
    bankIndex_ = 1 - bankIndex_;
    if (remaining == 0) return;
  }
}
