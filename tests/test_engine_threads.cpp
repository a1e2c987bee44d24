// The engine under its threading model: one audio thread processing back to
// back while a control thread re-initialises, changes settings and releases.
// Nothing may crash or touch freed memory (the sanitizer build watches), every
// call returns a defined result, and the engine ends in a consistent state.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "api/EngineInternal.h"
#include "api/HVSFX_EQControl.h"
#include "api/HVSFX_Engine.h"
#include "api/HVSFX_Switches.h"
#include "support/EngineTestBase.h"

class EngineThreads : public EngineTestBase {};

TEST_F(EngineThreads, ControlThreadReconfiguresWhileAudioThreadProcesses) {
  param.nFrameSize = 128;
  param.bEQEnable = true;
  ASSERT_EQ(HVSFX_Init(&param), 1);

  std::atomic<bool> stop{false};
  std::atomic<long> processed{0}, skipped{0};
  std::thread audio([&] {
    std::vector<short> samples(2 * 300);
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<short>((i * 977) % 20000 - 10000);
    while (!stop.load()) {
      const int r = HVSFX_Process(&param, samples.data(), 300);
      ASSERT_TRUE(r == 0 || r == 1);
      (r == 1 ? processed : skipped)++;
    }
  });

  bool initialised = true;
  for (int round = 0; round < 200; ++round) {
    EXPECT_EQ(HVSFX_EQ_SetBandGain(&param, -1, round % 8, (round % 13) - 6, 500 + 10 * round, 1.5f),
              initialised ? 1 : -2);
    EXPECT_EQ(HVSFX_DRC_SetEnable(&param, round % 2 == 0), 1);
    if (round % 10 == 3) {
      EXPECT_EQ(HVSFX_Release(&param), 1);
      // Released now or at the end of the running block: until then a setter
      // still reaches the equalizers, afterwards it finds none.
      const int r = HVSFX_EQ_SetBandGain(&param, 0, 1, 3, 800, 2.0f);
      EXPECT_TRUE(r == 1 || r == -2) << r;
      while (s_initialized.load() != 0) std::this_thread::yield();
      initialised = false;
    }
    if (round % 10 == 7) {
      param.nFrameSize = round % 20 == 7 ? 64 : 256;
      EXPECT_EQ(HVSFX_Init(&param), 1);
      initialised = true;
    }
    std::this_thread::yield();
  }
  stop = true;
  audio.join();

  EXPECT_GT(processed.load(), 0);
  EXPECT_EQ(HVSFX_Release(&param), 1);
  EXPECT_EQ(s_initialized.load(), 0);
  EXPECT_EQ(s_doRelease.load(), 0);
  EXPECT_EQ(s_processRunning.load(), 0);
  EXPECT_EQ(ptr_EQ, nullptr);
  EXPECT_EQ(param.pInBuf, nullptr);
}
