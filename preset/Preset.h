// The preset core: every front-interface setting the tuning tools know, its
// defaults, its JSON form, the limits of each value and the order in which the
// settings reach the library. The C entry points (hvtralofx/HVTralo_Preset.h)
// and the renderer's command line are built on it.
#pragma once

#include <array>
#include <initializer_list>
#include <stdexcept>
#include <string>

#include <nlohmann/json_fwd.hpp>

typedef struct HVFX_Engine HVFX_Engine;

namespace hvpreset {

constexpr int kChannels = 6;  // the record holds six channels
constexpr int kBands = 8;     // equalizer bands per channel

// A refusal: one line, starting with the path of the key (or the flag) at
// fault, e.g. "eq.channels[0].bands[3].gain_db: 25 is out of range (-20 ... 20)".
struct Refusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Range {
  int lo, hi;
};
constexpr Range kGainDb{-20, 20};
constexpr Range kFreqHz{20, 24000};
constexpr Range kVolumePct{0, 100};
constexpr Range kStationMs{5000, 20000};
constexpr Range kDbPerS{3, 15};
constexpr float kQLo = 0.1f, kQHi = 20.0f;

// Each throws a Refusal "<path>: <value> is ..." when the value is outside.
void CheckRange(const std::string& path, long long v, Range r);
void CheckQ(const std::string& path, double q);
void CheckOneOf(const std::string& path, int v, std::initializer_list<int> allowed, const char* unit);

struct Shelf {
  int gainDb;
  int freqHz;
};

struct EqBand {
  int gainDb = 0;  // 0 switches the band off
  int freqHz = 1000;
  float q = 2.0f;
};

struct ChannelEq {
  Shelf lowShelf{-20, 1000};
  Shelf highShelf{0, 8000};
  std::array<EqBand, kBands> bands{};
  ChannelEq();
};

struct Leveller {
  bool enable = true;
  int mode = 1;             // 1 steep level curve, 0 flat
  int relativeVolume = 75;  // percent
  int stationMs = 5000;
  int baseDb = -9;          // -3 or -9
  int upRate = 6;           // dB per second
  int downRate = 6;
};

enum class SoundbarMode { Off, On, Auto };
enum class Width { Wide = 0, Default = 1, Narrow = 2 };

// The starting point: the front interface's own defaults after its first
// initialisation, with the master switch, the leveller and the limiter on,
// the equalizer off (its stored shelves are the library's -20 dB low shelf at
// 1 kHz and a flat high shelf at 8 kHz), and the soundbar on wherever it can
// run (5.1 at 44.1 or 48 kHz).
struct Settings {
  bool master = true;
  bool limiter = true;
  bool surround = false;
  bool eq = false;
  bool lowShelfEnable = true;
  bool highShelfEnable = true;
  std::array<ChannelEq, kChannels> channels{};
  Leveller autolevel{};
  SoundbarMode soundbar = SoundbarMode::Auto;
  int distanceCm = 50;  // 30, 40, 50, 60, 70
  Width width = Width::Wide;
  bool lfeCopy = true;
  int lfeFreqHz = 400;
  int lfeGainDb = -12;
  Leveller lfeLeveller{true, 1, 75, 6000, -9, 6, 6};
};

void CheckDistance(const std::string& path, int cm);

// JSON form. ToJson writes every setting; FromJson lays any subset over
// `settings`, refusing unknown keys, wrong types and values out of range.
nlohmann::json ToJson(const Settings& settings);
void FromJson(const nlohmann::json& preset, Settings& settings);
// Parses preset text, refusing text that is not JSON.
nlohmann::json Parse(const std::string& text);

bool SoundbarSupported(int sampleRate, int channels);
bool SoundbarRuns(const Settings& s, int sampleRate, int channels);

// Refuses a stream the library cannot take (rate, channel count) and settings
// it cannot run on it (the soundbar forced on elsewhere than 5.1 at 44.1 or
// 48 kHz).
void CheckLayout(const Settings& settings, int sampleRate, int channels);

// Where the settings go: the setter calls of the front interface today, of an
// engine instance later. `context` is handed to every call.
struct Target {
  void* context;
  int (*Init)(void*, int sampleRate, int channels);
  int (*Release)(void*);
  int (*SetEnable)(void*, bool);
  int (*DRC_SetEnable)(void*, bool);
  int (*Surround_SetEnable)(void*, bool);
  int (*AutoLevel_SetEnable)(void*, bool);
  int (*AutoLevel_SetParam)(void*, int mode, int relativeVolume, int stationMs, int base);
  int (*AutoLevel_SetVolUpDownRate)(void*, int up, int down);
  int (*EQ_SetEnable)(void*, bool);
  int (*EQ_SetLPFEnable)(void*, bool);
  int (*EQ_SetHPFEnable)(void*, bool);
  int (*EQ_SetLPFBandGain)(void*, int channel, int gainDb, int freqHz);
  int (*EQ_SetHPFBandGain)(void*, int channel, int gainDb, int freqHz);
  int (*EQ_SetBandGain)(void*, int channel, int band, int gainDb, int freqHz, float q);
  int (*Soundbar_SetEnable)(void*, bool);
  int (*Soundbar_SetDistance)(void*, int cm);
  int (*Soundbar_SetAngle)(void*, int angle);
  int (*Soundbar_SetLFECopyEnable)(void*, bool);
  int (*Soundbar_SetLFEFreq)(void*, int hz);
  int (*Soundbar_SetLFEGain)(void*, int db);
  int (*Soundbar_SetLFESVEnable)(void*, bool);
  int (*Soundbar_SetLFESVParam)(void*, int mode, int relativeVolume, int stationMs, int base);
  int (*Soundbar_SetLFESVVolUpDownRate)(void*, int up, int down);
};

// The front interface as a target.
const Target& FrontTarget();
// An engine instance as a target.
Target InstanceTarget(HVFX_Engine* engine);

// Checks the layout, initialises the target for the stream and hands it
// every setting. Throws a Refusal for the layout, std::runtime_error when the
// library refuses the stream.
void Apply(const Settings& settings, int sampleRate, int channels, const Target& target);

}  // namespace hvpreset
