// The equalizer control functions of the engine interface: return codes,
// what each stores in the record and passes on to the channel equalizers,
// the all-channels argument, refusals, and the band reset with its band in
// the channel position of the shelf settings.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "support/EngineTestBase.h"
#include "hvtralofx/HVSFX_EQControl.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/CHVAudioEQ_Ts.h"

using namespace hvfx::api;  // the engine's internals

namespace {

bool Same(const CHVAudioEQ_Ts& a, const CHVAudioEQ_Ts& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
using V = std::vector<int>;

class EqControl : public ::testing::Test {
 protected:
  void SetUp() override { HVSFX_GetDefaultParam(&p); }
  void TearDown() override { HVSFX_Release(&p); }
  void Init(int channels) {
    p.nInChannels = p.nOutChannels = channels;
    ASSERT_EQ(HVSFX_Init(&p), 1);
    ClearFlags();
  }
  static void ClearFlags() {
    GlobalEngine().TakeChanges();
    for (int c = 0; c < 8; ++c) GlobalEngine().EqResetPending(c) = false;
  }
  static int Flag(int c) {
    GlobalEngine().TakeChanges();
    return GlobalEngine().EqResetPending(c);
  }
  // A call that must return `expected` and change neither the record, nor
  // any equalizer, nor any reset flag.
  template <typename Call>
  void ExpectNoChange(int expected, Call call) {
    const HVSFX_Param before = p;
    const CHVAudioEQ_Ts eq0 = *LiveChain()->eq[0];
    EXPECT_EQ(call(), expected);
    EXPECT_EQ(std::memcmp(&before, &p, sizeof p), 0);
    EXPECT_TRUE(Same(eq0, *LiveChain()->eq[0]));
    for (int c = 0; c < 8; ++c) EXPECT_EQ(Flag(c), 0);
  }
  HVSFX_Param p{};
};

}  // namespace

TEST_F(EqControl, ShelfSwitchesAndSettings) {
  Init(2);
  EXPECT_EQ(HVSFX_EQ_SetLPFEnable(&p, -1, false), 1);
  EXPECT_EQ(p.bLPFEnable + LiveChain()->eq[0]->bLFEnable + LiveChain()->eq[1]->bLFEnable, 0);
  // One channel, designed from that channel's stored frequency and gain;
  // the switch requests no reset.
  p.nLPFFreq[1] = 500;
  p.nLPFGain[1] = 4;
  EXPECT_EQ(HVSFX_EQ_SetLPFEnable(&p, 1, true), 1);
  CHVAudioEQ_Ts expected(48000);
  expected.Tst_SetLFOption(true, 500, 4);
  EXPECT_TRUE(Same(*LiveChain()->eq[1], expected));
  EXPECT_EQ((V{LiveChain()->eq[0]->bLFEnable, Flag(0), Flag(1)}), V(3, 0));
  bool on = false;
  EXPECT_EQ(HVSFX_EQ_GetLPFEnable(&p, 0, &on), 1);
  EXPECT_TRUE(on);
  // Gain for every channel; frequency 0 keeps each channel's own.
  EXPECT_EQ(HVSFX_EQ_SetLPFBandGain(&p, -1, -7, 0), 1);
  int g[2] = {}, f[2] = {};
  EXPECT_EQ((V{HVSFX_EQ_GetLPFBandGain(&p, 0, &g[0], &f[0]), HVSFX_EQ_GetLPFBandGain(&p, 1, &g[1], &f[1])}), (V{1, 1}));
  EXPECT_EQ((V{g[0], f[0], g[1], f[1]}), (V{-7, 160, -7, 500}));
  expected.Tst_SetLFOption(true, 500, -7);
  EXPECT_TRUE(Same(*LiveChain()->eq[1], expected));
  EXPECT_EQ((V{Flag(0), Flag(1)}), (V{1, 1}));
  // The stored high-shelf switch is off: the setting is stored and the shelf
  // of that channel switched off.
  EXPECT_EQ(HVSFX_EQ_SetHPFBandGain(&p, 0, 3, 8000), 1);
  EXPECT_EQ(HVSFX_EQ_GetHPFBandGain(&p, 0, &g[0], &f[0]), 1);
  EXPECT_EQ((V{g[0], f[0], LiveChain()->eq[0]->bHFEnable, LiveChain()->eq[1]->bHFEnable}), (V{3, 8000, 0, 1}));
}

TEST_F(EqControl, BandSettingsAndRefusals) {
  Init(2);
  EXPECT_EQ(HVSFX_EQ_SetBandGain(&p, -1, 2, 5, 700, 1.5f), 1);
  CHVAudioEQ_Ts expected(48000);
  expected.Tst_SetBPFOption(2, true, 700, 5, 1.5f);
  for (int c = 0; c < 2; ++c) {
    EXPECT_EQ((V{p.nEQBandGain[c][2], p.nEQBandFreq[c][2], Flag(c)}), (V{5, 700, 1}));
    EXPECT_EQ(p.fEQBandQ[c][2], 1.5f);
    EXPECT_TRUE(Same(*LiveChain()->eq[c], expected));
  }
  // A Q that is zero, NaN, infinite or negative and a frequency <= 0 keep
  // the stored values; gain 0 switches the band off and keeps both.
  for (float bad : {0.0f, std::nanf(""), std::numeric_limits<float>::infinity(), -2.0f})
    EXPECT_EQ(HVSFX_EQ_SetBandGain(&p, 1, 2, 6, 0, bad), 1);
  EXPECT_EQ(HVSFX_EQ_SetBandGain(&p, 1, 2, 0, -5, 3.0f), 1);
  int g = 0, f = 0;
  float q = 0;
  EXPECT_EQ(HVSFX_EQ_GetBandGain(&p, 1, 2, &g, &f, &q), 1);
  EXPECT_EQ(std::tuple(g, f, q), std::tuple(0, 700, 3.0f));
  EXPECT_EQ((V{LiveChain()->eq[1]->band[2].bEnable, LiveChain()->eq[0]->band[2].bEnable}), (V{0, 1}));
  // Refused: bands beyond nEQBandNum (counted as 8 above 8, as 0 below 0),
  // channels other than -1 and the engine's own.
  ClearFlags();
  for (int band : {8, -1}) ExpectNoChange(0, [&] { return HVSFX_EQ_SetBandGain(&p, 0, band, 5, 700, 1.0f); });
  for (int channel : {2, 6, -2, 1000}) {
    ExpectNoChange(0, [&] { return HVSFX_EQ_SetBandGain(&p, channel, 0, 5, 700, 1.0f); });
    ExpectNoChange(0, [&] { return HVSFX_EQ_SetLPFBandGain(&p, channel, 5, 700); });
    ExpectNoChange(0, [&] { return HVSFX_EQ_SetHPFEnable(&p, channel, false); });
    ExpectNoChange(0, [&] { return HVSFX_EQ_ResetBandFreq(&p, channel, -1); });
  }
  p.nEQBandNum = 3;
  ExpectNoChange(0, [&] { return HVSFX_EQ_SetBandGain(&p, 0, 3, 5, 700, 1.0f); });
  EXPECT_EQ(HVSFX_EQ_GetBandGain(&p, 0, 3, &g, &f, &q), 0);
  p.nEQBandNum = 40;
  ExpectNoChange(0, [&] { return HVSFX_EQ_SetBandGain(&p, 0, 8, 5, 700, 1.0f); });
  EXPECT_EQ(HVSFX_EQ_SetBandGain(&p, 0, 7, 5, 700, 1.0f), 1);
  ClearFlags();
  p.nEQBandNum = -3;
  ExpectNoChange(0, [&] { return HVSFX_EQ_SetBandGain(&p, 0, 0, 5, 700, 1.0f); });
}

TEST_F(EqControl, BandResetPassesTheBandAsTheShelfChannel) {
  Init(6);
  for (int c = 0; c < 6; ++c) {
    p.nLPFGain[c] = p.nHPFGain[c] = 4;
    p.nLPFFreq[c] = 300;
    for (int b = 0; b < 8; ++b) ASSERT_EQ(HVSFX_EQ_SetBandGain(&p, c, b, 3 + b, 111 * (b + 1), 0.5f), 1);
  }
  ClearFlags();
  // Band 1 of channel 0; the shelves cleared are channel 1's (frequencies
  // kept, reset requested by the shelf step only).
  EXPECT_EQ(HVSFX_EQ_ResetBandFreq(&p, 0, 1), 1);
  EXPECT_EQ(std::tuple(p.nEQBandFreq[0][1], p.fEQBandQ[0][1], p.nEQBandGain[0][1]), std::tuple(400, 2.0f, 4));
  EXPECT_EQ((V{LiveChain()->eq[0]->band[1].bEnable, LiveChain()->eq[1]->band[1].bEnable, p.nEQBandFreq[1][1], p.nEQBandFreq[0][2]}), (V{0, 1, 222, 333}));
  EXPECT_EQ((V{p.nLPFGain[1], p.nHPFGain[1], p.nLPFFreq[1], p.nLPFGain[0], Flag(0), Flag(1)}), (V{0, 0, 300, 4, 0, 1}));
  // A band beyond nEQBandNum: the shelf step still runs, then 0.
  p.nEQBandNum = 4;
  EXPECT_EQ(HVSFX_EQ_ResetBandFreq(&p, 2, 5), 0);
  EXPECT_EQ((V{p.nLPFGain[5], p.nEQBandFreq[2][5]}), (V{0, 666}));
  // All bands of a channel are the bands in use.
  EXPECT_EQ(HVSFX_EQ_ResetBandFreq(&p, 3, -1), 1);
  EXPECT_EQ((V{p.nEQBandFreq[3][3], p.nEQBandFreq[3][4]}), (V{1000, 555}));
  // Everything: all bands of all channels, every channel's shelves.
  p.nEQBandNum = 8;
  EXPECT_EQ(HVSFX_EQ_ResetBandFreq(&p, -1, -1), 1);
  const int defaults[8] = {250, 400, 630, 1000, 1600, 2500, 4000, 6300};
  for (int c = 0; c < 6; ++c) {
    EXPECT_EQ(p.nLPFGain[c] + p.nHPFGain[c], 0);
    for (int b = 0; b < 8; ++b) {
      EXPECT_EQ(std::tuple(p.nEQBandFreq[c][b], p.fEQBandQ[c][b], p.nEQBandGain[c][b], LiveChain()->eq[c]->band[b].bEnable),
                std::tuple(defaults[b], 2.0f, 3 + b, 0));
    }
  }
}
