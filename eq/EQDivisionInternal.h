// The equalizer's 24-bit division kit: normalisation, a quotient of two
// 24-bit values in a chosen Q format, and a saturating shift. The coefficient
// design of CHVAudioEQ_Ts uses it to form (a - b)/(a + b) ratios without
// floating point. Internal to the library.
#pragma once

namespace hvfx::eq {

// Normalises a 24-bit value in place so that its magnitude reaches bit 22 and
// returns the shift applied as a count <= 0 (-1 per doubling):
//   x = 0                      -> -23, x unchanged
//   x > 0x3FFFFF               ->   0, x unchanged (also for values beyond 24 bits)
//   0 < x <= 0x3FFFFF          -> doubled until x >= 0x400000
//   x < -4194303               ->   0, x unchanged
//   -4194303 <= x < 0          -> doubled while x >= -4194303 (ends <= -4194304)
// A null pointer returns 0.
int EQ_Norm24(int* x);
// The same, also storing the returned shift in *shift (which may be null).
int EQ_Norm24(int* shift, int* x);

// num / den in Q(qOut) for num in Q(qNum) and den in Q(qDen), callers passing
// num >= 0 and den > 0. Both are normalised, the numerator is masked to bits
// 1 ... 23 and divided after a left shift of 22; a quotient that would not
// fit 24 bits gives 0x7FFFFF, and so does den = 0. The result is truncated,
// never rounded, and lies in [-8388608, 8388607].
int EQ_Div24Get24(int num, int den, int qNum, int qDen, int qOut);
// EQ_Div24Get24 with num and den both in Q15.
int EQ_Div24Get24(int num, int den, int qOut);

// *x shifted left (shift > 0) or arithmetically right (shift < 0) by at most
// 23 bits in 64-bit arithmetic, saturated to [-8388608, 8388607] and stored
// back. Shift counts beyond +-23 act as +-23. A null pointer does nothing.
void EQ_Shift24z(int* x, int shift);

}  // namespace hvfx::eq
