// Fourth-order integrator for one channel: the three-step Adams-Moulton rule
//   y[n] = y[n-1] + (9 x[n] + 19 x[n-1] - 5 x[n-2] + x[n-3]) / 9
// in fixed point, with the pole exactly at DC and no leak, and an output gain
// that normalises the integration step to the sample rate. It expects a
// DC-free input (the soundbar feeds it from a CDCBlockerMAFxd): a constant
// offset makes the output grow without bound, wrapping in the output width.
//
// Scaling: x = in << inShift; the state y keeps the scale of x; the output is
//   (y * gain) asr (inShift + gainQ + 15 - outShiftAdjust)
// where gain = round(2^24 * 48 / fs), gainQ = 16 (shift 39 with inShift 10
// and outShiftAdjust 2). Nothing rounds or saturates; all arithmetic is
// 64-bit and wraps, the output keeps the low bits of its width.
//
// Holds no heap storage; not thread-safe.
#pragma once

#include <cstdint>

#include "Export.h"

class HVFX_API CNGOIntegratorFxd {
 public:
  // Zeroes the shifts, tap counts, coefficients, gain and gainQ and the
  // reserved state (not the running state x1, x2, x3, y1).
  void Clear();

  // Stores the shifts and the fixed coefficients; gain/gainQ become
  // 18261/16 at 44100 Hz and 16777/16 at 48000 Hz, any other rate keeps the
  // gain as it was (0 after Clear, so every output is 0). Then Reset (not
  // Clear). May be repeated. Returns 0.
  int Init(int sampleRate, short inShift, short outShiftAdjust);

  // Zeroes the running state: the previous inputs and output.
  void Reset();

  // No effect (nothing is allocated).
  void Free();

  // Integrates n samples, continuing from the state the last call left;
  // out may equal in. Does nothing for n < 1 or null buffers. Returns 0.
  int Filter(short* in, short* out, int n);
  int Filter(int* in, int* out, int n);

 private:
  template <class Sample>
  HVFX_LOCAL void Run(const Sample* in, Sample* out, int n);

  int32_t inShift = 0;
  int32_t outShiftAdjust = 0;
  int32_t numeratorTaps = 0;    // 4 (descriptive)
  int32_t denominatorTaps = 0;  // 2 (descriptive)
  int16_t b0 = 0, b1 = 0, b2 = 0, b3 = 0;  // 8192, 17294, -4551, 910: 9, 19, -5, 1 times 8192/9
  int16_t a0 = 0, a1 = 0;                  // 8192, -8192: pole at z = 1
  int16_t sectionQ = 0;                    // -2: accumulator shift 15 + sectionQ = 13
  int16_t gain = 0;                        // Q(gainQ) integration step
  int16_t gainQ = 0;
  int64_t reserved[4] = {};
  int64_t x1 = 0, x2 = 0, x3 = 0;  // previous shifted inputs x[n-1], x[n-2], x[n-3]
  int64_t y1 = 0;                  // previous state y[n-1]
};
