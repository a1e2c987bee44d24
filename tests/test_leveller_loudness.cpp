// The leveller on real material, measured with an independent BS.1770 meter
// (libebur128 where installed; otherwise the double-precision meter of
// support/Bs1770Meter.h, checked against libebur128 in native builds).
//
// A 30-second stereo programme alternates speech-like noise bursts and
// music-like chords between -40 and -10 dBFS every five seconds. The
// short-term loudness (3 s) at the end of each passage gives the spread
// between loud and quiet passages, before and after the leveller. Material
// at a steady level must come out without pumping.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

#include "loudness/CAdaptiveVolume_S24.h"
#include "support/Bs1770Meter.h"
#include "support/LevellerSignals.h"

#ifdef HVFX_HAVE_EBUR128
#include <ebur128.h>
#endif

namespace {

using namespace leveller_test;

constexpr int kFs = 48000;
constexpr int kFrame = 256;
constexpr size_t kPassage = 5 * kFs;

// Short-term and momentary loudness of an interleaved stream, measured every
// `step` frames from the start; index k is the loudness after (k + 1) * step
// frames.
struct Loudness {
  std::vector<double> shortTerm, momentary;
};

#ifdef HVFX_HAVE_EBUR128
Loudness MeasureEbur128(const std::vector<double>& x, int channels, size_t step) {
  Loudness l;
  ebur128_state* st = ebur128_init(static_cast<unsigned>(channels), kFs, EBUR128_MODE_S);
  for (size_t pos = 0; pos + step <= x.size() / channels; pos += step) {
    ebur128_add_frames_double(st, x.data() + pos * channels, step);
    double s = 0, m = 0;
    ebur128_loudness_shortterm(st, &s);
    ebur128_loudness_momentary(st, &m);
    l.shortTerm.push_back(s);
    l.momentary.push_back(m);
  }
  ebur128_destroy(&st);
  return l;
}
#endif

Loudness MeasureDouble(const std::vector<double>& x, int channels, size_t step) {
  Loudness l;
  Bs1770Meter meter(channels);
  for (size_t pos = 0; pos + step <= x.size() / channels; pos += step) {
    meter.AddFrames(x.data() + pos * channels, step);
    l.shortTerm.push_back(meter.ShortTerm());
    l.momentary.push_back(meter.Momentary());
  }
  return l;
}

Loudness Measure(const std::vector<double>& x, int channels, size_t step) {
#ifdef HVFX_HAVE_EBUR128
  return MeasureEbur128(x, channels, step);
#else
  return MeasureDouble(x, channels, step);
#endif
}

// Runs stereo rows through a leveller with the engine's settings in frames
// of 256; returns the interleaved output (full scale 1.0) and the gains.
std::vector<double> Level(const std::vector<int>& l, const std::vector<int>& r, std::vector<int>* gains = nullptr) {
  CAdaptiveVolume_S24 av(kFs, 32768, 1, 75, 5000, 0);
  std::vector<double> out(2 * l.size());
  std::vector<int> in(2 * kFrame), res(2 * kFrame);
  for (size_t f = 0; (f + 1) * kFrame <= l.size(); ++f) {
    std::copy_n(l.begin() + f * kFrame, kFrame, in.begin());
    std::copy_n(r.begin() + f * kFrame, kFrame, in.begin() + kFrame);
    av.Process(res.data(), in.data(), 2, kFrame);
    for (int i = 0; i < kFrame; ++i) {
      out[2 * (f * kFrame + i)] = res[i] / 32768.0;
      out[2 * (f * kFrame + i) + 1] = res[kFrame + i] / 32768.0;
    }
    if (gains != nullptr) gains->push_back(av.GetGainDb());
  }
  return out;
}

std::vector<double> Interleaved(const std::vector<int>& l, const std::vector<int>& r) {
  std::vector<double> x(2 * l.size());
  for (size_t t = 0; t < l.size(); ++t) {
    x[2 * t] = l[t] / 32768.0;
    x[2 * t + 1] = r[t] / 32768.0;
  }
  return x;
}

// Six passages: quiet speech, loud chords, quiet chords, loud speech, quiet
// speech, loud chords.
void Programme(std::vector<int>& l, std::vector<int>& r) {
  l.clear();
  r.clear();
  for (int p = 0; p < 6; ++p) {
    const double level = p % 2 == 0 ? -40.0 : -10.0;
    const bool speech = p == 0 || p == 3 || p == 4;
    const auto a = speech ? SpeechLikeBursts(kPassage, kFs, level, 100 + p) : MusicLikeTones(kPassage, kFs, level);
    const auto b = speech ? SpeechLikeBursts(kPassage, kFs, level - 2, 200 + p) : MusicLikeTones(kPassage, kFs, level - 3);
    l.insert(l.end(), a.begin(), a.end());
    r.insert(r.end(), b.begin(), b.end());
  }
}

// Mean short-term loudness at the ends of the loud passages minus that at the
// ends of the quiet ones (100 ms steps; the output is read 768 samples later).
double Spread(const Loudness& m, size_t delayFrames) {
  double loud = 0, quiet = 0;
  for (int p = 0; p < 6; ++p) {
    const size_t index = ((p + 1) * kPassage + delayFrames) / 4800 - 1;
    (p % 2 == 0 ? quiet : loud) += m.shortTerm[std::min(index, m.shortTerm.size() - 1)] / 3;
  }
  return loud - quiet;
}

TEST(LevellerLoudness, ShrinksTheSpreadBetweenLoudAndQuietPassages) {
  std::vector<int> l, r;
  Programme(l, r);
  const auto in = Measure(Interleaved(l, r), 2, 4800);
  const auto out = Measure(Level(l, r), 2, 4800);
  const double inSpread = Spread(in, 0);
  const double outSpread = Spread(out, 768);
  std::printf("leveller loudness spread: input %.1f LU, output %.1f LU\n", inSpread, outSpread);
  // The passages differ by 30 dB; the leveller takes out more than a third
  // of that, raising the quiet passages and holding back the loud ones.
  EXPECT_NEAR(inSpread, 30.0, 1.5);
  EXPECT_LT(outSpread, inSpread - 10.0);
  EXPECT_GT(outSpread, 0.0);  // levelled, not inverted
}

// Range (max - min) of the momentary loudness from second `from` on.
double MomentaryRange(const Loudness& m, int from) {
  const auto [lo, hi] = std::minmax_element(m.momentary.begin() + 10 * from, m.momentary.end());
  return *hi - *lo;
}

TEST(LevellerLoudness, SteadyMaterialComesOutWithoutPumping) {
  // Quiet speech-like bursts at a constant level are raised and held there:
  // after the gain has risen (8 s) the momentary loudness of the output
  // varies no more than that of the input plus 0.5 LU.
  const size_t n = 20 * kFs;
  std::vector<int> gains;
  const auto speechL = SpeechLikeBursts(n, kFs, -35, 300), speechR = SpeechLikeBursts(n, kFs, -37, 301);
  const auto speechIn = Measure(Interleaved(speechL, speechR), 2, 4800);
  const auto speechOut = Measure(Level(speechL, speechR, &gains), 2, 4800);
  const double inRange = MomentaryRange(speechIn, 8), outRange = MomentaryRange(speechOut, 8);
  std::printf("leveller on steady speech-like bursts: momentary range input %.2f LU, output %.2f LU, raised %.1f LU\n",
              inRange, outRange, speechOut.shortTerm.back() - speechIn.shortTerm.back());
  EXPECT_LT(outRange, inRange + 0.5);
  EXPECT_GT(speechOut.shortTerm.back(), speechIn.shortTerm.back() + 8.0);
  auto gainRange = [&](int fromSecond) {
    const auto [lo, hi] = std::minmax_element(gains.begin() + fromSecond * kFs / kFrame, gains.end());
    return (*hi - *lo) / 65536.0;
  };
  EXPECT_LT(gainRange(8), 1.0);

  // Steady noise is raised at first; once it has stayed steady for the
  // station time the gain returns to 0 dB at 3 dB/s (steady background noise
  // is not kept raised) and then stays there.
  gains.clear();
  const auto noiseL = SteadyNoise(n, -30, 302), noiseR = SteadyNoise(n, -31, 303);
  const auto noiseIn = Measure(Interleaved(noiseL, noiseR), 2, 4800);
  const auto noiseOut = Measure(Level(noiseL, noiseR, &gains), 2, 4800);
  EXPECT_GT(*std::max_element(gains.begin(), gains.end()), 8 * 65536);
  EXPECT_LT(gainRange(12), 0.1);
  EXPECT_LT(MomentaryRange(noiseOut, 12), MomentaryRange(noiseIn, 12) + 0.1);
  EXPECT_NEAR(noiseOut.shortTerm.back(), noiseIn.shortTerm.back(), 0.1);
}

#ifdef HVFX_HAVE_EBUR128
TEST(LevellerLoudness, FallbackMeterAgreesWithLibebur128) {
  std::vector<int> l, r;
  Programme(l, r);
  const auto x = Interleaved(l, r);
  const auto a = MeasureEbur128(x, 2, 4800), b = MeasureDouble(x, 2, 4800);
  ASSERT_EQ(a.shortTerm.size(), b.shortTerm.size());
  for (size_t k = 30; k < a.shortTerm.size(); ++k) {
    ASSERT_NEAR(a.shortTerm[k], b.shortTerm[k], 0.05) << k;
    ASSERT_NEAR(a.momentary[k], b.momentary[k], 0.05) << k;
  }
}
#endif

}  // namespace
