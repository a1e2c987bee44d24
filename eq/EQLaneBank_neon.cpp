// Arm NEON registers for the equalizer lanes: four sections per int32x4.
// vmull/vmlal/vmlsl form exact 32 x 32 -> 64-bit products and add or
// subtract them modulo 2^64; vshrn by 22 keeps the low 32 bits of u asr 22,
// the state the next sample multiplies.
#include <arm_neon.h>

#include "../simd/WideLanes.h"
#include "EQLaneBankInternal.h"

namespace hvfx::eq {
namespace {

struct LaneVec : simd::WideLanes {
  using U = W;  // u of lanes 0-1 and 2-3
  using S = int64x2_t;
  static constexpr bool kSaturates = true;
  static void Store(int32_t* p, V v) { vst1q_s32(p, v); }
  static V Broadcast(int32_t x) { return vdupq_n_s32(x); }
  static V NarrowSat22(const U& u) { return vqshrn_high_n_s64(vqshrn_n_s64(u.lo, 22), u.hi, 22); }
  static S Zero() { return vdupq_n_s64(0); }
  static void AddTo(S& s, const U& u) { s = vaddq_s64(s, vaddq_s64(u.lo, u.hi)); }
  static int64_t Sum(S s) { return vaddvq_s64(s); }
  // Pairwise sums, the dry input added, then a saturating narrowing shift
  // (floor, to 32 bits) and the clamp to 24 bits: the same as Sat24 of the
  // 64-bit shift.
  static void Finish4(const S* s, const int32_t* x, int32_t dryQ22, int* out, std::ptrdiff_t step) {
    const int32x4_t xv = vld1q_s32(x);
    const int32x4_t dry = vdupq_n_s32(dryQ22);
    const int64x2_t acc01 = vmlal_s32(vpaddq_s64(s[0], s[1]), vget_low_s32(xv), vget_low_s32(dry));
    const int64x2_t acc23 = vmlal_high_s32(vpaddq_s64(s[2], s[3]), xv, dry);
    int32x4_t y = vqshrn_high_n_s64(vqshrn_n_s64(acc01, 22), acc23, 22);
    y = vmaxq_s32(vminq_s32(y, vdupq_n_s32(8388607)), vdupq_n_s32(-8388608));
    if (step == 1) {
      vst1q_s32(out, y);
    } else {
      out[0] = vgetq_lane_s32(y, 0);
      out[step] = vgetq_lane_s32(y, 1);
      out[2 * step] = vgetq_lane_s32(y, 2);
      out[3 * step] = vgetq_lane_s32(y, 3);
    }
  }
};

}  // namespace

void neon::EQRunLanes(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames) {
  EQRunGrouped<LaneVec>(bank, out, in, step, frames);
}

}  // namespace hvfx::eq
