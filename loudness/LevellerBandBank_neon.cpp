// Arm NEON lanes for the leveller's band bank: four bands per int32x4.
// vmull/vmlal/vmlsl form exact 32 x 32 -> 64-bit products summed modulo
// 2^64; vshrn by 21 keeps the low 32 bits of u asr 21, the band's output.
#include <arm_neon.h>

#include "LevellerBandBankInternal.h"

namespace leveller {
namespace {

template <int kGroups>
void Run(const BandBankPass& pass, BandLanes& l) {
  int32x4_t b0[kGroups], b1[kGroups], b2[kGroups], a1[kGroups], a2[kGroups], x1[kGroups], x2[kGroups],
      y1[kGroups], y2[kGroups];
  int64x2_t energyLo[kGroups], energyHi[kGroups];
  for (int g = 0; g < kGroups; ++g) {
    const int lane = g * 4;
    b0[g] = vld1q_s32(l.b0 + lane);
    b1[g] = vld1q_s32(l.b1 + lane);
    b2[g] = vld1q_s32(l.b2 + lane);
    a1[g] = vld1q_s32(l.a1 + lane);
    a2[g] = vld1q_s32(l.a2 + lane);
    x1[g] = vld1q_s32(l.x1 + lane);
    x2[g] = vld1q_s32(l.x2 + lane);
    y1[g] = vld1q_s32(l.y1 + lane);
    y2[g] = vld1q_s32(l.y2 + lane);
    energyLo[g] = energyHi[g] = vdupq_n_s64(0);
  }
  const int64x2_t round = vdupq_n_s64(int64_t{1} << 20);
  for (int i = 0; i < pass.n; ++i) {
    const int32x4_t x = vdupq_n_s32(pass.x[i]);
    for (int g = 0; g < kGroups; ++g) {
      int64x2_t lo = vmlal_s32(round, vget_low_s32(b0[g]), vget_low_s32(x));
      int64x2_t hi = vmlal_high_s32(round, b0[g], x);
      lo = vmlal_s32(lo, vget_low_s32(b1[g]), vget_low_s32(x1[g]));
      hi = vmlal_high_s32(hi, b1[g], x1[g]);
      lo = vmlal_s32(lo, vget_low_s32(b2[g]), vget_low_s32(x2[g]));
      hi = vmlal_high_s32(hi, b2[g], x2[g]);
      lo = vmlsl_s32(lo, vget_low_s32(a2[g]), vget_low_s32(y2[g]));
      hi = vmlsl_high_s32(hi, a2[g], y2[g]);
      // a1*y[i-1] closes the sum: everything else is ready a sample ahead.
      lo = vmlsl_s32(lo, vget_low_s32(a1[g]), vget_low_s32(y1[g]));
      hi = vmlsl_high_s32(hi, a1[g], y1[g]);
      const int32x4_t y = vshrn_high_n_s64(vshrn_n_s64(lo, 21), hi, 21);
      energyLo[g] = vmlal_s32(energyLo[g], vget_low_s32(y), vget_low_s32(y));
      energyHi[g] = vmlal_high_s32(energyHi[g], y, y);
      x2[g] = x1[g];
      x1[g] = x;
      y2[g] = y1[g];
      y1[g] = y;
    }
  }
  for (int g = 0; g < kGroups; ++g) {
    const int lane = g * 4;
    vst1q_s32(l.x1 + lane, x1[g]);
    vst1q_s32(l.x2 + lane, x2[g]);
    vst1q_s32(l.y1 + lane, y1[g]);
    vst1q_s32(l.y2 + lane, y2[g]);
    vst1q_u64(l.energy + lane, vreinterpretq_u64_s64(energyLo[g]));
    vst1q_u64(l.energy + lane + 2, vreinterpretq_u64_s64(energyHi[g]));
  }
}

}  // namespace

void RunBandBankVector(const BandBankPass& pass) {
  BandLanes lanes(pass);
  if (pass.bands <= 4)
    Run<1>(pass, lanes);
  else
    Run<2>(pass, lanes);
  lanes.Return(pass);
}

}  // namespace leveller
