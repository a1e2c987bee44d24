// NEON FIR kernels (arm64). Each pass over the taps produces kGroup
// neighbouring outputs, so one load of taps serves kGroup windows of the
// signal; outputs go from the last group down so that the filter can run in
// place (see FirKernelsInternal.h).
//
// 32-bit samples: the taps are widened to 32 bits and smlal/smlal2 add exact
// 32 x 32 -> 64-bit products into 64-bit lanes. 16-bit samples: smull/smull2
// give exact 16 x 16 -> 32-bit products and sadalp adds them pairwise into
// 64-bit lanes. Overflow: every product is exact, the lanes sum modulo 2^64;
// shift and narrowing as in the portable code.
#include <arm_neon.h>

#include "FirKernelsInternal.h"

namespace hvfx::fir {
namespace {

constexpr int kGroup = 4;

// Outputs 0 ... G-1 of the windows starting at x[0] ... x[G-1]; reads
// x[0 ... G + N - 2] and stores only after all reads.
template <int G>
inline void Group(const int16_t* hr, int tapCount, const int32_t* x, int shift, int32_t* out) {
  int64x2_t acc[G];
  for (int d = 0; d < G; ++d) acc[d] = vdupq_n_s64(0);
  int i = 0;
  for (; i + 8 <= tapCount; i += 8) {
    const int16x8_t taps = vld1q_s16(hr + i);
    const int32x4_t t0 = vmovl_s16(vget_low_s16(taps));
    const int32x4_t t1 = vmovl_high_s16(taps);
    for (int d = 0; d < G; ++d) {
      const int32x4_t w0 = vld1q_s32(x + i + d);
      const int32x4_t w1 = vld1q_s32(x + i + d + 4);
      acc[d] = vmlal_s32(acc[d], vget_low_s32(w0), vget_low_s32(t0));
      acc[d] = vmlal_high_s32(acc[d], w0, t0);
      acc[d] = vmlal_s32(acc[d], vget_low_s32(w1), vget_low_s32(t1));
      acc[d] = vmlal_high_s32(acc[d], w1, t1);
    }
  }
  int64_t sum[G];
  for (int d = 0; d < G; ++d) sum[d] = fxp::AddWrap64(vaddvq_s64(acc[d]), DotTaps(hr, x + d, i, tapCount));
  for (int d = 0; d < G; ++d) out[d] = FinishTaps<int32_t>(sum[d], shift);
}

template <int G>
inline void Group(const int16_t* hr, int tapCount, const int16_t* x, int shift, int16_t* out) {
  int64x2_t acc[G];
  for (int d = 0; d < G; ++d) acc[d] = vdupq_n_s64(0);
  int i = 0;
  for (; i + 8 <= tapCount; i += 8) {
    const int16x8_t taps = vld1q_s16(hr + i);
    for (int d = 0; d < G; ++d) {
      const int16x8_t w = vld1q_s16(x + i + d);
      acc[d] = vpadalq_s32(acc[d], vmull_s16(vget_low_s16(w), vget_low_s16(taps)));
      acc[d] = vpadalq_s32(acc[d], vmull_high_s16(w, taps));
    }
  }
  int64_t sum[G];
  for (int d = 0; d < G; ++d) sum[d] = fxp::AddWrap64(vaddvq_s64(acc[d]), DotTaps(hr, x + d, i, tapCount));
  for (int d = 0; d < G; ++d) out[d] = FinishTaps<int16_t>(sum[d], shift);
}

}  // namespace

void neon::RunTaps32(const int16_t* hr, int tapCount, const int32_t* x, int count, int shift, int32_t* out) {
  if (count < 1 || tapCount < 1) return;
  ForEachGroupDescending<kGroup>(count, [&](int m, auto g) { Group<g.value>(hr, tapCount, x + m, shift, out + m); });
}

void neon::RunTaps16(const int16_t* hr, int tapCount, const int16_t* x, int count, int shift, int16_t* out) {
  if (count < 1 || tapCount < 1) return;
  ForEachGroupDescending<kGroup>(count, [&](int m, auto g) { Group<g.value>(hr, tapCount, x + m, shift, out + m); });
}

}  // namespace hvfx::fir
