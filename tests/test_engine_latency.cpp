// The latency query against a measurement: an impulse sent through the
// engine must come out exactly HVSFX_GetLatency frames later on the main
// channels, for every combination of the switches, stereo and 5.1, at the
// leveller's two frame lengths' rates. The figures themselves are carried by
// the golden vectors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <vector>

#include "support/EngineTestBase.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/HVSFX_SoundbarControl.h"
#include "hvtralofx/HVSFX_Switches.h"

using namespace hvfx::api;  // the engine's internals

namespace {

enum class Stage { kNone, kAnyLayout, kSixChannelsOnly };
struct Switch {
  const char* name;
  int (*set)(HVSFX_Param*, bool);
  bool keepsChainRunning;  // the engine processes at all while it is on
  Stage stage;             // a stage that writes the block while it is on
};
// The switches whose combinations are measured.
constexpr Switch kSwitches[] = {
    {"surround", HVSFX_Surround_SetEnable, true, Stage::kNone},
    {"equalizer", HVSFX_EQ_SetEnable, true, Stage::kAnyLayout},
    {"dynamic bass", HVSFX_DynamicBass_SetEnable, true, Stage::kNone},
    {"leveller", HVSFX_AdaV_SetEnable, true, Stage::kAnyLayout},
    {"limiter", HVSFX_DRC_SetEnable, false, Stage::kAnyLayout},
    {"soundbar", HVSFX_Soundbar_SetEnable, true, Stage::kSixChannelsOnly},
};
constexpr unsigned kSoundbarBit = 1u << 5;

// The soundbar runs on 5.1 at the rates it has filters for.
bool SoundbarRuns(unsigned mask, int rate, int channels) {
  return (mask & kSoundbarBit) != 0 && channels == 6 && (rate == 44100 || rate == 48000);
}
constexpr int kSwitchCount = static_cast<int>(std::size(kSwitches));

// The chain runs, but no stage writes the output buffer: what comes out is
// the buffer the engine started with, and no input ever arrives.
bool ChainRunsWithoutAStage(unsigned mask, int channels, int rate) {
  bool running = false, stage = SoundbarRuns(mask, rate, channels);
  for (int i = 0; i < kSwitchCount; ++i) {
    if ((mask >> i & 1u) == 0) continue;
    running |= kSwitches[i].keepsChainRunning;
    stage |= kSwitches[i].stage == Stage::kAnyLayout;
  }
  return running && !stage;
}

constexpr int kImpulseFrame = 2 * 512 + 101;  // inside the third block, not block-aligned
constexpr int kFrames = 4096;                 // past the longest latency (2175 frames)
constexpr int kCallFrames = 333;              // host calls straddle the blocks

struct Output {
  std::vector<short> out;
  int latency = -1;
};

// Silence with, optionally, one impulse on every channel. Every stage maps
// digital silence to digital silence on the signal path (the leveller's
// gain and the limiter's only scale it; the leveller's pre-filter offset acts
// on its analysis only), so the first sample that differs from the run
// without the impulse is the impulse's arrival.
Output Measure(int rate, int channels, unsigned mask, bool impulse) {
  HVSFX_Param param;
  HVSFX_GetDefaultParam(&param);
  param.nSampleRate = rate;
  param.nInChannels = param.nOutChannels = channels;
  for (int i = 0; i < kSwitchCount; ++i) kSwitches[i].set(&param, (mask >> i & 1u) != 0);
  Gathered() = 0;
  EXPECT_EQ(HVSFX_Init(&param), 1);
  Output run;
  run.out.assign(static_cast<size_t>(kFrames * channels), 0);
  if (impulse)
    for (int c = 0; c < channels; ++c) run.out[static_cast<size_t>(kImpulseFrame * channels + c)] = 16000;
  for (int done = 0; done < kFrames; done += kCallFrames) {
    const int frames = std::min(kCallFrames, kFrames - done);
    EXPECT_EQ(HVSFX_Process(&param, run.out.data() + static_cast<size_t>(done * channels), frames), 1);
  }
  EXPECT_EQ(HVSFX_GetLatency(&param, &run.latency), 1);
  HVSFX_Release(&param);
  return run;
}

// First frame at which a main channel differs (the LFE channel of 5.1 has a
// leveller of its own), or -1. The soundbar's band split and FIR are
// linear-phase: their response is symmetric about the delay and starts
// before it, so while it runs the arrival is the frame of the largest
// difference on its high/low pairs (channels 0, 1, 4, 5; centre and LFE
// pass through with a shorter delay).
int Arrival(const Output& with, const Output& without, int channels, bool soundbar) {
  int first = -1, peakFrame = -1, peak = 0;
  for (int f = 0; f < kFrames; ++f)
    for (int c = 0; c < channels; ++c) {
      if (channels == 6 && (c == 3 || (soundbar && c == 2))) continue;
      const int d = std::abs(with.out[static_cast<size_t>(f * channels + c)] -
                             without.out[static_cast<size_t>(f * channels + c)]);
      if (d != 0 && first < 0) first = f;
      if (d > peak) peak = d, peakFrame = f;
    }
  return soundbar ? peakFrame : first;
}

}  // namespace

TEST(EngineLatency, AnImpulseArrivesExactlyTheReportedFramesLater) {
  for (int rate : {16000, 44100, 48000})
    for (int channels : {2, 6})
      for (unsigned mask = 0; mask < (1u << kSwitchCount); ++mask) {
        const Output with = Measure(rate, channels, mask, true);
        const Output without = Measure(rate, channels, mask, false);
        const int arrival = Arrival(with, without, channels, SoundbarRuns(mask, rate, channels));
        SCOPED_TRACE(testing::Message() << rate << " Hz, " << channels << " channels, switches " << mask);
        EXPECT_EQ(with.latency, without.latency);
        // Surround and dynamic bass keep the chain running without a stage
        // that processes the block: alone, nothing reaches the output, and
        // the query reports the block lag.
        if (ChainRunsWithoutAStage(mask, channels, rate)) {
          EXPECT_EQ(arrival, -1);
          EXPECT_EQ(with.latency, 512);
        } else {
          EXPECT_EQ(arrival, kImpulseFrame + with.latency);
        }
      }
}

TEST(EngineLatency, RefusedWithoutAnInitialisedEngineOrWithAnotherRecord) {
  HVSFX_Param param;
  HVSFX_GetDefaultParam(&param);
  int frames = 77;
  EXPECT_EQ(HVSFX_GetLatency(&param, &frames), 0);
  ASSERT_EQ(HVSFX_Init(&param), 1);
  const HVSFX_Param other = param;
  EXPECT_EQ(HVSFX_GetLatency(nullptr, &frames), 0);
  EXPECT_EQ(HVSFX_GetLatency(&param, nullptr), 0);
  EXPECT_EQ(HVSFX_GetLatency(&other, &frames), 0);
  EXPECT_EQ(frames, 77);
  HVSFX_Release(&param);
  EXPECT_EQ(HVSFX_GetLatency(&param, &frames), 0);
}
