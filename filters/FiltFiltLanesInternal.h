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

#if defined(HVFX_SIMD_AVX2) || defined(HVFX_SIMD_NEON)
// Runs count (1 ... kMaxLanes) lanes of nsos (1 ... kMaxLaneSections)
// sections over n samples; only after CascadeLanesSupported said yes.
void RunCascadeLanes(const CascadeLane* lanes, int count, int nsos, int n);
#endif

}  // namespace filtfilt
