// The adaptive volume leveller behind its exported class (hvfx::LevellerCore,
// loudness/LevellerCore.h): the listed setter values, the analysis input,
// the refusals of the slope and the framing at their bounds, and per-frame
// decision steps one at a time on states set up by hand (the event counter,
// the shortfall marker and the drift of steady material, in corners the
// golden vectors' programmes do not reach; the span limit after events and
// the look-ahead delay are carried by their long programmes), and the event
// target's bonus.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <random>
#include <vector>

#include "loudness/LevellerBandBankInternal.h"
#include "loudness/LevellerCore.h"

namespace {

constexpr int kDb = 65536;

using hvfx::LevellerCore;

std::unique_ptr<LevellerCore> Make(int rate = 48000, int mode = 1, int relVol = 75, int stationMs = 6000,
                                   int baseFlag = 0) {
  return std::make_unique<LevellerCore>(rate, 32768, mode, relVol, stationMs, baseFlag);
}

// ---- Setters ---------------------------------------------------------------------------------

TEST(LevellerConfig, SettersTakeTheListedValues) {
  // Relative volume: percent onto -37 dB ... the base, clamped to 0 ... 100.
  auto hi = Make(48000, 1, 100, 6000, 1);
  EXPECT_EQ(hi->baseVolumeDb_, -196608);
  EXPECT_EQ(hi->relativeVolumeDb_, -196608);
  const int relVol[][2] = {{0, -2424832}, {150, -196608}, {-5, -2424832}, {33, 735313 - 2424832}};  // 33: truncated
  for (const auto& c : relVol) {
    hi->SetRelativeVolumn(c[0]);
    EXPECT_EQ(hi->relativeVolumeDb_, c[1]) << c[0];
  }
  auto lo = Make(48000, 1, 75, 6000, 0);  // base -9 dB: 1835008 * 75 / 100 - 37 dB = -16 dB
  EXPECT_EQ(lo->baseVolumeDb_, -589824);
  EXPECT_EQ(lo->relativeVolumeDb_, -16 * kDb);

  // Station time, clamped to 5000 ... 20000 ms, split into band-ring steps
  // (48 kHz: ring 191 entries).
  const int station[][3] = {{1000, 3, 364}, {5000, 3, 364}, {6000, 3, 552}, {20000, 10, 1840}, {30000, 10, 1840}};
  auto av = Make();
  for (const auto& c : station) {
    av->SetStationSigMs(c[0]);
    EXPECT_EQ(av->station_.Length(), c[1]) << c[0];
    EXPECT_EQ(av->stationRemainder_, c[2]) << c[0];
    EXPECT_EQ(av->station_.Index(), 0);
  }
  auto low = Make(8000, 1, 75, 5000);  // F = 625, ring 128: 3 and 241
  EXPECT_EQ(low->station_.Length(), 3);
  EXPECT_EQ(low->stationRemainder_, 241);

  // Slew rates: defaults 6 dB/s, then percent of 3 ... 15 dB/s per frame.
  EXPECT_EQ(av->upRate_, 2097);
  EXPECT_EQ(av->downRate_, -2097);
  EXPECT_EQ(av->halfUpRate_, 1049);
  EXPECT_EQ(av->halfDownRate_, -1049);
  const int rates[][5] = {{0, 0, 1048, -1048, -524}, {25, 50, 2097, -3145, -1573}, {150, -20, 5242, -1048, -524}};
  for (const auto& c : rates) {
    av->SetVolUpDownRate(c[0], c[1]);
    EXPECT_EQ(av->upRate_, c[2]) << c[0];
    EXPECT_EQ(av->downRate_, c[3]) << c[1];
    EXPECT_EQ(av->halfDownRate_, c[4]) << c[1];  // the half rate floors
  }
  av->Reset();  // restores the default rates
  EXPECT_EQ(av->upRate_, 2097);
  EXPECT_EQ(av->downRate_, -2097);
  low->SetVolUpDownRate(0, 0);  // 196608 * 64 / 8000 = 1572.9
  EXPECT_EQ(low->upRate_, 1572);
}

// ---- Analysis input and the look-ahead delay ----------------------------------------------------

// (The curve's segments are carried exactly by the golden vectors' leveller
// programmes; here its shape and its fixed points.)
TEST(LevellerCurve, TargetGainFollowsBothLevelCurves) {
  for (int mode : {0, 1}) {
    auto av = Make(48000, mode, 75, 6000, 0);  // relative volume -16 dB
    const int ref = av->referenceLevelDb_;
    // The level it aims at never falls as the input rises, and the gain
    // stays within -23 ... +30 dB.
    int previous = INT_MIN + 2;
    for (int dq = -95 * kDb; dq <= 5 * kDb; dq += 24247) {
      const int gain = av->Get_TargetGaindB(ref + dq);
      EXPECT_GE(dq + gain, previous - 2) << mode << " " << dq;
      EXPECT_TRUE(gain >= -23 * kDb && gain <= 30 * kDb) << mode << " " << dq;
      previous = dq + gain;
    }
    // Exact points: at and above the reference, far below it.
    const int top = mode == 1 ? 12 : 3;
    EXPECT_EQ(av->Get_TargetGaindB(ref), (-16 + top) * kDb);
    EXPECT_EQ(av->Get_TargetGaindB(ref + 1), (-16 + top) * kDb);
    EXPECT_EQ(av->Get_TargetGaindB(ref + 20 * kDb), (-16 + top) * kDb);
    EXPECT_EQ(av->Get_TargetGaindB(0), 27 * kDb);  // below -70 dB: relVol + 43 dB
  }
  auto loud = Make(48000, 0, 100, 6000, 1);  // -3 dB + 43 dB clamps to 30 dB
  EXPECT_EQ(loud->Get_TargetGaindB(0), 30 * kDb);
  auto quiet = Make(48000, 0, 0, 6000, 1);  // -37 dB + 3 dB clamps to -23 dB
  EXPECT_EQ(quiet->Get_TargetGaindB(quiet->referenceLevelDb_), -23 * kDb);
}

TEST(LevellerProcess, MonoIsAnalysedAtSixteenTimesAndFourChannelsAreNot) {
  auto av = Make();
  std::vector<int> mono(256), out(4 * 256), in4(4 * 256, 0);
  for (int i = 0; i < 256; ++i) mono[i] = (i * 7919) % 65536 - 32768;
  av->Process(out.data(), mono.data(), 1, 256);
  const std::vector<int> analysed(av->analysis_, av->analysis_ + 256);
  for (int i = 0; i < 256; ++i) ASSERT_EQ(analysed[i], mono[i] * 16) << i;
  // Four channels: the previous analysis frame is analysed again.
  av->Process(out.data(), in4.data(), 4, 256);
  EXPECT_EQ(std::vector<int>(av->analysis_, av->analysis_ + 256), analysed);
  EXPECT_EQ(av->frameCount_, 2);
}

// The band bank against one biquad at a time (IIR_Filter_2ord plus the sum
// of squares), with every band count and with values far past the 16-bit
// domain, so the 64-bit sums and the 32-bit state wrap as they would.
TEST(LevellerBandBank, EveryBandEqualsItsOwnBiquadBitForBit) {
  std::mt19937 rng(9);
  std::uniform_int_distribution<int> any(INT_MIN, INT_MAX), coef(-(1 << 23), 1 << 23);
  for (const int bands : {1, 4, 5, 6, 8})
    for (const int range : {1 << 20, INT_MAX}) {
      std::vector<int> x(256), coefs(static_cast<size_t>(bands) * 5), y(256);
      for (int& v : x) v = any(rng) % range;
      for (int& c : coefs) c = range == INT_MAX ? any(rng) : coef(rng);
      int xs[8][2], ys[8][2], xr[8][2], yr[8][2];
      for (int b = 0; b < 8; ++b)
        for (int k = 0; k < 2; ++k) xs[b][k] = xr[b][k] = any(rng) % range, ys[b][k] = yr[b][k] = any(rng) % range;
      uint64_t energy[8] = {};
      hvfx::leveller::BandBankPass pass;
      pass.x = x.data();
      pass.n = 256;
      pass.bands = bands;
      pass.coefs = coefs.data();
      pass.xState = xs;
      pass.yState = ys;
      pass.energy = energy;
      hvfx::leveller::RunBandBank(pass);
      for (int b = 0; b < bands; ++b) {
        LevellerCore::IIR_Filter_2ord(y.data(), x.data(), coefs.data() + b * 5, xr[b], yr[b], 256);
        uint64_t e = 0;
        for (int v : y) e += static_cast<uint64_t>(int64_t{v} * v);
        EXPECT_EQ(energy[b], e) << bands << " bands, band " << b;
        EXPECT_TRUE(std::equal(xs[b], xs[b] + 2, xr[b]) && std::equal(ys[b], ys[b] + 2, yr[b])) << b;
      }
    }
}

TEST(LevellerEdges, SlopeAndFramingRefuseWhatWouldOverflowOrReadPastTheInput) {
  // Slope: the widest window admitted gives the exact figure (twice the
  // ramp's slope of 1); wider ones are refused, among them those whose sum
  // of k^2 (above about 2.4 million) or loop counter (INT_MAX) overflowed.
  const int h = LevellerCore::kMaxSlopeHalfWidth;
  std::vector<int> ramp(2 * static_cast<size_t>(h) + 1);
  for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<int>(i) - h;
  const int len = static_cast<int>(ramp.size());
  EXPECT_EQ(LevellerCore::Extract_K(ramp.data(), h, h, len), 2);
  EXPECT_EQ(LevellerCore::Extract_K(ramp.data(), h, h + 1, len), 0);
  EXPECT_EQ(LevellerCore::Extract_K(ramp.data(), h, 2500000, len), 0);
  EXPECT_EQ(LevellerCore::Extract_K(ramp.data(), h, INT_MAX, len), 0);

  // Framing takes a sample offset; a frame that would run past the row
  // leaves the analysis frame as it was.
  auto av = Make();
  std::vector<int> row(300);
  for (int i = 0; i < 300; ++i) row[i] = i + 1;
  av->Framing(row.data(), 1, 300, 44);  // the last whole frame of the row
  EXPECT_EQ(av->analysis_[0], 45 * 16);
  EXPECT_EQ(av->analysis_[255], 300 * 16);
  for (int offset : {45, 300, -1, INT_MAX}) {
    av->Framing(row.data(), 1, 300, offset);
    EXPECT_EQ(av->analysis_[0], 45 * 16) << offset;
  }
  av->Framing(row.data(), 1, 200, 0);  // a row shorter than a frame
  EXPECT_EQ(av->analysis_[0], 45 * 16);
}

// ---- Single steps --------------------------------------------------------------------------------

// A fresh 48 kHz leveller: level ring of 941, framesPer5s 938, framesPer20ms
// 4; the statistics end at 937, the newest entries are 937 ... 940, 0; the
// 16-entry rings are at 12, their newest nine entries 4 ... 12.
class LevellerSteps : public ::testing::Test {
 protected:
  LevellerCore av{48000, 32768, 1, 75, 6000, 0};
};

TEST_F(LevellerSteps, EventsStartOnAPeakAboveTheGatedLevelAndEndBelowIt) {
  const int gated = 65 * kDb, base = (8 * 60 * kDb + gated) / 9;  // mean of the newest nine gated levels
  for (int i = 4; i < 12; ++i) av.gated16_[i] = 60 * kDb;
  av.gated16_[12] = gated;
  av.level400_[0] = 70 * kDb;  // the 400 ms level stays above the gated one
  av.signResetDone_ = true;
  // {hold excess, slope entry set above 3 dB (-1 none), expected count}:
  // above 15 dB counts; above 12 dB only with a steep slope among the newest nine.
  const int cases[][3] = {{15 * kDb, -1, 0}, {15 * kDb + 1, -1, 1}, {12 * kDb + 1, 3, 1}, {12 * kDb + 1, 4, 2}};
  for (const auto& c : cases) {
    av.hold_[939] = gated + c[0];
    if (c[1] >= 0) av.slope16_[c[1]] = 3 * kDb + 1;
    av.UpdateEvents();
    EXPECT_EQ(av.eventCount_, c[2]) << c[0];
    EXPECT_EQ(av.peakExcess_, c[0]);
    if (c[2] > 0) EXPECT_EQ(av.eventBaseLevel_, base);  // taken on the first event frame
    if (c[2] > 0) EXPECT_FALSE(av.signResetDone_);
  }
  // The hold of an older entry (936) is outside the look-ahead frames.
  av.hold_[939] = 0;
  av.hold_[936] = 99 * kDb;
  av.UpdateEvents();
  EXPECT_EQ(av.peakExcess_, -gated);
  // Cleared when every newest 400 ms level lies below the gated level, after
  // the increment: an event that starts and ends in one frame leaves nothing.
  av.level400_[0] = gated - 1;
  av.signResetDone_ = true;
  av.hold_[939] = gated + 20 * kDb;
  av.eventCount_ = 0;
  av.UpdateEvents();
  EXPECT_EQ(av.eventCount_, 0);
  EXPECT_EQ(av.eventBaseLevel_, 0);
  EXPECT_FALSE(av.signResetDone_);
}

TEST_F(LevellerSteps, DuringAnEventTheTargetFollowsThePeakWithABonusThatShrinksAsItRises) {
  // The look-ahead peak at the reference level (gain -4 dB), the quiet gated
  // level 30 dB below it (gain about +10 dB, the slower target): a rise of
  // less than 12 dB earns 9 dB, up to 21 dB 21 dB less the rise, then none.
  const int ref = av.referenceLevelDb_;
  ASSERT_GT(ref, 30 * kDb);
  av.gated16_[12] = ref - 30 * kDb;
  av.hold_[939] = ref;
  av.eventCount_ = 1;
  const int cases[][2] = {{5, 9}, {15, 6}, {21, 0}, {25, 0}};  // {rise, bonus} in dB
  for (const auto& c : cases) {
    av.eventBaseLevel_ = ref - c[0] * kDb;
    av.FormTarget();
    EXPECT_EQ(av.target_, (-4 + c[1]) * kDb) << c[0];
  }
}

TEST_F(LevellerSteps, SteadyMaterialDriftsBackOnceItsCountReachesTheRemainder) {
  // No event, a target above 0 dB and a run of steady frames: the gain holds
  // until the run reaches the station remainder, then drifts toward 0 dB at
  // half speed (down from 1 or more, up from below).
  av.target_ = 5 * kDb;
  for (const int offset : {-1, 0, 1}) {
    av.gainDb_ = 2 * kDb;
    av.lowRatioCount_ = av.stationRemainder_ + offset;
    av.MoveGainSlow();
    EXPECT_EQ(av.gainDb_, 2 * kDb + (offset < 0 ? 0 : av.halfDownRate_)) << offset;
  }
  av.gainDb_ = 0;
  av.MoveGainSlow();
  EXPECT_EQ(av.gainDb_, av.halfUpRate_);
}

TEST_F(LevellerSteps, ShortfallShortensTheSpanThroughTheThirdMarker) {
  // The 400 ms level at the statistics end lies 35 dB below the gated level.
  av.span_.newest = 1000;
  av.span_.statEnd = 996;
  av.span_.spanStart = 59;
  av.level400_[937] = 40 * kDb;
  av.gated16_[12] = 75 * kDb;
  av.TrackShortfall();
  // Mean -35 dB: F = 2293760 / 1500 = 1529; allowed (65536 - 1529) * 938
  // asr 16 = 916: the marker moves to 1000 - 916 and the span follows.
  EXPECT_EQ(av.shortfallSum_, -35LL * kDb);
  EXPECT_EQ(av.shortfallCount_, 1);
  EXPECT_EQ(av.lowestPos_, 996);
  EXPECT_EQ(av.span_.eventStart, 84);
  EXPECT_EQ(av.span_.spanStart, 84);
  // While the 3 s loudness falls (fallCount > 0) only the marker moves.
  av.fallCount_ = 1;
  av.span_.spanStart = 59;
  av.span_.newest = 1001;
  av.span_.statEnd = 997;
  av.level400_[937] = 39 * kDb;  // strictly lower: the lowest position moves
  av.TrackShortfall();
  // Sum -71 dB over 2: F = 4653056 / 1500 = 3102; (62434 * 938) asr 16 = 893.
  EXPECT_EQ(av.lowestPos_, 997);
  EXPECT_EQ(av.span_.eventStart, 1001 - 893);
  EXPECT_EQ(av.span_.spanStart, 59);
  // An equal level keeps the first position; a deficit beyond -70 dB counts
  // as -70 dB. Mean -47 dB: F = 9240576 / 1000 = 9240, allowed 805.
  av.gated16_[12] = 39 * kDb + 80 * kDb;
  av.span_.statEnd = 998;
  av.TrackShortfall();
  EXPECT_EQ(av.lowestPos_, 997);
  EXPECT_EQ(av.shortfallSum_, -141LL * kDb);
  EXPECT_EQ(av.span_.eventStart, 1001 - 805);
  // A deficit of less than 1 dB clears the run; exactly 1 dB does not. The
  // marker never moves back.
  av.gated16_[12] = 39 * kDb + kDb;
  av.TrackShortfall();
  EXPECT_EQ(av.shortfallCount_, 4);
  av.gated16_[12] = 39 * kDb + kDb - 1;
  av.TrackShortfall();
  EXPECT_EQ(av.shortfallSum_, 0);
  EXPECT_EQ(av.shortfallCount_, 0);
  EXPECT_EQ(av.lowestPos_, 0);
  EXPECT_EQ(av.span_.eventStart, 1001 - 805);
  // Nor past the run's lowest level: 1504 frames back at the second step,
  // more than the 894 the mean shortfall of -34.5 dB allows.
  av.fallCount_ = 0;
  av.span_.eventStart = av.span_.spanStart = 0;
  av.gated16_[12] = 75 * kDb;
  for (const int pos : {500, 2000}) {
    av.span_.statEnd = pos;
    av.span_.newest = pos + 4;
    av.level400_[937] = (pos == 500 ? 40 : 41) * kDb;
    av.TrackShortfall();
  }
  EXPECT_EQ(av.lowestPos_, 500);
  EXPECT_EQ(av.span_.eventStart, 500);
  EXPECT_EQ(av.span_.spanStart, 500);
}

}  // namespace
