// The worst case, not only the average: the time of every HVTralo_Process
// call of the 5.1 chain (48 kHz, 512-frame calls, every stage on, as in
// bench_chain), reported as median, 99th percentile and maximum in
// microseconds, with the share of calls the engine skipped (returned 0
// without processing):
//   steady          nothing else happens;
//   setter_1ms      another thread moves an equalizer band every millisecond
//                   (a UI slider dragged during playback);
//   distance_100ms  the soundbar's listening distance changes every 100 ms of
//                   audio (each change fades out, rebuilds the virtualizer's
//                   filters at the silent point and fades back in).
// A fixed number of calls per run; the maximum is the figure a device's
// audio deadline (10.7 ms per call here) has to absorb.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "ChainSetup.h"

namespace {

constexpr int kCalls = 4000;  // 42.7 s of audio per run
constexpr int kMaterialBlocks = 16;
constexpr int kChannels = 6;

enum class Load { kSteady, kSetterEveryMs, kDistanceEvery100ms };

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0.0 : v[v.size() / 2];
}

void ReportQuantiles(benchmark::State& state, std::vector<double>& us, int skipped) {
  std::sort(us.begin(), us.end());
  const auto at = [&](double q) { return us[static_cast<size_t>(q * static_cast<double>(us.size() - 1))]; };
  state.counters["p50_us"] = at(0.5);
  state.counters["p99_us"] = at(0.99);
  state.counters["max_us"] = us.back();
  state.counters["skipped_pct"] = 100.0 * skipped / static_cast<double>(us.size());
}

void BM_CallTime(benchmark::State& state) {
  const auto load = static_cast<Load>(state.range(0));
  chain::Configure(kChannels);
  const auto material = chain::Material(kChannels, kMaterialBlocks);
  std::vector<short> io(static_cast<size_t>(kChannels) * chain::kBlock);
  std::vector<double> us;
  us.reserve(kCalls);
  int skipped = 0;

  std::atomic<bool> stop{false};
  std::thread control;
  if (load == Load::kSetterEveryMs)
    control = std::thread([&stop] {
      for (int k = 0; !stop.load(); ++k) {
        HVTralo_EQ_SetBandGain(-1, 5, k % 2 ? 4 : -4, 0, 0.0f);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });

  // With distance changes every ten calls: each call's time by its place
  // after the change, so that the call whose block rebuilds the filters
  // (the fade reaches its silent point in the fourth block) shows apart
  // from preemption noise.
  std::vector<std::vector<double>> byOffset(10);
  int block = 0;
  for (auto _ : state) {
    for (int call = 0; call < kCalls; ++call) {
      if (load == Load::kDistanceEvery100ms && call % 10 == 0) HVTralo_Soundbar_SetDistance(call % 20 ? 40 : 60);
      std::memcpy(io.data(), material.data() + static_cast<size_t>(block) * io.size(), sizeof(short) * io.size());
      block = (block + 1) % kMaterialBlocks;
      const auto t0 = std::chrono::steady_clock::now();
      const int done = HVTralo_Process(io.data(), chain::kBlock);
      const auto t1 = std::chrono::steady_clock::now();
      benchmark::DoNotOptimize(io.data());
      skipped += done == 0;
      us.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
      byOffset[static_cast<size_t>(call % 10)].push_back(us.back());
    }
  }
  stop.store(true);
  if (control.joinable()) control.join();
  if (load == Load::kDistanceEvery100ms) {
    double slowest = 0;
    for (const auto& v : byOffset) slowest = std::max(slowest, Median(v));
    state.counters["slowest_place_p50_us"] = slowest;
  }
  ReportQuantiles(state, us, skipped);
}

}  // namespace

BENCHMARK(BM_CallTime)
    ->Arg(static_cast<int>(Load::kSteady))
    ->Arg(static_cast<int>(Load::kSetterEveryMs))
    ->Arg(static_cast<int>(Load::kDistanceEvery100ms))
    ->ArgName("load")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
