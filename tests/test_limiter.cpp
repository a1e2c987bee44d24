// Peak limiter: block delay, gain trajectories, the 20-block peak hold,
// streaming, switching off and Reset.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <random>
#include <vector>

#include "loudness/CDynamicRangeControl.h"

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

// Straight transcription of the limiter's rules, sample by sample: every
// sample enters and leaves one at a time, the held peak scans all 200 ring
// entries with a non-negative remainder, and the gain moves per sample as
// written (step fixed per block, then set to the target once reached).
class ReferenceLimiter {
 public:
  // The first call completes an empty block at once; with the switch on that
  // is the same as completing it here.
  ReferenceLimiter(int channels, int n)
      : channels_(channels), n_(n), gain_(channels, kUnity), target_(channels, kUnity),
        history_(channels, std::vector<int64_t>(200, 0)) {
    for (auto& bank : banks_) bank.assign(channels, std::vector<int64_t>(n));
    Complete();
  }
  void Enable(bool on) { enabled_ = on; }

  void Process(Signal& s) {
    for (size_t t = 0; t < s[0].size(); ++t) {
      for (int c = 0; c < channels_; ++c) {
        banks_[bank_][c][fill_] = s[c][t];
        s[c][t] = static_cast<int>(banks_[1 - bank_][c][fill_]);
      }
      if (++fill_ == n_) Complete();  // processed as soon as it is complete
    }
  }
  int64_t Gain(int c) const { return gain_[c]; }

 private:
  void Complete() {
    auto& x = banks_[bank_];
    if (!enabled_) {
      for (auto& t : target_) t = kUnity;
    } else {
      for (int c = 0; c < channels_; ++c) {
        int64_t m = 0;
        for (int64_t v : x[c]) m = std::max(m, v < 0 ? -v : v);
        int64_t peak = m;
        for (int j = 0; j < 200; ++j) {
          const int r = ((historyIndex_ - j) % 200 + 200) % 200;
          if (r <= 19) peak = std::max(peak, history_[c][j]);
        }
        history_[c][historyIndex_] = m;
        target_[c] = 32768 < peak ? (int64_t{32768} << 24) / peak : kUnity;
      }
      historyIndex_ = (historyIndex_ + 1) % 200;
    }
    for (int c = 0; c < channels_; ++c) {
      int64_t g = gain_[c];
      const int64_t t = target_[c];
      if (g == kUnity && t == kUnity) continue;
      const bool rising = g < t;  // the direction is fixed for the block
      const int64_t step = rising ? std::max<int64_t>(1, (t - g + 5120) / 10240)
                                  : std::max<int64_t>(1, (g - t + 512) / 1024);
      for (int64_t& v : x[c]) {
        v = (v * g) >> 24;
        if (rising)
          g = t > g ? g + step : t;
        else
          g = t < g ? g - step : t;
      }
      gain_[c] = g;
    }
    bank_ = 1 - bank_;
    fill_ = 0;
  }

  int channels_, n_, fill_ = 0, bank_ = 0, historyIndex_ = 0;
  bool enabled_ = true;
  std::vector<std::vector<int64_t>> banks_[2];
  std::vector<int64_t> gain_, target_;
  std::vector<std::vector<int64_t>> history_;
};

// Programme material: per stretch a random level between quiet and four times
// the ceiling, so that gains fall, hold and recover.
Signal Programme(int channels, size_t len, unsigned seed) {
  std::mt19937 rng(seed);
  Signal s(static_cast<size_t>(channels), std::vector<int>(len));
  for (int c = 0; c < channels; ++c) {
    int level = 1000;
    for (size_t t = 0; t < len; ++t) {
      if (rng() % 700 == 0) level = static_cast<int>(rng() % 131072) + 100;
      s[c][t] = static_cast<int>(rng() % (2u * level + 1)) - level;
    }
  }
  return s;
}

}  // namespace

TEST(LimiterLifecycle, UninitialisedOrRefusedLeavesSamplesAloneWithoutDelay) {
  for (int n : {64, 0, -5, CDynamicRangeControl::kMaxBlockLength + 1, INT_MAX}) {
    CDynamicRangeControl drc(2, n);
    if (n != 64) EXPECT_EQ(drc.Init(48000), 0) << n;  // 64: Init never called
    Signal s = {{1, 2, 70000}, {-4, 5, -6}};
    const Signal before = s;
    Feed(drc, s, 0, 3);
    EXPECT_EQ(s, before) << n;
    EXPECT_EQ(drc.IsInitialized(), 0) << n;
  }
  CDynamicRangeControl longest(1, CDynamicRangeControl::kMaxBlockLength);
  EXPECT_EQ(longest.Init(48000), 1);
}

TEST(LimiterLifecycle, ClampsChannelCountToEightAndLimitsTheLast) {
  CDynamicRangeControl drc(12, 16);
  EXPECT_EQ(drc.GetChannels(), 8);
  ASSERT_EQ(drc.Init(44100), 1);
  EXPECT_EQ(drc.Init(44100), 1);  // second Init: nothing reallocated, still fine
  Signal s(8, std::vector<int>(16, 100));
  s[7].assign(16, 65536);
  Feed(drc, s, 0, 16);
  EXPECT_EQ(drc.GetTargetGain(7), kHalf);
  EXPECT_EQ(drc.GetTargetGain(0), kUnity);
  EXPECT_EQ(drc.GetTargetGain(8), 0);  // beyond the channels: 0, no access
}

TEST(LimiterLifecycle, IgnoresMalformedCalls) {
  CDynamicRangeControl drc(2, 8);
  ASSERT_EQ(drc.Init(48000), 1);
  Signal s = {{1, 2, 3}, {4, 5, 6}};
  Feed(drc, s, 0, 2);  // fill position now 2
  const Signal before = s;
  int* rowsWithNull[2] = {s[0].data(), nullptr};
  drc.Process(rowsWithNull, 3);
  drc.Process(nullptr, 3);
  Feed(drc, s, 0, 0);
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
  EXPECT_EQ(drc.GetMaximum(onlyMin, 0), 0);
  EXPECT_EQ(drc.GetMaximum(nullptr, 4), 0);
  std::vector<int> x(1000, -7);  // longer than any vector width
  x[500] = 65536;
  x[997] = -70000;
  x[998] = INT32_MIN;
  EXPECT_EQ(drc.GetMaximum(x.data(), 1000), 70000);
  EXPECT_EQ(drc.GetMaximum(x.data(), 997), 65536);
  EXPECT_EQ(drc.GetMaximum(x.data(), 1), 7);
  x[3] = -INT32_MAX;
  EXPECT_EQ(drc.GetMaximum(x.data(), 1000), INT32_MAX);
}

TEST(LimiterGain, PeaksAtOrBelowTheCeilingPassBitExactOneBlockLate) {
  constexpr int kN = 64;
  const int levels[] = {32768, 32767, 1};
  Signal s = Programme(3, 40 * kN, 11);
  for (int c = 0; c < 3; ++c)
    for (int& v : s[c]) v = std::clamp(v, -levels[c], levels[c]);
  s[0][100] = -32768;  // exactly the ceiling: no limiting
  s[0][900] = 32768;
  const Signal in = s;
  CDynamicRangeControl drc(3, kN);
  ASSERT_EQ(drc.Init(48000), 1);
  Feed(drc, s, 0, static_cast<int>(s[0].size()));
  for (int c = 0; c < 3; ++c) {
    for (size_t t = 0; t < s[c].size(); ++t) ASSERT_EQ(s[c][t], t < kN ? 0 : in[c][t - kN]) << c << " " << t;
    EXPECT_EQ(drc.GetCurrentGain(c), kUnity);
  }
}

TEST(LimiterGain, LongBlockFallsToHalfIn1024Samples) {
  // Peak 65536 = twice the ceiling: target 2^39 / 65536 = 8388608 (0.5); the
  // step (2^24 - 2^23 + 512) / 1024 = 8192 per sample reaches it after 1024
  // samples when the block is at least that long.
  constexpr int kN = 2048;
  CDynamicRangeControl drc(2, kN);
  ASSERT_EQ(drc.Init(48000), 1);
  Signal loud(2, std::vector<int>(kN));
  for (int i = 0; i < kN; ++i) {
    loud[0][i] = i % 2 ? -65536 : 65536;
    loud[1][i] = (i % 7) * 1000 - 3000;
  }
  const Signal quietIn = loud;
  Feed(drc, loud, 0, kN);
  EXPECT_EQ(drc.GetTargetGain(0), kHalf);
  EXPECT_EQ(drc.GetCurrentGain(0), kHalf);
  EXPECT_EQ(drc.GetLastPeak(0), 65536);
  Signal out = RunConstant(drc, 0, kN);  // the processed loud block comes out now
  for (int i = 0; i < kN; ++i) {
    // Sample i is scaled by 2^24 - 8192 i before the gain moves, so
    // 65536 * gain / 2^24 = 65536 - 32 i until the gain rests at 0.5.
    const int magnitude = i <= 1024 ? 65536 - 32 * i : 32768;
    ASSERT_EQ(out[0][i], i % 2 ? -magnitude : magnitude) << i;
    ASSERT_EQ(out[1][i], quietIn[1][i]) << i;  // the other channel is untouched
  }
  EXPECT_EQ(drc.GetCurrentGain(1), kUnity);
}

TEST(LimiterGain, ShortBlocksRecomputeTheAttackStepPerBlock) {
  // The documented fall to 0.5 after 1024 samples holds only for blocks of
  // 1024 samples or more. With 512-sample blocks the first block falls 512 * 8192 to 0.75,
  // then the step is recomputed from the remaining distance:
  // (12582912 - 8388608 + 512) / 1024 = 4096, giving 0.625 after 1024.
  constexpr int kN = 512;
  CDynamicRangeControl drc(1, kN);
  ASSERT_EQ(drc.Init(48000), 1);
  RunConstant(drc, 65536, kN);
  EXPECT_EQ(drc.GetCurrentGain(0), 12582912);
  Signal out = RunConstant(drc, 65536, kN);
  EXPECT_EQ(drc.GetCurrentGain(0), 10485760);
  EXPECT_EQ(out[0][0], 65536);
  EXPECT_EQ(out[0][511], (65536LL * (kUnity - 511 * 8192)) >> 24);
  out = RunConstant(drc, 65536, kN);
  EXPECT_EQ(out[0][0], 49152);  // 0.75 at the start of the second block
  EXPECT_EQ(out[0][1], (65536LL * (12582912 - 4096)) >> 24);
}

TEST(LimiterGain, StepPassingTheTargetOnTheLastSampleIsCarriedOver) {
  // Peak 32778: T = 2^39 / 32778 = 16772097, distance 5119, step
  // (5119 + 512) / 1024 = 5. The 1024th step lands at 16772096, one below T,
  // and the block ends there; the next block rises by max(1, 5121 / 10240) = 1.
  constexpr int kN = 1024;
  CDynamicRangeControl drc(1, kN);
  ASSERT_EQ(drc.Init(48000), 1);
  RunConstant(drc, 32778, kN);
  EXPECT_EQ(drc.GetTargetGain(0), 16772097);
  EXPECT_EQ(drc.GetCurrentGain(0), 16772096);
  Signal out = RunConstant(drc, 32778, kN);
  EXPECT_EQ(out[0][1023], (32778LL * (kUnity - 1023 * 5)) >> 24);
  EXPECT_EQ(drc.GetCurrentGain(0), 16772097);
  out = RunConstant(drc, 0, kN);
  EXPECT_EQ(out[0][0], (32778LL * 16772096) >> 24);
  EXPECT_EQ(out[0][1], (32778LL * 16772097) >> 24);
}

TEST(LimiterHold, PeakHoldsTwentySlotsAcrossTheRingWrap) {
  // A loud block in slot 190 keeps the target at 0.5 while the scanned span
  // historyIndex-19 ... historyIndex contains slot 190: through slots
  // 191 ... 199 and, wrapping with a non-negative remainder, 0 ... 9. At slot
  // 10 it has left the span. 200 blocks later, slot 190 is scanned before it
  // is overwritten, so the old peak acts once more.
  constexpr int kN = 16;
  CDynamicRangeControl drc(1, kN);
  ASSERT_EQ(drc.Init(48000), 1);
  RunConstant(drc, 1000, kN);  // also completes the initial empty block (slot 0)
  while (drc.GetHistoryIndex() != 190) RunConstant(drc, 1000, kN);
  RunConstant(drc, 65536, kN);
  EXPECT_EQ(drc.GetPeakHistory(0, 190), 65536);
  for (int block = 1; block <= 19; ++block) {
    const int slot = drc.GetHistoryIndex();
    EXPECT_EQ(slot, (190 + block) % 200);
    RunConstant(drc, 1000, kN);
    EXPECT_EQ(drc.GetLastPeak(0), 65536) << "slot " << slot;
    EXPECT_EQ(drc.GetTargetGain(0), kHalf) << "slot " << slot;
  }
  EXPECT_EQ(drc.GetHistoryIndex(), 10);
  RunConstant(drc, 1000, kN);
  EXPECT_EQ(drc.GetLastPeak(0), 1000);
  EXPECT_EQ(drc.GetTargetGain(0), kUnity);

  while (drc.GetHistoryIndex() != 190) RunConstant(drc, 1000, kN);
  RunConstant(drc, 1000, kN);
  EXPECT_EQ(drc.GetTargetGain(0), kHalf);  // stale slot, 200 blocks old
  EXPECT_EQ(drc.GetPeakHistory(0, 190), 1000);
  RunConstant(drc, 1000, kN);
  EXPECT_EQ(drc.GetTargetGain(0), kUnity);
}

TEST(LimiterHold, ReleaseAfterHoldRecomputesItsStepPerBlock) {
  // After 19 held blocks at 0.5 the target returns to 1.0; the rise per
  // sample is (T - g + 5120) / 10240 from the distance at the block's start:
  // 819 in the first 1024-sample block (to 9227264), then 737 (to 9981952).
  constexpr int kN = 1024;
  CDynamicRangeControl drc(1, kN);
  ASSERT_EQ(drc.Init(48000), 1);
  RunConstant(drc, 65536, kN);
  ASSERT_EQ(drc.GetCurrentGain(0), kHalf);
  for (int block = 1; block <= 19; ++block) {
    RunConstant(drc, 20000, kN);
    ASSERT_EQ(drc.GetCurrentGain(0), kHalf) << block;
  }
  RunConstant(drc, 20000, kN);
  EXPECT_EQ(drc.GetTargetGain(0), kUnity);
  EXPECT_EQ(drc.GetCurrentGain(0), 9227264);
  Signal out = RunConstant(drc, 20000, kN);  // emits that first release block
  EXPECT_EQ(drc.GetCurrentGain(0), 9981952);
  for (int i = 0; i < kN; ++i) ASSERT_EQ(out[0][i], (20000LL * (kHalf + 819LL * i)) >> 24) << i;
}

TEST(LimiterSwitch, DisabledRampsBackToUnityThenBypassesLoudInput) {
  constexpr int kN = 1024;
  CDynamicRangeControl drc(1, kN);
  ASSERT_EQ(drc.Init(48000), 1);
  RunConstant(drc, 65536, kN);
  ASSERT_EQ(drc.GetCurrentGain(0), kHalf);
  drc.EnableDRC(0);
  const int ringPosition = drc.GetHistoryIndex();
  RunConstant(drc, 65536, kN);  // the held loud peak no longer counts
  EXPECT_EQ(drc.GetTargetGain(0), kUnity);
  EXPECT_EQ(drc.GetCurrentGain(0), 9227264);
  int blocks = 1;
  while (drc.GetCurrentGain(0) != kUnity && blocks < 200) {
    const int32_t before = drc.GetCurrentGain(0);
    RunConstant(drc, 65536, kN);
    ASSERT_GT(drc.GetCurrentGain(0), before);
    ASSERT_LE(drc.GetCurrentGain(0), kUnity);
    ++blocks;
  }
  ASSERT_EQ(drc.GetCurrentGain(0), kUnity) << "still rising after " << blocks << " blocks";
  EXPECT_EQ(drc.GetHistoryIndex(), ringPosition);  // nothing measured while off
  RunConstant(drc, 65536, kN);                     // flush the last ramp block
  Signal s(1, std::vector<int>(kN));
  for (int i = 0; i < kN; ++i) s[0][i] = 70000 - 37 * i;
  const Signal in = s;
  Feed(drc, s, 0, kN);
  Signal out = RunConstant(drc, 0, kN);
  EXPECT_EQ(out, in);  // bit-exact at unity although above the ceiling

  drc.EnableDRC(1);
  RunConstant(drc, 65536, kN);
  EXPECT_EQ(drc.GetTargetGain(0), kHalf);
}

TEST(LimiterStreaming, AnyCallSizeGivesTheSameOutputAsOneCall) {
  constexpr int kN = 100;
  const Signal in = Programme(2, 60 * kN, 5);
  Signal whole = in;
  CDynamicRangeControl one(2, kN);
  ASSERT_EQ(one.Init(48000), 1);
  Feed(one, whole, 0, static_cast<int>(whole[0].size()));

  // Smaller than the room left, exactly the room, exactly a block, spanning
  // several blocks, and empty calls in between.
  const int sizes[] = {1, 37, 62, kN, 0, 3 * kN + 7, kN - 1, 1, 2 * kN, 13, 250, 99};
  Signal pieces = in;
  CDynamicRangeControl many(2, kN);
  ASSERT_EQ(many.Init(48000), 1);
  size_t pos = 0;
  for (int k = 0; pos < in[0].size(); ++k) {
    const int size = std::min<int>(sizes[k % 12], static_cast<int>(in[0].size() - pos));
    Feed(many, pieces, pos, size);
    pos += static_cast<size_t>(size);
  }
  EXPECT_EQ(pieces, whole);
  EXPECT_EQ(many.GetCurrentGain(0), one.GetCurrentGain(0));
  EXPECT_EQ(many.GetFillPosition(), one.GetFillPosition());
}

TEST(LimiterStreaming, MatchesSampleBySampleRulesOnProgrammeMaterial) {
  // 5.1 programme with loud bursts, with the switch off in the middle third:
  // the limiter must agree bit for bit with a literal per-sample model. Short
  // blocks reach the target mid-block with steps of 1; blocks longer than
  // 1024 samples also let a larger step pass the target for one sample.
  struct Case {
    int n, blocksPerThird;
  };
  for (const Case k : {Case{96, 230}, Case{1500, 30}}) {
    const size_t third = static_cast<size_t>(k.blocksPerThird) * static_cast<size_t>(k.n);
    const Signal in = Programme(6, 3 * third, 23);
    Signal got = in, want = in;
    CDynamicRangeControl drc(6, k.n);
    ReferenceLimiter ref(6, k.n);
    ASSERT_EQ(drc.Init(48000), 1);
    for (size_t part = 0; part < 3; ++part) {
      const bool on = part != 1;
      drc.EnableDRC(on ? 1 : 0);
      ref.Enable(on);
      Signal chunk(6);
      for (int c = 0; c < 6; ++c) chunk[c].assign(want[c].begin() + part * third, want[c].begin() + (part + 1) * third);
      ref.Process(chunk);
      for (int c = 0; c < 6; ++c) std::copy(chunk[c].begin(), chunk[c].end(), want[c].begin() + part * third);
      Feed(drc, got, part * third, static_cast<int>(third));
    }
    for (int c = 0; c < 6; ++c) {
      EXPECT_EQ(drc.GetCurrentGain(c), ref.Gain(c)) << c;
      for (size_t t = 0; t < 3 * third; ++t) ASSERT_EQ(got[c][t], want[c][t]) << "N " << k.n << " ch " << c << " t " << t;
    }
  }
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
  ASSERT_EQ(drc.GetFillPosition(), 37);

  drc.Reset();
  EXPECT_EQ(drc.GetCurrentGain(0), gain);
  EXPECT_EQ(drc.GetTargetGain(0), target);
  EXPECT_EQ(drc.GetFillPosition(), 37);
  EXPECT_EQ(drc.GetHistoryIndex(), 0);
  EXPECT_EQ(drc.GetBankIndex(), 0);
  EXPECT_EQ(drc.GetResetCount(), 2);
  EXPECT_EQ(drc.GetLastPeak(0), 0);
  for (int slot = 0; slot < 200; ++slot) ASSERT_EQ(drc.GetPeakHistory(0, slot), 0);

  // The pending output block was cleared; the loud peak no longer holds, so
  // a quiet block now aims at unity straight away.
  Signal rest(2, std::vector<int>(kN - 37, 1000));
  Feed(drc, rest, 0, kN - 37);
  EXPECT_EQ(rest, Signal(2, std::vector<int>(kN - 37, 0)));
  EXPECT_EQ(drc.GetTargetGain(0), kUnity);
  EXPECT_EQ(drc.GetPeakHistory(0, 0), 1000);
}
