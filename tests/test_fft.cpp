// Fixed-point FFT kit: the shift and normalisation routines word by word,
// refused calls, hand-computed spectra, the packed spectrum against a
// double-precision DFT for every length from 2 to 1024, the round trips, the
// two-channel forms against the one-channel ones, and the vector butterflies
// against the plain loop.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "fixedpoint/FixedFFT.h"
#include "fixedpoint/FixedFFTInternal.h"
#include "fixedpoint/MathTables.h"

namespace {

using Words = std::vector<int>;
const std::vector<int> kLengths = {2, 4, 8, 16, 32, 64, 128, 256, 512, 1024};

// Z[k] = sum_t (re[t] + i im[t]) exp(sign * 2 pi i k t / n) in double, the
// angle reduced exactly (k*t mod n) before the lookup.
struct Spectrum {
  std::vector<double> re, im;
};
Spectrum ComplexDft(const Words& re, const Words& im, int sign) {
  const int n = static_cast<int>(re.size());
  std::vector<double> c(n), s(n);
  for (int a = 0; a < n; ++a) {
    c[a] = std::cos(2.0 * M_PI * a / n);
    s[a] = sign * std::sin(2.0 * M_PI * a / n);
  }
  Spectrum Z{std::vector<double>(n), std::vector<double>(n)};
  for (int k = 0; k < n; ++k) {
    for (int t = 0, a = 0; t < n; ++t, a = (a + k) % n) {
      Z.re[k] += re[t] * c[a] - im[t] * s[a];
      Z.im[k] += im[t] * c[a] + re[t] * s[a];
    }
  }
  return Z;
}
Spectrum Dft(const Words& x) { return ComplexDft(x, Words(x.size(), 0), -1); }

// Largest distance of the packed words (word k = Re X[k], word n - k =
// -Im X[k]) from the spectrum X times 2^scaleLog2.
double MaxPackedError(const Words& packed, const Spectrum& X, int scaleLog2) {
  const int n = static_cast<int>(packed.size());
  const double scale = std::ldexp(1.0, scaleLog2);
  double worst = 0.0;
  for (int k = 0; k <= n / 2; ++k) worst = std::max(worst, std::fabs(packed[k] - X.re[k] * scale));
  for (int k = 1; k < n / 2; ++k) worst = std::max(worst, std::fabs(packed[n - k] + X.im[k] * scale));
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

TEST(VectorShifts, RoundedRightShiftSparesBothExtremeWords) {
  Words x = {3, -3, 8388607, -8388608, -1, 2, -8388607};
  VectRShiftWithRound(x.data(), 1, 7);
  EXPECT_EQ(x, (Words{2, -1, 4194303, -4194304, 0, 1, -4194303}));
  // At 24 bits the exception shows on -8388608 too (rounded it would be 0).
  x = {8388607, -8388608, -8388607};
  VectRShiftWithRound(x.data(), 24, 3);
  EXPECT_EQ(x, (Words{0, -1, 0}));
  // Computed in 64 bits: (2^31 - 1 + 2^30) asr 31 = 1, and from 32 on all is 0.
  x = {INT_MAX, INT_MIN};
  VectRShiftWithRound(x.data(), 31, 2);
  EXPECT_EQ(x, (Words{1, -1}));
  for (short shift : {32, 45, 64, 32767}) {
    x = {INT_MAX, INT_MIN, 5, -5, 8388607, -8388608};
    VectRShiftWithRound(x.data(), shift, 6);
    EXPECT_EQ(x, (Words{0, 0, 0, 0, 0, -1})) << shift;
  }
  // Non-positive counts and lengths do nothing; only n words are touched.
  x = {7, -7, 9};
  for (short shift : {0, -1, -40}) VectRShiftWithRound(x.data(), shift, 3);
  VectRShiftWithRound(x.data(), 1, 0);
  VectRShiftWithRound(nullptr, 1, 3);
  VectRShiftWithRound(x.data(), 1, 1);
  EXPECT_EQ(x, (Words{4, -7, 9}));
}

TEST(VectorShifts, LeftShiftSaturatesToTwentyFourBits) {
  Words x = {600000, -600000, 1000, -1, 0, 524287, -524288, 524288};
  VectLShiftWithSature(x.data(), 4, 8);
  EXPECT_EQ(x, (Words{8388607, -8388608, 16000, -16, 0, 8388592, -8388608, 8388607}));
  for (short shift : {31, 32, 64, 32767}) {
    x = {1, -1, 0, INT_MAX, INT_MIN};
    VectLShiftWithSature(x.data(), shift, 5);
    EXPECT_EQ(x, (Words{8388607, -8388608, 0, 8388607, -8388608})) << shift;
  }
  x = {7, -7, 9};
  VectLShiftWithSature(x.data(), 0, 3);
  VectLShiftWithSature(x.data(), -3, 3);
  VectLShiftWithSature(nullptr, 1, 3);
  VectLShiftWithSature(x.data() + 1, 1, 1);
  EXPECT_EQ(x, (Words{7, -14, 9}));
}

TEST(BlockNormalisation, RealVector) {
  // S = 33554433 needs three right shifts. 8388607 asr 3 = 1048575 (rounded
  // it would be 1048576, as for 8388605); -8388608 takes the rounding term.
  const Words loud = {8388607, 8388605, -8388608, -8388607, 3, -3};
  Words x = loud;
  EXPECT_EQ(VectNormBySumAbs_Real(x.data(), 6, 0), 3);
  EXPECT_EQ(x, (Words{1048575, 1048576, -1048576, -1048576, 0, 0}));
  x = loud;
  EXPECT_EQ(VectNormBySumAbs_Real(x.data(), 6, 2), 5);  // extra headroom adds
  EXPECT_EQ(x, (Words{262143, 262144, -262144, -262144, 0, 0}));
  x = loud;
  EXPECT_EQ(VectNormBySumAbs_Real(x.data(), 6, -4), 3);  // a negative one is ignored
  // S = 4000 doubles eleven times to 8192000; 2^22 is already in range.
  x = {1000, -3000};
  EXPECT_EQ(VectNormBySumAbs_Real(x.data(), 2, 0), -11);
  EXPECT_EQ(x, (Words{2048000, -6144000}));
  x = {4194304};
  EXPECT_EQ(VectNormBySumAbs_Real(x.data(), 1, 0), 0);
  EXPECT_EQ(x, (Words{4194304}));
  // A zero sum reports -23; empty and refused calls.
  x = {0, 0};
  EXPECT_EQ(VectNormBySumAbs_Real(x.data(), 2, 0), -23);
  EXPECT_EQ(VectNormBySumAbs_Real(x.data(), 2, 1), -22);
  EXPECT_EQ(x, (Words{0, 0}));
  EXPECT_EQ(VectNormBySumAbs_Real(x.data(), 0, 0), -23);
  EXPECT_EQ(VectNormBySumAbs_Real(nullptr, 3, 0), 0);
  EXPECT_EQ(VectNormBySumAbs_Complex(x.data(), nullptr, 2, 0), 0);
}

TEST(BlockNormalisation, ComplexVectorsShareOneShift) {
  // Either array alone would be in range; together they need one shift.
  Words re = {6000000, 0}, im = {0, -6000000};
  EXPECT_EQ(VectNormBySumAbs_Complex(re.data(), im.data(), 2, 0), 1);
  EXPECT_EQ(re, (Words{3000000, 0}));
  EXPECT_EQ(im, (Words{0, -3000000}));
  re = {8388607, 1};
  im = {-8388607, 8388607};  // the exception is tested word by word
  EXPECT_EQ(VectNormBySumAbs_Complex(re.data(), im.data(), 2, 0), 2);
  EXPECT_EQ(re, (Words{2097151, 0}));
  EXPECT_EQ(im, (Words{-2097152, 2097151}));
}

TEST(FftCalls, RefusedWithoutTouchingAnything) {
  for (short n : {-1024, 0, 1, 3, 6, 1000, 1023, 2048, 32767}) {
    Words a(4096, 1234567), b(4096, -7654321);
    short exponent = 77;
    EXPECT_EQ(RealFFT_Fix(a.data(), n, exponent), -1) << n;
    EXPECT_EQ(RealFFT_2ch_Fix(a.data(), b.data(), n, exponent), -1) << n;
    EXPECT_EQ(RealInvFFT_Fix(a.data(), n, 0), -1) << n;
    EXPECT_EQ(RealInvFFT_2ch_Fix(a.data(), b.data(), n, 0), -1) << n;
    ComplexFFT_Fix(a.data(), b.data(), n);
    EXPECT_EQ(exponent, 77) << n;
    EXPECT_EQ(a, Words(4096, 1234567)) << n;
    EXPECT_EQ(b, Words(4096, -7654321)) << n;
  }
  // Null arrays, and the two arrays of a two-channel or complex transform
  // overlapping (adjacent ones are fine).
  Words both(16, 5);
  short exponent = 77;
  EXPECT_EQ(RealFFT_Fix(nullptr, 8, exponent), -1);
  EXPECT_EQ(RealFFT_2ch_Fix(both.data(), nullptr, 8, exponent), -1);
  EXPECT_EQ(RealInvFFT_Fix(nullptr, 8, 0), -1);
  EXPECT_EQ(RealFFT_2ch_Fix(both.data(), both.data() + 4, 8, exponent), -1);
  EXPECT_EQ(RealInvFFT_2ch_Fix(both.data() + 7, both.data(), 8, 0), -1);
  ComplexFFT_Fix(both.data(), both.data(), 8);
  EXPECT_EQ(exponent, 77);
  EXPECT_EQ(both, Words(16, 5));
  EXPECT_EQ(RealFFT_2ch_Fix(both.data(), both.data() + 8, 8, exponent), 0);
  EXPECT_EQ(exponent, 16);  // S = 80, doubled 16 times
}

TEST(RealFft, HandComputedSpectra) {
  // x = (5, -1, 3, 2) * 2^19, S in range: X0 = 9, X1 = (x0 - x2) + i (x3 - x1)
  // = 2 + 3i, X2 = 7; packed Re X0, Re X1, Re X2, -Im X1. Every rotation here
  // stays within +-2^22, where the Q23 cos 0 = 8388607 is still exact.
  Words x = {5 << 19, -1 << 19, 3 << 19, 2 << 19};
  short exponent = 77;
  EXPECT_EQ(RealFFT_Fix(x.data(), 4, exponent), 0);
  EXPECT_EQ(exponent, 0);
  EXPECT_EQ(x, (Words{9 << 19, 2 << 19, 7 << 19, -3 << 19}));
  // Two channels, an impulse beside it (S = 12 * 2^19): a flat spectrum, and
  // the first one unchanged by the separation.
  Words left = {5 << 19, -1 << 19, 3 << 19, 2 << 19}, right = {1 << 19, 0, 0, 0};
  EXPECT_EQ(RealFFT_2ch_Fix(left.data(), right.data(), 4, exponent), 0);
  EXPECT_EQ(exponent, 0);
  EXPECT_EQ(left, (Words{9 << 19, 2 << 19, 7 << 19, -3 << 19}));
  EXPECT_EQ(right, (Words{1 << 19, 1 << 19, 1 << 19, 0}));

  // A = 6000001 at t = 1 of 8: X[k] = A exp(-i pi k/4). Bit reversal puts it
  // at word 4, the first stages spread it over words 4 ... 7 and the last
  // rotates it by the table's twiddles cos 0 = 8388607, cos(pi/4) = 5931642:
  //   A * 8388607 / 2^23 = 6000000.28 -> 6000000
  //   A * 5931642 / 2^23 = 4242641.68 -> 4242642 (rounded half up; a
  //                                      truncating rotation gives 4242641)
  x = {0, 6000001, 0, 0, 0, 0, 0, 0};
  RealFFT_Fix(x.data(), 8, exponent);
  EXPECT_EQ(exponent, 0);
  EXPECT_EQ(x, (Words{6000000, 4242642, 0, -4242642, -6000000, 4242642, 6000000, 4242642}));
}

TEST(RealFft, ZeroInputAndUnitImpulse) {
  for (int n : kLengths) {
    const short len = static_cast<short>(n);
    Words x(n, 0), left(n, 0), right(n, 0);
    short exponent = 0, exponent2 = 0;
    RealFFT_Fix(x.data(), len, exponent);
    RealFFT_2ch_Fix(left.data(), right.data(), len, exponent2);
    EXPECT_EQ(exponent, 23) << n;
    EXPECT_EQ(exponent2, 23) << n;
    // And back: a total shift of log2(n) + 23 + 22 leaves zeros.
    RealInvFFT_Fix(x.data(), len, 23);
    RealInvFFT_2ch_Fix(left.data(), right.data(), len, 23);
    EXPECT_EQ(x, Words(n, 0)) << n;
    EXPECT_EQ(left, Words(n, 0)) << n;
    EXPECT_EQ(right, Words(n, 0)) << n;

    // 2^22 at t = 0 is not shifted and transforms exactly: every real word
    // 2^22, every stored imaginary word 0.
    x[0] = 1 << 22;
    RealFFT_Fix(x.data(), len, exponent);
    EXPECT_EQ(exponent, 0) << n;
    Words expected(n, 0);
    std::fill(expected.begin(), expected.begin() + n / 2 + 1, 1 << 22);
    EXPECT_EQ(x, expected) << n;
  }
}

TEST(RealFft, MatchesDoubleDftForEveryLength) {
  std::mt19937 rng(20240611);
  for (int n : kLengths) {
    Words impulse(n, 0), cosine(n), sine(n);
    impulse[rng() % n] = -5123457;
    const int bin = std::max(1, n / 2 - 1);  // sine and cosine at one bin (n/2 for n = 2)
    for (int t = 0; t < n; ++t) {
      cosine[t] = static_cast<int>(std::lround(3e6 * std::cos(2.0 * M_PI * bin * t / n)));
      sine[t] = static_cast<int>(std::lround(3e6 * std::sin(2.0 * M_PI * bin * t / n)));
    }
    for (const Words& x : {Uniform(n, -8388608, 8388607, rng),  // loud: shifted right
                           Uniform(n, -1000, 1000, rng),        // quiet: shifted left
                           Uniform(n, 0, 8388607, rng), impulse, cosine, sine}) {
      Words packed = x;
      short exponent = 0;
      RealFFT_Fix(packed.data(), static_cast<short>(n), exponent);
      // Against the transform of the normalised input, and against the true
      // spectrum times 2^exponent (the input's rounding adds up to n/2 units).
      EXPECT_LE(MaxPackedError(packed, Dft(Normalised(x, -exponent)), 0), FftBound(n)) << n;
      EXPECT_LE(MaxPackedError(packed, Dft(x), exponent), FftBound(n) + n / 2.0) << n;
    }
    if (n >= 4) {  // a cosine shows in word k, a sine in word n - k, both positive
      Words c = cosine, s = sine;
      short e = 0;
      RealFFT_Fix(c.data(), static_cast<short>(n), e);
      RealFFT_Fix(s.data(), static_cast<short>(n), e);
      EXPECT_GT(c[bin], 1 << 20) << n;
      EXPECT_GT(s[n - bin], 1 << 20) << n;
    }
  }
}

TEST(RealFft2ch, MatchesDoubleDftAndTheOneChannelTransform) {
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
  }
}

TEST(RealInvFft, RoundTripsOfInputsSummingNearTwoToTheTwentyTwo) {
  std::mt19937 rng(5);
  for (int n : kLengths) {
    const short len = static_cast<short>(n);
    for (int rep = 0; rep < 4; ++rep) {
      const Words x = Dense(n, 1.1 * 4194304, rng);
      Words y = x;
      short exponent = 0;
      RealFFT_Fix(y.data(), len, exponent);
      EXPECT_EQ(RealInvFFT_Fix(y.data(), len, exponent), 0);
      EXPECT_LE(MaxDiff(y, x), 3) << n;  // measured: 2
    }
    // Quiet input: the transform noise shrinks with the undone shift.
    const Words quiet = Uniform(n, -300, 300, rng);
    Words y = quiet;
    short exponent = 0;
    RealFFT_Fix(y.data(), len, exponent);
    RealInvFFT_Fix(y.data(), len, exponent);
    EXPECT_LE(MaxDiff(y, quiet), 1) << n;
  }
}

TEST(RealInvFft, ConcentratedSpectrumComesBackScaledByTheKeptShiftRule) {
  // The inverse shifts by log2(n) + exponent - s only when that is at least
  // 1; below, the output stays scaled by 2^total. An impulse has a flat
  // spectrum of n/2 + 1 real words, so s = log2(n) from n = 4 on (2 at n = 2):
  //   2^22 impulse: exponent 0, total 0 (comes back) but -1 at n = 2 (halved);
  //   2^25 impulse: exponent -3, total -3 (-4 at n = 2): back as 2^22 (2^21).
  // These contradict the claim that every input comes back; the shift rule
  // is followed.
  for (int n : kLengths) {
    for (int amplitude : {1 << 22, 1 << 25}) {
      Words x(n, 0);
      x[0] = amplitude;
      short exponent = 0;
      RealFFT_Fix(x.data(), static_cast<short>(n), exponent);
      EXPECT_EQ(exponent, amplitude == 1 << 22 ? 0 : -3);
      RealInvFFT_Fix(x.data(), static_cast<short>(n), exponent);
      Words expected(n, 0);
      expected[0] = n == 2 ? 1 << 21 : 1 << 22;
      EXPECT_EQ(x, expected) << n << " " << amplitude;
    }
  }
}

TEST(RealInvFft2ch, EqualsTheOneChannelInverseAndRoundTrips) {
  std::mt19937 rng(17);
  for (int n : kLengths) {
    const short len = static_cast<short>(n);
    // A spectrum on the left and silence on the right rebuild exactly the
    // one-channel inverse's complex input: the left output is bit-identical.
    const Words spectrum = Uniform(n, -2000000, 2000000, rng);
    Words single = spectrum, left = spectrum, right(n, 0);
    RealInvFFT_Fix(single.data(), len, 3);
    RealInvFFT_2ch_Fix(left.data(), right.data(), len, 3);
    EXPECT_EQ(left, single) << n;
    EXPECT_LE(MaxDiff(right, Words(n, 0)), 1) << n;
    // Two channels whose sums of magnitudes add up to about 1.1 * 2^22.
    for (int rep = 0; rep < 3; ++rep) {
      const Words x = Dense(n, 0.6 * 4194304, rng), y = Dense(n, 0.5 * 4194304, rng);
      left = x;
      right = y;
      short exponent = 0;
      RealFFT_2ch_Fix(left.data(), right.data(), len, exponent);
      EXPECT_EQ(RealInvFFT_2ch_Fix(left.data(), right.data(), len, exponent), 0);
      EXPECT_LE(MaxDiff(left, x), 3) << n;  // measured: 2
      EXPECT_LE(MaxDiff(right, y), 3) << n;
    }
  }
}

TEST(ComplexFft, MatchesDoubleDftWithThePositiveKernel) {
  std::mt19937 rng(3);
  for (int n : {8, 64, 1024}) {
    const int limit = 4000000 / n;  // sum(|re| + |im|) below 2^23
    Words re = Uniform(n, -limit, limit, rng), im = Uniform(n, -limit, limit, rng);
    const Spectrum expected = ComplexDft(re, im, +1);
    ComplexFFT_Fix(re.data(), im.data(), static_cast<short>(n));
    double worst = 0.0;
    for (int k = 0; k < n; ++k) {
      worst = std::max({worst, std::fabs(re[k] - expected.re[k]), std::fabs(im[k] - expected.im[k])});
    }
    EXPECT_LE(worst, FftBound(n)) << n;
  }
}

TEST(FftKernels, FastStagesEqualThePlainLoopOverTableTwiddlesBitForBit) {
  // Twiddles of stage h as documented: a = m * 512/h, cos = table entry a,
  // sin = entry |256 - a|. Words over the full int32 range, far outside the
  // headroom contract: the wrapping sums and the low bits of the rounded
  // products must agree too.
  std::mt19937 rng(9);
  std::vector<int32_t> cosQ23[10], sinQ23[10];
  for (int log2h = 0; log2h < 10; ++log2h) {
    for (int m = 0; m < (1 << log2h); ++m) {
      cosQ23[log2h].push_back(CosTable_Data[m * 512 >> log2h]);
      sinQ23[log2h].push_back(CosTable_Data[std::abs(256 - (m * 512 >> log2h))]);
    }
  }
  for (int n : {2, 4, 8, 16, 64, 1024}) {
    for (int range : {8388607, INT_MAX}) {
      Words re = Uniform(n, -range, range, rng), im = Uniform(n, -range, range, rng);
      Words refRe = re, refIm = im;
      const auto plainStage = [&](int log2h) {
        FftStagePortable(refRe.data(), refIm.data(), n, 1 << log2h, cosQ23[log2h].data(), sinQ23[log2h].data());
      };
      if (n >= 4) {  // the first two stages as one pass with constant twiddles
        FftFirstStages(re.data(), im.data(), n);
        plainStage(0);
        plainStage(1);
        EXPECT_EQ(re, refRe) << n;
        EXPECT_EQ(im, refIm) << n;
      }
      for (int log2h = 0; (2 << log2h) <= n; ++log2h) {  // the build's stage kernel
        FftStage(re.data(), im.data(), n, 1 << log2h, cosQ23[log2h].data(), sinQ23[log2h].data());
        plainStage(log2h);
        EXPECT_EQ(re, refRe) << n << " " << log2h;
        EXPECT_EQ(im, refIm) << n << " " << log2h;
      }
    }
  }
}
