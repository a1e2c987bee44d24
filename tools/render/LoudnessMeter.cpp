#include "LoudnessMeter.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <stdexcept>

namespace hvrender {

namespace {

double Db(double amplitude) {
  return amplitude > 0 ? 20.0 * std::log10(amplitude) : -std::numeric_limits<double>::infinity();
}

}  // namespace

Loudness MeasureLoudness(const Audio& audio) {
  const int mode = EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_S | EBUR128_MODE_SAMPLE_PEAK |
                   EBUR128_MODE_TRUE_PEAK;
  std::unique_ptr<ebur128_state, void (*)(ebur128_state*)> st(
      ebur128_init(static_cast<unsigned>(audio.channels), static_cast<unsigned long>(audio.sampleRate), mode),
      [](ebur128_state* s) { ebur128_destroy(&s); });
  if (!st) throw std::runtime_error("cannot set up the loudness meter");
  if (audio.channels == 6) {  // L R C LFE Ls Rs
    const int map[6] = {EBUR128_LEFT, EBUR128_RIGHT, EBUR128_CENTER, EBUR128_UNUSED, EBUR128_LEFT_SURROUND,
                        EBUR128_RIGHT_SURROUND};
    for (unsigned c = 0; c < 6; ++c) ebur128_set_channel(st.get(), c, map[c]);
  }

  Loudness out;
  const size_t step = static_cast<size_t>(std::lround(audio.sampleRate * kShortTermStepSeconds));
  const size_t frames = static_cast<size_t>(audio.Frames());
  const size_t ch = static_cast<size_t>(audio.channels);
  for (size_t pos = 0; pos < frames; pos += step) {
    const size_t n = std::min(step, frames - pos);
    ebur128_add_frames_short(st.get(), audio.samples.data() + pos * ch, n);
    if (n < step) break;  // a short last piece is measured but not charted
    double s = 0;
    ebur128_loudness_shortterm(st.get(), &s);
    out.shortTermLufs.push_back(s);
  }
  ebur128_loudness_global(st.get(), &out.integratedLufs);
  ebur128_loudness_range(st.get(), &out.rangeLu);
  double sp = 0, tp = 0;
  for (unsigned c = 0; c < ch; ++c) {
    double v = 0;
    ebur128_sample_peak(st.get(), c, &v);
    sp = std::max(sp, v);
    ebur128_true_peak(st.get(), c, &v);
    tp = std::max(tp, v);
  }
  out.samplePeakDbfs = Db(sp);
  out.truePeakDbtp = Db(tp);
  return out;
}

}  // namespace hvrender
