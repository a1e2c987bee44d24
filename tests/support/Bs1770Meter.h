// A small BS.1770 loudness meter in double precision, for builds where
// libebur128 is not available (the cross build): K-weighting with the
// standard's 48 kHz coefficients, mean square per 100 ms block, and the
// momentary (400 ms) and short-term (3 s) loudness over the latest blocks,
// -0.691 + 10 log10(sum over channels of the mean square), in LUFS.
#pragma once

#include <cmath>
#include <deque>
#include <vector>

class Bs1770Meter {
 public:
  explicit Bs1770Meter(int channels) : state_(static_cast<size_t>(channels)) {}

  // Interleaved frames, full scale 1.0; 48 kHz only.
  void AddFrames(const double* x, size_t frames) {
    const size_t channels = state_.size();
    for (size_t f = 0; f < frames; ++f) {
      for (size_t c = 0; c < channels; ++c) {
        const double y = state_[c].Weigh(x[f * channels + c]);
        blockSum_ += y * y;
      }
      if (++blockFill_ == kBlock) {
        blocks_.push_back(blockSum_ / kBlock);
        if (blocks_.size() > 30) blocks_.pop_front();
        blockSum_ = 0.0, blockFill_ = 0;
      }
    }
  }
  double Momentary() const { return Loudness(4); }  // 400 ms
  double ShortTerm() const { return Loudness(30); }  // 3 s

 private:
  static constexpr int kBlock = 4800;  // 100 ms at 48 kHz
  struct KWeighting {
    // Direct form II transposed, two stages.
    double s1a = 0, s1b = 0, s2a = 0, s2b = 0;
    double Weigh(double x) {
      const double b0 = 1.53512485958697, b1 = -2.69169618940638, b2 = 1.19839281085285, a1 = -1.69065929318241,
                   a2 = 0.73248077421585, c1 = -1.99004745483398, c2 = 0.99007225036621;
      const double y1 = b0 * x + s1a;
      s1a = b1 * x - a1 * y1 + s1b;
      s1b = b2 * x - a2 * y1;
      const double y2 = y1 + s2a;
      s2a = -2.0 * y1 - c1 * y2 + s2b;
      s2b = y1 - c2 * y2;
      return y2;
    }
  };
  double Loudness(size_t blocks) const {
    if (blocks_.size() < blocks) return -HUGE_VAL;
    double sum = 0.0;
    for (size_t i = blocks_.size() - blocks; i < blocks_.size(); ++i) sum += blocks_[i];
    return -0.691 + 10.0 * std::log10(sum / static_cast<double>(blocks) + 1e-30);
  }
  std::vector<KWeighting> state_;
  std::deque<double> blocks_;
  double blockSum_ = 0.0;
  int blockFill_ = 0;
};
