// Arm NEON lanes for side-by-side section cascades: four cascades per
// int32x4; the loop is RunCascadeLanesWith (FiltFiltLanesInternal.h).
// vmull/vmlal/vmlsl form exact 32 x 32 -> 64-bit products summed modulo
// 2^64; vshl by a negative per-lane count is the arithmetic shift, and vmovn
// keeps the low 32 bits.
#include <arm_neon.h>

#include "../simd/WideLanes.h"
#include "FiltFiltLanesInternal.h"

namespace hvfx::filtfilt {
namespace {

struct Lanes : simd::WideLanes {
  using R = int32x4_t;
  using C = W;  // the counts negated, widened
  static R LoadRow(const int32_t* p) { return vld1q_s32(p); }
  static void StoreRow(int32_t* p, R r) { vst1q_s32(p, r); }
  static V Widen(R r) { return r; }
  static C Counts(const int32_t* p) {
    const int32x4_t c = vnegq_s32(vld1q_s32(p));
    return {vmovl_s32(vget_low_s32(c)), vmovl_high_s32(c)};
  }
  static V Shift(const W& w, const C& c) {
    return vcombine_s32(vmovn_s64(vshlq_s64(w.lo, c.lo)), vmovn_s64(vshlq_s64(w.hi, c.hi)));
  }
  static R Narrow(V v) { return v; }
  // Zips of the rows: 32-bit pairs, then 64-bit halves.
  static void Transpose(R* r) {
    const int32x4_t t0 = vzip1q_s32(r[0], r[1]), t1 = vzip1q_s32(r[2], r[3]);
    const int32x4_t t2 = vzip2q_s32(r[0], r[1]), t3 = vzip2q_s32(r[2], r[3]);
    r[0] = JoinLow(t0, t1);
    r[1] = JoinHigh(t0, t1);
    r[2] = JoinLow(t2, t3);
    r[3] = JoinHigh(t2, t3);
  }
  static int32x4_t JoinLow(int32x4_t a, int32x4_t b) {
    return vreinterpretq_s32_s64(vzip1q_s64(vreinterpretq_s64_s32(a), vreinterpretq_s64_s32(b)));
  }
  static int32x4_t JoinHigh(int32x4_t a, int32x4_t b) {
    return vreinterpretq_s32_s64(vzip2q_s64(vreinterpretq_s64_s32(a), vreinterpretq_s64_s32(b)));
  }
};

}  // namespace

void neon::RunCascadeLanes(const CascadeLane* lanes, int count, int nsos, int n) {
  RunCascadeLanesWith<Lanes>(lanes, count, nsos, n);
}

}  // namespace hvfx::filtfilt
