// EBU R128 measurement of a whole programme through libebur128: integrated
// loudness, loudness range, sample and true peak, and the short-term loudness
// (3 s window) every 100 ms. Channel 3 of a 5.1 programme is the LFE and is
// not counted, as the recommendation says.
#pragma once

#include <vector>

#include "AudioFile.h"

namespace hvrender {

struct Loudness {
  double integratedLufs = 0;  // -inf for silence
  double rangeLu = 0;
  double samplePeakDbfs = 0;
  double truePeakDbtp = 0;
  std::vector<double> shortTermLufs;  // one value per 100 ms, from the first 100 ms on
};

constexpr double kShortTermStepSeconds = 0.1;

// Throws std::runtime_error if the meter cannot be set up.
Loudness MeasureLoudness(const Audio& audio);

}  // namespace hvrender
