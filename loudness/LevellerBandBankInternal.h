// The leveller's band filters as one bank: every band biquad reads the same
// weighted analysis frame and none reads another, so the bands run side by
// side (vector lanes where the build has them) in one pass over the frame,
// each lane also summing the squares of its outputs. Internal to the
// library.
//
// Each lane is the leveller's direct-form-I biquad with Q21 coefficients
// (b0, b1, b2, a1, a2):
//   u = b0*x[i] + b1*x[i-1] + b2*x[i-2] - a1*y[i-1] - a2*y[i-2] + 2^20
//   y[i] = low 32 bits of (u asr 21)
//   energy += y[i]^2
// with exact 32 x 32-bit products and every sum modulo 2^64 (the energy as
// an unsigned value), so any order of summation gives the same bits.
#pragma once

#include <cstdint>

#include "../simd/SimdLevel.h"
#include "../simd/Target.h"

namespace hvfx::leveller {

constexpr int kMaxBankBands = 8;

// Inputs and state of one pass. coefs[b * 5 ... b * 5 + 4] are band b's
// coefficients; xState[b] = {x[-1], x[-2]} and yState[b] = {y[-1], y[-2]}
// are read and updated; energy[b] receives the band's sum of squares.
struct BandBankPass {
  const int* x = nullptr;  // n samples
  int n = 0;               // 0 ... 256
  int bands = 0;           // 0 ... kMaxBankBands
  const int* coefs = nullptr;
  int (*xState)[2] = nullptr;
  int (*yState)[2] = nullptr;
  uint64_t* energy = nullptr;
};

using RunBandBankFn = void (*)(const BandBankPass& pass);

// Runs the pass with the kernel of the active level (simd/SimdLevel.h); a
// pass of no bands or of more than kMaxBankBands does nothing.
void RunBandBank(const BandBankPass& pass);

// The plain C++ loop: the reference every vector kernel matches bit for bit.
void RunBandBankPortable(const BandBankPass& pass);

// The vector kernels (LevellerBandBank_x86.cpp once per x86 level,
// LevellerBandBank_neon.cpp), for 1 ... kMaxBankBands bands; only those of
// the build's levels exist.
namespace sse41 {
void RunBandBank(const BandBankPass& pass);
}
namespace avx2 {
void RunBandBank(const BandBankPass& pass);
}
namespace neon {
void RunBandBank(const BandBankPass& pass);
}

// The kernel of a level: its vector kernel, the portable one where the build
// has none for it.
RunBandBankFn RunBandBankAt(simd::Level level);

inline namespace HVFX_TARGET_INLINE {

// Lanes of the vector kernel gathered from and returned to the pass's
// per-band arrays; lanes past `bands` are zero and stay zero.
struct BandLanes {
  alignas(32) int32_t b0[kMaxBankBands] = {};
  alignas(32) int32_t b1[kMaxBankBands] = {};
  alignas(32) int32_t b2[kMaxBankBands] = {};
  alignas(32) int32_t a1[kMaxBankBands] = {};
  alignas(32) int32_t a2[kMaxBankBands] = {};
  alignas(32) int32_t x1[kMaxBankBands] = {};
  alignas(32) int32_t x2[kMaxBankBands] = {};
  alignas(32) int32_t y1[kMaxBankBands] = {};
  alignas(32) int32_t y2[kMaxBankBands] = {};
  alignas(32) uint64_t energy[kMaxBankBands] = {};

  explicit BandLanes(const BandBankPass& pass) {
    for (int b = 0; b < pass.bands; ++b) {
      const int* c = pass.coefs + b * 5;
      b0[b] = c[0];
      b1[b] = c[1];
      b2[b] = c[2];
      a1[b] = c[3];
      a2[b] = c[4];
      x1[b] = pass.xState[b][0];
      x2[b] = pass.xState[b][1];
      y1[b] = pass.yState[b][0];
      y2[b] = pass.yState[b][1];
    }
  }
  void Return(const BandBankPass& pass) const {
    for (int b = 0; b < pass.bands; ++b) {
      pass.xState[b][0] = x1[b];
      pass.xState[b][1] = x2[b];
      pass.yState[b][0] = y1[b];
      pass.yState[b][1] = y2[b];
      pass.energy[b] = energy[b];
    }
  }
};

// ---- Vector kernels -----------------------------------------------------
//
// One body serves every instruction set; a traits class L supplies the
// register types and operations:
//   kLanes                  bands per register
//   V                       kLanes 32-bit values (coefficients, states)
//   U                       kLanes 64-bit sums
//   Load(p) / Store(p, v)   kLanes int32 from / to memory
//   Broadcast(x)            x in every lane
//   Rounded(c, x)           2^20 + c*x, exact
//   Mac(u, c, v), Msu(...)  u += c*v, u -= c*v (modulo 2^64)
//   Narrow21(u)             the low 32 bits of u asr 21
//   Zero(), AddSquare(e, y) e = 0, e += y*y (modulo 2^64)
//   Store64(p, e)           kLanes uint64 to memory
//
// Registers hold kGroups groups of kLanes bands.
template <class L, int kGroups>
void RunBandGroups(const BandBankPass& pass, BandLanes& l) {
  using V = typename L::V;
  using U = typename L::U;
  V b0[kGroups], b1[kGroups], b2[kGroups], a1[kGroups], a2[kGroups], x1[kGroups], x2[kGroups], y1[kGroups],
      y2[kGroups];
  U energy[kGroups];
  for (int g = 0; g < kGroups; ++g) {
    const int lane = g * L::kLanes;
    b0[g] = L::Load(l.b0 + lane);
    b1[g] = L::Load(l.b1 + lane);
    b2[g] = L::Load(l.b2 + lane);
    a1[g] = L::Load(l.a1 + lane);
    a2[g] = L::Load(l.a2 + lane);
    x1[g] = L::Load(l.x1 + lane);
    x2[g] = L::Load(l.x2 + lane);
    y1[g] = L::Load(l.y1 + lane);
    y2[g] = L::Load(l.y2 + lane);
    energy[g] = L::Zero();
  }
  for (int i = 0; i < pass.n; ++i) {
    const V x = L::Broadcast(pass.x[i]);
    for (int g = 0; g < kGroups; ++g) {
      U u = L::Rounded(b0[g], x);
      L::Mac(u, b1[g], x1[g]);
      L::Mac(u, b2[g], x2[g]);
      L::Msu(u, a2[g], y2[g]);
      // a1*y[i-1] closes the sum: everything else is ready a sample ahead.
      L::Msu(u, a1[g], y1[g]);
      const V y = L::Narrow21(u);
      L::AddSquare(energy[g], y);
      x2[g] = x1[g];
      x1[g] = x;
      y2[g] = y1[g];
      y1[g] = y;
    }
  }
  for (int g = 0; g < kGroups; ++g) {
    const int lane = g * L::kLanes;
    L::Store(l.x1 + lane, x1[g]);
    L::Store(l.x2 + lane, x2[g]);
    L::Store(l.y1 + lane, y1[g]);
    L::Store(l.y2 + lane, y2[g]);
    L::Store64(l.energy + lane, energy[g]);
  }
}

// The kernel for traits L: half the registers when the bands fit them.
template <class L>
void RunBandBankWith(const BandBankPass& pass) {
  constexpr int kGroups = kMaxBankBands / L::kLanes;
  BandLanes lanes(pass);
  if (pass.bands <= kGroups / 2 * L::kLanes)
    RunBandGroups<L, kGroups / 2>(pass, lanes);
  else
    RunBandGroups<L, kGroups>(pass, lanes);
  lanes.Return(pass);
}

}  // inline namespace HVFX_TARGET_INLINE
}  // namespace hvfx::leveller
