#include "hvtralofx/CHVAudioEQ_Ts.h"

#include <cstdint>

#include "../fixedpoint/FixedPoint.h"
#include "../fixedpoint/MathTables.h"
#include "../fixedpoint/ScalarMath.h"
#include "EQDivisionInternal.h"
#include "EQLaneBankInternal.h"

using namespace fxp;
using namespace hvfx::eq;

namespace {

constexpr int kOneQ22 = 0x400000;
constexpr int kOneQ19 = 0x80000;
constexpr int kMaxGainDb = 20;
constexpr int kQuarterPeriod = 256;  // CosTable_Data index of pi/2
constexpr int kHalfPeriod = 512;     // CosTable_Data index of pi

// (num << shift) / rate as the design's 32-bit integer division: the shift
// wraps in 32 bits, a zero rate gives 0. Divided in 64 bits so that no input
// reaches the one overflowing 32-bit quotient.
int64_t AngleIndex(int num, int shift, int rate) {
  return rate == 0 ? 0 : static_cast<int64_t>(ShlWrap32(num, shift)) / rate;
}

// c = (a - b)/(a + b) in Q22 for a, b >= 0 from the cosine table.
int RatioQ22(int a, int b) {
  return b < a ? EQ_Div24Get24(a - b, a + b, 22) : -EQ_Div24Get24(b - a, a + b, 22);
}

}  // namespace

CHVAudioEQ_Ts::CHVAudioEQ_Ts(int sampleRate)
    : nSampleRate(sampleRate),
      x0n2(0), x1n2(0), x0n1(0), x1n1(0),
      bLFEnable(0), lfB1(0), lfB0(0), lfA1(0), lfY0(0), lfY1(0),
      band{},
      bHFEnable(0), hfB1(0), hfB0(0), hfA1(0), hfY0(0), hfY1(0),
      nDryPath(1) {
  Initial(1);
  Reset();
}

void CHVAudioEQ_Ts::Initial(int dryPath) {
  bLFEnable = lfB1 = lfB0 = lfA1 = lfY0 = lfY1 = 0;
  for (BandSection& b : band) b = BandSection{};
  bHFEnable = hfB1 = hfB0 = hfA1 = hfY0 = hfY1 = 0;
  nDryPath = dryPath;
  Tst_SetLFOption(true, 300, -10);
  Tst_SetHFOption(true, 10000, 6);
}

void CHVAudioEQ_Ts::Reset() {
  x0n2 = x1n2 = x0n1 = x1n1 = 0;
  lfY0 = lfY1 = 0;
  for (BandSection& b : band) b.y0n2 = b.y1n2 = b.y0n1 = b.y1n1 = 0;
  hfY0 = hfY1 = 0;
}

void CHVAudioEQ_Ts::CopyDesign(const CHVAudioEQ_Ts& other) {
  if (&other == this) return;
  // Copy everything, then put this equalizer's history back.
  const CHVAudioEQ_Ts history = *this;
  *this = other;
  x0n2 = history.x0n2;
  x1n2 = history.x1n2;
  x0n1 = history.x0n1;
  x1n1 = history.x1n1;
  lfY0 = history.lfY0;
  lfY1 = history.lfY1;
  hfY0 = history.hfY0;
  hfY1 = history.hfY1;
  for (int b = 0; b < kBandCount; ++b) {
    band[b].y0n2 = history.band[b].y0n2;
    band[b].y1n2 = history.band[b].y1n2;
    band[b].y0n1 = history.band[b].y0n1;
    band[b].y1n1 = history.band[b].y1n1;
  }
}

int CHVAudioEQ_Ts::SectionGainQ19(int gainDb) const {
  const int gainQ19 = dB2Gain(gainDb > kMaxGainDb ? kMaxGainDb : gainDb, 0, 19);  // 0 ... 10.0
  return nDryPath == 1 ? gainQ19 - kOneQ19 : gainQ19;
}

// First-order shelf sections: the low shelf is the low-pass
// Gm*(1 + c)/2 * (1 + z^-1)/(1 + c*z^-1), the high shelf the high-pass
// Gm*(1 - c)/2 * (1 - z^-1)/(1 + c*z^-1), c = (t - 1)/(t + 1), t = tan(pi*f/fs).
// Overflow note: Gm (Q19, below 2^23) times (1 +- c) (Q22, below 2^24) is
// below 2^47 in 64 bits; shifted by 20 (rounding constant 2^19) it is a Q22
// coefficient below 2^27. Nothing saturates.
bool CHVAudioEQ_Ts::DesignShelf(bool lowShelf, int freqHz, int gainDb, int& cQ22, int& kQ22) const {
  int f = freqHz;
  if (nSampleRate / 2 < f) f = nSampleRate / 2 - (lowShelf ? 1000 : 500);
  if (lowShelf && f < 150) f = 150;
  // Design angle pi*f/fs as a table index: sin and cos of it from the table.
  const int64_t idx = AngleIndex(f, 9, nSampleRate);
  if (idx < 0 || idx > kQuarterPeriod) return false;
  cQ22 = RatioQ22(CosTable_Data[kQuarterPeriod - idx], CosTable_Data[idx]);
  const int gmQ19 = SectionGainQ19(gainDb);
  kQ22 = Asr64To32(AddWrap64(kOneQ19, Mul32x32(gmQ19, lowShelf ? kOneQ22 + cQ22 : kOneQ22 - cQ22)), 20);
  return true;
}

void CHVAudioEQ_Ts::Tst_SetLFOption(bool enable, int freqHz, int gainDb) {
  int cQ22 = 0, kQ22 = 0;
  if (enable && !DesignShelf(true, freqHz, gainDb, cQ22, kQ22)) return;
  bLFEnable = enable ? 1 : 0;
  if (!enable) return;
  lfA1 = cQ22;
  lfB0 = kQ22;
  lfB1 = kQ22;
}

void CHVAudioEQ_Ts::Tst_SetHFOption(bool enable, int freqHz, int gainDb) {
  int cQ22 = 0, kQ22 = 0;
  if (enable && !DesignShelf(false, freqHz, gainDb, cQ22, kQ22)) return;
  bHFEnable = enable ? 1 : 0;
  if (!enable) return;
  hfA1 = cQ22;
  hfB0 = kQ22;
  hfB1 = -kQ22;
}

// Band-pass: Gm*(1 - c)/2 * (1 - z^-2)/(1 - (1 + c)*cos(w0)*z^-1 + c*z^-2),
// c = (1 - t)/(1 + t), t = tan(w0/(2q)).
// Overflow note: g as the shelves' k (below 2^27); d = -cos(w0) (Q23) times
// (1 + c) (Q22) is below 2^47, rounded by 2^22 and shifted by 23 to a Q22
// value below 2^24. Nothing saturates.
void CHVAudioEQ_Ts::Tst_SetBPFOption(int bandIndex, bool enable, int freqHz, int gainDb, float q) {
  if (bandIndex < 0 || bandIndex >= kBandCount) return;
  BandSection& b = band[bandIndex];
  if (!enable) {
    b.bEnable = 0;
    return;
  }
  int f = freqHz;
  if ((nSampleRate >> 1) < f) f = (nSampleRate >> 1) - 100;

  // Q in Q20, truncated. NaN, negative and out-of-range values have no Q20
  // form: refused.
  const double qScaled = static_cast<double>(q) * 1048576.0;
  if (!(qScaled >= 0.0 && qScaled < 2147483648.0)) return;
  const int qQ20 = static_cast<int>(qScaled);

  // Centre angle w0 = 2*pi*f/fs as an index into the half period.
  const int64_t iw = AngleIndex(f, 10, nSampleRate);
  if (iw < 0 || iw > kHalfPeriod) return;
  // Half-bandwidth angle w0/(2q) = pi*f/(q*fs) in the quarter period.
  int64_t ib = 0;
  if (qQ20 != 0 && nSampleRate != 0) ib = ShlWrap64(f, 29) / qQ20 / nSampleRate;
  if (ib < 0) return;
  if (ib > kQuarterPeriod) ib = kQuarterPeriod;

  const int cosW0Q23 = CosTable_Data[iw];
  const int sinQ23 = CosTable_Data[kQuarterPeriod - ib];
  const int cosQ23 = CosTable_Data[ib];
  const int vQ22 = EQ_Div24Get24(sinQ23 > cosQ23 ? sinQ23 - cosQ23 : cosQ23 - sinQ23, sinQ23 + cosQ23, 22);
  const int cQ22 = cosQ23 < sinQ23 ? -vQ22 : vQ22;
  const int gmQ19 = SectionGainQ19(gainDb);
  const int gQ22 = Asr64To32(AddWrap64(kOneQ19, Mul32x32(kOneQ22 - cQ22, gmQ19)), 20);
  const int dQ22 = Asr64To32(AddWrap64(Mul32x32(-cosW0Q23, cQ22 + kOneQ22), kOneQ22), 23);
  b.bEnable = 1;
  b.bpB0 = gQ22;
  b.bpB2 = -gQ22;
  b.bpB1 = 0;
  b.bpA2 = cQ22;
  b.bpA1 = dQ22;
}

void CHVAudioEQ_Ts::EQProcess(int* out, int* in, int stride, int frames) {
  if (frames < 1 || stride < 1 || out == nullptr || in == nullptr) return;
  ProcessChannel(0, out, in, stride, frames);
  // Channel 0 writes only its own slots, so in-place channel 1 still reads
  // its untouched input.
  if (stride > 1) ProcessChannel(1, out + 1, in + 1, stride, frames);
}

void CHVAudioEQ_Ts::ProcessChannel(int channel, int* out, const int* in, int stride, int frames) {
  const bool ch1 = channel != 0;
  // Pack the enabled sections, bands 0 ... 9 first, then the low and the
  // high shelf, with this channel's state.
  EQLaneBank bank;
  bank.dryQ22 = nDryPath == 1 ? kOneQ22 : 0;
  bank.xPrev1 = ch1 ? x1n1 : x0n1;
  bank.xPrev2 = ch1 ? x1n2 : x0n2;
  int lanes = 0;
  auto addLane = [&bank, &lanes](int b0, int b1, int b2, int a1, int a2, int y1, int y2) {
    bank.b0[lanes] = b0;
    bank.b1[lanes] = b1;
    bank.b2[lanes] = b2;
    bank.a1[lanes] = a1;
    bank.a2[lanes] = a2;
    bank.y1[lanes] = y1;
    bank.y2[lanes] = y2;
    ++lanes;
  };
  for (const BandSection& b : band)
    if (b.bEnable) addLane(b.bpB0, 0, b.bpB2, b.bpA1, b.bpA2, ch1 ? b.y1n1 : b.y0n1, ch1 ? b.y1n2 : b.y0n2);
  bank.bandCount = lanes;
  if (bLFEnable) addLane(lfB0, lfB1, 0, lfA1, 0, ch1 ? lfY1 : lfY0, 0);
  if (bHFEnable) addLane(hfB0, hfB1, 0, hfA1, 0, ch1 ? hfY1 : hfY0, 0);
  bank.count = lanes;

  EQRunLanes(bank, out, in, stride, frames);

  // Unpack the state in the same order.
  lanes = 0;
  for (BandSection& b : band) {
    if (!b.bEnable) continue;
    (ch1 ? b.y1n1 : b.y0n1) = bank.y1[lanes];
    (ch1 ? b.y1n2 : b.y0n2) = bank.y2[lanes];
    ++lanes;
  }
  if (bLFEnable) (ch1 ? lfY1 : lfY0) = bank.y1[lanes++];
  if (bHFEnable) (ch1 ? hfY1 : hfY0) = bank.y1[lanes];
  (ch1 ? x1n1 : x0n1) = bank.xPrev1;
  (ch1 ? x1n2 : x0n2) = bank.xPrev2;
}
