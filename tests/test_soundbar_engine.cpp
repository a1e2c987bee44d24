// The soundbar in the chain: where it runs and the soundbar controls. (Its
// matrix, the LFE pre-mix and the output scaling in the chain are carried by
// the golden vectors.)
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/EngineTestBase.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/HVSFX_SoundbarControl.h"
#include "hvtralofx/HVSFX_Switches.h"
#include "hvtralofx/CSoundbar4Fxd.h"
#include "loudness/LevellerCore.h"

using namespace hvfx::api;  // the engine's internals

namespace {

constexpr int kFrames = 512;

const hvfx::LevellerCore& Core(const CAdaptiveVolume_S24* av) { return hvfx::AdaptiveVolumeProbe::Core(*av); }

class SoundbarEngine : public EngineTestBase {
 protected:
  void Init(int channels, int rate = 48000) {
    param.nSampleRate = rate;
    param.nInChannels = param.nOutChannels = channels;
    param.nFrameSize = kFrames;
    param.bDRCEnable = false;
    param.bSoundbarEnable = true;
    ASSERT_EQ(HVSFX_Init(&param), 1);
  }
  // Interleaved noise on the channels in `mask`, silence elsewhere.
  static std::vector<short> Programme(int channels, int blocks, unsigned mask, int amplitude, unsigned seed = 1) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> d(-amplitude, amplitude);
    std::vector<short> v(static_cast<size_t>(channels) * kFrames * blocks);
    for (size_t i = 0; i < v.size(); ++i)
      if (mask & (1u << (i % static_cast<size_t>(channels)))) v[i] = static_cast<short>(d(rng));
    return v;
  }
  std::vector<short> Run(std::vector<short> v) {
    EXPECT_EQ(HVSFX_Process(&param, v.data(), static_cast<int>(v.size()) / param.nInChannels), 1);
    return v;
  }
};

TEST_F(SoundbarEngine, RunsOnlyForSixInSixOut) {
  for (int channels : {1, 2, 4}) {
    Init(channels);
    HVSFX_EQ_SetEnable(&param, true);
    const auto with = Run(Programme(channels, 4, 0xFF, 8000));
    EXPECT_EQ(LiveChain()->soundbar->outputFadePosition, 0u) << "soundbar ran for " << channels << " channels";
    HVSFX_Release(&param);
    param.bSoundbarEnable = false;
    Init(channels);
    HVSFX_Soundbar_SetEnable(&param, false);
    HVSFX_EQ_SetEnable(&param, true);
    EXPECT_EQ(Run(Programme(channels, 4, 0xFF, 8000)), with);
    HVSFX_Release(&param);
  }
}

TEST_F(SoundbarEngine, ControlsStoreFirstAndReachTheModules) {
  // Before initialisation the values are stored (the -2 they return and the
  // refusals are swept in test_api_sweep).
  HVSFX_Soundbar_SetDistance(&param, 30);
  HVSFX_Soundbar_SetAngle(&param, 2);
  HVSFX_Soundbar_SetLFEFreq(&param, 120);
  HVSFX_Soundbar_SetLFEGain(&param, -6);
  HVSFX_Soundbar_SetLFESVParam(&param, 0, 60, 7000, 1);
  HVSFX_Soundbar_SetLFESVVolUpDownRate(&param, 15, 3);
  int a = 0, b = 0, c = 0, d = 0;
  EXPECT_EQ(HVSFX_Soundbar_GetDistance(&param, &a), 1);
  EXPECT_EQ(HVSFX_Soundbar_GetAngle(&param, &b), 1);
  EXPECT_EQ(a * 10 + b, 302);
  EXPECT_EQ(HVSFX_Soundbar_GetLFEFreq(&param, &a) + HVSFX_Soundbar_GetLFEGain(&param, &b), 2);
  EXPECT_EQ(a * 100 + b, 12000 - 6);
  EXPECT_EQ(HVSFX_Soundbar_GetLFESVParam(&param, &a, &b, &c, &d), 1);
  EXPECT_EQ(std::vector<int>({a, b, c, d}), std::vector<int>({0, 60, 7000, 1}));
  EXPECT_EQ(HVSFX_Soundbar_GetLFESVVolUpDownRate(&param, &a, &b), 1);
  EXPECT_EQ(a * 100 + b, 1503);

  // The stored distance and width build the soundbar at init.
  Init(6);
  EXPECT_EQ(LiveChain()->soundbar->Distance(), 30);
  EXPECT_EQ(LiveChain()->soundbar->Angle(), 2);
  LiveChain()->soundbar->inputFadePosition = 0xFFFFFFFFu;
  EXPECT_EQ(HVSFX_Soundbar_SetDistance(&param, 70), 1);
  EXPECT_EQ(LiveChain()->soundbar->Distance(), 70);
  EXPECT_EQ(LiveChain()->soundbar->inputFadePosition, 0u);  // the change fades in
  for (auto setter : {HVSFX_Soundbar_SetLFEFreq, HVSFX_Soundbar_SetLFEGain}) EXPECT_EQ(setter(&param, 100), 1);
  // The LFE leveller takes its settings (and the main leveller keeps its own).
  EXPECT_EQ(HVSFX_Soundbar_SetLFESVParam(&param, 1, 40, 9000, 1), 1);
  EXPECT_EQ(HVSFX_Soundbar_SetLFESVVolUpDownRate(&param, 15, 3), 1);
  EXPECT_EQ(Core(LiveChain()->adavLfe).mode_, 1);
  EXPECT_EQ(Core(LiveChain()->adavLfe).relativeVolumeDb_, 2228224 * 40 / 100 - 2424832);
  EXPECT_EQ(Core(LiveChain()->adavLfe).upRate_, 5242);
  EXPECT_EQ(Core(LiveChain()->adavLfe).downRate_, -1048);
  EXPECT_EQ(Core(LiveChain()->adav).upRate_, 2097);
  // Switching the soundbar on requests a reset, consumed by the next block.
  EXPECT_EQ(HVSFX_Soundbar_SetEnable(&param, true), 1);
  LiveChain();  // taken as the next call's start takes it
  EXPECT_TRUE(GlobalEngine().SoundbarResetPending());
  Run(Programme(6, 1, 0x3F, 100));
  EXPECT_FALSE(GlobalEngine().SoundbarResetPending());
}

}  // namespace
