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

namespace filtfilt {

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

// True when this build has a lane kernel for `count` lanes of `nsos`
// sections with these exponents (every shift 15 + q within 0 ... 32).
bool CascadeLanesSupported(const CascadeLane* lanes, int count, int nsos);

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

#if defined(HVFX_SIMD_AVX2) || defined(HVFX_SIMD_NEON)
// Runs count (1 ... kMaxLanes) lanes of kSections (1 ... kMaxLaneSections)
// sections over n samples; only after CascadeLanesSupported said yes. The
// vector file instantiates every section count.
template <int kSections>
void RunCascadeLanesOf(const CascadeLane* lanes, int count, int n);

inline void RunCascadeLanes(const CascadeLane* lanes, int count, int nsos, int n) {
  switch (nsos) {
    case 1: return RunCascadeLanesOf<1>(lanes, count, n);
    case 2: return RunCascadeLanesOf<2>(lanes, count, n);
    case 3: return RunCascadeLanesOf<3>(lanes, count, n);
    case 4: return RunCascadeLanesOf<4>(lanes, count, n);
    default: return;
  }
}
#endif

}  // namespace filtfilt
