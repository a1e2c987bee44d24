// Packed per-sample form of one equalizer channel: the enabled sections of
// CHVAudioEQ_Ts laid out as lanes of one general section
//   u = b0*x[n] + b1*x[n-1] + b2*x[n-2] - a1*y[n-1] - a2*y[n-2]
//   y[n-1] <- u asr 22 (low 32 bits), y[n-2] <- old y[n-1]
// so the loop runs only what is switched on and the lanes map onto vector
// registers. Bands come first (lanes 0 ... bandCount - 1, no b1 term), the
// shelves after them (no b2 and a2 terms): a kernel may skip the terms a
// group of lanes does not have. Internal to the library.
//
// Every kernel computes the same sums modulo 2^64 (wrapping adds of exact
// 32 x 32-bit products), so the order of lanes and of additions does not
// change a single bit of the result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "../fixedpoint/FixedPoint.h"
#include "../simd/SimdLevel.h"
#include "../simd/Target.h"

namespace hvfx::eq {

struct EQLaneBank {
  static constexpr int kMaxBands = 10;
  static constexpr int kMaxLanes = 12;  // ten bands, low shelf, high shelf

  int count = 0;         // lanes in use; lanes count ... kMaxLanes are all zero
  int bandCount = 0;     // leading lanes that are bands: b1 = 0
  int32_t dryQ22 = 0;    // 0x400000 when the input joins the sum (x << 22), else 0
  int32_t xPrev1 = 0;    // x[n-1]
  int32_t xPrev2 = 0;    // x[n-2]
  alignas(32) int32_t b0[kMaxLanes] = {};
  alignas(32) int32_t b1[kMaxLanes] = {};
  alignas(32) int32_t b2[kMaxLanes] = {};
  alignas(32) int32_t a1[kMaxLanes] = {};
  alignas(32) int32_t a2[kMaxLanes] = {};
  alignas(32) int32_t y1[kMaxLanes] = {};  // y[n-1] of each lane
  alignas(32) int32_t y2[kMaxLanes] = {};  // y[n-2] of each lane
};

// How a vector kernel with `lanesPerGroup` lanes per register covers the
// bank: `band` registers of bands only, then `mixed` (0 or 1) holding the
// last bands and the first shelves, then `shelf` (0 or 1) of shelves only.
struct EQLaneGroups {
  int band = 0;
  int mixed = 0;
  int shelf = 0;
};
EQLaneGroups EQGroupLanes(const EQLaneBank& bank, int lanesPerGroup);

// Runs `frames` samples, read from in[0], in[step], ... and written to
// out[0], out[step], ... (out may equal in), through the bank and updates its
// history. Output: (dry + sum of lanes) asr 22, saturated to 24 bits.
using EQRunLanesFn = void (*)(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames);

// The kernel of the active level (simd/SimdLevel.h).
void EQRunLanes(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames);

// The plain C++ loop: the reference every vector kernel matches bit for bit.
void EQRunLanesPortable(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames);
// The same with separate strides for the input and the output.
void EQRunLanesStrided(EQLaneBank& bank, int* out, std::ptrdiff_t outStep, const int* in, std::ptrdiff_t inStep,
                       int frames);

// The vector kernels (EQLaneBank_x86.cpp once per x86 level,
// EQLaneBank_neon.cpp); only those of the build's levels exist.
namespace sse41 {
void EQRunLanes(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames);
}
namespace avx2 {
void EQRunLanes(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames);
}
namespace neon {
void EQRunLanes(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames);
}

// The kernel of a level: its vector kernel, the portable one where the build
// has none for it. Tests compare every supported level with the portable one.
EQRunLanesFn EQRunLanesAt(simd::Level level);

inline namespace HVFX_TARGET_INLINE {

// A section's next state: u asr 22 saturated to 32 bits (every kernel).
inline int32_t EQState(uint64_t u) { return fxp::Sat32(fxp::Asr64(static_cast<int64_t>(u), 22)); }

// One output sample: Sat24((sum of the lanes' u + x * dryQ22) asr 22), the
// sum wrapping modulo 2^64.
inline int EQFinishSample(int64_t laneSum, int32_t x, int32_t dryQ22) {
  return fxp::Sat24(fxp::Asr64(fxp::AddWrap64(laneSum, fxp::Mul32x32(x, dryQ22)), 22));
}

// ---- Vector kernels -----------------------------------------------------
//
// One body serves every instruction set; a traits class L supplies the
// register types and operations:
//   kLanes                   lanes (sections) per register
//   V                        kLanes 32-bit values (coefficients, states)
//   U                        kLanes 64-bit section outputs u
//   S                        per-sample sum of u over registers
//   Load(p) / Store(p, v)    kLanes int32 from / to memory
//   Broadcast(x)             x in every lane
//   Mul(c, v)                exact products c*v
//   Mac(u, c, v), Msu(...)   u += c*v, u -= c*v (modulo 2^64)
//   kSaturates               true: NarrowSat22(u) is u asr 22 saturated to 32
//                            bits (EQState);
//                            false: Narrow22(u) is its low 32 bits, and
//                            Track(f, u) / Overflowed(f) tell whether any u
//                            left the range where the two agree
//                            (NoOverflow() starts f)
//   Zero(), AddTo(s, u)      s = 0, s += u (modulo 2^64)
//   Sum(s)                   the lanes of s added (modulo 2^64)
//   Finish4(s, x, dryQ22, out, step)
//                            EQFinishSample of four consecutive samples

// Overflow note: exact 32 x 32 -> 64-bit products, lane and accumulator sums
// modulo 2^64, states u asr 22 saturated to 32 bits; the output acc asr 22
// saturates to 24 bits.
//
// Where the registers have no cheap saturating narrowing (x86), a clamp in
// the recursion would lengthen its critical path several times over. The
// kernel then runs chunks of kChunk samples with the plain narrowing and only
// watches, off that path, whether a state left the 32-bit range; a chunk
// where one did is run again from its start through the portable loop,
// which saturates. Input that stays in the working range never does.
//
// Registers hold kBand groups of bands, then kMixed (0 or 1) groups holding
// the last bands and the first shelves, then kShelf (0 or 1) groups of
// shelves: band groups skip the b1 product, shelf groups the b2 and a2 ones.
// Samples per chunk of a kernel that checks for overflow after the fact.
inline constexpr int kChunk = 64;

template <class L>
auto NoOverflowOf() {
  if constexpr (L::kSaturates) {
    return 0;
  } else {
    return L::NoOverflow();
  }
}

template <class L, int kBand, int kMixed, int kShelf>
void EQRunGroups(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames) {
  constexpr int kGroups = kBand + kMixed + kShelf;
  if constexpr (kGroups == 0 || kGroups * L::kLanes > EQLaneBank::kMaxLanes) {
    EQRunLanesPortable(bank, out, in, step, frames);  // no such layout; never dispatched
  } else {
    using V = typename L::V;
    using U = typename L::U;
    using S = typename L::S;
    V b0[kGroups], b1[kGroups], b2[kGroups], a1[kGroups], a2[kGroups], y1[kGroups], y2[kGroups];
    for (int v = 0; v < kGroups; ++v) {
      const int lane = v * L::kLanes;
      b0[v] = L::Load(bank.b0 + lane);
      b1[v] = L::Load(bank.b1 + lane);
      b2[v] = L::Load(bank.b2 + lane);
      a1[v] = L::Load(bank.a1 + lane);
      a2[v] = L::Load(bank.a2 + lane);
      y1[v] = L::Load(bank.y1 + lane);
      y2[v] = L::Load(bank.y2 + lane);
    }
    const int32_t dryQ22 = bank.dryQ22;
    int32_t xPrev1 = bank.xPrev1;  // in may be overwritten (in place): keep the inputs here
    int32_t xPrev2 = bank.xPrev2;
    V x1 = L::Broadcast(xPrev1);
    V x2 = L::Broadcast(xPrev2);
    [[maybe_unused]] auto flags = NoOverflowOf<L>();
    // One sample through every group; returns the sum of its lanes' outputs.
    auto step1 = [&](int32_t xs) {
      const V x = L::Broadcast(xs);
      S sum = L::Zero();
      for (int v = 0; v < kGroups; ++v) {
        U u = L::Mul(b0[v], x);
        if (v >= kBand) L::Mac(u, b1[v], x1);  // mixed and shelf groups
        if (v < kBand + kMixed) {                // band and mixed groups
          L::Mac(u, b2[v], x2);
          L::Msu(u, a2[v], y2[v]);
        }
        // Everything else is ready a sample ahead; a1*y[n-1] closes the
        // recursion last.
        L::Msu(u, a1[v], y1[v]);
        if (v < kBand + kMixed) y2[v] = y1[v];
        if constexpr (L::kSaturates) {
          y1[v] = L::NarrowSat22(u);
        } else {
          y1[v] = L::Narrow22(u);
          L::Track(flags, u);
        }
        L::AddTo(sum, u);
      }
      x2 = x1;
      x1 = x;
      return sum;
    };
    auto store = [&] {
      for (int v = 0; v < kGroups; ++v) {
        L::Store(bank.y1 + v * L::kLanes, y1[v]);
        L::Store(bank.y2 + v * L::kLanes, y2[v]);
      }
      bank.xPrev1 = xPrev1;
      bank.xPrev2 = xPrev2;
    };
    // Four samples at a time (all four read before any is written), their
    // outputs finished together. The input is read from a copy of the chunk,
    // so a chunk can be run again even in place.
    int32_t chunk[kChunk];
    for (int first = 0; first < frames; first += kChunk) {
      const int length = frames - first < kChunk ? frames - first : kChunk;
      int* const to = out + first * step;
      for (int k = 0; k < length; ++k) chunk[k] = in[(first + k) * step];
      if constexpr (!L::kSaturates) store();  // the chunk's starting state
      int n = 0;
      for (; n + 4 <= length; n += 4) {
        const S sums[4] = {step1(chunk[n]), step1(chunk[n + 1]), step1(chunk[n + 2]), step1(chunk[n + 3])};
        L::Finish4(sums, chunk + n, dryQ22, to + n * step, step);
      }
      for (; n < length; ++n) to[n * step] = EQFinishSample(L::Sum(step1(chunk[n])), chunk[n], dryQ22);
      xPrev2 = length > 1 ? chunk[length - 2] : xPrev1;
      xPrev1 = chunk[length - 1];
      if constexpr (!L::kSaturates) {
        if (L::Overflowed(flags)) {  // again from the stored start, saturating
          EQRunLanesStrided(bank, to, step, chunk, 1, length);
          for (int v = 0; v < kGroups; ++v) {
            y1[v] = L::Load(bank.y1 + v * L::kLanes);
            y2[v] = L::Load(bank.y2 + v * L::kLanes);
          }
          flags = NoOverflowOf<L>();
        }
      }
    }
    store();
  }
}

// Runs the bank through the EQRunGroups instantiation for its grouping into
// registers of L::kLanes lanes (each keeps its registers in place and skips
// the products its groups do not have). Layouts no kernel covers run the
// portable loop.
template <class L>
void EQRunGrouped(EQLaneBank& bank, int* out, const int* in, std::ptrdiff_t step, int frames) {
  constexpr int kMaxBandGroups = (EQLaneBank::kMaxBands + L::kLanes - 1) / L::kLanes;
  // A plain array (not std::array): a vector object compiles no member
  // function of the standard library (simd/Target.h).
  struct Kernels {
    EQRunLanesFn run[(kMaxBandGroups + 1) * 4];
  };
  static constexpr Kernels kKernels = []<int... I>(std::integer_sequence<int, I...>) {
    return Kernels{{&EQRunGroups<L, I / 4, (I / 2) % 2, I % 2>...}};
  }(std::make_integer_sequence<int, (kMaxBandGroups + 1) * 4>{});
  if (frames < 1) return;
  const EQLaneGroups g = EQGroupLanes(bank, L::kLanes);
  if (bank.count == 0 || g.band > kMaxBandGroups || g.mixed > 1 || g.shelf > 1) {
    EQRunLanesPortable(bank, out, in, step, frames);
    return;
  }
  kKernels.run[g.band * 4 + g.mixed * 2 + g.shelf](bank, out, in, step, frames);
}

}  // inline namespace HVFX_TARGET_INLINE
}  // namespace hvfx::eq
