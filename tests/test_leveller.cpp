// The adaptive volume leveller as a class: the listed setter values, the
// analysis input, the look-ahead delay, the refusals of the slope and the
// framing at their bounds, and two per-frame decision steps one at a time on
// states set up by hand (the event counter and the shortfall marker, in
// corners the golden vectors' programmes do not reach; the span limit after
// events is carried by their long programmes), and the event target's bonus.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "hvtralofx/CAdaptiveVolume_S24.h"
#include "loudness/LevellerBandBankInternal.h"
#include "support/LevellerSignals.h"

// Reaches the leveller's state and single steps (a friend of the class).
class AdaptiveVolumeProbe {
 public:
  explicit AdaptiveVolumeProbe(CAdaptiveVolume_S24& av) : a(av) {}
#define HVFX_PROBE_FIELD(name, member) \
  auto& name() { return a.member; }
  HVFX_PROBE_FIELD(fallCount, fallCount_)
  HVFX_PROBE_FIELD(signResetDone, signResetDone_)
  HVFX_PROBE_FIELD(eventCount, eventCount_)
  HVFX_PROBE_FIELD(eventBase, eventBaseLevel_)
  HVFX_PROBE_FIELD(peakExcess, peakExcess_)
  HVFX_PROBE_FIELD(newestPos, newestPos_)
  HVFX_PROBE_FIELD(statEndPos, statEndPos_)
  HVFX_PROBE_FIELD(spanStartPos, spanStartPos_)
  HVFX_PROBE_FIELD(eventStartPos, eventStartPos_)
  HVFX_PROBE_FIELD(shortfallSum, shortfallSum_)
  HVFX_PROBE_FIELD(shortfallCount, shortfallCount_)
  HVFX_PROBE_FIELD(lowestPos, lowestPos_)
#undef HVFX_PROBE_FIELD
  int* hold() { return a.hold_; }
  int* level400() { return a.level400_; }
  int* gated16() { return a.gated16_; }
  int* slope16() { return a.slope16_; }
  void UpdateEvents() { a.UpdateEvents(); }
  void TrackShortfall() { a.TrackShortfall(); }
  void FormTarget() { a.FormTarget(); }
  CAdaptiveVolume_S24& a;
};

namespace {

using leveller_test::SpeechLikeBursts;

constexpr int kDb = 65536;

std::unique_ptr<CAdaptiveVolume_S24> Make(int rate = 48000, int mode = 1, int relVol = 75, int stationMs = 6000,
                                           int baseFlag = 0) {
  return std::make_unique<CAdaptiveVolume_S24>(rate, 32768, mode, relVol, stationMs, baseFlag);
}

// ---- Setters ---------------------------------------------------------------------------------

TEST(LevellerConfig, SettersTakeTheListedValues) {
  // Relative volume: percent onto -37 dB ... the base, clamped to 0 ... 100.
  auto hi = Make(48000, 1, 100, 6000, 1);
  EXPECT_EQ(hi->GetBaseVolumeDb(), -196608);
  EXPECT_EQ(hi->GetRelativeVolumeDb(), -196608);
  const int relVol[][2] = {{0, -2424832}, {150, -196608}, {-5, -2424832}, {33, 735313 - 2424832}};  // 33: truncated
  for (const auto& c : relVol) {
    hi->SetRelativeVolumn(c[0]);
    EXPECT_EQ(hi->GetRelativeVolumeDb(), c[1]) << c[0];
  }
  auto lo = Make(48000, 1, 75, 6000, 0);  // base -9 dB: 1835008 * 75 / 100 - 37 dB = -16 dB
  EXPECT_EQ(lo->GetBaseVolumeDb(), -589824);
  EXPECT_EQ(lo->GetRelativeVolumeDb(), -16 * kDb);

  // Station time, clamped to 5000 ... 20000 ms, split into band-ring steps
  // (48 kHz: ring 191 entries).
  const int station[][3] = {{1000, 3, 364}, {5000, 3, 364}, {6000, 3, 552}, {20000, 10, 1840}, {30000, 10, 1840}};
  auto av = Make();
  for (const auto& c : station) {
    av->SetStationSigMs(c[0]);
    EXPECT_EQ(av->GetStationFrames(), c[1]) << c[0];
    EXPECT_EQ(av->GetStationRemainder(), c[2]) << c[0];
    EXPECT_EQ(av->GetStationCounter(), 0);
  }
  auto low = Make(8000, 1, 75, 5000);  // F = 625, ring 128: 3 and 241
  EXPECT_EQ(low->GetStationFrames(), 3);
  EXPECT_EQ(low->GetStationRemainder(), 241);

  // Slew rates: defaults 6 dB/s, then percent of 3 ... 15 dB/s per frame.
  EXPECT_EQ(av->GetUpRate(), 2097);
  EXPECT_EQ(av->GetDownRate(), -2097);
  EXPECT_EQ(av->GetHalfUpRate(), 1049);
  EXPECT_EQ(av->GetHalfDownRate(), -1049);
  const int rates[][5] = {{0, 0, 1048, -1048, -524}, {25, 50, 2097, -3145, -1573}, {150, -20, 5242, -1048, -524}};
  for (const auto& c : rates) {
    av->SetVolUpDownRate(c[0], c[1]);
    EXPECT_EQ(av->GetUpRate(), c[2]) << c[0];
    EXPECT_EQ(av->GetDownRate(), c[3]) << c[1];
    EXPECT_EQ(av->GetHalfDownRate(), c[4]) << c[1];  // the half rate floors
  }
  av->Reset();  // restores the default rates
  EXPECT_EQ(av->GetUpRate(), 2097);
  EXPECT_EQ(av->GetDownRate(), -2097);
  low->SetVolUpDownRate(0, 0);  // 196608 * 64 / 8000 = 1572.9
  EXPECT_EQ(low->GetUpRate(), 1572);
}

// ---- Analysis input and the look-ahead delay ----------------------------------------------------

// (The curve's segments are carried exactly by the golden vectors' leveller
// programmes; here its shape and its fixed points.)
TEST(LevellerCurve, TargetGainFollowsBothLevelCurves) {
  for (int mode : {0, 1}) {
    auto av = Make(48000, mode, 75, 6000, 0);  // relative volume -16 dB
    const int ref = av->GetReferenceLevelDb();
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
  EXPECT_EQ(quiet->Get_TargetGaindB(quiet->GetReferenceLevelDb()), -23 * kDb);
}

TEST(LevellerProcess, MonoIsAnalysedAtSixteenTimesAndFourChannelsAreNot) {
  auto av = Make();
  std::vector<int> mono(256), out(4 * 256), in4(4 * 256, 0);
  for (int i = 0; i < 256; ++i) mono[i] = (i * 7919) % 65536 - 32768;
  av->Process(out.data(), mono.data(), 1, 256);
  const std::vector<int> analysed(av->GetAnalysisFrame(), av->GetAnalysisFrame() + 256);
  for (int i = 0; i < 256; ++i) ASSERT_EQ(analysed[i], mono[i] * 16) << i;
  // Four channels: the previous analysis frame is analysed again.
  av->Process(out.data(), in4.data(), 4, 256);
  EXPECT_EQ(std::vector<int>(av->GetAnalysisFrame(), av->GetAnalysisFrame() + 256), analysed);
  EXPECT_EQ(av->GetFrameCount(), 2);
}

TEST(LevellerProcess, OutputIsTheInputThreeFramesLateTimesTheFramesGain) {
  auto av = Make();
  EXPECT_EQ(av->GetLookAhead(), 3);
  const std::vector<int> in = SpeechLikeBursts(40 * 256, 48000, -30, 4);
  std::vector<int> out(in.size()), gains;
  for (size_t f = 0; f < 40; ++f) {
    av->Process(out.data() + f * 256, const_cast<int*>(in.data()) + f * 256, 1, 256);
    gains.push_back(av->GetOutputGain());
  }
  for (size_t t = 0; t < 3 * 256; ++t) ASSERT_EQ(out[t], 0) << t;
  bool gainMoved = false;
  for (size_t t = 3 * 256; t < out.size(); ++t) {
    const long long product = static_cast<long long>(in[t - 768]) * gains[t / 256];
    const long long floored = product >= 0 ? product / 262144 : -((-product + 262143) / 262144);
    ASSERT_EQ(out[t], floored) << t;
    gainMoved |= gains[t / 256] != 262144;
  }
  EXPECT_TRUE(gainMoved);
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
        CAdaptiveVolume_S24::IIR_Filter_2ord(y.data(), x.data(), coefs.data() + b * 5, xr[b], yr[b], 256);
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
  const int h = CAdaptiveVolume_S24::kMaxSlopeHalfWidth;
  std::vector<int> ramp(2 * static_cast<size_t>(h) + 1);
  for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<int>(i) - h;
  const int len = static_cast<int>(ramp.size());
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(ramp.data(), h, h, len), 2);
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(ramp.data(), h, h + 1, len), 0);
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(ramp.data(), h, 2500000, len), 0);
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(ramp.data(), h, INT_MAX, len), 0);

  // Framing takes a sample offset; a frame that would run past the row
  // leaves the analysis frame as it was.
  auto av = Make();
  std::vector<int> row(300);
  for (int i = 0; i < 300; ++i) row[i] = i + 1;
  av->Framing(row.data(), 1, 300, 44);  // the last whole frame of the row
  EXPECT_EQ(av->GetAnalysisFrame()[0], 45 * 16);
  EXPECT_EQ(av->GetAnalysisFrame()[255], 300 * 16);
  for (int offset : {45, 300, -1, INT_MAX}) {
    av->Framing(row.data(), 1, 300, offset);
    EXPECT_EQ(av->GetAnalysisFrame()[0], 45 * 16) << offset;
  }
  av->Framing(row.data(), 1, 200, 0);  // a row shorter than a frame
  EXPECT_EQ(av->GetAnalysisFrame()[0], 45 * 16);
}

// ---- Single steps --------------------------------------------------------------------------------

// A fresh 48 kHz leveller: level ring of 941, framesPer5s 938, framesPer20ms
// 4; the statistics end at 937, the newest entries are 937 ... 940, 0; the
// 16-entry rings are at 12, their newest nine entries 4 ... 12.
class LevellerSteps : public ::testing::Test {
 protected:
  CAdaptiveVolume_S24 av{48000, 32768, 1, 75, 6000, 0};
  AdaptiveVolumeProbe p{av};
};

TEST_F(LevellerSteps, EventsStartOnAPeakAboveTheGatedLevelAndEndBelowIt) {
  const int gated = 65 * kDb, base = (8 * 60 * kDb + gated) / 9;  // mean of the newest nine gated levels
  for (int i = 4; i < 12; ++i) p.gated16()[i] = 60 * kDb;
  p.gated16()[12] = gated;
  p.level400()[0] = 70 * kDb;  // the 400 ms level stays above the gated one
  p.signResetDone() = true;
  // {hold excess, slope entry set above 3 dB (-1 none), expected count}:
  // above 15 dB counts; above 12 dB only with a steep slope among the newest nine.
  const int cases[][3] = {{15 * kDb, -1, 0}, {15 * kDb + 1, -1, 1}, {12 * kDb + 1, 3, 1}, {12 * kDb + 1, 4, 2}};
  for (const auto& c : cases) {
    p.hold()[939] = gated + c[0];
    if (c[1] >= 0) p.slope16()[c[1]] = 3 * kDb + 1;
    p.UpdateEvents();
    EXPECT_EQ(p.eventCount(), c[2]) << c[0];
    EXPECT_EQ(p.peakExcess(), c[0]);
    if (c[2] > 0) EXPECT_EQ(p.eventBase(), base);  // taken on the first event frame
    if (c[2] > 0) EXPECT_FALSE(p.signResetDone());
  }
  // The hold of an older entry (936) is outside the look-ahead frames.
  p.hold()[939] = 0;
  p.hold()[936] = 99 * kDb;
  p.UpdateEvents();
  EXPECT_EQ(p.peakExcess(), -gated);
  // Cleared when every newest 400 ms level lies below the gated level, after
  // the increment: an event that starts and ends in one frame leaves nothing.
  p.level400()[0] = gated - 1;
  p.signResetDone() = true;
  p.hold()[939] = gated + 20 * kDb;
  p.eventCount() = 0;
  p.UpdateEvents();
  EXPECT_EQ(p.eventCount(), 0);
  EXPECT_EQ(p.eventBase(), 0);
  EXPECT_FALSE(p.signResetDone());
}

TEST_F(LevellerSteps, DuringAnEventTheTargetFollowsThePeakWithABonusThatShrinksAsItRises) {
  // The look-ahead peak at the reference level (gain -4 dB), the quiet gated
  // level 30 dB below it (gain about +10 dB, the slower target): a rise of
  // less than 12 dB earns 9 dB, up to 21 dB 21 dB less the rise, then none.
  const int ref = av.GetReferenceLevelDb();
  ASSERT_GT(ref, 30 * kDb);
  p.gated16()[12] = ref - 30 * kDb;
  p.hold()[939] = ref;
  p.eventCount() = 1;
  const int cases[][2] = {{5, 9}, {15, 6}, {21, 0}, {25, 0}};  // {rise, bonus} in dB
  for (const auto& c : cases) {
    p.eventBase() = ref - c[0] * kDb;
    p.FormTarget();
    EXPECT_EQ(av.GetTarget(), (-4 + c[1]) * kDb) << c[0];
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
  // Mean -35 dB: F = 2293760 / 1500 = 1529; allowed (65536 - 1529) * 938
  // asr 16 = 916: the marker moves to 1000 - 916 and the span follows.
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
  // as -70 dB. Mean -47 dB: F = 9240576 / 1000 = 9240, allowed 805.
  p.gated16()[12] = 39 * kDb + 80 * kDb;
  p.statEndPos() = 998;
  p.TrackShortfall();
  EXPECT_EQ(p.lowestPos(), 997);
  EXPECT_EQ(p.shortfallSum(), -141LL * kDb);
  EXPECT_EQ(p.eventStartPos(), 1001 - 805);
  // A deficit of less than 1 dB clears the run; exactly 1 dB does not. The
  // marker never moves back.
  p.gated16()[12] = 39 * kDb + kDb;
  p.TrackShortfall();
  EXPECT_EQ(p.shortfallCount(), 4);
  p.gated16()[12] = 39 * kDb + kDb - 1;
  p.TrackShortfall();
  EXPECT_EQ(p.shortfallSum(), 0);
  EXPECT_EQ(p.shortfallCount(), 0);
  EXPECT_EQ(p.lowestPos(), 0);
  EXPECT_EQ(p.eventStartPos(), 1001 - 805);
  // Nor past the run's lowest level: 1504 frames back at the second step,
  // more than the 894 the mean shortfall of -34.5 dB allows.
  p.fallCount() = 0;
  p.eventStartPos() = p.spanStartPos() = 0;
  p.gated16()[12] = 75 * kDb;
  for (const int pos : {500, 2000}) {
    p.statEndPos() = pos;
    p.newestPos() = pos + 4;
    p.level400()[937] = (pos == 500 ? 40 : 41) * kDb;
    p.TrackShortfall();
  }
  EXPECT_EQ(p.lowestPos(), 500);
  EXPECT_EQ(p.eventStartPos(), 500);
  EXPECT_EQ(p.spanStartPos(), 500);
}

}  // namespace
