// Fixed-point FFT kit: the shift routines word by word, refused calls, the
// packed spectrum against a double-precision DFT for every length from 2 to
// 1024, the round trips, the two-channel forms against the one-channel ones,
// and the vector butterflies against the plain loop.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <complex>
#include <random>
#include <tuple>
#include <vector>

#include "hvtralofx/FixedFFT.h"

namespace {

using Words = std::vector<int>;
const Words kLengths = {2, 4, 8, 16, 32, 64, 128, 256, 512, 1024};

// X[k] = sum_t x[t] exp(-2 pi i k t / n) in double, the angle reduced exactly
// (k*t mod n) before the lookup.
std::vector<std::complex<double>> Dft(const Words& x) {
  const int n = static_cast<int>(x.size());
  std::vector<std::complex<double>> w(n), X(n);
  for (int a = 0; a < n; ++a) w[a] = std::polar(1.0, -2.0 * M_PI * a / n);
  for (int k = 0; k < n; ++k) {
    for (int t = 0, a = 0; t < n; ++t, a = (a + k) % n) X[k] += static_cast<double>(x[t]) * w[a];
  }
  return X;
}

// Largest distance of the packed words (word k = Re X[k], word n - k =
// -Im X[k]) from the spectrum X times 2^scaleLog2.
double MaxPackedError(const Words& packed, const std::vector<std::complex<double>>& X, int scaleLog2) {
  const int n = static_cast<int>(packed.size());
  const double scale = std::ldexp(1.0, scaleLog2);
  double worst = 0.0;
  for (int k = 0; k <= n / 2; ++k) worst = std::max(worst, std::fabs(packed[k] - X[k].real() * scale));
  for (int k = 1; k < n / 2; ++k) worst = std::max(worst, std::fabs(packed[n - k] + X[k].imag() * scale));
  return worst;
}

// The input as block normalisation by s right shifts leaves it: rounded half
// up, 8388607 without the rounding term; a negative s doubles exactly.
Words Normalised(Words x, int s) {
  for (int& v : x) {
    const double half = (s > 0 && v != 8388607) ? std::ldexp(0.5, s) : 0.0;
    v = static_cast<int>(std::floor(std::ldexp(v + half, -s)));
  }
  return x;
}

// Allowed distance of the packed words from the DFT of the normalised input.
// Each of the log2(n) stages rounds every word to within half a unit and the
// Q23 twiddles are off by at most 2^-22 relative; the errors are independent,
// so they grow like sqrt(n) per stage. Measured worst over thousands of
// random transforms: 21 units at n = 1024, 13 at 512, 3 at 8.
double FftBound(int n) { return 3.0 + std::sqrt(n) * std::countr_zero(static_cast<unsigned>(n)) / 8.0; }

Words Uniform(int n, int lo, int hi, std::mt19937& rng) {
  std::uniform_int_distribution<int> dist(lo, hi);
  Words x(n);
  for (int& v : x) v = dist(rng);
  return x;
}

// Magnitudes within 20 % of each other, random signs, sum of magnitudes about
// sumAbs: a spread-out spectrum, where the inverse's shift rule holds.
Words Dense(int n, double sumAbs, std::mt19937& rng) {
  std::uniform_real_distribution<double> magnitude(0.8, 1.0);
  Words x(n);
  for (int& v : x) v = static_cast<int>(std::lround(sumAbs / (0.9 * n) * magnitude(rng))) * ((rng() & 1) ? 1 : -1);
  return x;
}

int MaxDiff(const Words& a, const Words& b) {
  int worst = 0;
  for (size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
  return worst;
}

}  // namespace

TEST(VectorShifts, RoundedRightAndSaturatedLeftShifts) {
  // Right: rounded half up, except 8388607 (and at 24 bits -8388608, which
  // rounded would be 0); computed in 64 bits, so from 32 on all is 0 or -1.
  // Left: saturated to 24 bits.
  struct Case { bool left; std::vector<short> shifts; Words in, out; };
  for (const Case& c : std::vector<Case>{
           {false, {1}, {3, -3, 8388607, -8388608, -1, 2, -8388607}, {2, -1, 4194303, -4194304, 0, 1, -4194303}},
           {false, {24}, {8388607, -8388608, -8388607}, {0, -1, 0}},
           {false, {31}, {INT_MAX, INT_MIN}, {1, -1}},
           {false, {32, 45, 64, 32767}, {INT_MAX, INT_MIN, 5, -5, 8388607, -8388608}, {0, 0, 0, 0, 0, -1}},
           {true, {4}, {600000, -600000, 1000, -1, 0, 524287, -524288, 524288},
            {8388607, -8388608, 16000, -16, 0, 8388592, -8388608, 8388607}},
           {true, {31, 32, 64, 32767}, {1, -1, 0, INT_MAX, INT_MIN}, {8388607, -8388608, 0, 8388607, -8388608}}}) {
    for (short shift : c.shifts) {
      Words x = c.in;
      (c.left ? VectLShiftWithSature : VectRShiftWithRound)(x.data(), shift, static_cast<short>(x.size()));
      EXPECT_EQ(x, c.out) << c.left << " " << shift;
    }
  }
  // Non-positive counts, empty and null arrays do nothing; only n words move.
  Words x = {7, -7, 9};
  for (short shift : {0, -1, -40}) VectRShiftWithRound(x.data(), shift, 3);
  for (short shift : {0, -3}) VectLShiftWithSature(x.data(), shift, 3);
  VectRShiftWithRound(x.data(), 1, 0);
  for (auto* shiftWords : {VectRShiftWithRound, VectLShiftWithSature}) shiftWords(nullptr, 1, 3);
  VectRShiftWithRound(x.data(), 1, 1);
  VectLShiftWithSature(x.data() + 1, 1, 1);
  EXPECT_EQ(x, (Words{4, -14, 9}));
}

TEST(FftCalls, RefusedWithoutTouchingAnything) {
  short exponent = 77;
  for (short n : {-1024, 0, 1, 3, 6, 1000, 1023, 2048, 32767}) {
    Words a(4096, 1234567), b(4096, -7654321);
    EXPECT_EQ(RealFFT_Fix(a.data(), n, exponent), -1) << n;
    EXPECT_EQ(RealFFT_2ch_Fix(a.data(), b.data(), n, exponent), -1) << n;
    EXPECT_EQ(RealInvFFT_Fix(a.data(), n, 0), -1) << n;
    EXPECT_EQ(RealInvFFT_2ch_Fix(a.data(), b.data(), n, 0), -1) << n;
    ComplexFFT_Fix(a.data(), b.data(), n);
    EXPECT_EQ(a, Words(4096, 1234567)) << n;
    EXPECT_EQ(b, Words(4096, -7654321)) << n;
  }
  // Null arrays, and the two arrays of a two-channel or complex transform
  // overlapping (adjacent ones are fine).
  Words both(16, 5);
  EXPECT_EQ(RealFFT_Fix(nullptr, 8, exponent), -1);
  EXPECT_EQ(RealFFT_2ch_Fix(both.data(), nullptr, 8, exponent), -1);
  EXPECT_EQ(RealInvFFT_Fix(nullptr, 8, 0), -1);
  EXPECT_EQ(RealFFT_2ch_Fix(both.data(), both.data() + 4, 8, exponent), -1);
  EXPECT_EQ(RealInvFFT_2ch_Fix(both.data() + 7, both.data(), 8, 0), -1);
  EXPECT_EQ(VectNormBySumAbs_Real(nullptr, 3, 0), 0);
  EXPECT_EQ(VectNormBySumAbs_Complex(both.data(), nullptr, 2, 0), 0);
  ComplexFFT_Fix(both.data(), both.data(), 8);
  EXPECT_EQ(exponent, 77);
  EXPECT_EQ(both, Words(16, 5));
  EXPECT_EQ(RealFFT_2ch_Fix(both.data(), both.data() + 8, 8, exponent), 0);
  EXPECT_EQ(exponent, 16);  // S = 80, doubled 16 times
}

TEST(RealFft, HandComputedSpectraPinPackingAndRounding) {
  // x = (5, -1, 3, 2) * 2^19: X0 = 9, X1 = 2 + 3i, X2 = 7, packed as
  // Re X0, Re X1, Re X2, -Im X1; beside an impulse in the two-channel form.
  Words x = {5 << 19, -1 << 19, 3 << 19, 2 << 19}, right = {1 << 19, 0, 0, 0};
  short exponent = 77;
  RealFFT_2ch_Fix(x.data(), right.data(), 4, exponent);
  EXPECT_EQ(exponent, 0);
  EXPECT_EQ(x, (Words{9 << 19, 2 << 19, 7 << 19, -3 << 19}));
  EXPECT_EQ(right, (Words{1 << 19, 1 << 19, 1 << 19, 0}));
  // A = 6000001 at t = 1 of 8: X[k] = A exp(-i pi k/4), rotated by the table's
  // cos 0 = 8388607 and cos(pi/4) = 5931642: A * 5931642 / 2^23 = 4242641.68
  // rounds half up to 4242642 (a truncating rotation gives 4242641).
  x = {0, 6000001, 0, 0, 0, 0, 0, 0};
  RealFFT_Fix(x.data(), 8, exponent);
  EXPECT_EQ(exponent, 0);
  EXPECT_EQ(x, (Words{6000000, 4242642, 0, -4242642, -6000000, 4242642, 6000000, 4242642}));
}

TEST(RealFft, ZeroInputImpulsesAndDoubleDftForEveryLength) {
  // The inverse shifts by log2(n) + exponent - s only when that is at least
  // 1; below, the output stays scaled by 2^total. An impulse has a flat
  // spectrum of n/2 + 1 real words, so s = log2(n) from n = 4 on (2 at n = 2):
  //   2^22 impulse: exponent 0, total 0 (comes back) but -1 at n = 2 (halved);
  //   2^25 impulse: exponent -3, total -3 (-4 at n = 2): back as 2^22 (2^21).
  // These contradict the claim that every input comes back; the shift rule
  // is followed.
  std::mt19937 rng(20240611);
  for (int n : kLengths) {
    const short len = static_cast<short>(n);
    Words x(n, 0), left(n, 0), right(n, 0);
    short exponent = 0, exponent2 = 0;
    RealFFT_Fix(x.data(), len, exponent);
    RealFFT_2ch_Fix(left.data(), right.data(), len, exponent2);
    EXPECT_EQ(std::tie(exponent, exponent2), std::make_tuple(23, 23)) << n;
    // And back: a total shift of log2(n) + 23 + 22 leaves zeros.
    RealInvFFT_Fix(x.data(), len, 23);
    RealInvFFT_2ch_Fix(left.data(), right.data(), len, 23);
    EXPECT_EQ(std::tie(x, left, right), std::make_tuple(Words(n, 0), Words(n, 0), Words(n, 0))) << n;
    // 2^22 is not shifted and transforms exactly: every real word 2^22,
    // every stored imaginary word 0.
    Words flat(n, 0), back(n, 0);
    std::fill_n(flat.begin(), n / 2 + 1, 1 << 22);
    back[0] = n == 2 ? 1 << 21 : 1 << 22;
    for (int amplitude : {1 << 22, 1 << 25}) {
      x.assign(n, 0);
      x[0] = amplitude;
      RealFFT_Fix(x.data(), len, exponent);
      EXPECT_EQ(exponent, amplitude == 1 << 22 ? 0 : -3);
      if (amplitude == 1 << 22) EXPECT_EQ(x, flat) << n;
      RealInvFFT_Fix(x.data(), len, exponent);
      EXPECT_EQ(x, back) << n << " " << amplitude;
    }

    Words impulse(n, 0), cosine(n), sine(n);
    impulse[rng() % n] = -5123457;
    const int bin = std::max(1, n / 2 - 1);  // sine and cosine at one bin (n/2 for n = 2)
    for (int t = 0; t < n; ++t) {
      cosine[t] = static_cast<int>(std::lround(3e6 * std::cos(2.0 * M_PI * bin * t / n)));
      sine[t] = static_cast<int>(std::lround(3e6 * std::sin(2.0 * M_PI * bin * t / n)));
    }
    for (const Words& signal : {Uniform(n, -8388608, 8388607, rng),  // loud: shifted right
                                Uniform(n, -1000, 1000, rng),        // quiet: shifted left
                                Uniform(n, 0, 8388607, rng), impulse, cosine, sine}) {
      Words packed = signal;
      RealFFT_Fix(packed.data(), len, exponent);
      // Against the transform of the normalised input, and against the true
      // spectrum times 2^exponent (the input's rounding adds up to n/2 units).
      EXPECT_LE(MaxPackedError(packed, Dft(Normalised(signal, -exponent)), 0), FftBound(n)) << n;
      EXPECT_LE(MaxPackedError(packed, Dft(signal), exponent), FftBound(n) + n / 2.0) << n;
      // A cosine shows in word k, a sine in word n - k, both positive.
      if (n >= 4 && signal == cosine) EXPECT_GT(packed[bin], 1 << 20) << n;
      if (n >= 4 && signal == sine) EXPECT_GT(packed[n - bin], 1 << 20) << n;
    }
  }
}

TEST(RealFft2ch, MatchesDoubleDftTheOneChannelTransformsAndRoundTrips) {
  std::mt19937 rng(99);
  for (int n : kLengths) {
    const short len = static_cast<short>(n);
    const Words x = Uniform(n, -8388608, 8388607, rng), y = Uniform(n, -4000, 4000, rng);
    Words left = x, right = y;
    short exponent = 0;
    RealFFT_2ch_Fix(left.data(), right.data(), len, exponent);
    EXPECT_LE(MaxPackedError(left, Dft(Normalised(x, -exponent)), 0), FftBound(n)) << n;
    EXPECT_LE(MaxPackedError(right, Dft(Normalised(y, -exponent)), 0), FftBound(n)) << n;
    // With one channel silent the shared shift is the one-channel shift, and
    // the separation halves sums of two words equal up to rounding: the
    // spectra agree within a unit or two (measured: exactly).
    for (bool signalLeft : {true, false}) {
      Words single = signalLeft ? x : y;
      short singleExponent = 0;
      RealFFT_Fix(single.data(), len, singleExponent);
      left = signalLeft ? x : Words(n, 0);
      right = signalLeft ? Words(n, 0) : y;
      RealFFT_2ch_Fix(left.data(), right.data(), len, exponent);
      EXPECT_EQ(exponent, singleExponent);
      EXPECT_LE(MaxDiff(signalLeft ? left : right, single), 2) << n;
      EXPECT_LE(MaxDiff(signalLeft ? right : left, Words(n, 0)), 2) << n;
    }
    // A spectrum on the left and silence on the right rebuild exactly the
    // one-channel inverse's complex input: the left output is bit-identical.
    Words single = Uniform(n, -2000000, 2000000, rng);
    left = single;
    right.assign(n, 0);
    RealInvFFT_Fix(single.data(), len, 3);
    RealInvFFT_2ch_Fix(left.data(), right.data(), len, 3);
    EXPECT_EQ(left, single) << n;
    EXPECT_LE(MaxDiff(right, Words(n, 0)), 1) << n;
    // Round trips: one channel summing to about 1.1 * 2^22, and two whose
    // sums add up to that.
    for (int rep = 0; rep < 3; ++rep) {
      const Words a = Dense(n, 1.1 * 4194304, rng), b = Dense(n, 0.6 * 4194304, rng), c = Dense(n, 0.5 * 4194304, rng);
      single = a;
      left = b;
      right = c;
      short exponent1 = 0;
      RealFFT_Fix(single.data(), len, exponent1);
      RealFFT_2ch_Fix(left.data(), right.data(), len, exponent);
      EXPECT_EQ(RealInvFFT_Fix(single.data(), len, exponent1), 0);
      EXPECT_EQ(RealInvFFT_2ch_Fix(left.data(), right.data(), len, exponent), 0);
      EXPECT_LE(std::max({MaxDiff(single, a), MaxDiff(left, b), MaxDiff(right, c)}), 3) << n;  // measured: 2
    }
  }
}
