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
#include <vector>

#include "loudness/LevellerCore.h"
#include "support/Bs1770Meter.h"
#include "support/LevellerSignals.h"

#ifdef HVFX_HAVE_EBUR128
#include <ebur128.h>
#endif

namespace {

using namespace leveller_test;

constexpr int kFs = 48000, kFrame = 256, kStep = 4800;
constexpr size_t kPassage = 5 * kFs;

// Short-term and momentary loudness of an interleaved stereo stream, every
// 100 ms; index k is the loudness after (k + 1) * 100 ms.
struct Loudness {
  std::vector<double> shortTerm, momentary;
};

Loudness MeasureDouble(const std::vector<double>& x) {
  Loudness l;
  Bs1770Meter meter(2);
  for (size_t pos = 0; pos + kStep <= x.size() / 2; pos += kStep) {
    meter.AddFrames(x.data() + pos * 2, kStep);
    l.shortTerm.push_back(meter.ShortTerm());
    l.momentary.push_back(meter.Momentary());
  }
  return l;
}

#ifdef HVFX_HAVE_EBUR128
Loudness Measure(const std::vector<double>& x) {
  Loudness l;
  ebur128_state* st = ebur128_init(2, kFs, EBUR128_MODE_S);
  for (size_t pos = 0; pos + kStep <= x.size() / 2; pos += kStep) {
    ebur128_add_frames_double(st, x.data() + pos * 2, kStep);
    double s = 0, m = 0;
    ebur128_loudness_shortterm(st, &s);
    ebur128_loudness_momentary(st, &m);
    l.shortTerm.push_back(s);
    l.momentary.push_back(m);
  }
  ebur128_destroy(&st);
  return l;
}
#else
Loudness Measure(const std::vector<double>& x) { return MeasureDouble(x); }
#endif

// Interleaves stereo rows at full scale 1.0, optionally through a leveller
// with the engine's settings in frames of 256, collecting its gains.
std::vector<double> Stereo(const std::vector<int>& l, const std::vector<int>& r, bool level,
                           std::vector<int>* gains = nullptr) {
  CAdaptiveVolume_S24 av(kFs, 32768, 1, 75, 5000, 0);
  std::vector<double> out(2 * l.size());
  std::vector<int> in(2 * kFrame), res(2 * kFrame);
  for (size_t f = 0; (f + 1) * kFrame <= l.size(); ++f) {
    std::copy_n(l.begin() + f * kFrame, kFrame, in.begin());
    std::copy_n(r.begin() + f * kFrame, kFrame, in.begin() + kFrame);
    if (level) av.Process(res.data(), in.data(), 2, kFrame);
    for (int i = 0; i < 2 * kFrame; ++i) out[2 * (f * kFrame + i % kFrame) + i / kFrame] = (level ? res : in)[i] / 32768.0;
    if (gains != nullptr) gains->push_back(hvfx::AdaptiveVolumeProbe::Core(av).gainDb_);
  }
  return out;
}

// Six passages: quiet speech, loud chords, quiet chords, loud speech, quiet
// speech, loud chords.
void Programme(std::vector<int>& l, std::vector<int>& r) {
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
// ends of the quiet ones (the output is read 768 samples later).
double Spread(const Loudness& m, size_t delayFrames) {
  double loud = 0, quiet = 0;
  for (int p = 0; p < 6; ++p) {
    const size_t index = ((p + 1) * kPassage + delayFrames) / kStep - 1;
    (p % 2 == 0 ? quiet : loud) += m.shortTerm[std::min(index, m.shortTerm.size() - 1)] / 3;
  }
  return loud - quiet;
}

TEST(LevellerLoudness, ShrinksTheSpreadBetweenLoudAndQuietPassages) {
  std::vector<int> l, r;
  Programme(l, r);
  const double inSpread = Spread(Measure(Stereo(l, r, false)), 0);
  const double outSpread = Spread(Measure(Stereo(l, r, true)), 768);
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
  auto gainRange = [&](int fromSecond) {
    const auto [lo, hi] = std::minmax_element(gains.begin() + fromSecond * kFs / kFrame, gains.end());
    return (*hi - *lo) / 65536.0;
  };
  const auto speechL = SpeechLikeBursts(n, kFs, -35, 300), speechR = SpeechLikeBursts(n, kFs, -37, 301);
  const auto speechIn = Measure(Stereo(speechL, speechR, false));
  const auto speechOut = Measure(Stereo(speechL, speechR, true, &gains));
  EXPECT_LT(MomentaryRange(speechOut, 8), MomentaryRange(speechIn, 8) + 0.5);
  EXPECT_GT(speechOut.shortTerm.back(), speechIn.shortTerm.back() + 8.0);
  EXPECT_LT(gainRange(8), 1.0);
  // Steady noise is raised at first; once it has stayed steady for the
  // station time the gain returns to 0 dB at 3 dB/s and stays there.
  gains.clear();
  const auto noiseL = SteadyNoise(n, -30, 302), noiseR = SteadyNoise(n, -31, 303);
  const auto noiseIn = Measure(Stereo(noiseL, noiseR, false));
  const auto noiseOut = Measure(Stereo(noiseL, noiseR, true, &gains));
  EXPECT_GT(*std::max_element(gains.begin(), gains.end()), 8 * 65536);
  EXPECT_LT(gainRange(12), 0.1);
  EXPECT_LT(MomentaryRange(noiseOut, 12), MomentaryRange(noiseIn, 12) + 0.1);
  EXPECT_NEAR(noiseOut.shortTerm.back(), noiseIn.shortTerm.back(), 0.1);
}

#ifdef HVFX_HAVE_EBUR128
TEST(LevellerLoudness, FallbackMeterAgreesWithLibebur128) {
  std::vector<int> l, r;
  Programme(l, r);
  const auto x = Stereo(l, r, false);
  const auto a = Measure(x), b = MeasureDouble(x);
  ASSERT_EQ(a.shortTerm.size(), b.shortTerm.size());
  for (size_t k = 30; k < a.shortTerm.size(); ++k) {
    ASSERT_NEAR(a.shortTerm[k], b.shortTerm[k], 0.05) << k;
    ASSERT_NEAR(a.momentary[k], b.momentary[k], 0.05) << k;
  }
}
#endif

}  // namespace
