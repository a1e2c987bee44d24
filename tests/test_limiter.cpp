// Peak limiter: refusals, the peak measure, streaming in calls of any size,
// Reset. Its arithmetic on programme material, bit for bit (the per-block
// attack and release steps, the 20-block peak hold across the ring's wrap,
// the ramp back to unity when switched off), is carried by the golden
// vectors of the whole chain (test_golden), whose long programmes drive it
// past its ceiling and switch it on and off.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <random>
#include <vector>

#include "hvtralofx/CDynamicRangeControl.h"

namespace {

constexpr int32_t kUnity = 1 << 24;  // Q24 1.0
constexpr int32_t kHalf = 1 << 23;

using Signal = std::vector<std::vector<int>>;  // [channel][sample]

// Runs `count` samples of every channel from `offset` through the limiter in
// one call, in place.
void Feed(CDynamicRangeControl& drc, Signal& s, size_t offset, int count) {
  std::vector<int*> rows;
  for (auto& row : s) rows.push_back(row.data() + offset);
  drc.Process(rows.data(), count);
}

// One block of a constant level on every channel; returns the output.
Signal RunConstant(CDynamicRangeControl& drc, int level, int n) {
  Signal s(static_cast<size_t>(drc.GetChannels()), std::vector<int>(static_cast<size_t>(n), level));
  Feed(drc, s, 0, n);
  return s;
}

// Programme material: per stretch a random level between quiet and four times
// the ceiling, so that gains fall, hold and recover.
Signal Programme(int channels, size_t len, unsigned seed) {
  std::mt19937 rng(seed);
  Signal s(static_cast<size_t>(channels), std::vector<int>(len));
  for (auto& row : s) {
    int level = 1000;
    for (int& v : row) {
      if (rng() % 700 == 0) level = static_cast<int>(rng() % 131072) + 100;
      v = static_cast<int>(rng() % (2u * level + 1)) - level;
    }
  }
  return s;
}

}  // namespace

TEST(LimiterLifecycle, RefusedSetupsAndMalformedCallsTouchNothing) {
  for (int n : {64, 0, -5, CDynamicRangeControl::kMaxBlockLength + 1, INT_MAX}) {
    CDynamicRangeControl drc(2, n);
    if (n != 64) EXPECT_EQ(drc.Init(48000), 0) << n;  // 64: Init never called
    Signal s = {{1, 2, 70000}, {-4, 5, -6}};
    const Signal before = s;
    Feed(drc, s, 0, 3);
    EXPECT_EQ(s, before) << n;
  }
  CDynamicRangeControl wide(12, 16);  // clamped to 8 channels, the last one limited
  ASSERT_EQ(wide.Init(44100), 1);
  RunConstant(wide, 65536, 16);
  EXPECT_EQ(wide.GetTargetGain(7), kHalf);
  EXPECT_EQ(wide.GetTargetGain(8), 0);  // beyond the channels: 0, no access

  CDynamicRangeControl drc(2, 8);
  ASSERT_EQ(drc.Init(48000), 1);
  Signal s = {{1, 2, 3}, {4, 5, 6}};
  Feed(drc, s, 0, 2);  // fill position now 2
  const Signal before = s;
  int* rowsWithNull[2] = {s[0].data(), nullptr};
  drc.Process(rowsWithNull, 3);
  drc.Process(nullptr, 3);
  Feed(drc, s, 0, -4);
  EXPECT_EQ(s, before);
  EXPECT_EQ(drc.GetFillPosition(), 2);
  drc.DetermineDRCVolume(9);  // longer than a block: refused
  EXPECT_EQ(drc.GetHistoryIndex(), 1);
}

TEST(LimiterGetMaximum, LargestMagnitudeWhereMostNegativeNeverWins) {
  CDynamicRangeControl drc(1, 4);
  const int onlyMin[] = {INT32_MIN, INT32_MIN};
  EXPECT_EQ(drc.GetMaximum(onlyMin, 2), 0);
  EXPECT_EQ(drc.GetMaximum(nullptr, 4), 0);
  std::vector<int> x(1000, -7);  // longer than any vector width
  x[500] = 65536;
  x[997] = -70000;
  x[998] = INT32_MIN;
  EXPECT_EQ(drc.GetMaximum(x.data(), 1000), 70000);
  EXPECT_EQ(drc.GetMaximum(x.data(), 997), 65536);
  x[3] = -INT32_MAX;
  EXPECT_EQ(drc.GetMaximum(x.data(), 1000), INT32_MAX);
}

TEST(LimiterStreaming, AnyCallSizeGivesTheSameOutputAsOneCall) {
  constexpr int kN = 100;
  const Signal in = Programme(2, 60 * kN, 5);
  Signal whole = in, pieces = in;
  CDynamicRangeControl one(2, kN), many(2, kN);
  ASSERT_EQ(one.Init(48000), 1);
  ASSERT_EQ(many.Init(48000), 1);
  Feed(one, whole, 0, static_cast<int>(whole[0].size()));
  // Smaller than the room left, exactly the room, exactly a block, spanning
  // several blocks, and empty calls in between.
  const int sizes[] = {1, 37, 62, kN, 0, 3 * kN + 7, kN - 1, 1, 2 * kN, 13, 250, 99};
  for (size_t k = 0, pos = 0; pos < in[0].size(); ++k) {
    const int size = std::min<int>(sizes[k % 12], static_cast<int>(in[0].size() - pos));
    Feed(many, pieces, pos, size);
    pos += static_cast<size_t>(size);
  }
  EXPECT_EQ(pieces, whole);
  EXPECT_EQ(many.GetCurrentGain(0), one.GetCurrentGain(0));
}

TEST(LimiterReset, KeepsGainsAndFillPositionAndForgetsPeaks) {
  constexpr int kN = 64;
  CDynamicRangeControl drc(2, kN);
  ASSERT_EQ(drc.Init(48000), 1);
  RunConstant(drc, 65536, kN);
  RunConstant(drc, 30000, kN);
  Signal part(2, std::vector<int>(37, 30000));
  Feed(drc, part, 0, 37);
  const int32_t gain = drc.GetCurrentGain(0), target = drc.GetTargetGain(0);
  ASSERT_LT(gain, kUnity);
  drc.Reset();
  EXPECT_EQ(drc.GetCurrentGain(0), gain);
  EXPECT_EQ(drc.GetTargetGain(0), target);
  EXPECT_EQ(drc.GetFillPosition(), 37);
  EXPECT_EQ(drc.GetHistoryIndex(), 0);
  for (int slot = 0; slot < 200; ++slot) ASSERT_EQ(drc.GetPeakHistory(0, slot), 0);
  // The pending output block was cleared; the loud peak no longer holds, so
  // a quiet block now aims at unity straight away.
  Signal rest(2, std::vector<int>(kN - 37, 1000));
  Feed(drc, rest, 0, kN - 37);
  EXPECT_EQ(rest, Signal(2, std::vector<int>(kN - 37, 0)));
  EXPECT_EQ(drc.GetTargetGain(0), kUnity);
}
