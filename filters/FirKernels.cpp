// Portable FIR kernels: one output at a time, last output first, each a
// plain loop over the taps. Overflow: 16 x 16 or 32 x 16-bit products are
// exact in 64 bits and summed modulo 2^64; the flooring shift and the
// narrowing to the sample width wrap, nothing saturates.
#include "FirKernelsInternal.h"

namespace hvfx::fir {
namespace {

template <class Sample>
void RunTapsPortable(const int16_t* hr, int tapCount, const Sample* x, int count, int shift, Sample* out) {
  if (count < 1 || tapCount < 1) return;
  for (int m = count - 1; m >= 0; --m) {
    // The window x[m ... m+N-1] is read in full before out[m] (which may be
    // x[m+N-1]) is written.
    out[m] = FinishTaps<Sample>(DotTaps(hr, x + m, 0, tapCount), shift);
  }
}

}  // namespace

void RunTaps32Portable(const int16_t* hr, int tapCount, const int32_t* x, int count, int shift, int32_t* out) {
  RunTapsPortable(hr, tapCount, x, count, shift, out);
}

void RunTaps16Portable(const int16_t* hr, int tapCount, const int16_t* x, int count, int shift, int16_t* out) {
  RunTapsPortable(hr, tapCount, x, count, shift, out);
}

TapKernels TapKernelsAt(simd::Level level) {
  switch (level) {
#if defined(HVFX_SIMD_SSE41)
    case simd::Level::kSse41: return {sse41::RunTaps32, sse41::RunTaps16};
#endif
#if defined(HVFX_SIMD_AVX2)
    case simd::Level::kAvx2: return {avx2::RunTaps32, avx2::RunTaps16};
#endif
#if defined(HVFX_SIMD_NEON)
    case simd::Level::kNeon: return {neon::RunTaps32, neon::RunTaps16};
#endif
    default: return {RunTaps32Portable, RunTaps16Portable};
  }
}

const TapKernels& ActiveTapKernels() {
  static const TapKernels kernels = TapKernelsAt(simd::ActiveLevel());
  return kernels;
}

}  // namespace hvfx::fir
