// The engine frame: record defaults, refusals at the engine's edge (records
// other than the current call's, huge frame counts), the
// gathering of interleaved input into planar blocks, the one-block lag of the
// emitted output with its rounding and saturation, the surround shift, and
// the release deferred to the end of a running HVSFX_Process.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <atomic>
#include <iterator>
#include <cstring>
#include <thread>
#include <vector>

#include "api/EngineInternal.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "support/EngineTestBase.h"

using namespace hvfx::api;  // the engine's internals

namespace {

class EngineFrame : public EngineTestBase {
 protected:
  // The frame alone: no module stage runs, so pOutBuf holds what the test
  // puts there.
  void Init(int frames, int channels, int outChannels = 0) {
    param.bDRCEnable = false;
    param.nFrameSize = frames;
    param.nInChannels = channels;
    param.nOutChannels = outChannels > 0 ? outChannels : channels;
    ASSERT_EQ(HVSFX_Init(&param), 1);
  }
  int& Out(int row, int pos) { return param.pOutBuf[row * param.nFrameSize + pos]; }
  int& In(int row, int pos) { return param.pInBuf[row * param.nFrameSize + pos]; }

};

std::vector<short> Ramp(size_t n, int start = 1) {
  std::vector<short> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<short>(start + static_cast<int>(i) * 7);
  return v;
}

}  // namespace

TEST(EngineRecord, DefaultsAsShipped) {
  EXPECT_EQ(HVSFX_GetDefaultParam(nullptr), 0);
  HVSFX_Param p;
  std::memset(&p, 0x5A, sizeof p);
  ASSERT_EQ(HVSFX_GetDefaultParam(&p), 1);
  const int geometry[] = {p.nSampleRate, p.nFrameSize, p.nInChannels, p.nOutChannels, p.nGainShift, p.nEQBandNum};
  const int expectedGeometry[] = {48000, 512, 2, 2, 0, 8};
  EXPECT_TRUE(std::equal(std::begin(geometry), std::end(geometry), std::begin(expectedGeometry)));
  EXPECT_EQ(p.pInBuf, nullptr);
  EXPECT_EQ(p.pOutBuf, nullptr);
  // The limiter is the only effect switched on.
  EXPECT_TRUE(p.bDRCEnable);
  EXPECT_FALSE(p.bAdaVEnable || p.bEQEnable || p.bSurroundEnable || p.bDynamicBassEnable || p.bSoundbarEnable ||
               p.bLPFEnable || p.bHPFEnable || p.bLFECopyEnable || p.bLFESVEnable);
  // Only channel 0's shelf corners and band [0][0]'s Q are set; no band frequency.
  EXPECT_EQ(p.fEQBandQ[0][0], 2.0f);
  EXPECT_EQ(p.fEQBandQ[0][1] + p.fEQBandQ[5][7], 0.0f);
  EXPECT_EQ(p.nEQBandFreq[0][0], 0);
  EXPECT_EQ(p.nLPFFreq[0], 160);
  EXPECT_EQ(p.nHPFFreq[0], 10000);
  EXPECT_EQ(p.nLPFFreq[1] + p.nHPFFreq[5], 0);
  const int rest[] = {p.nDynamicBassLevel, p.nDynamicBassCutOffFreq, p.nAdaVMode, p.nAdaVRelativeVolume,
                      p.nAdaVStationSigMs, p.nAdaVBaseFlag, p.nAdaVVolUpRate, p.nAdaVVolDownRate,
                      p.nSoundbarDistance, p.nSoundbarAngle, p.nLFEFreq, p.nLFEGain, p.nLFESVMode,
                      p.nLFESVRelativeVolume, p.nLFESVStationSigMs, p.nLFESVBaseFlag, p.nLFESVVolUpRate,
                      p.nLFESVVolDownRate};
  const int expectedRest[] = {5, 200, 1, 75, 6000, 0, 6, 6, 50, 1, 400, -12, 1, 75, 6000, 0, 6, 6};
  EXPECT_TRUE(std::equal(std::begin(rest), std::end(rest), std::begin(expectedRest)));
}

TEST(EngineRecord, FlagPairsAreOneByteFields) {
  // The two pairs of one-byte flags sit next to each other in the record.
  EXPECT_EQ(sizeof(HVSFX_Param::bSurroundEnable), 1u);
  EXPECT_EQ(offsetof(HVSFX_Param, bEQEnable), offsetof(HVSFX_Param, bSurroundEnable) + 1);
  EXPECT_EQ(offsetof(HVSFX_Param, bAdaVEnable), offsetof(HVSFX_Param, bDRCEnable) + 1);
  EXPECT_EQ(sizeof(HVSFX_Param::bLPFEnable), 4u);
}

TEST_F(EngineFrame, InitRefusesRecordsOutsideTheSupportedLayout) {
  EXPECT_EQ(HVSFX_Init(nullptr), 0);
  const auto refused = [&](auto mutate) {
    HVSFX_Param p;
    HVSFX_GetDefaultParam(&p);
    mutate(p);
    HVSFX_Param before = p;
    EXPECT_EQ(HVSFX_Init(&p), 0);
    EXPECT_EQ(std::memcmp(&before, &p, sizeof p), 0);
    EXPECT_EQ(s_initialized.load(), 0);
  };
  for (int channels : {0, 7}) refused([&](HVSFX_Param& p) { p.nInChannels = channels; });
  for (int channels : {-1, 8}) refused([&](HVSFX_Param& p) { p.nOutChannels = channels; });
  for (int frames : {0, HVSFX_MAX_FRAME_SIZE + 1}) refused([&](HVSFX_Param& p) { p.nFrameSize = frames; });
  for (int rate : {0, -48000}) refused([&](HVSFX_Param& p) { p.nSampleRate = rate; });
}

TEST_F(EngineFrame, ProcessRefusesUntilInitialised) {
  auto samples = Ramp(64);
  const auto original = samples;
  param.bEQEnable = true;
  EXPECT_EQ(HVSFX_Process(&param, samples.data(), 32), 0);
  EXPECT_EQ(HVSFX_Process(nullptr, samples.data(), 32), 0);
  EXPECT_EQ(samples, original);
  Init(16, 2);
  EXPECT_EQ(HVSFX_Process(&param, nullptr, 4), 0);
  EXPECT_EQ(HVSFX_Process(&param, nullptr, 0), 1);
  EXPECT_EQ(HVSFX_Process(&param, samples.data(), -5), 1);  // a negative count does nothing
  EXPECT_EQ(s_sampleCount, 0);
  EXPECT_EQ(HVSFX_Release(&param), 1);
  EXPECT_EQ(param.pInBuf, nullptr);
  EXPECT_EQ(HVSFX_Process(&param, samples.data(), 32), 0);
  EXPECT_EQ(samples, original);
  EXPECT_EQ(HVSFX_Release(nullptr), 0);
}

TEST_F(EngineFrame, RefusesARecordItWasNotInitialisedWith) {
  Init(16, 2);
  param.bSurroundEnable = true;
  auto samples = Ramp(64);
  const auto original = samples;
  HVSFX_Param other = param;  // same settings, but not the record the engine built
  EXPECT_EQ(HVSFX_Process(&other, samples.data(), 32), 0);
  param.nFrameSize = 4096;  // geometry changed behind the engine's back
  EXPECT_EQ(HVSFX_Process(&param, samples.data(), 32), 0);
  param.nFrameSize = 16;
  param.nInChannels = 6;
  EXPECT_EQ(HVSFX_Process(&param, samples.data(), 10), 0);
  param.nInChannels = 2;
  EXPECT_EQ(samples, original);
  EXPECT_EQ(HVSFX_Process(&param, samples.data(), 32), 1);
}

TEST_F(EngineFrame, OnlyTheLimiterSwitchLeavesSamplesUntouched) {
  Init(16, 2);
  param.bDRCEnable = true;
  auto samples = Ramp(128);
  const auto original = samples;
  EXPECT_EQ(HVSFX_Process(&param, samples.data(), 64), 1);
  EXPECT_EQ(samples, original);
  EXPECT_EQ(s_sampleCount, 0);  // nothing gathered
}

TEST_F(EngineFrame, GathersPlanarWorkingSamplesAndEmitsThePreviousBlock) {
  const int n = 8;
  Init(n, 3);
  param.bDynamicBassEnable = true;  // keeps the chain running; no module touches the buffers
  // What the chain left for emission, with the rounding and saturation cases.
  const int rows[3][n] = {
      {0, 127, 128, -128, -129, 0x7FFFFF, 0x7FFFFFFF, INT32_MIN},
      {256 * 1000, 256 * -1000 + 127, 300, -300, 8388480, -8388608, 32767 * 256 + 128, -32768 * 256 - 1},
      {1, -1, 2, -2, 255, -255, 256, -256},
  };
  const short expected[3][n] = {
      {0, 0, 1, 0, -1, 32767, 32767, -32768},
      {1000, -1000, 1, -1, 32767, -32768, 32767, -32768},
      {0, 0, 0, 0, 1, -1, 1, -1},
  };
  for (int c = 0; c < 3; ++c)
    for (int i = 0; i < n; ++i) Out(c, i) = rows[c][i];
  std::vector<short> samples(3 * n);
  for (int f = 0; f < n; ++f)
    for (int c = 0; c < 3; ++c) samples[3 * f + c] = static_cast<short>(100 * c + f - 40);
  const auto input = samples;
  ASSERT_EQ(HVSFX_Process(&param, samples.data(), n), 1);
  for (int f = 0; f < n; ++f)
    for (int c = 0; c < 3; ++c) {
      EXPECT_EQ(samples[3 * f + c], expected[c][f]) << "frame " << f << " channel " << c;
      EXPECT_EQ(In(c, f), input[3 * f + c] * 256) << "frame " << f << " channel " << c;
    }
  EXPECT_EQ(s_sampleCount, 0);
}

TEST_F(EngineFrame, CallsOfAnySizeGatherAndEmitInStep) {
  // The host's stream has nInChannels, whatever the output buffer's rows.
  for (int outChannels : {2, 6}) {
    SCOPED_TRACE(outChannels);
    const int n = 16;
    Init(n, 2, outChannels);
    param.bSurroundEnable = true;  // nGainShift is 0: no shift
    for (int i = 0; i < 2 * n; ++i) param.pOutBuf[i] = (i + 1) * 256;
    // Sizes below, equal to and spanning blocks; the chain leaves pOutBuf as it
    // is, so every emitted frame is that block's content at its position.
    const int sizes[] = {1, 5, n - 6, n, 2 * n + 3, 7, 3 * n};
    int position = 0;
    s_sampleCount = 0;
    for (int frames : sizes) {
      auto samples = Ramp(static_cast<size_t>(2 * frames), position);
      ASSERT_EQ(HVSFX_Process(&param, samples.data(), frames), 1);
      for (int f = 0; f < frames; ++f) {
        const int pos = (position + f) % n;
        ASSERT_EQ(samples[2 * f], pos + 1) << "call of " << frames << " frame " << f;
        ASSERT_EQ(samples[2 * f + 1], n + pos + 1);
      }
      position += frames;
      EXPECT_EQ(s_sampleCount, position % n);
      // The gathered input of the current partial block sits at its positions.
      const auto last = Ramp(static_cast<size_t>(2 * frames), position - frames);
      if (s_sampleCount > 0 && frames >= s_sampleCount)
        EXPECT_EQ(In(0, s_sampleCount - 1), last[2 * (frames - 1)] * 256);
    }
    ASSERT_EQ(HVSFX_Release(&param), 1);
  }
}

TEST_F(EngineFrame, ReinitialisingToAShorterBlockDropsThePartialBlock) {
  Init(512, 2);
  param.bSurroundEnable = true;
  auto samples = Ramp(2 * 300);
  ASSERT_EQ(HVSFX_Process(&param, samples.data(), 300), 1);
  EXPECT_EQ(s_sampleCount, 300);
  Init(256, 2);
  EXPECT_EQ(s_sampleCount, 300);  // kept by HVSFX_Init ...
  ASSERT_EQ(HVSFX_Process(&param, samples.data(), 10), 1);
  EXPECT_EQ(s_sampleCount, 10);  // ... and dropped by the next block
  Init(1024, 2);
  ASSERT_EQ(HVSFX_Process(&param, samples.data(), 10), 1);
  EXPECT_EQ(s_sampleCount, 20);  // a longer block keeps what was gathered
}

TEST_F(EngineFrame, SurroundShiftsRowsZeroAndOneFromTheCurrentPosition) {
  const int n = 8;
  Init(n, 2);
  param.bSurroundEnable = true;
  param.nGainShift = 2;
  for (int i = 0; i < 6 * n; ++i) param.pOutBuf[i] = 1;
  auto samples = Ramp(2 * 3);
  ASSERT_EQ(HVSFX_Process(&param, samples.data(), 3), 1);
  // Positions counted from the updated sample count (3) for 3 frames.
  for (int i = 0; i < n; ++i) {
    const int expected = (i >= 3 && i < 6) ? 4 : 1;
    EXPECT_EQ(Out(0, i), expected) << i;
    EXPECT_EQ(Out(1, i), expected) << i;
  }
  // A long call runs the positions past the first rows; only the buffer's six
  // rows are touched (the sanitizer build checks the bound).
  std::vector<short> big(2 * 20 * n);
  ASSERT_EQ(HVSFX_Process(&param, big.data(), 20 * n), 1);
}

TEST_F(EngineFrame, ReleaseDuringProcessingIsDeferredToTheEndOfTheCall) {
  const int frames = 48000 * 20;
  std::vector<short> samples(2 * static_cast<size_t>(frames), 1000);
  bool observedDeferral = false;
  for (int attempt = 0; attempt < 200 && !observedDeferral; ++attempt) {
    HVSFX_GetDefaultParam(&param);
    param.bSurroundEnable = true;
    Init(64, 2);
    std::atomic<bool> releaseReturned{false}, processReturned{false};
    std::atomic<int> initialisedAfterRelease{-1};
    std::thread control([&] {
      while (s_processRunning.load() == 0 && !processReturned.load()) std::this_thread::yield();
      EXPECT_EQ(HVSFX_Release(&param), 1);
      initialisedAfterRelease = s_initialized.load();
      releaseReturned = true;
    });
    EXPECT_EQ(HVSFX_Process(&param, samples.data(), frames), 1);
    processReturned = true;
    control.join();
    ASSERT_TRUE(releaseReturned);
    // Whichever way the race went, the engine ends released.
    EXPECT_EQ(s_initialized.load(), 0);
    EXPECT_EQ(s_doRelease.load(), 0);
    EXPECT_EQ(param.pInBuf, nullptr);
    EXPECT_EQ(param.pOutBuf, nullptr);
    observedDeferral = initialisedAfterRelease.load() == 1;
  }
  EXPECT_TRUE(observedDeferral) << "the release never landed inside a running block";
}

TEST_F(EngineFrame, ProcessAfterADeferredReleaseIsRefused) {
  Init(64, 2);
  param.bSurroundEnable = true;
  // A release requested while a block is marked running waits for its end.
  s_processRunning.store(1);
  EXPECT_EQ(HVSFX_Release(&param), 1);
  EXPECT_EQ(s_initialized.load(), 1);
  EXPECT_EQ(s_doRelease.load(), 1);
  s_processRunning.store(0);
  std::vector<short> samples(128, 5);
  const auto original = samples;
  // The next call finds the pending release, carries it out and refuses.
  EXPECT_EQ(HVSFX_Process(&param, samples.data(), 64), 0);
  EXPECT_EQ(samples, original);
  EXPECT_EQ(s_initialized.load(), 0);
  EXPECT_EQ(param.pInBuf, nullptr);
}

TEST_F(EngineFrame, TouchesOnlyTheRecordOfTheCurrentCall) {
  // A record the engine was initialised with, then left behind: another
  // record's Init and Release must neither write it nor, once it is freed,
  // read it (the sanitizer build catches the read).
  auto* first = new HVSFX_Param;
  HVSFX_GetDefaultParam(first);
  first->bSurroundEnable = true;
  ASSERT_EQ(HVSFX_Init(first), 1);
  HVSFX_Param snapshot;
  std::memcpy(&snapshot, first, sizeof snapshot);
  Init(16, 2);
  EXPECT_EQ(HVSFX_Release(&param), 1);
  EXPECT_EQ(std::memcmp(&snapshot, first, sizeof snapshot), 0);
  EXPECT_EQ(param.pInBuf, nullptr);

  ASSERT_EQ(HVSFX_Init(first), 1);
  delete first;
  HVSFX_GetDefaultParam(&param);
  Init(16, 2);
  std::vector<short> samples(64, 3);
  param.bSurroundEnable = true;
  EXPECT_EQ(HVSFX_Process(&param, samples.data(), 32), 1);
  EXPECT_EQ(HVSFX_Release(&param), 1);
}

TEST(EngineFrameCount, AFrameCountNearIntMaxSplitsWithoutOverflow) {
  // No test can hand the engine INT_MAX frames of audio; the split each
  // step of the call takes is checked with such counts instead.
  EXPECT_EQ(FramesToGather(511, INT_MAX, 512), 1);
  EXPECT_EQ(FramesToGather(0, INT_MAX, HVSFX_MAX_FRAME_SIZE), HVSFX_MAX_FRAME_SIZE);
  EXPECT_EQ(FramesToGather(HVSFX_MAX_FRAME_SIZE - 1, INT_MAX - 1, HVSFX_MAX_FRAME_SIZE), 1);
  EXPECT_EQ(FramesToGather(100, 7, 512), 7);
}
