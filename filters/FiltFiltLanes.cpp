// Side-by-side section cascades (FiltFiltLanesInternal.h): the portable
// reference, the shape check and the choice of the lane kernel.
#include "FiltFiltLanesInternal.h"

#include "../fixedpoint/FixedPoint.h"

namespace hvfx::filtfilt {

bool CascadeLanesSupported(const CascadeLane* lanes, int count, int nsos) {
  if (count < 1 || count > kMaxLanes || nsos < 1 || nsos > kMaxLaneSections) return false;
  auto shiftFits = [](int q) { return q >= -15 && q <= 17; };  // 15 + q in 0 ... 32
  for (int l = 0; l < count; ++l) {
    for (int s = 0; s < nsos; ++s)
      if (!shiftFits(lanes[l].sosQ[s])) return false;
    if (!shiftFits(lanes[l].gainQ[nsos])) return false;
  }
  return true;
}

void RunCascadeLanesPortable(const CascadeLane* lanes, int count, int nsos, int n) {
  using namespace fxp;
  for (int l = 0; l < count; ++l) {
    const CascadeLane& lane = lanes[l];
    for (int k = 0; k < n; ++k) {
      int32_t x = lane.in[k];
      for (int s = 0; s < nsos; ++s) {
        const short* c = lane.sos + s * 6;
        int* state = lane.state + s * 4;  // x[n-1], x[n-2], y[n-1], y[n-2]
        int64_t acc = AddWrap64(Mul32x32(c[0], x), Mul32x32(c[1], state[0]));
        acc = AddWrap64(acc, Mul32x32(c[2], state[1]));
        acc = SubWrap64(acc, Mul32x32(c[5], state[3]));
        acc = SubWrap64(acc, Mul32x32(c[4], state[2]));
        const int32_t y = Asr64To32(acc, 15 + lane.sosQ[s]);
        state[1] = state[0];
        state[0] = x;
        state[3] = state[2];
        state[2] = y;
        x = y;
      }
      lane.out[k] = Asr64To32(Mul32x32(x, lane.gain[nsos]), 15 + lane.gainQ[nsos]);
    }
  }
}

RunCascadeLanesFn CascadeLanesAt(simd::Level level) {
  switch (level) {
#if defined(HVFX_SIMD_SSE41)
    case simd::Level::kSse41: return sse41::RunCascadeLanes;
#endif
#if defined(HVFX_SIMD_AVX2)
    case simd::Level::kAvx2: return avx2::RunCascadeLanes;
#endif
#if defined(HVFX_SIMD_NEON)
    case simd::Level::kNeon: return neon::RunCascadeLanes;
#endif
    default: return nullptr;
  }
}

RunCascadeLanesFn ActiveCascadeLanes() {
  static const RunCascadeLanesFn run = CascadeLanesAt(simd::ActiveLevel());
  return run;
}

}  // namespace hvfx::filtfilt
