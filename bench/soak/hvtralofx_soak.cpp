// Soak run of the whole 5.1 chain through the front interface with its
// defaults (gain shift 1, LFE copy and leveller on): hours of
// audio-equivalent at 48 kHz in 512-frame calls with every effect on, the
// leveller set to boost (relative volume 100, the steeper curve), all eight
// bands at +20 dB and both shelves at +20 dB, and a programme whose peaks sit
// at a chosen level (0, -6, -12 dBFS ...). A setting changes every ten
// seconds of audio and the soundbar moves every minute.
//
// Checked call by call: no output sample makes a one-sample excursion from
// near one rail to near the other and back, the mark of a sum wrapping at
// full scale (with the soundbar's gain shift, the leveller's boost and the
// equalizer's +20 dB on loud input every stage is driven far past the
// working range, and the output is clipped hard: it crosses between the
// rails, but not and back within a sample). Also checked: the leveller's and the limiter's
// gains stay in their ranges, and, every hour of audio, the heap in use and
// the resident size have not grown since the first hour.
//
//   build-native/bench/hvtralofx_soak [hours of audio, default 10] [peak dBFS, default -12]
//
// Prints one line per hour of audio (and at the end); exits 1 at the first
// violation.
#include <malloc.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "hvtralofx/CDynamicRangeControl.h"
#include "loudness/LevellerCore.h"
#include "tests/support/ChainScenario.h"

namespace {

constexpr int kRate = 48000, kCall = 512, kChannels = 6;
constexpr long kCallsPerHour = 3600L * kRate / kCall;
constexpr long kSettleCalls = 2L * kRate / kCall;  // the limiter and leveller settle
constexpr int kExcursion = 60000;                   // from near one rail to near the other

long ResidentKb() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  return 0;
}

bool GainsInRange(std::string& why) {
  const Chain* c = Engine::Global().LiveChain();
  if (c == nullptr) return why = "no chain", false;
  const hvfx::LevellerCore& av = hvfx::AdaptiveVolumeProbe::Core(*c->adav);
  const int g = av.gainDb_, out = av.outputGain_;
  if (g < CAdaptiveVolume_S24::kMinTargetDb || g > CAdaptiveVolume_S24::kMaxTargetDb || out <= 0)
    return why = "leveller gain " + std::to_string(g) + " / " + std::to_string(out), false;
  for (int ch = 0; ch < kChannels; ++ch) {
    const int limiter = c->drc->GetCurrentGain(ch);
    if (limiter < 0 || limiter > CDynamicRangeControl::kUnityQ24)
      return why = "limiter gain " + std::to_string(limiter) + " on channel " + std::to_string(ch), false;
  }
  return true;
}

// Every effect on, pushed as far as the settings go.
void ConfigureLoudest() {
  HVTralo_SetEnable(true);
  HVTralo_EQ_SetEnable(true);
  HVTralo_AutoLevel_SetEnable(true);
  HVTralo_DRC_SetEnable(true);
  HVTralo_Soundbar_SetEnable(true);
  HVTralo_AutoLevel_SetParam(1, 100, 5000, 1);
  HVTralo_AutoLevel_SetVolUpDownRate(15, 3);
  static constexpr int kBandHz[8] = {60, 100, 160, 250, 400, 630, 1000, 1600};
  for (int band = 0; band < 8; ++band) HVTralo_EQ_SetBandGain(-1, band, 20, kBandHz[band], 1.0f);
  HVTralo_EQ_SetLPFBandGain(-1, 20, 200);
}

// Setting k of the ten-second cycle: bands, shelves and the leveller moved
// within their loudest settings.
void ChangeSetting(int k) {
  HVTralo_EQ_SetBandGain(-1, k % 8, 20 - 4 * (k % 3), 100 + 200 * (k % 7), 0.5f + 0.5f * static_cast<float>(k % 4));
  HVTralo_EQ_SetLPFBandGain(-1, 20 - 5 * (k % 2), 150 + 50 * (k % 5));
  HVTralo_AutoLevel_SetParam(k % 2, 100 - 10 * (k % 3), 5000 + 1000 * (k % 4), 1);
}

}  // namespace

int main(int argc, char** argv) {
  const double hours = argc > 1 ? std::atof(argv[1]) : 10.0;
  const double peakDb = argc > 2 ? std::atof(argv[2]) : -12.0;
  const long calls = static_cast<long>(hours * static_cast<double>(kCallsPerHour));
  // The programme's peaks reach 32767 * 10^(peakDb / 20); ChainScenario's
  // signal peaks near full scale.
  const int scaleQ10 = static_cast<int>(std::lrint(1024.0 * std::pow(10.0, peakDb / 20.0)));
  chain::ReloadLibrary();
  if (HVTralo_Init(kRate, kChannels) != 1) return 1;
  ConfigureLoudest();

  // Printing allocates the output buffer once: do it before any measurement.
  std::printf("soak: %.2f h of 5.1 audio at %d Hz, %d-frame calls, peaks at %.0f dBFS\n", hours, kRate, kCall,
              peakDb);
  ResidentKb();
  std::vector<int> previous(kChannels, 0), previous2(kChannels, 0);
  long baselineHeap = -1, baselineRss = -1, position = 0;
  const auto start = std::chrono::steady_clock::now();
  for (long call = 1; call <= calls; ++call) {
    if (call % (10L * kRate / kCall) == 0) ChangeSetting(static_cast<int>(call / (10L * kRate / kCall)));
    if (call % (60L * kRate / kCall) == 0) HVTralo_Soundbar_SetDistance(30 + 10 * static_cast<int>(call / (60L * kRate / kCall) % 5));
    std::vector<short> block = chain::Signal(kChannels, position, kCall);
    for (short& s : block) s = static_cast<short>(s * scaleQ10 / 1024);
    position += kCall;
    if (HVTralo_Process(block.data(), kCall) != 1) return std::puts("process refused a call"), 1;
    // A sample near one rail between two near the other: a one-sample
    // excursion through almost the whole range and back, which a clipped
    // waveform (flat at the rails, crossing between them at its own pace)
    // does not make and a sum wrapping at full scale does.
    for (int f = 0; f < kCall; ++f)
      for (int c = 0; c < kChannels; ++c) {
        const int y = block[static_cast<size_t>(f) * kChannels + static_cast<size_t>(c)];
        const int x1 = previous[static_cast<size_t>(c)], x2 = previous2[static_cast<size_t>(c)];
        if (call > kSettleCalls && std::abs(x1 - x2) > kExcursion && std::abs(x1 - y) > kExcursion &&
            (x1 - x2 > 0) == (x1 - y > 0)) {
          std::printf("excursion at call %ld, frame %d, channel %d: %d, %d, %d\n", call, f, c, x2, x1, y);
          return 1;
        }
        previous2[static_cast<size_t>(c)] = x1;
        previous[static_cast<size_t>(c)] = y;
      }
    std::string why;
    if (!GainsInRange(why)) return std::printf("call %ld: %s\n", call, why.c_str()), 1;
    if (call % kCallsPerHour == 0 || call == calls) {
      const long heap = static_cast<long>(mallinfo2().uordblks), rss = ResidentKb();
      if (baselineHeap < 0) baselineHeap = heap, baselineRss = rss;
      const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      std::printf("%.2f h of audio in %.0f s: heap in use %ld bytes (%+ld), resident %ld kB (%+ld)\n",
                  static_cast<double>(call) / kCallsPerHour, wall, heap, heap - baselineHeap, rss, rss - baselineRss);
      std::fflush(stdout);
      if (heap != baselineHeap) return std::puts("heap in use grew"), 1;
    }
  }
  HVTralo_Release();
  std::puts("soak passed: no excursion, gains in range, heap flat");
  return 0;
}
