// The leveller's per-frame decision steps one at a time, on states set up by
// hand: fall and event counters, the span limit after events, the shortfall
// and its start marker, the two target candidates, both gain paths, the
// trends and the ring bookkeeping of MoveBuff. Expected values are worked out
// from the rules in the comments.
#include <gtest/gtest.h>

#include <vector>

#include "loudness/CAdaptiveVolume_S24.h"

// Reaches the leveller's state and single steps (a friend of the class).
class AdaptiveVolumeProbe {
 public:
  explicit AdaptiveVolumeProbe(CAdaptiveVolume_S24& av) : a(av) {}
#define HVFX_PROBE_FIELD(name, member) \
  auto& name() { return a.member; }
  HVFX_PROBE_FIELD(gainDb, gainDb_)
  HVFX_PROBE_FIELD(target, target_)
  HVFX_PROBE_FIELD(slopeHold, slopeHold_)
  HVFX_PROBE_FIELD(signResetDone, signResetDone_)
  HVFX_PROBE_FIELD(eventCount, eventCount_)
  HVFX_PROBE_FIELD(eventBase, eventBaseLevel_)
  HVFX_PROBE_FIELD(peakExcess, peakExcess_)
  HVFX_PROBE_FIELD(fallCount, fallCount_)
  HVFX_PROBE_FIELD(quietCount, quietCount_)
  HVFX_PROBE_FIELD(shortSlope, shortSlope_)
  HVFX_PROBE_FIELD(lowRatioCount, lowRatioCount_)
  HVFX_PROBE_FIELD(lowEnergyRatio, lowEnergyRatio_)
  HVFX_PROBE_FIELD(newestPos, newestPos_)
  HVFX_PROBE_FIELD(statEndPos, statEndPos_)
  HVFX_PROBE_FIELD(spanStartPos, spanStartPos_)
  HVFX_PROBE_FIELD(eventStartPos, eventStartPos_)
  HVFX_PROBE_FIELD(shortfallSum, shortfallSum_)
  HVFX_PROBE_FIELD(shortfallCount, shortfallCount_)
  HVFX_PROBE_FIELD(lowestPos, lowestPos_)
  HVFX_PROBE_FIELD(writeIndex, levelWriteIndex_)
  HVFX_PROBE_FIELD(statEndIndex, statEndIndex_)
  HVFX_PROBE_FIELD(oldestIndex, oldestIndex_)
  HVFX_PROBE_FIELD(statIndex, statIndex_)
  HVFX_PROBE_FIELD(stationCounter, stationCounter_)
  HVFX_PROBE_FIELD(smoothLeft, smoothLeft_)
  HVFX_PROBE_FIELD(smoothSum, smoothSum_)
#undef HVFX_PROBE_FIELD
  int* hold() { return a.hold_; }
  int* level400() { return a.level400_; }
  int* gated16() { return a.gated16_; }
  int* slope16() { return a.slope16_; }
  int* trend() { return a.trend_; }
  int* weighted() { return a.weighted_; }
  int band(int b, int i) { return a.bandRing_[b][i]; }
  void UpdateFallCount() { a.UpdateFallCount(); }
  void UpdateEvents() { a.UpdateEvents(); }
  void LimitSpan() { a.LimitSpanAfterEvents(); }
  void TrackShortfall() { a.TrackShortfall(); }
  void FormTarget() { a.FormTarget(); }
  void MoveGainMain() { a.MoveGainMain(); }
  void MoveGainSlow() { a.MoveGainSlow(); }
  void UpdateLowRatioCount() { a.UpdateLowRatioCount(); }
  void UpdateTrends() { a.UpdateTrends(); }
  void MeasureBandEnergies() { a.MeasureBandEnergies(); }
  CAdaptiveVolume_S24& a;
};

namespace {

constexpr int kDb = 65536;

// A fresh 48 kHz leveller: L5 = 941, framesPer5s 938, framesPer20ms 4. Its
// level-ring write index is 0 and the statistics end 937, so the newest
// framesPer20ms + 1 entries are 937, 938, 939, 940, 0; the 16-entry rings
// are at 12, their newest nine entries 4 ... 12.
class LevellerSteps : public ::testing::Test {
 protected:
  CAdaptiveVolume_S24 av{48000, 32768, 1, 75, 6000, 0};
  AdaptiveVolumeProbe p{av};
};

TEST_F(LevellerSteps, FallCountFollowsTheShortSlopeAndItsClearingRules) {
  struct Case {
    int slope, before, expected;
  };
  // Below -4095 counts up; -4095 ... -1 scales by -slope / 4096; 0 clears.
  for (Case c : {Case{-5000, 7, 8}, Case{-4096, 7, 8}, Case{-4095, 8, 7}, Case{-2048, 10, 5}, Case{-1, 5, 0},
                 Case{0, 9, 0}}) {
    p.shortSlope() = c.slope;
    p.fallCount() = c.before;
    p.UpdateFallCount();
    EXPECT_EQ(p.fallCount(), c.expected) << c.slope;
  }
  // A newest 400 ms slope above 6 dB, or a quiet frame, clears it.
  p.shortSlope() = -5000;
  p.fallCount() = 3;
  p.slope16()[12] = 6 * kDb;
  p.UpdateFallCount();
  EXPECT_EQ(p.fallCount(), 4);
  p.slope16()[12] = 6 * kDb + 1;
  p.UpdateFallCount();
  EXPECT_EQ(p.fallCount(), 0);
  p.slope16()[12] = 0;
  p.quietCount() = 1;
  p.fallCount() = 3;
  p.UpdateFallCount();
  EXPECT_EQ(p.fallCount(), 0);
  p.quietCount() = 0;

  // The newest 400 ms level more than 3 dB above the minimum from fallCount
  // entries before the statistics end: the count just updated (2 -> 3)
  // reaches back to entry 934.
  p.level400()[0] = 50 * kDb;
  for (int i = 933; i < 941; ++i) p.level400()[i] = 50 * kDb;
  p.level400()[934] = 50 * kDb - 3 * kDb - 1;
  p.fallCount() = 2;
  p.UpdateFallCount();
  EXPECT_EQ(p.fallCount(), 0);
  p.level400()[934] = 50 * kDb;
  p.level400()[933] = 40 * kDb;  // one entry further back: not in range
  p.fallCount() = 2;
  p.UpdateFallCount();
  EXPECT_EQ(p.fallCount(), 3);
}

TEST_F(LevellerSteps, EventsStartOnAPeakAboveTheGatedLevelAndEndBelowIt) {
  const int gated = 65 * kDb;
  for (int i = 4; i < 12; ++i) p.gated16()[i] = 60 * kDb;
  p.gated16()[12] = gated;
  p.level400()[0] = 70 * kDb;  // the 400 ms level stays above the gated one
  p.signResetDone() = true;
  // H = 15 dB exactly with no steep slope: no event.
  p.hold()[939] = gated + 15 * kDb;
  p.UpdateEvents();
  EXPECT_EQ(p.eventCount(), 0);
  EXPECT_EQ(p.peakExcess(), 15 * kDb);
  // H just above 15 dB: the first event frame takes the mean of the newest
  // nine gated levels, (8 * 60 dB + 65 dB) / 9, and re-arms the sign reset.
  p.hold()[939] = gated + 15 * kDb + 1;
  p.UpdateEvents();
  EXPECT_EQ(p.eventCount(), 1);
  EXPECT_EQ(p.eventBase(), (8 * 60 * kDb + gated) / 9);
  EXPECT_FALSE(p.signResetDone());
  // H above 12 dB counts only with a slope above 3 dB among the newest nine.
  p.hold()[939] = gated + 12 * kDb + 1;
  p.slope16()[3] = 3 * kDb + 1;  // the tenth newest: not seen
  p.UpdateEvents();
  EXPECT_EQ(p.eventCount(), 1);
  p.slope16()[4] = 3 * kDb + 1;
  p.UpdateEvents();
  EXPECT_EQ(p.eventCount(), 2);
  EXPECT_EQ(p.eventBase(), (8 * 60 * kDb + gated) / 9);  // kept after the first frame
  // The hold of an older entry (936) is outside the look-ahead frames.
  p.hold()[939] = 0;
  p.hold()[936] = 99 * kDb;
  p.UpdateEvents();
  EXPECT_EQ(p.peakExcess(), -gated);

  // Cleared when every newest 400 ms level lies below the gated level; the
  // increment comes first, so an event that starts and ends in one frame
  // leaves nothing behind.
  p.level400()[0] = gated - 1;
  p.signResetDone() = true;
  p.hold()[939] = gated + 20 * kDb;
  p.eventCount() = 0;
  p.UpdateEvents();
  EXPECT_EQ(p.eventCount(), 0);
  EXPECT_EQ(p.eventBase(), 0);
  EXPECT_FALSE(p.signResetDone());
}

TEST_F(LevellerSteps, SpanIsLimitedAfterEventsByTheirSizeAndCount) {
  struct Case {
    int h, events, expectedStart;
  };
  // newestPos 1000, statistics end 996, span 59 ... 996 (938 entries).
  const Case cases[] = {
      {25 * kDb, 3, 997},   // 20 dB or more: L = 1, raised to the count (3); past the end, left there
      {5 * kDb, 4, 250},    // up to 9 dB: L = 16 * 938 / 20 = 750
      {9 * kDb, 0, 59},     // L = 938: the span is not longer
      {14 * kDb, 2, 540},   // (18 * (393216 / 11) / 20) * 938 asr 16 = 32171 * 938 asr 16 = 460
      {5 * kDb, 25, 975},   // 20 events or more: L = 1, raised to 25
      {1310000, 19, 981},   // (1 * 65 / 20) * 938 asr 16 = 0 -> 1, raised to 19
  };
  for (const Case& c : cases) {
    p.newestPos() = 1000;
    p.statEndPos() = 996;
    p.spanStartPos() = 59;
    p.peakExcess() = c.h;
    p.eventCount() = c.events;
    p.LimitSpan();
    EXPECT_EQ(p.spanStartPos(), c.expectedStart) << c.h << " " << c.events;
  }
}

TEST_F(LevellerSteps, ShortfallShortensTheSpanThroughTheThirdMarker) {
  // The 400 ms level at the statistics end lies 35 dB below the gated level.
  p.newestPos() = 1000;
  p.statEndPos() = 996;
  p.spanStartPos() = 59;
  p.level400()[937] = 40 * kDb;
  p.gated16()[12] = 75 * kDb;
  p.TrackShortfall();
  // Mean -35 dB (below -30): F = 2293760 / 1500 = 1529; allowed =
  // (65536 - 1529) * 938 asr 16 = 916, longer than the 4 frames back to the
  // lowest level. The 938-entry span is longer: the marker moves to
  // 1000 - 916 and the span start follows (fallCount 0).
  EXPECT_EQ(p.shortfallSum(), -35LL * kDb);
  EXPECT_EQ(p.shortfallCount(), 1);
  EXPECT_EQ(p.lowestPos(), 996);
  EXPECT_EQ(p.eventStartPos(), 84);
  EXPECT_EQ(p.spanStartPos(), 84);

  // While the 3 s loudness falls (fallCount > 0) only the marker moves.
  p.fallCount() = 1;
  p.spanStartPos() = 59;
  p.newestPos() = 1001;
  p.statEndPos() = 997;
  p.level400()[937] = 39 * kDb;  // strictly lower: the lowest position moves
  p.TrackShortfall();
  // Sum -71 dB over 2: F = 4653056 / 1500 = 3102; (62434 * 938) asr 16 = 893.
  EXPECT_EQ(p.lowestPos(), 997);
  EXPECT_EQ(p.eventStartPos(), 1001 - 893);
  EXPECT_EQ(p.spanStartPos(), 59);
  // An equal level keeps the first position; a deficit beyond -70 dB counts
  // as -70 dB. Mean -47 dB (below -40): F = 9240576 / 1000 = 9240,
  // allowed (56296 * 938) asr 16 = 805.
  p.gated16()[12] = 39 * kDb + 80 * kDb;
  p.statEndPos() = 998;
  p.TrackShortfall();
  EXPECT_EQ(p.lowestPos(), 997);
  EXPECT_EQ(p.shortfallSum(), -141LL * kDb);
  EXPECT_EQ(p.eventStartPos(), 1001 - 805);

  // A deficit of less than 1 dB clears the run; exactly 1 dB does not.
  p.gated16()[12] = 39 * kDb + kDb;
  p.TrackShortfall();
  EXPECT_EQ(p.shortfallCount(), 4);
  p.gated16()[12] = 39 * kDb + kDb - 1;
  p.TrackShortfall();
  EXPECT_EQ(p.shortfallSum(), 0);
  EXPECT_EQ(p.shortfallCount(), 0);
  EXPECT_EQ(p.lowestPos(), 0);
  // The marker never moves back (the fourth frame allowed 849 entries, the
  // fifth, with no shortfall, the whole five seconds).
  EXPECT_EQ(p.eventStartPos(), 1001 - 805);
}

TEST_F(LevellerSteps, TargetIsTheSmallerCandidateDuringEventsElseTheGatedOne) {
  // The fast candidate reads the hold of the frames after the statistics end
  // (938, 939, 940, 0), not the statistics end itself (937).
  p.hold()[937] = 99 * kDb;
  p.hold()[939] = 80 * kDb;
  p.gated16()[12] = 60 * kDb;
  const int fast = av.Get_TargetGaindB(80 * kDb), slow = av.Get_TargetGaindB(60 * kDb);
  struct Case {
    int base, bonus;
  };
  // Bonus: 9 dB below a rise of 12 dB, then 21 dB minus the rise, not below 0.
  for (Case c : {Case{75 * kDb, 9 * kDb}, Case{68 * kDb + 1, 9 * kDb}, Case{68 * kDb, 9 * kDb},
                 Case{65 * kDb, 6 * kDb}, Case{50 * kDb, 0}}) {
    p.eventBase() = c.base;
    p.eventCount() = 1;
    p.FormTarget();
    EXPECT_EQ(p.target(), std::min(fast + c.bonus, slow)) << c.base;
    p.eventCount() = 0;
    p.FormTarget();
    EXPECT_EQ(p.target(), slow);
  }
  // Rise of exactly 12 dB already takes the second branch: 21 - 12 = 9 dB.
  p.eventBase() = 68 * kDb;
  p.eventCount() = 1;
  p.gated16()[12] = 0;  // the slow candidate is then large
  p.FormTarget();
  EXPECT_EQ(p.target(), fast + 9 * kDb);
  p.eventBase() = 60 * kDb;  // rise 20 dB: bonus 1 dB
  p.FormTarget();
  EXPECT_EQ(p.target(), fast + kDb);
}

TEST_F(LevellerSteps, MainPathResetsOncePerEventAndLimitsItsSteps) {
  struct Case {
    int gain, target, slopeHold;
    bool resetDone;
    int expectedGain;
    bool expectedResetDone;
  };
  const Case cases[] = {
      {2 * kDb, -5 * kDb, 0, false, -kDb, true},             // reset to 0, then -1 dB
      {2 * kDb, -5 * kDb, 0, true, kDb, true},               // no second reset
      {-3 * kDb, 4 * kDb, 0, false, 16384, true},            // reset, then +0.25 dB
      {kDb / 2, -kDb / 5, 0, false, -kDb / 5, true},         // 0.5 dB counts as >= 1
      {0, -5 * kDb, 0, false, -kDb, false},                  // 0 is on neither side
      {0, -10 * kDb, 8 * kDb, true, -234057 - kDb, true},    // -(5 dB * 5) / 7 - 1 dB
      {0, -10 * kDb, 12 * kDb, true, -5 * kDb - kDb, true},  // slope hold taken as 10 dB
      {0, -10 * kDb, 196607, true, -kDb, true},              // not above 3 dB
      {-2 * kDb, -kDb, 0, true, -2 * kDb + 16384, true},     // rise limited
      {-2 * kDb, -2 * kDb + 100, 0, true, -2 * kDb + 100, true},  // lands on the target
  };
  for (const Case& c : cases) {
    p.gainDb() = c.gain;
    p.target() = c.target;
    p.slopeHold() = c.slopeHold;
    p.signResetDone() = c.resetDone;
    p.MoveGainMain();
    EXPECT_EQ(p.gainDb(), c.expectedGain) << c.gain << " " << c.target;
    EXPECT_EQ(p.signResetDone(), c.expectedResetDone) << c.gain << " " << c.target;
  }
}

TEST_F(LevellerSteps, SlowPathStepsDriftsOrHolds) {
  struct Case {
    int gain, target, lowRatioCount, expectedGain;
  };
  // Default rates at 48 kHz: up 2097, down -2097, half 1049 / -1049;
  // station remainder 552 frames at 6000 ms.
  const Case cases[] = {
      {0, -2 * kDb, 0, -2097},        // above a negative target: down
      {-3 * kDb, -2 * kDb, 50, -3 * kDb + 2097},  // target <= 0: steady material changes nothing
      {kDb, 5 * kDb, 0, kDb + 2097},  // intermittent material: toward the target
      {kDb, 5 * kDb, 551, kDb},       // steady, not yet for the station time: hold
      {3 * kDb, 5 * kDb, 552, 3 * kDb - 1049},  // steady long enough: drift toward 0
      {0, 5 * kDb, 552, 1049},        // from 0 the drift steps up
      {1, 5 * kDb, 600, 1 - 1049},
  };
  for (const Case& c : cases) {
    p.gainDb() = c.gain;
    p.target() = c.target;
    p.lowRatioCount() = c.lowRatioCount;
    p.MoveGainSlow();
    EXPECT_EQ(p.gainDb(), c.expectedGain) << c.gain << " " << c.target << " " << c.lowRatioCount;
  }
  // Steady means a weighted low-energy ratio below 39321.
  p.lowRatioCount() = 4;
  p.lowEnergyRatio() = 39320;
  p.UpdateLowRatioCount();
  EXPECT_EQ(p.lowRatioCount(), 5);
  p.lowEnergyRatio() = 39321;
  p.UpdateLowRatioCount();
  EXPECT_EQ(p.lowRatioCount(), 0);
}

TEST_F(LevellerSteps, TrendsReadTheWindowAroundTheStatisticsEnd) {
  // 400 ms levels zero but the newest (index 0 = statistics end + 4):
  // 2 * (4 * 60000) / 60 = 8000. The 3 s register (9 entries) likewise:
  // 2 * (4 * 9000) / 60 = 1200.
  p.level400()[0] = 60000;
  p.trend()[8] = 9000;
  p.UpdateTrends();
  EXPECT_EQ(p.slope16()[12], 8000);
  EXPECT_EQ(av.GetShortSlope(), 1200);
  EXPECT_EQ(p.slopeHold(), 8000);
  p.level400()[0] = 0;
  p.UpdateTrends();
  EXPECT_EQ(p.slopeHold(), 8000 - 4194);  // decays by 12 dB/s
}

TEST_F(LevellerSteps, BandEnergiesEnterTheRingOnlyOnStationFrames) {
  for (int i = 0; i < 256; ++i) p.weighted()[i] = (i % 7 - 3) * 40000;
  p.stationCounter() = 1;
  p.MeasureBandEnergies();
  for (int b = 0; b < 6; ++b) EXPECT_EQ(p.band(b, 0), 0) << b;
  p.stationCounter() = 0;
  p.MeasureBandEnergies();
  EXPECT_GT(p.band(5, 0), 0);
}

TEST_F(LevellerSteps, MixSmoothingWeighsTheNewMeanByOneFifth) {
  std::vector<int> x(256), l(256, 100), r(256, 100);
  av.AdaptiveMixLtRt(x.data(), l.data(), r.data(), 256);  // first frame: stored as they are
  EXPECT_EQ(p.smoothLeft(), 100);
  EXPECT_EQ(p.smoothSum(), 200);
  std::fill(l.begin(), l.end(), 3000);
  av.AdaptiveMixLtRt(x.data(), l.data(), r.data(), 256);
  EXPECT_EQ(p.smoothLeft(), 680);  // 0.8 * 100 + 0.2 * 3000, floored
  EXPECT_EQ(p.smoothSum(), 780);   // 0.8 * 200 + 0.2 * 3100
}

TEST_F(LevellerSteps, MoveBuffAdvancesPositionsRebasesAndShiftsTheTrend) {
  // Warm-up: the statistics-end position stays at 0 while the newest is
  // within framesPer20ms of it; the indices run framesPer20ms apart.
  for (int k = 0; k < 5; ++k) av.MoveBuff();
  EXPECT_EQ(p.newestPos(), 5);
  EXPECT_EQ(p.statEndPos(), 1);
  EXPECT_EQ(p.writeIndex(), 5);
  EXPECT_EQ(p.statEndIndex(), 1);  // 937 + 5 - 941
  EXPECT_EQ(p.statIndex(), 1);     // 12 + 5 - 16
  // The span holds at most framesPer5s entries.
  p.newestPos() = 1500;
  p.statEndPos() = 1496;
  p.spanStartPos() = 100;
  av.MoveBuff();
  EXPECT_EQ(p.statEndPos(), 1497);
  EXPECT_EQ(p.spanStartPos(), 1497 - 938 + 1);
  // A span start past the ring rebases every position by 941; the marker
  // stops at 0.
  p.spanStartPos() = 1000;
  p.eventStartPos() = 900;
  av.MoveBuff();
  EXPECT_EQ(p.newestPos(), 1502 - 941);
  EXPECT_EQ(p.statEndPos(), 1498 - 941);
  EXPECT_EQ(p.spanStartPos(), 1000 - 941);
  EXPECT_EQ(p.eventStartPos(), 0);
  // The oldest index is pushed ahead of the write index, wrapping.
  p.writeIndex() = 939;
  p.oldestIndex() = 940;
  av.MoveBuff();
  EXPECT_EQ(p.oldestIndex(), 0);
  // The trend register drops its oldest value.
  for (int i = 0; i < 9; ++i) p.trend()[i] = i + 1;
  av.MoveBuff();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(p.trend()[i], i + 2);
}

}  // namespace
