// Smooth control on instances of the instance interface: every setter and
// switch of the front, moved while a steady tone plays, is inaudible in
// smooth mode and audible in the defined one; a change ends bit for bit
// where a chain set up with the new setting stands; the latency never moves;
// a setting automated every block for a minute neither clicks nor drifts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "hvtralofx/HVFX_Engine.h"
#include "support/ChainScenario.h"

namespace {

constexpr int kRate = 48000, kCall = 512;
constexpr double kOmega = 2 * M_PI * 1000.0 / kRate;

// A 1 kHz tone at -12 dBFS on every channel.
std::vector<short> Tone(int channels, long first, int frames) {
  std::vector<short> out(static_cast<size_t>(frames * channels));
  for (int f = 0; f < frames; ++f)
    for (int c = 0; c < channels; ++c)
      out[static_cast<size_t>(f * channels + c)] = static_cast<short>(std::lround(8231 * std::sin(kOmega * double(first + f))));
  return out;
}

using Control = std::function<void(HVFX_Engine*)>;

// An instance with equalizer, leveller and limiter on (and the soundbar for
// 5.1), smooth or not.
HVFX_Engine* Start(int channels, bool smooth) {
  HVFX_Engine* e = HVFX_Create();
  HVFX_SetSmoothControl(e, smooth);
  HVFX_Init(e, kRate, channels);
  HVFX_SetEnable(e, true);
  HVFX_EQ_SetEnable(e, true);
  HVFX_AutoLevel_SetEnable(e, true);
  HVFX_DRC_SetEnable(e, true);
  if (channels == 6) HVFX_Soundbar_SetEnable(e, true);
  return e;
}

// `calls` calls of a signal; control(e) before call `at` (every call from
// `at` on when `every`). Returns channel 0's output.
std::vector<short> Play(HVFX_Engine* e, int channels, int calls, int at, const Control& control,
                        const std::function<std::vector<short>(long)>& signal, bool every = false, int row = 0) {
  std::vector<short> out;
  for (int call = 0; call < calls; ++call) {
    if (call == at || (every && call > at)) control(e);
    std::vector<short> b = signal(static_cast<long>(call) * kCall);
    HVFX_Process(e, b.data(), kCall);
    for (int f = 0; f < kCall; ++f) out.push_back(b[static_cast<size_t>(f * channels + row)]);
  }
  return out;
}

// The largest residual of the sine recurrence y[t] + y[t-2] - 2 cos(w) y[t-1]
// from sample `from` on, and the longest run of zero samples.
struct Deviation {
  double residual = 0;
  int silence = 0;
};
Deviation Measure(const std::vector<short>& y, size_t from) {
  Deviation d;
  int run = 0;
  for (size_t t = from; t < y.size(); ++t) {
    d.residual = std::max(d.residual, std::abs(y[t] + y[t - 2] - 2 * std::cos(kOmega) * y[t - 1]));
    run = y[t] == 0 ? run + 1 : 0;
    d.silence = std::max(d.silence, run);
  }
  return d;
}

// A control moved on a steady tone. Bounds on the recurrence residual: a
// crossfade over T = 512 samples between two tones of amplitude at most
// A = 2 x 8231 (+6 dB) moves the tone's complex amplitude linearly, which
// leaves a residual of 2 sin(w) |dA| / T <= 2 x 0.131 x 2A / 512 = 17, plus
// the rounding of three samples and the leveller's one-step toggling about
// its target (5 at rest): 64. Where the control moves the leveller's target,
// the leveller's own largest move, 1 dB in one 256-sample frame, adds
// 2 (10^(1/20) - 1) times the output's peak. The LFE band moved from 400 to
// 60 Hz rings at its new frequency while its kept history settles (about
// 10 ms), which the recurrence, tuned to 1 kHz, sees at 2 (1 - cos w), 3 %
// of that ringing: 160 there. The LFE band's setters keep its history in
// the defined mode too, so only smooth mode is bounded for them.
struct Case {
  const char* name;
  int channels;
  Control control;
  int row = 0;              // the channel measured
  bool moveslevel = false;  // the leveller's own moves count too
  bool definedSteps = true;
  Control setup = [](HVFX_Engine*) {};
  double bound = 64;
};

std::vector<Case> Controls() {
  const Control noLfeLeveller = [](HVFX_Engine* e) { HVFX_Soundbar_SetLFESVEnable(e, false); };
  return {
      {"EQ_SetBandGain 6.3 kHz", 2, [](HVFX_Engine* e) { HVFX_EQ_SetBandGain(e, -1, 7, 6, 0, 2.0f); }},
      {"EQ_SetBandGain 1 kHz", 2, [](HVFX_Engine* e) { HVFX_EQ_SetBandGain(e, -1, 3, 9, 0, 1.0f); }},
      {"EQ_SetLPFBandGain", 2, [](HVFX_Engine* e) { HVFX_EQ_SetLPFBandGain(e, -1, -6, 1200); }},
      {"EQ_SetHPFBandGain", 2, [](HVFX_Engine* e) { HVFX_EQ_SetHPFBandGain(e, -1, 6, 900); }},
      {"EQ_SetLPFEnable", 2, [](HVFX_Engine* e) { HVFX_EQ_SetLPFEnable(e, false); }},
      {"EQ_SetHPFEnable", 2, [](HVFX_Engine* e) { HVFX_EQ_SetHPFEnable(e, false); }, 0, false, false},
      {"EQ_SetEnable", 2, [](HVFX_Engine* e) { HVFX_EQ_SetEnable(e, false); }},
      {"AutoLevel_SetParam", 2, [](HVFX_Engine* e) { HVFX_AutoLevel_SetParam(e, 1, 60, 8000, 1); }, 0, true},
      {"AutoLevel_SetVolUpDownRate", 2, [](HVFX_Engine* e) { HVFX_AutoLevel_SetVolUpDownRate(e, 15, 3); }, 0,
       false, false},
      {"AutoLevel_SetEnable", 2, [](HVFX_Engine* e) { HVFX_AutoLevel_SetEnable(e, false); }},
      {"DRC_SetEnable", 2, [](HVFX_Engine* e) { HVFX_DRC_SetEnable(e, false); }},
      {"Surround_SetEnable", 2, [](HVFX_Engine* e) { HVFX_Surround_SetEnable(e, true); }},
      {"Soundbar_SetEnable (attenuation)", 2, [](HVFX_Engine* e) { HVFX_Soundbar_SetEnable(e, true); }, 0, true},
      {"SetEnable (master)", 2, [](HVFX_Engine* e) { HVFX_SetEnable(e, false); }},
      {"Soundbar_SetEnable", 6, [](HVFX_Engine* e) { HVFX_Soundbar_SetEnable(e, false); }},
      {"Soundbar_SetLFECopyEnable", 6, [](HVFX_Engine* e) { HVFX_Soundbar_SetLFECopyEnable(e, false); }, 3, false,
       true, noLfeLeveller},
      {"Soundbar_SetLFEFreq", 6, [](HVFX_Engine* e) { HVFX_Soundbar_SetLFEFreq(e, 60); }, 3, false, false,
       noLfeLeveller, 160},
      {"Soundbar_SetLFEGain", 6, [](HVFX_Engine* e) { HVFX_Soundbar_SetLFEGain(e, 6); }, 3, false, false,
       noLfeLeveller},
      {"Soundbar_SetLFESVEnable", 6, [](HVFX_Engine* e) { HVFX_Soundbar_SetLFESVEnable(e, false); }, 3},
      {"Soundbar_SetLFESVParam", 6, [](HVFX_Engine* e) { HVFX_Soundbar_SetLFESVParam(e, 1, 50, 6000, 0); }, 3, true},
      // The soundbar's own fade through silence stays, in both modes.
      {"Soundbar_SetDistance", 6, [](HVFX_Engine* e) { HVFX_Soundbar_SetDistance(e, 70); }, 0, false, false},
  };
}

TEST(SmoothControl, EveryControlIsInaudibleInSmoothModeAndStepsInTheDefinedOne) {
  for (const Case& c : Controls()) {
    auto tone = [&](long first) { return Tone(c.channels, first, kCall); };
    Deviation d[2];
    double bound = c.bound;
    for (bool smooth : {false, true}) {
      HVFX_Engine* e = Start(c.channels, smooth);
      c.setup(e);
      const std::vector<short> y = Play(e, c.channels, 400, 250, c.control, tone, false, c.row);
      d[smooth] = Measure(y, 200 * kCall);
      const int peak = std::abs(*std::max_element(y.begin() + 200 * kCall, y.end(), [](short a, short b) {
        return std::abs(a) < std::abs(b);
      }));
      if (smooth && c.moveslevel) bound += 2 * (std::pow(10.0, 0.05) - 1) * peak;
      HVFX_Destroy(e);
    }
    std::printf("%-34s defined %7.1f, %3d zeros; smooth %6.1f (bound %.0f), %3d zeros\n", c.name, d[0].residual,
                d[0].silence, d[1].residual, bound, d[1].silence);
    EXPECT_LE(d[1].residual, bound) << c.name;
    if (std::string(c.name) != "Soundbar_SetDistance") EXPECT_LE(d[1].silence, 2) << c.name;  // zero crossings
    if (c.definedSteps) EXPECT_TRUE(d[0].residual > 4 * c.bound || d[0].silence > 2) << c.name;
  }
}

// Bit for bit after the transition: an instance changed mid-stream and one
// set up with the new settings before its first block give the same output
// once the old settings have left the chain: the switched stages at once
// after their fade (every stage ran all along), the equalizer once its old
// history has decayed below one step of its integer state (its sections'
// poles lie well inside the unit circle: 0.5 s is ample), the limiter once
// its gain has recovered from the transition.
TEST(SmoothControl, AChangeEndsWhereAChainSetUpWithItStands) {
  const Control change = [](HVFX_Engine* e) {
    HVFX_EQ_SetBandGain(e, -1, 3, 9, 0, 1.0f);
    HVFX_EQ_SetLPFBandGain(e, -1, -6, 1200);
    HVFX_AutoLevel_SetEnable(e, false);
    HVFX_Surround_SetEnable(e, true);
    HVFX_Soundbar_SetLFESVEnable(e, false);
  };
  for (int channels : {2, 6}) {
    auto music = [&](long first) { return chain::Signal(channels, first, kCall, 3000); };
    HVFX_Engine* changed = Start(channels, true);
    HVFX_Engine* built = Start(channels, true);
    change(built);
    const std::vector<short> a = Play(changed, channels, 300, 20, change, music, false, channels == 6 ? 3 : 0);
    const std::vector<short> b = Play(built, channels, 300, -1, change, music, false, channels == 6 ? 3 : 0);
    EXPECT_TRUE(std::equal(a.begin() + 200 * kCall, a.end(), b.begin() + 200 * kCall)) << channels;
    HVFX_Destroy(changed);
    HVFX_Destroy(built);
  }
  // With every stage on, the two modes are one chain (stereo: no soundbar).
  auto music = [](long first) { return chain::Signal(2, first, kCall); };
  std::vector<short> y[2];
  for (bool smooth : {false, true}) {
    HVFX_Engine* e = Start(2, smooth);
    HVFX_Surround_SetEnable(e, true);
    HVFX_Soundbar_SetEnable(e, true);
    y[smooth] = Play(e, 2, 200, -1, change, music);
    HVFX_Destroy(e);
  }
  EXPECT_EQ(y[0], y[1]);
}

// The latency is that of every stage the layout can run, whatever the
// switches: 512 gathered + 768 look-ahead + 512 limiter frames, and the
// soundbar's delay for 5.1, on every channel: an impulse with every stage
// off comes out of each channel exactly that late.
TEST(SmoothControl, LatencyIsFixedForTheLayout) {
  for (int channels : {2, 6}) {
    HVFX_Engine* e = Start(channels, true);
    int expected = 0;
    HVFX_GetLatency(e, &expected);
    if (channels == 2) EXPECT_EQ(expected, 1792);
    for (unsigned k = 0; k <= 128; ++k) {  // every combination, then the master on and every stage off
      const unsigned m = k == 128 ? 64 : k;
      HVFX_EQ_SetEnable(e, m & 1);
      HVFX_AutoLevel_SetEnable(e, m & 2);
      HVFX_DRC_SetEnable(e, m & 4);
      HVFX_Surround_SetEnable(e, m & 8);
      HVFX_Soundbar_SetEnable(e, m & 16);
      HVFX_Soundbar_SetLFESVEnable(e, m & 32);
      HVFX_SetEnable(e, m & 64);
      int latency = -1;
      ASSERT_EQ(HVFX_GetLatency(e, &latency), 1);
      EXPECT_EQ(latency, expected) << channels << " " << m;
    }
    std::vector<short> y;
    for (int call = 0; call * kCall < expected + kCall; ++call) {
      std::vector<short> b(static_cast<size_t>(kCall * channels), 0);
      if (call == 0) std::fill(b.begin(), b.begin() + channels, 20000);
      HVFX_Process(e, b.data(), kCall);
      y.insert(y.end(), b.begin(), b.end());
    }
    for (int c = 0; c < channels; ++c)
      EXPECT_EQ(y[static_cast<size_t>(expected * channels + c)], 12000) << "channel " << c;
    HVFX_Destroy(e);
  }
}

// A plugin host's automation: the 250 Hz band's gain moved every block
// between -12 and +12 dB for a minute of programme. No sample-to-sample step
// beyond the largest a static setting at either end gives, and once the
// automation rests where it began the output is bit for bit that of an
// instance that never moved.
TEST(SmoothControl, AutomationEveryBlockNeitherClicksNorDrifts) {
  constexpr int kCalls = 5600, kPeriod = 400;
  auto music = [](long first) { return chain::Signal(2, first, kCall, 12000); };
  auto largestStep = [](const std::vector<short>& y) {
    int step = 0;
    for (size_t t = 1; t < y.size(); ++t) step = std::max(step, std::abs(y[t] - y[t - 1]));
    return step;
  };
  int call = 0;
  const Control automate = [&call](HVFX_Engine* e) {
    HVFX_EQ_SetBandGain(e, -1, 0, static_cast<int>(std::lround(12 * std::sin(2 * M_PI * ++call / kPeriod))), 0, 2.0f);
  };
  int staticStep = 0;
  for (int gain : {-12, 12}) {
    HVFX_Engine* e = Start(2, true);
    HVFX_EQ_SetBandGain(e, -1, 0, gain, 0, 2.0f);
    staticStep = std::max(staticStep, largestStep(Play(e, 2, 400, -1, automate, music)));
    HVFX_Destroy(e);
  }
  HVFX_Engine* moved = Start(2, true);
  HVFX_Engine* still = Start(2, true);
  const std::vector<short> a = Play(moved, 2, kCalls + 200, 0, [&](HVFX_Engine* e) { if (call < kCalls) automate(e); }, music, true);
  const std::vector<short> b = Play(still, 2, kCalls + 200, -1, automate, music);
  EXPECT_LE(largestStep(a), staticStep + staticStep / 10);
  EXPECT_TRUE(std::equal(a.end() - 100 * kCall, a.end(), b.end() - 100 * kCall));
  HVFX_Destroy(moved);
  HVFX_Destroy(still);
}

}  // namespace
