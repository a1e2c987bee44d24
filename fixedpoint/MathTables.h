// Constant tables shared by the fixed-point helpers, the equalizer and the
// FFT kit. Each 33-entry table samples a function at k/32, k = 0 ... 32, so
// that every one of the 32 segments interpolates without a bounds test.
#pragma once

namespace hvfx::fxp {

// 2^(k/32) in Q22 (4194304 = 1.0; last entry clamped to 8388607).
extern const int Pwr2Table_Data[33];
// log2(1 + k/32) in Q23 (last entry clamped to 8388607).
extern const int Log2Table_Data[33];
// sqrt(1 + k/32) in Q22 (4194304 = 1.0, last entry 5931642 = sqrt 2).
extern const int SqrtTable_Data[33];
// cos(pi*k/512) in Q23 for k = 0 ... 512: a half period. Entry 0 is 8388607,
// entry 256 is 0, entry 512 is -8388608. For an angle index a in 0 ... 1023
// the cosine is entry a (a <= 512) or entry 1024 - a; the sine of a is the
// cosine of (256 - a) wrapped into 0 ... 1023.
extern const int CosTable_Data[513];

}  // namespace hvfx::fxp
