// Soundbar coefficient store and fade tables: the reference values, the
// regularities every set keeps (symmetric FIRs, front equal to surround,
// shared taps, what depends on what) and the choice of a set.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "soundbar/SoundbarCoefficientSet.h"
#include "soundbar/SoundbarFadeTables.h"
#include "soundbar/SoundbarTables.h"

namespace {

using Set = SoundbarCoefficientSet;
const int kDistances[5] = {30, 40, 50, 60, 70};

std::vector<int16_t> Row(const int16_t* p, int n) { return std::vector<int16_t>(p, p + n); }
const Set& At(int rate, int distance, int angle) { return *SelectSoundbarCoefficientSet(rate, distance, angle); }

TEST(SoundbarTables, ReferenceRows) {
  struct Row4 { int rate, distance, angle; int16_t a11, a21, a22, gain, gainQ; int16_t taps[7]; };
  const Row4 rows[] = {
      {48000, 50, 1, -13404, -14612, 6715, 27512, 10, {97, 68, 20, -18, 7369, 14092, 17288}},
      {44100, 50, 1, -13164, -14444, 6599, 17460, 9, {-38, 18, 74, 95, 6755, 15012, 19097}},
      {48000, 30, 0, -14465, -15309, 7236, 28531, 12, {-188, -149, -74, -12, 7662, 14386, 17582}},
      {44100, 70, 2, -12073, -13631, 6079, 21559, 8, {-38, 18, 74, 95, 6755, 15012, 19097}},
  };
  for (const Row4& r : rows) {
    SCOPED_TRACE(testing::Message() << r.rate << " Hz " << r.distance << " cm angle " << r.angle);
    const Set& s = At(r.rate, r.distance, r.angle);
    EXPECT_EQ(Row(s.frontLowpassSos, 12),
              (std::vector<int16_t>{16384, 16384, 0, 16384, r.a11, 0, 8192, 16384, 8192, 8192, r.a21, r.a22}));
    EXPECT_EQ(Row(s.frontLowpassSosQ, 2), (std::vector<int16_t>{-1, -2}));
    EXPECT_EQ(Row(s.frontLowpassGain, 3), (std::vector<int16_t>{16384, 16384, r.gain}));
    EXPECT_EQ(Row(s.frontLowpassGainQ, 3), (std::vector<int16_t>{-1, -1, r.gainQ}));
    const int index[7] = {0, 1, 2, 3, 126, 127, 128};
    for (int k = 0; k < 7; ++k) EXPECT_EQ(s.frontFir[index[k]], r.taps[k]) << "tap " << index[k];
  }
  // The 30 cm wide set at 44100 Hz, known by its low-pass and its centre tap.
  EXPECT_EQ(Row(Lowpass1_front_sos_fxd_30cm_wide, 12),
            (std::vector<int16_t>{16384, 16384, 0, 16384, -14298, 0, 8192, 16384, 8192, 8192, -15204, 7154}));
  EXPECT_EQ(Highpass_S_front_fir_fxd_30cm_wide[128], 19401);
  EXPECT_EQ(SGain_Q_50cm, -16);
  EXPECT_EQ(Row(SGain_fxd_50cm, 2), (std::vector<int16_t>{4637, 16592}));
}

TEST(SoundbarTables, GainPairsAndLastLowpassGains) {
  const int16_t pairs[5][3][3] = {
      {{8305, 23943, -15}, {5795, 20528, -15}, {5965, 32669, -14}},
      {{10777, 31272, -15}, {7520, 26811, -15}, {3870, 21334, -15}},
      {{6646, 19352, -16}, {4637, 16592, -16}, {4773, 26405, -15}},
      {{7916, 23095, -16}, {5524, 19801, -16}, {5685, 31512, -15}},
      {{9193, 26855, -16}, {6415, 23024, -16}, {3301, 18321, -16}}};
  const int16_t lastGain[5][2][2] = {{{18407, 11}, {28531, 12}}, {{19448, 10}, {30436, 11}},
                                     {{17460, 9}, {27512, 10}}, {{28653, 9}, {22529, 9}},
                                     {{21559, 8}, {17056, 8}}};
  for (int r = 0; r < 2; ++r)
    for (int d = 0; d < 5; ++d)
      for (int a = 0; a < 3; ++a) {
        const Set& s = SoundbarCoefficientSets[r][d][a];
        SCOPED_TRACE(testing::Message() << "rate " << r << " distance " << d << " angle " << a);
        EXPECT_EQ(Row(s.frontGainPair, 2), Row(pairs[d][a], 2));
        EXPECT_EQ(s.frontGainShift, pairs[d][a][2]);
        EXPECT_EQ(s.frontLowpassGain[2], lastGain[d][r][0]);
        EXPECT_EQ(s.frontLowpassGainQ[2], lastGain[d][r][1]);
      }
}

TEST(SoundbarTables, EverySetKeepsTheRegularities) {
  for (int r = 0; r < 2; ++r)
    for (int d = 0; d < 5; ++d)
      for (int a = 0; a < 3; ++a) {
        const Set& s = SoundbarCoefficientSets[r][d][a];
        SCOPED_TRACE(testing::Message() << "rate " << r << " distance " << d << " angle " << a);
        EXPECT_EQ(s.frontFirTaps, 257);
        EXPECT_EQ(s.frontFirChannels, 1);
        EXPECT_EQ(s.frontLowpassSections, 2);
        EXPECT_EQ(s.frontLowpassChannels, 1);
        EXPECT_EQ(s.frontFirQ[0], 1);
        for (const int16_t* fir : {s.frontFir, s.sideFir})
          for (int k = 0; k < 128; ++k) ASSERT_EQ(fir[k], fir[256 - k]) << "tap " << k;
        // Front and surround paths hold the same values.
        EXPECT_EQ(Row(s.sideFir, 257), Row(s.frontFir, 257));
        EXPECT_EQ(s.sideFirQ[0], s.frontFirQ[0]);
        EXPECT_EQ(s.sideFirTaps, s.frontFirTaps);
        EXPECT_EQ(Row(s.sideLowpassSos, 12), Row(s.frontLowpassSos, 12));
        EXPECT_EQ(Row(s.sideLowpassSosQ, 2), Row(s.frontLowpassSosQ, 2));
        EXPECT_EQ(Row(s.sideLowpassGain, 3), Row(s.frontLowpassGain, 3));
        EXPECT_EQ(Row(s.sideLowpassGainQ, 3), Row(s.frontLowpassGainQ, 3));
        EXPECT_EQ(Row(s.surroundGainPair, 2), Row(s.frontGainPair, 2));
        EXPECT_EQ(s.surroundGainShift, s.frontGainShift);
        // The low-pass ignores the width, the gain pair ignores the rate.
        const Set& defaultWidth = SoundbarCoefficientSets[r][d][1];
        EXPECT_EQ(Row(s.frontLowpassSos, 12), Row(defaultWidth.frontLowpassSos, 12));
        EXPECT_EQ(s.frontLowpassGain[2], defaultWidth.frontLowpassGain[2]);
        const Set& otherRate = SoundbarCoefficientSets[1 - r][d][a];
        EXPECT_EQ(Row(s.frontGainPair, 2), Row(otherRate.frontGainPair, 2));
        EXPECT_EQ(s.frontGainShift, otherRate.frontGainShift);
      }
}

TEST(SoundbarTables, SharedTaps) {
  for (int rate : {44100, 48000}) {
    SCOPED_TRACE(rate);
    EXPECT_EQ(Row(At(rate, 30, 0).frontFir, 257), Row(At(rate, 50, 2).frontFir, 257));
    EXPECT_EQ(Row(At(rate, 50, 0).frontFir, 257), Row(At(rate, 50, 1).frontFir, 257));
    EXPECT_EQ(Row(At(rate, 50, 1).frontFir, 257), Row(At(rate, 70, 2).frontFir, 257));
    EXPECT_NE(Row(At(rate, 30, 1).frontFir, 257), Row(At(rate, 50, 1).frontFir, 257));
  }
}

TEST(SoundbarTables, Selection) {
  EXPECT_EQ(SelectSoundbarCoefficientSet(44100, 50, 1), &SoundbarCoefficientSets[0][2][1]);
  EXPECT_EQ(SelectSoundbarCoefficientSet(48000, 30, 0), &SoundbarCoefficientSets[1][0][0]);
  EXPECT_EQ(SelectSoundbarCoefficientSet(48000, 70, 2), &SoundbarCoefficientSets[1][4][2]);
  for (int distance : {35, 80, -1, 45}) EXPECT_EQ(SelectSoundbarCoefficientSet(44100, distance, 2), &At(44100, 50, 2));
  for (int angle : {5, -1, 3}) EXPECT_EQ(SelectSoundbarCoefficientSet(48000, 40, angle), &At(48000, 40, 1));
  for (int rate : {32000, 0, 96000}) EXPECT_EQ(SelectSoundbarCoefficientSet(rate, 50, 1), nullptr);
  for (int d = 0; d < 5; ++d) EXPECT_EQ(&At(44100, kDistances[d], 1), &SoundbarCoefficientSets[0][d][1]);
}

// The listed entries are met by a cosine scaled by 32768 and clamped at
// 32767; with the scale 32767 entry 512 would come out 24575.
TEST(SoundbarTables, FadeTables) {
  const std::pair<int, int16_t> in[] = {{0, 32767}, {512, 24576}, {768, 16384}, {1024, 8192}, {1533, 0},
                                        {1534, 0},  {1535, 0},    {1536, 0},    {1537, 1},    {1600, 1286},
                                        {1792, 16485}, {1900, 26543}, {2047, 32767}};
  for (const auto& [k, v] : in) EXPECT_EQ(SoundbarInputFadeTable[k], v) << "input entry " << k;
  const std::pair<int, int16_t> out[] = {{0, 0},      {1, 0},      {2, 1},      {256, 4834},
                                         {512, 16434}, {768, 28005}, {1022, 32767}, {1023, 32767}};
  for (const auto& [k, v] : out) EXPECT_EQ(SoundbarOutputFadeTable[k], v) << "output entry " << k;
  EXPECT_TRUE(std::is_sorted(SoundbarInputFadeTable, SoundbarInputFadeTable + 1537, std::greater<>()));
  EXPECT_TRUE(std::is_sorted(SoundbarInputFadeTable + 1536, SoundbarInputFadeTable + 2048));
  EXPECT_TRUE(std::is_sorted(SoundbarOutputFadeTable, SoundbarOutputFadeTable + 1024));
}

}  // namespace
