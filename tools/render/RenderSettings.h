// Every control of the front interface the renderer can set, with the
// renderer's defaults, its preset file form (JSON) and the order in which the
// settings are handed to the library.
#pragma once

#include <array>
#include <string>

#include <nlohmann/json_fwd.hpp>

namespace hvrender {

constexpr int kChannels = 6;  // the record holds six channels
constexpr int kBands = 8;     // equalizer bands per channel

struct Shelf {
  int gainDb;  // -20 ... 20
  int freqHz;
};

struct EqBand {
  int gainDb = 0;  // -20 ... 20; 0 switches the band off
  int freqHz = 1000;
  float q = 2.0f;  // 0.1 ... 20
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
  int relativeVolume = 75;  // percent 0 ... 100
  int stationMs = 5000;     // 5000 ... 20000
  int baseDb = -9;          // -3 or -9
  int upRate = 6;           // dB per second, 3 ... 15
  int downRate = 6;
};

enum class SoundbarMode { Off, On, Auto };
enum class Width { Wide = 0, Default = 1, Narrow = 2 };

// The renderer's starting point: the front interface's own defaults after its
// first initialisation, with the master switch, the leveller and the limiter
// on, the equalizer off (its stored shelves are the library's -20 dB low shelf
// at 1 kHz and a flat high shelf at 8 kHz), and the soundbar on wherever it can
// run (5.1 at 44.1 or 48 kHz).
struct RenderSettings {
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

// Preset file form. ToJson writes every setting; FromJson takes any subset
// over `settings` and throws std::runtime_error naming the first bad key or
// value (unknown keys are refused so that typing errors do not pass silently).
nlohmann::json ToJson(const RenderSettings& settings);
void FromJson(const nlohmann::json& preset, RenderSettings& settings);

// Whether the soundbar stage can run on this material.
bool SoundbarSupported(int sampleRate, int channels);

// Initialises the front interface for the stream and hands it every setting,
// in the order that lets each one take effect from the first sample (see the
// source). Returns an empty string, or what went wrong.
std::string ApplyToFront(const RenderSettings& settings, int sampleRate, int channels);

// Validation shared by the flags and the preset reader; each throws
// std::runtime_error with the value's name and range.
void CheckEqGain(int db, const char* what);
void CheckFrequency(int hz, const char* what);
void CheckQ(float q, const char* what);
void CheckLeveller(const Leveller& l, const char* what);
void CheckDistance(int cm);
void CheckLfe(int hz, int db);

}  // namespace hvrender
