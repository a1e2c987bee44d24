// Delay line: exact delay for blocks shorter than, equal to and longer than
// the line, in place and out of place, one and two channels, both widths and
// both forms; the shared position; initial contents; refusals and life cycle.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "filters/CDelayLineFxd.h"

namespace {

using Rows = std::vector<std::vector<int>>;  // [channel][sample]

enum class Mode { kOutOfPlace, kInPlace, kNullOut };

// Streams `channels` planar rows of `in` (row-major, `total` samples each)
// through the line in blocks cycling through `blocks`; returns the output
// rows. Sample is short or int; blockCopy selects Filter_v3.
template <class Sample>
Rows Stream(CDelayLineFxd& dl, const Rows& in, const std::vector<int>& blocks, Mode mode, bool blockCopy = false) {
  const int channels = static_cast<int>(in.size());
  const size_t total = in[0].size();
  Rows out(in.size());
  for (size_t t = 0, b = 0; t < total; ++b) {
    const int n = std::min(blocks[b % blocks.size()], static_cast<int>(total - t));
    std::vector<Sample> src, dst(static_cast<size_t>(channels * n), 7);
    for (const auto& row : in) src.insert(src.end(), row.begin() + t, row.begin() + t + n);
    Sample* o = mode == Mode::kOutOfPlace ? dst.data() : mode == Mode::kInPlace ? src.data() : nullptr;
    if (blockCopy)
      dl.Filter_v3(src.data(), o, n, channels);
    else
      dl.Filter(src.data(), o, n, channels);
    const std::vector<Sample>& res = mode == Mode::kOutOfPlace ? dst : src;
    for (int c = 0; c < channels; ++c) out[c].insert(out[c].end(), res.begin() + c * n, res.begin() + (c + 1) * n);
    t += static_cast<size_t>(n);
  }
  return out;
}

Rows Noise(int channels, size_t total, unsigned seed, int range = 32767) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> d(-range - 1, range);
  Rows v(static_cast<size_t>(channels), std::vector<int>(total));
  for (auto& row : v)
    for (int& s : row) s = d(rng);
  return v;
}

// The input delayed by d samples, with `head` (or zeros) in front.
Rows Delayed(const Rows& in, int d, const Rows& head = {}) {
  auto out = in;
  for (size_t c = 0; c < in.size(); ++c)
    for (size_t t = 0; t < in[c].size(); ++t)
      out[c][t] = t >= static_cast<size_t>(d) ? in[c][t - d] : (head.empty() ? 0 : head[c][t]);
  return out;
}

Rows Slice(const Rows& in, size_t from, size_t to) {
  Rows out;
  for (const auto& row : in) out.emplace_back(row.begin() + from, row.begin() + to);
  return out;
}
void Append(Rows& out, const Rows& more) {
  for (size_t c = 0; c < out.size(); ++c) out[c].insert(out[c].end(), more[c].begin(), more[c].end());
}

TEST(DelayLine, ExactDelayForEveryBlockLengthFormAndWidth) {
  for (int d : {1, 2, 7, 127}) {
    const std::vector<int> blockSets[] = {
        {1}, {d > 1 ? d - 1 : 1}, {d}, {d + 1}, {3 * d + 2}, {512}, {5, d, 1, 2 * d + 3, 64}};
    for (int channels : {1, 2}) {
      const auto in16 = Noise(channels, 700, static_cast<unsigned>(d * 10 + channels));
      const auto in32 = Noise(channels, 700, static_cast<unsigned>(d * 20 + channels), 8388607);
      for (const auto& blocks : blockSets)
        for (Mode mode : {Mode::kOutOfPlace, Mode::kInPlace, Mode::kNullOut})
          for (bool blockCopy : {false, true}) {
            SCOPED_TRACE(testing::Message() << "delay " << d << " channels " << channels << " block " << blocks[0]
                                            << " mode " << static_cast<int>(mode) << " v3 " << blockCopy);
            CDelayLineFxd dl;
            dl.Clear();
            dl.Init(d, channels, 0, nullptr);
            EXPECT_EQ(Stream<short>(dl, in16, blocks, mode, blockCopy), Delayed(in16, d));
            EXPECT_EQ(Stream<int>(dl, in32, blocks, mode, blockCopy), Delayed(in32, d));
          }
    }
  }
}

TEST(DelayLine, PositionIsSharedByChannelsAndWidths) {
  // Filter leaves the position at (samples so far) mod delay: blocks of n =
  // delay keep it at 0, so the block form can take over; otherwise the
  // block form then misreads the ring.
  const auto in = Noise(2, 60, 3);
  for (auto [split, n] : {std::pair{30, 10}, {27, 9}}) {
    CDelayLineFxd dl;
    dl.Init(10, 2, 0, nullptr);
    Rows out = Stream<short>(dl, Slice(in, 0, split), {n}, Mode::kInPlace);
    Append(out, Stream<short>(dl, Slice(in, split, 60), {4}, Mode::kInPlace, true));
    EXPECT_EQ(out == Delayed(in, 10), split == 30);
  }

  // Delay 4: 16-bit sample a at slot 0 (position 1); two 32-bit samples move
  // the position to 3 without touching the 16-bit line; the next 16-bit
  // block reads slots 3, 0, 1, 2, so a comes out second.
  CDelayLineFxd dl;
  dl.Init(4, 1, 0, nullptr);
  short a[1] = {1111};
  dl.Filter(a, nullptr, 1, 1);
  int w[2] = {5, 6};
  dl.Filter(w, nullptr, 2, 1);
  EXPECT_EQ(w[0], 0);  // the 32-bit line started at zero
  EXPECT_EQ(w[1], 0);
  short b[4] = {1, 2, 3, 4};
  dl.Filter(b, nullptr, 4, 1);
  EXPECT_EQ(std::vector<short>(b, b + 4), (std::vector<short>{0, 1111, 0, 0}));
}

TEST(DelayLine, InitialContentsFillOnlyThe16BitLines) {
  const Rows head = {{1, 2, 3}, {4, 5, 6}};
  short initial[6] = {1, 2, 3, 4, 5, 6};
  const auto in = Noise(2, 20, 4);
  for (bool blockCopy : {false, true}) {
    CDelayLineFxd dl;
    dl.Init(3, 2, 99, initial);
    EXPECT_EQ(Stream<short>(dl, in, {2}, Mode::kInPlace, blockCopy), Delayed(in, 3, head));
    EXPECT_EQ(Stream<int>(dl, in, {5}, Mode::kOutOfPlace, blockCopy), Delayed(in, 3));
    dl.Init(3, 2, 0, initial);  // re-Init starts again from the initial contents
    dl.Reset();                 // which Reset clears
    EXPECT_EQ(Stream<short>(dl, in, {20}, Mode::kInPlace, blockCopy), Delayed(in, 3));
  }
}

TEST(DelayLine, RefusalsAndLifeCycle) {
  const auto in = Noise(2, 40, 5);
  CDelayLineFxd dl;
  // Cleared, or a refused Init: input passes through unchanged.
  for (auto [d, channels] : {std::pair{0, 1}, {-3, 1}, {5, 0}, {1 << 20, 1 << 12}}) {
    dl.Init(d, channels, 0, nullptr);
    EXPECT_EQ(Stream<int>(dl, in, {7}, Mode::kOutOfPlace), in);
    EXPECT_EQ(Stream<short>(dl, in, {7}, Mode::kInPlace, true), in);
  }
  dl.Init(5, 2, 0, nullptr);
  dl.Init(0, 1, 0, nullptr);  // refused: the 5-sample line stays
  Rows out = Stream<short>(dl, Slice(in, 0, 8), {8}, Mode::kInPlace);

  // Calls that must do nothing: empty block, no channels, null input, and
  // more channels than the line holds (nothing written, position kept).
  std::vector<short> probe(3 * 4, 42);
  dl.Filter(probe.data(), probe.data(), 0, 2);
  dl.Filter(probe.data(), probe.data(), 4, 0);
  dl.Filter(static_cast<short*>(nullptr), probe.data(), 4, 2);
  dl.Filter(probe.data(), probe.data(), 4, 3);
  dl.Filter_v3(probe.data(), probe.data(), 4, 3);
  EXPECT_EQ(probe, std::vector<short>(12, 42));

  Append(out, Stream<short>(dl, Slice(in, 8, 40), {3}, Mode::kInPlace));
  EXPECT_EQ(out, Delayed(in, 5));

  dl.Init(2, 1, 0, nullptr);  // re-Init releases the old line and starts silent
  const Rows one = {in[0]};
  EXPECT_EQ(Stream<int>(dl, one, {3}, Mode::kInPlace), Delayed(one, 2));
  dl.Free();
  EXPECT_EQ(Stream<int>(dl, one, {3}, Mode::kInPlace), one);
}

}  // namespace
