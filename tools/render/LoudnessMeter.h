// EBU R128 measurement through libebur128, fed block by block: integrated
// loudness, loudness range, sample and true peak, and the short-term loudness
// (3 s window) every 100 ms. Channel 3 of a 5.1 programme is the LFE and is
// not counted, as the recommendation says. The gating works on libebur128's
// histogram, so the meter's memory does not grow with the programme; only the
// short-term series does (10 values a second).
#pragma once

#include <ebur128.h>

#include <memory>
#include <vector>

namespace hvrender {

struct Loudness {
  double integratedLufs = 0;  // -inf for silence
  double rangeLu = 0;
  double samplePeakDbfs = 0;
  double truePeakDbtp = 0;
  std::vector<double> shortTermLufs;  // one value per 100 ms, from the first 100 ms on
};

constexpr double kShortTermStepSeconds = 0.1;

class LoudnessMeter {
 public:
  // Throws std::runtime_error if the meter cannot be set up.
  LoudnessMeter(int channels, int sampleRate);
  void Add(const short* interleaved, size_t frames);
  Loudness Result() const;  // of everything added so far
 private:
  std::unique_ptr<ebur128_state, void (*)(ebur128_state*)> st_;
  size_t channels_, step_, filled_ = 0;
  std::vector<double> series_;
};

// Seconds of `b`'s short-term series above the loudness range's gates (-70
// LUFS, and 20 LU under the series' mean power) minus those of `a`'s: how much
// more of `b` the range counts.
double SecondsGainedAboveRangeGate(const Loudness& a, const Loudness& b);

}  // namespace hvrender
