// The control model under two threads. An audio thread processes 512-frame
// calls with a 100 us pause between them while a control thread, pausing
// 50 ... 550 us between its calls, changes every kind of setting, switches stages, moves the
// soundbar and re-initialises (also between stereo and 5.1). The engine
// notes at which call each control call's changes were taken; a
// single-threaded replay that makes the same control calls before the same
// audio calls must give the same output, bit for bit, and no call may be
// skipped. Recording under ThreadSanitizer with no suppressions (scripts/test.sh)
// and AddressSanitizer: the audio buffer holds exactly 512 frames of six
// channels, so a call that read a layout it did not start with would be
// caught.
//
// Length: HVFX_CONCURRENCY_CALLS calls per case (default 1500).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "api/FrontInternal.h"
#include "hvtralofx/FixedFFT.h"
#include "hvtralofx/HVFX_Engine.h"
#include "support/ChainScenario.h"

namespace {

constexpr int kRate = 48000, kCall = 512, kMaxChannels = 6;

int Calls() {
  const char* s = std::getenv("HVFX_CONCURRENCY_CALLS");
  return s != nullptr && std::atoi(s) > 0 ? std::atoi(s) : 1500;
}

// Control call k of the script, on an instance.
void Control(HVFX_Engine* e, int k) {
  const int v = k % 13;
  switch (k % 12) {
    case 0: HVFX_EQ_SetBandGain(e, -1, v % 8, v - 6, 200 + 300 * v, 0.5f + 0.25f * static_cast<float>(v)); break;
    case 1: HVFX_EQ_SetLPFBandGain(e, v % 3 - 1, v - 6, 100 + 20 * v); break;
    case 2: HVFX_EQ_SetHPFBandGain(e, -1, 6 - v, 6000 + 500 * v); break;
    case 3: HVFX_AutoLevel_SetParam(e, v % 2, 8 * v, 5000 + 1000 * v, v % 2); break;
    case 4: HVFX_AutoLevel_SetVolUpDownRate(e, v, 15 - v); break;
    case 5: HVFX_DRC_SetEnable(e, v % 4 != 0); break;
    case 6: HVFX_Soundbar_SetLFEGain(e, v - 6); break;
    case 7: HVFX_Soundbar_SetDistance(e, 30 + 10 * (v % 5)); break;
    case 8: HVFX_Soundbar_SetAngle(e, v % 3); break;
    case 9: HVFX_EQ_SetEnable(e, v % 5 != 0); break;
    case 10: HVFX_Soundbar_SetLFESVParam(e, v % 2, 6 * v, 5000 + 500 * v, 1); break;
    default: HVFX_Init(e, kRate, k % 48 == 11 ? 2 : 6); break;  // now and then stereo
  }
}

void Start(HVFX_Engine* e) {
  ASSERT_EQ(HVFX_Init(e, kRate, 6), 1);
  HVFX_SetEnable(e, true);
  HVFX_EQ_SetEnable(e, true);
  HVFX_AutoLevel_SetEnable(e, true);
  HVFX_Soundbar_SetEnable(e, true);
}

std::vector<short> Input(int call) {
  std::vector<short> v = chain::Signal(kMaxChannels, static_cast<long>(call) * kCall, kCall);
  return v;
}

// Runs the audio and the control thread on the instance; returns every
// call's output and, per call, the control calls taken at its start.
struct Recording {
  std::vector<std::vector<short>> out;
  std::vector<std::vector<int>> controlsAt;
  int skipped = 0;
};

Recording RunTwoThreads(HVFX_Engine* e, int calls) {
  hvfx::api::Engine& engine = e->front.engine;
  std::vector<hvfx::api::Engine::TakenAt> taken(100000);
  engine.ObserveCommits(taken.data(), taken.size());
  Recording run;
  run.out.resize(static_cast<size_t>(calls));
  std::atomic<bool> done{false};
  std::thread audio([&] {
    for (int call = 0; call < calls; ++call) {
      std::vector<short> buffer = Input(call);  // exactly one call of six channels
      run.skipped += HVFX_Process(e, buffer.data(), kCall) != 1;
      run.out[static_cast<size_t>(call)] = std::move(buffer);
      std::this_thread::sleep_for(std::chrono::microseconds(100));  // a callback's pause
    }
    done.store(true);
  });
  std::vector<uint64_t> commitOf;  // control call k -> its commit
  for (int k = 0; !done.load(); ++k) {
    std::this_thread::sleep_for(std::chrono::microseconds(50 + 50 * (k % 11)));
    Control(e, k);
    commitOf.push_back(engine.LastCommit());
  }
  audio.join();
  run.controlsAt.resize(static_cast<size_t>(calls));
  const size_t seen = engine.ObservedCommits();
  size_t t = 0;
  for (size_t k = 0; k < commitOf.size(); ++k) {
    while (t < seen && taken[t].commit < commitOf[k]) ++t;
    if (t < seen && taken[t].commit == commitOf[k] && taken[t].call < static_cast<uint64_t>(calls))
      run.controlsAt[taken[t].call].push_back(static_cast<int>(k));
  }
  engine.ObserveCommits(nullptr, 0);
  return run;
}

// The same calls on one thread, the control calls made where they landed.
void ExpectReplayMatches(const Recording& run, const std::function<void(HVFX_Engine*)>& start, HVFX_Engine* e) {
  start(e);
  int landed = 0;
  for (size_t call = 0; call < run.out.size(); ++call) {
    for (int k : run.controlsAt[call]) Control(e, k);
    landed += static_cast<int>(run.controlsAt[call].size());
    std::vector<short> buffer = Input(static_cast<int>(call));
    ASSERT_EQ(HVFX_Process(e, buffer.data(), kCall), 1);
    ASSERT_EQ(buffer, run.out[call]) << "call " << call;
  }
  EXPECT_GT(landed, static_cast<int>(run.out.size()) / 10) << "too few control calls landed while audio ran";
  std::printf("%zu calls replayed bit for bit, %d control calls landed among them\n", run.out.size(), landed);
}

TEST(Concurrency, InstanceReplaysBitForBitWithNoCallSkipped) {
  HVFX_Engine* e = HVFX_Create();
  Start(e);
  const Recording run = RunTwoThreads(e, Calls());
  EXPECT_EQ(run.skipped, 0);
  HVFX_Destroy(e);
  HVFX_Engine* replay = HVFX_Create();
  ExpectReplayMatches(run, [](HVFX_Engine* r) { Start(r); }, replay);
  HVFX_Destroy(replay);
}

TEST(Concurrency, ProcessWideFrontReplaysBitForBit) {
  chain::ReloadLibrary();
  HVFX_Engine* front = hvfx::api::GlobalFrontHandleForTests();
  Start(front);
  const Recording run = RunTwoThreads(front, Calls() / 3);
  EXPECT_EQ(run.skipped, 0);
  chain::ReloadLibrary();
  HVFX_Engine* replay = HVFX_Create();
  HVFX_SetSmoothControl(replay, false);  // as the process-wide front
  ExpectReplayMatches(run, [](HVFX_Engine* r) { Start(r); }, replay);
  HVFX_Destroy(replay);
}

// Two instances with different settings on two threads at once, each equal
// to the same instance run alone.
TEST(Concurrency, InstancesSideBySideEqualTheirSingleRuns) {
  auto play = [](int layout, std::vector<short>& out) {
    HVFX_Engine* e = HVFX_Create();
    HVFX_Init(e, kRate, layout);
    HVFX_SetEnable(e, true);
    HVFX_EQ_SetEnable(e, true);
    HVFX_EQ_SetBandGain(e, -1, 2, layout == 2 ? 9 : -9, 0, 1.0f);
    HVFX_AutoLevel_SetEnable(e, layout == 6);
    HVFX_Soundbar_SetEnable(e, true);
    for (int call = 0; call < 300; ++call) {
      std::vector<short> buffer = chain::Signal(layout, static_cast<long>(call) * kCall, kCall);
      HVFX_Process(e, buffer.data(), kCall);
      out.insert(out.end(), buffer.begin(), buffer.end());
    }
    HVFX_Destroy(e);
  };
  std::vector<short> alone[2], together[2];
  play(2, alone[0]);
  play(6, alone[1]);
  std::thread a([&] { play(2, together[0]); });
  std::thread b([&] { play(6, together[1]); });
  a.join();
  b.join();
  EXPECT_EQ(together[0], alone[0]);
  EXPECT_EQ(together[1], alone[1]);
}

// Two control threads on the front at once, setters against getters and the
// latency query, beside the audio thread: ThreadSanitizer must see no race.
TEST(Concurrency, ControlThreadsSerialiseOnTheFront) {
  chain::ReloadLibrary();
  ASSERT_EQ(HVTralo_Init(kRate, 2), 1);
  HVTralo_SetEnable(true);
  std::atomic<bool> done{false};
  std::thread audio([&] {
    std::vector<short> buffer = chain::Signal(2, 0, kCall);
    while (!done.load()) HVTralo_Process(buffer.data(), kCall);
  });
  std::thread setter([] {
    for (int k = 0; k < 2000; ++k) {
      HVTralo_AutoLevel_SetParam(k % 2, k % 100, 5000 + k, k % 2);
      HVTralo_EQ_SetEnable(k % 3 != 0);
    }
  });
  int mode = 0, volume = 0, station = 0, base = 0, latency = 0;
  bool on = false;
  for (int k = 0; k < 2000; ++k) {
    HVTralo_AutoLevel_GetParam(&mode, &volume, &station, &base);
    HVTralo_EQ_GetEnable(&on);
    HVTralo_GetLatency(&latency);
  }
  setter.join();
  done.store(true);
  audio.join();
  chain::ReloadLibrary();
}

// HVSFX_Release while HVSFX_Process runs defers the release to the end of
// the call; the host may free its record as soon as HVSFX_Release returns,
// and the deferred release must not touch it.
TEST(Concurrency, DeferredReleaseNeverTouchesTheHostsRecord) {
  chain::ReloadLibrary();
  auto* record = new HVSFX_Param(HVSFX_Param_Default);
  record->nInChannels = record->nOutChannels = 6;
  ASSERT_EQ(HVSFX_Init(record), 1);
  chain::Configure(record, chain::kAllEffects);
  std::vector<short> samples = chain::Signal(6, 0, 96000);
  std::atomic<bool> started{false};
  int result = -1;
  std::thread audio([&] {
    started.store(true);
    result = HVSFX_Process(record, samples.data(), 96000);
  });
  while (!started.load()) std::this_thread::yield();
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_EQ(HVSFX_Release(record), 1);
  EXPECT_EQ(record->pInBuf, nullptr);
  delete record;
  audio.join();
  EXPECT_EQ(result, 1);
  EXPECT_EQ(hvfx::api::Engine::Global().LiveChain(), nullptr);
  chain::ReloadLibrary();
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
