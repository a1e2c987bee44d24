// x86 FIR kernels (AVX2, or SSE4.1 with half-width registers), compiled once
// for each of the two levels (simd/Target.h).
//
// (v)pmaddwd multiplies sixteen (eight) 16-bit pairs and adds neighbouring
// products in 32 bits: the densest multiply x86 has, but its pair sums reach
// 2^31 and a 32-bit lane holds only a few of them. So the samples are first
// cut into narrow planes, x = sum_k plane_k * 2^lowBit_k, int16 arrays with
// few significant bits:
//
//   samples              planes                                  magnitude
//   16-bit               x asr 8, x & 255                        <= 255
//   32-bit, in 24 bits   (x + 2048) asr 12, signed 12-bit digit  <= 2048
//   32-bit otherwise     x asr 22, two 11-bit fields             <= 2047
//
// Each plane meets the taps in (v)pmaddwd; a pair sum is at most
// 2 * maxTap * magnitude, so that many steps (one pair sum per 32-bit lane
// each) add up without overflow before the lanes are widened into the exact
// 64-bit sum. A symmetric filter (h[j] = h[N-1-j], the linear-phase case)
// first adds each sample to its mirror partner, read from reversed planes,
// and runs half the steps (pair sums twice as large).
// Overflow: products exact, 32-bit lanes bounded as above, 64-bit lanes sum
// modulo 2^64; shift and narrowing as in the portable code.
//
// 16-bit samples skip the planes where the taps allow it: (v)pmaddwd on the
// raw samples wraps modulo 2^32, like the 32-bit adds after it, so a lane's
// sum is exact as long as its true value fits 32 bits. Its bounds follow
// from the taps alone (a product t * x lies in [-32768 t, 32767 t] for t > 0
// and in [32767 t, -32768 t] for t < 0), so the steps are split, once per
// call, into runs whose lane sums all fit; each run ends with one widening.
// A step that fits no run (a lane of two -32768 taps) leaves the filter to
// the planes. This path reads each sample once per step instead of twice and
// so does without the symmetric shortcut, whose sums would need 17 bits.
//
// The planes of up to kChunk outputs (plus the taps' reach) are cut at a time
// into a stack buffer of about 10 KB; each pass over the taps serves a group
// of neighbouring outputs, which share every load of taps. Chunks and groups
// go from the last output down, and a chunk is cut before any of its outputs
// is stored, so the filter can run in place (see FirKernelsInternal.h).
// Filters longer than kMaxTaps use the portable loop.
#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "FirKernelsInternal.h"

namespace hvfx::fir {
namespace {

// Small stand-ins for the standard algorithms: a vector object compiles no
// template of the standard library (simd/Target.h).
template <class T>
T Min(T a, T b) {
  return b < a ? b : a;
}
template <class T>
T Max(T a, T b) {
  return a < b ? b : a;
}
// [from, end) to `to`, which does not overlap it.
template <class T>
void Copy(const T* from, const T* end, T* to) {
  std::memcpy(to, from, static_cast<std::size_t>(end - from) * sizeof(T));
}
template <class T>
void Zero(T* from, T* end) {
  std::memset(from, 0, static_cast<std::size_t>(end - from) * sizeof(T));
}

#if defined(HVFX_TARGET_AVX2)
struct Vec {
  using V = __m256i;
  static constexpr int kLanes32 = 8;
  static constexpr int kLanes16 = 16;
  static V Zero() { return _mm256_setzero_si256(); }
  static V Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
  static void Store(void* p, V v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
  static V Set32(int32_t v) { return _mm256_set1_epi32(v); }
  static V Set16(int16_t v) { return _mm256_set1_epi16(v); }
  static V MulPairs16(V a, V b) { return _mm256_madd_epi16(a, b); }
  static V Add32(V a, V b) { return _mm256_add_epi32(a, b); }
  static V Add16(V a, V b) { return _mm256_add_epi16(a, b); }
  static V Add64(V a, V b) { return _mm256_add_epi64(a, b); }
  static V Sub32(V a, V b) { return _mm256_sub_epi32(a, b); }
  static V And(V a, V b) { return _mm256_and_si256(a, b); }
  static V Sra16(V a, int s) { return _mm256_sra_epi16(a, _mm_cvtsi32_si128(s)); }
  static V Sra32(V a, int s) { return _mm256_sra_epi32(a, _mm_cvtsi32_si128(s)); }
  static V Sll64(V a, int s) { return _mm256_sll_epi64(a, _mm_cvtsi32_si128(s)); }
  static V Min32(V a, V b) { return _mm256_min_epi32(a, b); }
  static V Max32(V a, V b) { return _mm256_max_epi32(a, b); }
  // Two registers of int32 (each value fits 16 bits) as one of int16, in order.
  static V Pack32(V a, V b) { return _mm256_permute4x64_epi64(_mm256_packs_epi32(a, b), 0xD8); }
  // The 32-bit lanes sign-extended and added pairwise into 64-bit lanes.
  static V Widen32(V a) {
    return _mm256_add_epi64(_mm256_cvtepi32_epi64(_mm256_castsi256_si128(a)),
                            _mm256_cvtepi32_epi64(_mm256_extracti128_si256(a, 1)));
  }
  static int64_t Sum64(V a) {
    __m128i s = _mm_add_epi64(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
    s = _mm_add_epi64(s, _mm_unpackhi_epi64(s, s));
    return _mm_cvtsi128_si64(s);
  }
  static int32_t Min32Lanes(V a) {
    __m128i m = _mm_min_epi32(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
    m = _mm_min_epi32(m, _mm_shuffle_epi32(m, 0x4E));
    return _mm_cvtsi128_si32(_mm_min_epi32(m, _mm_shuffle_epi32(m, 0xB1)));
  }
  static int32_t Max32Lanes(V a) {
    __m128i m = _mm_max_epi32(_mm256_castsi256_si128(a), _mm256_extracti128_si256(a, 1));
    m = _mm_max_epi32(m, _mm_shuffle_epi32(m, 0x4E));
    return _mm_cvtsi128_si32(_mm_max_epi32(m, _mm_shuffle_epi32(m, 0xB1)));
  }
};
#else  // SSE4.1
struct Vec {
  using V = __m128i;
  static constexpr int kLanes32 = 4;
  static constexpr int kLanes16 = 8;
  static V Zero() { return _mm_setzero_si128(); }
  static V Load(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
  static void Store(void* p, V v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }
  static V Set32(int32_t v) { return _mm_set1_epi32(v); }
  static V Set16(int16_t v) { return _mm_set1_epi16(v); }
  static V MulPairs16(V a, V b) { return _mm_madd_epi16(a, b); }
  static V Add32(V a, V b) { return _mm_add_epi32(a, b); }
  static V Add16(V a, V b) { return _mm_add_epi16(a, b); }
  static V Add64(V a, V b) { return _mm_add_epi64(a, b); }
  static V Sub32(V a, V b) { return _mm_sub_epi32(a, b); }
  static V And(V a, V b) { return _mm_and_si128(a, b); }
  static V Sra16(V a, int s) { return _mm_sra_epi16(a, _mm_cvtsi32_si128(s)); }
  static V Sra32(V a, int s) { return _mm_sra_epi32(a, _mm_cvtsi32_si128(s)); }
  static V Sll64(V a, int s) { return _mm_sll_epi64(a, _mm_cvtsi32_si128(s)); }
  static V Min32(V a, V b) { return _mm_min_epi32(a, b); }
  static V Max32(V a, V b) { return _mm_max_epi32(a, b); }
  static V Pack32(V a, V b) { return _mm_packs_epi32(a, b); }
  static V Widen32(V a) { return _mm_add_epi64(_mm_cvtepi32_epi64(a), _mm_cvtepi32_epi64(_mm_srli_si128(a, 8))); }
  static int64_t Sum64(V a) { return _mm_cvtsi128_si64(_mm_add_epi64(a, _mm_unpackhi_epi64(a, a))); }
  static int32_t Min32Lanes(V m) {
    m = _mm_min_epi32(m, _mm_shuffle_epi32(m, 0x4E));
    return _mm_cvtsi128_si32(_mm_min_epi32(m, _mm_shuffle_epi32(m, 0xB1)));
  }
  static int32_t Max32Lanes(V m) {
    m = _mm_max_epi32(m, _mm_shuffle_epi32(m, 0x4E));
    return _mm_cvtsi128_si32(_mm_max_epi32(m, _mm_shuffle_epi32(m, 0xB1)));
  }
};
#endif

using V = Vec::V;
constexpr int W = Vec::kLanes16;  // taps per step
constexpr int kChunk = 256;
constexpr int kGroupSymmetric2 = 3;
constexpr int kGroupRaw16 = 8;
constexpr int kMaxTaps = 512;
constexpr int kPlaneLength = kChunk + kMaxTaps - 1;

// One cut of the samples into planes: plane k holds the bits from lowBit[k]
// up. The top plane keeps the sign; the lower ones are unsigned bit fields,
// or, with signedDigits, signed digits in -2^(b-1) ... 2^(b-1) - 1 whose
// carry goes into the plane above, which halves their magnitude (used where
// adding the carry cannot overflow).
struct Layout {
  int count;
  int lowBit[3];
  bool signedDigits;
  int maxPiece;  // largest magnitude in any plane
};
constexpr Layout kPlanes16 = {2, {0, 8, 0}, false, 255};
constexpr Layout kPlanes24 = {2, {0, 12, 0}, true, 2048};
constexpr Layout kPlanes32 = {3, {0, 11, 22}, false, 2047};

struct Planes {
  Layout layout;
  int length;
  // Each plane has a step's width of zeros past the cut.
  int16_t data[3][kPlaneLength + W];
  int16_t mirror[3][kPlaneLength + W];  // data reversed, for symmetric filters
};

// Plane k of one sample: (x + carry) asr lowBit, then the field of the
// plane's width, centred for signed digits.
int32_t Piece(int32_t x, const Layout& layout, int k) {
  const int bits = k + 1 < layout.count ? layout.lowBit[k + 1] - layout.lowBit[k] : 0;
  const int32_t carry = layout.signedDigits && k > 0 ? 1 << (layout.lowBit[k] - 1) : 0;
  const int32_t shifted = fxp::Asr32(fxp::AddWrap32(x, carry), layout.lowBit[k]);
  if (bits == 0) return shifted;
  if (!layout.signedDigits) return shifted & ((1 << bits) - 1);
  const int32_t half = 1 << (bits - 1);
  return ((shifted + half) & ((1 << bits) - 1)) - half;
}

// Piece() on a register of 32-bit samples.
V PieceVector(V x, const Layout& layout, int k) {
  const int bits = k + 1 < layout.count ? layout.lowBit[k + 1] - layout.lowBit[k] : 0;
  if (layout.signedDigits && k > 0) x = Vec::Add32(x, Vec::Set32(1 << (layout.lowBit[k] - 1)));
  const V shifted = Vec::Sra32(x, layout.lowBit[k]);
  if (bits == 0) return shifted;
  const V mask = Vec::Set32((1 << bits) - 1);
  if (!layout.signedDigits) return Vec::And(shifted, mask);
  const V half = Vec::Set32(1 << (bits - 1));
  return Vec::Sub32(Vec::And(Vec::Add32(shifted, half), mask), half);
}

void Cut(const int16_t* x, int length, Planes& planes) {
  planes.layout = kPlanes16;
  const V lowMask = Vec::Set16(0xFF);
  int j = 0;
  for (; j + W <= length; j += W) {
    const V v = Vec::Load(x + j);
    Vec::Store(planes.data[0] + j, Vec::And(v, lowMask));
    Vec::Store(planes.data[1] + j, Vec::Sra16(v, 8));
  }
  for (; j < length; ++j)
    for (int k = 0; k < 2; ++k) planes.data[k][j] = static_cast<int16_t>(Piece(x[j], planes.layout, k));
}

// 32-bit samples: two planes when every sample of the cut fits 24 bits (the
// working range), three otherwise.
void Cut(const int32_t* x, int length, Planes& planes) {
  V low = Vec::Zero(), high = Vec::Zero();
  int j = 0;
  for (; j + Vec::kLanes32 <= length; j += Vec::kLanes32) {
    const V v = Vec::Load(x + j);
    low = Vec::Min32(low, v);
    high = Vec::Max32(high, v);
  }
  int32_t lowest = Vec::Min32Lanes(low), highest = Vec::Max32Lanes(high);
  for (; j < length; ++j) {
    lowest = Min(lowest, x[j]);
    highest = Max(highest, x[j]);
  }
  planes.layout = lowest >= fxp::kMin24 && highest <= fxp::kMax24 ? kPlanes24 : kPlanes32;
  const Layout& layout = planes.layout;
  j = 0;
  for (; j + W <= length; j += W) {
    const V a = Vec::Load(x + j);
    const V b = Vec::Load(x + j + Vec::kLanes32);
    for (int k = 0; k < layout.count; ++k)
      Vec::Store(planes.data[k] + j, Vec::Pack32(PieceVector(a, layout, k), PieceVector(b, layout, k)));
  }
  for (; j < length; ++j)
    for (int k = 0; k < layout.count; ++k) planes.data[k][j] = static_cast<int16_t>(Piece(x[j], layout, k));
}

// The taps as the vector steps run them: whole steps of W taps, the last one
// padded with zero taps (whose products with whatever the planes hold past
// the cut are 0). A symmetric filter keeps only its first half; its middle
// tap, if N is odd, is added per output.
struct StepTaps {
  alignas(32) int16_t taps[kMaxTaps + W];
  int steps;
  bool symmetric;
  int middle;       // N/2: the middle tap's index
  int32_t middleTap;  // hr[N/2] for an odd symmetric filter, else 0
  int32_t maxTap;     // largest tap magnitude (at least 1)
  // Raw 16-bit samples: the runs of steps whose lane sums fit 32 bits, each
  // ending at step runEnd[r].
  int runCount;
  int runEnd[kMaxTaps / W + 1];
};

void PrepareTaps(const int16_t* hr, int tapCount, StepTaps& prepared) {
  prepared.symmetric = true;
  prepared.maxTap = 1;
  for (int i = 0; i < tapCount; ++i) {
    prepared.maxTap = Max(prepared.maxTap, fxp::AbsWrap32(hr[i]));
    prepared.symmetric = prepared.symmetric && hr[i] == hr[tapCount - 1 - i];
  }
  const int reach = prepared.symmetric ? tapCount / 2 : tapCount;
  prepared.steps = (reach + W - 1) / W;
  Copy(hr, hr + reach, prepared.taps);
  Zero(prepared.taps + reach, prepared.taps + prepared.steps * W);
  prepared.middle = tapCount / 2;
  prepared.middleTap = prepared.symmetric && tapCount % 2 == 1 ? hr[tapCount / 2] : 0;
}

// Prepares all the taps for raw 16-bit samples and splits their steps into
// runs; false where a single step does not fit 32-bit lanes.
bool PrepareRawTaps16(const int16_t* hr, int tapCount, StepTaps& prepared) {
  constexpr int kPairs = Vec::kLanes32;
  prepared.symmetric = false;
  prepared.maxTap = 1;
  prepared.steps = (tapCount + W - 1) / W;
  Copy(hr, hr + tapCount, prepared.taps);
  Zero(prepared.taps + tapCount, prepared.taps + prepared.steps * W);
  prepared.middle = tapCount / 2;
  prepared.middleTap = 0;
  prepared.runCount = 0;
  int64_t high[kPairs] = {}, low[kPairs] = {};  // bounds of the run so far
  for (int step = 0; step < prepared.steps; ++step) {
    int64_t stepHigh[kPairs], stepLow[kPairs];
    bool fits = true;
    for (int lane = 0; lane < kPairs; ++lane) {
      stepHigh[lane] = stepLow[lane] = 0;
      for (int i = 0; i < 2; ++i) {
        const int64_t t = prepared.taps[step * W + 2 * lane + i];
        stepHigh[lane] += t > 0 ? 32767 * t : -32768 * t;
        stepLow[lane] += t > 0 ? -32768 * t : 32767 * t;
      }
      if (stepHigh[lane] > INT32_MAX || stepLow[lane] < INT32_MIN) return false;
      fits = fits && high[lane] + stepHigh[lane] <= INT32_MAX && low[lane] + stepLow[lane] >= INT32_MIN;
    }
    if (!fits) {
      prepared.runEnd[prepared.runCount++] = step;
      Zero(high, high + kPairs);
      Zero(low, low + kPairs);
    }
    for (int lane = 0; lane < kPairs; ++lane) {
      high[lane] += stepHigh[lane];
      low[lane] += stepLow[lane];
    }
  }
  prepared.runEnd[prepared.runCount++] = prepared.steps;
  return true;
}

// Reverses the planes for a symmetric filter, and clears the step's width
// past the cut that the padded last step reads.
void FinishCut(Planes& planes, bool symmetric) {
  for (int k = 0; k < planes.layout.count; ++k) {
    Zero(planes.data[k] + planes.length, planes.data[k] + planes.length + W);
    if (!symmetric) continue;
    for (int j = 0; j < planes.length; ++j) planes.mirror[k][j] = planes.data[k][planes.length - 1 - j];
    Zero(planes.mirror[k] + planes.length, planes.mirror[k] + planes.length + W);
  }
}

// Outputs 0 ... G-1 of the windows starting at plane offset `at`; stores
// after all reads. stepsPerWiden steps of pair sums fit a 32-bit lane.
//
// With kSymmetric (h[j] = h[N-1-j]) each step adds the mirrored samples
// first, read forwards from the reversed planes: x[a + N-1-j] is
// mirror[length - a - N + j]. Half the steps then cover all the taps but the
// middle one, which x[a + N/2] meets on its own.
template <int G, int K, bool kSymmetric, class Sample>
inline void Group(const StepTaps& f, int tapCount, const Planes& planes, int stepsPerWiden, int at, const Sample* x,
                  int shift, Sample* out) {
  const Layout& layout = planes.layout;
  V wide[G];
  for (int d = 0; d < G; ++d) wide[d] = Vec::Zero();
  for (int done = 0; done < f.steps;) {
    const int run = Min(stepsPerWiden, f.steps - done);
    V acc[G][K];
    for (int d = 0; d < G; ++d)
      for (int k = 0; k < K; ++k) acc[d][k] = Vec::Zero();
    for (int i = done * W; i < (done + run) * W; i += W) {
      const V taps = Vec::Load(f.taps + i);
      for (int d = 0; d < G; ++d) {
        for (int k = 0; k < K; ++k) {
          V samples = Vec::Load(planes.data[k] + at + d + i);
          if constexpr (kSymmetric)
            samples = Vec::Add16(samples, Vec::Load(planes.mirror[k] + planes.length - at - d - tapCount + i));
          acc[d][k] = Vec::Add32(acc[d][k], Vec::MulPairs16(taps, samples));
        }
      }
    }
    for (int d = 0; d < G; ++d) {
      wide[d] = Vec::Add64(wide[d], Vec::Widen32(acc[d][0]));
      for (int k = 1; k < K; ++k) wide[d] = Vec::Add64(wide[d], Vec::Sll64(Vec::Widen32(acc[d][k]), layout.lowBit[k]));
    }
    done += run;
  }
  int64_t sum[G];
  for (int d = 0; d < G; ++d) {
    sum[d] = Vec::Sum64(wide[d]);
    if constexpr (kSymmetric) sum[d] = fxp::AddWrap64(sum[d], fxp::Mul32x32(f.middleTap, x[d + f.middle]));
  }
  for (int d = 0; d < G; ++d) out[d] = FinishTaps<Sample>(sum[d], shift);
}

// Outputs 0 ... G-1 of the windows starting at offset `at` of the raw
// 16-bit samples copied to `cut`, run by run; stores after all reads.
template <int G>
inline void GroupRaw16(const StepTaps& f, const int16_t* cut, int at, int shift, int16_t* out) {
  const int16_t* samples = cut + at;
  V wide[G];
  for (int d = 0; d < G; ++d) wide[d] = Vec::Zero();
  for (int r = 0, begin = 0; r < f.runCount; begin = f.runEnd[r++]) {
    V acc[G];
    for (int d = 0; d < G; ++d) acc[d] = Vec::Zero();
    for (int i = begin * W; i < f.runEnd[r] * W; i += W) {
      const V taps = Vec::Load(f.taps + i);
      for (int d = 0; d < G; ++d) acc[d] = Vec::Add32(acc[d], Vec::MulPairs16(taps, Vec::Load(samples + d + i)));
    }
    for (int d = 0; d < G; ++d) wide[d] = Vec::Add64(wide[d], Vec::Widen32(acc[d]));
  }
  int64_t sum[G];
  for (int d = 0; d < G; ++d) sum[d] = Vec::Sum64(wide[d]);
  for (int d = 0; d < G; ++d) out[d] = FinishTaps<int16_t>(sum[d], shift);
}

// 16-bit samples as they are, chunk by chunk (copied first, for running in
// place and for the zeros past the cut).
void RunRaw16(const StepTaps& prepared, int tapCount, const int16_t* x, int count, int shift, int16_t* out) {
  int16_t cut[kPlaneLength + W];
  for (int end = count; end > 0;) {
    const int chunk = Min(kChunk, end);
    const int base = end - chunk;
    const int length = chunk + tapCount - 1;
    Copy(x + base, x + base + length, cut);
    Zero(cut + length, cut + length + W);
    ForEachGroupDescending<kGroupRaw16>(
        chunk, [&](int m, auto g) { GroupRaw16<g.value>(prepared, cut, m, shift, out + base + m); });
    end = base;
  }
}

template <class Sample>
void RunPlanes(const int16_t* hr, int tapCount, const Sample* x, int count, int shift, Sample* out) {
  if (count < 1 || tapCount < 1) return;
  if (tapCount > kMaxTaps) {
    if constexpr (sizeof(Sample) == sizeof(int32_t))
      RunTaps32Portable(hr, tapCount, x, count, shift, out);
    else
      RunTaps16Portable(hr, tapCount, x, count, shift, out);
    return;
  }
  StepTaps prepared;
  if constexpr (sizeof(Sample) == sizeof(int16_t)) {
    if (PrepareRawTaps16(hr, tapCount, prepared)) {
      RunRaw16(prepared, tapCount, x, count, shift, out);
      return;
    }
  }
  PrepareTaps(hr, tapCount, prepared);
  const bool symmetric = prepared.symmetric;
  Planes planes;
  for (int end = count; end > 0;) {
    const int chunk = Min(kChunk, end);
    const int base = end - chunk;
    planes.length = chunk + tapCount - 1;
    Cut(x + base, planes.length, planes);
    FinishCut(planes, symmetric);
    // Each step adds one pair sum to every 32-bit lane: at most
    // 2 * maxTap * maxPiece in magnitude, twice that with mirrored samples.
    const int64_t pairBound = (symmetric ? 4LL : 2LL) * prepared.maxTap * planes.layout.maxPiece;
    const int stepsPerWiden = static_cast<int>(Min<int64_t>(INT32_MAX / pairBound, kMaxTaps));
    auto run = [&](int m, auto group, auto planeCount, auto mirrored) {
      Group<group.value, planeCount.value, mirrored.value>(prepared, tapCount, planes, stepsPerWiden, m,
                                                           x + base + m, shift, out + base + m);
    };
    // Groups as large as the registers allow without spilling an
    // accumulator: mirrored samples and a third plane take more.
    using Two = std::integral_constant<int, 2>;
    using Three = std::integral_constant<int, 3>;
    if (planes.layout.count == 2 && symmetric)
      ForEachGroupDescending<kGroupSymmetric2>(chunk, [&](int m, auto g) { run(m, g, Two{}, std::true_type{}); });
    else if (planes.layout.count == 2)
      ForEachGroupDescending<4>(chunk, [&](int m, auto g) { run(m, g, Two{}, std::false_type{}); });
    else if (symmetric)
      ForEachGroupDescending<2>(chunk, [&](int m, auto g) { run(m, g, Three{}, std::true_type{}); });
    else
      ForEachGroupDescending<3>(chunk, [&](int m, auto g) { run(m, g, Three{}, std::false_type{}); });
    end = base;
  }
}

}  // namespace

void HVFX_TARGET_LEVEL::RunTaps32(const int16_t* hr, int tapCount, const int32_t* x, int count, int shift,
                                  int32_t* out) {
  RunPlanes(hr, tapCount, x, count, shift, out);
}

void HVFX_TARGET_LEVEL::RunTaps16(const int16_t* hr, int tapCount, const int16_t* x, int count, int shift,
                                  int16_t* out) {
  RunPlanes(hr, tapCount, x, count, shift, out);
}

}  // namespace hvfx::fir
