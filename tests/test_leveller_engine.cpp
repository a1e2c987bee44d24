// The leveller in the engine: the control functions with their rate
// conversion, and channel counts it leaves alone. (Its output in the chain,
// its look-ahead, the LFE leveller on 5.1 and the limiter after it are
// carried by the golden vectors.)
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "api/AdaVControlInternal.h"
#include "support/EngineTestBase.h"
#include "hvtralofx/HVSFX_AdaVControl.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "loudness/LevellerCore.h"

using namespace hvfx::api;  // the engine's internals

namespace {

constexpr int kBlock = 512;

using LevellerEngine = EngineTestBase;

const hvfx::LevellerCore& Core(const CAdaptiveVolume_S24* av) { return hvfx::AdaptiveVolumeProbe::Core(*av); }

TEST(LevellerRateSteps, ConvertTruncatingTowardZeroWithoutOverflow) {
  const int cases[][2] = {{6, 25}, {3, 0}, {1, -16}, {15, 100}, {4, 8}, {-9, -100},
                          {INT_MAX, INT_MAX}, {INT_MIN, INT_MIN}, {25769806, 214748358}};
  for (const auto& c : cases) EXPECT_EQ(AdaVRateToPercent(c[0]), c[1]) << c[0];
}

TEST_F(LevellerEngine, ControlsStoreTheRecordAndPassValuesOn) {
  // Before Init: stored, read back.
  EXPECT_EQ(HVSFX_AdaV_SetParam(&param, 0, 40, 9000, 1), 1);
  int a = 0, b = 0, c = 0, d = 0, up = 0, down = 0;
  ASSERT_EQ(HVSFX_AdaV_GetParam(&param, &a, &b, &c, &d), 1);
  EXPECT_EQ(std::vector<int>({a, b, c, d}), std::vector<int>({0, 40, 9000, 1}));
  EXPECT_EQ(HVSFX_AdaV_SetVolUpDownRate(&param, 9, 2), 1);
  ASSERT_EQ(HVSFX_AdaV_GetVolUpDownRate(&param, &up, &down), 1);
  EXPECT_EQ(up, 9);
  EXPECT_EQ(down, 2);

  // After Init the instance takes them at once.
  ASSERT_EQ(HVSFX_Init(&param), 1);
  EXPECT_EQ(Core(LiveChain()->adav).mode_, 0);
  EXPECT_EQ(Core(LiveChain()->adav).relativeVolumeDb_, 2228224 * 40 / 100 - 2424832);
  EXPECT_EQ(HVSFX_AdaV_SetParam(&param, 1, 0, 20000, 0), 1);
  EXPECT_EQ(Core(LiveChain()->adav).mode_, 1);
  EXPECT_EQ(Core(LiveChain()->adav).relativeVolumeDb_, -2424832);
  EXPECT_EQ(Core(LiveChain()->adav).station_.Length(), 10);
  // Rate steps to percent: 15 -> 100, 3 -> 0; 6 -> 25; 1 -> -16 (clamped to 0);
  // extreme steps neither overflow nor wrap around.
  const int rates[][4] = {{15, 3, 5242, -1048}, {6, 1, 2097, -1048}, {INT_MAX, INT_MIN, 5242, -1048}};
  for (const auto& r : rates) {
    EXPECT_EQ(HVSFX_AdaV_SetVolUpDownRate(&param, r[0], r[1]), 1);
    EXPECT_EQ(Core(LiveChain()->adav).upRate_, r[2]) << r[0];
    EXPECT_EQ(Core(LiveChain()->adav).downRate_, r[3]) << r[1];
  }
  ASSERT_EQ(HVSFX_AdaV_GetVolUpDownRate(&param, &up, &down), 1);
  EXPECT_EQ(up, INT_MAX);
  EXPECT_EQ(down, INT_MIN);
  EXPECT_EQ(Core(LiveChain()->adavLfe).upRate_, 2097);  // the LFE leveller is not addressed
}

TEST_F(LevellerEngine, OtherChannelCountsAreNotLevelled) {
  param.nInChannels = param.nOutChannels = 4;
  param.bAdaVEnable = true;
  ASSERT_EQ(HVSFX_Init(&param), 1);
  std::vector<short> s(4 * 4 * kBlock, 1000);
  for (int b = 0; b < 4; ++b) ASSERT_EQ(HVSFX_Process(&param, s.data() + 4 * b * kBlock, kBlock), 1);
  EXPECT_EQ(Core(LiveChain()->adav).frameCount_, 0);
}

}  // namespace
