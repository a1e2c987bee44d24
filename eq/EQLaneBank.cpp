#include "EQLaneBankInternal.h"

#include "../fixedpoint/FixedPoint.h"

namespace hvfx::eq {

using namespace fxp;

// Overflow note: each product is an exact 32 x 32 -> 64-bit product; the lane
// sums and the accumulator add modulo 2^64 (never reached by 32-bit input with
// coefficients below 2^26); states keep u asr 22 saturated to 32 bits (input
// far past the 24-bit working range would otherwise wrap a boosted section's
// state); the output, acc asr 22, saturates to 24 bits.
void EQRunLanesPortable(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames) {
  EQRunLanesStrided(bank, out, step, in, step, frames);
}

void EQRunLanesStrided(EQLaneBank& bank, int* out, std::ptrdiff_t outStep, const int* in, std::ptrdiff_t inStep,
                       int frames) {
  int32_t x1 = bank.xPrev1;
  int32_t x2 = bank.xPrev2;
  const int bands = bank.bandCount;
  const int count = bank.count;
  for (int n = 0; n < frames; ++n) {
    const int32_t x = in[n * inStep];
    uint64_t laneSum = 0;
    for (int l = 0; l < bands; ++l) {  // bands: no x[n-1] term
      const uint64_t u = static_cast<uint64_t>(Mul32x32(bank.b0[l], x)) +
                         static_cast<uint64_t>(Mul32x32(bank.b2[l], x2)) -
                         static_cast<uint64_t>(Mul32x32(bank.a1[l], bank.y1[l])) -
                         static_cast<uint64_t>(Mul32x32(bank.a2[l], bank.y2[l]));
      bank.y2[l] = bank.y1[l];
      bank.y1[l] = EQState(u);
      laneSum += u;
    }
    for (int l = bands; l < count; ++l) {  // shelves: first order
      const uint64_t u = static_cast<uint64_t>(Mul32x32(bank.b0[l], x)) +
                         static_cast<uint64_t>(Mul32x32(bank.b1[l], x1)) -
                         static_cast<uint64_t>(Mul32x32(bank.a1[l], bank.y1[l]));
      bank.y1[l] = EQState(u);
      laneSum += u;
    }
    out[n * outStep] = EQFinishSample(static_cast<int64_t>(laneSum), x, bank.dryQ22);
    x2 = x1;
    x1 = x;
  }
  bank.xPrev1 = x1;
  bank.xPrev2 = x2;
}

EQLaneGroups EQGroupLanes(const EQLaneBank& bank, int lanesPerGroup) {
  EQLaneGroups g;
  g.band = bank.bandCount / lanesPerGroup;
  const int looseBands = bank.bandCount % lanesPerGroup;
  int shelves = bank.count - bank.bandCount;
  if (looseBands != 0 && shelves == 0) {
    ++g.band;
  } else if (looseBands != 0) {
    g.mixed = 1;
    shelves -= shelves < lanesPerGroup - looseBands ? shelves : lanesPerGroup - looseBands;
  }
  g.shelf = (shelves + lanesPerGroup - 1) / lanesPerGroup;
  return g;
}

EQRunLanesFn EQRunLanesAt(simd::Level level) {
  switch (level) {
#if defined(HVFX_SIMD_SSE41)
    case simd::Level::kSse41: return sse41::EQRunLanes;
#endif
#if defined(HVFX_SIMD_AVX2)
    case simd::Level::kAvx2: return avx2::EQRunLanes;
#endif
#if defined(HVFX_SIMD_NEON)
    case simd::Level::kNeon: return neon::EQRunLanes;
#endif
    default: return EQRunLanesPortable;
  }
}

void EQRunLanes(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames) {
  static const EQRunLanesFn run = EQRunLanesAt(simd::ActiveLevel());
  run(bank, out, in, step, frames);
}

}  // namespace hvfx::eq
