// The equalizer class: the design's clamps, limits and refusals, the dry
// path, 0 dB sections and saturation. Its coefficients
// (shelves, bands with and without the dry path, a Q so small that the
// bandwidth angle is held) and its per-sample arithmetic, vector lanes and
// portable loop alike, are carried bit for bit by the golden vectors
// (test_golden, run with and without the vector kernels).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "hvtralofx/CHVAudioEQ_Ts.h"

namespace {

bool SameState(const CHVAudioEQ_Ts& a, const CHVAudioEQ_Ts& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

std::vector<int> Sine(double f, int fs, double amplitude, int frames) {
  std::vector<int> x(static_cast<size_t>(frames));
  for (int n = 0; n < frames; ++n) x[n] = static_cast<int>(std::lround(amplitude * std::sin(2 * M_PI * f * n / fs)));
  return x;
}

// An equalizer with its shelves off and, if gainDb is not 0, band 0 at
// 1 kHz, Q 2.
CHVAudioEQ_Ts Band1k(int gainDb) {
  CHVAudioEQ_Ts e(48000);
  e.Initial(1);
  e.Tst_SetLFOption(false, 0, 0);
  e.Tst_SetHFOption(false, 0, 0);
  if (gainDb != 0) e.Tst_SetBPFOption(0, true, 1000, gainDb, 2.0f);
  return e;
}

}  // namespace

TEST(EqDesign, FrequencyClampsGainLimitAndRefusals) {
  const auto lf = [](int hz, int db = 3) { CHVAudioEQ_Ts e(48000); e.Tst_SetLFOption(true, hz, db); return std::pair(e.lfA1, e.lfB0); };
  const auto hf = [](int hz) { CHVAudioEQ_Ts e(48000); e.Tst_SetHFOption(true, hz, 3); return std::pair(e.hfA1, e.hfB0); };
  const auto bp = [](int hz, int db) {
    CHVAudioEQ_Ts e(48000);
    e.Tst_SetBPFOption(0, true, hz, db, 1.0f);
    return std::tuple(e.band[0].bpA1, e.band[0].bpA2, e.band[0].bpB0);
  };
  EXPECT_EQ(lf(20), lf(150));  // corner floor
  EXPECT_NE(lf(150), lf(200));
  // Above half the rate: pulled to 23000 / 23500 / 23900 Hz.
  EXPECT_EQ(lf(30000), lf(23000));
  EXPECT_EQ(hf(30000), hf(23500));
  EXPECT_EQ(bp(30000, 5), bp(23900, 5));
  // Exactly half the rate is not above it (the test is strict), so it is
  // designed as given, whatever the listed "24000 Hz becomes ..." suggests:
  // the high shelf at 24 kHz has c = 4194303 and a zero gain k.
  EXPECT_NE(lf(24000), lf(23000));
  EXPECT_EQ(hf(24000), std::pair(4194303, 0));
  EXPECT_NE(bp(24000, 5), bp(23900, 5));
  // Gains are limited to 20 dB; there is no lower limit.
  EXPECT_EQ(bp(1000, 25), bp(1000, 20));
  EXPECT_EQ(bp(1000, 21), bp(1000, 20));
  EXPECT_NE(bp(1000, 19), bp(1000, 20));
  EXPECT_EQ(lf(500, 40), lf(500, 20));
  EXPECT_NE(bp(1000, -40), bp(1000, -30));
  // Refused settings (out-of-range band, bad q, negative table indices) and
  // empty or null process calls change nothing and write nothing.
  CHVAudioEQ_Ts e(48000);
  const CHVAudioEQ_Ts before = e;
  for (int b : {10, -1}) e.Tst_SetBPFOption(b, true, 1000, 6, 2.0f);
  for (float q : {std::nanf(""), -1.0f, 5000.0f}) e.Tst_SetBPFOption(2, true, 1000, 6, q);
  e.Tst_SetBPFOption(2, true, -50, 6, 2.0f);  // centre index -1
  e.Tst_SetHFOption(true, -500, 6);           // table index -5
  std::vector<int> a(8, 5), untouched(8, 77);
  e.EQProcess(untouched.data(), a.data(), 1, 0);
  e.EQProcess(untouched.data(), a.data(), 0, 4);
  e.EQProcess(nullptr, a.data(), 1, 4);
  e.EQProcess(untouched.data(), nullptr, 1, 4);
  EXPECT_EQ(untouched, std::vector<int>(8, 77));
  EXPECT_TRUE(SameState(e, before));
}

TEST(EqProcess, DryPathZeroDecibelSectionsAndSaturation) {
  // Every section off: output = input saturated to 24 bits.
  std::vector<int> in = {0, 1, -1, 8388607, -8388608, 9000000, -9000000, 123456, -7}, out(in.size());
  CHVAudioEQ_Ts off = Band1k(0);
  off.EQProcess(out.data(), in.data(), 1, static_cast<int>(in.size()));
  EXPECT_EQ(out, (std::vector<int>{0, 1, -1, 8388607, -8388608, 8388607, -8388608, 123456, -7}));
  // Every section on at 0 dB: G - 1 = 0, nothing is added.
  CHVAudioEQ_Ts zero(48000);
  zero.Tst_SetLFOption(true, 300, 0);
  zero.Tst_SetHFOption(true, 9000, 0);
  for (int b = 0; b < CHVAudioEQ_Ts::kBandCount; ++b) zero.Tst_SetBPFOption(b, true, 300 + 900 * b, 0, 1.5f);
  std::vector<int> noise(4000), y(noise.size());
  std::mt19937 rng(3);
  for (int& v : noise) v = static_cast<int>(rng() % 16777216) - 8388608;
  zero.EQProcess(y.data(), noise.data(), 1, static_cast<int>(noise.size()));
  EXPECT_EQ(y, noise);
  // A +20 dB band driven near full scale clips at exactly the 24-bit limits.
  CHVAudioEQ_Ts loud = Band1k(20);
  std::vector<int> s = Sine(1000, 48000, 4e6, 4800);
  loud.EQProcess(s.data(), s.data(), 1, 4800);
  EXPECT_EQ(*std::max_element(s.begin(), s.end()), 8388607);
  EXPECT_EQ(*std::min_element(s.begin(), s.end()), -8388608);
}
