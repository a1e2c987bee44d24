// Multi-channel direct-form FIR filter with 16-bit taps, an exact 64-bit
// accumulator and one power-of-two output scaling per channel. The
// soundbar's side-signal high-pass filters (257 symmetric taps) run on it.
#pragma once

#include "Export.h"

class HVFX_API CFIRFxd {
 public:
  CFIRFxd() = default;
  ~CFIRFxd();
  CFIRFxd(const CFIRFxd&) = delete;
  CFIRFxd& operator=(const CFIRFxd&) = delete;

  // Zeroes the counts and pointers without freeing anything (right after
  // creation; a fresh object is already in this state).
  void Clear();

  // Releases what a previous Init held, then stores the filter: taps holds
  // channelCount rows of tapCount int16 values, channel after channel, where
  // row c is h_c[0 ... N-1] with h_c[0] applied to the newest sample and a
  // value v means v / 2^(15 + q[c]); q holds channelCount exponents. The
  // history starts silent. With tapCount < 1 every output is 0. Refused
  // (the object keeps what it held) for channelCount < 1, null arrays with
  // tapCount >= 1, or a K x N too large to index with an int. Returns 0.
  int Init(short* taps, short* q, int tapCount, int channelCount);

  // Silences the history of every channel (a discontinuity).
  void Reset();

  // Releases all storage and ends in Clear().
  void Free();

  // Filters n planar samples per channel: channel c reads in[c*n ... c*n+n-1]
  // and writes out likewise; out may equal in. Each output is
  //   (sum_j h_c[j] * x[k-j]) asr (15 + q[c] - inputScale)
  // with x[k-j] taken from the previous blocks where k - j < 0: exact 16 x 16
  // (or 32 x 16) bit products, 64-bit sum, flooring shift, low 16 (or 32)
  // bits kept: no rounding, no saturation (overflow wraps).
  // Does nothing for n < 1 or channelCount < 1, and refuses (writes nothing,
  // keeps the history) a channelCount above the one given to Init or a null
  // buffer. Both overloads share the history: use one object with one sample
  // width (the 16-bit one reads the history's low 16 bits). Allocates
  // nothing; the x86 kernels take about 10 KB of stack. Returns 0.
  int Filter(short* in, short* out, int n, int channelCount);
  int Filter(int* in, int* out, int n, int channelCount);

 private:
  template <class Sample>
  HVFX_LOCAL int FilterBlock(const Sample* in, Sample* out, int n, int channels);

  int inputScale = 0;    // subtracted from the output shift; always 0
  int channelCount = 0;  // K
  int tapCount = 0;      // N
  short** taps = nullptr;  // K rows of N taps, h[0] first (one block)
  short* q = nullptr;      // K exponents
  int** history = nullptr;  // K + 1 rows of N inputs, newest first; row K stages the next history
  // Working copies beside the stored filter: the taps reversed (newest
  // sample's tap last) for the kernels, and one time-ordered window of
  // 2N - 2 samples (the last N - 1 inputs, then the block's first ones) for
  // the outputs whose taps reach back into the history.
  short** reversedTaps = nullptr;
  int* window32 = nullptr;
  short* window16 = nullptr;
};
