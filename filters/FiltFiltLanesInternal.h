// Independent section cascades run side by side: up to four single-channel
// passes of the forward-backward filter (each its own coefficients, state,
// input and output, all of one length) share vector lanes, so four
// recursions advance together. Internal to the library.
//
// Each lane computes exactly what the filter's own cascade computes: per
// section y = (b0 x[n] + b1 x[n-1] + b2 x[n-2] - a2 y[n-2] - a1 y[n-1])
// asr (15 + sosQ), 32 x 16-bit products summed in 64 bits, low 32 bits
// kept; then out = (y * gain[nsos]) asr (15 + gainQ[nsos]), low 32 bits.
#pragma once

#include <cstdint>

#include "../simd/SimdLevel.h"
#include "../simd/Target.h"

namespace hvfx::filtfilt {

constexpr int kMaxLanes = 4;
constexpr int kMaxLaneSections = 4;

struct CascadeLane {
  const int* in = nullptr;  // n samples
  int* out = nullptr;       // n samples; must not overlap another lane's buffers
  const short* sos = nullptr;    // nsos rows of six (a0 unused)
  const short* sosQ = nullptr;   // nsos exponents
  const short* gain = nullptr;   // gain[nsos] is applied
  const short* gainQ = nullptr;  // gainQ[nsos] is applied
  int* state = nullptr;          // nsos x {x[n-1], x[n-2], y[n-1], y[n-2]}, updated
};

// True when `count` lanes of `nsos` sections with these exponents fit the
// lane kernels: 1 ... kMaxLanes lanes, 1 ... kMaxLaneSections sections and
// every shift 15 + q within 0 ... 32.
bool CascadeLanesSupported(const CascadeLane* lanes, int count, int nsos);

// Runs count lanes of nsos sections over n samples; only after
// CascadeLanesSupported said yes.
using RunCascadeLanesFn = void (*)(const CascadeLane* lanes, int count, int nsos, int n);

// The plain C++ loop over each lane in turn: the reference every lane kernel
// matches bit for bit (the filter itself runs its own cascade where a level
// has no lane kernel).
void RunCascadeLanesPortable(const CascadeLane* lanes, int count, int nsos, int n);

// The lane kernels (FiltFiltLanes_x86.cpp once per x86 level,
// FiltFiltLanes_neon.cpp); only those of the build's levels exist.
namespace sse41 {
void RunCascadeLanes(const CascadeLane* lanes, int count, int nsos, int n);
}
namespace avx2 {
void RunCascadeLanes(const CascadeLane* lanes, int count, int nsos, int n);
}
namespace neon {
void RunCascadeLanes(const CascadeLane* lanes, int count, int nsos, int n);
}

// The lane kernel of a level, or null where the build has none for it.
RunCascadeLanesFn CascadeLanesAt(simd::Level level);
// The lane kernel of the active level (simd/SimdLevel.h), or null.
RunCascadeLanesFn ActiveCascadeLanes();

inline namespace HVFX_TARGET_INLINE {

// The lanes' coefficients, shifts and state gathered into per-word rows of
// kMaxLanes values for a kernel's vector loads, and the state returned.
// Unused lanes are zero; their outputs are never stored.
template <int kSections>
struct LaneTable {
  // Per section: b0, b1, b2, a1, a2, shift (15 + sosQ); then x[n-1], x[n-2],
  // y[n-1], y[n-2].
  alignas(16) int32_t coef[kSections][6][kMaxLanes] = {};
  alignas(16) int32_t state[kSections][4][kMaxLanes] = {};
  alignas(16) int32_t gain[kMaxLanes] = {};
  alignas(16) int32_t gainShift[kMaxLanes] = {};
  const int* in[kMaxLanes] = {};
  int* out[kMaxLanes] = {};

  LaneTable(const CascadeLane* lanes, int count) {
    for (int l = 0; l < count; ++l) {
      const CascadeLane& lane = lanes[l];
      for (int s = 0; s < kSections; ++s) {
        const short* row = lane.sos + s * 6;
        const int32_t words[6] = {row[0], row[1], row[2], row[4], row[5], 15 + lane.sosQ[s]};
        for (int w = 0; w < 6; ++w) coef[s][w][l] = words[w];
        for (int w = 0; w < 4; ++w) state[s][w][l] = lane.state[s * 4 + w];
      }
      gain[l] = lane.gain[kSections];
      gainShift[l] = 15 + lane.gainQ[kSections];
    }
    for (int l = 0; l < kMaxLanes; ++l) {
      in[l] = lanes[l < count ? l : 0].in;  // an unused lane shadows lane 0
      out[l] = lanes[l < count ? l : 0].out;
    }
  }

  void ReturnState(const CascadeLane* lanes, int count) const {
    for (int l = 0; l < count; ++l)
      for (int s = 0; s < kSections; ++s)
        for (int w = 0; w < 4; ++w) lanes[l].state[s * 4 + w] = state[s][w][l];
  }
};

// ---- Lane kernels -------------------------------------------------------
//
// One body serves every instruction set; a traits class L supplies the
// registers of four lanes and their operations:
//   R                       four int32 (a row of memory, one value per lane)
//   V                       the lanes' 32-bit values as the products read them
//   W                       the lanes' 64-bit sums
//   C                       the lanes' shift counts, prepared
//   LoadRow(p), StoreRow(p, r)   four int32 from / to memory (any alignment)
//   Widen(r)                R as V;  Load(p) = Widen of an aligned row
//   Counts(p)               four shift counts (each 0 ... 32) as C
//   Mul(a, b)               exact products a*b as W
//   Mac(w, a, b), Msu(...)  w += a*b, w -= a*b (modulo 2^64)
//   Shift(w, c)             the low 32 bits of w asr c, as V
//   Narrow(v)               V as R (the low 32 bits of each lane)
//   Transpose(r[4])         rows of four samples of each lane into rows of
//                           one sample of every lane, and back
//
// Overflow: exact products, sums modulo 2^64; a shift by at most 32 leaves
// the same low 32 bits whether arithmetic or logical.
template <class L, int kSections>
void RunCascadeSections(const CascadeLane* lanes, int count, int n) {
  using R = typename L::R;
  using V = typename L::V;
  using W = typename L::W;
  using C = typename L::C;
  LaneTable<kSections> t(lanes, count);
  V b0[kSections], b1[kSections], b2[kSections], a1[kSections], a2[kSections];
  V x1[kSections], x2[kSections], y1[kSections], y2[kSections];
  C shift[kSections];
  for (int s = 0; s < kSections; ++s) {
    b0[s] = L::Load(t.coef[s][0]);
    b1[s] = L::Load(t.coef[s][1]);
    b2[s] = L::Load(t.coef[s][2]);
    a1[s] = L::Load(t.coef[s][3]);
    a2[s] = L::Load(t.coef[s][4]);
    shift[s] = L::Counts(t.coef[s][5]);
    x1[s] = L::Load(t.state[s][0]);
    x2[s] = L::Load(t.state[s][1]);
    y1[s] = L::Load(t.state[s][2]);
    y2[s] = L::Load(t.state[s][3]);
  }
  const V gain = L::Load(t.gain);
  const C gainShift = L::Counts(t.gainShift);
  const int* const* in = t.in;
  int* const* out = t.out;

  // One sample of every lane through the cascade and the output gain.
  auto step = [&](R row) {
    V x = L::Widen(row);
    for (int s = 0; s < kSections; ++s) {
      W acc = L::Mul(b0[s], x);
      L::Mac(acc, b1[s], x1[s]);
      L::Mac(acc, b2[s], x2[s]);
      L::Msu(acc, a2[s], y2[s]);
      // a1 * y[n-1] last: it closes the loop-carried chain.
      L::Msu(acc, a1[s], y1[s]);
      const V y = L::Shift(acc, shift[s]);
      x2[s] = x1[s];
      x1[s] = x;
      y2[s] = y1[s];
      y1[s] = y;
      x = y;
    }
    return L::Narrow(L::Shift(L::Mul(x, gain), gainShift));
  };

  int k = 0;
  // Four samples of four lanes at a time, transposed in and out.
  for (; k + 4 <= n; k += 4) {
    R rows[4] = {L::LoadRow(in[0] + k), L::LoadRow(in[1] + k), L::LoadRow(in[2] + k), L::LoadRow(in[3] + k)};
    L::Transpose(rows);
    for (R& row : rows) row = step(row);
    L::Transpose(rows);
    // Lanes in use only; an unused lane shadows lane 0 and is never stored.
    for (int l = 0; l < count; ++l) L::StoreRow(out[l] + k, rows[l]);
  }
  for (; k < n; ++k) {
    int32_t o[4] = {in[0][k], in[1][k], in[2][k], in[3][k]};
    L::StoreRow(o, step(L::LoadRow(o)));
    for (int l = 0; l < count; ++l) out[l][k] = o[l];
  }
  for (int s = 0; s < kSections; ++s) {
    L::StoreRow(t.state[s][0], L::Narrow(x1[s]));
    L::StoreRow(t.state[s][1], L::Narrow(x2[s]));
    L::StoreRow(t.state[s][2], L::Narrow(y1[s]));
    L::StoreRow(t.state[s][3], L::Narrow(y2[s]));
  }
  t.ReturnState(lanes, count);
}

// The kernel for traits L: RunCascadeSections for the section count.
template <class L>
void RunCascadeLanesWith(const CascadeLane* lanes, int count, int nsos, int n) {
  switch (nsos) {
    case 1: return RunCascadeSections<L, 1>(lanes, count, n);
    case 2: return RunCascadeSections<L, 2>(lanes, count, n);
    case 3: return RunCascadeSections<L, 3>(lanes, count, n);
    case 4: return RunCascadeSections<L, 4>(lanes, count, n);
    default: return;
  }
}

}  // inline namespace HVFX_TARGET_INLINE
}  // namespace hvfx::filtfilt
