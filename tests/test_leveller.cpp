// The adaptive volume leveller as a class: configuration per rate, the
// listed setter values, the coefficient tables, the biquad, the ring
// statistics, the level curve, the channel mix, framing, the look-ahead delay
// and the two gain paths.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "fixedpoint/ScalarMath.h"
#include "loudness/AdaptiveVolumeTables.h"
#include "loudness/CAdaptiveVolume_S24.h"
#include "support/LevellerSignals.h"

namespace {

using leveller_test::SteadyNoise;
using leveller_test::SpeechLikeBursts;

constexpr int kDb = 65536;

std::unique_ptr<CAdaptiveVolume_S24> Make(int rate = 48000, int mode = 1, int relVol = 75, int stationMs = 6000,
                                           int baseFlag = 0) {
  return std::make_unique<CAdaptiveVolume_S24>(rate, 32768, mode, relVol, stationMs, baseFlag);
}

// Runs a mono signal frame by frame; calls onFrame(frameIndex) after each.
template <typename F>
void RunMono(CAdaptiveVolume_S24& av, std::vector<int> in, F onFrame) {
  const int n = av.GetFrameLength();
  std::vector<int> out(static_cast<size_t>(n));
  for (size_t f = 0; (f + 1) * n <= in.size(); ++f) {
    av.Process(out.data(), in.data() + f * n, 1, n);
    onFrame(f);
  }
}

// ---- Configuration -----------------------------------------------------------------------

TEST(LevellerConfig, FrameLengthSpansAndTablesForEverySupportedRate) {
  struct Row {
    int rate, n, shift, per20ms, per400ms, perSecond, per3s, per5s, bands;
    const int* table;
  };
  const Row rows[] = {
      {8000, 64, 6, 3, 50, 125, 375, 625, 5, AdaV_Ord2_Coefs_80},
      {11025, 64, 6, 3, 69, 172, 517, 861, 6, AdaV_Ord2_Coefs_110},
      {16000, 128, 7, 3, 50, 125, 375, 625, 6, AdaV_Ord2_Coefs_160},
      {22050, 128, 7, 3, 69, 172, 517, 861, 6, AdaV_Ord2_Coefs_220},
      {32000, 256, 8, 3, 50, 125, 375, 625, 6, AdaV_Ord2_Coefs_320},
      {44100, 256, 8, 3, 69, 172, 517, 861, 6, AdaV_Ord2_Coefs_441},
      {48000, 256, 8, 4, 75, 188, 563, 938, 6, AdaV_Ord2_Coefs_480},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.rate);
    auto av = Make(r.rate);
    EXPECT_EQ(av->GetFrameLength(), r.n);
    EXPECT_EQ(av->GetFrameShift(), r.shift);
    EXPECT_EQ(av->GetFramesPer20ms(), r.per20ms);
    EXPECT_EQ(av->GetFramesPer400ms(), r.per400ms);
    EXPECT_EQ(av->GetFramesPerSecond(), r.perSecond);
    EXPECT_EQ(av->GetFramesPer3s(), r.per3s);
    EXPECT_EQ(av->GetFramesPer5s(), r.per5s);
    EXPECT_EQ(av->GetBandCount(), r.bands);
    EXPECT_EQ(av->GetLookAhead(), 3);
    EXPECT_EQ(av->GetCoefficients(), r.table);
    // -12 dB per second, per frame, truncated toward zero.
    EXPECT_EQ(av->GetPeakDecay(), static_cast<int>(-786432.0 * r.n / r.rate));
    // Level-ring read positions start framesPer20ms behind the write index.
    EXPECT_EQ(av->GetLevelWriteIndex(), 0);
    EXPECT_EQ(av->GetStatEndIndex(), r.per5s + 3 - r.per20ms);
    EXPECT_EQ(av->GetOldestIndex(), r.per5s + 3 - r.per20ms);
    EXPECT_EQ(av->GetStatIndex(), 16 - r.per20ms);
  }
  // 20 log10(32768) = 90.309 dB.
  EXPECT_NEAR(Make()->GetReferenceLevelDb() / 65536.0, 90.309, 0.01);
}

TEST(LevellerConfig, AnUnsupportedRateRunsWithTheStartingConfiguration) {
  auto av = Make(96000);
  EXPECT_EQ(av->GetSampleRate(), 96000);
  EXPECT_EQ(av->GetFrameLength(), 256);
  EXPECT_EQ(av->GetFramesPer5s(), 938);
  EXPECT_EQ(av->GetCoefficients(), AdaV_Ord2_Coefs_480);
  EXPECT_EQ(av->GetUpRate(), 2097);
  std::vector<int> in = SteadyNoise(20 * 256, -20, 1), out(in.size());
  av->Process(out.data(), in.data(), 1, static_cast<int>(in.size()));  // stays in bounds
  EXPECT_EQ(av->GetFrameCount(), 20);
}

TEST(LevellerConfig, RelativeVolumeMapsPercentOntoMinus37dBToTheBase) {
  auto hi = Make(48000, 1, 100, 6000, 1);
  EXPECT_EQ(hi->GetBaseVolumeDb(), -196608);
  EXPECT_EQ(hi->GetRelativeVolumeDb(), -196608);
  hi->SetRelativeVolumn(0);
  EXPECT_EQ(hi->GetRelativeVolumeDb(), -2424832);
  hi->SetRelativeVolumn(150);  // acts as 100
  EXPECT_EQ(hi->GetRelativeVolumeDb(), -196608);
  hi->SetRelativeVolumn(-5);  // acts as 0
  EXPECT_EQ(hi->GetRelativeVolumeDb(), -2424832);
  hi->SetRelativeVolumn(33);  // 2228224 * 33 / 100 = 735313.92, truncated
  EXPECT_EQ(hi->GetRelativeVolumeDb(), 735313 - 2424832);
  auto lo = Make(48000, 1, 75, 6000, 0);  // base -9 dB: 1835008 * 75 / 100 - 37 dB = -16 dB
  EXPECT_EQ(lo->GetBaseVolumeDb(), -589824);
  EXPECT_EQ(lo->GetRelativeVolumeDb(), -16 * kDb);
}

TEST(LevellerConfig, StationTimeIsClampedAndSplitIntoBandRingSteps) {
  // 48 kHz: band ring 188 + 3 = 191 entries.
  struct Case {
    int ms, frames, remainder;
  };
  const Case cases[] = {
      {1000, 3, 364},    // acts as 5000: F = 937, k = 937 / 382 = 2, 191 * 3 <= 937
      {5000, 3, 364},
      {6000, 3, 552},    // F = 1125
      {20000, 10, 1840},  // F = 3750, k = 9, 191 * 10 <= 3750
      {30000, 10, 1840},  // acts as 20000
  };
  auto av = Make();
  for (const Case& c : cases) {
    av->SetStationSigMs(c.ms);
    EXPECT_EQ(av->GetStationFrames(), c.frames) << c.ms;
    EXPECT_EQ(av->GetStationRemainder(), c.remainder) << c.ms;
    EXPECT_EQ(av->GetStationCounter(), 0);
  }
  // 8000 Hz, 5000 ms: F = 625, ring 128, k = 2, 128 * 3 <= 625: 3 and 241.
  auto low = Make(8000, 1, 75, 5000);
  EXPECT_EQ(low->GetStationFrames(), 3);
  EXPECT_EQ(low->GetStationRemainder(), 241);
}

TEST(LevellerConfig, SlewRatesFromPercentAndTheirDefaults) {
  auto av = Make();
  // Defaults: half the peak-hold decay of -4194 per frame (6 dB/s).
  EXPECT_EQ(av->GetUpRate(), 2097);
  EXPECT_EQ(av->GetDownRate(), -2097);
  EXPECT_EQ(av->GetHalfUpRate(), 1049);  // -(-4194 asr 2)
  EXPECT_EQ(av->GetHalfDownRate(), -1049);
  av->SetVolUpDownRate(0, 0);  // 196608 * 256 / 48000 = 1048.6
  EXPECT_EQ(av->GetUpRate(), 1048);
  EXPECT_EQ(av->GetDownRate(), -1048);
  EXPECT_EQ(av->GetHalfUpRate(), 524);
  EXPECT_EQ(av->GetHalfDownRate(), -524);
  av->SetVolUpDownRate(25, 50);  // 393216 * 256 / 48000 = 2097.2; 589824 * 256 / 48000 = 3145.7
  EXPECT_EQ(av->GetUpRate(), 2097);
  EXPECT_EQ(av->GetDownRate(), -3145);
  EXPECT_EQ(av->GetHalfDownRate(), -1573);  // the half rate floors
  av->SetVolUpDownRate(150, -20);          // acts as (100, 0)
  EXPECT_EQ(av->GetUpRate(), 5242);        // 983040 * 256 / 48000 = 5242.9
  EXPECT_EQ(av->GetDownRate(), -1048);
  av->Reset();  // restores the defaults
  EXPECT_EQ(av->GetUpRate(), 2097);
  EXPECT_EQ(av->GetDownRate(), -2097);
  auto low = Make(8000);
  low->SetVolUpDownRate(0, 0);  // 196608 * 64 / 8000 = 1572.9
  EXPECT_EQ(low->GetUpRate(), 1572);
}

TEST(LevellerConfig, ResetKeepsTheSettingsAndRestartsAnalysisAndGain) {
  auto av = Make(48000, 0, 40, 20000, 1);
  const int relVol = av->GetRelativeVolumeDb();
  RunMono(*av, SteadyNoise(200 * 256, -45, 2), [](size_t) {});
  ASSERT_NE(av->GetGainDb(), 0);
  av->Reset();
  EXPECT_EQ(av->GetMode(), 0);
  EXPECT_EQ(av->GetRelativeVolumeDb(), relVol);
  EXPECT_EQ(av->GetStationFrames(), 10);
  EXPECT_EQ(av->GetStationRemainder(), 1840);
  EXPECT_EQ(av->GetGainDb(), 0);
  EXPECT_EQ(av->GetOutputGain(), 262144);
  EXPECT_EQ(av->GetMixWeight(), 4194304);
  EXPECT_EQ(av->GetNewestPos(), 0);
  EXPECT_EQ(av->GetEventCount(), 0);
  EXPECT_EQ(av->GetBandEnergy(0, 5), 0);
  // The delay ring is silent again: the next three output frames are zeros.
  std::vector<int> in(4 * 256, 1000), out(in.size(), 7);
  av->Process(out.data(), in.data(), 1, static_cast<int>(in.size()));
  for (int i = 0; i < 3 * 256; ++i) ASSERT_EQ(out[i], 0) << i;
  EXPECT_NE(out[3 * 256], 0);
}

// ---- Coefficient tables --------------------------------------------------------------------

TEST(LevellerTables, ValuesMatchTheListedTables) {
  // Sum and position-weighted sum of the 40 listed values of each table.
  struct Sum {
    const int* table;
    long long sum, weighted;
  };
  const Sum sums[] = {
      {AdaV_Ord2_Coefs_80, -5390418, -92900611},    {AdaV_Ord2_Coefs_110, -5556020, -27504800},
      {AdaV_Ord2_Coefs_160, -10596268, -164490536}, {AdaV_Ord2_Coefs_220, -13136081, -232685390},
      {AdaV_Ord2_Coefs_320, -14851987, -278506203}, {AdaV_Ord2_Coefs_441, -15685857, -300598027},
      {AdaV_Ord2_Coefs_480, -15840387, -304654315},
  };
  for (const Sum& s : sums) {
    long long sum = 0, weighted = 0;
    for (int i = 0; i < kAdaVCoefCount; ++i) {
      sum += s.table[i];
      weighted += static_cast<long long>(i) * s.table[i];
    }
    EXPECT_EQ(sum, s.sum);
    EXPECT_EQ(weighted, s.weighted);
    for (int b = 3; b <= 6; ++b) {  // band-passes: b1 = 0, b2 = -b0
      EXPECT_EQ(s.table[5 * b + 1], 0);
      EXPECT_EQ(s.table[5 * b + 2], -s.table[5 * b]);
    }
  }
}

// Magnitude in dB of biquad `b` of a Q21 table at `hz`.
double BiquadDb(const int* t, int b, double hz, double fs) {
  const std::complex<double> z1 = std::polar(1.0, -2 * M_PI * hz / fs), z2 = z1 * z1;
  auto c = [&](int k) { return t[5 * b + k] / 2097152.0; };
  return 20 * std::log10(std::abs((c(0) + c(1) * z1 + c(2) * z2) / (1.0 + c(3) * z1 + c(4) * z2)));
}

// ---- Biquad ---------------------------------------------------------------------------------

TEST(LevellerBiquad, RoundsByHalfAndCarriesItsStateAcrossCalls) {
  // y = 0.5 x + 0.25 x[-1] + 0.5 y[-1]: each output is v + 0.5 rounded down
  // (floor(v + 0.5)), so a decaying impulse response halves with ties up.
  const int coefs[5] = {1048576, 524288, 0, -1048576, 0};
  int xs[2] = {0, 0}, ys[2] = {0, 0};
  int x[8] = {1000, 0, 0, 0, 0, 0, 0, 0}, y[8];
  CAdaptiveVolume_S24::IIR_Filter_2ord(y, x, coefs, xs, ys, 8);
  // Exact values 500, 500, 250, 125, 62.5, 31.5 (from the rounded 63), 16, 8,
  // each plus 0.5 and floored.
  const int expected[8] = {500, 500, 250, 125, 63, 32, 16, 8};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(y[i], expected[i]) << i;
  int xn[2] = {0, 0}, yn[2] = {0, 0};
  int neg[2] = {-1000, 0}, yneg[2];
  CAdaptiveVolume_S24::IIR_Filter_2ord(yneg, neg, coefs, xn, yn, 2);
  EXPECT_EQ(yneg[0], -500);  // floor(-500 + 0.5)
  EXPECT_EQ(yneg[1], -500);  // floor(-250 - 250 + 0.5)

  // Streaming: one call equals two with the state carried; in place works.
  std::vector<int> in = SteadyNoise(256, -10, 3);
  for (int& v : in) v *= 16;
  for (int b = 0; b < 8; ++b) {
    const int* c = AdaV_Ord2_Coefs_480 + 5 * b;
    int sx1[2] = {0, 0}, sy1[2] = {0, 0}, sx2[2] = {0, 0}, sy2[2] = {0, 0};
    std::vector<int> whole(256), split(in);
    CAdaptiveVolume_S24::IIR_Filter_2ord(whole.data(), in.data(), c, sx1, sy1, 256);
    CAdaptiveVolume_S24::IIR_Filter_2ord(split.data(), split.data(), c, sx2, sy2, 100);
    CAdaptiveVolume_S24::IIR_Filter_2ord(split.data() + 100, split.data() + 100, c, sx2, sy2, 156);
    EXPECT_EQ(whole, split) << b;
    EXPECT_EQ(sy1[0], whole[255]);
    EXPECT_EQ(sy1[1], whole[254]);
    EXPECT_EQ(sx1[0], in[255]);
  }
}

// ---- Ring statistics ---------------------------------------------------------------------------

TEST(LevellerRingStats, MinMaxMeanWalkBackFromTheEndAndWrap) {
  const int a[6] = {5, -3, 8, 1, 7, 2};
  // s = 4, e = 1: count 1 - 4 + 1 = -2, plus 6: a[1], a[0], a[5], a[4].
  EXPECT_EQ(CAdaptiveVolume_S24::GetMin_CB(a, 4, 1, 6), -3);
  EXPECT_EQ(CAdaptiveVolume_S24::GetMax_CB(a, 4, 1, 6), 7);
  EXPECT_EQ(CAdaptiveVolume_S24::GetMean_CB(a, 4, 1, 6), 2);  // 11 / 4
  // s = e + 1 wraps to the whole ring.
  EXPECT_EQ(CAdaptiveVolume_S24::GetMin_CB(a, 2, 1, 6), -3);
  EXPECT_EQ(CAdaptiveVolume_S24::GetMax_CB(a, 2, 1, 6), 8);
  EXPECT_EQ(CAdaptiveVolume_S24::GetMean_CB(a, 2, 1, 6), 3);  // 20 / 6
  // A single entry.
  EXPECT_EQ(CAdaptiveVolume_S24::GetMean_CB(a, 3, 3, 6), 1);
  EXPECT_EQ(CAdaptiveVolume_S24::GetMax_CB(a, 1, 1, 6), -3);
  // The mean truncates toward zero: -9 / 2 = -4.
  const int b[2] = {-7, -2};
  EXPECT_EQ(CAdaptiveVolume_S24::GetMean_CB(b, 0, 1, 2), -4);
  // Refused: indices outside the ring.
  EXPECT_EQ(CAdaptiveVolume_S24::GetMax_CB(a, 0, 6, 6), 0);
  EXPECT_EQ(CAdaptiveVolume_S24::GetMin_CB(a, -1, 2, 6), 0);
  EXPECT_EQ(CAdaptiveVolume_S24::GetMean_CB(a, 0, 0, 0), 0);
}

TEST(LevellerRingStats, ExtractKIsTwiceTheLeastSquaresSlope) {
  std::vector<int> ramp(20);
  for (int i = 0; i < 20; ++i) ramp[i] = 100 * i - 700;
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(ramp.data(), 10, 4, 20), 200);
  // Centred at index 2 of a 9-entry ring: the window wraps.
  int ring[9];
  for (int k = -4; k <= 4; ++k) ring[(2 + k + 9) % 9] = 1000 + 50 * k;
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(ring, 2, 4, 9), 100);
  // A symmetric bump has no slope.
  const int bump[5] = {1, 4, 9, 4, 1};
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(bump, 2, 2, 5), 0);
  // Truncation toward zero: 2 * (-2) / 10 -> 0, 2 * 2 * 3 / 10 -> 1.
  const int low[5] = {1, 0, 0, 0, 0}, high[5] = {0, 0, 0, 0, 3};
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(low, 2, 2, 5), 0);
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(high, 2, 2, 5), 1);
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(ramp.data(), 10, 0, 20), 0);
  EXPECT_EQ(CAdaptiveVolume_S24::Extract_K(ramp.data(), 10, -1, 20), 0);
}

TEST(LevellerRingStats, LowEnergyRatioCountsEntriesBelowHalfTheMean) {
  int mean = -1;
  const int a[4] = {10, 10, 10, 1};  // mean 7, half 3: one entry below
  EXPECT_EQ(CAdaptiveVolume_S24::STE2LER(a, 0, 4, mean), 2097152);
  EXPECT_EQ(mean, 7);
  const int b[3] = {9, 0, 0};  // mean 3, half 1: two of three
  EXPECT_EQ(CAdaptiveVolume_S24::STE2LER(b, 2, 3, mean), 5592405);
  const int zeros[4] = {0, 0, 0, 0};  // nothing below 0
  EXPECT_EQ(CAdaptiveVolume_S24::STE2LER(zeros, 0, 4, mean), 0);
  const int negative[2] = {-10, -10};  // mean -10, half -5: every entry below
  EXPECT_EQ(CAdaptiveVolume_S24::STE2LER(negative, 0, 2, mean), 8388607);
  EXPECT_EQ(CAdaptiveVolume_S24::STE2LER(a, 0, 0, mean), 8388607);
  EXPECT_EQ(mean, 0);
  mean = 5;
  EXPECT_EQ(CAdaptiveVolume_S24::STE2LER(a, 0, -1, mean), 0);
  EXPECT_EQ(mean, 0);
}

TEST(LevellerRingStats, GatedLevelAveragesAboveTheAbsoluteThenTheRelativeGate) {
  auto av = Make();  // absolute gate: 90.31 - 70 = 20.31 dB
  auto level = [](long long energy) { return Pwr2dB(static_cast<int>(energy), -7); };
  // Entries 4, 5, 0, 1 of a six-entry ring (s = 4, e = 1); 2 and 3 are outside.
  int energies[6] = {50000, 5, 777777, 777777, 100, 150000};
  int levels[6] = {70 * kDb, 10 * kDb, 99 * kDb, 99 * kDb, 30 * kDb, 64 * kDb};
  // Above 20.31 dB: 100, 150000, 50000 -> mean 66700 (69.3 dB); above
  // 69.3 - 8 = 61.3 dB: 150000 (64 dB), 50000 (70 dB) -> 100000.
  EXPECT_EQ(av->CalCulate_IL(energies, levels, 4, 1, 6), level(100000));
  // No entry above the relative gate: the plain mean of all four.
  levels[5] = levels[0] = 40 * kDb;
  EXPECT_EQ(av->CalCulate_IL(energies, levels, 4, 1, 6), level((50000 + 5 + 100 + 150000) / 4));
  // No entry above the absolute gate either: plain means throughout.
  for (int& l : levels) l = 0;
  EXPECT_EQ(av->CalCulate_IL(energies, levels, 4, 1, 6), level((50000 + 5 + 100 + 150000) / 4));
  // A mean of 0 reads 0 dB; invalid indices give 0.
  int silent[6] = {};
  EXPECT_EQ(av->CalCulate_IL(silent, levels, 4, 1, 6), 0);
  EXPECT_EQ(av->CalCulate_IL(energies, levels, 6, 1, 6), 0);
}

// ---- Level curve ------------------------------------------------------------------------------

// The curve in real numbers: desired output level f(d) for a level d dB
// relative to the reference, gain = relVol + 23 + f - d, within -23 ... 30 dB.
double CurveGainDb(double d, bool steep, double relVol) {
  const double flat = 1094166 / 8388608.0, steepSlope = 4376665 / 8388608.0;
  const double low = steep ? 5242880 / 8388608.0 : 8388607 / 8388608.0;
  if (d >= 1.0 / 65536) d = 0;
  double f;
  if (d < -70)
    f = d + 20;
  else if (d < -46)
    f = (d + 70) * low - 50;
  else if (d < -23)
    f = (steep ? -35 : -26) + (d + 46) * (steep ? steepSlope : flat);
  else if (d < 0)
    f = (d + 23) * (steep ? steepSlope : flat) - 23;
  else
    f = steep ? -11 : -20;
  return std::fmin(30.0, std::fmax(-23.0, relVol + 23 + f - d));
}

TEST(LevellerCurve, TargetGainFollowsBothLevelCurves) {
  for (int mode : {0, 1}) {
    auto av = Make(48000, mode, 75, 6000, 0);  // relative volume -16 dB
    const int ref = av->GetReferenceLevelDb();
    for (int dq = -95 * kDb; dq <= 5 * kDb; dq += 24247) {
      const double expected = CurveGainDb(dq / 65536.0, mode == 1, -16.0);
      EXPECT_NEAR(av->Get_TargetGaindB(ref + dq) / 65536.0, expected, 3.0 / 65536) << mode << " " << dq;
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

// ---- Channel mix and framing ------------------------------------------------------------------

// Runs one stereo frame of constant-per-row (or patterned) samples through
// AdaptiveMixLtRt and returns x[0].
int MixFrame(CAdaptiveVolume_S24& av, const std::vector<int>& l, const std::vector<int>& r) {
  std::vector<int> x(l.size());
  av.AdaptiveMixLtRt(x.data(), l.data(), r.data(), static_cast<int>(l.size()));
  return x[0];
}

TEST(LevellerMix, WeightFollowsTheLouderSideWithinItsBounds) {
  const std::vector<int> loud(256, 8000), soft(256, 1000), tiny(256, 100);
  auto av = Make();
  for (int k = 1; k <= 50; ++k) {
    MixFrame(*av, loud, soft);  // left clearly louder
    ASSERT_EQ(av->GetMixWeight(), 4194304 + k * 83886);
  }
  // The 50th step started from 8304718, just under 8388607 - 83886; from
  // 8388604 no further step is taken.
  MixFrame(*av, loud, soft);
  EXPECT_EQ(av->GetMixWeight(), 8388604);
  // 0.99999964 * 8000 + 0.00000036 * 1000 = 7999.9975, times 16, floored.
  EXPECT_EQ(MixFrame(*av, loud, soft), 127999);

  auto right = Make();
  for (int k = 0; k < 52; ++k) MixFrame(*right, tiny, loud);  // right clearly louder
  EXPECT_EQ(right->GetMixWeight(), 0);                        // 4 after 50 steps, then 0
  EXPECT_EQ(MixFrame(*right, tiny, loud), 8000 * 16);
}

TEST(LevellerMix, ComparableSidesQuietSidesAndTheMixedFrame) {
  // Identical sides: the weight steps up while at most 0.5, then back down.
  auto same = Make();
  const std::vector<int> k1000(256, 1000);
  EXPECT_EQ(MixFrame(*same, k1000, k1000), 16000);
  EXPECT_EQ(same->GetMixWeight(), 4278190);
  MixFrame(*same, k1000, k1000);
  EXPECT_EQ(same->GetMixWeight(), 4194304);

  // Both below the threshold of 327: unchanged. The left test is
  // non-strict, the right one strict.
  auto quiet = Make();
  MixFrame(*quiet, std::vector<int>(256, 327), std::vector<int>(256, 326));
  EXPECT_EQ(quiet->GetMixWeight(), 4194304);
  auto edge = Make();
  MixFrame(*edge, std::vector<int>(256, 326), std::vector<int>(256, 327));
  EXPECT_EQ(edge->GetMixWeight(), 4278190);

  // Partly cancelling sides (|L + R| averages 804): the weight holds.
  std::vector<int> r(256);
  for (int i = 0; i < 256; ++i) r[i] = i % 5 < 2 ? 1000 : -1000;
  auto cancel = Make();
  for (int k = 0; k < 5; ++k) MixFrame(*cancel, k1000, r);
  EXPECT_EQ(cancel->GetMixWeight(), 4194304);

  // Left louder by 3:1 on the first frame: weight 0.51, x = 16 (0.51 L + 0.49 R).
  auto mix = Make();
  const int x = MixFrame(*mix, std::vector<int>(256, 3000), k1000);
  const double w = 4278190 / 8388608.0;
  EXPECT_EQ(x, static_cast<int>(std::floor(16 * (w * 3000 + (1 - w) * 1000))));
}

TEST(LevellerFraming, MonoSixAndUnanalysedChannelCounts) {
  auto av = Make();
  std::vector<int> mono(256);
  for (int i = 0; i < 256; ++i) mono[i] = (i * 7919) % 65536 - 32768;
  av->Framing(mono.data(), 1, 256, 0);
  for (int i = 0; i < 256; ++i) ASSERT_EQ(av->GetAnalysisFrame()[i], mono[i] * 16) << i;

  // Six rows folded: left = 0 + 2 + 3 + 4, right = 1 + 2 + 3 + 5, both quiet
  // (weight stays 0.5): x = (131 + 232) * 8.
  const int rowValue[6] = {100, 200, 10, 20, 1, 2};
  std::vector<int> six(6 * 256);
  for (int c = 0; c < 6; ++c)
    for (int i = 0; i < 256; ++i) six[c * 256 + i] = rowValue[c];
  av->Framing(six.data(), 6, 256, 0);
  EXPECT_EQ(av->GetAnalysisFrame()[17], 363 * 8);
  // Which side each row joins: a loud row 4 pulls the weight left, row 5 right.
  for (int loudRow : {0, 4, 1, 5}) {
    auto side = Make();
    std::vector<int> rows(6 * 256, 0);
    for (int i = 0; i < 256; ++i) rows[loudRow * 256 + i] = 3000;
    side->Framing(rows.data(), 6, 256, 0);
    if (loudRow == 0 || loudRow == 4)
      EXPECT_GT(side->GetMixWeight(), 4194304) << loudRow;
    else
      EXPECT_LT(side->GetMixWeight(), 4194304) << loudRow;
  }

  // Four channels: the previous analysis frame is analysed again, with the
  // filter states running on.
  auto four = Make();
  std::vector<int> in4(4 * 256), out4(4 * 256);
  for (int i = 0; i < 256; ++i) in4[i] = mono[i];
  four->Process(out4.data(), mono.data(), 1, 256);
  const std::vector<int> analysed(four->GetAnalysisFrame(), four->GetAnalysisFrame() + 256);
  const std::vector<int> weighted1(four->GetWeightedFrame(), four->GetWeightedFrame() + 256);
  four->Process(out4.data(), in4.data(), 4, 256);
  EXPECT_EQ(std::vector<int>(four->GetAnalysisFrame(), four->GetAnalysisFrame() + 256), analysed);
  EXPECT_NE(std::vector<int>(four->GetWeightedFrame(), four->GetWeightedFrame() + 256), weighted1);
  EXPECT_EQ(four->GetFrameCount(), 2);
}

// ---- Processing: delay, gain application, call shapes ------------------------------------------

TEST(LevellerProcess, OutputIsTheInputThreeFramesLateTimesTheFramesGain) {
  auto av = Make();
  const std::vector<int> in = SpeechLikeBursts(40 * 256, 48000, -30, 4);
  std::vector<int> out(in.size());
  std::vector<int> gains;
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

TEST(LevellerProcess, CallShapesInPlaceTailsAndChannelLimits) {
  // Stereo, five frames in one call, equals five single-frame calls, also
  // in place.
  std::vector<int> l = SteadyNoise(5 * 256, -25, 5), r = SteadyNoise(5 * 256, -28, 6);
  std::vector<int> planar(2 * 5 * 256);
  std::copy(l.begin(), l.end(), planar.begin());
  std::copy(r.begin(), r.end(), planar.begin() + 5 * 256);
  auto whole = Make(), split = Make();
  std::vector<int> outWhole(planar.size()), outSplit(planar.size());
  whole->Process(outWhole.data(), planar.data(), 2, 5 * 256);
  for (int f = 0; f < 5; ++f) {
    std::vector<int> in2(512), out2(512);
    std::copy(l.begin() + f * 256, l.begin() + (f + 1) * 256, in2.begin());
    std::copy(r.begin() + f * 256, r.begin() + (f + 1) * 256, in2.begin() + 256);
    split->Process(out2.data(), in2.data(), 2, 256);
    std::copy(out2.begin(), out2.begin() + 256, outSplit.begin() + f * 256);
    std::copy(out2.begin() + 256, out2.end(), outSplit.begin() + 5 * 256 + f * 256);
  }
  EXPECT_EQ(outWhole, outSplit);
  auto inPlace = Make();
  std::vector<int> buffer = planar;
  inPlace->Process(buffer.data(), buffer.data(), 2, 5 * 256);
  EXPECT_EQ(buffer, outWhole);

  // A tail shorter than a frame is neither analysed nor written.
  auto tail = Make();
  std::vector<int> in(300, 500), out(300, -9);
  tail->Process(out.data(), in.data(), 1, 300);
  EXPECT_EQ(tail->GetFrameCount(), 1);
  for (int i = 256; i < 300; ++i) ASSERT_EQ(out[i], -9);
  tail->Process(out.data(), in.data(), 1, 255);
  EXPECT_EQ(tail->GetFrameCount(), 1);

  // Nine rows: the first eight are delayed and gained, the ninth untouched.
  auto nine = Make();
  std::vector<int> in9(9 * 256, 1000), out9(9 * 256, -9);
  for (int k = 0; k < 4; ++k) nine->Process(out9.data(), in9.data(), 9, 256);
  EXPECT_NE(out9[7 * 256], -9);
  EXPECT_EQ(out9[8 * 256], -9);

  // No channels: only the analysis runs; in and out are not touched.
  auto none = Make();
  none->Process(nullptr, nullptr, 0, 512);
  EXPECT_EQ(none->GetFrameCount(), 2);
  none->Process(nullptr, in.data(), 1, 256);  // refused
  EXPECT_EQ(none->GetFrameCount(), 2);
}

// ---- Analysis on signals -----------------------------------------------------------------------

TEST(LevellerAnalysis, FrameLevelOfAToneMatchesTheWeightedPowerInDouble) {
  // A 997 Hz tone at amplitude 8192: analysed times 16 (mono), K-weighted
  // (+0.69 dB), energy = sum of squares / 2^23, level = 10 log10(E * 2^7).
  auto av = Make();
  std::vector<int> tone(1000 * 256);
  for (size_t t = 0; t < tone.size(); ++t) tone[t] = static_cast<int>(std::lrint(8192 * std::sin(2 * M_PI * 997 * t / 48000.0)));
  RunMono(*av, tone, [](size_t) {});
  const double gain = std::pow(10.0, (BiquadDb(AdaV_Ord2_Coefs_480, 0, 997, 48000) +
                                      BiquadDb(AdaV_Ord2_Coefs_480, 1, 997, 48000)) / 20);
  const double amplitude = 8192.0 * 16 * gain;
  const double energy = 256 * amplitude * amplitude / 2 / 8388608.0;
  const double expectedDb = 10 * std::log10(energy * 128);
  EXPECT_NEAR(av->GetLastLevel() / 65536.0, expectedDb, 0.15);  // 5.3 periods per frame
  EXPECT_NEAR(av->GetLastLevel400() / 65536.0, expectedDb, 0.05);
  EXPECT_NEAR(av->GetLastGatedLevel() / 65536.0, expectedDb, 0.05);
  EXPECT_GE(av->GetLastPeakHold(), av->GetLastLevel());
  // A steady tone fills the band rings evenly: no low-energy entries.
  EXPECT_LT(av->GetLowEnergyRatio(), 39321);
}

TEST(LevellerAnalysis, SilenceIsQuietAndThePeakHoldDecays12dBPerSecond) {
  // Digital silence reads as a level of 0 dB, below the quiet gate.
  auto silent = Make();
  RunMono(*silent, std::vector<int>(50 * 256, 0), [](size_t) {});
  EXPECT_EQ(silent->GetLastLevel(), 0);
  EXPECT_EQ(silent->GetQuietCount(), 50);
  EXPECT_EQ(silent->GetFallCount(), 0);
  // After a loud burst the frame level drops far below the hold, which then
  // falls by 4194 per frame. (The level does not drop to 0: the rounding of
  // the high-pass pre-filter, whose poles sit close to DC, holds a constant
  // output of up to 8192 analysis units once its input stops.)
  auto av = Make();
  std::vector<int> sig = SteadyNoise(100 * 256, -10, 7);
  sig.resize(200 * 256, 0);
  std::vector<int> holds;
  RunMono(*av, sig, [&](size_t) { holds.push_back(av->GetLastPeakHold()); });
  for (size_t f = 105; f < 200; ++f) ASSERT_EQ(holds[f] - holds[f - 1], -4194) << f;
  EXPECT_LT(av->GetLastLevel(), holds.back() - 20 * kDb);
  // Band energies: only every third frame enters the ring (station frames 3).
  auto steps = Make();
  RunMono(*steps, SteadyNoise(9 * 256, -20, 8), [](size_t) {});
  EXPECT_EQ(steps->GetBandIndex(), 3);
  EXPECT_EQ(steps->GetStationCounter(), 0);
}

TEST(LevellerAnalysis, EightKilohertzAnalysesFiveBands) {
  auto av = Make(8000);
  RunMono(*av, SteadyNoise(300 * 64, -20, 9), [](size_t) {});
  for (int i = 0; i < 5; ++i) EXPECT_GT(av->GetBandEnergy(4, i), 0) << i;
  for (int i = 0; i < 128; ++i) ASSERT_EQ(av->GetBandEnergy(5, i), 0) << i;
}

TEST(LevellerAnalysis, IntermittentMaterialHasAHighLowEnergyRatio) {
  auto steady = Make(), bursts = Make();
  RunMono(*steady, SteadyNoise(800 * 256, -30, 10), [](size_t) {});
  RunMono(*bursts, SpeechLikeBursts(800 * 256, 48000, -30, 11), [](size_t) {});
  EXPECT_LT(steady->GetLowEnergyRatio(), 39321);
  EXPECT_GT(steady->GetLowRatioCount(), 100);
  EXPECT_GT(bursts->GetLowEnergyRatio(), 1000000);
  EXPECT_EQ(bursts->GetLowRatioCount(), 0);
}

// ---- Gain paths --------------------------------------------------------------------------------

TEST(LevellerGain, AfterALoudPassageTheShortSpanLetsTheGatedLevelFollowQuietMaterial) {
  auto av = Make();
  std::vector<int> sig = SteadyNoise(900 * 256, -10, 15);
  const std::vector<int> quiet = SteadyNoise(450 * 256, -40, 16);
  std::copy(quiet.begin(), quiet.end(), sig.begin() + 450 * 256);
  int quietLevel = 0;
  RunMono(*av, sig, [&](size_t f) {
    if (f == 449) EXPECT_NEAR(av->GetLastGatedLevel(), av->GetLastLevel400(), kDb);
    if (f == 899) quietLevel = av->GetLastLevel400();
  });
  // The shortfall moved the span start forward: the gated level now reads
  // the quiet passage, about 30 dB lower, and the gain has risen.
  EXPECT_GT(av->GetEventStartPos(), 0);
  EXPECT_NEAR(av->GetLastGatedLevel(), quietLevel, kDb);
  EXPECT_GT(av->GetGainDb(), 8 * kDb);
}

}  // namespace
