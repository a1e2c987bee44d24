#include "EQDivisionInternal.h"

#include <cstdint>

#include "../fixedpoint/FixedPoint.h"

namespace hvfx::eq {

using namespace fxp;

namespace {

constexpr int32_t kNormLow = 0x400000;       // 2^22: smallest normalised magnitude
constexpr int32_t kMaskNumerator = 0xFFFFFE;  // bits 1 ... 23 of the numerator

}  // namespace

int EQ_Norm24(int* x) {
  if (x == nullptr) return 0;
  int32_t v = *x;
  if (v == 0) return -23;
  int shift = 0;
  if (v > 0) {
    if (v >= kNormLow) return 0;
    while (v < kNormLow) {
      v *= 2;  // v < 2^22 here: no overflow
      --shift;
    }
  } else {
    if (v < -(kNormLow - 1)) return 0;
    while (v >= -(kNormLow - 1)) {
      v *= 2;  // v >= -(2^22 - 1) here: no overflow
      --shift;
    }
  }
  *x = v;
  return shift;
}

int EQ_Norm24(int* shift, int* x) {
  const int s = EQ_Norm24(x);
  if (shift != nullptr) *shift = s;
  return s;
}

void EQ_Shift24z(int* x, int shift) {
  if (x == nullptr) return;
  const int s = shift > 23 ? 23 : (shift < -23 ? -23 : shift);
  // |*x| < 2^31 and s <= 23: the left shift stays within 54 bits.
  const int64_t v = s >= 0 ? ShlWrap64(*x, s) : Asr64(*x, -s);
  *x = Sat24(v);
}

int EQ_Div24Get24(int num, int den, int qNum, int qDen, int qOut) {
  if (den == 0) return kMax24;
  const int en = EQ_Norm24(&num);
  const int ed = EQ_Norm24(&den);  // den stays non-zero: normalising never clears it
  // Masked numerator < 2^24, shifted by 22: < 2^46. |den| >= 2^22 after
  // normalisation (or larger when it was beyond 24 bits), so |q| < 2^24.
  const int64_t numerator = ShlWrap64(num & kMaskNumerator, 22);
  int q = static_cast<int>(numerator / den);
  int qCopy = q;
  const int eq = EQ_Norm24(&qCopy);
  // Shift counts of any int Q formats: summed in 64 bits so that no input
  // can overflow the arithmetic.
  const int64_t sh = static_cast<int64_t>(qOut) + qDen - qNum - 23 + en + 1 - ed;
  if (sh > -eq) return kMax24;
  EQ_Shift24z(&q, sh < -23 ? -23 : static_cast<int>(sh));
  return q;
}

int EQ_Div24Get24(int num, int den, int qOut) { return EQ_Div24Get24(num, den, 15, 15, qOut); }

}  // namespace hvfx::eq
