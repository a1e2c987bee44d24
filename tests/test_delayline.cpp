// Delay line: refused calls. The delay itself, both forms and widths on two
// channels, in place, with a null output and not, in blocks shorter and
// longer than the line, is carried by the golden vectors (test_golden).
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "hvtralofx/CDelayLineFxd.h"

namespace {

using Rows = std::vector<std::vector<int>>;  // [channel][sample]

enum class Mode { kOutOfPlace, kInPlace, kNullOut };

// Streams `channels` planar rows of `in` through the line in blocks cycling
// through `blocks`; returns the output rows. blockCopy selects Filter_v3.
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
    blockCopy ? dl.Filter_v3(src.data(), o, n, channels) : dl.Filter(src.data(), o, n, channels);
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

TEST(DelayLine, RefusedCallsWriteNothing) {
  const auto in = Noise(2, 40, 5);
  CDelayLineFxd dl;
  // A refused Init (including one too large to allocate): input passes through.
  for (auto [d, channels] : {std::pair{0, 1}, {-3, 1}, {5, 0}, {1 << 20, 1 << 12}}) {
    dl.Init(d, channels, 0, nullptr);
    EXPECT_EQ(Stream<int>(dl, in, {7}, Mode::kOutOfPlace), in);
    EXPECT_EQ(Stream<short>(dl, in, {7}, Mode::kInPlace, true), in);
  }
  // Null input and more channels than the line holds: nothing written.
  dl.Init(5, 2, 0, nullptr);
  std::vector<short> probe(3 * 4, 42);
  dl.Filter(static_cast<short*>(nullptr), probe.data(), 4, 2);
  dl.Filter(probe.data(), probe.data(), 4, 3);
  dl.Filter_v3(probe.data(), probe.data(), 4, 3);
  EXPECT_EQ(probe, std::vector<short>(12, 42));
}

}  // namespace
