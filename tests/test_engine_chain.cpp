// The chain seen from the host: with a transparent stage the engine emits
// its input exactly one block late, whatever the host's call sizes; the
// first block out is silence; re-initialisation and release leave nothing
// behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "api/EngineInternal.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/HVSFX_Switches.h"
#include "support/EngineTestBase.h"
#include "hvtralofx/CHVAudioEQ_Ts.h"

using namespace hvfx::api;  // the engine's internals

namespace {

class EngineChain : public EngineTestBase {
 protected:

  // An engine whose only running stage is an equalizer with every section
  // off: a dry path that passes working samples through unchanged.
  void InitTransparent(int frames, int channels) {
    param.nFrameSize = frames;
    param.nInChannels = param.nOutChannels = channels;
    param.bDRCEnable = false;
    ASSERT_EQ(HVSFX_Init(&param), 1);
    ASSERT_NE(ptr_EQ, nullptr);
    for (int c = 0; c < channels; ++c) {
      ptr_EQ[c]->Tst_SetLFOption(false, 0, 0);
      ptr_EQ[c]->Tst_SetHFOption(false, 0, 0);
    }
    HVSFX_EQ_SetEnable(&param, true);
  }

  // Runs `input` through HVSFX_Process in calls of the given sizes (cycled).
  std::vector<short> Run(std::vector<short> input, const std::vector<int>& sizes, int channels) {
    const int total = static_cast<int>(input.size()) / channels;
    int done = 0;
    for (size_t k = 0; done < total; ++k) {
      const int frames = std::min(sizes[k % sizes.size()], total - done);
      EXPECT_EQ(HVSFX_Process(&param, input.data() + static_cast<size_t>(done) * channels, frames), 1);
      done += frames;
    }
    return input;
  }

};

std::vector<short> Noise(size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> dist(INT16_MIN, INT16_MAX);
  std::vector<short> v(n);
  for (auto& s : v) s = static_cast<short>(dist(rng));
  return v;
}

}  // namespace

TEST_F(EngineChain, OutputIsTheInputExactlyOneBlockLate) {
  const int n = 64;
  for (int channels : {1, 2, 6}) {
    SCOPED_TRACE(channels);
    InitTransparent(n, channels);
    const auto input = Noise(static_cast<size_t>(channels) * 10 * n, 7u + static_cast<unsigned>(channels));
    const auto output = Run(input, {10 * n}, channels);
    for (size_t i = 0; i < static_cast<size_t>(channels * n); ++i) ASSERT_EQ(output[i], 0) << i;
    for (size_t i = static_cast<size_t>(channels * n); i < output.size(); ++i)
      ASSERT_EQ(output[i], input[i - static_cast<size_t>(channels * n)]) << i;
    HVSFX_Release(&param);
    s_sampleCount = 0;
  }
}

TEST_F(EngineChain, CallSizesDoNotChangeTheStream) {
  const int n = 128;
  const auto input = Noise(2 * 23 * static_cast<size_t>(n) + 2 * 37, 11u);
  InitTransparent(n, 2);
  const auto reference = Run(input, {static_cast<int>(input.size() / 2)}, 2);
  for (const std::vector<int>& sizes :
       {std::vector<int>{1}, {n - 1}, {n}, {n + 1}, {3 * n + 5}, {7, n, 1, 2 * n - 3, 480}}) {
    HVSFX_Release(&param);
    s_sampleCount = 0;
    InitTransparent(n, 2);
    EXPECT_EQ(Run(input, sizes, 2), reference) << "first call size " << sizes.front();
  }
}

TEST_F(EngineChain, ReleaseAndReinitialiseStartFromSilence) {
  const int n = 32;
  InitTransparent(n, 2);
  auto input = Noise(2 * 4 * n, 3u);
  Run(input, {4 * n}, 2);
  ASSERT_EQ(HVSFX_Release(&param), 1);
  EXPECT_EQ(ptr_EQ, nullptr);
  InitTransparent(n, 2);
  const auto output = Run(input, {4 * n}, 2);
  for (int i = 0; i < 2 * n; ++i) ASSERT_EQ(output[static_cast<size_t>(i)], 0) << i;
}
