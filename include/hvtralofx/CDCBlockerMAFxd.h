// Linear-phase DC blocker for one channel: the input delayed by 127 samples
// minus a moving-average estimate of its DC, where the estimate is two
// cascaded 128-point running means (a triangular 255-point average centred
// 127 samples back). The soundbar puts a 127-sample delay line on the
// parallel path so that both stay time-aligned.
//
// Scaling: each input is shifted left by inShift, the output is the DC-free
// input times 2^outShift. Nothing rounds or saturates: shifts floor, sums
// wrap, the result keeps the low bits of the output width.
//
// Two independent states: the 16-bit variant runs in 32-bit arithmetic on
// its own rows, the two variants with 32-bit output share 64-bit rows. All
// three share and advance one ring position.
//
// Holds no heap storage; not thread-safe.
#pragma once

#include <cstdint>

#include "Export.h"

class HVFX_API CDCBlockerMAFxd {
 public:
  static constexpr int kWindowLength = 128;  // N, samples per running mean
  static constexpr int kStageCount = 2;
  static constexpr int kDelay = kWindowLength - 1;  // latency, group delay of the two means
  static constexpr int kWindowLog2 = 7;              // mean = sum asr 7

  // No effect: a constructed object is already zeroed and Filter leaves the
  // output untouched until Init.
  void Clear();

  // Stores the shifts (any values: shifts beyond the word width give 0 or
  // the sign, a negative inShift shifts right) and the fixed window, then
  // Reset. May be repeated. Returns the latency, 127 samples.
  int Init(int inShift, int outShift);

  // Position 0; both rows and sums of both widths zeroed. Nothing before Init.
  void Reset();

  // No effect (nothing is allocated).
  void Free();

  // Filters n samples, continuing from the state the last call left:
  //   out[i] = (x[i-127] - mean(mean(x))[i]) scaled by 2^-(inShift-outShift)
  // with x = in << inShift. out may equal in for the two single-width
  // variants; the (short in, int out) buffers must not overlap.
  // Does nothing for n < 1, null buffers or before Init. Returns 0.
  int Filter(short* in, short* out, int n);  // 32-bit state
  int Filter(int* in, int* out, int n);      // 64-bit state
  int Filter(short* in, int* out, int n);    // 64-bit state

 private:
  template <class In, class Out, class Acc>
  HVFX_LOCAL void Run(const In* in, Out* out, int n, Acc (&history)[kStageCount][kWindowLength],
                      Acc (&sum)[kStageCount]);

  int32_t inShift = 0;
  int32_t outShift = 0;
  int32_t windowLength = 0;  // 0 until Init: the object is not usable
  int32_t stageCount = 0;
  int32_t delay = 0;
  int32_t windowLog2 = 0;
  int32_t position = 0;  // ring index 0 ... N-1, shared by both stages and both widths
  int32_t history32[kStageCount][kWindowLength] = {};  // last N values entering each stage
  int32_t sum32[kStageCount] = {};                     // running sum of each row
  int64_t history64[kStageCount][kWindowLength] = {};
  int64_t sum64[kStageCount] = {};
};
