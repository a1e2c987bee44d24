// The front interface: the master switch with its fixed attenuation (which
// the golden vectors carry through the chain), the results before
// initialisation and after release, the first-time defaults
// and the log line of HVTralo_Init, the equalizer settings carried over a
// re-initialisation, the forwarders and the latency figure.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "api/FrontInternal.h"
#include "support/EngineTestBase.h"
#include "hvtralofx/HVSFX_AdaVControl.h"
#include "hvtralofx/HVSFX_EQControl.h"
#include "hvtralofx/HVSFX_SoundbarControl.h"
#include "hvtralofx/HVSFX_Switches.h"
#include "hvtralofx/HVTralo_Front.h"
#include "hvtralofx/CHVAudioEQ_Ts.h"
#include "support/ChainScenario.h"

using namespace hvfx::api;  // the engine's internals

namespace {

// Every test starts from the state at load time.
class FrontInterface : public ::testing::Test {
 protected:
  void SetUp() override { Reload(); }
  void TearDown() override { Reload(); }
  static void Reload() { chain::ReloadLibrary(); }
  // The front's own record, and a switch written into it directly (without
  // the setter's other effects), published as the front's setters do.
  static HVSFX_Param& Record() { return GlobalFront().record; }
  static void SetRecordSoundbar(int on) {
    Record().bSoundbarEnable = on;
    PublishFrontRecord(GlobalFront());
  }
};

// Samples with their attenuated values, (s * 19661 + 16384) >> 15.
const std::vector<short> kDry = {32767, -32768, 1, -1, 0, 12345, -12345, 2};
const std::vector<short> kAttenuated = {19660, -19661, 1, -1, 0, 7407, -7407, 1};

// What the Android log (Debian's liblog writes to standard error) received
// while body ran.
std::string CaptureLog(const std::function<void()>& body) {
  std::fflush(stderr);
  std::FILE* file = std::tmpfile();
  const int saved = dup(2);
  dup2(fileno(file), 2);
  body();
  std::fflush(stderr);
  dup2(saved, 2);
  close(saved);
  std::rewind(file);
  std::string text;
  for (int ch; (ch = std::fgetc(file)) != EOF;) text += static_cast<char>(ch);
  std::fclose(file);
  return text;
}

int CountInitLines(const std::string& log) {
  const std::string head = "HARVELTralo I ";
  const std::string tail = std::string(" [Harvel Tralo] HVTralo_Init(), version : ") + HVTralo_GetVersion() + ", ARM";
  std::istringstream lines(log);
  int count = 0;
  for (std::string line; std::getline(lines, line);)
    count += line.size() > head.size() + tail.size() && line.compare(0, head.size(), head) == 0 &&
             line.compare(line.size() - tail.size(), tail.size(), tail) == 0;
  return count;
}

// The equalizer's coefficients and switches (not its filter history).
std::vector<int> Design(const CHVAudioEQ_Ts& eq) {
  std::vector<int> d = {eq.bLFEnable, eq.lfB1, eq.lfB0, eq.lfA1, eq.bHFEnable, eq.hfB1, eq.hfB0, eq.hfA1, eq.nDryPath};
  for (const auto& b : eq.band) d.insert(d.end(), {b.bEnable, b.bpB2, b.bpB1, b.bpB0, b.bpA2, b.bpA1});
  return d;
}

}  // namespace

TEST_F(FrontInterface, MasterSwitchAttenuationAndResultsOutsideInitialisation) {
  // Switch off: the attenuated input is the output, before and after init.
  auto s = kDry;
  EXPECT_EQ(HVTralo_Process(s.data(), 4), 1);
  EXPECT_EQ(s, kAttenuated);
  EXPECT_EQ(HVTralo_Process(s.data(), 0), 1);
  EXPECT_EQ(HVTralo_Process(nullptr, 4), 0);
  EXPECT_EQ(s, kAttenuated);

  // Switch on without an engine: attenuated, then refused.
  HVTralo_SetEnable(true);
  s = kDry;
  EXPECT_EQ(HVTralo_Process(s.data(), 4), 0);
  EXPECT_EQ(s, kAttenuated);
  EXPECT_EQ(HVTralo_Process(s.data(), 0), 0);
  SetRecordSoundbar(1);  // the soundbar takes the signal at full level
  s = kDry;
  EXPECT_EQ(HVTralo_Process(s.data(), 4), 0);
  EXPECT_EQ(s, kDry);

  ASSERT_EQ(HVTralo_Init(48000, 2), 1);
  ASSERT_EQ(HVTralo_Release(), 1);
  SetRecordSoundbar(0);
  s = kDry;
  EXPECT_EQ(HVTralo_Process(s.data(), 4), 0);
  EXPECT_EQ(s, kAttenuated);
}

TEST_F(FrontInterface, FirstInitSetsDefaultsOnceLaterInitsKeepAndReapplyTheHostsSettings) {
  const std::string log = CaptureLog([] {
    ASSERT_EQ(HVTralo_Init(48000, 2), 1);
    const HVSFX_Param& p = Record();
    EXPECT_EQ(p.nSoundbarAngle, 0);
    EXPECT_EQ(p.bLFECopyEnable + p.bLFESVEnable + p.bLPFEnable + p.bHPFEnable, 4);
    EXPECT_EQ(p.nAdaVStationSigMs, 5000);
    EXPECT_EQ(p.nGainShift, 1);
    const int bandHz[] = {250, 400, 630, 1000, 1600, 2500, 4000, 6300};
    for (int c = 0; c < 2; ++c) {
      EXPECT_EQ(p.nLPFFreq[c], 1000);
      EXPECT_EQ(p.nLPFGain[c], -20);
      EXPECT_EQ(p.nHPFFreq[c], 8000);
      EXPECT_EQ(p.nHPFGain[c], 0);
      for (int b = 0; b < 8; ++b) {
        EXPECT_EQ(p.nEQBandFreq[c][b], bandHz[b]);
        EXPECT_EQ(p.fEQBandQ[c][b], 2.0f);
        EXPECT_EQ(LiveChain()->eq[c]->band[b].bEnable, 0);
      }
      EXPECT_EQ(LiveChain()->eq[c]->bLFEnable, 1);
    }
    // The host's settings.
    EXPECT_EQ(HVTralo_EQ_SetLPFBandGain(0, -6, 300), 1);
    EXPECT_EQ(HVTralo_EQ_SetHPFBandGain(1, 4, 9000), 1);
    EXPECT_EQ(HVTralo_EQ_SetBandGain(1, 2, 6, 1200, 1.5f), 1);
    EXPECT_EQ(HVTralo_AutoLevel_SetParam(1, 60, 7000, 1), 1);
    Record().nSoundbarAngle = 2;
    const std::vector<int> designs[] = {Design(*LiveChain()->eq[0]), Design(*LiveChain()->eq[1])};
    const HVSFX_Param before = Record();

    ASSERT_EQ(HVTralo_Release(), 1);
    ASSERT_EQ(HVTralo_Init(48000, 2), 1);
    EXPECT_EQ(p.nSoundbarAngle, 2);
    EXPECT_EQ(p.nAdaVStationSigMs, 7000);
    EXPECT_EQ(std::memcmp(p.nLPFGain, before.nLPFGain, sizeof p.nLPFGain), 0);
    EXPECT_EQ(std::memcmp(p.nEQBandGain, before.nEQBandGain, sizeof p.nEQBandGain), 0);
    EXPECT_EQ(p.nLPFFreq[0], 300);
    // The new equalizers carry the host's shelves and bands again.
    EXPECT_EQ(Design(*LiveChain()->eq[0]), designs[0]);
    EXPECT_EQ(Design(*LiveChain()->eq[1]), designs[1]);
  });
  EXPECT_EQ(CountInitLines(log), 2) << log;
}

TEST_F(FrontInterface, EveryForwarderReachesItsEngineFunction) {
  ASSERT_EQ(HVTralo_Init(48000, 2), 1);
  // What a getter hands back.
  struct Out {
    bool b = false;
    int i[4] = {-7, -7, -7, -7};
    float q = -7.0f;
    bool operator==(const Out& o) const { return b == o.b && std::memcmp(i, o.i, sizeof i) == 0 && q == o.q; }
  };
  struct Row {
    const char* name;
    int (*front)(Out&);
    int (*engine)(HVSFX_Param*, Out&);
  };
  // One row per forwarder: the front call and the engine call it must make,
  // with the same arguments (o: the outputs, p: the record).
#define HVFX_FORWARDS(frontCall, engineCall) \
  {#frontCall, [](Out& o) { (void)o; return HVTralo_##frontCall; }, [](HVSFX_Param* p, Out& o) { (void)o; return HVSFX_##engineCall; }}
  // Setters come first, with distinct values, so that the getters report them.
  const Row rows[] = {
      HVFX_FORWARDS(DRC_SetEnable(false), DRC_SetEnable(p, false)),
      HVFX_FORWARDS(AutoLevel_SetEnable(true), AdaV_SetEnable(p, true)),
      HVFX_FORWARDS(AutoLevel_SetParam(2, 40, 9000, 1), AdaV_SetParam(p, 2, 40, 9000, 1)),
      HVFX_FORWARDS(AutoLevel_SetVolUpDownRate(11, 4), AdaV_SetVolUpDownRate(p, 11, 4)),
      HVFX_FORWARDS(Surround_SetEnable(true), Surround_SetEnable(p, true)),
      HVFX_FORWARDS(EQ_SetEnable(true), EQ_SetEnable(p, true)),
      HVFX_FORWARDS(EQ_SetBandGain(1, 5, 7, 2100, 3.5f), EQ_SetBandGain(p, 1, 5, 7, 2100, 3.5f)),
      HVFX_FORWARDS(EQ_SetBandGain(0, 8, 7, 2100, 3.5f), EQ_SetBandGain(p, 0, 8, 7, 2100, 3.5f)),  // refused
      HVFX_FORWARDS(EQ_SetLPFEnable(false), EQ_SetLPFEnable(p, -1, false)),
      HVFX_FORWARDS(EQ_SetHPFEnable(false), EQ_SetHPFEnable(p, -1, false)),
      HVFX_FORWARDS(EQ_SetLPFBandGain(1, -3, 210), EQ_SetLPFBandGain(p, 1, -3, 210)),
      HVFX_FORWARDS(EQ_SetHPFBandGain(0, 5, 7300), EQ_SetHPFBandGain(p, 0, 5, 7300)),
      HVFX_FORWARDS(DynamicBass_SetEnable(true), DynamicBass_SetEnable(p, true)),
      HVFX_FORWARDS(DynamicBass_SetLevel(9), DynamicBass_SetLevel(p, 9)),
      HVFX_FORWARDS(DynamicBass_SetCutOffFreq(90), DynamicBass_SetCutOffFreq(p, 90)),
      HVFX_FORWARDS(Soundbar_SetEnable(true), Soundbar_SetEnable(p, true)),
      HVFX_FORWARDS(Soundbar_SetDistance(60), Soundbar_SetDistance(p, 60)),
      HVFX_FORWARDS(Soundbar_SetAngle(2), Soundbar_SetAngle(p, 2)),
      HVFX_FORWARDS(Soundbar_SetLFECopyEnable(false), Soundbar_SetLFECopyEnable(p, false)),
      HVFX_FORWARDS(Soundbar_SetLFEFreq(130), Soundbar_SetLFEFreq(p, 130)),
      HVFX_FORWARDS(Soundbar_SetLFEGain(-4), Soundbar_SetLFEGain(p, -4)),
      HVFX_FORWARDS(Soundbar_SetLFESVEnable(false), Soundbar_SetLFESVEnable(p, false)),
      HVFX_FORWARDS(Soundbar_SetLFESVParam(0, 55, 8000, 1), Soundbar_SetLFESVParam(p, 0, 55, 8000, 1)),
      HVFX_FORWARDS(Soundbar_SetLFESVVolUpDownRate(9, 5), Soundbar_SetLFESVVolUpDownRate(p, 9, 5)),
      HVFX_FORWARDS(Soundbar_GetEnable(&o.b), Soundbar_GetEnable(p, &o.b)),
      HVFX_FORWARDS(Soundbar_GetDistance(&o.i[0]), Soundbar_GetDistance(p, &o.i[0])),
      HVFX_FORWARDS(Soundbar_GetAngle(&o.i[0]), Soundbar_GetAngle(p, &o.i[0])),
      HVFX_FORWARDS(Soundbar_GetLFECopyEnable(&o.b), Soundbar_GetLFECopyEnable(p, &o.b)),
      HVFX_FORWARDS(Soundbar_GetLFEFreq(&o.i[0]), Soundbar_GetLFEFreq(p, &o.i[0])),
      HVFX_FORWARDS(Soundbar_GetLFEGain(&o.i[0]), Soundbar_GetLFEGain(p, &o.i[0])),
      HVFX_FORWARDS(Soundbar_GetLFESVEnable(&o.b), Soundbar_GetLFESVEnable(p, &o.b)),
      HVFX_FORWARDS(Soundbar_GetLFESVParam(&o.i[0], &o.i[1], &o.i[2], &o.i[3]),
                    Soundbar_GetLFESVParam(p, &o.i[0], &o.i[1], &o.i[2], &o.i[3])),
      HVFX_FORWARDS(Soundbar_GetLFESVVolUpDownRate(&o.i[0], &o.i[1]), Soundbar_GetLFESVVolUpDownRate(p, &o.i[0], &o.i[1])),
      HVFX_FORWARDS(DRC_GetEnable(&o.b), DRC_GetEnable(p, &o.b)),
      HVFX_FORWARDS(AutoLevel_GetEnable(&o.b), AdaV_GetEnable(p, &o.b)),
      HVFX_FORWARDS(AutoLevel_GetParam(&o.i[0], &o.i[1], &o.i[2], &o.i[3]), AdaV_GetParam(p, &o.i[0], &o.i[1], &o.i[2], &o.i[3])),
      HVFX_FORWARDS(AutoLevel_GetVolUpDownRate(&o.i[0], &o.i[1]), AdaV_GetVolUpDownRate(p, &o.i[0], &o.i[1])),
      HVFX_FORWARDS(Surround_GetEnable(&o.b), Surround_GetEnable(p, &o.b)),
      HVFX_FORWARDS(EQ_GetEnable(&o.b), EQ_GetEnable(p, &o.b)),
      HVFX_FORWARDS(EQ_GetBandGain(1, 5, &o.i[0], &o.i[1], &o.q), EQ_GetBandGain(p, 1, 5, &o.i[0], &o.i[1], &o.q)),
      HVFX_FORWARDS(EQ_GetLPFBandGain(1, &o.i[0], &o.i[1]), EQ_GetLPFBandGain(p, 1, &o.i[0], &o.i[1])),
      HVFX_FORWARDS(EQ_GetHPFBandGain(0, &o.i[0], &o.i[1]), EQ_GetHPFBandGain(p, 0, &o.i[0], &o.i[1])),
      HVFX_FORWARDS(DynamicBass_GetEnable(&o.b), DynamicBass_GetEnable(p, &o.b)),
      HVFX_FORWARDS(DynamicBass_GetLevel(&o.i[0]), DynamicBass_GetLevel(p, &o.i[0])),
      HVFX_FORWARDS(DynamicBass_GetCutOffFreq(&o.i[0]), DynamicBass_GetCutOffFreq(p, &o.i[0])),
  };
#undef HVFX_FORWARDS
  const HVSFX_Param initial = Record();
  for (const Row& row : rows) {
    // The engine function on a copy of the front's record, then the front's
    // function: same result, same record afterwards, same values out.
    HVSFX_Param expected;
    std::memcpy(&expected, &Record(), sizeof expected);
    Out fromEngine, fromFront;
    const int engineResult = row.engine(&expected, fromEngine);
    EXPECT_EQ(row.front(fromFront), engineResult) << row.name;
    EXPECT_EQ(std::memcmp(&expected, &Record(), sizeof expected), 0) << row.name;
    EXPECT_TRUE(fromFront == fromEngine) << row.name;
  }
  EXPECT_NE(std::memcmp(&initial, &Record(), sizeof initial), 0);
  // The shelf switches (which the record holds once) reach every channel.
  HVSFX_EQ_SetLPFEnable(&Record(), -1, true);
  HVSFX_EQ_SetHPFEnable(&Record(), -1, true);
  HVTralo_EQ_SetLPFEnable(false);
  HVTralo_EQ_SetHPFEnable(false);
  for (int c = 0; c < 2; ++c) EXPECT_FALSE(LiveChain()->eq[c]->bLFEnable || LiveChain()->eq[c]->bHFEnable) << c;
}

TEST_F(FrontInterface, GettersRefuseNullPointersAndLatencyFollowsTheMasterSwitch) {
  // The module getters with null outputs are swept in test_api_sweep; these two are not.
  EXPECT_EQ(HVTralo_GetEnable(nullptr), 0);
  EXPECT_EQ(HVTralo_GetLatency(nullptr), 0);

  int frames = -1;
  EXPECT_EQ(HVTralo_GetLatency(&frames), 0);  // not initialised
  ASSERT_EQ(HVTralo_Init(48000, 2), 1);
  HVTralo_EQ_SetEnable(true);
  EXPECT_EQ(HVTralo_GetLatency(&frames), 1);
  EXPECT_EQ(frames, 0);  // master switch off: only the attenuation applies
  HVTralo_SetEnable(true);
  EXPECT_EQ(HVTralo_GetLatency(&frames), 1);
  EXPECT_EQ(frames, 1024);  // block and limiter look-ahead
  HVTralo_Release();
  EXPECT_EQ(HVTralo_GetLatency(&frames), 0);
  HVTralo_SetEnable(false);  // released: refused with the switch off too
  EXPECT_EQ(HVTralo_GetLatency(&frames), 0);
}
