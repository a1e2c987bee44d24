// Butterfly stages of the fixed-point complex FFT (FixedFFT.cpp). Internal to
// the library.
//
// Stage with half-size h over n words (h a power of two, 2h <= n): for every
// block of 2h words starting at b and every m = 0 ... h-1, with i = b + m and
// j = i + h, word j is rotated by the Q23 twiddle (cosQ23[m] + i*sinQ23[m]),
// each part rounded to nearest,
//   tr = (re[j]*c - im[j]*s + 2^22) asr 23,  ti = (im[j]*c + re[j]*s + 2^22) asr 23,
// and the pair becomes (re[i] + tr, im[i] + ti), (re[i] - tr, im[i] - ti).
//
// Every kernel computes exact 32 x 32-bit products, sums them modulo 2^64,
// keeps the low 32 bits of the rounded shift and adds modulo 2^32, so all of
// them give the same bits for any input, inside the headroom contract or not.
#pragma once

#include <cstdint>

#include "../simd/SimdLevel.h"
#include "../simd/Target.h"
#include "FixedPoint.h"

namespace hvfx::fft {

// One stage with half-size h over n words, as described above.
using FftStageFn = void (*)(int32_t* re, int32_t* im, int n, int h, const int32_t* cosQ23, const int32_t* sinQ23);

// The stages h = 1 and h = 2 (n >= 4, a multiple of 4) as one pass over
// blocks of four words, with the table's twiddles of those stages as
// constants (kCosZeroQ23 below): the same bits as FftStagePortable.
void FftFirstStages(int32_t* re, int32_t* im, int n);

// The plain C++ loop: the reference every vector kernel matches bit for bit.
void FftStagePortable(int32_t* re, int32_t* im, int n, int h, const int32_t* cosQ23, const int32_t* sinQ23);

// The vector kernels (FixedFFT_x86.cpp once per x86 level, FixedFFT_neon.cpp):
// the butterflies of a block in vector registers, the plain loop for a stage
// whose h is not a multiple of the register width. Only those of the build's
// levels exist.
namespace sse41 {
void FftStage(int32_t* re, int32_t* im, int n, int h, const int32_t* cosQ23, const int32_t* sinQ23);
}
namespace avx2 {
void FftStage(int32_t* re, int32_t* im, int n, int h, const int32_t* cosQ23, const int32_t* sinQ23);
}
namespace neon {
void FftStage(int32_t* re, int32_t* im, int n, int h, const int32_t* cosQ23, const int32_t* sinQ23);
}

// The stage kernel of a level: its vector kernel, the portable one where the
// build has none for it.
FftStageFn FftStageAt(simd::Level level);
// The stage kernel of the active level (simd/SimdLevel.h).
FftStageFn ActiveFftStage();

inline namespace HVFX_TARGET_INLINE {

// Low 32 bits of (v + 2^22) asr 23. Bits 23 ... 54 of a value are the same
// whether it is shifted arithmetically or logically, so the logical shift
// (which every vector unit has for 64-bit lanes) serves.
inline int32_t FftRoundQ23(int64_t v) {
  const uint64_t rounded = static_cast<uint64_t>(fxp::AddWrap64(v, int64_t{1} << 22));
  return static_cast<int32_t>(static_cast<uint32_t>(rounded >> 23));
}

// One butterfly of words i and j = i + h with the twiddle (c, s).
// Overflow: each product is a Q23 twiddle times a word (at most 2^54), the
// 64-bit sum of two stays below 2^55; the rounded asr 23 brings it back to 24
// bits, and the 32-bit sums stay in 24 bits while the transform's input keeps
// sum(|re| + |im|) below 2^23 (outside that they wrap modulo 2^32). Nothing
// saturates.
inline void FftButterfly(int32_t* re, int32_t* im, int i, int j, int32_t c, int32_t s) {
  const int32_t tr = FftRoundQ23(fxp::SubWrap64(fxp::Mul32x32(re[j], c), fxp::Mul32x32(im[j], s)));
  const int32_t ti = FftRoundQ23(fxp::AddWrap64(fxp::Mul32x32(im[j], c), fxp::Mul32x32(re[j], s)));
  const int32_t ri = re[i];
  const int32_t ii = im[i];
  re[j] = fxp::SubWrap32(ri, tr);
  im[j] = fxp::SubWrap32(ii, ti);
  re[i] = fxp::AddWrap32(ri, tr);
  im[i] = fxp::AddWrap32(ii, ti);
}

// The table's twiddles of the first two stages: cos 0 is stored as 8388607
// (just below 1.0), cos(pi/2) as 0, so the angles 0 and pi/2 have the
// twiddles (8388607, 0) and (0, 8388607).
inline constexpr int32_t kCosZeroQ23 = 8388607;

}  // inline namespace HVFX_TARGET_INLINE
}  // namespace hvfx::fft
