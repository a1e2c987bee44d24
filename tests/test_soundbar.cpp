// The soundbar virtualizer as a block processor, where the engine does not
// take it (the golden vectors carry its 5.1 planar 32-bit path with the
// fades and rebuilds): the stereo layout, interleaved blocks, the 16-bit
// path, refusals, bypass and the per-channel input gain, and the batch
// driver's progress and distance switching.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "hvtralofx/CSoundbar4Fxd.h"

namespace {

constexpr uint32_t kInactive = 0xFFFFFFFFu;
constexpr int kBlock = 128;
constexpr int kBandDelay = 128;  // band look-ahead given to Init

void StopFades(CSoundbar4Fxd& s) {
  s.inputFadePosition = kInactive;
  s.outputFadePosition = kInactive;
}

// A processor at `rate` with the fades switched off.
struct Processor : CSoundbar4Fxd {
  explicit Processor(int rate = 48000, int distance = 50, int angle = 1, int block = kBlock) {
    Init(rate, 6, block, kBandDelay, distance, angle);
    StopFades(*this);
  }
};

template <class Sample>
std::vector<Sample> Noise(size_t n, int amplitude, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> d(-amplitude, amplitude);
  std::vector<Sample> v(n);
  for (auto& s : v) s = static_cast<Sample>(d(rng));
  return v;
}

// Runs planar blocks of `channels` x kBlock through Process and returns the
// six output rows concatenated over time (row-major per block).
template <class Sample>
std::vector<std::vector<Sample>> RunPlanar(CSoundbar4Fxd& sb, const std::vector<std::vector<Sample>>& rows) {
  const int channels = static_cast<int>(rows.size());
  const size_t total = rows[0].size();
  std::vector<std::vector<Sample>> out(6, std::vector<Sample>(total));
  // The output rows start with a sentinel: every row must be written.
  std::vector<Sample> in(static_cast<size_t>(channels) * kBlock), block(6 * kBlock, Sample{0x5A5A});
  for (size_t start = 0; start + kBlock <= total; start += kBlock) {
    for (int c = 0; c < channels; ++c)
      std::copy_n(rows[c].begin() + static_cast<long>(start), kBlock, in.begin() + c * kBlock);
    sb.Process(in.data(), kBlock, channels, block.data(), kBlock, 6, 0);
    for (int c = 0; c < 6; ++c)
      std::copy_n(block.begin() + c * kBlock, kBlock, out[c].begin() + static_cast<long>(start));
  }
  return out;
}

int Scaled(int x) { return static_cast<int>((static_cast<int64_t>(x) * CSoundbar4Fxd::kInputGain) >> 15); }

// Stereo through the front pair alone equals 5.1 with silent centre, LFE
// and surrounds, whose outputs carry the front pair at 32767/32768 (the
// golden vectors pin the 5.1 path): every stereo output row in its place,
// at both sample widths, with left and right distinct.
template <class Sample>
void ExpectStereoEqualsFrontOfSurround(int amplitude) {
  const size_t n = 40 * kBlock;
  const std::vector<Sample> left = Noise<Sample>(n, amplitude, 1), right = Noise<Sample>(n, amplitude / 3, 2);
  const std::vector<Sample> silent(n);
  Processor stereo, surround;
  const auto outStereo = RunPlanar<Sample>(stereo, {left, right});
  const auto outSurround = RunPlanar<Sample>(surround, {left, right, silent, silent, silent, silent});
  int64_t difference = 0;
  for (size_t i = 0; i < n; ++i) {
    for (int c = 0; c < 6; ++c)
      ASSERT_EQ(outSurround[c][i], static_cast<Sample>((static_cast<int64_t>(outStereo[c][i]) * 32767) >> 15))
          << c << " " << i;
    difference += std::abs(outStereo[0][i] - outStereo[1][i]);
  }
  EXPECT_GT(difference, static_cast<int64_t>(n) * amplitude / 64);  // rows 0 and 1 differ: a swap shows
}

TEST(Soundbar, StereoIsTheFrontPairOfTheSurroundLayout) {
  ExpectStereoEqualsFrontOfSurround<int>(1 << 20);
  ExpectStereoEqualsFrontOfSurround<short>(32767);
}

TEST(Soundbar, PlanarAndInterleavedAgree) {
  const int frames = 20 * kBlock;
  const auto x = Noise<int>(static_cast<size_t>(frames) * 6, 1 << 20, 3);
  Processor planar, interleaved;
  std::vector<int> in(6 * kBlock), outP(6 * kBlock), outI(8 * kBlock);
  for (int b = 0; b < frames / kBlock; ++b) {
    const int* frame = x.data() + static_cast<size_t>(b) * kBlock * 6;
    std::copy_n(frame, 6 * kBlock, in.begin());
    interleaved.Process(in.data(), kBlock, 6, outI.data(), kBlock, 8, 1);  // frame stride 8: 6 and 7 untouched
    for (int n = 0; n < kBlock; ++n)
      for (int c = 0; c < 6; ++c) in[c * kBlock + n] = frame[n * 6 + c];
    planar.Process(in.data(), kBlock, 6, outP.data(), kBlock, 6, 0);
    for (int n = 0; n < kBlock; ++n)
      for (int c = 0; c < 6; ++c) ASSERT_EQ(outI[n * 8 + c], outP[c * kBlock + n]) << b << " " << n << " " << c;
  }
}

TEST(Soundbar, SixteenBitPathMatchesThirtyTwoBitPath) {
  // Same integers through both widths. With 16-bit input the input gain
  // leaves enough headroom that every intermediate of the 16-bit path fits
  // its 16-bit storage (the DC blocker and integrator run on a 32-bit row),
  // so the two paths agree exactly even at full scale.
  const size_t n = 40 * kBlock;
  std::vector<std::vector<int>> wide;
  std::vector<std::vector<short>> narrow;
  for (unsigned c = 0; c < 6; ++c) {
    wide.push_back(Noise<int>(n, 32767, 20 + c));
    narrow.emplace_back(wide.back().begin(), wide.back().end());
  }
  Processor a, b;
  const auto outWide = RunPlanar<int>(a, wide);
  const auto outNarrow = RunPlanar<short>(b, narrow);
  for (int c = 0; c < 6; ++c) EXPECT_TRUE(std::equal(outWide[c].begin(), outWide[c].end(), outNarrow[c].begin())) << c;
}

TEST(Soundbar, RefusalsAndOtherChannelCounts) {
  Processor sb;
  std::vector<int> in(8 * kBlock, 1000), out(8 * kBlock, 7);
  // Four channels: nothing computed or written, but the input is scaled.
  sb.Process(in.data(), kBlock, 4, out.data(), kBlock, 6, 0);
  EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](int v) { return v == 7; }));
  EXPECT_TRUE(std::all_of(in.begin(), in.begin() + 4 * kBlock, [](int v) { return v == Scaled(1000); }));
  // Refused, neither buffer touched: too many frames, a frame stride below
  // six, overlapping planar rows, no filters for the rate.
  std::fill(in.begin(), in.end(), 1000);
  sb.Process(in.data(), kBlock + 1, 2, out.data(), kBlock + 1, 6, 0);
  sb.Process(in.data(), kBlock, 2, out.data(), kBlock, 5, 1);
  sb.Process(in.data(), kBlock, 2, out.data(), kBlock - 1, 6, 0);
  Processor unsupported(32000);
  EXPECT_FALSE(unsupported.FiltersReady());
  unsupported.Process(in.data(), kBlock, 2, out.data(), kBlock, 6, 0);
  unsupported.Bypass(in.data(), kBlock, 2, out.data(), kBlock, 6, 0);
  EXPECT_TRUE(std::all_of(in.begin(), in.end(), [](int v) { return v == 1000; }));
  EXPECT_TRUE(std::all_of(out.begin(), out.end(), [](int v) { return v == 7; }));
}

TEST(Soundbar, BypassCopiesWithTheInputGain) {
  Processor sb;
  std::vector<short> in(8 * kBlock), out(6 * kBlock, 7);
  for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<short>(i * 37 % 20000 - 10000);
  const std::vector<short> original = in;
  sb.Bypass(in.data(), kBlock, 8, out.data(), kBlock, 6, 1);  // 8-channel interleaved frames
  for (int n = 0; n < kBlock; ++n)
    for (int c = 0; c < 6; ++c) ASSERT_EQ(out[n * 6 + c], static_cast<short>((original[n * 8 + c] * 11469) >> 15));
  sb.Bypass(in.data(), kBlock, 2, out.data(), kBlock, 6, 0);  // stereo planar: outputs 4 and 5
  for (int n = 0; n < kBlock; ++n) {
    for (int c = 0; c < 4; ++c) ASSERT_EQ(out[c * kBlock + n], 0);
    ASSERT_EQ(out[4 * kBlock + n], in[n]);
    ASSERT_EQ(out[5 * kBlock + n], in[kBlock + n]);
  }
}

TEST(Soundbar, PerChannelInputGainTakesCentreAndLfeGainsInBothLayouts) {
  // 6 channels: 0, 1, 4, 5 by the first gain, 2 by the second, 3 by the third.
  const short gains[6] = {16384, 16384, 8192, 4096, 16384, 16384};
  for (int interleaved : {0, 1}) {
    std::vector<int> buf(6 * 4, 1000);
    CSoundbar4Fxd::ApplyInputGain(buf.data(), 4, 6, 16384, 8192, 4096, interleaved);
    for (int i = 0; i < 24; ++i) {
      const int channel = interleaved ? i % 6 : i / 4;
      ASSERT_EQ(buf[i], 1000 * gains[channel] / 32768) << interleaved << " " << i;
    }
  }
}

TEST(SoundbarBatch, ProgressLinesAndDistanceSwitching) {
  Processor sb(48000, 50, 1);
  std::vector<short> in16(10 * kBlock * 2), out16(10 * kBlock * 6);
  testing::internal::CaptureStdout();
  sb.BatchProcess(in16.data(), 10 * kBlock, 2, out16.data(), 0, 6, 1, 0);
  const std::string text = testing::internal::GetCapturedStdout();
  EXPECT_EQ(text.substr(0, 70), "   10%\r   20%\r   30%\r   40%\r   50%\r   60%\r   70%\r   80%\r   90%\r  100%\r");
  EXPECT_EQ(text.substr(text.size() - 6), " sec.\n");
  EXPECT_EQ(sb.inputFadePosition, kInactive);  // the 16-bit form never switches

  // 32-bit form at 48 kHz, 128-frame blocks: the block ending at sample
  // 240000 (five seconds) switches, the one before does not.
  std::vector<int> in(240000 * 2), out(240000 * 6);
  testing::internal::CaptureStdout();
  sb.BatchProcess(in.data(), 240000 - kBlock, 2, out.data(), 0, 6, 1, 0);
  EXPECT_EQ(sb.inputFadePosition, kInactive);
  std::srand(7);
  sb.BatchProcess(in.data(), 240000, 2, out.data(), 0, 6, 1, 0);
  const std::string tail = testing::internal::GetCapturedStdout();
  EXPECT_EQ(sb.inputFadePosition, 0u);
  const int d = sb.Distance();
  EXPECT_TRUE(d == 30 || d == 40 || d == 50 || d == 60 || d == 70) << d;
  // Fewer frames than a block: only the time line.
  testing::internal::CaptureStdout();
  sb.BatchProcess(in.data(), kBlock - 1, 2, out.data(), 0, 6, 1, 0);
  const std::string nothing = testing::internal::GetCapturedStdout();
  EXPECT_EQ(nothing.find('%'), std::string::npos);
}

// Full-scale 400 Hz sines in anti-phase on every pair through the 16-bit
// path: a side band weighted above 1 must not wrap an output from one rail
// towards the other (a sine this slow moves under 2000 per sample). And a
// processor never initialised that crosses its fade's silent point frees
// the blocks it built (LeakSanitizer checks at exit).
TEST(Soundbar, FullScaleSixteenBitInputNeverWrapsAndNothingLeaks) {
  Processor sb(44100, 50, 1, 256);
  std::vector<short> in(256 * 6), out(256 * 6);
  std::vector<int> previous(6, 0);
  int largestStep = 0;
  for (int block = 0; block < 40; ++block) {
    for (int n = 0; n < 256; ++n) {
      const auto v = static_cast<short>(std::lrint(32767 * std::sin(2 * M_PI * 400 * (block * 256 + n) / 44100)));
      for (int k = 0; k < 6; ++k) in[static_cast<size_t>(n * 6 + k)] = static_cast<short>(k % 2 ? -v : v);
    }
    ASSERT_EQ(sb.Process(in.data(), 256, 6, out.data(), 0, 6, 1), 0);
    for (int n = 0; n < 256; ++n)
      for (int k = 0; k < 6; ++k) {
        const int y = out[static_cast<size_t>(n * 6 + k)];
        if (block > 0) largestStep = std::max(largestStep, std::abs(y - previous[static_cast<size_t>(k)]));
        previous[static_cast<size_t>(k)] = y;
      }
  }
  EXPECT_LT(largestStep, 4000);

  CSoundbar4Fxd never;
  never.SetDistance(40);
  for (int k = 0; k < 4; ++k) never.ApplyInputFadeinout(in.data(), 256, 6, 1);
}

}  // namespace
