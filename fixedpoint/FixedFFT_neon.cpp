// NEON butterflies of the fixed-point FFT: four butterflies a step, one per
// 32-bit lane. vmull/vmlsl/vmlal form the exact 64-bit products and their
// sums (modulo 2^64, no saturation), and vrshrn adds 2^22, shifts right by 23
// and keeps the low 32 bits: FftRoundQ23 in one instruction. (vrshrn rounds
// without wrapping; the products of a Q23 twiddle and a 32-bit word stay
// below 2^55, so the two agree on every input.)
#include <arm_neon.h>

#include "FixedFFTInternal.h"

namespace hvfx::fft {

void neon::FftStage(int32_t* re, int32_t* im, int n, int h, const int32_t* cosQ23, const int32_t* sinQ23) {
  if (h % 4 != 0) {
    FftStagePortable(re, im, n, h, cosQ23, sinQ23);
    return;
  }
  for (int block = 0; block < n; block += 2 * h) {
    int32_t* reLow = re + block;
    int32_t* imLow = im + block;
    int32_t* reHigh = reLow + h;
    int32_t* imHigh = imLow + h;
    for (int m = 0; m < h; m += 4) {
      const int32x4_t a = vld1q_s32(reHigh + m), b = vld1q_s32(imHigh + m);
      const int32x4_t c = vld1q_s32(cosQ23 + m), s = vld1q_s32(sinQ23 + m);
      // real a*c - b*s and imaginary b*c + a*s, lanes 0-1 and 2-3.
      const int64x2_t realLow = vmlsl_s32(vmull_s32(vget_low_s32(a), vget_low_s32(c)), vget_low_s32(b), vget_low_s32(s));
      const int64x2_t realHigh = vmlsl_high_s32(vmull_high_s32(a, c), b, s);
      const int64x2_t imagLow = vmlal_s32(vmull_s32(vget_low_s32(b), vget_low_s32(c)), vget_low_s32(a), vget_low_s32(s));
      const int64x2_t imagHigh = vmlal_high_s32(vmull_high_s32(b, c), a, s);
      const int32x4_t tr = vrshrn_high_n_s64(vrshrn_n_s64(realLow, 23), realHigh, 23);
      const int32x4_t ti = vrshrn_high_n_s64(vrshrn_n_s64(imagLow, 23), imagHigh, 23);
      const int32x4_t ri = vld1q_s32(reLow + m), ii = vld1q_s32(imLow + m);
      vst1q_s32(reHigh + m, vsubq_s32(ri, tr));
      vst1q_s32(imHigh + m, vsubq_s32(ii, ti));
      vst1q_s32(reLow + m, vaddq_s32(ri, tr));
      vst1q_s32(imLow + m, vaddq_s32(ii, ti));
    }
  }
}

}  // namespace hvfx::fft
