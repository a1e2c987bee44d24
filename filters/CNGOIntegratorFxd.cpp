// Integrator: per sample, with x = in << inShift,
//   acc = b1*x1 + b0*x + b2*x2 + b3*x3 - a1*y1     (16 x 64-bit products)
//   y   = acc asr (15 + sectionQ)                   (asr 13: y keeps x's scale)
//   out = (y * gain) asr (inShift + gainQ + 15 - outShiftAdjust)
// Overflow: every product and sum is 64-bit and wraps modulo 2^64 (reached
// only after a long offset, the state has no leak); shifts floor; the output
// keeps the low 16/32 bits. Nothing saturates.
#include "hvtralofx/CNGOIntegratorFxd.h"

#include "../fixedpoint/FixedPoint.h"

namespace {

void Store(short& out, int64_t v) { out = fxp::Wrap16(v); }
void Store(int& out, int64_t v) { out = fxp::Wrap32(v); }

}  // namespace

void CNGOIntegratorFxd::Clear() {
  inShift = 0;
  outShiftAdjust = 0;
  numeratorTaps = 0;
  denominatorTaps = 0;
  b0 = b1 = b2 = b3 = 0;
  a0 = a1 = 0;
  sectionQ = 0;
  gain = 0;
  gainQ = 0;
  for (int64_t& r : reserved) r = 0;
}

int CNGOIntegratorFxd::Init(int sampleRate, short inShiftIn, short outShiftAdjustIn) {
  inShift = inShiftIn;
  outShiftAdjust = outShiftAdjustIn;
  numeratorTaps = 4;
  denominatorTaps = 2;
  b0 = 8192;
  b1 = 17294;
  b2 = -4551;
  b3 = 910;
  a0 = 8192;
  a1 = -8192;
  sectionQ = -2;
  // round(2^24 * 48 / fs) in Q16: 2^24 / 1000 at 48 kHz.
  if (sampleRate == 44100) {
    gain = 18261;
    gainQ = 16;
  } else if (sampleRate == 48000) {
    gain = 16777;
    gainQ = 16;
  }
  Reset();
  return 0;
}

void CNGOIntegratorFxd::Reset() {
  for (int64_t& r : reserved) r = 0;
  x1 = x2 = x3 = 0;
  y1 = 0;
}

void CNGOIntegratorFxd::Free() {}

template <class Sample>
void CNGOIntegratorFxd::Run(const Sample* in, Sample* out, int n) {
  const int accShift = 15 + sectionQ;
  const int outShift = inShift + gainQ + 15 - outShiftAdjust;
  // Locals, so that stores to out cannot force the members to be reloaded.
  const int shiftIn = inShift;
  const int64_t c0 = b0, c1 = b1, c2 = b2, c3 = b3, d1 = a1, g = gain;
  int64_t xm1 = x1, xm2 = x2, xm3 = x3, ym1 = y1;
  for (int i = 0; i < n; ++i) {
    const int64_t x = fxp::ShlWrap64(in[i], shiftIn);
    int64_t acc = fxp::MulWrap64(c1, xm1);
    acc = fxp::AddWrap64(acc, fxp::MulWrap64(c0, x));
    acc = fxp::AddWrap64(acc, fxp::MulWrap64(c2, xm2));
    acc = fxp::AddWrap64(acc, fxp::MulWrap64(c3, xm3));
    acc = fxp::SubWrap64(acc, fxp::MulWrap64(d1, ym1));
    const int64_t y = fxp::Asr64(acc, accShift);
    xm3 = xm2;
    xm2 = xm1;
    xm1 = x;
    ym1 = y;
    Store(out[i], fxp::Asr64(fxp::MulWrap64(y, g), outShift));
  }
  x1 = xm1;
  x2 = xm2;
  x3 = xm3;
  y1 = ym1;
}

int CNGOIntegratorFxd::Filter(short* in, short* out, int n) {
  if (n < 1 || in == nullptr || out == nullptr) return 0;
  Run(in, out, n);
  return 0;
}

int CNGOIntegratorFxd::Filter(int* in, int* out, int n) {
  if (n < 1 || in == nullptr || out == nullptr) return 0;
  Run(in, out, n);
  return 0;
}
