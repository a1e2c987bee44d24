#include "ScalarMath.h"

#include "FixedPoint.h"

namespace hvfx::fxp {

namespace {

constexpr int64_t kSqrt2Q22 = 5931642;          // sqrt(2) in Q22
constexpr int64_t kTwentyLog10Of2Q20 = 6313056;  // 20*log10(2) in Q20
constexpr int64_t kLog2Of10Over20Q25 = 5573271;  // log2(10)/20 in Q25

// Linear interpolation into a 33-entry table: (T[idx] << 23) + (T[idx+1] - T[idx]) * frac23,
// a Q(table + 23) value in 64 bits. idx is 0 ... 31, frac23 a 23-bit fraction.
int64_t InterpolateQ23(const int* table, int idx, int64_t frac23) {
  const int64_t base = static_cast<int64_t>(table[idx]) * (int64_t{1} << 23);
  return base + (static_cast<int64_t>(table[idx + 1]) - table[idx]) * frac23;
}

}  // namespace

short AccTo24bShift(long long& acc) {
  short s = 0;
  if (acc > kMax24) {
    while (acc > kMax24) {
      acc >>= 1;
      ++s;
    }
    return s;
  }
  if (acc <= 0) return -23;
  if (acc > 4194303) return 0;
  while (acc <= 4194303) {
    acc *= 2;
    --s;
  }
  return s;
}

short AccTo32bShift(long long& acc) {
  short s = 0;
  if (acc > 2147483647LL) {
    while (acc > 2147483647LL) {
      acc >>= 1;
      ++s;
    }
    return s;
  }
  if (acc <= 0) return 0;
  if (acc > 1073741823LL) return 0;
  while (acc <= 1073741823LL) {
    acc *= 2;
    --s;
  }
  return s;
}

short Norm_S24(int& x) {
  short n = 0;
  if (x > 0) {
    if (x > 4194303) return 0;
    while (x <= 4194303) {
      x *= 2;
      ++n;
    }
  } else if (x < 0) {
    if (x < -4194303) return 0;
    while (x >= -4194303) {
      x *= 2;
      ++n;
    }
  }
  return n;
}

int Log2_S24(int x) {
  if (x <= 0) return 0;
  const int n = Norm_S24(x);
  const int idx = (x >> 17) & 31;
  const int64_t frac23 = static_cast<int64_t>(x & 0x1FFFF) << 6;
  const int64_t acc = InterpolateQ23(Log2Table_Data, idx, frac23);
  return Wrap32(Asr64(acc, 28) + static_cast<int64_t>(22 - n) * (1 << 18));
}

int Amp2dB(int x, short q) {
  if (x <= 0) return 0;
  const int64_t log2Q18 = static_cast<int64_t>(Log2_S24(x)) - static_cast<int64_t>(q) * (1 << 18);
  return Wrap32(Asr64(log2Q18 * kTwentyLog10Of2Q20, 22));
}

int Pwr2dB(int x, short q) { return Amp2dB(x, q) >> 1; }

int GetSqrt_S56(long long x) {
  if (x <= 0) return 0;
  const short s = AccTo32bShift(x);
  const int idx = static_cast<int>((x >> 25) & 31);
  const int64_t frac23 = (x >> 2) & 0x7FFFFF;
  int64_t y = SqrtTable_Data[idx] +
              Asr64((static_cast<int64_t>(SqrtTable_Data[idx + 1]) - SqrtTable_Data[idx]) * frac23, 23);
  const int e = 14 - s;
  if (e >= 0) {
    if (e & 1) y = (y * kSqrt2Q22) >> 23;  // times sqrt(2)/2
    return static_cast<int>(y >> (e >> 1));
  }
  if (e == -1) return SatHigh24((y * kSqrt2Q22) >> 22);
  return kMax24;
}

int dB2Gain(int dB, short qIn, short qOut) {
  const int64_t p = static_cast<int64_t>(dB) * kLog2Of10Over20Q25;
  // log2(gain) in Q28.
  const int64_t v = qIn >= 3 ? Asr64(p, qIn - 3) : ShlWrap64(p, 3 - qIn);
  const int64_t i = Asr64(v, 28);
  const int64_t r = v & ((int64_t{1} << 28) - 1);  // v - i * 2^28, in 0 ... 2^28 - 1
  const int64_t sh = 45 - static_cast<int64_t>(qOut) - i;
  if (sh < 0) return kMax24;
  if (sh >= 64) return 0;
  const int idx = static_cast<int>(r >> 23);
  const int64_t acc = InterpolateQ23(Pwr2Table_Data, idx, r & 0x7FFFFF);  // 2^fraction in Q45
  return SatHigh24(acc >> sh);
}

}  // namespace hvfx::fxp
