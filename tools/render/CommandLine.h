// The renderer's command line: flags are read in order, so a flag after
// --preset overrides the preset's value and one before it is overridden.
#pragma once

#include <string>

#include "RenderSettings.h"

namespace hvrender {

struct Options {
  RenderSettings settings;
  std::string input;       // empty: the demo programme
  std::string output;      // empty: report only
  std::string savePreset;  // --save-preset
  std::string reportJson;  // --report-json
  std::string saveInput;    // --save-input
  bool demo51 = false;
  bool raw = false;
  bool quiet = false;
  bool help = false;
  bool version = false;
};

// Throws std::runtime_error with a one-line message naming the flag.
Options ParseCommandLine(int argc, char** argv);

const char* HelpText();

}  // namespace hvrender
