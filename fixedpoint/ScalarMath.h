// Scalar fixed-point helpers: accumulator normalisation, base-2 logarithm,
// decibel conversions and square root, all integer-only over the constant
// tables of MathTables.h. Every right shift floors (no rounding to nearest);
// every 24-bit result saturates at 8388607. All functions are re-entrant.
#pragma once

#include "MathTables.h"

namespace hvfx::fxp {

// Normalises a 64-bit accumulator into [2^22, 2^23 - 1] in place and returns
// the shift s with acc_in ~ acc_out * 2^s (positive: shifted right). A zero or
// negative accumulator is left as it is and gives -23 (the FFT kit's block
// scaling relies on that value).
short AccTo24bShift(long long& acc);

// Same as AccTo24bShift for the range [2^30, 2^31 - 1]; a zero or negative
// accumulator is left as it is and gives 0.
short AccTo32bShift(long long& acc);

// Normalises a 24-bit value in place so that its magnitude fills bit 22 and
// returns the number of left shifts applied (0 for 0, and for values already
// beyond +-4194303, which are left unchanged).
short Norm_S24(int& x);

// Integer square root of a non-negative 64-bit value, saturated to 8388607;
// 0 for x <= 0.
int GetSqrt_S56(long long x);

// log2(x) in Q18 for 1 <= x <= 8388607; 0 for x <= 0. Larger inputs are
// outside the contract (their result is meaningless but memory-safe).
int Log2_S24(int x);

// 20*log10(x / 2^q) in Q16 dB; 0 for x <= 0 (silence reads as 0 dB).
int Amp2dB(int x, short q);

// 10*log10(x / 2^q) in Q16 dB, i.e. Amp2dB(x, q) asr 1; 0 for x <= 0.
int Pwr2dB(int x, short q);

// Linear amplitude gain 10^(dB/20) in Q(qOut) for a level in Q(qIn) dB,
// saturated to 8388607, never negative; 0 for levels so low that the gain
// underflows (below roughly -250 dB).
int dB2Gain(int dB, short qIn, short qOut);

}  // namespace hvfx::fxp
