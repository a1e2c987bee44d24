// AVX2 lanes for side-by-side section cascades: each 64-bit lane is one
// cascade. vpmuldq forms the exact products of the low 32 bits of each
// lane; a logical shift by a per-lane count of at most 32 leaves the same
// low 32 bits as the arithmetic shift, which is all the next products and
// the output read.
#include "FiltFiltLanesInternal.h"

#if defined(HVFX_SIMD_AVX2)
#include <immintrin.h>

#include <cstdint>

namespace filtfilt {
namespace {

__m256i Widen(const int32_t* v) { return _mm256_cvtepi32_epi64(_mm_load_si128(reinterpret_cast<const __m128i*>(v))); }
__m128i Low32(__m256i v) {
  return _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6)));
}

template <int kSections>
void Run(const CascadeLane* lanes, int count, int n) {
  LaneTable<kSections> t(lanes, count);
  __m256i b0[kSections], b1[kSections], b2[kSections], a1[kSections], a2[kSections], shift[kSections];
  __m256i x1[kSections], x2[kSections], y1[kSections], y2[kSections];
  for (int s = 0; s < kSections; ++s) {
    b0[s] = Widen(t.coef[s][0]);
    b1[s] = Widen(t.coef[s][1]);
    b2[s] = Widen(t.coef[s][2]);
    a1[s] = Widen(t.coef[s][3]);
    a2[s] = Widen(t.coef[s][4]);
    shift[s] = Widen(t.coef[s][5]);
    x1[s] = Widen(t.state[s][0]);
    x2[s] = Widen(t.state[s][1]);
    y1[s] = Widen(t.state[s][2]);
    y2[s] = Widen(t.state[s][3]);
  }
  const __m256i gain = Widen(t.gain), gainShift = Widen(t.gainShift);
  const int* const* in = t.in;
  int* const* out = t.out;

  auto step = [&](__m256i x) {
    for (int s = 0; s < kSections; ++s) {
      __m256i acc = _mm256_add_epi64(_mm256_mul_epi32(b0[s], x), _mm256_mul_epi32(b1[s], x1[s]));
      acc = _mm256_add_epi64(acc, _mm256_mul_epi32(b2[s], x2[s]));
      acc = _mm256_sub_epi64(acc, _mm256_mul_epi32(a2[s], y2[s]));
      // a1 * y[n-1] last: it closes the loop-carried chain.
      acc = _mm256_sub_epi64(acc, _mm256_mul_epi32(a1[s], y1[s]));
      const __m256i y = _mm256_srlv_epi64(acc, shift[s]);
      x2[s] = x1[s];
      x1[s] = x;
      y2[s] = y1[s];
      y1[s] = y;
      x = y;
    }
    return Low32(_mm256_srlv_epi64(_mm256_mul_epi32(x, gain), gainShift));
  };

  int k = 0;
  // Four samples of four lanes at a time, transposed in and out.
  for (; k + 4 <= n; k += 4) {
    const __m128i r0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in[0] + k));
    const __m128i r1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in[1] + k));
    const __m128i r2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in[2] + k));
    const __m128i r3 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in[3] + k));
    const __m128i t0 = _mm_unpacklo_epi32(r0, r1), t1 = _mm_unpacklo_epi32(r2, r3);
    const __m128i t2 = _mm_unpackhi_epi32(r0, r1), t3 = _mm_unpackhi_epi32(r2, r3);
    const __m128i s0 = _mm_unpacklo_epi64(t0, t1), s1 = _mm_unpackhi_epi64(t0, t1);
    const __m128i s2 = _mm_unpacklo_epi64(t2, t3), s3 = _mm_unpackhi_epi64(t2, t3);
    const __m128i o0 = step(_mm256_cvtepi32_epi64(s0));
    const __m128i o1 = step(_mm256_cvtepi32_epi64(s1));
    const __m128i o2 = step(_mm256_cvtepi32_epi64(s2));
    const __m128i o3 = step(_mm256_cvtepi32_epi64(s3));
    const __m128i u0 = _mm_unpacklo_epi32(o0, o1), u1 = _mm_unpacklo_epi32(o2, o3);
    const __m128i u2 = _mm_unpackhi_epi32(o0, o1), u3 = _mm_unpackhi_epi32(o2, o3);
    const __m128i w[4] = {_mm_unpacklo_epi64(u0, u1), _mm_unpackhi_epi64(u0, u1), _mm_unpacklo_epi64(u2, u3),
                          _mm_unpackhi_epi64(u2, u3)};
    // Lanes in use only; an unused lane shadows lane 0 and is never stored.
    for (int l = 0; l < count; ++l) _mm_storeu_si128(reinterpret_cast<__m128i*>(out[l] + k), w[l]);
  }
  for (; k < n; ++k) {
    const __m256i x = _mm256_setr_epi64x(in[0][k], in[1][k], in[2][k], in[3][k]);
    alignas(16) int o[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(o), step(x));
    for (int l = 0; l < count; ++l) out[l][k] = o[l];
  }
  for (int s = 0; s < kSections; ++s) {
    _mm_store_si128(reinterpret_cast<__m128i*>(t.state[s][0]), Low32(x1[s]));
    _mm_store_si128(reinterpret_cast<__m128i*>(t.state[s][1]), Low32(x2[s]));
    _mm_store_si128(reinterpret_cast<__m128i*>(t.state[s][2]), Low32(y1[s]));
    _mm_store_si128(reinterpret_cast<__m128i*>(t.state[s][3]), Low32(y2[s]));
  }
  t.ReturnState(lanes, count);
}

}  // namespace

template <int kSections>
void RunCascadeLanesOf(const CascadeLane* lanes, int count, int n) {
  Run<kSections>(lanes, count, n);
}
template void RunCascadeLanesOf<1>(const CascadeLane*, int, int);
template void RunCascadeLanesOf<2>(const CascadeLane*, int, int);
template void RunCascadeLanesOf<3>(const CascadeLane*, int, int);
template void RunCascadeLanesOf<4>(const CascadeLane*, int, int);

}  // namespace filtfilt
#endif
