// x86 lanes for side-by-side section cascades, compiled once for SSE4.1 and
// once for AVX2 (simd/Target.h); the loop is RunCascadeLanesWith
// (FiltFiltLanesInternal.h). Each 64-bit vector lane is one cascade:
// (v)pmuldq forms the exact products of the low 32 bits of each lane, and a
// logical shift by a per-lane count of at most 32 leaves the same low 32
// bits as the arithmetic shift, which is all the next products and the
// output read. AVX2 shifts the four lanes by their own counts in one
// vpsrlvq; SSE4.1 shifts each 64-bit half by its count and blends.
#include <immintrin.h>

#include <cstdint>

#include "../simd/WideLanes.h"
#include "FiltFiltLanesInternal.h"

namespace hvfx::filtfilt {
namespace {

// Rows of four int32 and their 4 x 4 transpose, the same for both levels.
struct Rows {
  using R = __m128i;
  static R LoadRow(const int32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static void StoreRow(int32_t* p, R r) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), r); }
  static void Transpose(R* r) {
    const __m128i t0 = _mm_unpacklo_epi32(r[0], r[1]), t1 = _mm_unpacklo_epi32(r[2], r[3]);
    const __m128i t2 = _mm_unpackhi_epi32(r[0], r[1]), t3 = _mm_unpackhi_epi32(r[2], r[3]);
    r[0] = _mm_unpacklo_epi64(t0, t1);
    r[1] = _mm_unpackhi_epi64(t0, t1);
    r[2] = _mm_unpacklo_epi64(t2, t3);
    r[3] = _mm_unpackhi_epi64(t2, t3);
  }
};

#if defined(HVFX_TARGET_AVX2)
struct Lanes : Rows, simd::WideLanes {
  using C = __m256i;
  static V Widen(R r) { return _mm256_cvtepi32_epi64(r); }
  static C Counts(const int32_t* p) { return Load(p); }
  static V Shift(W w, C c) { return _mm256_srlv_epi64(w, c); }
  static R Narrow(V v) { return Low32(v); }
};
#else  // SSE4.1: lanes 0-1 and 2-3 in two registers
struct Lanes : Rows {
  struct V {
    __m128i lo, hi;
  };
  using W = V;
  struct C {
    __m128i count[4];  // lane l's count in the low 64 bits of count[l]
  };
  static V Widen(R r) { return {_mm_cvtepi32_epi64(r), _mm_cvtepi32_epi64(_mm_srli_si128(r, 8))}; }
  static V Load(const int32_t* p) { return Widen(_mm_load_si128(reinterpret_cast<const __m128i*>(p))); }
  static C Counts(const int32_t* p) {
    return {{_mm_cvtsi32_si128(p[0]), _mm_cvtsi32_si128(p[1]), _mm_cvtsi32_si128(p[2]), _mm_cvtsi32_si128(p[3])}};
  }
  static W Mul(V a, V b) { return {_mm_mul_epi32(a.lo, b.lo), _mm_mul_epi32(a.hi, b.hi)}; }
  static void Mac(W& w, V a, V b) {
    w.lo = _mm_add_epi64(w.lo, _mm_mul_epi32(a.lo, b.lo));
    w.hi = _mm_add_epi64(w.hi, _mm_mul_epi32(a.hi, b.hi));
  }
  static void Msu(W& w, V a, V b) {
    w.lo = _mm_sub_epi64(w.lo, _mm_mul_epi32(a.lo, b.lo));
    w.hi = _mm_sub_epi64(w.hi, _mm_mul_epi32(a.hi, b.hi));
  }
  static V Shift(const W& w, const C& c) {
    return {_mm_blend_epi16(_mm_srl_epi64(w.lo, c.count[0]), _mm_srl_epi64(w.lo, c.count[1]), 0xF0),
            _mm_blend_epi16(_mm_srl_epi64(w.hi, c.count[2]), _mm_srl_epi64(w.hi, c.count[3]), 0xF0)};
  }
  static R Narrow(const V& v) {
    return _mm_unpacklo_epi64(_mm_shuffle_epi32(v.lo, _MM_SHUFFLE(2, 0, 2, 0)),
                              _mm_shuffle_epi32(v.hi, _MM_SHUFFLE(2, 0, 2, 0)));
  }
};
#endif

}  // namespace

void HVFX_TARGET_LEVEL::RunCascadeLanes(const CascadeLane* lanes, int count, int nsos, int n) {
  RunCascadeLanesWith<Lanes>(lanes, count, nsos, n);
}

}  // namespace hvfx::filtfilt
