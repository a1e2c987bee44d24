// Every setter and getter of both interfaces against edge values (INT_MIN,
// INT_MAX, -1, 0, 1, 6, 7; NaN, infinite and negative Q) crossed with every
// channel and band index from -2 to past the end, before initialisation and
// after: each call returns exactly the documented code (1 done, 0 refused,
// -2 no module yet), a refused call leaves the record as it was, and a
// refused getter leaves its outputs (sentinels) as they were.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "support/ChainScenario.h"

namespace {

using P = HVSFX_Param*;

// The equalizers exist for nInChannels = 4 channels; the record has 6 rows.
constexpr int kChannels = 4;
const int kValues[] = {INT_MIN, INT_MAX, -1, 0, 1, 6, 7};
const float kQs[] = {NAN, INFINITY, -INFINITY, -1.0f, 0.0f, 2.0f};

// What a setter returns, given the state and the channel and band indices.
enum class Rule { Always1, Always0, Module, EqChannel, EqBand, EqReset };

struct Setter {
  const char* name;
  Rule rule;
  std::function<int(P, int ch, int band, int v, float q)> engine;
  std::function<int(int ch, int band, int v, float q)> front;  // null: no front form
};

int Expected(Rule rule, bool initialised, int ch, int band) {
  const bool channel = ch == -1 || (ch >= 0 && ch < kChannels);
  const bool isBand = band >= 0 && band < HVSFX_MAX_EQ_BANDS;
  switch (rule) {
    case Rule::Always1: return 1;
    case Rule::Always0: return 0;
    case Rule::Module: return initialised ? 1 : -2;
    case Rule::EqChannel: return !initialised ? -2 : channel;
    case Rule::EqBand: return !initialised ? -2 : channel && isBand;
    case Rule::EqReset: return !initialised ? -2 : channel && (band == -1 || isBand);
  }
  return 99;
}

#define HVFX_ARGS [[maybe_unused]] int ch, [[maybe_unused]] int band, [[maybe_unused]] int v, [[maybe_unused]] float q
#define HVFX_SETTER(rule, fn, frontFn, ...)                                                        \
  {#fn, rule, [](P p, HVFX_ARGS) { return HVSFX_##fn(p, __VA_ARGS__); }, \
   [](HVFX_ARGS) { return HVTralo_##frontFn(__VA_ARGS__); }}
#define HVFX_ENGINE_SETTER(rule, fn, ...) {#fn, rule, [](P p, HVFX_ARGS) { return HVSFX_##fn(p, __VA_ARGS__); }, nullptr}

const std::vector<Setter>& Setters() {
  static const std::vector<Setter> rows = {
      HVFX_SETTER(Rule::Always1, DRC_SetEnable, DRC_SetEnable, v & 1),
      HVFX_SETTER(Rule::Always1, AdaV_SetEnable, AutoLevel_SetEnable, v & 1),
      HVFX_SETTER(Rule::Always1, Surround_SetEnable, Surround_SetEnable, v & 1),
      HVFX_SETTER(Rule::Always1, EQ_SetEnable, EQ_SetEnable, v & 1),
      HVFX_SETTER(Rule::Always1, DynamicBass_SetEnable, DynamicBass_SetEnable, v & 1),
      HVFX_SETTER(Rule::Always1, Soundbar_SetEnable, Soundbar_SetEnable, v & 1),
      HVFX_SETTER(Rule::Always1, Soundbar_SetLFECopyEnable, Soundbar_SetLFECopyEnable, v & 1),
      HVFX_SETTER(Rule::Always1, Soundbar_SetLFESVEnable, Soundbar_SetLFESVEnable, v & 1),
      HVFX_SETTER(Rule::Always0, DynamicBass_SetLevel, DynamicBass_SetLevel, v),
      HVFX_SETTER(Rule::Always0, DynamicBass_SetCutOffFreq, DynamicBass_SetCutOffFreq, v),
      HVFX_SETTER(Rule::Always1, AdaV_SetParam, AutoLevel_SetParam, v, ch, v, band),
      HVFX_SETTER(Rule::Always1, AdaV_SetVolUpDownRate, AutoLevel_SetVolUpDownRate, v, ch),
      HVFX_SETTER(Rule::Module, Soundbar_SetDistance, Soundbar_SetDistance, v),
      HVFX_SETTER(Rule::Module, Soundbar_SetAngle, Soundbar_SetAngle, v),
      HVFX_SETTER(Rule::Module, Soundbar_SetLFEFreq, Soundbar_SetLFEFreq, v),
      HVFX_SETTER(Rule::Module, Soundbar_SetLFEGain, Soundbar_SetLFEGain, v),
      HVFX_SETTER(Rule::Module, Soundbar_SetLFESVParam, Soundbar_SetLFESVParam, v, ch, v, band),
      HVFX_SETTER(Rule::Module, Soundbar_SetLFESVVolUpDownRate, Soundbar_SetLFESVVolUpDownRate, v, ch),
      HVFX_ENGINE_SETTER(Rule::EqChannel, EQ_SetLPFEnable, ch, v & 1),
      HVFX_ENGINE_SETTER(Rule::EqChannel, EQ_SetHPFEnable, ch, v & 1),
      HVFX_SETTER(Rule::EqChannel, EQ_SetLPFBandGain, EQ_SetLPFBandGain, ch, v, band),
      HVFX_SETTER(Rule::EqChannel, EQ_SetHPFBandGain, EQ_SetHPFBandGain, ch, v, band),
      HVFX_SETTER(Rule::EqBand, EQ_SetBandGain, EQ_SetBandGain, ch, band, v, v, q),
      HVFX_ENGINE_SETTER(Rule::EqReset, EQ_ResetBandFreq, ch, band),
  };
  return rows;
}

// Getters: o[] holds the output pointers (bool* for the flags; int* and, for
// a band, a float* third).
enum class Out { Flag, Ints, Band };
struct Getter {
  const char* name;
  Out kind;
  int outs;
  bool channel, band;  // takes a record channel 0 ... 5 / a band 0 ... 7
  std::function<int(P, int ch, int band, void** o)> engine;
  std::function<int(int ch, int band, void** o)> front;  // null: no front form
};

#define HVFX_FLAG_GETTER(fn, frontFn)                                                              \
  {#fn, Out::Flag, 1, false, false, [](P p, int, int, void** o) { return HVSFX_##fn(p, B(o[0])); }, \
   [](int, int, void** o) { return HVTralo_##frontFn(B(o[0])); }}
#define HVFX_INT_GETTER(fn, frontFn, n, ...)                                                            \
  {#fn, Out::Ints, n, false, false, [](P p, int, int, void** o) { return HVSFX_##fn(p, __VA_ARGS__); }, \
   [](int, int, void** o) { return HVTralo_##frontFn(__VA_ARGS__); }}

bool* B(void* o) { return static_cast<bool*>(o); }
int* I(void* o) { return static_cast<int*>(o); }

const std::vector<Getter>& Getters() {
  static const std::vector<Getter> rows = {
      HVFX_FLAG_GETTER(DRC_GetEnable, DRC_GetEnable),
      HVFX_FLAG_GETTER(AdaV_GetEnable, AutoLevel_GetEnable),
      HVFX_FLAG_GETTER(Surround_GetEnable, Surround_GetEnable),
      HVFX_FLAG_GETTER(EQ_GetEnable, EQ_GetEnable),
      HVFX_FLAG_GETTER(DynamicBass_GetEnable, DynamicBass_GetEnable),
      HVFX_FLAG_GETTER(Soundbar_GetEnable, Soundbar_GetEnable),
      HVFX_FLAG_GETTER(Soundbar_GetLFECopyEnable, Soundbar_GetLFECopyEnable),
      HVFX_FLAG_GETTER(Soundbar_GetLFESVEnable, Soundbar_GetLFESVEnable),
      HVFX_INT_GETTER(DynamicBass_GetLevel, DynamicBass_GetLevel, 1, I(o[0])),
      HVFX_INT_GETTER(DynamicBass_GetCutOffFreq, DynamicBass_GetCutOffFreq, 1, I(o[0])),
      HVFX_INT_GETTER(Soundbar_GetDistance, Soundbar_GetDistance, 1, I(o[0])),
      HVFX_INT_GETTER(Soundbar_GetAngle, Soundbar_GetAngle, 1, I(o[0])),
      HVFX_INT_GETTER(Soundbar_GetLFEFreq, Soundbar_GetLFEFreq, 1, I(o[0])),
      HVFX_INT_GETTER(Soundbar_GetLFEGain, Soundbar_GetLFEGain, 1, I(o[0])),
      HVFX_INT_GETTER(Soundbar_GetLFESVParam, Soundbar_GetLFESVParam, 4, I(o[0]), I(o[1]), I(o[2]), I(o[3])),
      HVFX_INT_GETTER(Soundbar_GetLFESVVolUpDownRate, Soundbar_GetLFESVVolUpDownRate, 2, I(o[0]), I(o[1])),
      HVFX_INT_GETTER(AdaV_GetParam, AutoLevel_GetParam, 4, I(o[0]), I(o[1]), I(o[2]), I(o[3])),
      HVFX_INT_GETTER(AdaV_GetVolUpDownRate, AutoLevel_GetVolUpDownRate, 2, I(o[0]), I(o[1])),
      {"EQ_GetLPFEnable", Out::Flag, 1, false, false,
       [](P p, int ch, int, void** o) { return HVSFX_EQ_GetLPFEnable(p, ch, B(o[0])); }, nullptr},
      {"EQ_GetHPFEnable", Out::Flag, 1, false, false,
       [](P p, int ch, int, void** o) { return HVSFX_EQ_GetHPFEnable(p, ch, B(o[0])); }, nullptr},
      {"EQ_GetLPFBandGain", Out::Ints, 2, true, false,
       [](P p, int ch, int, void** o) { return HVSFX_EQ_GetLPFBandGain(p, ch, I(o[0]), I(o[1])); },
       [](int ch, int, void** o) { return HVTralo_EQ_GetLPFBandGain(ch, I(o[0]), I(o[1])); }},
      {"EQ_GetHPFBandGain", Out::Ints, 2, true, false,
       [](P p, int ch, int, void** o) { return HVSFX_EQ_GetHPFBandGain(p, ch, I(o[0]), I(o[1])); },
       [](int ch, int, void** o) { return HVTralo_EQ_GetHPFBandGain(ch, I(o[0]), I(o[1])); }},
      {"EQ_GetBandGain", Out::Band, 3, true, true,
       [](P p, int ch, int band, void** o) {
         return HVSFX_EQ_GetBandGain(p, ch, band, I(o[0]), I(o[1]), static_cast<float*>(o[2]));
       },
       [](int ch, int band, void** o) {
         return HVTralo_EQ_GetBandGain(ch, band, I(o[0]), I(o[1]), static_cast<float*>(o[2]));
       }},
  };
  return rows;
}

bool SameRecord(const HVSFX_Param& a, const HVSFX_Param& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

class ApiSweep : public ::testing::TestWithParam<bool> {  // true: the front interface
 protected:
  void SetUp() override { chain::ReloadLibrary(); }
  void TearDown() override {
    HVSFX_Release(&own);
    chain::ReloadLibrary();
  }
  bool front() const { return GetParam(); }
  P record() { return front() ? &hvfx::api::GlobalFront().record : &own; }
  void Initialise() {
    if (front()) {
      ASSERT_EQ(HVTralo_Init(48000, kChannels), 1);
    } else {
      own.nInChannels = own.nOutChannels = kChannels;
      ASSERT_EQ(HVSFX_Init(&own), 1);
    }
  }
  HVSFX_Param own = HVSFX_Param_Default;
};

TEST_P(ApiSweep, SettersReturnTheDocumentedCodeAndRefusalsChangeNothing) {
  for (bool initialised : {false, true}) {
    if (initialised) Initialise();
    for (const Setter& s : Setters()) {
      if (front() && !s.front) continue;
      if (!front()) EXPECT_EQ(s.engine(nullptr, 0, 0, 1, 2.0f), 0) << s.name << " with a null record";
      for (int ch = -2; ch <= HVSFX_MAX_CHANNELS + 1; ++ch)
        for (int band = -2; band <= HVSFX_MAX_EQ_BANDS; ++band)
          for (int v : kValues)
            for (float q : kQs) {
              const HVSFX_Param before = *record();
              const int got = front() ? s.front(ch, band, v, q) : s.engine(record(), ch, band, v, q);
              const int want = Expected(s.rule, initialised, ch, band);
              ASSERT_EQ(got, want) << s.name << " ch " << ch << " band " << band << " v " << v << " q " << q
                                   << (initialised ? " initialised" : " before init");
              if (got == 0 || (got == -2 && s.rule != Rule::Module))
                ASSERT_TRUE(SameRecord(before, *record())) << s.name << " changed the record when refused";
              if (s.rule == Rule::Always1 || s.rule == Rule::Always0 || s.rule == Rule::Module) break;
            }
    }
  }
}

TEST_P(ApiSweep, GettersReportOrLeaveTheirSentinels) {
  for (bool initialised : {false, true}) {
    if (initialised) Initialise();
    for (const Getter& g : Getters()) {
      if (front() && !g.front) continue;
      for (int ch = -2; ch <= HVSFX_MAX_CHANNELS + 1; ++ch)
        for (int band = -2; band <= HVSFX_MAX_EQ_BANDS; ++band)
          for (int nullOut = -1; nullOut < g.outs; ++nullOut) {  // -1: every pointer given
            int ints[4] = {-7777, -7777, -7777, -7777};
            bool flag = true;
            float q = -7777.0f;
            void* o[4] = {&ints[0], &ints[1], &ints[2], &ints[3]};
            if (g.kind == Out::Flag) o[0] = &flag;
            if (g.kind == Out::Band) o[2] = &q;
            if (nullOut >= 0) o[nullOut] = nullptr;
            const HVSFX_Param before = *record();
            const int got = front() ? g.front(ch, band, o) : g.engine(record(), ch, band, o);
            const bool valid = nullOut < 0 && (!g.channel || (ch >= 0 && ch < HVSFX_MAX_CHANNELS)) &&
                               (!g.band || (band >= 0 && band < HVSFX_MAX_EQ_BANDS));
            ASSERT_EQ(got, valid ? 1 : 0) << g.name << " ch " << ch << " band " << band << " null " << nullOut;
            ASSERT_TRUE(SameRecord(before, *record())) << g.name;
            if (!valid) {
              for (int k = 0; k < 4; ++k) ASSERT_EQ(ints[k], -7777) << g.name << " wrote output " << k;
              ASSERT_TRUE(flag) << g.name;
              ASSERT_EQ(q, -7777.0f) << g.name;
            }
            if (!front()) ASSERT_EQ(g.engine(nullptr, ch, band, o), 0) << g.name << " with a null record";
          }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(BothInterfaces, ApiSweep, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Front" : "Engine"; });

}  // namespace
