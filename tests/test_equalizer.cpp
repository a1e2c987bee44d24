// The equalizer class and its division kit: coefficients worked out by hand
// from the design rules, the measured response of sines against the ideal
// sections, and the per-sample arithmetic against a plain re-statement of it.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "eq/CHVAudioEQ_Ts.h"
#include "eq/EQDivisionInternal.h"
#include "support/EqAnalytic.h"

using eqtest::Kind;
using eqtest::Section;

namespace {

// The filtering rule written out directly, one frame at a time, over a copy
// of an equalizer's coefficients and state (inputs are kept below 2^27 so
// that plain int64 arithmetic cannot overflow).
void ReferenceProcess(CHVAudioEQ_Ts& e, int* out, const int* in, int stride, int frames) {
  const int channels = stride > 1 ? 2 : 1;
  for (int n = 0; n < frames; ++n, in += stride, out += stride) {
    for (int ch = 0; ch < channels; ++ch) {
      const int64_t x = in[ch];
      int& xn1 = ch ? e.x1n1 : e.x0n1;
      int& xn2 = ch ? e.x1n2 : e.x0n2;
      int64_t acc = e.nDryPath == 1 ? x * 4194304 : 0;
      if (e.bLFEnable) {
        int& y = ch ? e.lfY1 : e.lfY0;
        const int64_t u = int64_t{e.lfB0} * x + int64_t{e.lfB1} * xn1 - int64_t{e.lfA1} * y;
        y = static_cast<int>(u >> 22);
        acc += u;
      }
      for (auto& b : e.band) {
        if (!b.bEnable) continue;
        int& y1 = ch ? b.y1n1 : b.y0n1;
        int& y2 = ch ? b.y1n2 : b.y0n2;
        const int64_t u = int64_t{b.bpB0} * x + int64_t{b.bpB2} * xn2 - int64_t{b.bpA1} * y1 - int64_t{b.bpA2} * y2;
        y2 = y1;
        y1 = static_cast<int>(u >> 22);
        acc += u;
      }
      if (e.bHFEnable) {
        int& y = ch ? e.hfY1 : e.hfY0;
        const int64_t u = int64_t{e.hfB0} * x + int64_t{e.hfB1} * xn1 - int64_t{e.hfA1} * y;
        y = static_cast<int>(u >> 22);
        acc += u;
      }
      out[ch] = static_cast<int>(std::clamp<int64_t>(acc >> 22, -8388608, 8388607));
      xn2 = xn1;
      xn1 = static_cast<int>(x);
    }
  }
}

bool SameState(const CHVAudioEQ_Ts& a, const CHVAudioEQ_Ts& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

std::vector<int> Sine(double f, int fs, double amplitude, int frames) {
  std::vector<int> x(static_cast<size_t>(frames));
  for (int n = 0; n < frames; ++n) x[n] = static_cast<int>(std::lround(amplitude * std::sin(2 * M_PI * f * n / fs)));
  return x;
}

// Gain in dB of a steady sine through the equalizer (transient skipped).
double MeasuredGainDb(CHVAudioEQ_Ts& e, double f, int fs) {
  const int frames = 12000;
  const double amplitude = 1 << 20;
  std::vector<int> in = Sine(f, fs, amplitude, frames), out(in.size());
  e.Reset();
  e.EQProcess(out.data(), in.data(), 1, frames);
  const std::vector<double> y(out.begin(), out.end());
  return 20 * std::log10(eqtest::ToneAmplitude(y, f, fs, 4000) / amplitude);
}

// An equalizer with exactly the given sections (shelves off unless listed).
CHVAudioEQ_Ts Build(int fs, const std::vector<Section>& sections, int dryPath = 1) {
  CHVAudioEQ_Ts e(fs);
  e.Initial(dryPath);
  e.Tst_SetLFOption(false, 0, 0);
  e.Tst_SetHFOption(false, 0, 0);
  int band = 0;
  for (const Section& s : sections) {
    if (s.kind == Kind::kLowShelf) e.Tst_SetLFOption(true, s.freqHz, s.gainDb);
    if (s.kind == Kind::kHighShelf) e.Tst_SetHFOption(true, s.freqHz, s.gainDb);
    if (s.kind == Kind::kBand) e.Tst_SetBPFOption(band++, true, s.freqHz, s.gainDb, static_cast<float>(s.q));
  }
  return e;
}

}  // namespace

TEST(EqDivisionKit, NormaliseShiftAndDivide) {
  struct NormCase { int in, shift, out; };
  for (const NormCase& c : {NormCase{0, -23, 0}, {0x400000, 0, 0x400000}, {1, -22, 0x400000},
                            {0x3FFFFF, -1, 0x7FFFFE}, {0x7FFFFFFF, 0, 0x7FFFFFFF}, {-1, -22, -4194304},
                            {-4194304, 0, -4194304}, {-4194303, -1, -8388606}}) {
    int x = c.in, s = 99;
    EXPECT_EQ(EQ_Norm24(&s, &x), c.shift) << c.in;
    EXPECT_EQ(s, c.shift);
    EXPECT_EQ(x, c.out) << c.in;
  }
  struct ShiftCase { int in, shift, out; };  // limited to +-23, floored, saturated
  for (const ShiftCase& c : {ShiftCase{5, 40, 8388607}, {-8388608, -40, -1}, {-3, -1, -2}, {-3000000, 2, -8388608}}) {
    int x = c.in;
    EQ_Shift24z(&x, c.shift);
    EXPECT_EQ(x, c.out) << c.in << " " << c.shift;
  }
  EXPECT_EQ(EQ_Norm24(nullptr), 0);
  EQ_Shift24z(nullptr, 1);

  EXPECT_EQ(EQ_Div24Get24(12345, 0, 22), 0x7FFFFF);
  EXPECT_EQ(EQ_Div24Get24(1, 2, 22), 2097152);          // 0.5 in Q22
  EXPECT_EQ(EQ_Div24Get24(1, 3, 22), 1398101);          // 2^22/3 truncated
  EXPECT_EQ(EQ_Div24Get24(5, 2, 22), 0x7FFFFF);         // 2.5 does not fit Q22 in 24 bits
  EXPECT_EQ(EQ_Div24Get24(1, 1, 10, 15, 15), 1 << 20);  // (1/2^10)/(1/2^15) = 32 in Q15
  // Against double: truncated, at most a few units low (bit 0 of the
  // normalised numerator is dropped).
  std::mt19937 rng(7);
  for (int i = 0; i < 20000; ++i) {
    const int den = static_cast<int>(rng() % 8388607) + 1;
    const int num = static_cast<int>(rng() % static_cast<unsigned>(den));
    const double exact = std::floor(static_cast<double>(num) / den * 4194304.0);
    const int got = EQ_Div24Get24(num, den, 22);
    ASSERT_TRUE(got <= exact && got >= exact - 3) << num << "/" << den << " gives " << got;
  }
}

// Coefficients from the design rules, by hand. Default low shelf at 48 kHz:
// idx = (300 << 9)/48000 = 3, s = cos[253] = 154407, co = cos[3] = 8387187;
// c = -(co - s)*2^22/(s + co) = -4042662; Gm = dB2Gain(-10) - 0x80000 =
// -358489; k = (0x80000 + Gm*(c + 0x400000)) >> 20 = -51844. High shelf
// 10 kHz +6 dB: idx 106, c = -569654, Gm = 521827, k = 2370798.
TEST(EqDesign, CoefficientsWorkedOutByHand) {
  using A = std::array<int, 5>;
  const auto shelves = [](const CHVAudioEQ_Ts& e) { return A{e.lfA1, e.lfB0, e.lfB1, e.hfA1, e.hfB0}; };
  const auto band = [](const CHVAudioEQ_Ts::BandSection& b) { return A{b.bpB0, b.bpB1, b.bpB2, b.bpA1, b.bpA2}; };
  CHVAudioEQ_Ts e(48000);
  EXPECT_EQ(shelves(e), (A{-4042662, -51844, -51844, -569654, 2370798}));
  EXPECT_EQ(e.hfB1, -2370798);
  EXPECT_EQ(e.nDryPath + e.bLFEnable + e.bHFEnable, 3);
  for (const auto& b : e.band) EXPECT_EQ(b.bEnable, 0);
  // Band 1 kHz, +6 dB, q 2: iw = 21 (cos 8319064), ib = (1000*2^29/2^21)/48000
  // = 5, s = cos[251] = 257319, co = cos[5] = 8384660, c = 3944528,
  // g = (0x80000 + (0x400000 - c)*521827) >> 20 = 124302,
  // d = (-8319064*(c + 0x400000) + 0x400000) >> 23 = -8071359.
  e.Tst_SetBPFOption(3, true, 1000, 6, 2.0f);
  EXPECT_EQ(band(e.band[3]), (A{124302, 0, -124302, -8071359, 3944528}));
  // So small a q that ib passes 256 is held at 256: s = cos[0], co = 0,
  // c = -4194303, d = (-8319064 + 0x400000) >> 23 = -1, g = 8 * 521827.
  e.Tst_SetBPFOption(4, true, 1000, 6, 0.001f);
  EXPECT_EQ(band(e.band[4]), (A{4174616, 0, -4174616, -1, -4194303}));
  // Without the dry path the weight is G itself (131700 at -12 dB): 400 Hz,
  // q 2 gives iw 8, ib 2, c = 4092602, g = 12774.
  e.Initial(0);
  e.Tst_SetBPFOption(0, true, 400, -12, 2.0f);
  EXPECT_EQ(band(e.band[0]), (A{12774, 0, -12774, -8276924, 4092602}));
}

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

  // Ignored and refused calls change nothing; a disabled band keeps its
  // coefficients and state.
  CHVAudioEQ_Ts e(48000);
  e.Tst_SetBPFOption(2, true, 700, 4, 1.5f);
  std::vector<int> x = Sine(700, 48000, 1e6, 64);
  e.EQProcess(x.data(), x.data(), 1, 64);
  const CHVAudioEQ_Ts before = e;
  for (int b : {10, -1}) e.Tst_SetBPFOption(b, true, 1000, 6, 2.0f);
  for (float q : {std::nanf(""), -1.0f, 5000.0f}) e.Tst_SetBPFOption(2, true, 1000, 6, q);
  e.Tst_SetBPFOption(2, true, -50, 6, 2.0f);  // centre index -1
  e.Tst_SetHFOption(true, -500, 6);           // table index -5
  EXPECT_TRUE(SameState(e, before));
  e.Tst_SetBPFOption(2, false, 1000, 6, 2.0f);
  CHVAudioEQ_Ts expected = before;
  expected.band[2].bEnable = 0;
  EXPECT_TRUE(SameState(e, expected));
}

// Sines through the fixed-point filter against the ideal sections (with the
// table-quantised angles) at several frequencies, gains and Qs.
TEST(EqResponse, MatchesTheIdealSections) {
  const std::vector<std::vector<Section>> settings = {
      {{Kind::kLowShelf, 300, -10}, {Kind::kHighShelf, 10000, 6}},
      {{Kind::kLowShelf, 150, 12}},
      {{Kind::kHighShelf, 4000, -8}},
      {{Kind::kBand, 1000, 6, 2.0}},
      {{Kind::kBand, 250, 12, 4.0}, {Kind::kBand, 4000, -9, 0.7}},
      {{Kind::kLowShelf, 200, 4}, {Kind::kBand, 630, -6, 1.0}, {Kind::kBand, 2500, 20, 8.0},
       {Kind::kBand, 6300, 3, 2.0}, {Kind::kHighShelf, 12000, -3}},
  };
  for (int fs : {44100, 48000})
    for (const auto& sections : settings) {
      CHVAudioEQ_Ts e = Build(fs, sections);
      for (double f : {60.0, 180.0, 440.0, 1000.0, 2600.0, 7000.0, 15000.0})
        EXPECT_NEAR(MeasuredGainDb(e, f, fs), eqtest::ResponseDb(sections, f, fs), 0.02)
            << "fs " << fs << " f " << f << " first section " << sections[0].freqHz;
    }
  // Without the dry path the output is the weighted band alone (the LFE use).
  const std::vector<Section> lfe = {{Kind::kBand, 400, -12, 2.0}};
  CHVAudioEQ_Ts e = Build(48000, lfe, 0);
  for (double f : {200.0, 400.0, 800.0})
    EXPECT_NEAR(MeasuredGainDb(e, f, 48000), eqtest::ResponseDb(lfe, f, 48000, false), 0.02) << f;
}

TEST(EqProcess, DryPathZeroDecibelSectionsAndSaturation) {
  std::vector<int> in = {0, 1, -1, 8388607, -8388608, 9000000, -9000000, 123456, -7};
  std::vector<int> out(in.size());
  const std::vector<int> clipped = {0, 1, -1, 8388607, -8388608, 8388607, -8388608, 123456, -7};
  // Every section off: output = input saturated to 24 bits.
  CHVAudioEQ_Ts off = Build(48000, {});
  off.EQProcess(out.data(), in.data(), 1, static_cast<int>(in.size()));
  EXPECT_EQ(out, clipped);
  // Every section on at 0 dB: G - 1 = 0, nothing is added.
  CHVAudioEQ_Ts zero(48000);
  zero.Tst_SetLFOption(true, 300, 0);
  zero.Tst_SetHFOption(true, 9000, 0);
  for (int b = 0; b < CHVAudioEQ_Ts::kBandCount; ++b) zero.Tst_SetBPFOption(b, true, 300 + 900 * b, 0, 1.5f);
  std::vector<int> noise(4000);
  std::mt19937 rng(3);
  for (int& v : noise) v = static_cast<int>(rng() % 16777216) - 8388608;
  std::vector<int> y(noise.size());
  zero.EQProcess(y.data(), noise.data(), 1, static_cast<int>(noise.size()));
  EXPECT_EQ(y, noise);
  // A +20 dB band driven near full scale clips at exactly the 24-bit limits.
  CHVAudioEQ_Ts loud = Build(48000, {{Kind::kBand, 1000, 20, 2.0}});
  std::vector<int> s = Sine(1000, 48000, 4e6, 4800);
  loud.EQProcess(s.data(), s.data(), 1, 4800);
  EXPECT_EQ(*std::max_element(s.begin(), s.end()), 8388607);
  EXPECT_EQ(*std::min_element(s.begin(), s.end()), -8388608);
}

// The packed per-sample loop against the rule written out, for section sets
// of every size (so that partly filled vector groups occur), strides 1, 2
// (each channel with its own history) and 3 (the third channel left alone),
// in place and not, in chunks of random length.
TEST(EqProcess, BitExactAgainstTheRuleForAnySectionSet) {
  std::mt19937 rng(11);
  const auto pick = [&rng](int lo, int hi) { return lo + static_cast<int>(rng() % static_cast<unsigned>(hi - lo)); };
  for (int trial = 0; trial < 40; ++trial) {
    CHVAudioEQ_Ts e(trial % 2 ? 44100 : 48000);
    if (trial % 3 == 0) e.Initial(0);
    e.Tst_SetLFOption(trial % 4 != 1, pick(100, 1000), pick(-20, 20));
    e.Tst_SetHFOption(trial % 5 != 2, pick(3000, 18000), pick(-20, 20));
    for (int i = 0; i < trial % 11; ++i)
      e.Tst_SetBPFOption(pick(0, 10), true, pick(40, 20000), pick(-25, 25), 0.3f + static_cast<float>(pick(0, 100)) / 10);
    const int stride = 1 + trial % 3, frames = 1500;
    std::vector<int> in(static_cast<size_t>(frames) * stride);
    for (int& v : in) v = pick(-(1 << 24), 1 << 24);  // beyond 24 bits too
    CHVAudioEQ_Ts ref = e;
    std::vector<int> expected = in, out = in;
    ReferenceProcess(ref, expected.data(), in.data(), stride, frames);
    const bool inPlace = trial % 2 == 0;
    for (int pos = 0; pos < frames;) {
      const int chunk = std::min(frames - pos, pick(1, 300));
      const size_t at = static_cast<size_t>(pos) * stride;
      e.EQProcess(out.data() + at, (inPlace ? out.data() : in.data()) + at, stride, chunk);
      pos += chunk;
    }
    ASSERT_EQ(out, expected) << "trial " << trial;
    ASSERT_TRUE(SameState(e, ref)) << "trial " << trial;
  }
}

TEST(EqProcess, ResetRestartsAndEmptyCallsWriteNothing) {
  CHVAudioEQ_Ts e = Build(48000, {{Kind::kLowShelf, 200, 6}, {Kind::kBand, 900, 8, 1.0}});
  const CHVAudioEQ_Ts fresh = e;
  std::vector<int> a = Sine(300, 48000, 2e6, 2000), first(2000), again(2000);
  e.EQProcess(first.data(), a.data(), 1, 2000);
  e.Reset();
  EXPECT_TRUE(SameState(e, fresh));
  e.EQProcess(again.data(), a.data(), 1, 2000);
  EXPECT_EQ(again, first);
  std::vector<int> untouched(8, 77);
  e.EQProcess(untouched.data(), a.data(), 1, 0);
  e.EQProcess(untouched.data(), a.data(), 0, 4);
  e.EQProcess(nullptr, a.data(), 1, 4);
  e.EQProcess(untouched.data(), nullptr, 1, 4);
  EXPECT_EQ(untouched, std::vector<int>(8, 77));
}
