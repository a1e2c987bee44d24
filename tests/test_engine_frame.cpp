// The engine frame: record defaults, refusals at the engine's edge (records
// other than the current call's, huge frame counts), the partial block over
// a re-initialisation (the release deferred to the end of a running
// HVSFX_Process is test_concurrency's). The gathering into planar blocks, the one-block lag of the
// emitted output with its rounding and saturation, and the surround shift
// are carried by the golden vectors (test_golden: calls of 600 to 1448
// frames over blocks of 37, 509 and 512).
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <cstring>
#include <vector>

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
    EXPECT_EQ(GlobalEngine().Built(), nullptr);
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
  EXPECT_EQ(Gathered(), 0);
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
  EXPECT_EQ(Gathered(), 0);  // nothing gathered
}

TEST_F(EngineFrame, ReinitialisingToAShorterBlockDropsThePartialBlock) {
  Init(512, 2);
  param.bSurroundEnable = true;
  auto samples = Ramp(2 * 300);
  ASSERT_EQ(HVSFX_Process(&param, samples.data(), 300), 1);
  EXPECT_EQ(Gathered(), 300);
  Init(256, 2);
  EXPECT_EQ(Gathered(), 300);  // kept by HVSFX_Init ...
  ASSERT_EQ(HVSFX_Process(&param, samples.data(), 10), 1);
  EXPECT_EQ(Gathered(), 10);  // ... and dropped by the next block
  Init(1024, 2);
  ASSERT_EQ(HVSFX_Process(&param, samples.data(), 10), 1);
  EXPECT_EQ(Gathered(), 20);  // a longer block keeps what was gathered
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
