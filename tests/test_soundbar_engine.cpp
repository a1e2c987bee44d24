// The soundbar in the chain: where it runs and the soundbar controls. (Its
// matrix, the LFE pre-mix and the output scaling in the chain are carried by
// the golden vectors.)
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "support/EngineTestBase.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/HVSFX_SoundbarControl.h"
#include "hvtralofx/HVSFX_Switches.h"
#include "hvtralofx/CSoundbar4Fxd.h"
#include "hvtralofx/HVFX_Engine.h"
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

// The fade a distance change starts belongs to its chain: released and
// initialised again, the front starts as a new one with that distance does
// (no silence at frames 2048 ... 2303 of output 4). And a large gain shift
// with surround on clamps rather than wrapping a loud sine.
TEST_F(SoundbarEngine, NoStateOutlivesTheChainAndLargeShiftsClamp) {
  HVFX_Engine* moved = HVFX_Create();
  HVFX_Engine* fresh = HVFX_Create();
  HVFX_Soundbar_SetDistance(fresh, 40);  // stored for the first initialisation
  for (HVFX_Engine* e : {moved, fresh}) {
    ASSERT_EQ(HVFX_Init(e, 48000, 6), 1);
    HVFX_SetEnable(e, true);
    HVFX_Soundbar_SetEnable(e, true);
  }
  HVFX_Soundbar_SetDistance(moved, 40);
  HVFX_Release(moved);
  ASSERT_EQ(HVFX_Init(moved, 48000, 6), 1);
  const auto programme = Programme(6, 8, 0x3F, 12000);
  std::vector<short> a = programme, b = programme;
  HVFX_Process(moved, a.data(), 8 * kFrames);
  HVFX_Process(fresh, b.data(), 8 * kFrames);
  EXPECT_EQ(a, b);
  HVFX_Destroy(moved);
  HVFX_Destroy(fresh);

  // Surround's shift by 12 on a loud 100 Hz sine (the equalizer carries it
  // to the output): clamped, a square wave with two sign changes a period;
  // wrapped, hundreds.
  param.nGainShift = 12;
  param.bSurroundEnable = true;
  param.bEQEnable = true;
  param.bSoundbarEnable = false;
  Init(2);
  auto sine = Programme(2, 16, 0, 0);
  for (size_t i = 0; i < sine.size(); ++i)
    sine[i] = static_cast<short>(std::lrint(30000 * std::sin(2 * M_PI * 100 * static_cast<double>(i / 2) / 48000)));
  std::vector<short> out;
  for (size_t k = 0; k < sine.size(); k += 2 * kFrames) {  // the shift reaches the next call's output
    const auto first = sine.begin() + static_cast<long>(k);
    const auto block = Run(std::vector<short>(first, first + 2 * kFrames));
    out.insert(out.end(), block.begin(), block.end());
  }
  int signChanges = 0;
  for (size_t i = 2 * 2 * kFrames; i < out.size(); i += 2) signChanges += (out[i] < 0) != (out[i - 2] < 0);
  EXPECT_LE(signChanges, 2 * 14 * kFrames / 480 + 2);
}

}  // namespace
