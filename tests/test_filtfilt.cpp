// Forward-backward SOS filter: the rescaling of a section at its edge,
// refused calls, and filters run side by side against one by one. Its
// bit-exact response (the rescaled sections, the look-ahead) in the
// soundbar's blocks and on its own in both widths, two channels and odd
// block lengths is carried by the golden vectors (test_golden).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "hvtralofx/CFiltFiltFxd.h"

namespace {

// One channel's coefficients as passed to Init.
struct Sections {
  std::vector<short> sos, sosQ, gain, gainQ;
  int count() const { return static_cast<int>(sosQ.size()); }
};

// The 50 cm / 48 kHz low-pass: its sums exceed 32767, so Init halves the
// numerators twice and three times and lowers gainQ[2] by 5.
Sections Lowpass() {
  return {{16384, 16384, 0, 16384, -13404, 0, 8192, 16384, 8192, 8192, -14612, 6715}, {-1, -2}, {16384, 16384, 27512},
          {-1, -1, 10}};
}

CFiltFiltFxd* Make(CFiltFiltFxd& f, Sections& s, int channels, int L, int maxBlock) {
  f.Init(s.sos.data(), s.sosQ.data(), s.gain.data(), s.gainQ.data(), s.count(), channels, L, maxBlock);
  return &f;
}

}  // namespace

TEST(FiltFilt, IdentitySectionIsRescaledAndLosesTheLowestBit) {
  // b0 = a0 = 16384 in Q14: its sum shifted by 1 is 32768, so b0 becomes
  // 8192 and gainQ[1] -2: each pass computes 2 * floor(x / 2).
  for (short unusedGain : {16384, -12345}) {  // gain[0] is never applied
    Sections s{{16384, 0, 0, 16384, 0, 0}, {-1}, {unusedGain, 16384}, {-1, -1}};
    CFiltFiltFxd f;
    Make(f, s, 1, 4, 16);
    std::vector<int> x = {INT32_MIN, INT32_MAX, -3, 3, -1, 1, 0, 8388607, -8388608, 5, 6, 7};
    std::vector<int> y(x.size());
    f.Filter(x.data(), y.data(), 12, 1);
    for (int k = 0; k < 12; ++k) EXPECT_EQ(y[k], k < 4 ? 0 : (x[k - 4] & ~1)) << k;
    std::vector<short> x16 = {-32768, 32767, -3, 3, 9, 9}, y16(6);
    CFiltFiltFxd g;
    Make(g, s, 1, 2, 16);
    g.Filter(x16.data(), y16.data(), 6, 1);
    EXPECT_EQ(y16, (std::vector<short>{0, 0, -32768, 32766, -4, 2}));
  }
}

TEST(FiltFilt, RefusedCallsChangeNothing) {
  Sections s = Lowpass();
  CFiltFiltFxd f, cleared;
  Make(f, s, 1, 8, 24);
  std::vector<int> big(33, 1000), untouched = big;
  f.Filter(big.data(), big.data(), 33, 1);        // longer than maxBlock
  f.Filter(big.data(), big.data(), 12, 2);        // more channels than Init
  cleared.Filter(big.data(), big.data(), 16, 1);  // never initialised
  EXPECT_EQ(big, untouched);
  // Three sections pass through the scratch rows: no more than L + maxBlock.
  Sections three{Lowpass().sos, {-1, -2, -1}, {0, 0, 0, 16384}, {0, 0, 0, -1}};
  three.sos.insert(three.sos.end(), {16384, 0, 0, 16384, 0, 0});
  std::vector<int> st3(12, 0);
  f.SOSFilter_DF1(big.data(), nullptr, 33, three.sos.data(), three.sosQ.data(), three.gain.data(), three.gainQ.data(),
                  st3.data(), 3);
  EXPECT_EQ(big, untouched);
  f.SOSFilter_DF1(big.data(), nullptr, 32, three.sos.data(), three.sosQ.data(), three.gain.data(), three.gainQ.data(),
                  st3.data(), 3);
  EXPECT_NE(big, untouched);
}

// Filters run side by side give what each gives alone: different sections
// and exponents per filter, 1 ... 4 filters, blocks longer and shorter than
// the look-ahead, loud inputs; an exponent outside the vector lanes' range
// takes the one-by-one route with the same result.
TEST(FiltFilt, SideBySideEqualsOneByOne) {
  std::mt19937 rng(21);
  std::uniform_int_distribution<int> coef(-20000, 20000), sample(-(1 << 30), 1 << 30);
  for (const int count : {1, 2, 3, 4})
    for (const short wideQ : {short{2}, short{20}}) {
      const int L = 16, maxBlock = 64;
      std::vector<Sections> sets;
      CFiltFiltFxd together[4], alone[4];
      for (int i = 0; i < count; ++i) {
        Sections s = Lowpass();
        for (short& c : s.sos) c = static_cast<short>(c / 2 + coef(rng) / 8);
        s.gainQ[2] = static_cast<short>(i == count - 1 ? wideQ : 10);
        sets.push_back(s);
        for (CFiltFiltFxd* f : {&together[i], &alone[i]})
          f->Init(s.sos.data(), s.sosQ.data(), s.gain.data(), s.gainQ.data(), s.count(), 1, L, maxBlock);
      }
      for (const int n : {64, 7, 40, 64}) {
        std::vector<std::vector<int>> x(4, std::vector<int>(static_cast<size_t>(n))), a = x, b = x;
        for (auto& row : x) std::generate(row.begin(), row.end(), [&] { return sample(rng); });
        CFiltFiltFxd* filters[4];
        int *in[4], *out[4];
        for (int i = 0; i < count; ++i) {
          alone[i].Filter(x[i].data(), a[i].data(), n, 1);
          filters[i] = &together[i];
          in[i] = x[i].data();
          out[i] = b[i].data();
        }
        CFiltFiltFxd::FilterSideBySide(filters, count, in, out, n);
        for (int i = 0; i < count; ++i) EXPECT_EQ(a[i], b[i]) << count << " filters, block " << n << ", filter " << i;
      }
    }
}
