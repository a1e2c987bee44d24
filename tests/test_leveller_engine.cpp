// The leveller in the engine: the control functions with their rate
// conversion, its look-ahead and its lift on a quiet stereo programme,
// channel counts it leaves alone, and the limiter after it. (Its exact output
// in the chain, with the LFE leveller on 5.1, is carried by the golden
// vectors.)
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "api/AdaVControlInternal.h"
#include "api/EngineInternal.h"
#include "hvtralofx/HVSFX_AdaVControl.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/CAdaptiveVolume_S24.h"
#include "support/EngineTestBase.h"
#include "support/LevellerSignals.h"

using namespace hvfx::api;  // the engine's internals

namespace {

constexpr int kBlock = 512;

using LevellerEngine = EngineTestBase;

// Interleaves planar rows as 16-bit samples.
std::vector<short> Interleave(const std::vector<std::vector<int>>& rows) {
  const size_t channels = rows.size();
  std::vector<short> s(channels * rows[0].size());
  for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<short>(rows[i % channels][i / channels]);
  return s;
}

TEST(LevellerRateSteps, ConvertTruncatingTowardZeroWithoutOverflow) {
  const int cases[][2] = {{6, 25}, {3, 0}, {1, -16}, {15, 100}, {4, 8}, {-9, -100},
                          {INT_MAX, INT_MAX}, {INT_MIN, INT_MIN}, {25769806, 214748358}};
  for (const auto& c : cases) EXPECT_EQ(AdaVRateToPercent(c[0]), c[1]) << c[0];
}

TEST_F(LevellerEngine, ControlsStoreTheRecordAndPassValuesOn) {
  // Before Init: stored, read back.
  EXPECT_EQ(HVSFX_AdaV_SetParam(&param, 0, 40, 9000, 1), 1);
  int a = 0, b = 0, c = 0, d = 0, up = 0, down = 0;
  ASSERT_EQ(HVSFX_AdaV_GetParam(&param, &a, &b, &c, &d), 1);
  EXPECT_EQ(std::vector<int>({a, b, c, d}), std::vector<int>({0, 40, 9000, 1}));
  EXPECT_EQ(HVSFX_AdaV_SetVolUpDownRate(&param, 9, 2), 1);
  ASSERT_EQ(HVSFX_AdaV_GetVolUpDownRate(&param, &up, &down), 1);
  EXPECT_EQ(up, 9);
  EXPECT_EQ(down, 2);

  // After Init the instance takes them at once.
  ASSERT_EQ(HVSFX_Init(&param), 1);
  EXPECT_EQ(ptr_AdaV->GetMode(), 0);
  EXPECT_EQ(ptr_AdaV->GetRelativeVolumeDb(), 2228224 * 40 / 100 - 2424832);
  EXPECT_EQ(HVSFX_AdaV_SetParam(&param, 1, 0, 20000, 0), 1);
  EXPECT_EQ(ptr_AdaV->GetMode(), 1);
  EXPECT_EQ(ptr_AdaV->GetRelativeVolumeDb(), -2424832);
  EXPECT_EQ(ptr_AdaV->GetStationFrames(), 10);
  // Rate steps to percent: 15 -> 100, 3 -> 0; 6 -> 25; 1 -> -16 (clamped to 0);
  // extreme steps neither overflow nor wrap around.
  const int rates[][4] = {{15, 3, 5242, -1048}, {6, 1, 2097, -1048}, {INT_MAX, INT_MIN, 5242, -1048}};
  for (const auto& r : rates) {
    EXPECT_EQ(HVSFX_AdaV_SetVolUpDownRate(&param, r[0], r[1]), 1);
    EXPECT_EQ(ptr_AdaV->GetUpRate(), r[2]) << r[0];
    EXPECT_EQ(ptr_AdaV->GetDownRate(), r[3]) << r[1];
  }
  ASSERT_EQ(HVSFX_AdaV_GetVolUpDownRate(&param, &up, &down), 1);
  EXPECT_EQ(up, INT_MAX);
  EXPECT_EQ(down, INT_MIN);
  EXPECT_EQ(ptr_AdaV_LFE->GetUpRate(), 2097);  // the LFE leveller is not addressed
}

TEST_F(LevellerEngine, OnlyTheLevellerOnAStereoProgrammeComesOutLiftedAfterItsLookAhead) {
  // 48 kHz stereo, blocks of 512: the leveller's three frames of 256 plus
  // the engine's block, 1280 frames in all.
  param.bAdaVEnable = true;
  param.bDRCEnable = false;  // on in the defaults; it would add a block
  ASSERT_EQ(HVSFX_Init(&param), 1);
  const size_t frames = 8 * 48000 / kBlock * kBlock;
  const std::vector<std::vector<int>> rows = {leveller_test::SpeechLikeBursts(frames, 48000, -40, 21),
                                              leveller_test::SpeechLikeBursts(frames, 48000, -43, 22)};
  std::vector<short> s = Interleave(rows);
  for (size_t pos = 0; pos < frames; pos += 1000)
    ASSERT_EQ(HVSFX_Process(&param, s.data() + 2 * pos, static_cast<int>(std::min<size_t>(1000, frames - pos))), 1);
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

TEST_F(LevellerEngine, OtherChannelCountsAreNotLevelled) {
  param.nInChannels = param.nOutChannels = 4;
  param.bAdaVEnable = true;
  ASSERT_EQ(HVSFX_Init(&param), 1);
  std::vector<short> s(4 * 4 * kBlock, 1000);
  for (int b = 0; b < 4; ++b) ASSERT_EQ(HVSFX_Process(&param, s.data() + 4 * b * kBlock, kBlock), 1);
  EXPECT_EQ(ptr_AdaV->GetFrameCount(), 0);
}

TEST_F(LevellerEngine, WithTheLimiterOnNoEmittedSampleExceedsFullScaleOnceSettled) {
  // Relative volume 100 % on the -3 dB base raises a loud chord well beyond
  // full scale; the limiter after the leveller pulls it back. The chord
  // repeats every 256 samples, so once the five-second span holds only the
  // chord the leveller's gain no longer drifts. From 7 s on every sample of
  // the processed block lies inside the 16-bit range before the engine's clamp.
  const size_t frames = 10 * 48000 / kBlock * kBlock;
  std::vector<std::vector<int>> rows(2, std::vector<int>(frames));
  for (size_t t = 0; t < frames; ++t) {
    const double x = 2 * M_PI * 187.5 * static_cast<double>(t) / 48000;  // 48000 / 256 Hz
    rows[0][t] = static_cast<int>(std::lrint(5000 * (std::sin(2 * x) + std::sin(3 * x + 1) + std::sin(5 * x + 2))));
    rows[1][t] = static_cast<int>(std::lrint(4000 * (std::sin(2 * x + 0.5) + std::sin(7 * x))));
  }
  // The largest distance from zero of a processed sample over the blocks
  // from 7 s on, in 16-bit units before the engine's clamp, counting a
  // positive value one higher: at most 32768 means inside -32768 ... 32767.
  const auto settledPeak = [&](bool limiter) {
    HVSFX_Release(&param);
    param.bAdaVEnable = true;
    param.bDRCEnable = limiter;
    param.nAdaVRelativeVolume = 100;
    param.nAdaVBaseFlag = 1;
    EXPECT_EQ(HVSFX_Init(&param), 1);
    std::vector<short> s = Interleave(rows);
    int peak = 0;
    for (size_t b = 0; b < frames / kBlock; ++b) {
      EXPECT_EQ(HVSFX_Process(&param, s.data() + 2 * b * kBlock, kBlock), 1);
      if (b < 7 * 48000 / kBlock) continue;
      for (int i = 0; i < 2 * kBlock; ++i) {
        const int v16 = (param.pOutBuf[i] + 128) >> 8;
        peak = std::max(peak, v16 >= 0 ? v16 + 1 : -v16);
      }
    }
    return peak;
  };
  EXPECT_GT(settledPeak(false), 40000);  // the leveller alone overloads
  const int limited = settledPeak(true);
  EXPECT_LE(limited, 32768);
  EXPECT_GT(limited, 30000);  // limited to full scale, not merely attenuated
}

}  // namespace
