// Loudness-analysis filters of the adaptive volume, one table per supported
// sample rate. Each table holds 8 biquads x (b0, b1, b2, a1, a2) in Q21
// (2097152 = 1.0); a1 and a2 carry the sign of the denominator, so the filter
// subtracts them.
//
//   biquad 0     high-shelf pre-filter (the shelf stage of the BS.1770
//                K-weighting)
//   biquad 1     second-order high-pass
//   biquad 2     lowest band, a low-pass
//   biquads 3-6  band-passes (b1 = 0, b2 = -b0)
//   biquad 7     top band, a high-pass (all zero at 8000 Hz, where only
//                five bands are analysed)
#pragma once

namespace hvfx::leveller {

inline constexpr int kAdaVBiquads = 8;
inline constexpr int kAdaVCoefsPerBiquad = 5;
inline constexpr int kAdaVCoefCount = kAdaVBiquads * kAdaVCoefsPerBiquad;

extern const int AdaV_Ord2_Coefs_80[kAdaVCoefCount];   //  8000 Hz
extern const int AdaV_Ord2_Coefs_110[kAdaVCoefCount];  // 11025 Hz
extern const int AdaV_Ord2_Coefs_160[kAdaVCoefCount];  // 16000 Hz
extern const int AdaV_Ord2_Coefs_220[kAdaVCoefCount];  // 22050 Hz
extern const int AdaV_Ord2_Coefs_320[kAdaVCoefCount];  // 32000 Hz
extern const int AdaV_Ord2_Coefs_441[kAdaVCoefCount];  // 44100 Hz
extern const int AdaV_Ord2_Coefs_480[kAdaVCoefCount];  // 48000 Hz

}  // namespace hvfx::leveller
