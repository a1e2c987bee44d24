// Vector lanes of 32-bit values with exact 32 x 32 -> 64-bit products summed
// modulo 2^64: the part the lane kernels of the equalizer, the leveller and
// the forward-backward filter share. Each kernel's traits class derives from
// the struct of its instruction set (included by vector files only).
//   V = four (AVX2, NEON) or two (SSE4.1) lanes of 32-bit values
//   W = their 64-bit sums
//   Load(p)            the lanes' int32 from memory
//   Mul(a, b)          exact products a*b
//   Mac(w, a, b)       w += a*b
//   Msu(w, a, b)       w -= a*b
// x86 keeps each lane in a 64-bit element, whose low 32 bits (v)pmuldq
// multiplies; NEON keeps four lanes per int32x4 and their sums in two
// int64x2.
#pragma once

#include <cstdint>

#include "Target.h"

#if defined(HVFX_TARGET_AVX2) || defined(HVFX_TARGET_SSE41)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace hvfx::simd {
inline namespace HVFX_TARGET_INLINE {

#if defined(HVFX_TARGET_AVX2)
struct WideLanes {
  using V = __m256i;
  using W = __m256i;
  static constexpr int kLanes = 4;
  static V Load(const int32_t* p) { return _mm256_cvtepi32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))); }
  static W Mul(V a, V b) { return _mm256_mul_epi32(a, b); }
  static void Mac(W& w, V a, V b) { w = _mm256_add_epi64(w, _mm256_mul_epi32(a, b)); }
  static void Msu(W& w, V a, V b) { w = _mm256_sub_epi64(w, _mm256_mul_epi32(a, b)); }
  // The low 32 bits of each lane, packed.
  static __m128i Low32(V v) {
    return _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6)));
  }
};
#elif defined(HVFX_TARGET_SSE41)
struct WideLanes {
  using V = __m128i;
  using W = __m128i;
  static constexpr int kLanes = 2;
  static V Load(const int32_t* p) { return _mm_cvtepi32_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); }
  static W Mul(V a, V b) { return _mm_mul_epi32(a, b); }
  static void Mac(W& w, V a, V b) { w = _mm_add_epi64(w, _mm_mul_epi32(a, b)); }
  static void Msu(W& w, V a, V b) { w = _mm_sub_epi64(w, _mm_mul_epi32(a, b)); }
};
#elif defined(__aarch64__)
struct WideLanes {
  struct Halves {  // lanes 0-1 and 2-3
    int64x2_t lo, hi;
  };
  using V = int32x4_t;
  using W = Halves;
  static constexpr int kLanes = 4;
  static V Load(const int32_t* p) { return vld1q_s32(p); }
  static W Mul(V a, V b) { return {vmull_s32(vget_low_s32(a), vget_low_s32(b)), vmull_high_s32(a, b)}; }
  static void Mac(W& w, V a, V b) {
    w.lo = vmlal_s32(w.lo, vget_low_s32(a), vget_low_s32(b));
    w.hi = vmlal_high_s32(w.hi, a, b);
  }
  static void Msu(W& w, V a, V b) {
    w.lo = vmlsl_s32(w.lo, vget_low_s32(a), vget_low_s32(b));
    w.hi = vmlsl_high_s32(w.hi, a, b);
  }
};
#endif

}  // inline namespace HVFX_TARGET_INLINE
}  // namespace hvfx::simd
