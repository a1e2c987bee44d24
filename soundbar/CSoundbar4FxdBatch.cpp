// The soundbar's offline driver: a whole in-memory recording through Process
// (or Bypass) block by block, with progress and timing on standard output.
// The 32-bit form also exercises distance switching: every five seconds of
// audio it picks a random distance, which fades in through the following
// blocks like a host's change would.
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "hvtralofx/CSoundbar4Fxd.h"

namespace {

constexpr int kRandomDistances[5] = {30, 40, 50, 60, 70};

// Index 0 ... 4 with the two end values half as likely as the three middle
// ones: floor(r * 4 / 2147483647 + 0.5).
int RandomDistance() {
  int index = static_cast<int>(static_cast<double>(std::rand()) * 4.0 / 2147483647.0 + 0.5);
  if (index < 0) index = 0;
  if (index > 4) index = 4;
  return kRandomDistances[index];
}

}  // namespace

template <class Sample>
int CSoundbar4Fxd::RunBatch(Sample* in, int totalFrames, int inChannels, Sample* out, int outFrameStride,
                            int interleaved, int bypass, bool changeDistance) {
  Reset();
  const std::clock_t start = std::clock();
  const int64_t block = blockLength;
  if (totalFrames >= 1 && block >= 1 && block <= totalFrames && in != nullptr && out != nullptr) {
    const int64_t fiveSeconds = 5LL * sampleRate;
    int last = 0;
    for (int64_t end = block;; end += block) {
      if (bypass)
        Bypass(in, blockLength, inChannels, out, blockLength, outFrameStride, interleaved);
      else
        Process(in, blockLength, inChannels, out, blockLength, outFrameStride, interleaved);
      // Percentage in 32-bit arithmetic, as the progress line has always shown it.
      const int percent = static_cast<int>(static_cast<int32_t>(static_cast<uint32_t>(end) * 100u) / totalFrames);
      if (percent > last) {
        last = percent;
        std::printf("  %3d%%\r", percent);
      }
      in += block * inChannels;
      out += block * outFrameStride;
      if (changeDistance && end > block && fiveSeconds > 0 && end % fiveSeconds <= block)
        SetDistance(RandomDistance());
      if (!(totalFrames > end && totalFrames >= end + block)) break;
    }
  }
  const float seconds = static_cast<float>(std::clock() - start) / 1000000.0f;
  std::printf("  %.3f sec.\n", static_cast<double>(seconds));
  return 0;
}

int CSoundbar4Fxd::BatchProcess(int* in, int totalFrames, int inChannels, int* out, int /*outChannelStride*/,
                                int outFrameStride, int interleaved, int bypass) {
  return RunBatch(in, totalFrames, inChannels, out, outFrameStride, interleaved, bypass, true);
}

int CSoundbar4Fxd::BatchProcess(short* in, int totalFrames, int inChannels, short* out,
                                int /*outChannelStride*/, int outFrameStride, int interleaved, int bypass) {
  return RunBatch(in, totalFrames, inChannels, out, outFrameStride, interleaved, bypass, false);
}
