// x86 lanes for the leveller's band bank, compiled once for SSE4.1 and once
// for AVX2 (simd/Target.h); the loop is RunBandBankWith
// (LevellerBandBankInternal.h). Each 64-bit vector lane is one band:
// (v)pmuldq multiplies the low 32 bits of each lane as signed values (exact
// 64-bit products); a logical shift right by 21 leaves the low 32 bits of
// u asr 21 in each lane, which is all the next products read.
#include <immintrin.h>

#include "../simd/WideLanes.h"
#include "LevellerBandBankInternal.h"

namespace hvfx::leveller {
namespace {

#if defined(HVFX_TARGET_AVX2)
struct Lanes : simd::WideLanes {
  using U = W;
  static void Store(int32_t* p, V v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), Low32(v)); }
  static void Store64(uint64_t* p, U u) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), u); }
  static V Broadcast(int32_t x) { return _mm256_set1_epi32(x); }
  static U Rounded(V c, V x) { return _mm256_add_epi64(_mm256_set1_epi64x(int64_t{1} << 20), _mm256_mul_epi32(c, x)); }
  static V Narrow21(U u) { return _mm256_srli_epi64(u, 21); }
  static U Zero() { return _mm256_setzero_si256(); }
  static void AddSquare(U& e, V y) { e = _mm256_add_epi64(e, _mm256_mul_epi32(y, y)); }
};
#else  // SSE4.1
struct Lanes : simd::WideLanes {
  using U = W;
  static void Store(int32_t* p, V v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 0, 2, 0)));
  }
  static void Store64(uint64_t* p, U u) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), u); }
  static V Broadcast(int32_t x) { return _mm_set1_epi32(x); }
  static U Rounded(V c, V x) { return _mm_add_epi64(_mm_set1_epi64x(int64_t{1} << 20), _mm_mul_epi32(c, x)); }
  static V Narrow21(U u) { return _mm_srli_epi64(u, 21); }
  static U Zero() { return _mm_setzero_si128(); }
  static void AddSquare(U& e, V y) { e = _mm_add_epi64(e, _mm_mul_epi32(y, y)); }
};
#endif

}  // namespace

void HVFX_TARGET_LEVEL::RunBandBank(const BandBankPass& pass) { RunBandBankWith<Lanes>(pass); }

}  // namespace hvfx::leveller
