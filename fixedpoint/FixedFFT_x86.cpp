// x86 butterflies of the fixed-point FFT, compiled once for SSE4.1 and once
// for AVX2 (simd/Target.h): one butterfly per 32-bit lane, eight a step with
// AVX2 (four for a stage of h = 4), four with SSE4.1.
// (v)pmuldq multiplies the even 32-bit elements as signed values into exact
// 64-bit products; the odd elements are moved down by 32 bits for a second
// set. A logical shift right by 23 leaves the low 32 bits of the rounded
// asr 23 in each 64-bit lane (see FftRoundQ23), and a blend puts the even and
// odd results back into their elements.
#include <immintrin.h>

#include "FixedFFTInternal.h"

namespace hvfx::fft {
namespace {

// 128-bit registers (SSE4.1): four butterflies a step.
struct Sse41Vec {
  using V = __m128i;
  static constexpr int kLanes = 4;
  static V Load(const int32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static void Store(int32_t* p, V v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
  static V Half() { return _mm_set1_epi64x(int64_t{1} << 22); }
  static V Mul(V a, V b) { return _mm_mul_epi32(a, b); }
  static V Add64(V a, V b) { return _mm_add_epi64(a, b); }
  static V Sub64(V a, V b) { return _mm_sub_epi64(a, b); }
  static V OddDown(V a) { return _mm_srli_epi64(a, 32); }
  static V Srl23(V a) { return _mm_srli_epi64(a, 23); }
  // Low 32 bits of each lane of even, and of odd into the odd elements.
  static V Interleave(V even, V odd) { return _mm_blend_epi16(even, _mm_slli_epi64(odd, 32), 0xCC); }
  static V Add32(V a, V b) { return _mm_add_epi32(a, b); }
  static V Sub32(V a, V b) { return _mm_sub_epi32(a, b); }
};

#if defined(HVFX_TARGET_AVX2)
// 256-bit registers (AVX2): eight butterflies a step.
struct Avx2Vec {
  using V = __m256i;
  static constexpr int kLanes = 8;
  static V Load(const int32_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  static void Store(int32_t* p, V v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
  static V Half() { return _mm256_set1_epi64x(int64_t{1} << 22); }
  static V Mul(V a, V b) { return _mm256_mul_epi32(a, b); }
  static V Add64(V a, V b) { return _mm256_add_epi64(a, b); }
  static V Sub64(V a, V b) { return _mm256_sub_epi64(a, b); }
  static V OddDown(V a) { return _mm256_srli_epi64(a, 32); }
  static V Srl23(V a) { return _mm256_srli_epi64(a, 23); }
  static V Interleave(V even, V odd) { return _mm256_blend_epi32(even, _mm256_slli_epi64(odd, 32), 0xAA); }
  static V Add32(V a, V b) { return _mm256_add_epi32(a, b); }
  static V Sub32(V a, V b) { return _mm256_sub_epi32(a, b); }
};
#endif

// Rounded rotation parts for the even (or, moved down, odd) elements:
// real (a*c - b*s + 2^22) and imaginary (b*c + a*s + 2^22), shifted by 23.
template <class L>
void Rotate(typename L::V a, typename L::V b, typename L::V c, typename L::V s, typename L::V& real,
            typename L::V& imag) {
  const typename L::V half = L::Half();
  real = L::Srl23(L::Add64(L::Sub64(L::Mul(a, c), L::Mul(b, s)), half));
  imag = L::Srl23(L::Add64(L::Add64(L::Mul(b, c), L::Mul(a, s)), half));
}

// One stage with L::kLanes butterflies a step; h must be a multiple of kLanes.
template <class L>
void StageLanes(int32_t* re, int32_t* im, int n, int h, const int32_t* cosQ23, const int32_t* sinQ23) {
  using V = typename L::V;
  for (int block = 0; block < n; block += 2 * h) {
    int32_t* reLow = re + block;
    int32_t* imLow = im + block;
    int32_t* reHigh = reLow + h;
    int32_t* imHigh = imLow + h;
    for (int m = 0; m < h; m += L::kLanes) {
      const V a = L::Load(reHigh + m), b = L::Load(imHigh + m);
      const V c = L::Load(cosQ23 + m), s = L::Load(sinQ23 + m);
      V evenRe, evenIm, oddRe, oddIm;
      Rotate<L>(a, b, c, s, evenRe, evenIm);
      Rotate<L>(L::OddDown(a), L::OddDown(b), L::OddDown(c), L::OddDown(s), oddRe, oddIm);
      const V tr = L::Interleave(evenRe, oddRe);
      const V ti = L::Interleave(evenIm, oddIm);
      const V ri = L::Load(reLow + m), ii = L::Load(imLow + m);
      L::Store(reHigh + m, L::Sub32(ri, tr));
      L::Store(imHigh + m, L::Sub32(ii, ti));
      L::Store(reLow + m, L::Add32(ri, tr));
      L::Store(imLow + m, L::Add32(ii, ti));
    }
  }
}

}  // namespace

void HVFX_TARGET_LEVEL::FftStage(int32_t* re, int32_t* im, int n, int h, const int32_t* cosQ23,
                                 const int32_t* sinQ23) {
#if defined(HVFX_TARGET_AVX2)
  if (h % Avx2Vec::kLanes == 0) return StageLanes<Avx2Vec>(re, im, n, h, cosQ23, sinQ23);
#endif
  if (h % Sse41Vec::kLanes == 0) return StageLanes<Sse41Vec>(re, im, n, h, cosQ23, sinQ23);
  FftStagePortable(re, im, n, h, cosQ23, sinQ23);
}

}  // namespace hvfx::fft
