// x86 lanes for the leveller's band bank: each 64-bit vector lane is one
// band. (v)pmuldq multiplies the low 32 bits of each lane as signed values
// (exact 64-bit products); a logical shift right by 21 leaves the low 32
// bits of u asr 21 in each lane, which is all the next products read.
#include <immintrin.h>

#include "LevellerBandBankInternal.h"

namespace leveller {
namespace {

#if defined(HVFX_SIMD_AVX2)
struct Lanes {
  using V = __m256i;
  static constexpr int kWidth = 4;
  static V Load(const int32_t* p) { return _mm256_cvtepi32_epi64(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))); }
  static void Store(int32_t* p, V v) {
    const __m256i packed = _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm256_castsi256_si128(packed));
  }
  static void Store64(uint64_t* p, V v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }
  static V Broadcast(int32_t x) { return _mm256_set1_epi32(x); }
  static V Broadcast64(int64_t x) { return _mm256_set1_epi64x(x); }
  static V Zero() { return _mm256_setzero_si256(); }
  static V Mul(V a, V b) { return _mm256_mul_epi32(a, b); }
  static V Add(V a, V b) { return _mm256_add_epi64(a, b); }
  static V Sub(V a, V b) { return _mm256_sub_epi64(a, b); }
  static V Shr21(V a) { return _mm256_srli_epi64(a, 21); }
};
#else  // SSE4.1
struct Lanes {
  using V = __m128i;
  static constexpr int kWidth = 2;
  static V Load(const int32_t* p) { return _mm_cvtepi32_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))); }
  static void Store(int32_t* p, V v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_shuffle_epi32(v, _MM_SHUFFLE(2, 0, 2, 0)));
  }
  static void Store64(uint64_t* p, V v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
  static V Broadcast(int32_t x) { return _mm_set1_epi32(x); }
  static V Broadcast64(int64_t x) { return _mm_set1_epi64x(x); }
  static V Zero() { return _mm_setzero_si128(); }
  static V Mul(V a, V b) { return _mm_mul_epi32(a, b); }
  static V Add(V a, V b) { return _mm_add_epi64(a, b); }
  static V Sub(V a, V b) { return _mm_sub_epi64(a, b); }
  static V Shr21(V a) { return _mm_srli_epi64(a, 21); }
};
#endif

template <int kGroups>
void Run(const BandBankPass& pass, BandLanes& l) {
  using V = Lanes::V;
  V b0[kGroups], b1[kGroups], b2[kGroups], a1[kGroups], a2[kGroups], x1[kGroups], x2[kGroups], y1[kGroups],
      y2[kGroups], energy[kGroups];
  for (int g = 0; g < kGroups; ++g) {
    const int lane = g * Lanes::kWidth;
    b0[g] = Lanes::Load(l.b0 + lane);
    b1[g] = Lanes::Load(l.b1 + lane);
    b2[g] = Lanes::Load(l.b2 + lane);
    a1[g] = Lanes::Load(l.a1 + lane);
    a2[g] = Lanes::Load(l.a2 + lane);
    x1[g] = Lanes::Load(l.x1 + lane);
    x2[g] = Lanes::Load(l.x2 + lane);
    y1[g] = Lanes::Load(l.y1 + lane);
    y2[g] = Lanes::Load(l.y2 + lane);
    energy[g] = Lanes::Zero();
  }
  const V round = Lanes::Broadcast64(int64_t{1} << 20);
  for (int i = 0; i < pass.n; ++i) {
    const V x = Lanes::Broadcast(pass.x[i]);
    for (int g = 0; g < kGroups; ++g) {
      // Everything but a1*y[i-1] is ready a sample ahead; it closes the sum.
      V u = Lanes::Add(Lanes::Mul(b0[g], x), Lanes::Mul(b1[g], x1[g]));
      u = Lanes::Add(u, Lanes::Sub(Lanes::Mul(b2[g], x2[g]), Lanes::Mul(a2[g], y2[g])));
      u = Lanes::Add(u, round);
      u = Lanes::Sub(u, Lanes::Mul(a1[g], y1[g]));
      const V y = Lanes::Shr21(u);
      energy[g] = Lanes::Add(energy[g], Lanes::Mul(y, y));
      x2[g] = x1[g];
      x1[g] = x;
      y2[g] = y1[g];
      y1[g] = y;
    }
  }
  for (int g = 0; g < kGroups; ++g) {
    const int lane = g * Lanes::kWidth;
    Lanes::Store(l.x1 + lane, x1[g]);
    Lanes::Store(l.x2 + lane, x2[g]);
    Lanes::Store(l.y1 + lane, y1[g]);
    Lanes::Store(l.y2 + lane, y2[g]);
    Lanes::Store64(l.energy + lane, energy[g]);
  }
}

}  // namespace

void RunBandBankVector(const BandBankPass& pass) {
  BandLanes lanes(pass);
  constexpr int kGroups = kMaxBankBands / Lanes::kWidth;
  if (pass.bands <= kGroups / 2 * Lanes::kWidth)
    Run<kGroups / 2>(pass, lanes);
  else
    Run<kGroups>(pass, lanes);
  lanes.Return(pass);
}

}  // namespace leveller
