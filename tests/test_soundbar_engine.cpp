// The soundbar in the chain: where it runs, where the matrix puts each
// input's energy, the LFE pre-mix and the output scaling, full-scale
// behaviour, and the soundbar controls' return codes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "api/EngineInternal.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/HVSFX_SoundbarControl.h"
#include "hvtralofx/HVSFX_Switches.h"
#include "hvtralofx/CAdaptiveVolume_S24.h"
#include "hvtralofx/CSoundbar4Fxd.h"
#include "support/EngineTestBase.h"

using namespace hvfx::api;  // the engine's internals

namespace {

constexpr int kFrames = 512;

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
  // Mean square per output channel over the second half of the output.
  static std::vector<double> Energy(const std::vector<short>& v, int channels) {
    std::vector<double> e(static_cast<size_t>(channels));
    const size_t frames = v.size() / static_cast<size_t>(channels);
    for (size_t f = frames / 2; f < frames; ++f)
      for (int c = 0; c < channels; ++c) e[c] += std::pow(v[f * channels + c], 2) / static_cast<double>(frames / 2);
    return e;
  }
};

TEST_F(SoundbarEngine, RunsOnlyForSixInSixOut) {
  for (int channels : {1, 2, 4}) {
    Init(channels);
    HVSFX_EQ_SetEnable(&param, true);
    const auto with = Run(Programme(channels, 4, 0xFF, 8000));
    EXPECT_EQ(CSoundbar4Fxd::outputFadePosition, 0u) << "soundbar ran for " << channels << " channels";
    HVSFX_Release(&param);
    param.bSoundbarEnable = false;
    Init(channels);
    HVSFX_Soundbar_SetEnable(&param, false);
    HVSFX_EQ_SetEnable(&param, true);
    EXPECT_EQ(Run(Programme(channels, 4, 0xFF, 8000)), with);
    HVSFX_Release(&param);
  }
}

TEST_F(SoundbarEngine, MatrixPlacesEachInputAndMixesTheLfe) {
  Init(6);
  HVSFX_Soundbar_SetLFECopyEnable(&param, false);
  // Centre only: it passes straight through on channel 2 and nowhere else.
  auto e = Energy(Run(Programme(6, 8, 1u << 2, 8000)), 6);
  EXPECT_GT(e[2], 1e6);
  for (int c : {0, 1, 3, 4, 5}) EXPECT_LT(e[c], 1.0) << c;
  // Front left only: high band on 0/1, low band on 4/5, nothing on 2/3.
  e = Energy(Run(Programme(6, 8, 1u << 0, 8000)), 6);
  for (int c : {0, 1, 4, 5}) EXPECT_GT(e[c], 1e4) << c;
  EXPECT_LT(e[2] + e[3], 1.0);
  // With the LFE pre-mix the band-passed sum of all channels lands on 3.
  HVSFX_Soundbar_SetLFECopyEnable(&param, true);
  e = Energy(Run(Programme(6, 8, 1u << 0, 8000)), 6);
  EXPECT_GT(e[3], 100.0);
}

TEST_F(SoundbarEngine, GainShiftSparesTheLfeAndFullScaleNeverWraps) {
  const auto input = Programme(6, 6, 0x3F, 4000, 5);
  std::vector<short> out[2];
  for (int shift : {0, 1}) {
    param.nGainShift = shift;
    Init(6);
    out[shift] = Run(input);
    HVSFX_Release(&param);
  }
  for (size_t i = 0; i < input.size(); ++i) {
    if (i % 6 == 3)
      ASSERT_EQ(out[1][i], out[0][i]) << i;
    else
      ASSERT_NEAR(out[1][i], 2 * out[0][i], 1) << i;
  }
  // Full-scale 1 kHz on every channel with the gain shift: the output may
  // clip but never wraps to the opposite sign (no step near full scale).
  param.nGainShift = 1;
  Init(6);
  std::vector<short> sine(6 * kFrames * 20);
  for (size_t f = 0; f < sine.size() / 6; ++f)
    for (int c = 0; c < 6; ++c)
      sine[f * 6 + c] = static_cast<short>(32767.0 * std::sin(2 * M_PI * 1000.0 * static_cast<double>(f) / 48000.0 + c));
  const auto loud = Run(sine);
  int biggestStep = 0;
  for (size_t i = 6; i < loud.size(); ++i) biggestStep = std::max(biggestStep, std::abs(loud[i] - loud[i - 6]));
  EXPECT_LT(biggestStep, 24000);
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
  EXPECT_EQ(ptr_Soundbar->Distance(), 30);
  EXPECT_EQ(ptr_Soundbar->Angle(), 2);
  CSoundbar4Fxd::inputFadePosition = 0xFFFFFFFFu;
  EXPECT_EQ(HVSFX_Soundbar_SetDistance(&param, 70), 1);
  EXPECT_EQ(ptr_Soundbar->Distance(), 70);
  EXPECT_EQ(CSoundbar4Fxd::inputFadePosition, 0u);  // the change fades in
  for (auto setter : {HVSFX_Soundbar_SetLFEFreq, HVSFX_Soundbar_SetLFEGain}) EXPECT_EQ(setter(&param, 100), 1);
  // The LFE leveller takes its settings (and the main leveller keeps its own).
  EXPECT_EQ(HVSFX_Soundbar_SetLFESVParam(&param, 1, 40, 9000, 1), 1);
  EXPECT_EQ(HVSFX_Soundbar_SetLFESVVolUpDownRate(&param, 15, 3), 1);
  EXPECT_EQ(ptr_AdaV_LFE->GetMode(), 1);
  EXPECT_EQ(ptr_AdaV_LFE->GetRelativeVolumeDb(), 2228224 * 40 / 100 - 2424832);
  EXPECT_EQ(ptr_AdaV_LFE->GetUpRate(), 5242);
  EXPECT_EQ(ptr_AdaV_LFE->GetDownRate(), -1048);
  EXPECT_EQ(ptr_AdaV->GetUpRate(), 2097);
  // Switching the soundbar on requests a reset, consumed by the next block.
  EXPECT_EQ(HVSFX_Soundbar_SetEnable(&param, true), 1);
  EXPECT_EQ(nSoundbarFilterResetFlag.load(), 1);
  Run(Programme(6, 1, 0x3F, 100));
  EXPECT_EQ(nSoundbarFilterResetFlag.load(), 0);
}

}  // namespace
