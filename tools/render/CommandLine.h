// The renderer's command line: flags are read in order, so a flag after
// --preset overrides the preset's value and one before it is overridden.
#pragma once

#include <string>

#include "preset/Preset.h"

namespace hvrender {

using hvpreset::Settings;

struct Options {
  Settings settings;
  std::string input;       // empty: the demo programme; "-": standard input
  std::string output;      // empty: report only
  std::string savePreset;  // --save-preset
  std::string reportJson;  // --report-json
  std::string saveInput;   // --save-input
  bool demo51 = false;
  bool raw = false;
  bool acceptTruncated = false;
  bool quiet = false;
  bool help = false;
  bool version = false;
};

// Throws std::runtime_error with a one-line message naming the flag (a
// hvpreset::Refusal for a value out of range or a refused preset).
Options ParseCommandLine(int argc, char** argv);

const char* HelpText();

}  // namespace hvrender
