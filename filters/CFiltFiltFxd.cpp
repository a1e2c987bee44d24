// Forward-backward SOS filter.
//
// Section kernel: direct form I with the four state words held in registers
// across the block; each step reads one input sample, so the first two
// samples (which take their past from the state) need no separate code, and
// sections run two at a time so that their recursions overlap.
// Overflow: five 32 x 16-bit products (< 2^46 each) summed exactly in 64 bits,
// asr (15 + sosQ), low 32 bits kept; the output stage multiplies 32 x 16 bits
// into 64, asr (15 + gainQ[nsos]) and keeps the low 32 (16) bits. Nothing
// saturates and nothing rounds.
#include "hvtralofx/CFiltFiltFxd.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "../fixedpoint/FixedPoint.h"
#include "FiltFiltLanesInternal.h"
#include "RowTableInternal.h"

using hvfx::AllocRowTable;
using hvfx::FreeRowTable;

namespace {

constexpr int kSectionWords = 6;  // b0 b1 b2 a0 a1 a2
constexpr int kStateWords = 4;    // x[n-1] x[n-2] y[n-1] y[n-2]

template <class Sample>
Sample Narrow(int64_t v);
template <>
int Narrow<int>(int64_t v) {
  return fxp::Wrap32(v);
}
template <>
short Narrow<short>(int64_t v) {
  return fxp::Wrap16(v);
}

// One direct-form-I section with its coefficients and its four state words
// in registers while a block runs through it. kPlainShift: the shift is
// known to lie in 0 ... 63, so it needs no range checks per sample.
template <bool kPlainShift>
class Df1Section {
 public:
  Df1Section(const short* c, int shift, const int* state)
      : b0_(c[0]), b1_(c[1]), b2_(c[2]), a1_(c[4]), a2_(c[5]), shift_(shift),
        x1_(state[0]), x2_(state[1]), y1_(state[2]), y2_(state[3]) {}

  int32_t Step(int32_t x0) {
    const int64_t feedForward = fxp::Mul32x32(b0_, x0) + fxp::Mul32x32(b1_, x1_) + fxp::Mul32x32(b2_, x2_);
    // a1 * y[n-1] last: it closes the loop-carried chain.
    const int64_t acc = feedForward - fxp::Mul32x32(a2_, y2_) - fxp::Mul32x32(a1_, y1_);
    const int32_t y0 = kPlainShift ? fxp::Wrap32(fxp::Asr64InRange(acc, shift_)) : fxp::Asr64To32(acc, shift_);
    x2_ = x1_;
    x1_ = x0;
    y2_ = y1_;
    y1_ = y0;
    return y0;
  }

  void Save(int* state) const {
    state[0] = x1_;
    state[1] = x2_;
    state[2] = y1_;
    state[3] = y2_;
  }

 private:
  int32_t b0_, b1_, b2_, a1_, a2_;
  int shift_;
  int32_t x1_, x2_, y1_, y2_;
};

// One or two sections (`width`) over X[0 ... n-1], continuing and updating
// their state; emit(k, y) receives each output in order, after X[k] has
// been read. Two sections run sample by sample side by side, so that their
// two chains of dependent products overlap in the processor.
template <bool kPlainShift, class In, class Emit>
inline void RunSectionsWith(const In* X, int n, int width, const short* c, const short* sosQ, int* state, Emit emit) {
  Df1Section<kPlainShift> first(c, 15 + sosQ[0], state);
  if (width == 1) {
    for (int k = 0; k < n; ++k) emit(k, first.Step(X[k]));
    first.Save(state);
    return;
  }
  Df1Section<kPlainShift> second(c + kSectionWords, 15 + sosQ[1], state + kStateWords);
  for (int k = 0; k < n; ++k) emit(k, second.Step(first.Step(X[k])));
  first.Save(state);
  second.Save(state + kStateWords);
}

template <class In, class Emit>
inline void RunSections(const In* X, int n, int width, const short* c, const short* sosQ, int* state, Emit emit) {
  bool plain = true;
  for (int s = 0; s < width; ++s) plain = plain && sosQ[s] >= -15 && sosQ[s] <= 48;  // 15 + sosQ in 0 ... 63
  if (plain)
    RunSectionsWith<true>(X, n, width, c, sosQ, state, emit);
  else
    RunSectionsWith<false>(X, n, width, c, sosQ, state, emit);
}

// Zeroes rows x cols words of a row table, if allocated.
template <class T>
void ZeroRows(T** table, int rows, int cols) {
  if (table != nullptr)
    std::memset(table[0], 0, static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols) * sizeof(T));
}

template <class T>
void CopyRows(T** table, const short* source, int rows, int cols) {
  for (int r = 0; r < rows; ++r) std::copy_n(source + static_cast<std::ptrdiff_t>(r) * cols, cols, table[r]);
}

}  // namespace

CFiltFiltFxd::~CFiltFiltFxd() { Free(); }

void CFiltFiltFxd::Clear() {
  maxBlock = 0;
  channelCount = 0;
  sectionCount = 0;
  lookahead = 0;
  sos = sosQ = gain = gainQ = nullptr;
  forwardState = backwardState = nullptr;
  reversed = backwardOut = forwardBuf = pingPong = nullptr;
}

int CFiltFiltFxd::Init(short* sosIn, short* sosQIn, short* gainIn, short* gainQIn, int nsos, int channels,
                       int lookaheadIn, int maxBlockIn) {
  if (sosIn == nullptr || sosQIn == nullptr || gainIn == nullptr || gainQIn == nullptr) return 0;
  if (nsos < 1 || channels < 1 || lookaheadIn < 0 || maxBlockIn < 1) return 0;
  if (static_cast<long long>(lookaheadIn) + maxBlockIn > INT_MAX || nsos > INT_MAX / kSectionWords) return 0;
  // Loading another set of the same geometry keeps the storage: every row
  // is overwritten or zeroed below, as a fresh allocation would be, and
  // nothing is allocated (the soundbar reloads its filters on the audio
  // thread this way).
  const bool reuse = sos != nullptr && maxBlock == maxBlockIn && channelCount == channels &&
                     sectionCount == nsos && lookahead == lookaheadIn;
  if (!reuse) {
    Free();
    maxBlock = maxBlockIn;
    channelCount = channels;
    sectionCount = nsos;
    lookahead = lookaheadIn;
    const int span = lookahead + maxBlock;
    sos = AllocRowTable<short>(channels, nsos * kSectionWords);
    sosQ = AllocRowTable<short>(channels, nsos);
    gain = AllocRowTable<short>(channels, nsos + 1);
    gainQ = AllocRowTable<short>(channels, nsos + 1);
    forwardState = AllocRowTable<int>(channels, nsos * kStateWords);
    backwardState = AllocRowTable<int>(channels, nsos * kStateWords);
    reversed = AllocRowTable<int>(channels, span);
    backwardOut = AllocRowTable<int>(channels, span);
    forwardBuf = AllocRowTable<int>(channels, span);
    pingPong = AllocRowTable<int>(2, span);
  }

  CopyRows(sos, sosIn, channels, nsos * kSectionWords);
  CopyRows(sosQ, sosQIn, channels, nsos);
  CopyRows(gain, gainIn, channels, nsos + 1);
  CopyRows(gainQ, gainQIn, channels, nsos + 1);
  RescaleSections();
  Reset();
  return 0;
}

// A section whose |b0|+|b1|+|b2|+|a1|+|a2| (a0 left out), shifted by sosQ,
// exceeds 32767 has its numerator halved until the sum would fit, and the
// overall gain's exponent takes the halvings back. The denominator is not
// touched although it counts in the sum: the stored gains rely on exactly
// this rule.
void CFiltFiltFxd::RescaleSections() {
  for (int c = 0; c < channelCount; ++c) {
    for (int s = 0; s < sectionCount; ++s) {
      short* section = sos[c] + s * kSectionWords;
      const uint32_t sum = static_cast<uint32_t>(fxp::Abs64(section[0]) + fxp::Abs64(section[1]) +
                                                 fxp::Abs64(section[2]) + fxp::Abs64(section[4]) +
                                                 fxp::Abs64(section[5]));
      const int q = sosQ[c][s];
      int32_t scaled = q < 0 ? fxp::ShlWrap32(static_cast<int32_t>(sum), -q) : fxp::Asr32(static_cast<int32_t>(sum), q);
      int halvings = 0;
      while (scaled > 32767) {
        scaled = fxp::Asr32(scaled, 1);
        ++halvings;
      }
      if (halvings == 0) continue;
      for (int i = 0; i < 3; ++i) section[i] = fxp::Wrap16(fxp::Asr32(section[i], halvings));
      gainQ[c][sectionCount] = fxp::Wrap16(gainQ[c][sectionCount] - halvings);
    }
  }
}

void CFiltFiltFxd::Reset() {
  const int span = lookahead + maxBlock;
  ZeroRows(reversed, channelCount, span);
  ZeroRows(backwardOut, channelCount, span);
  ZeroRows(forwardBuf, channelCount, span);
  ZeroRows(forwardState, channelCount, sectionCount * kStateWords);
  ZeroRows(backwardState, channelCount, sectionCount * kStateWords);
  ZeroRows(pingPong, 2, span);
}

void CFiltFiltFxd::Free() {
  for (short*** table : {&sos, &sosQ, &gain, &gainQ}) FreeRowTable(*table);
  for (int*** table : {&forwardState, &backwardState, &reversed, &backwardOut, &forwardBuf, &pingPong})
    FreeRowTable(*table);
  Clear();
}

// Sections run in pairs: the first pair reads the input, pairs between
// alternate over the two scratch rows, the last one feeds the output stage
// directly, so out may equal in.
template <class In, class Out>
void CFiltFiltFxd::RunCascade(const In* in, Out* out, int n, const short* sosRow, const short* sosQRow,
                              const short* gainRow, const short* gainQRow, int* state, int nsos) {
  const int32_t gainQ15 = gainRow[nsos];
  const int gainShift = 15 + gainQRow[nsos];
  auto toOutput = [out, gainQ15, gainShift](int k, int32_t y) {
    out[k] = Narrow<Out>(fxp::Asr64(fxp::Mul32x32(y, gainQ15), gainShift));
  };
  auto stage = [&](const auto* from, int s, int* to) {
    const int width = std::min(2, nsos - s);
    const short* c = sosRow + s * kSectionWords;
    int* st = state + s * kStateWords;
    if (s + width == nsos)
      RunSections(from, n, width, c, sosQRow + s, st, toOutput);
    else
      RunSections(from, n, width, c, sosQRow + s, st, [to](int k, int32_t y) { to[k] = y; });
    return width;
  };
  int s = stage(in, 0, pingPong != nullptr ? pingPong[0] : nullptr);
  for (int row = 0; s < nsos; row ^= 1) s += stage(pingPong[row], s, pingPong[row ^ 1]);
}

void CFiltFiltFxd::SOSFilter_DF1(int* in, int* out, int n, short* sosRow, short* sosQRow, short* gainRow,
                                 short* gainQRow, int* state, int nsos) {
  CheckedCascade(in, out, n, sosRow, sosQRow, gainRow, gainQRow, state, nsos);
}

void CFiltFiltFxd::SOSFilter_DF1(short* in, short* out, int n, short* sosRow, short* sosQRow, short* gainRow,
                                 short* gainQRow, int* state, int nsos) {
  CheckedCascade(in, out, n, sosRow, sosQRow, gainRow, gainQRow, state, nsos);
}

template <class Sample>
void CFiltFiltFxd::CheckedCascade(Sample* in, Sample* out, int n, const short* sosRow, const short* sosQRow,
                                  const short* gainRow, const short* gainQRow, int* state, int nsos) {
  if (in == nullptr || sosRow == nullptr || sosQRow == nullptr || gainRow == nullptr || gainQRow == nullptr ||
      state == nullptr || n < 1 || nsos < 1)
    return;
  if (nsos > 2 && (pingPong == nullptr || n > lookahead + maxBlock)) return;
  RunCascade(in, out != nullptr ? out : in, n, sosRow, sosQRow, gainRow, gainQRow, state, nsos);
}

int CFiltFiltFxd::Filter(short* in, short* out, int n, int channels) { return FilterBlock(in, out, n, channels); }

int CFiltFiltFxd::Filter(int* in, int* out, int n, int channels) { return FilterBlock(in, out, n, channels); }

// Per channel: the reversed work signal (this block reversed, then the
// previous block's last L samples reversed) runs backwards from zero state;
// its result, back in time order, runs forwards over its first n entries
// (the previous block's last L samples and this block's first n - L),
// continuing the forward state. Hence a delay of exactly L samples.
template <class Sample>
int CFiltFiltFxd::FilterBlock(const Sample* in, Sample* out, int n, int channels) {
  if (channels < 1) {
    ZeroRows(backwardState, channelCount, sectionCount * kStateWords);
    return 0;
  }
  if (n < 1 || n > maxBlock || channels > channelCount || in == nullptr || out == nullptr) return 0;
  const int L = lookahead;
  const int span = n + L;
  ZeroRows(backwardState, channelCount, sectionCount * kStateWords);
  for (int c = 0; c < channels; ++c) {
    int* rev = reversed[c];
    PrepareReversed(c, in + static_cast<std::ptrdiff_t>(c) * n, n);
    RunCascade(rev, backwardOut[c], span, sos[c], sosQ[c], gain[c], gainQ[c], backwardState[c], sectionCount);
    std::reverse_copy(backwardOut[c], backwardOut[c] + span, forwardBuf[c]);
    RunCascade(forwardBuf[c], out + static_cast<std::ptrdiff_t>(c) * n, n, sos[c], sosQ[c], gain[c], gainQ[c],
               forwardState[c], sectionCount);
  }
  return 0;
}

template <class Sample>
void CFiltFiltFxd::PrepareReversed(int c, const Sample* x, int n) {
  const int L = lookahead;
  int* rev = reversed[c];
  if (n >= L) {
    std::memmove(rev + n, rev, static_cast<std::size_t>(L) * sizeof(int));
  } else {
    // Ascending on purpose: a block shorter than the look-ahead repeats
    // its short history instead of shifting it.
    for (int k = 0; k < L; ++k) rev[n + k] = rev[k];
  }
  for (int j = 0; j < n; ++j) rev[n - 1 - j] = x[j];
}

int CFiltFiltFxd::FilterSideBySide(CFiltFiltFxd* const* filters, int count, int* const* in, int* const* out, int n) {
  namespace filtfilt = hvfx::filtfilt;
  if (filters == nullptr || in == nullptr || out == nullptr || count < 1) return 0;
  // The lane kernel of the active level; one by one where it has none.
  const filtfilt::RunCascadeLanesFn runLanes = filtfilt::ActiveCascadeLanes();
  bool together = runLanes != nullptr && count <= filtfilt::kMaxLanes;
  for (int i = 0; i < count && together; ++i) {
    const CFiltFiltFxd* f = filters[i];
    together = f != nullptr && in[i] != nullptr && out[i] != nullptr && f->channelCount >= 1 && n >= 1 &&
               n <= f->maxBlock && f->lookahead == filters[0]->lookahead &&
               f->sectionCount == filters[0]->sectionCount;
  }
  filtfilt::CascadeLane backward[filtfilt::kMaxLanes], forward[filtfilt::kMaxLanes];
  if (together) {
    for (int i = 0; i < count; ++i) {
      CFiltFiltFxd& f = *filters[i];
      backward[i] = {f.reversed[0], f.backwardOut[0], f.sos[0], f.sosQ[0], f.gain[0], f.gainQ[0], f.backwardState[0]};
      forward[i] = {f.forwardBuf[0], out[i], f.sos[0], f.sosQ[0], f.gain[0], f.gainQ[0], f.forwardState[0]};
    }
    together = filtfilt::CascadeLanesSupported(backward, count, filters[0]->sectionCount);
  }
  if (!together) {
    for (int i = 0; i < count; ++i)
      if (filters[i] != nullptr) filters[i]->Filter(in[i], out[i], n, 1);
    return 0;
  }
  const int nsos = filters[0]->sectionCount;
  const int span = n + filters[0]->lookahead;
  for (int i = 0; i < count; ++i) {
    CFiltFiltFxd& f = *filters[i];
    ZeroRows(f.backwardState, f.channelCount, f.sectionCount * kStateWords);
    f.PrepareReversed(0, in[i], n);
  }
  runLanes(backward, count, nsos, span);
  for (int i = 0; i < count; ++i) {
    CFiltFiltFxd& f = *filters[i];
    std::reverse_copy(f.backwardOut[0], f.backwardOut[0] + span, f.forwardBuf[0]);
  }
  runLanes(forward, count, nsos, n);
  return 0;
}
