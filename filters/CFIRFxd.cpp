// Direct-form FIR filter. Per channel and block of n samples:
//   1. the next history (the newest N inputs, newest first) is staged in the
//      spare history row before the output may overwrite the input;
//   2. the outputs k >= N-1, whose taps lie inside the block, run over the
//      block itself, last output first, so out may equal in;
//   3. the outputs k < N-1 run over a time-ordered window made of the last
//      N-1 inputs of the previous blocks and the block's first samples;
//   4. the staged row becomes the channel's history.
// Overflow: 16 x 16 or 32 x 16-bit products, exact 64-bit sum (modulo 2^64
// beyond 2^17 taps), asr (15 + q - inputScale), low 16/32 bits kept.
#include "hvtralofx/CFIRFxd.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "../fixedpoint/FixedPoint.h"
#include "FirKernelsInternal.h"
#include "RowTableInternal.h"

using namespace hvfx;

namespace {

// A history word as a sample of the filter's width.
template <class Sample>
Sample FromHistory(int v);
template <>
int FromHistory<int>(int v) {
  return v;
}
template <>
short FromHistory<short>(int v) {
  return fxp::Wrap16(v);
}

}  // namespace

CFIRFxd::~CFIRFxd() { Free(); }

void CFIRFxd::Clear() {
  inputScale = 0;
  channelCount = 0;
  tapCount = 0;
  taps = nullptr;
  q = nullptr;
  history = nullptr;
  reversedTaps = nullptr;
  window32 = nullptr;
  window16 = nullptr;
}

int CFIRFxd::Init(short* tapsIn, short* qIn, int tapCountIn, int channelCountIn) {
  if (channelCountIn < 1) return 0;
  const int n = std::max(tapCountIn, 0);
  if (n > 0) {
    if (tapsIn == nullptr || qIn == nullptr) return 0;
    // (K + 1) history rows and the 2N - 2 window must stay indexable by int.
    if (static_cast<long long>(channelCountIn + 1LL) * n > INT_MAX || n > INT_MAX / 2) return 0;
  }
  // Loading other taps of the same geometry keeps the storage: every array
  // is overwritten or zeroed below, as a fresh allocation would be, and
  // nothing is allocated (the soundbar reloads its filters on the audio
  // thread this way).
  const bool reuse = taps != nullptr && channelCount == channelCountIn && tapCount == n;
  const std::size_t windowLength = static_cast<std::size_t>(std::max(2 * n - 2, 1));
  if (!reuse) Free();
  inputScale = 0;
  channelCount = channelCountIn;
  tapCount = n;
  if (!reuse) q = static_cast<short*>(std::calloc(static_cast<std::size_t>(channelCount), sizeof(short)));
  if (qIn != nullptr) {
    std::memcpy(q, qIn, static_cast<std::size_t>(channelCount) * sizeof(short));
  } else if (reuse) {
    std::memset(q, 0, static_cast<std::size_t>(channelCount) * sizeof(short));
  }
  if (n == 0) return 0;

  if (reuse) {
    Reset();
    std::memset(window32, 0, windowLength * sizeof(int));
    std::memset(window16, 0, windowLength * sizeof(short));
  } else {
    taps = AllocRowTable<short>(channelCount, n);
    reversedTaps = AllocRowTable<short>(channelCount, n);
    history = AllocRowTable<int>(channelCount + 1, n);
    window32 = static_cast<int*>(std::calloc(windowLength, sizeof(int)));
    window16 = static_cast<short*>(std::calloc(windowLength, sizeof(short)));
  }
  for (int c = 0; c < channelCount; ++c) {
    const short* row = tapsIn + static_cast<std::ptrdiff_t>(c) * n;
    std::memcpy(taps[c], row, static_cast<std::size_t>(n) * sizeof(short));
    std::reverse_copy(row, row + n, reversedTaps[c]);
  }
  return 0;
}

void CFIRFxd::Reset() {
  if (history != nullptr)
    std::memset(history[0], 0, static_cast<std::size_t>(channelCount + 1) * static_cast<std::size_t>(tapCount) * sizeof(int));
}

void CFIRFxd::Free() {
  FreeRowTable(taps);
  FreeRowTable(reversedTaps);
  FreeRowTable(history);
  std::free(q);
  std::free(window32);
  std::free(window16);
  Clear();
}

int CFIRFxd::Filter(short* in, short* out, int n, int channels) { return FilterBlock(in, out, n, channels); }

int CFIRFxd::Filter(int* in, int* out, int n, int channels) { return FilterBlock(in, out, n, channels); }

template <class Sample>
int CFIRFxd::FilterBlock(const Sample* in, Sample* out, int n, int channels) {
  if (n < 1 || channels < 1 || channels > channelCount || in == nullptr || out == nullptr) return 0;
  const int nTaps = tapCount;
  Sample* window = nullptr;
  if constexpr (sizeof(Sample) == sizeof(int)) {
    window = window32;
  } else {
    window = window16;
  }
  for (int c = 0; c < channels; ++c) {
    const Sample* x = in + static_cast<std::ptrdiff_t>(c) * n;
    Sample* y = out + static_cast<std::ptrdiff_t>(c) * n;
    if (nTaps < 1) {
      std::fill(y, y + n, Sample{0});
      continue;
    }
    int* hist = history[c];
    int* staging = history[channelCount];
    const int fresh = std::min(n, nTaps);
    for (int j = 0; j < fresh; ++j) staging[j] = x[n - 1 - j];
    for (int j = n; j < nTaps; ++j) staging[j] = hist[j - n];

    const int shift = 15 + q[c] - inputScale;
    const short* hr = reversedTaps[c];
    if (n > nTaps - 1) fir::RunTaps(hr, nTaps, x, n - (nTaps - 1), shift, y + (nTaps - 1));
    const int head = std::min(n, nTaps - 1);
    if (head > 0) {
      for (int i = 0; i < nTaps - 1; ++i) window[i] = FromHistory<Sample>(hist[nTaps - 2 - i]);
      std::copy(x, x + head, window + (nTaps - 1));
      fir::RunTaps(hr, nTaps, window, head, shift, y);
    }
    std::memcpy(hist, staging, static_cast<std::size_t>(nTaps) * sizeof(int));
  }
  return 0;
}
