#include "LoudnessMeter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace hvrender {

namespace {

double Db(double amplitude) {
  return amplitude > 0 ? 20.0 * std::log10(amplitude) : -std::numeric_limits<double>::infinity();
}

// Values of the series at or above the range's gates: -70 LUFS absolute and
// 20 LU under the power mean of the values above -70.
size_t AboveRangeGate(const std::vector<double>& series) {
  double power = 0;
  size_t n = 0;
  for (double v : series)
    if (v > -70) power += std::pow(10.0, v / 10), ++n;
  if (n == 0) return 0;
  const double gate = 10 * std::log10(power / static_cast<double>(n)) - 20;
  return static_cast<size_t>(
      std::count_if(series.begin(), series.end(), [&](double v) { return v > -70 && v >= gate; }));
}

}  // namespace

LoudnessMeter::LoudnessMeter(int channels, int sampleRate)
    : st_(ebur128_init(static_cast<unsigned>(channels), static_cast<unsigned long>(sampleRate),
                       EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_S | EBUR128_MODE_SAMPLE_PEAK |
                           EBUR128_MODE_TRUE_PEAK | EBUR128_MODE_HISTOGRAM),
          [](ebur128_state* s) { ebur128_destroy(&s); }),
      channels_(static_cast<size_t>(channels)),
      step_(static_cast<size_t>(std::lround(sampleRate * kShortTermStepSeconds))) {
  if (!st_) throw std::runtime_error("cannot set up the loudness meter");
  if (channels == 6) {  // L R C LFE Ls Rs
    const int map[6] = {EBUR128_LEFT, EBUR128_RIGHT, EBUR128_CENTER, EBUR128_UNUSED, EBUR128_LEFT_SURROUND,
                        EBUR128_RIGHT_SURROUND};
    for (unsigned c = 0; c < 6; ++c) ebur128_set_channel(st_.get(), c, map[c]);
  }
}

void LoudnessMeter::Add(const short* x, size_t frames) {
  while (frames > 0) {
    const size_t n = std::min(frames, step_ - filled_);
    ebur128_add_frames_short(st_.get(), x, n);
    x += n * channels_;
    frames -= n;
    filled_ += n;
    if (filled_ == step_) {  // a short last piece is measured but not charted
      double s = 0;
      ebur128_loudness_shortterm(st_.get(), &s);
      series_.push_back(s);
      filled_ = 0;
    }
  }
}

Loudness LoudnessMeter::Result() const {
  Loudness out;
  out.shortTermLufs = series_;
  ebur128_loudness_global(st_.get(), &out.integratedLufs);
  ebur128_loudness_range(st_.get(), &out.rangeLu);
  double sp = 0, tp = 0;
  for (unsigned c = 0; c < channels_; ++c) {
    double v = 0;
    ebur128_sample_peak(st_.get(), c, &v);
    sp = std::max(sp, v);
    ebur128_true_peak(st_.get(), c, &v);
    tp = std::max(tp, v);
  }
  out.samplePeakDbfs = Db(sp);
  out.truePeakDbtp = Db(tp);
  return out;
}

double SecondsGainedAboveRangeGate(const Loudness& a, const Loudness& b) {
  const auto above = [](const Loudness& l) { return static_cast<double>(AboveRangeGate(l.shortTermLufs)); };
  return (above(b) - above(a)) * kShortTermStepSeconds;
}

}  // namespace hvrender
