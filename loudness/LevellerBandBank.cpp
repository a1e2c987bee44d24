#include "LevellerBandBankInternal.h"

#include "../fixedpoint/FixedPoint.h"

namespace hvfx::leveller {

void RunBandBankPortable(const BandBankPass& pass) {
  using namespace fxp;
  for (int b = 0; b < pass.bands; ++b) {
    const int* c = pass.coefs + b * 5;
    int x1 = pass.xState[b][0], x2 = pass.xState[b][1], y1 = pass.yState[b][0], y2 = pass.yState[b][1];
    uint64_t energy = 0;
    for (int i = 0; i < pass.n; ++i) {
      const int xi = pass.x[i];
      int64_t acc = AddWrap64(Mul32x32(c[0], xi), Mul32x32(c[1], x1));
      acc = AddWrap64(acc, Mul32x32(c[2], x2));
      acc = SubWrap64(acc, Mul32x32(c[3], y1));
      acc = SubWrap64(acc, Mul32x32(c[4], y2));
      const int yi = Asr64To32(AddWrap64(acc, int64_t{1} << 20), 21);
      x2 = x1;
      x1 = xi;
      y2 = y1;
      y1 = yi;
      energy += static_cast<uint64_t>(Mul32x32(yi, yi));
    }
    pass.xState[b][0] = x1;
    pass.xState[b][1] = x2;
    pass.yState[b][0] = y1;
    pass.yState[b][1] = y2;
    pass.energy[b] = energy;
  }
}

RunBandBankFn RunBandBankAt(simd::Level level) {
  switch (level) {
#if defined(HVFX_SIMD_SSE41)
    case simd::Level::kSse41: return sse41::RunBandBank;
#endif
#if defined(HVFX_SIMD_AVX2)
    case simd::Level::kAvx2: return avx2::RunBandBank;
#endif
#if defined(HVFX_SIMD_NEON)
    case simd::Level::kNeon: return neon::RunBandBank;
#endif
    default: return RunBandBankPortable;
  }
}

void RunBandBank(const BandBankPass& pass) {
  static const RunBandBankFn run = RunBandBankAt(simd::ActiveLevel());
  if (pass.bands < 1 || pass.bands > kMaxBankBands) return;
  run(pass);
}

}  // namespace hvfx::leveller
