// Choice of the soundbar coefficient set from sample rate, distance and width.

#include "SoundbarCoefficientSet.h"

#include "SoundbarTables.h"

namespace hvfx::soundbar {

const SoundbarCoefficientSet* SelectSoundbarCoefficientSet(int sampleRate, int distance, int angle) {
  int rate = 0;
  if (sampleRate == 44100) {
    rate = 0;
  } else if (sampleRate == 48000) {
    rate = 1;
  } else {
    return nullptr;
  }
  // Only the four other stored distances select their own set; 50 cm, the
  // values between the steps and everything outside 30 ... 70 fall back to 50.
  int step = 2;
  switch (distance) {
    case 30: step = 0; break;
    case 40: step = 1; break;
    case 60: step = 3; break;
    case 70: step = 4; break;
    default: break;
  }
  const int width = (angle == 0 || angle == 2) ? angle : 1;
  return &SoundbarCoefficientSets[rate][step][width];
}

}  // namespace hvfx::soundbar
