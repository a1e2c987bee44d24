// Block-floating-point FFT kit: block normalisation, the radix-2 complex
// transform and the one- and two-channel real transforms built on it.
#include "hvtralofx/FixedFFT.h"

#include <algorithm>
#include <cstdint>

#include "FixedFFTInternal.h"
#include "FixedPoint.h"
#include "MathTables.h"
#include "ScalarMath.h"

using namespace fxp;
using namespace hvfx::fft;

static_assert(sizeof(int) == sizeof(int32_t), "the kit's words are 32-bit ints");

namespace {

constexpr int kMaxLength = 1024;         // twiddle period and scratch length
constexpr int kQuarterTurn = 256;        // angle index of pi/2 (1024 steps a turn)

// The kit's scratch array: the imaginary part of the one-channel transforms,
// the copy of the real parts in the two-channel separation. It carries
// nothing from one call to the next; one per thread (4 KB in each thread
// that calls the kit), so that threads may transform at the same time.
thread_local int32_t s_fftScratch[kMaxLength];

// log2(n) for a power of two from 2 to 1024; -1 for every other length.
int Log2Length(int n) {
  if (n < 2 || n > kMaxLength || (n & (n - 1)) != 0) return -1;
  int log2n = 0;
  while ((1 << log2n) < n) ++log2n;
  return log2n;
}

// True when the n-word arrays a and b share a word (the two arrays of a
// complex or two-channel transform must be separate).
bool Overlap(const int32_t* a, const int32_t* b, int n) {
  const auto first = reinterpret_cast<std::uintptr_t>(a);
  const auto second = reinterpret_cast<std::uintptr_t>(b);
  const std::uintptr_t bytes = static_cast<std::uintptr_t>(n) * sizeof(int32_t);
  return first < second + bytes && second < first + bytes;
}

// A shift count held in the 16-bit type of the interface (saturating: every
// count beyond +-32767 acts like one of 32767).
short ClampShift(int s) { return static_cast<short>(std::clamp(s, -32767, 32767)); }

// (x + 2^(s-1)) asr s for s >= 1 in 64 bits: exact for every int32 x and every
// s (from 32 on the result is 0, so counts above 40 are taken as 40).
int32_t RoundShiftRight(int32_t x, int s) { return Wrap32(RoundAsr64(x, std::min(s, 40))); }

int64_t SumAbs(const int32_t* x, int n) {
  int64_t sum = 0;  // n <= 32767 words of at most 2^31: below 2^46
  for (int i = 0; i < n; ++i) sum += Abs64(x[i]);
  return sum;
}

// The block shift for a sum of magnitudes: right shifts that bring it into
// 2^22 ... 2^23 - 1 (negative: left shifts; -23 for a zero sum), plus any
// positive extra headroom.
int NormShift(int64_t sumAbs, short extraShift) {
  long long acc = sumAbs;
  int s = AccTo24bShift(acc);
  if (extraShift > 0) s += extraShift;
  return std::min(s, 32767);
}

// Applies a block shift: rounded right shift that spares the word 8388607 the
// rounding term, or a plain left shift (the sum bound keeps it in 24 bits).
void ApplyNormShift(int32_t* x, int n, int s) {
  if (s >= 1) {
    for (int i = 0; i < n; ++i) x[i] = x[i] == kMax24 ? Asr32(kMax24, s) : RoundShiftRight(x[i], s);
  } else if (s < 0) {
    for (int i = 0; i < n; ++i) x[i] = ShlWrap32(x[i], -s);
  }
}

// i with its ten bits reversed, for i = 0 ... 1023; for n = 2^L the partner
// of word i is kBitReversed10.of[i] >> (10 - L).
struct BitReversedIndices {
  uint16_t of[kMaxLength];
};
constexpr BitReversedIndices kBitReversed10 = [] {
  BitReversedIndices table{};
  for (int i = 0; i < kMaxLength; ++i) {
    int r = 0;
    for (int bit = 0; bit < 10; ++bit) r |= ((i >> bit) & 1) << (9 - bit);
    table.of[i] = static_cast<uint16_t>(r);
  }
  return table;
}();

// Reorders (re, im) into bit-reversed index order: word i trades places with
// word j when j > i. The exchange is written as a select, not a branch (the
// pattern of j > i is irregular): for j <= i both words are stored back as
// they are.
void BitReverse(int32_t* re, int32_t* im, int n, int log2n) {
  const int shift = 10 - log2n;
  for (int i = 1; i < n - 1; ++i) {
    const int j = kBitReversed10.of[i] >> shift;
    const bool exchange = j > i;
    const int32_t reI = re[i], reJ = re[j], imI = im[i], imJ = im[j];
    re[i] = exchange ? reJ : reI;
    re[j] = exchange ? reI : reJ;
    im[i] = exchange ? imJ : imI;
    im[j] = exchange ? imI : imJ;
  }
}

// Twiddles of every stage, laid out by half-size: stage h uses entries
// h ... 2h - 1, cos and sin of 2*pi*m/(2h) for m = 0 ... h - 1. The angle
// index is a = m * 1024/(2h) < 512, so the cosine is table entry a and the
// sine, cos(pi/2 - angle), entry |256 - a|. Built from the cosine table at
// first use.
struct Twiddles {
  int32_t cosQ23[kMaxLength];
  int32_t sinQ23[kMaxLength];
};

const Twiddles& StageTwiddles() {
  static const Twiddles twiddles = [] {
    Twiddles t{};
    for (int h = 1; h < kMaxLength; h <<= 1) {
      for (int m = 0; m < h; ++m) {
        const int a = m * (kMaxLength / (2 * h));
        t.cosQ23[h + m] = CosTable_Data[a];
        t.sinQ23[h + m] = CosTable_Data[a <= kQuarterTurn ? kQuarterTurn - a : a - kQuarterTurn];
      }
    }
    return t;
  }();
  return twiddles;
}

// The transform proper, for a length already checked.
void ComplexTransform(int32_t* re, int32_t* im, int n, int log2n) {
  BitReverse(re, im, n, log2n);
  int h = 1;
  if (n >= 4) {
    FftFirstStages(re, im, n);
    h = 4;
  }
  const Twiddles& twiddles = StageTwiddles();
  const FftStageFn stage = ActiveFftStage();
  for (; h < n; h <<= 1) stage(re, im, n, h, twiddles.cosQ23 + h, twiddles.sinQ23 + h);
}

// (a + b) asr 1 and (a - b) asr 1, exact in 64 bits (flooring).
int32_t HalfSum(int32_t a, int32_t b) { return Asr64To32(static_cast<int64_t>(a) + b, 1); }
int32_t HalfDiff(int32_t a, int32_t b) { return Asr64To32(static_cast<int64_t>(a) - b, 1); }

// The inverse's one rounded shift: the division by n (log2n) and the undoing
// of the forward exponent and of the inverse's own normalising shift s. A
// total below 1 leaves the words as they are.
void UndoScaling(int32_t* x, int n, int log2n, short exponent, int s) {
  VectRShiftWithRound(x, ClampShift(log2n + exponent - s), static_cast<short>(n));
}

}  // namespace

namespace hvfx::fft {

void FftStagePortable(int32_t* re, int32_t* im, int n, int h, const int32_t* cosQ23, const int32_t* sinQ23) {
  for (int block = 0; block < n; block += 2 * h) {
    for (int m = 0; m < h; ++m) FftButterfly(re, im, block + m, block + m + h, cosQ23[m], sinQ23[m]);
  }
}

// Each block of four words is loaded, transformed in registers and stored:
// clang 14's loop vectorizer (-O2 -mavx2) turned the in-place form, four
// butterflies reading and writing the same words in turn, into wrong code
// from n = 16 on.
void FftFirstStages(int32_t* re, int32_t* im, int n) {
  for (int b = 0; b < n; b += 4) {
    int32_t r[4] = {re[b], re[b + 1], re[b + 2], re[b + 3]};
    int32_t i[4] = {im[b], im[b + 1], im[b + 2], im[b + 3]};
    FftButterfly(r, i, 0, 1, kCosZeroQ23, 0);  // h = 1, angle 0
    FftButterfly(r, i, 2, 3, kCosZeroQ23, 0);
    FftButterfly(r, i, 0, 2, kCosZeroQ23, 0);  // h = 2, angles 0 and pi/2
    FftButterfly(r, i, 1, 3, 0, kCosZeroQ23);
    for (int k = 0; k < 4; ++k) {
      re[b + k] = r[k];
      im[b + k] = i[k];
    }
  }
}

FftStageFn FftStageAt(simd::Level level) {
  switch (level) {
#if defined(HVFX_SIMD_SSE41)
    case simd::Level::kSse41: return sse41::FftStage;
#endif
#if defined(HVFX_SIMD_AVX2)
    case simd::Level::kAvx2: return avx2::FftStage;
#endif
#if defined(HVFX_SIMD_NEON)
    case simd::Level::kNeon: return neon::FftStage;
#endif
    default: return FftStagePortable;
  }
}

FftStageFn ActiveFftStage() {
  static const FftStageFn stage = FftStageAt(simd::ActiveLevel());
  return stage;
}

}  // namespace hvfx::fft

void ComplexFFT_Fix(int* re, int* im, short n) {
  const int log2n = Log2Length(n);
  if (re == nullptr || im == nullptr || log2n < 0 || Overlap(re, im, n)) return;
  ComplexTransform(re, im, n, log2n);
}

int RealFFT_Fix(int* data, short n, short& exponent) {
  const int log2n = Log2Length(n);
  if (data == nullptr || log2n < 0) return -1;
  const short s = VectNormBySumAbs_Real(data, n, 0);
  std::fill_n(s_fftScratch, n, 0);
  ComplexTransform(data, s_fftScratch, n, log2n);
  // The transform gave conj(X); words n/2 + 1 ... n - 1 take Im X[k] =
  // -Im X[n - k], which is the packed order.
  for (int k = n / 2 + 1; k < n; ++k) data[k] = NegWrap32(s_fftScratch[k]);
  exponent = static_cast<short>(-s);
  return 0;
}

int RealInvFFT_Fix(int* data, short n, short exponent) {
  const int log2n = Log2Length(n);
  if (data == nullptr || log2n < 0) return -1;
  const int half = n / 2;
  // One extra bit of headroom: the rebuilt spectrum has twice the stored magnitude.
  const short s = VectNormBySumAbs_Real(data, n, 1);
  // Full conjugate-symmetric spectrum: imaginary parts into the scratch, real
  // parts mirrored into the upper half.
  int32_t* imag = s_fftScratch;
  imag[0] = 0;
  for (int k = 1; k < half; ++k) imag[k] = NegWrap32(data[n - k]);
  imag[half] = 0;
  for (int k = half + 1; k < n; ++k) imag[k] = data[k];
  for (int k = half + 1; k < n; ++k) data[k] = data[n - k];
  // With the parts exchanged the forward kernel computes i * conj of the
  // inverse transform: data[t] becomes n times sample n - t.
  ComplexTransform(imag, data, n, log2n);
  std::reverse(data + 1, data + n);
  UndoScaling(data, n, log2n, exponent, s);
  return 0;
}

int RealFFT_2ch_Fix(int* left, int* right, short n, short& exponent) {
  const int log2n = Log2Length(n);
  if (left == nullptr || right == nullptr || log2n < 0 || Overlap(left, right, n)) return -1;
  const int half = n / 2;
  const short s = VectNormBySumAbs_Complex(left, right, n, 0);
  // left + i*right transformed gives R + i*I = conj(L) + i*conj(Rt) for the
  // channel spectra L and Rt; their symmetries separate them again.
  ComplexTransform(left, right, n, log2n);
  const int32_t* realPart = s_fftScratch;
  const int32_t* imagPart = right;  // read before it is overwritten below
  std::copy_n(left, n, s_fftScratch);
  for (int k = 1; k < half; ++k) left[k] = HalfSum(realPart[k], realPart[n - k]);
  for (int k = half + 1; k < n; ++k) left[k] = HalfDiff(imagPart[n - k], imagPart[k]);
  for (int k = 1; k < half; ++k) right[k] = HalfSum(imagPart[k], imagPart[n - k]);
  for (int k = half + 1; k < n; ++k) right[k] = HalfDiff(realPart[k], realPart[n - k]);
  exponent = static_cast<short>(-s);
  return 0;
}

int RealInvFFT_2ch_Fix(int* left, int* right, short n, short exponent) {
  const int log2n = Log2Length(n);
  if (left == nullptr || right == nullptr || log2n < 0 || Overlap(left, right, n)) return -1;
  const int half = n / 2;
  const short s = VectNormBySumAbs_Complex(left, right, n, 1);
  // Z = X + i*Y from the packed spectra X (left) and Y (right), Re Z into
  // left and Im Z into right; words 0 and n/2 already hold it. Each pair
  // (k, n - k) is rebuilt from its four old words at once. Exact 32-bit sums.
  for (int k = 1; k < half; ++k) {
    const int32_t xLow = left[k], xHigh = left[n - k];
    const int32_t yLow = right[k], yHigh = right[n - k];
    left[k] = AddWrap32(xLow, yHigh);
    right[k] = SubWrap32(yLow, xHigh);
    left[n - k] = SubWrap32(xLow, yHigh);
    right[n - k] = AddWrap32(xHigh, yLow);
  }
  // Parts exchanged, as in the one-channel inverse: right becomes n times the
  // right channel and left n times the left channel, both time-reversed.
  ComplexTransform(right, left, n, log2n);
  std::reverse(left + 1, left + n);
  std::reverse(right + 1, right + n);
  UndoScaling(left, n, log2n, exponent, s);
  UndoScaling(right, n, log2n, exponent, s);
  return 0;
}

short VectNormBySumAbs_Real(int* x, short n, short extraShift) {
  if (x == nullptr && n > 0) return 0;
  const int count = std::max<int>(n, 0);
  const int s = NormShift(SumAbs(x, count), extraShift);
  ApplyNormShift(x, count, s);
  return static_cast<short>(s);
}

short VectNormBySumAbs_Complex(int* re, int* im, short n, short extraShift) {
  if ((re == nullptr || im == nullptr) && n > 0) return 0;
  const int count = std::max<int>(n, 0);
  const int s = NormShift(SumAbs(re, count) + SumAbs(im, count), extraShift);
  ApplyNormShift(re, count, s);
  ApplyNormShift(im, count, s);
  return static_cast<short>(s);
}

void VectLShiftWithSature(int* x, short shift, short n) {
  if (shift < 1 || n < 1 || x == nullptr) return;
  // An int32 shifted by 32 still fits 64 bits and saturates whenever nonzero,
  // so larger counts are taken as 32.
  const int s = std::min<int>(shift, 32);
  for (int i = 0; i < n; ++i) x[i] = Sat24(ShlWrap64(x[i], s));
}

void VectRShiftWithRound(int* x, short shift, short n) {
  if (shift < 1 || n < 1 || x == nullptr) return;
  for (int i = 0; i < n; ++i) {
    // The two extreme words are shifted without the rounding term.
    x[i] = (x[i] == kMin24 || x[i] == kMax24) ? Asr32(x[i], shift) : RoundShiftRight(x[i], shift);
  }
}
