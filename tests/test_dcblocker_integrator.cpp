// DC blocker: refusals, and the separate state of the two widths with their
// shared position, against direct windowed sums. Its arithmetic in all three
// forms (the 32-bit wrap of the 16-bit one included) and the integrator's in
// both widths and at both rates are carried bit for bit by the golden
// vectors (test_golden, class_dcblocker_integrator_delayline).
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>
#include <vector>

#include "hvtralofx/CDCBlockerMAFxd.h"

namespace {

using Wide = __int128;

// Two's-complement value of the low `bits` bits of v (bits <= 64).
int64_t WrapBits(Wide v, int bits) {
  const Wide mod = static_cast<Wide>(1) << bits;
  Wide u = v % mod;
  if (u < 0) u += mod;
  return static_cast<int64_t>(u >= mod / 2 ? u - mod : u);
}

// Sum of the last 128 entries of v up to t (earlier entries are 0).
Wide Window(const std::vector<int64_t>& v, size_t t) {
  Wide s = 0;
  for (size_t j = 0; j < 128 && j <= t; ++j) s += v[t - j];
  return s;
}

// DC blocker computed from whole windows rather than running sums: sums and
// differences reduced to accBits, flooring shifts, output reduced to outBits.
std::vector<int64_t> DcReference(const std::vector<int>& in, int inShift, int outShift, int accBits, int outBits) {
  const size_t n = in.size();
  std::vector<int64_t> x(n), m0(n), out(n);
  for (size_t t = 0; t < n; ++t) x[t] = WrapBits(static_cast<Wide>(in[t]) * (Wide{1} << inShift), accBits);
  for (size_t t = 0; t < n; ++t) m0[t] = WrapBits(Window(x, t), accBits) >> 7;
  const int k = inShift - outShift;
  for (size_t t = 0; t < n; ++t) {
    const int64_t m1 = WrapBits(Window(m0, t), accBits) >> 7;
    const int64_t r = WrapBits(static_cast<Wide>(t >= 127 ? x[t - 127] : 0) - m1, accBits);
    out[t] = WrapBits(k > 0 ? Wide{r >> k} : static_cast<Wide>(r) * (Wide{1} << -k), outBits);
  }
  return out;
}

enum class Variant { k16, k32, kMixed };

// Streams `in` through the blocker in blocks cycling through `blocks`.
std::vector<int64_t> RunDc(CDCBlockerMAFxd& dc, Variant v, const std::vector<int>& in, std::vector<int> blocks = {512}) {
  std::vector<int64_t> out;
  for (size_t t = 0, b = 0; t < in.size(); ++b) {
    const int n = std::min(blocks[b % blocks.size()], static_cast<int>(in.size() - t));
    std::vector<short> s(in.begin() + t, in.begin() + t + n);  // narrowed only where the variant is 16-bit
    std::vector<int> w(in.begin() + t, in.begin() + t + n);
    if (v == Variant::k16) dc.Filter(s.data(), s.data(), n);  // in place
    if (v == Variant::k32) dc.Filter(w.data(), w.data(), n);
    if (v == Variant::kMixed) dc.Filter(s.data(), w.data(), n);
    for (int i = 0; i < n; ++i) out.push_back(v == Variant::k16 ? s[i] : w[i]);
    t += static_cast<size_t>(n);
  }
  return out;
}

std::vector<int> Noise(size_t n, int lo, int hi, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> d(lo, hi);
  std::vector<int> v(n);
  for (int& s : v) s = d(rng);
  return v;
}

TEST(DCBlocker, UninitialisedIsRefusedAndAnyShiftsInitialise) {
  CDCBlockerMAFxd dc;
  std::vector<short> buf(64, 123);
  dc.Filter(buf.data(), buf.data(), 64);  // never initialised: untouched
  EXPECT_EQ(buf, std::vector<short>(64, 123));
  EXPECT_EQ(dc.Init(-5, 40), 127);
  EXPECT_EQ(dc.Init(INT_MIN, INT_MAX), 127);
}

TEST(DCBlocker, WidthsKeepSeparateStateButShareThePosition) {
  const std::vector<int> a = Noise(1024, -32768, 32767, 4), b = Noise(1024, -32768, 32767, 5);
  CDCBlockerMAFxd dc;
  dc.Init(10, 10);
  std::vector<int64_t> gotA, gotB;
  // Calls of whole windows leave the position where it was, so each width
  // must see only its own stream.
  for (size_t t = 0; t < 1024; t += 256) {
    const std::vector<int> pa(a.begin() + t, a.begin() + t + 256), pb(b.begin() + t, b.begin() + t + 256);
    for (int64_t v : RunDc(dc, Variant::k16, pa, {128})) gotA.push_back(v);
    for (int64_t v : RunDc(dc, Variant::kMixed, pb, {256})) gotB.push_back(v);
  }
  EXPECT_EQ(gotA, DcReference(a, 10, 10, 32, 16));
  EXPECT_EQ(gotB, DcReference(b, 10, 10, 64, 32));

  // An impulse on the wide state, then 30 samples on the 16-bit state: the
  // wide ring position moved on by 30, so the impulse is read back 30
  // samples early, at wide sample 97, with 98 means of 8000 in the second sum.
  dc.Reset();
  std::vector<int> impulse(200, 0);
  impulse[0] = 1000;
  std::vector<int64_t> wide = RunDc(dc, Variant::k32, {impulse.begin(), impulse.begin() + 1});
  EXPECT_EQ(RunDc(dc, Variant::k16, std::vector<int>(30, 0)), std::vector<int64_t>(30, 0));
  for (int64_t v : RunDc(dc, Variant::k32, {impulse.begin() + 1, impulse.end()})) wide.push_back(v);
  EXPECT_EQ(wide[97], 1024000 - 98 * 8000 / 128);
  EXPECT_LT(wide[127], 0);
}

}  // namespace
