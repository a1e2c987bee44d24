// DC blocker: per sample, with x = in << inShift and p the ring position,
//   delayed = row0[p - 127 mod N]          (x of 127 samples ago)
//   sum0 += x  - row0[p]; row0[p] = x;      m0 = sum0 asr 7
//   sum1 += m0 - row1[p]; row1[p] = m0;     m1 = sum1 asr 7
//   out  = (delayed - m1) asr (inShift - outShift)   (shl when negative)
// Overflow: no products; 32-bit (16-bit variant) or 64-bit sums that wrap,
// flooring shifts, the output keeps the low 16/32 bits. Nothing saturates.
#include "hvtralofx/CDCBlockerMAFxd.h"

#include "../fixedpoint/FixedPoint.h"

namespace {

// The same operations at the two state widths.
int32_t Shl(int32_t v, int s) { return fxp::ShlWrap32(v, s); }
int64_t Shl(int64_t v, int s) { return fxp::ShlWrap64(v, s); }
int32_t Asr(int32_t v, int s) { return fxp::Asr32(v, s); }
int64_t Asr(int64_t v, int s) { return fxp::Asr64(v, s); }
int32_t Add(int32_t a, int32_t b) { return fxp::AddWrap32(a, b); }
int64_t Add(int64_t a, int64_t b) { return fxp::AddWrap64(a, b); }
int32_t Sub(int32_t a, int32_t b) { return fxp::SubWrap32(a, b); }
int64_t Sub(int64_t a, int64_t b) { return fxp::SubWrap64(a, b); }

void Store(short& out, int64_t v) { out = fxp::Wrap16(v); }
void Store(int& out, int64_t v) { out = fxp::Wrap32(v); }

// Output scaling by 2^-k: a flooring right shift for k > 0, a wrapping left
// shift otherwise. k is clamped to +-64, which every width already maps to
// 0 or the sign.
template <class Acc>
Acc Scale(Acc r, int k) {
  return k > 0 ? Asr(r, k) : Shl(r, -k);
}
int ClampShift(int64_t k) { return static_cast<int>(k > 64 ? 64 : (k < -64 ? -64 : k)); }

}  // namespace

void CDCBlockerMAFxd::Clear() {}

int CDCBlockerMAFxd::Init(int inShiftIn, int outShiftIn) {
  inShift = inShiftIn;
  outShift = outShiftIn;
  windowLength = kWindowLength;
  stageCount = kStageCount;
  delay = kDelay;
  windowLog2 = kWindowLog2;
  position = 0;
  Reset();
  return delay;
}

void CDCBlockerMAFxd::Reset() {
  if (windowLength < 1) return;
  position = 0;
  for (int s = 0; s < kStageCount; ++s) {
    for (int j = 0; j < kWindowLength; ++j) {
      history32[s][j] = 0;
      history64[s][j] = 0;
    }
    sum32[s] = 0;
    sum64[s] = 0;
  }
}

void CDCBlockerMAFxd::Free() {}

template <class In, class Out, class Acc>
void CDCBlockerMAFxd::Run(const In* in, Out* out, int n, Acc (&row)[kStageCount][kWindowLength],
                          Acc (&sum)[kStageCount]) {
  const int window = windowLength;
  const int shiftIn = inShift;
  const int meanShift = windowLog2;
  const int k = ClampShift(static_cast<int64_t>(inShift) - outShift);
  Acc* const row0 = row[0];
  Acc* const row1 = row[1];
  int p = position;
  // Read index of the delayed sample; it advances in step with p.
  int rd = ((p - delay) % window + window) % window;
  Acc sum0 = sum[0];
  Acc sum1 = sum[1];
  // Runs up to the next wrap of either index, so the inner loop has no
  // wrap test.
  for (int i = 0; i < n;) {
    int run = n - i;
    if (window - p < run) run = window - p;
    if (window - rd < run) run = window - rd;
    Acc* const slot0 = row0 + p;
    Acc* const slot1 = row1 + p;
    const Acc* const old = row0 + rd;
    for (int j = 0; j < run; ++j) {
      const Acc x = Shl(static_cast<Acc>(in[i + j]), shiftIn);
      const Acc delayed = old[j];  // read before this sample is written
      sum0 = Add(sum0, Sub(x, slot0[j]));
      slot0[j] = x;
      const Acc m0 = Asr(sum0, meanShift);
      sum1 = Add(sum1, Sub(m0, slot1[j]));
      slot1[j] = m0;
      const Acc m1 = Asr(sum1, meanShift);
      Store(out[i + j], Scale(Sub(delayed, m1), k));
    }
    i += run;
    p += run;
    if (p == window) p = 0;
    rd += run;
    if (rd == window) rd = 0;
  }
  sum[0] = sum0;
  sum[1] = sum1;
  position = p;
}

int CDCBlockerMAFxd::Filter(short* in, short* out, int n) {
  if (n < 1 || in == nullptr || out == nullptr || windowLength < 1) return 0;
  Run(in, out, n, history32, sum32);
  return 0;
}

int CDCBlockerMAFxd::Filter(int* in, int* out, int n) {
  if (n < 1 || in == nullptr || out == nullptr || windowLength < 1) return 0;
  Run(in, out, n, history64, sum64);
  return 0;
}

int CDCBlockerMAFxd::Filter(short* in, int* out, int n) {
  if (n < 1 || in == nullptr || out == nullptr || windowLength < 1) return 0;
  Run(in, out, n, history64, sum64);
  return 0;
}
