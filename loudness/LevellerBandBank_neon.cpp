// Arm NEON lanes for the leveller's band bank: four bands per int32x4; the
// loop is RunBandBankWith (LevellerBandBankInternal.h). vmull/vmlal/vmlsl
// form exact 32 x 32 -> 64-bit products summed modulo 2^64; vshrn by 21
// keeps the low 32 bits of u asr 21, the band's output.
#include <arm_neon.h>

#include "../simd/WideLanes.h"
#include "LevellerBandBankInternal.h"

namespace hvfx::leveller {
namespace {

struct Lanes : simd::WideLanes {
  using U = W;
  static void Store(int32_t* p, V v) { vst1q_s32(p, v); }
  static void Store64(uint64_t* p, const U& u) {
    vst1q_u64(p, vreinterpretq_u64_s64(u.lo));
    vst1q_u64(p + 2, vreinterpretq_u64_s64(u.hi));
  }
  static V Broadcast(int32_t x) { return vdupq_n_s32(x); }
  static U Rounded(V c, V x) {
    const int64x2_t round = vdupq_n_s64(int64_t{1} << 20);
    return {vmlal_s32(round, vget_low_s32(c), vget_low_s32(x)), vmlal_high_s32(round, c, x)};
  }
  static V Narrow21(const U& u) { return vshrn_high_n_s64(vshrn_n_s64(u.lo, 21), u.hi, 21); }
  static U Zero() { return {vdupq_n_s64(0), vdupq_n_s64(0)}; }
  static void AddSquare(U& e, V y) { Mac(e, y, y); }
};

}  // namespace

void neon::RunBandBank(const BandBankPass& pass) { RunBandBankWith<Lanes>(pass); }

}  // namespace hvfx::leveller
