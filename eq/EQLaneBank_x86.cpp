// x86 registers for the equalizer lanes, compiled once for SSE4.1 and once
// for AVX2 (simd/Target.h): each 64-bit vector lane is one section. (v)pmuldq multiplies the low 32 bits of each 64-bit lane as signed
// values, giving the exact 64-bit products; a logical shift right by 22
// leaves the low 32 bits of u asr 22 in each lane, which is all the next
// product reads.
#include <immintrin.h>

#include "../simd/WideLanes.h"
#include "EQLaneBankInternal.h"

namespace hvfx::eq {
namespace {

// u asr 22 fits in 32 bits for u in [-2^53, 2^53): biased by 2^53, the
// range becomes [0, 2^54).
constexpr int64_t kStateBias = int64_t{1} << 53;

#if defined(HVFX_TARGET_AVX2)
struct LaneVec : simd::WideLanes {
  using U = W;
  using S = W;
  static void Store(int32_t* p, V v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), Low32(v)); }
  static V Broadcast(int32_t x) { return _mm256_set1_epi32(x); }
  static constexpr bool kSaturates = false;
  static V Narrow22(U u) { return _mm256_srli_epi64(u, 22); }
  // u asr 22 fits in 32 bits exactly when u + 2^53 < 2^54 (unsigned): the
  // sums are ORed together, and any bit above 53 marks an overflow.
  using F = __m256i;
  static F NoOverflow() { return _mm256_setzero_si256(); }
  static void Track(F& f, U u) { f = _mm256_or_si256(f, _mm256_add_epi64(u, _mm256_set1_epi64x(kStateBias))); }
  static bool Overflowed(F f) {
    const __m256i high = _mm256_srli_epi64(f, 54);
    return _mm256_testz_si256(high, high) == 0;
  }
  static S Zero() { return _mm256_setzero_si256(); }
  static void AddTo(S& s, U u) { s = _mm256_add_epi64(s, u); }
  static int64_t Sum(S a) {
    __m128i s = _mm_add_epi64(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
    s = _mm_add_epi64(s, _mm_unpackhi_epi64(s, s));
    return _mm_cvtsi128_si64(s);
  }
  // The four sums transposed into one register, the dry input added, then
  // the saturation done on the accumulator: clamped to [-2^45, 2^45 - 1] it
  // shifts to the same 24-bit result, which a logical shift leaves in the
  // low 32 bits (there is no 64-bit arithmetic shift).
  static void Finish4(const S* s, const int32_t* x, int32_t dryQ22, int* out, std::ptrdiff_t step) {
    const __m256i a01 = _mm256_add_epi64(_mm256_unpacklo_epi64(s[0], s[1]), _mm256_unpackhi_epi64(s[0], s[1]));
    const __m256i a23 = _mm256_add_epi64(_mm256_unpacklo_epi64(s[2], s[3]), _mm256_unpackhi_epi64(s[2], s[3]));
    __m256i acc =
        _mm256_add_epi64(_mm256_permute2x128_si256(a01, a23, 0x20), _mm256_permute2x128_si256(a01, a23, 0x31));
    acc = _mm256_add_epi64(acc, _mm256_mul_epi32(Load(x), _mm256_set1_epi32(dryQ22)));
    const __m256i high = _mm256_set1_epi64x((int64_t{1} << 45) - 1);
    const __m256i low = _mm256_set1_epi64x(-(int64_t{1} << 45));
    acc = _mm256_blendv_epi8(acc, high, _mm256_cmpgt_epi64(acc, high));
    acc = _mm256_blendv_epi8(acc, low, _mm256_cmpgt_epi64(low, acc));
    const __m128i y = Low32(_mm256_srli_epi64(acc, 22));
    if (step == 1) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out), y);
    } else {
      out[0] = _mm_extract_epi32(y, 0);
      out[step] = _mm_extract_epi32(y, 1);
      out[2 * step] = _mm_extract_epi32(y, 2);
      out[3 * step] = _mm_extract_epi32(y, 3);
    }
  }
};
#else  // SSE4.1: two lanes per register
struct LaneVec : simd::WideLanes {
  using U = W;
  using S = W;
  static void Store(int32_t* p, V v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 0, 2, 0)));
  }
  static V Broadcast(int32_t x) { return _mm_set1_epi32(x); }
  static constexpr bool kSaturates = false;
  static V Narrow22(U u) { return _mm_srli_epi64(u, 22); }
  // As the AVX2 form.
  using F = __m128i;
  static F NoOverflow() { return _mm_setzero_si128(); }
  static void Track(F& f, U u) { f = _mm_or_si128(f, _mm_add_epi64(u, _mm_set1_epi64x(kStateBias))); }
  static bool Overflowed(F f) {
    const __m128i high = _mm_srli_epi64(f, 54);
    return _mm_testz_si128(high, high) == 0;
  }
  static S Zero() { return _mm_setzero_si128(); }
  static void AddTo(S& s, U u) { s = _mm_add_epi64(s, u); }
  static int64_t Sum(S a) { return _mm_cvtsi128_si64(_mm_add_epi64(a, _mm_unpackhi_epi64(a, a))); }
  static void Finish4(const S* s, const int32_t* x, int32_t dryQ22, int* out, std::ptrdiff_t step) {
    for (int k = 0; k < 4; ++k) out[k * step] = EQFinishSample(Sum(s[k]), x[k], dryQ22);
  }
};
#endif

}  // namespace

void HVFX_TARGET_LEVEL::EQRunLanes(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames) {
  EQRunGrouped<LaneVec>(bank, out, in, step, frames);
}

}  // namespace hvfx::eq
