// Block-floating-point FFT kit for 24-bit signals held in int32 words.
//
// A forward and an inverse real FFT for one channel, the same for two
// channels transformed together, the radix-2 complex transform they share and
// the vector routines that set and undo the block exponent. Every transform
// works in place on caller-owned arrays of n words.
//
// Headroom: before transforming, the input is normalised so that the sum of
// its magnitudes lies just below 2^23; no butterfly can then leave the 24-bit
// range, and no stage scales. The applied shift comes back as the block
// exponent e: the true spectrum is the packed words times 2^(-e).
//
// Packed real spectrum of length n (the one order used throughout), with
// X[k] = sum_t x[t] * exp(-2*pi*i*k*t/n):
//   word k     = Re X[k]   for k = 0 ... n/2
//   word n - k = -Im X[k]  for k = 1 ... n/2 - 1
// (Im X[0] and Im X[n/2] are zero and not stored.) So a cosine at bin k shows
// as a positive word k, a sine at bin k as a positive word n - k.
//
// Lengths: n must be a power of two from 2 to 1024 (1024 is the period of the
// twiddle table and the length of the scratch array). Any other length is
// refused: the call returns at once, touching neither the arrays nor the
// exponent. A null array pointer is refused the same way, and so are the two
// arrays of a complex or two-channel transform when they overlap.
//
// Threads: the real transforms work in a scratch array of 1024 words that
// each thread has of its own, so any number of threads may call the kit at
// the same time on arrays of their own. Nothing is kept between calls.
//
// The four real transforms return 0 when they ran and -1 when the call was
// refused; the value is informational only.
#pragma once

#include "Export.h"

// In-place radix-2 complex transform of (re, im) with kernel
// exp(+2*pi*i*k*t/n), unnormalised, butterflies rounded to nearest (Q23
// twiddles). For real input it yields the complex conjugate of X. Inputs must
// keep sum(|re| + |im|) below 2^23 for the result to stay in 24 bits (the real
// transforms see to that). Refused lengths, null pointers and overlapping
// arrays do nothing.
HVFX_API void ComplexFFT_Fix(int* re, int* im, short n);

// Normalises data (see VectNormBySumAbs_Real), transforms it in place into
// the packed spectrum and sets exponent := -(applied right shift); all-zero
// input gives a zero spectrum and exponent 23.
HVFX_API int RealFFT_Fix(int* data, short n, short& exponent);

// Turns a packed spectrum with its exponent back into n time samples in place,
// scaled by 1/n and 2^(-exponent). The division and the undoing of both block
// exponents happen in one rounded right shift by log2(n) + exponent - s, where
// s is the inverse's own normalising shift (with one extra bit of headroom).
// When that total is below 1 no shift is applied at all and the output stays
// scaled by 2^total. That happens for concentrated spectra, above all after a
// loud input (negative exponent): an impulse of 2^25 comes back as 2^22, and
// at n = 2 an impulse of 2^22 as 2^21. Dense inputs whose sum of magnitudes
// was near 2^22 come back within a few units.
HVFX_API int RealInvFFT_Fix(int* data, short n, short exponent);

// Transforms two real signals at once, each in place into its own packed
// spectrum, with one shared exponent (the normalising shift is common to both
// channels). Each spectrum equals the one-channel transform's up to the
// flooring halving of the channel separation.
HVFX_API int RealFFT_2ch_Fix(int* left, int* right, short n, short& exponent);

// The inverse of RealFFT_2ch_Fix, with the same shift rule as RealInvFFT_Fix
// (one normalising shift common to both channels).
HVFX_API int RealInvFFT_2ch_Fix(int* left, int* right, short n, short exponent);

// Block normalisation of x[0 ... n-1]: with S = sum |x[i]| (64 bits) brought
// into 2^22 ... 2^23 - 1 by s right shifts (negative: left shifts; -23 for
// S = 0), plus extraShift when extraShift > 0:
//   s >= 1  x[i] := (x[i] + 2^(s-1)) asr s, but a word equal to 8388607
//           becomes 8388607 asr s without the rounding term;
//   s < 0   x[i] := x[i] * 2^(-s) (the sum bound rules out overflow);
//   s = 0   nothing changes.
// Returns s. The rounded shift is exact for any s and any int32 word. n <= 0
// is an empty vector (returns -23 plus extraShift when positive); a null x
// with n > 0 is refused: nothing changes and the result is 0.
HVFX_API short VectNormBySumAbs_Real(int* x, short n, short extraShift);

// The same on two vectors with one common shift: S = sum (|re[i]| + |im[i]|),
// the rule (with the 8388607 exception word by word) applied to both arrays.
// A null array with n > 0 is refused with the result 0.
HVFX_API short VectNormBySumAbs_Complex(int* re, int* im, short n, short extraShift);

// x[i] := clamp(x[i] * 2^shift, -8388608, 8388607) computed in 64 bits (any
// shift, also 32 and above, is safe). shift < 1, n < 1 or a null x: nothing.
HVFX_API void VectLShiftWithSature(int* x, short shift, short n);

// x[i] := (x[i] + 2^(shift-1)) asr shift, computed in 64 bits so that any
// shift, also 32 and above, gives the exact result (0 from 32 on). The two
// extreme words -8388608 and 8388607 are shifted without the rounding term
// (so -8388608 asr 24 or more stays -1). shift < 1, n < 1 or a null x:
// nothing (a zero or negative shift is not turned into a left shift).
HVFX_API void VectRShiftWithRound(int* x, short shift, short n);
