// The plugin's control ports: one per front-interface setting, with the
// preset core's ranges and defaults. The plugin reads this table to drive the
// engine and the bundle's Turtle files are written from it, so a setting is
// named, bounded and defaulted in one place.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct HVFX_Engine;

namespace hvlv2 {

enum class Kind { Toggle, Int, Enum, Float };

// A setter of the instance interface. Settings one setter takes together
// (a band's gain, frequency and Q; the leveller's four parameters) are
// consecutive controls of the same group, channel and band.
enum class Group {
  AutoLevelParam, LfeLevParam, Distance, Width, LfeFreq, LfeGain, AutoLevelRate, LfeLevRate,
  LowShelfSwitch, HighShelfSwitch, LowShelf, HighShelf, Band,
  Eq, AutoLevel, Limiter, Surround, Soundbar, LfeCopy, LfeLev, Master
};

struct Control {
  std::string symbol, name;
  Kind kind;
  float min, max, def;
  Group group;
  int channel = 0, band = 0;
  std::vector<std::pair<int, const char*>> labels = {};  // enumerations only
};

// Ports before the controls: audio inputs, audio outputs, the latency output
// and the host's bypass (lv2:enabled).
inline int AudioIn(int) { return 0; }
inline int AudioOut(int channels) { return channels; }
inline int LatencyPort(int channels) { return 2 * channels; }
inline int EnabledPort(int channels) { return 2 * channels + 1; }
inline int FirstControl(int channels) { return 2 * channels + 2; }

// The controls of the stereo (2) or 5.1 (6) plugin, in the order a change
// reaches the engine (leveller parameters before their rates, which they
// reset; the settings before the switches; the master switch last).
const std::vector<Control>& Controls(int channels);

// The last of the settings an engine takes while released, so that its next
// initialisation builds the modules with them (handed to a running soundbar,
// even unchanged, they start its fade through silence).
constexpr Group kLastStoredWhileReleased = Group::LfeGain;

// Hands the engine every control of the groups up to `last` whose value
// differs from `applied` (NaN there applies it whatever it is) and records it
// there. The soundbar is switched on only where it can run (`soundbarRuns`).
void Apply(HVFX_Engine* engine, const std::vector<Control>& controls, const float* values, float* applied,
           bool soundbarRuns, Group last = Group::Master);

}  // namespace hvlv2
