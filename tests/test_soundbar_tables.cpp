// Soundbar coefficient store: the regularities every set keeps (symmetric
// FIRs, front equal to surround, shared taps, what depends on what) and the
// choice of a set. The fade tables are walked by the golden vectors. The reference values themselves (low-pass
// sections, last gains, gain pairs, listed taps) are asserted by the
// generator, scripts/gen_soundbar_tables.py, whose --check run (the ctest
// soundbar_tables_generated) also holds the committed tables to its output.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "soundbar/SoundbarCoefficientSet.h"
#include "soundbar/SoundbarTables.h"

using namespace hvfx::soundbar;

namespace {

using Set = SoundbarCoefficientSet;
const int kDistances[5] = {30, 40, 50, 60, 70};

std::vector<int16_t> Row(const int16_t* p, int n) { return std::vector<int16_t>(p, p + n); }
const Set& At(int rate, int distance, int angle) { return *SelectSoundbarCoefficientSet(rate, distance, angle); }

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

}  // namespace
