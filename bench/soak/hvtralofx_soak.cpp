// Soak run of the whole 5.1 chain: hours of audio-equivalent through the
// engine interface (48 kHz, 512-frame calls, every effect on, the soundbar
// included) with a setting change every ten seconds of audio and a soundbar
// move every minute. It checks, call by call, that no output sample jumps from
// one rail to the other (+32767 to -32768 or back) from its predecessor, the
// mark of a wrapped sum flipping sign at full scale, that the leveller's gain and
// the limiter's gains stay in their ranges, and, every hour of audio, that
// the heap in use and the resident size have not grown since the first hour.
// The programme peaks 18 dB below full scale. The chain has no saturation
// before the equalizer: with the gain shift of 1 (the front interface's
// default) the soundbar's outputs are doubled on top of its side gains, and
// louder material, boosted further by the leveller, reaches the equalizer
// past the 24-bit working range, where its 32-bit section state wraps as
// defined (with peaks at -12 dBFS a rail-to-rail flip shows after about
// twenty minutes; without the equalizer, without the leveller or with gain
// shift 0 an hour at that level passes). At -18 dBFS, boosted by the equalizer's 12 dB at most, a
// clipped band cannot swing from rail to rail within one sample, so such a
// jump can only be a wrap.
//
//   build-native/bench/hvtralofx_soak [hours of audio, default 10]
//
// Prints one line per hour of audio; exits 1 at the first violation.
#include <malloc.h>

#include <chrono>
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

long ResidentKb() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  return 0;
}

bool GainsInRange(std::string& why) {
  if (ptr_AdaV != nullptr) {
    const hvfx::LevellerCore& av = hvfx::AdaptiveVolumeProbe::Core(*ptr_AdaV);
    const int g = av.gainDb_, out = av.outputGain_;
    if (g < CAdaptiveVolume_S24::kMinTargetDb || g > CAdaptiveVolume_S24::kMaxTargetDb || out <= 0)
      return why = "leveller gain " + std::to_string(g) + " / " + std::to_string(out), false;
  }
  for (int c = 0; ptr_DRC != nullptr && c < kChannels; ++c) {
    const int g = ptr_DRC->GetCurrentGain(c);
    if (g < 0 || g > CDynamicRangeControl::kUnityQ24)
      return why = "limiter gain " + std::to_string(g) + " on channel " + std::to_string(c), false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const double hours = argc > 1 ? std::atof(argv[1]) : 10.0;
  const long calls = static_cast<long>(hours * static_cast<double>(kCallsPerHour));
  chain::ReloadLibrary();
  HVSFX_Param p = HVSFX_Param_Default;
  p.nSampleRate = kRate;
  p.nInChannels = p.nOutChannels = kChannels;
  p.nGainShift = 1;
  if (HVSFX_Init(&p) != 1) return 1;
  chain::Configure(&p, chain::kAllEffects);

  // Printing allocates the output buffer once: do it before any measurement.
  std::printf("soak: %.2f h of 5.1 audio at %d Hz, %d-frame calls\n", hours, kRate, kCall);
  ResidentKb();
  std::vector<short> previous(kChannels, 0);
  long baselineHeap = -1, baselineRss = -1, position = 0;
  const auto start = std::chrono::steady_clock::now();
  for (long call = 1; call <= calls; ++call) {
    if (call % (10L * kRate / kCall) == 0) chain::ChangeSettings(&p, static_cast<int>(call / (10L * kRate / kCall)) % 7);
    if (call % (60L * kRate / kCall) == 0) HVSFX_Soundbar_SetDistance(&p, 30 + 10 * static_cast<int>(call % 5));
    std::vector<short> block = chain::Signal(kChannels, position, kCall);
    for (short& s : block) s = static_cast<short>(s / 8);
    position += kCall;
    if (HVSFX_Process(&p, block.data(), kCall) != 1) return std::puts("process refused a call"), 1;
    for (int f = 0; f < kCall; ++f)
      for (int c = 0; c < kChannels; ++c) {
        const short y = block[static_cast<size_t>(f) * kChannels + static_cast<size_t>(c)];
        const short x = previous[static_cast<size_t>(c)];
        if ((x == 32767 && y == -32768) || (x == -32768 && y == 32767)) {
          std::printf("sign flip at call %ld, frame %d, channel %d: %d -> %d\n", call, f, c,
                      previous[static_cast<size_t>(c)], y);
          return 1;
        }
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
  HVSFX_Release(&p);
  std::puts("soak passed: no sign flip, gains in range, heap flat");
  return 0;
}
