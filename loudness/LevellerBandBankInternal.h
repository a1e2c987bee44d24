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

namespace leveller {

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

// Runs the pass with the fastest kernel of this build.
void RunBandBank(const BandBankPass& pass);

// The plain C++ loop: the reference every vector kernel matches bit for bit.
void RunBandBankPortable(const BandBankPass& pass);

#if defined(HVFX_HAVE_SIMD)
// The kernel of the selected instruction set (LevellerBandBank_x86.cpp,
// LevellerBandBank_neon.cpp).
void RunBandBankVector(const BandBankPass& pass);
#endif

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

}  // namespace leveller
