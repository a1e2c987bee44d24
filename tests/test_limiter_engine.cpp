// The limiter as the last stage of the engine's chain: created with the
// engine's geometry, one more block of delay, the 16-bit-domain conversions
// around it, and what it can and cannot do after the equalizer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "api/EngineInternal.h"
#include "api/HVSFX_Engine.h"
#include "api/HVSFX_Switches.h"
#include "loudness/CDynamicRangeControl.h"
#include "support/EngineTestBase.h"

namespace {

constexpr int32_t kUnity = 1 << 24;

class LimiterStage : public EngineTestBase {
 protected:
  // Interleaved stereo tone, the same on both channels.
  static std::vector<short> Tone(int frames, double hz, double amplitude) {
    std::vector<short> s(2 * static_cast<size_t>(frames));
    for (int i = 0; i < frames; ++i)
      s[2 * i] = s[2 * i + 1] = static_cast<short>(std::lrint(amplitude * std::sin(2 * M_PI * hz * i / 48000 + 0.3)));
    return s;
  }
};

TEST_F(LimiterStage, CreatedWithTheEngineGeometryAndFreedOnRelease) {
  param.nInChannels = param.nOutChannels = 6;
  param.nFrameSize = 256;
  ASSERT_EQ(HVSFX_Init(&param), 1);
  ASSERT_NE(ptr_DRC, nullptr);
  EXPECT_EQ(ptr_DRC->GetChannels(), 6);
  EXPECT_EQ(ptr_DRC->GetBlockLength(), 256);
  EXPECT_EQ(ptr_DRC->IsInitialized(), 1);
  EXPECT_EQ(ptr_DRC->IsEnabled(), 1);
  HVSFX_Release(&param);
  EXPECT_EQ(ptr_DRC, nullptr);
}

TEST_F(LimiterStage, AloneInTheChainItPassesFullScaleBitExactOneBlockLater) {
  // The dynamic-bass switch keeps the chain running without a stage of its
  // own, so the limiter reads the gathered input directly. 16-bit input never
  // exceeds its ceiling: the output is the input 2 blocks late (engine and
  // limiter), including both extremes.
  constexpr int kN = 128;
  param.nFrameSize = kN;
  HVSFX_DynamicBass_SetEnable(&param, true);
  ASSERT_EQ(HVSFX_Init(&param), 1);
  std::mt19937 rng(3);
  std::vector<short> in(2 * 20 * kN);
  for (auto& v : in) v = static_cast<short>(static_cast<int>(rng() % 65536) - 32768);
  in[2 * 300] = -32768;
  in[2 * 301 + 1] = 32767;
  std::vector<short> out = in;
  for (size_t pos = 0; pos < out.size(); pos += 2 * 77)
    HVSFX_Process(&param, out.data() + pos, static_cast<int>(std::min<size_t>(77, (out.size() - pos) / 2)));
  for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], i < 4 * kN ? 0 : in[i - 4 * kN]) << i;
  EXPECT_EQ(ptr_DRC->GetCurrentGain(0), kUnity);
}

TEST_F(LimiterStage, PullsOverloadedWorkingSamplesUnderFullScale) {
  // An earlier stage (the leveller does not saturate) can hand over working
  // samples beyond 24 bits. Here a 1 kHz tone at 2.2 times full scale is put
  // into the input buffer and the chain run block by block. With 512-sample
  // blocks each block covers about half of the remaining fall, so the first
  // blocks still exceed full scale; once the gain has settled (at the target
  // after 16 blocks), every sample the engine would emit lies inside the
  // 16-bit range, so its clamp never acts, and the peaks sit at full scale.
  // (The flooring product may reach -32768 exactly, never 32768 unless the
  // held peak is a power of two.)
  constexpr int kN = 512;
  HVSFX_DynamicBass_SetEnable(&param, true);
  ASSERT_EQ(HVSFX_Init(&param), 1);
  const double amplitude = 2.2 * 8388608;
  int emittedMax = 0, emittedMin = 0;
  for (int block = 0; block < 28; ++block) {
    for (int c = 0; c < 2; ++c)
      for (int i = 0; i < kN; ++i)
        param.pInBuf[c * kN + i] =
            static_cast<int>(std::lrint(amplitude * std::sin(2 * M_PI * 1000.0 * (block * kN + i) / 48000)));
    ASSERT_EQ(ProcessModule(&param), 1);
    if (block < 18) continue;  // settled blocks come out one block late
    for (int i = 0; i < 2 * kN; ++i) {
      const int emitted = (param.pOutBuf[i] + 128) >> 8;  // before the engine's 16-bit clamp
      emittedMax = std::max(emittedMax, emitted);
      emittedMin = std::min(emittedMin, emitted);
    }
  }
  EXPECT_LE(emittedMax, 32767);
  EXPECT_GE(emittedMin, -32768);
  EXPECT_GT(emittedMax, 32500);  // limited to the ceiling, not attenuated further
  EXPECT_EQ(ptr_DRC->GetCurrentGain(0), ptr_DRC->GetTargetGain(0));
  EXPECT_EQ(ptr_DRC->GetTargetGain(0), static_cast<int32_t>((int64_t{32768} << 24) / ptr_DRC->GetLastPeak(0)));
}

TEST_F(LimiterStage, AfterTheEqualizerItCannotPreventClipping) {
  // The equalizer saturates its output to 24 bits, which is exactly 16-bit
  // full scale, i.e. the limiter's ceiling of 32768. A loud 12 kHz tone
  // boosted by the default high shelf (+6 dB) is therefore clipped by the
  // equalizer itself; the limiter measures a peak of exactly 32768, keeps
  // unity gain and passes the clipped signal on one block later.
  constexpr int kN = 512, kFrames = 48000;
  HVSFX_EQ_SetEnable(&param, true);
  const std::vector<short> in = Tone(kFrames, 12000.0, 30000.0);

  param.bDRCEnable = false;
  ASSERT_EQ(HVSFX_Init(&param), 1);
  if (ptr_EQ == nullptr) GTEST_SKIP() << "this build's chain has no equalizer stage";
  std::vector<short> eqOnly = in;
  ASSERT_EQ(HVSFX_Process(&param, eqOnly.data(), kFrames), 1);
  HVSFX_Release(&param);
  s_sampleCount = 0;

  param.bDRCEnable = true;
  ASSERT_EQ(HVSFX_Init(&param), 1);
  std::vector<short> limited = in;
  ASSERT_EQ(HVSFX_Process(&param, limited.data(), kFrames), 1);
  EXPECT_EQ(ptr_DRC->GetLastPeak(0), 32768);
  EXPECT_EQ(ptr_DRC->GetCurrentGain(0), kUnity);

  int clipped = 0;
  for (size_t i = 2 * kN; i < limited.size(); ++i) {
    ASSERT_EQ(limited[i], eqOnly[i - 2 * kN]) << i;
    clipped += limited[i] == 32767 || limited[i] == -32768;
  }
  EXPECT_GT(clipped, kFrames / 4);  // the equalizer's clipping survives
}

}  // namespace
