// The leveller in the engine: both instances created from the record, the
// control functions with their rate conversion, stage 3 on 1, 2 and 6
// channels, the LFE leveller of stages 2 and 4, and the limiter after it.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "api/AdaVControlInternal.h"
#include "api/EngineInternal.h"
#include "api/HVSFX_AdaVControl.h"
#include "api/HVSFX_Engine.h"
#include "api/HVSFX_Switches.h"
#include "loudness/CAdaptiveVolume_S24.h"
#include "support/EngineTestBase.h"
#include "support/LevellerSignals.h"

namespace {

using leveller_test::SpeechLikeBursts;

constexpr int kBlock = 512;

class LevellerEngine : public EngineTestBase {
 protected:
  // Interleaves planar rows of equal length.
  static std::vector<short> Interleave(const std::vector<std::vector<int>>& rows) {
    const size_t frames = rows[0].size(), channels = rows.size();
    std::vector<short> s(frames * channels);
    for (size_t t = 0; t < frames; ++t)
      for (size_t c = 0; c < channels; ++c) s[t * channels + c] = static_cast<short>(rows[c][t]);
    return s;
  }
  // Feeds the stream to the engine in chunks of `chunk` frames.
  void Run(std::vector<short>& s, int channels, int chunk) {
    const size_t frames = s.size() / static_cast<size_t>(channels);
    for (size_t pos = 0; pos < frames; pos += static_cast<size_t>(chunk)) {
      const int k = static_cast<int>(std::min<size_t>(static_cast<size_t>(chunk), frames - pos));
      ASSERT_EQ(HVSFX_Process(&param, s.data() + pos * static_cast<size_t>(channels), k), 1);
    }
  }
  // A standalone leveller run over the same rows in engine-sized blocks.
  static std::vector<std::vector<int>> Reference(CAdaptiveVolume_S24& av, const std::vector<std::vector<int>>& rows) {
    const size_t channels = rows.size(), frames = rows[0].size();
    std::vector<std::vector<int>> out(channels, std::vector<int>(frames));
    std::vector<int> in(channels * kBlock), res(channels * kBlock);
    for (size_t b = 0; b + kBlock <= frames; b += kBlock) {
      for (size_t c = 0; c < channels; ++c) std::copy_n(rows[c].begin() + b, kBlock, in.begin() + c * kBlock);
      av.Process(res.data(), in.data(), static_cast<int>(channels), kBlock);
      for (size_t c = 0; c < channels; ++c) std::copy_n(res.begin() + c * kBlock, kBlock, out[c].begin() + b);
    }
    return out;
  }
  static short Sat16(int v) { return static_cast<short>(std::clamp(v, -32768, 32767)); }
};

TEST_F(LevellerEngine, InitCreatesBothLevellersFromTheRecordAndReleaseFreesThem) {
  param.nSampleRate = 44100;
  param.nAdaVMode = 0;
  param.nAdaVRelativeVolume = 100;
  param.nAdaVBaseFlag = 1;
  param.nLFESVRelativeVolume = 50;  // base -9 dB: 1835008 * 50 / 100 - 37 dB = -23 dB
  param.nLFESVStationSigMs = 20000;
  ASSERT_EQ(HVSFX_Init(&param), 1);
  ASSERT_NE(ptr_AdaV, nullptr);
  ASSERT_NE(ptr_AdaV_LFE, nullptr);
  EXPECT_EQ(ptr_AdaV->GetSampleRate(), 44100);
  EXPECT_EQ(ptr_AdaV->GetMode(), 0);
  EXPECT_EQ(ptr_AdaV->GetRelativeVolumeDb(), -196608);
  EXPECT_EQ(ptr_AdaV->GetReferenceLevelDb(), 5918490);  // 15 * 2^18 * 6313056 asr 22
  EXPECT_EQ(ptr_AdaV_LFE->GetMode(), 1);
  EXPECT_EQ(ptr_AdaV_LFE->GetRelativeVolumeDb(), -23 * 65536);
  EXPECT_EQ(ptr_AdaV_LFE->GetStationFrames(), 10);  // F = 3445, ring 175: k = 9, 175 * 10 <= 3445
  HVSFX_Release(&param);
  EXPECT_EQ(ptr_AdaV, nullptr);
  EXPECT_EQ(ptr_AdaV_LFE, nullptr);
}

TEST_F(LevellerEngine, ControlsStoreTheRecordAndPassValuesOn) {
  // Before Init: stored, 1.
  EXPECT_EQ(HVSFX_AdaV_SetParam(&param, 0, 40, 9000, 1), 1);
  int a = 0, b = 0, c = 0, d = 0;
  ASSERT_EQ(HVSFX_AdaV_GetParam(&param, &a, &b, &c, &d), 1);
  EXPECT_EQ(a, 0);
  EXPECT_EQ(b, 40);
  EXPECT_EQ(c, 9000);
  EXPECT_EQ(d, 1);
  EXPECT_EQ(HVSFX_AdaV_SetVolUpDownRate(&param, 9, 2), 1);
  int up = 0, down = 0;
  ASSERT_EQ(HVSFX_AdaV_GetVolUpDownRate(&param, &up, &down), 1);
  EXPECT_EQ(up, 9);
  EXPECT_EQ(down, 2);
  EXPECT_EQ(HVSFX_AdaV_SetParam(nullptr, 0, 0, 0, 0), 0);
  EXPECT_EQ(HVSFX_AdaV_GetParam(&param, &a, nullptr, &c, &d), 0);
  EXPECT_EQ(HVSFX_AdaV_SetVolUpDownRate(nullptr, 6, 6), 0);
  EXPECT_EQ(HVSFX_AdaV_GetVolUpDownRate(&param, &up, nullptr), 0);

  // After Init the instance takes them at once; the record's values made it.
  ASSERT_EQ(HVSFX_Init(&param), 1);
  EXPECT_EQ(ptr_AdaV->GetMode(), 0);
  EXPECT_EQ(ptr_AdaV->GetRelativeVolumeDb(), 2228224 * 40 / 100 - 2424832);
  EXPECT_EQ(ptr_AdaV->GetUpRate(), 2097);  // creation does not apply the rates
  param.bAdaVEnable = true;
  std::vector<short> s(2 * 20 * kBlock);
  for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<short>((i * 7919) % 2001 - 1000);
  Run(s, 2, kBlock);
  ASSERT_NE(ptr_AdaV->GetGainDb(), 0);
  EXPECT_EQ(HVSFX_AdaV_SetParam(&param, 1, 0, 20000, 0), 1);
  EXPECT_EQ(ptr_AdaV->GetMode(), 1);
  EXPECT_EQ(ptr_AdaV->GetRelativeVolumeDb(), -2424832);
  EXPECT_EQ(ptr_AdaV->GetStationFrames(), 10);
  EXPECT_EQ(ptr_AdaV->GetGainDb(), 0);  // the analysis restarted

  // Rate steps to percent: 15 -> 100 and 3 -> 0.
  EXPECT_EQ(HVSFX_AdaV_SetVolUpDownRate(&param, 15, 3), 1);
  EXPECT_EQ(ptr_AdaV->GetUpRate(), 5242);
  EXPECT_EQ(ptr_AdaV->GetDownRate(), -1048);
  // 6 -> 25 % (6 dB/s); 1 -> -16 %, clamped to 0 by the leveller.
  HVSFX_AdaV_SetVolUpDownRate(&param, 6, 1);
  EXPECT_EQ(ptr_AdaV->GetUpRate(), 2097);
  EXPECT_EQ(ptr_AdaV->GetDownRate(), -1048);
  // Extreme steps neither overflow nor wrap around.
  HVSFX_AdaV_SetVolUpDownRate(&param, INT_MAX, INT_MIN);
  EXPECT_EQ(ptr_AdaV->GetUpRate(), 5242);
  EXPECT_EQ(ptr_AdaV->GetDownRate(), -1048);
  ASSERT_EQ(HVSFX_AdaV_GetVolUpDownRate(&param, &up, &down), 1);
  EXPECT_EQ(up, INT_MAX);
  EXPECT_EQ(down, INT_MIN);
  // The LFE leveller is not addressed by these controls.
  EXPECT_EQ(ptr_AdaV_LFE->GetUpRate(), 2097);
  EXPECT_EQ(ptr_AdaV_LFE->GetMode(), 1);
}

TEST(LevellerRateSteps, ConvertTruncatingTowardZeroWithoutOverflow) {
  EXPECT_EQ(AdaVRateToPercent(6), 25);
  EXPECT_EQ(AdaVRateToPercent(3), 0);
  EXPECT_EQ(AdaVRateToPercent(1), -16);  // -200 / 12 = -16.7
  EXPECT_EQ(AdaVRateToPercent(15), 100);
  EXPECT_EQ(AdaVRateToPercent(4), 8);
  EXPECT_EQ(AdaVRateToPercent(-9), -100);
  EXPECT_EQ(AdaVRateToPercent(INT_MAX), INT_MAX);  // 17895697033 held at the int range
  EXPECT_EQ(AdaVRateToPercent(INT_MIN), INT_MIN);
  EXPECT_EQ(AdaVRateToPercent(25769806), 214748358);  // (25769803 * 100) / 12 fits an int
}

TEST_F(LevellerEngine, OnlyTheLevellerOnAStereoProgrammeComesOutLevelledWithItsDelay) {
  // 48 kHz stereo, blocks of 512: the leveller's three frames of 256 plus
  // the engine's block, 1280 frames in all. Quiet speech-like material is
  // raised; the engine's output equals a standalone leveller's one block
  // later, saturated to 16 bits.
  param.bAdaVEnable = true;
  param.bDRCEnable = false;  // on in the defaults; it would add a block
  ASSERT_EQ(HVSFX_Init(&param), 1);
  const size_t frames = 8 * 48000 / kBlock * kBlock;
  const std::vector<std::vector<int>> rows = {SpeechLikeBursts(frames, 48000, -40, 21),
                                              SpeechLikeBursts(frames, 48000, -43, 22)};
  std::vector<short> s = Interleave(rows);
  Run(s, 2, 1000);

  CAdaptiveVolume_S24 reference(48000, 32768, param.nAdaVMode, param.nAdaVRelativeVolume, param.nAdaVStationSigMs,
                                param.nAdaVBaseFlag);
  const auto expected = Reference(reference, rows);
  for (size_t t = 0; t < frames; ++t)
    for (size_t c = 0; c < 2; ++c)
      ASSERT_EQ(s[2 * t + c], t < kBlock ? 0 : Sat16(expected[c][t - kBlock])) << t << " " << c;
  for (size_t t = 0; t < 1280; ++t) ASSERT_EQ(s[2 * t], 0) << t;
  EXPECT_NE(s[2 * 1280], 0);  // input frame 0

  // Over the last three seconds the output is more than 10 dB louder.
  double inPower = 0, outPower = 0;
  for (size_t t = frames - 3 * 48000; t < frames; ++t) {
    inPower += static_cast<double>(rows[0][t - 1280]) * rows[0][t - 1280];
    outPower += static_cast<double>(s[2 * t]) * s[2 * t];
  }
  EXPECT_GT(10 * std::log10(outPower / inPower), 10.0);
}

TEST_F(LevellerEngine, MonoAndSixChannelLayoutsWithTheLfeLeveller) {
  const size_t frames = 24 * kBlock;
  // Mono.
  param.nInChannels = param.nOutChannels = 1;
  param.bAdaVEnable = true;
  param.bDRCEnable = false;
  ASSERT_EQ(HVSFX_Init(&param), 1);
  std::vector<std::vector<int>> mono = {SpeechLikeBursts(frames, 48000, -35, 23)};
  std::vector<short> s = Interleave(mono);
  Run(s, 1, 700);
  CAdaptiveVolume_S24 monoRef(48000, 32768, 1, 75, 6000, 0);
  auto monoOut = Reference(monoRef, mono);
  for (size_t t = kBlock; t < frames; ++t) ASSERT_EQ(s[t], Sat16(monoOut[0][t - kBlock])) << t;
  HVSFX_Release(&param);

  // 5.1: the main leveller folds six rows; with the LFE leveller on, row 3
  // comes from it instead (its own settings), the others from the main one.
  for (bool lfeOn : {false, true}) {
    SCOPED_TRACE(lfeOn);
    s_sampleCount = 0;
    HVSFX_GetDefaultParam(&param);
    param.nInChannels = param.nOutChannels = 6;
    param.bAdaVEnable = true;
    param.bDRCEnable = false;
    param.bLFESVEnable = lfeOn;
    param.nLFESVRelativeVolume = 20;
    ASSERT_EQ(HVSFX_Init(&param), 1);
    std::vector<std::vector<int>> rows;
    for (int c = 0; c < 6; ++c) rows.push_back(SpeechLikeBursts(frames, 48000, -30 - 3 * c, 30 + c));
    std::vector<short> six = Interleave(rows);
    Run(six, 6, 333);
    CAdaptiveVolume_S24 mainRef(48000, 32768, 1, 75, 6000, 0);
    CAdaptiveVolume_S24 lfeRef(48000, 32768, 1, 20, 6000, 0);
    const auto mainOut = Reference(mainRef, rows);
    const auto lfeOut = Reference(lfeRef, {rows[3]});
    for (size_t t = kBlock; t < frames; ++t)
      for (size_t c = 0; c < 6; ++c) {
        const int v = c == 3 && lfeOn ? lfeOut[0][t - kBlock] : mainOut[c][t - kBlock];
        ASSERT_EQ(six[6 * t + c], Sat16(v)) << t << " " << c;
      }
    EXPECT_EQ(ptr_AdaV_LFE->GetFrameCount(), lfeOn ? 48 : 0);
    HVSFX_Release(&param);
  }
}

TEST_F(LevellerEngine, OtherChannelCountsAreNotLevelled) {
  param.nInChannels = param.nOutChannels = 4;
  param.bAdaVEnable = true;
  ASSERT_EQ(HVSFX_Init(&param), 1);
  std::vector<short> s(4 * 4 * kBlock, 1000);
  Run(s, 4, kBlock);
  EXPECT_EQ(ptr_AdaV->GetFrameCount(), 0);
}

TEST_F(LevellerEngine, WithTheLimiterOnNoEmittedSampleExceedsFullScaleOnceSettled) {
  // Relative volume 100 % on the -3 dB base raises a loud chord well beyond
  // full scale; the limiter after the leveller pulls it back. The chord
  // repeats every 256 samples, so once the five-second span holds only the
  // chord the leveller's gain no longer drifts (a rising gain would meet the
  // limiter's per-block attack ramp). From 7 s on every sample of the
  // processed block lies inside the 16-bit range before the engine's clamp.
  param.bAdaVEnable = true;
  param.bDRCEnable = true;
  param.nAdaVRelativeVolume = 100;
  param.nAdaVBaseFlag = 1;
  ASSERT_EQ(HVSFX_Init(&param), 1);
  const size_t frames = 10 * 48000 / kBlock * kBlock;
  std::vector<std::vector<int>> rows(2, std::vector<int>(frames));
  for (size_t t = 0; t < frames; ++t) {
    const double x = 2 * M_PI * 187.5 * static_cast<double>(t) / 48000;  // 48000 / 256 Hz
    rows[0][t] = static_cast<int>(std::lrint(5000 * (std::sin(2 * x) + std::sin(3 * x + 1) + std::sin(5 * x + 2))));
    rows[1][t] = static_cast<int>(std::lrint(4000 * (std::sin(2 * x + 0.5) + std::sin(7 * x))));
  }
  CAdaptiveVolume_S24 alone(48000, 32768, 1, 100, 6000, 1);
  const auto levelled = Reference(alone, rows);
  int levelledPeak = 0;
  for (size_t t = frames / 2; t < frames; ++t) levelledPeak = std::max(levelledPeak, std::abs(levelled[0][t]));
  ASSERT_GT(levelledPeak, 40000);  // the leveller alone would overload

  std::vector<short> s = Interleave(rows);
  int settledPeak = 0;
  for (size_t b = 0; b < frames / kBlock; ++b) {
    ASSERT_EQ(HVSFX_Process(&param, s.data() + 2 * b * kBlock, kBlock), 1);
    if (b < 7 * 48000 / kBlock) continue;
    for (int c = 0; c < 2; ++c)
      for (int i = 0; i < kBlock; ++i) {
        const int v16 = (param.pOutBuf[c * kBlock + i] + 128) >> 8;
        ASSERT_LE(v16, 32767) << b;
        ASSERT_GE(v16, -32768) << b;
        settledPeak = std::max(settledPeak, std::abs(v16));
      }
  }
  EXPECT_GT(settledPeak, 30000);  // limited to full scale, not merely attenuated
}

}  // namespace
