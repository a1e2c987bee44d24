// Fixed-point arithmetic vocabulary of the library.
//
// Every module does its integer arithmetic through these small inline
// functions, so that the width of each product, the direction and rounding of
// each shift, and every place where a value saturates or wraps can be read off
// the function name instead of a cast.
//
// Number formats (Qn: a signed integer whose value is integer / 2^n):
//   working sample  int32 holding a 16-bit PCM sample shifted left by 8, i.e.
//                   a 24-bit value in -8388608 ... 8388607
//   16-bit domain   the working sample rounded back, (v + 128) asr 8; full
//                   scale is 32768 (limiter, adaptive volume)
//   Q15             gains and int16 coefficients, 32768 = 1.0 (32767 ~ unity)
//   Q16             decibels in the loudness modules, 65536 = 1 dB
//   Q18             adaptive-volume sample gain (262144 = 1.0), log2 results
//   Q19             equalizer linear gains from dB2Gain, 0x80000 = 1.0
//   Q21             adaptive-volume biquad coefficients, 2097152 = 1.0
//   Q22             equalizer coefficients, 0x400000 = 1.0
//   Q23             cosine table, mixing weights, 8388607 ~ 1.0
//   Q24             limiter gains, 16777216 = 1.0
//   int16 tables    a value v with exponent q means v / 2^(15 + q)
//
// Conventions:
//   * Products of 32-bit operands are exact 64-bit products (Mul32x32).
//   * Right shifts are arithmetic and floor (toward minus infinity) unless the
//     name says Round; rounding adds 2^(s-1) before the shift.
//   * "Wrap" functions reduce modulo 2^32 (or 2^64) through unsigned
//     arithmetic: they model the two's-complement wrap of the fixed-point
//     design without signed overflow.
//   * "Sat" functions clamp; nothing else saturates.
//   * Shift counts outside the type width are defined here (see each
//     function) so that no caller can reach undefined behaviour.
//
// Namespace hvfx::fxp, the arithmetic of the library; the alias fxp names it
// in the library's own sources. (The functions sit in an inline namespace
// that keeps the copies compiled into vector objects apart: simd/Target.h.)
#pragma once

#include <cstdint>

#include "../simd/Target.h"

namespace hvfx::fxp {
inline namespace HVFX_TARGET_INLINE {

inline constexpr int32_t kMax24 = 8388607;    // 2^23 - 1, ceiling of every 24-bit result
inline constexpr int32_t kMin24 = -8388608;   // -2^23
inline constexpr int32_t kMax16 = 32767;
inline constexpr int32_t kMin16 = -32768;

// ---- Widening products ---------------------------------------------------

// Exact signed 32 x 32 -> 64-bit product.
constexpr int64_t Mul32x32(int32_t a, int32_t b) {
  return static_cast<int64_t>(a) * static_cast<int64_t>(b);
}

// ---- Narrowing and wrapping ------------------------------------------------

// Low 32 bits of a 64-bit value, as two's complement (wraps, never traps).
constexpr int32_t Wrap32(int64_t v) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(v)));
}

// Low 16 bits of a value, as two's complement.
constexpr int16_t Wrap16(int64_t v) {
  return static_cast<int16_t>(static_cast<uint16_t>(static_cast<uint64_t>(v)));
}

// 32-bit sums and differences that wrap modulo 2^32.
constexpr int32_t AddWrap32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t SubWrap32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
constexpr int32_t NegWrap32(int32_t a) {
  return static_cast<int32_t>(0u - static_cast<uint32_t>(a));
}
// 32 x 32-bit product keeping the low 32 bits.
constexpr int32_t MulWrap32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// 64-bit sums and differences that wrap modulo 2^64.
constexpr int64_t AddWrap64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
constexpr int64_t SubWrap64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) - static_cast<uint64_t>(b));
}
// 64 x 64-bit product keeping the low 64 bits.
constexpr int64_t MulWrap64(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

// ---- Shifts -------------------------------------------------------------

// Left shift modulo 2^32; shift counts of 32 or more give 0, negative counts
// shift right arithmetically.
constexpr int32_t ShlWrap32(int32_t v, int s) {
  if (s < 0) return s <= -32 ? (v < 0 ? -1 : 0) : (v >> -s);
  if (s >= 32) return 0;
  return static_cast<int32_t>(static_cast<uint32_t>(v) << s);
}

// Left shift that cannot wrap: v is first clamped to the values whose shift
// fits in 32 bits, [INT32_MIN asr s, INT32_MAX asr s]; counts of 31 or more
// give the limit of v's sign. ShlWrap32 wherever that one does not wrap; in
// a loop with a fixed count, a vectorisable min/max pair.
// Overflow note: after the clamp, v * 2^s lies in the int32 range.
constexpr int32_t ClampShl32(int32_t v, int s) {
  if (s <= 0) return ShlWrap32(v, s);
  if (s >= 31) return v > 0 ? INT32_MAX : (v < 0 ? INT32_MIN : 0);
  const int32_t high = INT32_MAX >> s, low = INT32_MIN >> s;
  return ShlWrap32(v > high ? high : (v < low ? low : v), s);
}

// Left shift modulo 2^64; counts of 64 or more give 0, negative counts shift
// right arithmetically.
constexpr int64_t ShlWrap64(int64_t v, int s) {
  if (s < 0) return s <= -64 ? (v < 0 ? -1 : 0) : (v >> -s);
  if (s >= 64) return 0;
  return static_cast<int64_t>(static_cast<uint64_t>(v) << s);
}

// Arithmetic (flooring) right shift of a 64-bit value. Counts of 64 or more
// give the sign (0 or -1); negative counts shift left modulo 2^64.
constexpr int64_t Asr64(int64_t v, int s) {
  if (s < 0) return ShlWrap64(v, -s);
  if (s >= 64) return v < 0 ? -1 : 0;
  return v >> s;
}

// Arithmetic (flooring) right shift of a 32-bit value; counts of 32 or more
// give the sign, negative counts shift left modulo 2^32.
constexpr int32_t Asr32(int32_t v, int s) {
  if (s < 0) return ShlWrap32(v, -s);
  if (s >= 32) return v < 0 ? -1 : 0;
  return v >> s;
}

// Arithmetic shift right with the 64-bit result narrowed to its low 32 bits.
constexpr int32_t Asr64To32(int64_t v, int s) { return Wrap32(Asr64(v, s)); }

// Asr64 for a count the caller has already checked to lie in 0 ... 63: no
// range tests, for inner loops whose shift is validated once per block.
constexpr int64_t Asr64InRange(int64_t v, int s) { return v >> s; }

// Round-half-up right shift of a 32-bit value where the rounding add itself
// is 32-bit and wraps: (v + 2^(s-1)) asr s, e.g. the engine's (v + 128) asr 8.
constexpr int32_t RoundAsr32Wrap(int32_t v, int s) {
  return s <= 0 ? v : Asr32(AddWrap32(v, s >= 32 ? 0 : static_cast<int32_t>(1u << (s - 1))), s);
}

// Round-half-up right shift of a 64-bit value: (v + 2^(s-1)) asr s; the add
// wraps modulo 2^64 (unreachable for values of audio magnitude).
constexpr int64_t RoundAsr64(int64_t v, int s) {
  return s <= 0 ? v : Asr64(AddWrap64(v, s >= 64 ? 0 : static_cast<int64_t>(1ull << (s - 1))), s);
}

// ---- Product-then-shift kernels ----------------------------------------------

// (a * b) asr s: exact 64-bit product, flooring shift, 64-bit result.
constexpr int64_t MulAsr64(int32_t a, int32_t b, int s) { return Asr64(Mul32x32(a, b), s); }

// (a * b) asr s narrowed to the low 32 bits (no rounding, no saturation).
constexpr int32_t MulAsr32(int32_t a, int32_t b, int s) { return Wrap32(Asr64(Mul32x32(a, b), s)); }

// (a * b + 2^(s-1)) asr s narrowed to the low 32 bits.
constexpr int32_t MulRoundAsr32(int32_t a, int32_t b, int s) {
  return Wrap32(RoundAsr64(Mul32x32(a, b), s));
}

// A 16-bit sample times a Q15 gain, rounded half up: (s * g + 2^14) asr 15.
// With 0 <= g <= 32767 the result lies within the 16-bit range, so the low
// 16 bits are the whole result.
constexpr int16_t MulRoundQ15To16(int16_t s, int16_t gainQ15) { return Wrap16(MulRoundAsr32(s, gainQ15, 15)); }

// ---- Saturation ---------------------------------------------------------------

constexpr int32_t Sat32(int64_t v) {
  return v > INT32_MAX ? INT32_MAX : (v < INT32_MIN ? INT32_MIN : static_cast<int32_t>(v));
}
constexpr int32_t Sat24(int64_t v) {
  return v > kMax24 ? kMax24 : (v < kMin24 ? kMin24 : static_cast<int32_t>(v));
}
constexpr int16_t Sat16(int64_t v) {
  return static_cast<int16_t>(v > kMax16 ? kMax16 : (v < kMin16 ? kMin16 : v));
}
// Upper clamp only, to the 24-bit ceiling (the scalar helpers' saturation).
constexpr int32_t SatHigh24(int64_t v) { return v > kMax24 ? kMax24 : static_cast<int32_t>(v); }

// Magnitude of a 32-bit value where -2^31 stays -2^31 (negation wraps).
constexpr int32_t AbsWrap32(int32_t v) { return v < 0 ? NegWrap32(v) : v; }

// Magnitude as a 64-bit value (exact for every int32).
constexpr int64_t Abs64(int32_t v) { return v < 0 ? -static_cast<int64_t>(v) : static_cast<int64_t>(v); }

}  // inline namespace HVFX_TARGET_INLINE
}  // namespace hvfx::fxp

namespace fxp = hvfx::fxp;
