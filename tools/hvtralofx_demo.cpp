// Pushes a generated stereo signal through the engine interface and prints
// what comes out: the level per host call, a few samples, and the latency
// measured on the output (the engine's block plus the limiter's look-ahead
// block).
#include <hvtralofx/hvtralofx.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kRate = 48000;
constexpr int kBlock = 512;
constexpr int kCallFrames = 480;  // 10 ms host buffers, not a multiple of the block
constexpr int kCalls = 12;

double RmsDb(const short* s, size_t n) {
  double sum = 0;
  for (size_t i = 0; i < n; ++i) sum += static_cast<double>(s[i]) * s[i];
  const double rms = std::sqrt(sum / static_cast<double>(n)) / 32768.0;
  return rms > 0 ? 20.0 * std::log10(rms) : -200.0;
}

}  // namespace

int main() {
  HVSFX_Param param;
  HVSFX_GetDefaultParam(&param);
  param.nSampleRate = kRate;
  param.nFrameSize = kBlock;
  param.nInChannels = param.nOutChannels = 2;
  if (HVSFX_Init(&param) != 1) {
    std::fprintf(stderr, "HVSFX_Init failed\n");
    return EXIT_FAILURE;
  }
  HVSFX_EQ_SetEnable(&param, true);

  std::printf("hvtralofx demo: %d Hz stereo, block %d frames, host calls of %d frames\n", kRate, kBlock,
              kCallFrames);
  std::printf("input: 1 kHz sine left, 250 Hz cosine right, -12 dBFS\n\n");
  std::printf("%5s %9s %12s %12s %s\n", "call", "frame", "in dBFS", "out dBFS", "first output samples (L R)");

  std::vector<short> buffer(static_cast<size_t>(kCallFrames) * 2);
  long frame = 0;
  long firstSound = -1;
  for (int call = 0; call < kCalls; ++call) {
    for (int f = 0; f < kCallFrames; ++f) {
      const double t = static_cast<double>(frame + f) / kRate;
      buffer[2 * f] = static_cast<short>(std::lround(8192 * std::sin(2 * M_PI * 1000 * t)));
      buffer[2 * f + 1] = static_cast<short>(std::lround(8192 * std::cos(2 * M_PI * 250 * t)));
    }
    const double inDb = RmsDb(buffer.data(), buffer.size());
    if (HVSFX_Process(&param, buffer.data(), kCallFrames) != 1) {
      std::fprintf(stderr, "HVSFX_Process failed\n");
      return EXIT_FAILURE;
    }
    for (int f = 0; f < kCallFrames && firstSound < 0; ++f)
      if (buffer[2 * f] != 0 || buffer[2 * f + 1] != 0) firstSound = frame + f;
    std::printf("%5d %9ld %12.2f %12.2f %6d %6d %6d %6d\n", call, frame, inDb, RmsDb(buffer.data(), buffer.size()),
                buffer[0], buffer[1], buffer[2], buffer[3]);
    frame += kCallFrames;
  }
  HVSFX_Release(&param);
  std::printf("\nchain: equalizer (default shelves: -10 dB below 300 Hz, +6 dB above 10 kHz), limiter\n");
  std::printf("first non-silent output frame: %ld (one %d-frame engine block plus the limiter's look-ahead block)\n",
              firstSound, kBlock);
  return EXIT_SUCCESS;
}
