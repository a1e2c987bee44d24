// Inner-product kernels of the FIR filter (CFIRFxd). Internal to the library.
//
// A kernel runs one channel's taps over a time-ordered signal:
//
//   out[m] = (sum_{i=0}^{N-1} hr[i] * x[m + i]) asr shift,   m = 0 ... count-1
//
// where hr is the impulse response reversed (hr[i] = h[N-1-i], so hr[N-1]
// meets the newest sample x[m + N - 1]). Products are exact (16 x 16 or
// 32 x 16 bits) and summed modulo 2^64, so any order of summation gives the
// same bits; the shift floors (negative counts shift left modulo 2^64) and
// the result keeps the low 16 or 32 bits: no rounding, no saturation.
//
// Contract shared by every kernel:
//   * x[0 ... count + N - 2] is read and nothing outside it;
//   * outputs are produced from m = count-1 down to 0 and each one is stored
//     only after every sample it reads, so out may be x + N - 1 (the filter
//     running in place over its own input); any other overlap is not allowed;
//   * count < 1 or N < 1 does nothing.
#pragma once

#include <cstdint>
#include <type_traits>

#include "../fixedpoint/FixedPoint.h"
#include "../simd/SimdLevel.h"
#include "../simd/Target.h"

namespace hvfx::fir {

using RunTaps32Fn = void (*)(const int16_t* hr, int tapCount, const int32_t* x, int count, int shift, int32_t* out);
using RunTaps16Fn = void (*)(const int16_t* hr, int tapCount, const int16_t* x, int count, int shift, int16_t* out);

// The kernels of one level, for both sample widths.
struct TapKernels {
  RunTaps32Fn taps32;
  RunTaps16Fn taps16;
};

// The plain C++ loops: the reference every vector kernel matches bit for
// bit.
void RunTaps32Portable(const int16_t* hr, int tapCount, const int32_t* x, int count, int shift, int32_t* out);
void RunTaps16Portable(const int16_t* hr, int tapCount, const int16_t* x, int count, int shift, int16_t* out);

// The vector kernels (FirKernels_x86.cpp once per x86 level,
// FirKernels_neon.cpp); only those of the build's levels exist.
namespace sse41 {
void RunTaps32(const int16_t* hr, int tapCount, const int32_t* x, int count, int shift, int32_t* out);
void RunTaps16(const int16_t* hr, int tapCount, const int16_t* x, int count, int shift, int16_t* out);
}  // namespace sse41
namespace avx2 {
void RunTaps32(const int16_t* hr, int tapCount, const int32_t* x, int count, int shift, int32_t* out);
void RunTaps16(const int16_t* hr, int tapCount, const int16_t* x, int count, int shift, int16_t* out);
}  // namespace avx2
namespace neon {
void RunTaps32(const int16_t* hr, int tapCount, const int32_t* x, int count, int shift, int32_t* out);
void RunTaps16(const int16_t* hr, int tapCount, const int16_t* x, int count, int shift, int16_t* out);
}  // namespace neon

// The kernels of a level: its vector kernels, the portable ones where the
// build has none for it.
TapKernels TapKernelsAt(simd::Level level);
// The kernels of the active level (simd/SimdLevel.h), which the filter uses.
const TapKernels& ActiveTapKernels();

// The filter's kernels (one name for both sample widths).
inline void RunTaps(const int16_t* hr, int tapCount, const int32_t* x, int count, int shift, int32_t* out) {
  ActiveTapKernels().taps32(hr, tapCount, x, count, shift, out);
}
inline void RunTaps(const int16_t* hr, int tapCount, const int16_t* x, int count, int shift, int16_t* out) {
  ActiveTapKernels().taps16(hr, tapCount, x, count, shift, out);
}

inline namespace HVFX_TARGET_INLINE {

// sum_{i=from}^{to-1} hr[i] * x[i], modulo 2^64: the scalar loop of the
// portable kernels and the leftover taps of the vector ones.
template <class Sample>
inline int64_t DotTaps(const int16_t* hr, const Sample* x, int from, int to) {
  int64_t acc = 0;
  for (int i = from; i < to; ++i) acc = fxp::AddWrap64(acc, fxp::Mul32x32(hr[i], x[i]));
  return acc;
}

// One finished output: the sum shifted (flooring) and narrowed to the sample
// width, low bits kept.
template <class Sample>
Sample FinishTaps(int64_t acc, int shift);
template <>
inline int32_t FinishTaps<int32_t>(int64_t acc, int shift) { return fxp::Asr64To32(acc, shift); }
template <>
inline int16_t FinishTaps<int16_t>(int64_t acc, int shift) { return fxp::Wrap16(fxp::Asr64(acc, shift)); }

// Runs group(m, std::integral_constant<int, G>) over 0 ... count-1 from the
// top down: groups of kGroup outputs first, then single outputs, so that
// every group is finished before the one below it starts.
template <int kGroup, class GroupFn>
inline void ForEachGroupDescending(int count, GroupFn group) {
  int m = count;
  for (; m >= kGroup; m -= kGroup) group(m - kGroup, std::integral_constant<int, kGroup>{});
  while (m > 0) {
    --m;
    group(m, std::integral_constant<int, 1>{});
  }
}

}  // inline namespace HVFX_TARGET_INLINE
}  // namespace hvfx::fir
