// Init, re-init and release cycles of both interfaces across layouts, rates
// and block lengths, with a few blocks and a soundbar move in between. Run
// in the sanitizer build, LeakSanitizer checks at exit that nothing leaked;
// scripts/test.sh runs it under valgrind's memcheck as well.
//
// Cycles: HVFX_LIFECYCLE_CYCLES (default 1000).
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/ChainScenario.h"

TEST(Lifecycle, InitReinitReleaseCyclesLeaveNothingBehind) {
  const char* env = std::getenv("HVFX_LIFECYCLE_CYCLES");
  const int cycles = env != nullptr && std::atoi(env) > 0 ? std::atoi(env) : 1000;
  constexpr int kChannels[] = {1, 2, 6};
  chain::ReloadLibrary();
  HVSFX_Param own = HVSFX_Param_Default;
  for (int k = 0; k < cycles; ++k) {
    const int channels = kChannels[k % 3];
    const int frames = 64 << (k % 3);
    std::vector<short> block = chain::Signal(channels, 0, frames);
    if (k % 2 == 0) {  // the engine with a host record
      own.nSampleRate = k % 4 == 0 ? 48000 : 44100;
      own.nInChannels = own.nOutChannels = channels;
      own.nFrameSize = frames;
      ASSERT_EQ(HVSFX_Init(&own), 1);
      chain::Configure(&own, chain::kAllEffects);
      ASSERT_EQ(HVSFX_Process(&own, block.data(), frames), 1);
      HVSFX_Soundbar_SetDistance(&own, 30 + 10 * (k % 5));
      own.nFrameSize = frames * 2;  // re-initialisation over a live engine
      ASSERT_EQ(HVSFX_Init(&own), 1);
      ASSERT_EQ(HVSFX_Process(&own, block.data(), frames), 1);
      ASSERT_EQ(HVSFX_Release(&own), 1);
      ASSERT_EQ(own.pInBuf, nullptr);
    } else {  // the front
      ASSERT_EQ(HVTralo_Init(k % 4 == 1 ? 48000 : 44100, channels), 1);
      HVTralo_SetEnable(true);
      chain::Configure(&hvfx::api::GlobalFront().record, chain::kAllEffects);
      HVTralo_Process(block.data(), frames);
      ASSERT_EQ(HVTralo_Init(48000, channels), 1);
      HVTralo_Process(block.data(), frames);
      HVTralo_Release();
    }
    ASSERT_EQ(hvfx::api::Engine::Global().LiveChain(), nullptr);
  }
  chain::ReloadLibrary();
}
