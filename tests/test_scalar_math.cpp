// Scalar fixed-point helpers: the normalisers' exact contracts, the listed
// table values, and sweeps of the logarithm, decibel, gain and square-root
// helpers across their domains against double-precision math.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "fixedpoint/MathTables.h"
#include "fixedpoint/ScalarMath.h"

using namespace hvfx::fxp;

namespace {

// Test inputs: every power of two, its neighbours, and a dense geometric walk.
std::vector<long long> SweepInputs(long long lo, long long hi) {
  std::vector<long long> xs;
  for (int bit = 0; bit < 63 && (1LL << bit) <= hi; ++bit)
    for (long long d : {-1LL, 0LL, 1LL})
      if ((1LL << bit) + d >= lo && (1LL << bit) + d <= hi) xs.push_back((1LL << bit) + d);
  for (double x = static_cast<double>(lo); x <= static_cast<double>(hi); x *= 1.0007) xs.push_back(std::llround(x));
  return xs;
}

}  // namespace

TEST(Normalisers, ShiftCountsAndResultsAtTheEdges) {
  // {input, shift, result}: zero and negatives are not shifted (AccTo24bShift
  // still reports -23); INT64_MAX shifts right, flooring, until it fits.
  const long long acc24[][3] = {{0, -23, 0},       {-5, -23, -5},           {8388608, 1, 4194304}, {1, -22, 4194304},
                                {6000000, 0, 6000000}, {INT64_MAX, 40, INT64_MAX >> 40}};
  for (const auto& c : acc24) {
    long long v = c[0];
    EXPECT_EQ(AccTo24bShift(v), c[1]) << c[0];
    EXPECT_EQ(v, c[2]) << c[0];
  }
  const long long acc32[][3] = {{0, 0, 0}, {-100, 0, -100}, {1, -30, 1LL << 30}, {1LL << 31, 1, 1LL << 30},
                                {2147483647, 0, 2147483647}};
  for (const auto& c : acc32) {
    long long v = c[0];
    EXPECT_EQ(AccTo32bShift(v), c[1]) << c[0];
    EXPECT_EQ(v, c[2]) << c[0];
  }
  // Norm_S24 fills bit 22; values beyond 24 bits are left as they are.
  const int s24[][3] = {{-4194304, 0, -4194304}, {-1, 22, -4194304}, {1, 22, 4194304},      {0, 0, 0},
                        {20000000, 0, 20000000}, {-4194303, 1, -8388606}, {3, 21, 3 << 21}};
  for (const auto& c : s24) {
    int v = c[0];
    EXPECT_EQ(Norm_S24(v), c[1]) << c[0];
    EXPECT_EQ(v, c[2]) << c[0];
  }
  for (long long x : SweepInputs(1, 1LL << 62)) {
    long long v = x;
    const short s = AccTo24bShift(v);
    EXPECT_GE(v, 4194304) << x;
    EXPECT_LE(v, 8388607) << x;
    EXPECT_EQ(s > 0 ? (x >> s) : (x << -s), v) << x;
  }
}

// The interpolation tables against the functions they sample (their exact
// entries reach the output through the leveller's and the equalizer's gains,
// which the golden vectors carry bit for bit).
TEST(Tables, SampleTheirFunctions) {
  for (int k = 0; k <= 32; ++k) {
    const double x = 1.0 + k / 32.0;
    EXPECT_NEAR(Pwr2Table_Data[k], std::min(4194304.0 * std::exp2(k / 32.0), 8388607.0), 2.0) << k;
    EXPECT_NEAR(Log2Table_Data[k], std::min(8388608.0 * std::log2(x), 8388607.0), 1.0) << k;
    EXPECT_NEAR(SqrtTable_Data[k], 4194304.0 * std::sqrt(x), 1.0) << k;
  }
}

TEST(Tables, CosineTableFollowsTheRoundedRule) {
  EXPECT_EQ(CosTable_Data[0], 8388607);
  EXPECT_EQ(CosTable_Data[256], 0);
  EXPECT_EQ(CosTable_Data[512], -8388608);
  for (int k = 0; k <= 512; ++k) {
    const double ideal = std::round(8388608.0 * std::cos(2.0 * M_PI * k / 1024.0));
    EXPECT_LE(std::abs(CosTable_Data[k] - ideal), 2.0) << k;
    if (k > 0) {
      EXPECT_LE(CosTable_Data[k], CosTable_Data[k - 1]) << k;  // monotonic half period
    }
  }
}

TEST(Logarithm, ListedValues) {
  EXPECT_EQ(Log2_S24(1), 0);
  EXPECT_EQ(Log2_S24(1 << 22), 22 << 18);
  EXPECT_EQ(Log2_S24(0), 0);
  EXPECT_EQ(Log2_S24(-7), 0);
  EXPECT_NEAR(Log2_S24(8388607), 23 << 18, 2);
}

// Linear interpolation over 32 segments of log2(1 + t) errs by at most
// (1/32)^2 / 8 / ln 2 ~ 1.8e-4; the table and the truncations add a little.
TEST(Logarithm, SweepWithinInterpolationError) {
  for (long long x : SweepInputs(1, 8388607)) {
    const double got = Log2_S24(static_cast<int>(x)) / 262144.0;
    EXPECT_NEAR(got, std::log2(static_cast<double>(x)), 2.5e-4) << x;
  }
}

TEST(Decibels, ListedValues) {
  EXPECT_EQ(Amp2dB(8388607, 23), -2);  // just below 0 dB
  EXPECT_EQ(Amp2dB(1 << 22, 23), -394566);
  EXPECT_EQ(Amp2dB(0, 15), 0);
  EXPECT_EQ(Amp2dB(-3, 15), 0);
  EXPECT_EQ(Pwr2dB(1 << 22, 23), -394566 / 2);
  EXPECT_EQ(Pwr2dB(0, 0), 0);
}

TEST(Decibels, SweepWithinStatedError) {
  // The log2 error of 2.5e-4 times 20 log10(2) gives 1.5e-3 dB.
  for (short q : {short{0}, short{15}, short{23}, short{-7}}) {
    for (long long x : SweepInputs(1, 8388607)) {
      const double ratio = static_cast<double>(x) / std::ldexp(1.0, q);
      EXPECT_NEAR(Amp2dB(static_cast<int>(x), q) / 65536.0, 20.0 * std::log10(ratio), 1.6e-3) << x << " q" << q;
      EXPECT_NEAR(Pwr2dB(static_cast<int>(x), q) / 65536.0, 10.0 * std::log10(ratio), 0.8e-3 + 1.0 / 65536)
          << x << " q" << q;
    }
  }
}

TEST(Gain, ListedValues) {
  EXPECT_EQ(dB2Gain(0, 16, 23), 8388607);  // unity saturates in Q23
  EXPECT_EQ(dB2Gain(0, 16, 22), 4194304);
  EXPECT_NEAR(dB2Gain(static_cast<int>(-6.0206 * 65536), 16, 23), 4194304, 600);
  EXPECT_EQ(dB2Gain(200 << 16, 16, 23), 8388607);
  EXPECT_EQ(dB2Gain(0, 0, 19), 0x80000);
  EXPECT_EQ(dB2Gain(-300 << 16, 16, 23), 0);  // underflows below about -250 dB
}

TEST(Gain, SweepWithinStatedError) {
  // 2^fraction by linear interpolation over 32 segments: relative error below
  // (1/32)^2 / 8 * ln(2)^2 ~ 6e-5, plus one unit of truncation.
  for (int dbQ16 = -120 * 65536; dbQ16 <= 40 * 65536; dbQ16 += 4093) {
    for (short qOut : {short{15}, short{18}, short{19}, short{23}}) {
      const double ideal = std::pow(10.0, dbQ16 / 65536.0 / 20.0) * std::ldexp(1.0, qOut);
      const int got = dB2Gain(dbQ16, 16, qOut);
      ASSERT_GE(got, 0);
      if (ideal >= 8388607.0) {
        EXPECT_EQ(got, 8388607);
      } else {
        EXPECT_NEAR(got, ideal, ideal * 1e-4 + 1.0) << dbQ16 << " q" << qOut;
      }
    }
  }
  // Integer decibels (qIn = 0), as the equalizer uses them.
  for (int db = -60; db <= 20; ++db)
    EXPECT_NEAR(dB2Gain(db, 0, 19), std::pow(10.0, db / 20.0) * 524288.0, std::pow(10.0, db / 20.0) * 52.5 + 1.0)
        << db;
}

TEST(SquareRoot, ListedValues) {
  EXPECT_EQ(GetSqrt_S56(1LL << 46), 8388607);
  EXPECT_EQ(GetSqrt_S56(4), 2);
  EXPECT_EQ(GetSqrt_S56(1LL << 44), 4194304);
  EXPECT_EQ(GetSqrt_S56(0), 0);
  EXPECT_EQ(GetSqrt_S56(-9), 0);
}

TEST(SquareRoot, SweepWithinStatedError) {
  // Interpolation of sqrt(1 + t) errs by at most 3e-5 relative; the sqrt(2)
  // factors and the final shift truncate, adding one unit.
  for (long long x : SweepInputs(1, (1LL << 46) - 1)) {
    const double ideal = std::sqrt(static_cast<double>(x));
    const int got = GetSqrt_S56(x);
    if (ideal >= 8388607.0) {
      EXPECT_EQ(got, 8388607) << x;
    } else {
      EXPECT_NEAR(got, ideal, ideal * 5e-5 + 1.0) << x;
    }
  }
}
