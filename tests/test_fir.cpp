// FIR filter: exact identities and delays, history across blocks of every
// size, in-place operation, wrapping on overflow, refused calls, and the
// vector kernels against the portable ones bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "hvtralofx/CFIRFxd.h"

namespace {

// Direct evaluation of y[t] = (sum_j h[j] x[t-j]) asr (15 + q) over a whole
// stream that starts from silence, low bits kept.
template <class S>
std::vector<S> ReferenceFir(const std::vector<short>& h, int q, const std::vector<S>& x) {
  std::vector<S> y(x.size());
  for (size_t t = 0; t < x.size(); ++t) {
    uint64_t acc = 0;
    for (size_t j = 0; j < h.size() && j <= t; ++j) acc += static_cast<uint64_t>(int64_t{h[j]} * x[t - j]);
    y[t] = static_cast<S>(static_cast<int64_t>(acc) >> (15 + q));
  }
  return y;
}

// Full-scale test signals: mostly the two extremes, some values in between.
template <class S>
std::vector<S> FullScale(size_t n, std::mt19937& rng) {
  std::uniform_int_distribution<int64_t> any(std::numeric_limits<S>::min(), std::numeric_limits<S>::max());
  std::vector<S> v(n);
  for (auto& s : v) {
    const auto r = rng() % 4;
    s = r == 0 ? std::numeric_limits<S>::min() : r == 1 ? std::numeric_limits<S>::max() : static_cast<S>(any(rng));
  }
  return v;
}

// Runs a stream through a one-channel filter in blocks of the given sizes
// (cycled), in place or through a separate output buffer.
template <class S>
std::vector<S> FilterInBlocks(CFIRFxd& fir, std::vector<S> x, const std::vector<int>& sizes, bool inPlace) {
  std::vector<S> y(x.size(), S{0x5A5A});
  for (size_t pos = 0, b = 0, n = 0; pos < x.size(); pos += n, ++b) {
    n = std::min<size_t>(static_cast<size_t>(sizes[b % sizes.size()]), x.size() - pos);
    fir.Filter(x.data() + pos, (inPlace ? x : y).data() + pos, static_cast<int>(n), 1);
  }
  return inPlace ? x : y;
}

}  // namespace

TEST(FirFilter, IdentityAndOneSampleDelayTaps) {
  for (short q : {-1, -4}) {  // a single tap of 1.0 passes every 32-bit value
    std::vector<short> taps = {static_cast<short>(1 << (15 + q))};
    CFIRFxd fir;
    fir.Init(taps.data(), &q, 1, 1);
    const std::vector<int> x = {INT32_MIN, INT32_MAX, -1, 0, 1, 8388607, -8388608};
    EXPECT_EQ(FilterInBlocks(fir, x, {7}, false), x);
  }
  std::vector<short> taps = {0, 16384};
  short q = -1;
  CFIRFxd fir;
  fir.Init(taps.data(), &q, 2, 1);
  // Blocks of 1 (shorter than the filter), 2 and 4: always the previous sample.
  EXPECT_EQ(FilterInBlocks(fir, std::vector<short>{5, -7, 9, 11, -13, 32767, -32768}, {1, 2, 4}, false),
            (std::vector<short>{0, 5, -7, 9, 11, -13, 32767}));
}

TEST(FirFilter, BlocksOfAnySizeMatchTheStream) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> tap(-32768, 32767);
  for (int nTaps : {1, 3, 7, 16, 33}) {
    std::vector<short> h(nTaps);
    for (auto& v : h) v = static_cast<short>(tap(rng));
    short q = 2;
    const auto x32 = FullScale<int>(300, rng);
    const auto x16 = FullScale<short>(300, rng);
    for (std::vector<int> sizes : std::vector<std::vector<int>>{{1}, {2, 5}, {31, 1, 64}, {300}}) {
      for (bool inPlace : {false, true}) {
        CFIRFxd a, b;
        a.Init(h.data(), &q, nTaps, 1);
        b.Init(h.data(), &q, nTaps, 1);
        EXPECT_EQ(FilterInBlocks(a, x32, sizes, inPlace), ReferenceFir(h, q, x32)) << nTaps << " taps";
        EXPECT_EQ(FilterInBlocks(b, x16, sizes, inPlace), ReferenceFir(h, q, x16)) << nTaps << " taps";
      }
    }
  }
}

TEST(FirFilter, OverflowWrapsInsteadOfClipping) {
  // Two taps of 32767 (about 2.0 with q = 0) on a full-scale constant:
  // 32767^2 asr 15 = 32766, then 2 * 32767^2 = 2147352578, asr 15 = 65532,
  // whose low 16 bits read -4.
  std::vector<short> taps = {32767, 32767};
  short q = 0;
  CFIRFxd fir16, fir32;
  fir16.Init(taps.data(), &q, 2, 1);
  EXPECT_EQ(FilterInBlocks(fir16, std::vector<short>(3, 32767), {3}, true), (std::vector<short>{32766, -4, -4}));
  // 32-bit, q = -15 (shift 0), input 2^30: 32767 * 2^30 keeps 3 * 2^30 in
  // its low 32 bits, 65534 * 2^30 keeps 2^31.
  q = -15;
  fir32.Init(taps.data(), &q, 2, 1);
  EXPECT_EQ(FilterInBlocks(fir32, std::vector<int>(2, 1 << 30), {2}, true), (std::vector<int>{-1073741824, INT32_MIN}));
}

TEST(FirFilter, ExtraChannelsAndUninitialisedFiltersAreRefused) {
  std::vector<short> taps = {16384, 0, 0, 8192}, q = {-1, -2};
  CFIRFxd fir, cleared;
  fir.Init(taps.data(), q.data(), 2, 2);
  std::vector<int> three(9, 77), untouched = three;
  fir.Filter(three.data(), three.data(), 3, 3);  // more channels than Init
  EXPECT_EQ(three, untouched);
  cleared.Filter(three.data(), three.data(), 3, 1);  // never initialised
  EXPECT_EQ(three, untouched);
}
