// Multichannel block peak limiter with one block of look-ahead.
//
// Incoming samples are collected into a block of N samples per channel. When
// a block is complete its peak, together with the peaks of the recent past,
// sets a target gain per channel that keeps the peak at or below the ceiling;
// the applied gain ramps toward the target sample by sample (fast downward,
// ten times slower upward) and the block is handed back during the next one.
// Output sample t is the processed input sample t - N.
//
// Domain: samples are 16-bit-range values in 32-bit words (full scale 32768,
// the ceiling), the engine feeds them (v + 128) asr 8. Gains are Q24
// (16777216 = 1.0) and never exceed the per-channel maximum of 1.0.
//
// Time constants, all in samples and blocks (the sample rate is not used):
//   attack   the gain falls by (g - T + 512) / 1024 per sample, the step fixed
//            at the start of each block: about N/1024 of the distance a block;
//   release  it rises by (T - g + 5120) / 10240 per sample, likewise;
//   hold     a block's peak keeps acting for the current block and the 19
//            before it, plus the ring slot of 200 blocks ago (see
//            DetermineDRCVolume).
//
// Not thread-safe; no allocation after Init.
#pragma once

#include <cstdint>
#include <memory>

#include "Export.h"

class HVFX_API CDynamicRangeControl {
 public:
  static constexpr int kMaxChannels = 8;
  static constexpr int kHistoryLength = 200;  // ring of block peaks per channel
  static constexpr int kHoldBlocks = 20;      // ring slots scanned per block
  static constexpr int32_t kUnityQ24 = 16777216;
  static constexpr int32_t kCeiling = 32768;
  // Longest block Init accepts (samples per channel); longer ones are refused.
  static constexpr int kMaxBlockLength = 1 << 20;

  // channels above 8 are clamped to 8, negative counts are taken as 0 (no
  // channel is processed). Gains start at 1.0, the fill position at
  // blockLength so that the first Process call completes an empty block at
  // once. Nothing is allocated before Init.
  CDynamicRangeControl(int channels, int blockLength);
  ~CDynamicRangeControl();
  CDynamicRangeControl(const CDynamicRangeControl&) = delete;
  CDynamicRangeControl& operator=(const CDynamicRangeControl&) = delete;

  // Allocates two block banks and a spare buffer per channel (N samples
  // each), then Reset. Returns 1 (at once when already initialised). Refuses
  // with 0, allocating nothing, when the block length is below 1 or above
  // kMaxBlockLength, or when an allocation fails; Process stays a no-op.
  // The sample rate is not used.
  int Init(int sampleRate);

  // Clears the signal history: peaks, the ring, the buffers (so the block
  // being collected restarts from zeros past the fill position and the
  // pending output block is silent), historyIndex and bankIndex. The gains
  // and the fill position are kept. Does nothing before Init.
  void Reset();

  // 1 (any non-zero): limiting active. 0: every block's target becomes the
  // maximum gain, so the gain returns at the release rate and then bypasses
  // at exact unity; the one-block delay remains.
  void EnableDRC(int enable);

  // Largest absolute value among x[0..n-1], starting from 0; 0 for n < 1 or
  // a null x. |INT32_MIN| wraps to INT32_MIN and never wins.
  int GetMaximum(const int* x, int n);

  // Sets targetGain of every channel from the first n samples of the block
  // just collected and the last 20 ring slots; then stores the block's own
  // peak and advances the ring. Called with N. With no channels only the
  // ring advances. Refused (nothing changes) for n > N, or with channels
  // before Init.
  void DetermineDRCVolume(int n);

  // Measures (when enabled) and applies the gain ramp to the block just
  // collected, in place. Does nothing before Init.
  void ProcessBlock();

  // Streams n samples per channel through the limiter in place;
  // channelBuffers[ch] points to channel ch's n samples for each of the
  // channels. No-op (samples untouched, no delay) before Init or after a
  // refused Init; nothing happens for n < 1, a null array or a null row.
  void Process(int** channelBuffers, int n);

  // ---- Read-only state (for tests and diagnostics); out-of-range indices give 0.
  int GetChannels() const { return channels_; }
  int GetBlockLength() const { return blockLength_; }
  int GetFillPosition() const { return fillPosition_; }
  int GetBankIndex() const { return bankIndex_; }
  int GetHistoryIndex() const { return historyIndex_; }
  int GetResetCount() const { return resetCount_; }
  int IsInitialized() const { return initialized_; }
  int IsEnabled() const { return enabled_; }
  int32_t GetCurrentGain(int ch) const { return ValidChannel(ch) ? currentGain_[ch] : 0; }
  int32_t GetTargetGain(int ch) const { return ValidChannel(ch) ? targetGain_[ch] : 0; }
  int32_t GetMaxGain(int ch) const { return ValidChannel(ch) ? maxGain_[ch] : 0; }
  // Peak of the last measured block, held peaks included.
  int32_t GetLastPeak(int ch) const { return ValidChannel(ch) ? lastPeak_[ch] : 0; }
  // The block peak stored in ring slot `slot` (0..199).
  int32_t GetPeakHistory(int ch, int slot) const {
    return ValidChannel(ch) && slot >= 0 && slot < kHistoryLength ? peakHistory_[ch][slot] : 0;
  }

 private:
  bool ValidChannel(int ch) const { return ch >= 0 && ch < kMaxChannels && ch < channels_; }
  HVFX_LOCAL void FreeBuffers();

  int channels_;
  int blockLength_;
  int fillPosition_;
  int bankIndex_ = 0;
  int enabled_ = 1;
  std::unique_ptr<int[]> blockBank_[2][kMaxChannels];
  int32_t maxGain_[kMaxChannels];
  int32_t currentGain_[kMaxChannels];
  int32_t targetGain_[kMaxChannels];
  int32_t lastPeak_[kMaxChannels] = {};
  int32_t peakHistory_[kMaxChannels][kHistoryLength] = {};
  // Allocated, cleared and freed with the banks; nothing else touches it.
  std::unique_ptr<int[]> spareBuffer_[kMaxChannels];
  int historyIndex_ = 0;
  int resetCount_ = 0;  // 0 after construction, 2 after Reset; informational
  int initialized_ = 0;
  int32_t ceiling_ = kCeiling;
};
