// Forward-backward SOS filter: the coefficient rescaling, the zero-phase
// response delayed by the look-ahead, and refused calls. Its bit-exact
// streaming in the soundbar's blocks is carried by the golden vectors
// (test_golden).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <utility>
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

// The forward-backward filter in double precision with the coefficients as
// given: each block reversed together with the look-ahead samples that follow
// it, run backward through a fresh cascade, turned round and run forward
// through a cascade that keeps its state.
class Exact {
 public:
  Exact(Sections s, int lookahead, int maxBlock) : s_(std::move(s)), L_(lookahead) {
    reversed_.assign(L_ + maxBlock, 0);
    forward_.assign(4 * s_.count(), 0);
  }

  std::vector<double> Block(const std::vector<double>& in) {
    const int n = static_cast<int>(in.size());
    for (int k = 0; k < L_; ++k) reversed_[n + k] = reversed_[k];
    for (int j = 0; j < n; ++j) reversed_[n - 1 - j] = in[j];
    std::vector<double> backwardState(4 * s_.count(), 0);
    const auto backward = Cascade(std::vector<double>(reversed_.begin(), reversed_.begin() + n + L_), backwardState);
    std::vector<double> forward(n);
    for (int k = 0; k < n; ++k) forward[k] = backward[n + L_ - 1 - k];
    return Cascade(forward, forward_);
  }

 private:
  std::vector<double> Cascade(std::vector<double> x, std::vector<double>& state) const {
    const int n = static_cast<int>(x.size()), nsos = s_.count();
    std::vector<double> y(n);
    for (int k = 0; k < nsos; ++k) {
      const short* c = &s_.sos[6 * k];
      double* st = &state[4 * k];
      auto section = [&](double x0, double x1, double x2, double y1, double y2) {
        return std::ldexp(c[0] * x0 + c[1] * x1 + c[2] * x2 - c[4] * y1 - c[5] * y2, -15 - s_.sosQ[k]);
      };
      y[0] = section(x[0], st[0], st[1], st[2], st[3]);
      y[1] = section(x[1], x[0], st[0], y[0], st[2]);
      for (int i = 2; i < n; ++i) y[i] = section(x[i], x[i - 1], x[i - 2], y[i - 1], y[i - 2]);
      st[0] = x[n - 1], st[1] = x[n - 2], st[2] = y[n - 1], st[3] = y[n - 2];
      x = y;
    }
    for (double& v : y) v = std::ldexp(v * s_.gain[nsos], -15 - s_.gainQ[nsos]);
    return y;
  }

  Sections s_;
  int L_;
  std::vector<double> reversed_, forward_;
};

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

TEST(FiltFilt, RescaledSectionsKeepTheResponse) {
  // The low-pass (both exponents negative) and a section in Q16 (positive
  // exponent; its sum 70000 asr 1 = 35000 needs one halving), against the
  // unscaled coefficients in double precision.
  Sections q16{{20000, 20000, 0, 32767, -30000, 0}, {1}, {0, 32767}, {0, 0}};
  for (Sections s : {Lowpass(), q16}) {
    const int L = 64, n = 256;
    Exact exact(s, L, n);
    CFiltFiltFxd f;
    Make(f, s, 1, L, n);
    for (int b = 0; b < 4; ++b) {
      std::vector<int> x(n), y(n);
      std::vector<double> xd(n);
      for (int k = 0; k < n; ++k) {
        const double t = b * n + k;
        xd[k] = x[k] = static_cast<int>(std::lround(4e6 * std::sin(0.01 * t) + 2e6 * std::sin(0.2 * t)));
      }
      f.Filter(x.data(), y.data(), n, 1);
      const auto expected = exact.Block(xd);
      // Each section pass floors; the feedback spreads that over a few
      // LSBs. A gain left uncompensated would be off by a power of two.
      for (int k = 0; k < n; ++k) ASSERT_NEAR(y[k], expected[k], 32.0) << "sample " << b * n + k;
    }
  }
}

TEST(FiltFilt, ImpulseResponseIsSymmetricAroundTheLookahead) {
  Sections s = Lowpass();
  const int L = 128, n = 512;
  CFiltFiltFxd f;
  Make(f, s, 1, L, n);
  std::vector<int> x(3 * n, 0), y(3 * n);
  x[n + 200] = 1 << 22;
  for (int b = 0; b < 3; ++b) f.Filter(x.data() + b * n, y.data() + b * n, n, 1);
  const int centre = n + 200 + L;
  EXPECT_EQ(std::max_element(y.begin(), y.end()) - y.begin(), centre);
  EXPECT_GT(y[centre], 1 << 16);
  // Symmetric up to the flooring of the two passes.
  for (int d = 1; d < L; ++d) EXPECT_NEAR(y[centre + d], y[centre - d], 4.0) << d;
  for (int t = 0; t < n; ++t) ASSERT_EQ(y[t], 0) << t;  // the silent block before the impulse
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
