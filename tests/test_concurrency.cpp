// The threading model under load: an audio thread processes 48 kHz stereo
// (front interface) and 5.1 (engine interface, host record, soundbar on) in
// 512-frame calls at a callback cadence about a hundred times faster than
// real time (a 100 us pause between calls), while a control thread changes a
// setting every millisecond and releases and re-initialises every 100 ms, in
// wall time (real time for the control side, as a host's would be). Run under
// ThreadSanitizer (scripts/test.sh) it must report nothing outside the
// accepted races listed in tsan.supp; in every build, nothing may crash,
// every call returns a defined result, blocks arriving during a
// re-initialisation are skipped, and the engine ends released.
//
// Length: HVFX_CONCURRENCY_SECONDS seconds of audio per layout (default 60).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "hvtralofx/FixedFFT.h"
#include "support/ChainScenario.h"

namespace {

constexpr int kRate = 48000, kCall = 512;
constexpr auto kSettingPeriod = std::chrono::milliseconds(1);
constexpr auto kCyclePeriod = std::chrono::milliseconds(100);  // release and re-init
constexpr auto kCallGap = std::chrono::microseconds(100);      // audio callbacks, ~100 x real time

long AudioSeconds() {
  const char* s = std::getenv("HVFX_CONCURRENCY_SECONDS");
  return s != nullptr && std::atol(s) > 0 ? std::atol(s) : 60;
}

// Setting k of the control thread's cycle, on whichever interface is in use.
void ChangeSetting(HVSFX_Param* p, long k) {
  const int v = static_cast<int>(k % 13);
  switch (k % 10) {
    case 0: HVSFX_EQ_SetBandGain(p, -1, v % 8, v - 6, 200 + 300 * v, 0.5f + 0.25f * v); break;
    case 1: HVSFX_EQ_SetLPFBandGain(p, v % 3 - 1, v - 6, 100 + 20 * v); break;
    case 2: HVSFX_EQ_SetHPFBandGain(p, -1, 6 - v, 6000 + 500 * v); break;
    case 3: HVSFX_AdaV_SetParam(p, v % 2, 8 * v, 5000 + 1000 * v, v % 2); break;
    case 4: HVSFX_AdaV_SetVolUpDownRate(p, v, 15 - v); break;
    case 5: HVSFX_DRC_SetEnable(p, v % 4 != 0); break;
    case 6: HVSFX_Soundbar_SetLFEGain(p, v - 6); break;
    case 7: HVSFX_Soundbar_SetDistance(p, 30 + 10 * (v % 5)); break;
    case 8: HVSFX_Soundbar_SetAngle(p, v % 3); break;
    default: HVSFX_EQ_SetEnable(p, v % 5 != 0); break;
  }
}

struct Tally {
  long processed = 0, skipped = 0, cycles = 0, settings = 0;
};

// Runs the two threads over `seconds` of audio of one layout.
Tally RunLayout(bool front, int channels, long seconds) {
  chain::ReloadLibrary();
  HVSFX_Param own = HVSFX_Param_Default;
  HVSFX_Param* p = front ? &s_HVSFX_Param : &own;
  auto init = [&] {
    if (front) return HVTralo_Init(kRate, channels);
    own.nSampleRate = kRate;
    own.nInChannels = own.nOutChannels = channels;
    return HVSFX_Init(&own);
  };
  EXPECT_EQ(init(), 1);
  if (front) HVTralo_SetEnable(true);
  chain::Configure(p, chain::kAllEffects);

  const long total = seconds * kRate;
  std::atomic<bool> done{false};
  Tally tally;
  std::thread audio([&] {
    std::vector<short> block = chain::Signal(channels, 0, kCall);
    for (long frames = 0; frames < total; frames += kCall) {
      const int r = front ? HVTralo_Process(block.data(), kCall) : HVSFX_Process(&own, block.data(), kCall);
      EXPECT_TRUE(r == 0 || r == 1) << r;
      ++(r == 1 ? tally.processed : tally.skipped);
      std::this_thread::sleep_for(kCallGap);
    }
    done.store(true);
  });
  long settingsDone = 0, cyclesDone = 0;
  auto nextCycle = std::chrono::steady_clock::now() + kCyclePeriod;
  while (!done.load()) {
    std::this_thread::sleep_for(kSettingPeriod);
    ChangeSetting(p, settingsDone++);
    if (std::chrono::steady_clock::now() < nextCycle) continue;
    nextCycle += kCyclePeriod;
    EXPECT_EQ(front ? HVTralo_Release() : HVSFX_Release(&own), 1);
    EXPECT_EQ(init(), 1);
    ++cyclesDone;
  }
  audio.join();
  tally.cycles = cyclesDone;
  tally.settings = settingsDone;
  EXPECT_EQ(front ? HVTralo_Release() : HVSFX_Release(&own), 1);
  EXPECT_EQ(s_initialized.load(), 0);
  EXPECT_EQ(s_doRelease.load(), 0);
  EXPECT_EQ(s_processRunning.load(), 0);
  EXPECT_EQ(ptr_EQ, nullptr);
  EXPECT_EQ(ptr_Soundbar, nullptr);
  chain::ReloadLibrary();
  return tally;
}

TEST(Concurrency, StereoThroughTheFrontWithSettingsAndReinitialisation) {
  const Tally t = RunLayout(true, 2, AudioSeconds());
  // Blocks that start while a setter runs are skipped; most still run.
  EXPECT_GT(t.processed, (t.processed + t.skipped) / 10);
  std::printf("stereo: %ld calls processed, %ld skipped, %ld settings, %ld release/re-init cycles\n", t.processed,
              t.skipped, t.settings, t.cycles);
}

TEST(Concurrency, SurroundThroughTheEngineWithSoundbarMoves) {
  const Tally t = RunLayout(false, 6, AudioSeconds());
  EXPECT_GT(t.processed, (t.processed + t.skipped) / 10);
  std::printf("5.1: %ld calls processed, %ld skipped, %ld settings, %ld release/re-init cycles\n", t.processed,
              t.skipped, t.settings, t.cycles);
}

TEST(Concurrency, FftKitInTwoThreadsAtOnce) {
  // Each thread transforms its own signals, forward and back, one and two
  // channels, and must get what the transforms give on one thread alone.
  constexpr short kN = 1024;
  const auto run = [](int seed, std::vector<int>& out) {
    std::vector<int> a(kN), b(kN);
    for (int i = 0; i < kN; ++i) a[i] = (i * 7919 + seed * 104729) % 16777216 - 8388608, b[i] = (a[i] >> 3) ^ seed;
    short e1 = 0, e2 = 0;
    RealFFT_Fix(a.data(), kN, e1);
    RealFFT_2ch_Fix(b.data(), a.data(), kN, e2);
    RealInvFFT_2ch_Fix(b.data(), a.data(), kN, e2);
    RealInvFFT_Fix(a.data(), kN, e1);
    out.insert(out.end(), a.begin(), a.end());
    out.insert(out.end(), b.begin(), b.end());
  };
  std::vector<int> expected[2];
  for (int t = 0; t < 2; ++t)
    for (int rep = 0; rep < 200; ++rep) run(t * 1000 + rep, expected[t]);
  std::vector<int> got[2];
  std::atomic<int> ready{0};
  const auto start = [&ready] {  // both threads begin together
    ready.fetch_add(1);
    while (ready.load() < 2) std::this_thread::yield();
  };
  std::thread other([&] {
    start();
    for (int rep = 0; rep < 200; ++rep) run(1000 + rep, got[1]);
  });
  start();
  for (int rep = 0; rep < 200; ++rep) run(rep, got[0]);
  other.join();
  EXPECT_EQ(got[0], expected[0]);
  EXPECT_EQ(got[1], expected[1]);
}

}  // namespace
