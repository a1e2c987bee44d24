// DC blocker against direct windowed sums (including the 32-bit wrap of the
// 16-bit variant), its settling, impulse and latency, the separate state of
// the two widths and their shared position; integrator trajectory, gains per
// sample rate, growth without leak and wrap in the output width (the exact
// recursion on the soundbar's path is carried by the golden vectors).
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>
#include <tuple>
#include <vector>

#include "hvtralofx/CDCBlockerMAFxd.h"
#include "hvtralofx/CNGOIntegratorFxd.h"

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

TEST(DCBlocker, MatchesWindowedSumsInEveryVariant) {
  // Loud positive material first: its 128-sample sums pass 2^31 at inShift
  // 12, so the 16-bit variant's 32-bit state wraps while the wide one does
  // not. (With inShift = outShift the wrap stays above the 16 output bits.)
  std::vector<int> pcm = Noise(700, 20000, 32767, 1);
  const std::vector<int> tail = Noise(900, -32768, 32767, 2);
  pcm.insert(pcm.end(), tail.begin(), tail.end());
  const std::vector<int> working = Noise(1600, -8388608, 8388607, 3);
  EXPECT_NE(DcReference(pcm, 12, 4, 32, 16), DcReference(pcm, 12, 4, 64, 16));

  for (auto [inShift, outShift] : {std::pair{10, 10}, {0, 0}, {12, 4}, {3, 9}}) {
    SCOPED_TRACE(testing::Message() << "shifts " << inShift << "," << outShift);
    CDCBlockerMAFxd a, b, c;
    EXPECT_EQ(a.Init(inShift, outShift), 127);
    b.Init(inShift, outShift);
    c.Init(inShift, outShift);
    EXPECT_EQ(RunDc(a, Variant::k16, pcm, {1, 127, 128, 300, 5}), DcReference(pcm, inShift, outShift, 32, 16));
    EXPECT_EQ(RunDc(b, Variant::kMixed, pcm, {129, 7, 512}), DcReference(pcm, inShift, outShift, 64, 32));
    EXPECT_EQ(RunDc(c, Variant::k32, working, {64, 1, 255}), DcReference(working, inShift, outShift, 64, 32));
  }
}

TEST(DCBlocker, ConstantSettlesImpulseReturnsAfterTheLatency) {
  for (int level : {1000, -1000}) {
    CDCBlockerMAFxd dc;
    dc.Init(10, 10);
    const std::vector<int64_t> out = RunDc(dc, Variant::kMixed, std::vector<int>(600, level), {100});
    // Before the delayed input arrives the output is minus the ramping mean:
    // m0[t] = 8 * level * (t + 1), m1[t] = floor(4 * level * (t + 1)(t + 2) / 128).
    for (int t = 0; t < 127; ++t) ASSERT_EQ(out[t], -((4LL * level * (t + 1) * (t + 2)) >> 7)) << t;
    EXPECT_NE(out[253], 0);
    for (int t = 254; t < 600; ++t) ASSERT_EQ(out[t], 0) << t;
  }
  CDCBlockerMAFxd dc;
  std::vector<short> buf(64, 123);
  dc.Filter(buf.data(), buf.data(), 64);  // never initialised: untouched
  EXPECT_EQ(buf, std::vector<short>(64, 123));
  EXPECT_EQ(dc.Init(-5, 40), 127);
  EXPECT_EQ(dc.Init(INT_MIN, INT_MAX), 127);
  dc.Init(10, 10);
  std::vector<int> in(400, 0);
  in[0] = 1000;
  const std::vector<int64_t> out = RunDc(dc, Variant::kMixed, in, {50});
  EXPECT_EQ(out[0], -62);               // -floor(8000 / 128)
  EXPECT_EQ(out[127], 1024000 - 8000);  // x * 2^10 minus the peak of the triangle
  EXPECT_EQ(out[254], -62);             // last sample of the triangle
  for (int t = 255; t < 400; ++t) ASSERT_EQ(out[t], 0) << t;
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

// ---- Integrator ----------------------------------------------------------

template <class Sample>
std::vector<int64_t> RunIntegrator(CNGOIntegratorFxd& it, const std::vector<int>& in, int block) {
  std::vector<int64_t> out;
  for (size_t t = 0; t < in.size(); t += static_cast<size_t>(block)) {
    std::vector<Sample> buf(in.begin() + t, in.begin() + std::min(in.size(), t + block));
    it.Filter(buf.data(), buf.data(), static_cast<int>(buf.size()));
    out.insert(out.end(), buf.begin(), buf.end());
  }
  return out;
}

TEST(Integrator, ImpulseTrajectoryAndGainPerRate) {
  std::vector<int> impulse(50, 0);
  impulse[0] = 8192;
  const int64_t y[] = {8192, 25486, 20935, 21845};  // then holds 21845 = floor(8192 * 8 / 3)
  // inShift 0 and outShiftAdjust 31 make the output shift 0: out = y * gain.
  for (auto [rate, gain] : {std::pair{48000, 16777}, {44100, 18261}}) {
    CNGOIntegratorFxd it;
    it.Init(rate, 0, 31);
    const std::vector<int64_t> out = RunIntegrator<int>(it, impulse, 3);
    for (size_t t = 0; t < out.size(); ++t) ASSERT_EQ(out[t], (t < 4 ? y[t] : 21845) * gain) << t;
    it.Init(32000, 0, 31);  // unsupported rate keeps the gain
    EXPECT_EQ(RunIntegrator<int>(it, impulse, 50), out);
  }
}

TEST(Integrator, StepGrowsWithoutLeakAndWrapsInTheOutputWidth) {
  // 450000 samples of a constant 1000 (x = 1024000 = 125 * 8192, so every
  // division is exact), then silence. Once all four taps see the step, y
  // grows by 125 * (8192 + 17294 - 4551 + 910) = 2730625 per sample; three
  // samples after the input stops it holds for ever.
  constexpr int64_t kStep = 450000, kTotal = kStep + 2000;
  std::vector<int> in(kTotal, 0);
  std::fill(in.begin(), in.begin() + kStep, 1000);
  CNGOIntegratorFxd it;
  it.Init(48000, 10, 2);
  const std::vector<int64_t> out = RunIntegrator<short>(it, in, 512);
  const auto on = [&](int64_t t) -> Wide { return t >= 0 && t < kStep ? 125 : 0; };
  Wide y = 0;
  bool wrapped = false;
  for (int64_t t = 0; t < kTotal; ++t) {
    const Wide step = 8192 * on(t) + 17294 * on(t - 1) - 4551 * on(t - 2) + 910 * on(t - 3);
    y += step;
    ASSERT_EQ(out[t], WrapBits(y * 16777 >> 39, 16)) << t;
    wrapped = wrapped || (t > 0 && out[t] < out[t - 1]);
  }
  EXPECT_TRUE(wrapped);  // past 32767 the 16-bit output wraps
  EXPECT_EQ(out[kTotal - 1], out[kStep + 2]);
}

}  // namespace
