// Golden vectors of the whole chain: a CRC-32 of every call's output for 44.1
// and 48 kHz; mono, stereo and 5.1; each effect alone and all together;
// settings changed mid-stream; soundbar distance and width changes; through
// the engine interface (calls of 1024, 600 and 1448 frames) and the front;
// and twenty-second programmes whose loudness moves between loud and quiet
// passages over seconds, long enough for the leveller's event, span and
// shortfall decisions and the limiter's switch ramps. The
// chain is integer arithmetic defined to the bit, so the file holds for every
// compiler, optimisation level, vector kernel and platform. It also carries
// the arithmetic checks of the equalizer, leveller, limiter and soundbar
// stages: any change of their results shows here.
//
// After a deliberate change of the output (or of the soundbar's coefficient
// store), rewrite the file with
//   build-native/tests/test_golden --regenerate
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "support/ChainScenario.h"

using namespace chain;

namespace {

constexpr int kCalls = 18;
constexpr int kCallFrames[] = {1024, 600, 1448};

// CRC-32 of the samples, continuing from the CRC of what came before them
// (previous = 0 for none): a group's CRC is that of its samples in a row.
uint32_t Crc32(const std::vector<short>& samples, uint32_t previous = 0) {
  uint32_t crc = ~previous;
  for (short s : samples)
    for (int byte = 0; byte < 2; ++byte) {  // little-endian, whatever the host
      crc ^= (static_cast<uint16_t>(s) >> (8 * byte)) & 0xFFu;
      for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
  return ~crc;
}

enum Script {
  kSteady, kMidStreamChanges, kSoundbarMoves,                  // 18 calls
  kLong, kLongQuickMoves, kLongFlatCurve, kLongLimiterToggles  // twenty seconds
};

struct Case {
  std::string name;
  bool front;
  int rate, channels;
  unsigned effects;
  Script script;
};

bool IsLong(Script s) { return s >= kLong; }
constexpr int kLongCalls = 960;      // about twenty seconds
constexpr int kCallsPerLongCrc = 32;  // one CRC for every 32 calls of a long programme

std::vector<Case> Cases() {
  std::vector<Case> cases;
  const std::pair<const char*, unsigned> alone[] = {
      {"eq", kEq}, {"leveller", kLeveller}, {"limiter", kLimiter}, {"surround", kSurround | kLimiter}};
  for (int rate : {44100, 48000})
    for (int ch : {1, 2, 6}) {
      const std::string at = std::to_string(rate) + "_" + std::to_string(ch) + "ch_";
      for (const auto& [name, bits] : alone) cases.push_back({at + name, false, rate, ch, bits, kSteady});
      if (ch == 6) cases.push_back({at + "soundbar", false, rate, ch, kSoundbar, kSteady});
      if (ch == 6) cases.push_back({at + "soundbar_moves", false, rate, ch, kSoundbar | kLimiter, kSoundbarMoves});
      cases.push_back({at + "all", false, rate, ch, kAllEffects, kSteady});
      cases.push_back({at + "all_changes", false, rate, ch, kAllEffects, kMidStreamChanges});
      cases.push_back({at + "front_all", true, rate, ch, kAllEffects, kSteady});
      cases.push_back({at + "front_changes", true, rate, ch, kAllEffects, kMidStreamChanges});
    }
  cases.push_back({"48000_2ch_leveller_long", false, 48000, 2, kLeveller, kLong});
  cases.push_back({"48000_2ch_leveller_quick_moves_long", false, 48000, 2, kLeveller, kLongQuickMoves});
  cases.push_back({"48000_2ch_leveller_flat_curve_long", false, 48000, 2, kLeveller, kLongFlatCurve});
  cases.push_back({"44100_6ch_all_long", false, 44100, 6, kAllEffects, kLong});
  // Without the equalizer (which saturates at full scale) the leveller's boost
  // and the virtualizer's doubled outputs drive the limiter past its ceiling.
  cases.push_back(
      {"48000_6ch_limiter_toggles_long", false, 48000, 6, kLeveller | kSoundbar | kLimiter, kLongLimiterToggles});
  return cases;
}

// The CRCs of one case's calls, as one line of hex words.
std::string PlayCase(const Case& c) {
  ReloadLibrary();
  HVSFX_Param own;
  HVSFX_GetDefaultParam(&own);
  HVSFX_Param* p = &own;
  if (c.front) {
    HVTralo_Init(c.rate, c.channels);
    HVTralo_SetEnable(true);
    p = &hvfx::GlobalFront().record;
  } else {
    own.nSampleRate = c.rate;
    own.nInChannels = own.nOutChannels = c.channels;
    own.nGainShift = 1;
    HVSFX_Init(&own);
  }
  Configure(p, c.effects);
  if (c.script == kLongFlatCurve) HVSFX_AdaV_SetParam(p, 0, 60, 9000, 0);
  if (c.script == kLong) {
    HVSFX_EQ_SetBandGain(p, -1, 7, 5, 1000, 0.001f);  // so small a Q that the bandwidth angle is held
    HVSFX_EQ_SetLPFBandGain(p, -1, 6, 100);           // below the low shelf's lowest corner
  }
  std::ostringstream line;
  long position = 0;
  uint32_t groupCrc = 0;
  for (int call = 0; call < (IsLong(c.script) ? kLongCalls : kCalls); ++call) {
    if (c.script == kMidStreamChanges && call % 5 == 2) ChangeSettings(p, call / 5);
    if (c.script == kSoundbarMoves && call % 6 == 3) HVSFX_Soundbar_SetDistance(p, 30 + 10 * (call / 6));
    if (c.script == kSoundbarMoves && call == 15) HVSFX_Soundbar_SetAngle(p, 2);
    if (c.script == kLongLimiterToggles && call % 40 == 20) HVSFX_DRC_SetEnable(p, call % 80 == 20);
    const int frames = c.front ? 1024 : kCallFrames[call % 3];
    std::vector<short> block = IsLong(c.script)
                                   ? SlowlyMovingSignal(c.channels, position, frames, c.script == kLongQuickMoves)
                                   : Signal(c.channels, position, frames);
    position += frames;
    if (c.front) hvfx::PublishFrontRecord(hvfx::GlobalFront());
    const int r = c.front ? HVTralo_Process(block.data(), frames) : HVSFX_Process(p, block.data(), frames);
    EXPECT_EQ(r, 1) << c.name << " call " << call;
    groupCrc = Crc32(block, groupCrc);
    if (IsLong(c.script) && (call + 1) % kCallsPerLongCrc != 0) continue;
    char word[12];
    std::snprintf(word, sizeof word, " %08x", groupCrc);
    line << word;
    groupCrc = 0;
  }
  if (c.front) HVTralo_Release(); else HVSFX_Release(&own);
  ReloadLibrary();
  return line.str();
}

bool Regenerating() {
  for (const std::string& arg : ::testing::internal::GetArgvs())
    if (arg == "--regenerate") return true;
  return false;
}

}  // namespace

TEST(Golden, WholeChainMatchesTheCommittedCrcs) {
  std::map<std::string, std::string> expected;
  {
    std::ifstream file(HVFX_GOLDEN_FILE);
    for (std::string name, rest; file >> name && std::getline(file, rest);)
      if (name[0] != '#') expected[name] = rest;
  }
  if (Regenerating()) {
    std::ofstream file(HVFX_GOLDEN_FILE);
    file << "# CRC-32 of the output of every call (tests/test_golden.cpp); regenerate with\n"
            "# build-native/tests/test_golden --regenerate\n";
    for (const Case& c : Cases()) file << c.name << PlayCase(c) << "\n";
    GTEST_SKIP() << "rewrote " << HVFX_GOLDEN_FILE;
  }
  ASSERT_FALSE(expected.empty()) << "no golden file at " << HVFX_GOLDEN_FILE;
  const std::vector<Case> cases = Cases();
  EXPECT_EQ(expected.size(), cases.size());
  for (const Case& c : cases) EXPECT_EQ(PlayCase(c), expected[c.name]) << c.name;
}
