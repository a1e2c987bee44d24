// Arm NEON lanes for side-by-side section cascades: four cascades per
// int32x4. vmull/vmlal/vmlsl form exact 32 x 32 -> 64-bit products summed
// modulo 2^64; vshl by a negative per-lane count is the arithmetic shift,
// and vmovn keeps the low 32 bits.
#include "FiltFiltLanesInternal.h"

#if defined(HVFX_SIMD_NEON)
#include <arm_neon.h>

namespace filtfilt {
namespace {

struct Wide {
  int64x2_t lo, hi;
};

int32x4_t Narrow(Wide v, Wide shift) {
  return vcombine_s32(vmovn_s64(vshlq_s64(v.lo, shift.lo)), vmovn_s64(vshlq_s64(v.hi, shift.hi)));
}
Wide NegatedCounts(const int32_t* v) {
  const int32x4_t c = vnegq_s32(vld1q_s32(v));
  return {vmovl_s32(vget_low_s32(c)), vmovl_high_s32(c)};
}

template <int kSections>
void Run(const CascadeLane* lanes, int count, int n) {
  LaneTable<kSections> t(lanes, count);
  int32x4_t b0[kSections], b1[kSections], b2[kSections], a1[kSections], a2[kSections];
  int32x4_t x1[kSections], x2[kSections], y1[kSections], y2[kSections];
  Wide shift[kSections];
  for (int s = 0; s < kSections; ++s) {
    b0[s] = vld1q_s32(t.coef[s][0]);
    b1[s] = vld1q_s32(t.coef[s][1]);
    b2[s] = vld1q_s32(t.coef[s][2]);
    a1[s] = vld1q_s32(t.coef[s][3]);
    a2[s] = vld1q_s32(t.coef[s][4]);
    shift[s] = NegatedCounts(t.coef[s][5]);
    x1[s] = vld1q_s32(t.state[s][0]);
    x2[s] = vld1q_s32(t.state[s][1]);
    y1[s] = vld1q_s32(t.state[s][2]);
    y2[s] = vld1q_s32(t.state[s][3]);
  }
  const int32x4_t gain = vld1q_s32(t.gain);
  const Wide gainShift = NegatedCounts(t.gainShift);
  const int* const* in = t.in;
  int* const* out = t.out;

  auto step = [&](int32x4_t x) {
    for (int s = 0; s < kSections; ++s) {
      int64x2_t lo = vmull_s32(vget_low_s32(b0[s]), vget_low_s32(x));
      int64x2_t hi = vmull_high_s32(b0[s], x);
      lo = vmlal_s32(lo, vget_low_s32(b1[s]), vget_low_s32(x1[s]));
      hi = vmlal_high_s32(hi, b1[s], x1[s]);
      lo = vmlal_s32(lo, vget_low_s32(b2[s]), vget_low_s32(x2[s]));
      hi = vmlal_high_s32(hi, b2[s], x2[s]);
      lo = vmlsl_s32(lo, vget_low_s32(a2[s]), vget_low_s32(y2[s]));
      hi = vmlsl_high_s32(hi, a2[s], y2[s]);
      // a1 * y[n-1] last: it closes the loop-carried chain.
      lo = vmlsl_s32(lo, vget_low_s32(a1[s]), vget_low_s32(y1[s]));
      hi = vmlsl_high_s32(hi, a1[s], y1[s]);
      const int32x4_t y = Narrow({lo, hi}, shift[s]);
      x2[s] = x1[s];
      x1[s] = x;
      y2[s] = y1[s];
      y1[s] = y;
      x = y;
    }
    return Narrow({vmull_s32(vget_low_s32(x), vget_low_s32(gain)), vmull_high_s32(x, gain)}, gainShift);
  };

  int k = 0;
  // Four samples of four lanes at a time: vld4/vst4-free transposes through
  // zips of the rows.
  for (; k + 4 <= n; k += 4) {
    const int32x4_t r0 = vld1q_s32(in[0] + k), r1 = vld1q_s32(in[1] + k);
    const int32x4_t r2 = vld1q_s32(in[2] + k), r3 = vld1q_s32(in[3] + k);
    const int32x4_t t0 = vzip1q_s32(r0, r1), t1 = vzip1q_s32(r2, r3);
    const int32x4_t t2 = vzip2q_s32(r0, r1), t3 = vzip2q_s32(r2, r3);
    auto joinLo = [](int32x4_t a, int32x4_t b) {
      return vreinterpretq_s32_s64(vzip1q_s64(vreinterpretq_s64_s32(a), vreinterpretq_s64_s32(b)));
    };
    auto joinHi = [](int32x4_t a, int32x4_t b) {
      return vreinterpretq_s32_s64(vzip2q_s64(vreinterpretq_s64_s32(a), vreinterpretq_s64_s32(b)));
    };
    const int32x4_t o0 = step(joinLo(t0, t1));
    const int32x4_t o1 = step(joinHi(t0, t1));
    const int32x4_t o2 = step(joinLo(t2, t3));
    const int32x4_t o3 = step(joinHi(t2, t3));
    const int32x4_t u0 = vzip1q_s32(o0, o1), u1 = vzip1q_s32(o2, o3);
    const int32x4_t u2 = vzip2q_s32(o0, o1), u3 = vzip2q_s32(o2, o3);
    const int32x4_t w[4] = {joinLo(u0, u1), joinHi(u0, u1), joinLo(u2, u3), joinHi(u2, u3)};
    // Lanes in use only; an unused lane shadows lane 0 and is never stored.
    for (int l = 0; l < count; ++l) vst1q_s32(out[l] + k, w[l]);
  }
  for (; k < n; ++k) {
    const int xs[4] = {in[0][k], in[1][k], in[2][k], in[3][k]};
    int o[4];
    vst1q_s32(o, step(vld1q_s32(xs)));
    for (int l = 0; l < count; ++l) out[l][k] = o[l];
  }
  for (int s = 0; s < kSections; ++s) {
    vst1q_s32(t.state[s][0], x1[s]);
    vst1q_s32(t.state[s][1], x2[s]);
    vst1q_s32(t.state[s][2], y1[s]);
    vst1q_s32(t.state[s][3], y2[s]);
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
