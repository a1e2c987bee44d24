// The limiter as the last stage of the engine's chain: one more block of
// delay and the 16-bit-domain conversions around it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "api/EngineInternal.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/HVSFX_Switches.h"
#include "hvtralofx/CDynamicRangeControl.h"
#include "support/EngineTestBase.h"

using namespace hvfx::api;  // the engine's internals

namespace {

class LimiterStage : public EngineTestBase {};

TEST_F(LimiterStage, AloneInTheChainItPassesFullScaleBitExactOneBlockLater) {
  // The dynamic-bass switch keeps the chain running without a stage of its
  // own, so the limiter reads the gathered input directly. 16-bit input never
  // exceeds its ceiling: the output is the input 2 blocks late (engine and
  // limiter), including both extremes.
  constexpr int kN = 128;
  param.nFrameSize = kN;
  HVSFX_DynamicBass_SetEnable(&param, true);
  ASSERT_EQ(HVSFX_Init(&param), 1);
  ASSERT_NE(ptr_DRC, nullptr);
  std::mt19937 rng(3);
  std::vector<short> in(2 * 20 * kN);
  for (auto& v : in) v = static_cast<short>(static_cast<int>(rng() % 65536) - 32768);
  in[2 * 300] = -32768;
  in[2 * 301 + 1] = 32767;
  std::vector<short> out = in;
  for (size_t pos = 0; pos < out.size(); pos += 2 * 77)
    HVSFX_Process(&param, out.data() + pos, static_cast<int>(std::min<size_t>(77, (out.size() - pos) / 2)));
  for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], i < 4 * kN ? 0 : in[i - 4 * kN]) << i;
  EXPECT_EQ(ptr_DRC->GetCurrentGain(0), 1 << 24);
}

}  // namespace
