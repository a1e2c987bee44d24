#include "CommandLine.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace hvrender {

using namespace hvpreset;

namespace {

[[noreturn]] void Fail(const std::string& message) { throw std::runtime_error(message); }

int ToInt(const std::string& flag, const std::string& text) {
  int v = 0;
  const char* end = text.data() + text.size();
  auto [p, ec] = std::from_chars(text.data(), end, v);
  if (text.empty() || ec != std::errc() || p != end) Fail(flag + ": '" + text + "' is not a whole number");
  return v;
}

float ToFloat(const std::string& flag, const std::string& text) {
  try {
    size_t used = 0;
    const float v = std::stof(text, &used);
    if (used == text.size()) return v;
  } catch (const std::exception&) {
  }
  Fail(flag + ": '" + text + "' is not a number");
}

bool OnOff(const std::string& flag, const std::string& v) {
  if (v == "on") return true;
  if (v == "off") return false;
  Fail(flag + ": expected on or off, not '" + v + "'");
}

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts;
  std::stringstream ss(text);
  std::string part;
  while (std::getline(ss, part, ':')) parts.push_back(part);
  if (!text.empty() && text.back() == ':') parts.emplace_back();
  return parts;
}

// all / -1, 0 ... 5, or the 5.1 names L R C LFE Ls Rs. Returns -1 for all.
int ChannelArg(const std::string& flag, const std::string& v) {
  static const std::map<std::string, int> kNames = {{"all", -1}, {"L", 0},  {"R", 1},
                                                    {"C", 2},    {"LFE", 3}, {"Ls", 4}, {"Rs", 5}};
  if (auto it = kNames.find(v); it != kNames.end()) return it->second;
  const int c = ToInt(flag, v);
  if (c < -1 || c > 5) Fail(flag + ": channel " + v + " is not all, 0 ... 5 or L R C LFE Ls Rs");
  return c;
}

template <typename Fn>
void ForChannels(int channel, Fn fn) {
  for (int c = 0; c < kChannels; ++c)
    if (channel < 0 || channel == c) fn(c);
}

void ShelfArg(const std::string& flag, const std::string& v, Shelf ChannelEq::*shelf, Settings& s) {
  const auto p = Split(v);
  if (p.size() < 2 || p.size() > 3) Fail(flag + ": expected CH:DB[:HZ], not '" + v + "'");
  const int ch = ChannelArg(flag, p[0]);
  const int db = ToInt(flag, p[1]);
  CheckRange(flag, db, kGainDb);
  const int hz = p.size() == 3 ? ToInt(flag, p[2]) : 0;
  if (p.size() == 3) CheckRange(flag, hz, kFreqHz);
  ForChannels(ch, [&](int c) {
    (s.channels[c].*shelf).gainDb = db;
    if (hz > 0) (s.channels[c].*shelf).freqHz = hz;
  });
}

void BandArg(const std::string& flag, const std::string& v, Settings& s) {
  const auto p = Split(v);
  if (p.size() < 3 || p.size() > 5) Fail(flag + ": expected CH:BAND:DB[:HZ[:Q]], not '" + v + "'");
  const int ch = ChannelArg(flag, p[0]);
  const int band = ToInt(flag, p[1]);
  if (band < 0 || band >= kBands) Fail(flag + ": band " + p[1] + " is not 0 ... 7");
  const int db = ToInt(flag, p[2]);
  CheckRange(flag, db, kGainDb);
  const int hz = p.size() >= 4 && !p[3].empty() ? ToInt(flag, p[3]) : 0;
  if (hz != 0) CheckRange(flag, hz, kFreqHz);
  const float q = p.size() == 5 ? ToFloat(flag, p[4]) : 0.0f;
  if (p.size() == 5) CheckQ(flag, q);
  ForChannels(ch, [&](int c) {
    EqBand& b = s.channels[c].bands[band];
    b.gainDb = db;
    if (hz > 0) b.freqHz = hz;
    if (q > 0) b.q = q;
  });
}

int RangedInt(const std::string& flag, const std::string& v, Range r) {
  const int i = ToInt(flag, v);
  CheckRange(flag, i, r);
  return i;
}

// The leveller flags shared by --autolevel-* and --lfe-autolevel-*; false for
// a suffix that names none.
bool LevellerArg(const std::string& flag, const std::string& suffix, const std::string* v, Leveller* l) {
  static const char* const kSuffixes[] = {"", "-mode", "-volume", "-station", "-base", "-up", "-down"};
  if (std::find(std::begin(kSuffixes), std::end(kSuffixes), suffix) == std::end(kSuffixes)) return false;
  if (v == nullptr) return true;  // only asked whether the flag exists
  if (suffix.empty()) l->enable = OnOff(flag, *v);
  else if (suffix == "-mode") {
    if (*v != "steep" && *v != "flat") Fail(flag + ": expected steep or flat, not '" + *v + "'");
    l->mode = *v == "steep" ? 1 : 0;
  } else if (suffix == "-volume") l->relativeVolume = RangedInt(flag, *v, kVolumePct);
  else if (suffix == "-station") l->stationMs = RangedInt(flag, *v, kStationMs);
  else if (suffix == "-base") {
    l->baseDb = ToInt(flag, *v);
    CheckOneOf(flag, l->baseDb, {-3, -9}, " dB");
  } else if (suffix == "-up") l->upRate = RangedInt(flag, *v, kDbPerS);
  else l->downRate = RangedInt(flag, *v, kDbPerS);
  return true;
}

bool IsLevellerFlag(const std::string& flag, Leveller* l = nullptr, const std::string* v = nullptr) {
  for (const std::string prefix : {"--lfe-autolevel", "--autolevel"})
    if (flag.rfind(prefix, 0) == 0) return LevellerArg(flag, flag.substr(prefix.size()), v, l);
  return false;
}

// Flags that take a value.
bool TakesValue(const std::string& flag) {
  static const char* const kFlags[] = {
      "--preset", "--save-preset", "--report-json", "--save-input", "-o", "--output", "--master", "--limiter",
      "--surround", "--eq", "--eq-band", "--low-shelf", "--high-shelf", "--low-shelf-switch",
      "--high-shelf-switch", "--soundbar", "--soundbar-distance", "--soundbar-width", "--lfe-copy", "--lfe-freq",
      "--lfe-gain"};
  return std::find(std::begin(kFlags), std::end(kFlags), flag) != std::end(kFlags) || IsLevellerFlag(flag);
}

void LoadPreset(const std::string& path, Settings& s) {
  if (std::filesystem::is_directory(path)) Fail(path + ": is a folder, not a preset");
  std::ifstream in(path);
  if (!in) Fail(path + ": cannot read the preset");
  std::stringstream text;
  text << in.rdbuf();
  try {
    FromJson(Parse(text.str()), s);
  } catch (const Refusal& e) {
    throw Refusal(path + ": " + e.what());
  }
}

}  // namespace

Options ParseCommandLine(int argc, char** argv) {
  Options o;
  Settings& s = o.settings;
  std::vector<std::string> positional;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.size() < 2 || arg[0] != '-' || arg == "--") {
      if (arg == "--") {
        for (++i; i < argc; ++i) positional.emplace_back(argv[i]);
        break;
      }
      positional.push_back(arg);
      continue;
    }
    if (arg == "-h" || arg == "--help") { o.help = true; continue; }
    if (arg == "--version") { o.version = true; continue; }
    if (arg == "--raw") { o.raw = true; continue; }
    if (arg == "-q" || arg == "--quiet") { o.quiet = true; continue; }
    if (arg == "--demo-51") { o.demo51 = true; continue; }
    if (arg == "--accept-truncated") { o.acceptTruncated = true; continue; }
    std::string flag = arg, value;
    const auto eq = arg.find('=');
    if (eq != std::string::npos) flag = arg.substr(0, eq);
    if (!TakesValue(flag)) Fail(flag + ": unknown option (see --help)");
    if (eq != std::string::npos) {
      value = arg.substr(eq + 1);
    } else {
      if (i + 1 >= argc) Fail(flag + ": needs a value (see --help)");
      value = argv[++i];
    }
    if (flag == "--preset") LoadPreset(value, s);
    else if (flag == "--save-preset") o.savePreset = value;
    else if (flag == "--report-json") o.reportJson = value;
    else if (flag == "--save-input") o.saveInput = value;
    else if (flag == "-o" || flag == "--output") o.output = value;
    else if (flag == "--master") s.master = OnOff(flag, value);
    else if (flag == "--limiter") s.limiter = OnOff(flag, value);
    else if (flag == "--surround") s.surround = OnOff(flag, value);
    else if (flag == "--eq") s.eq = OnOff(flag, value);
    else if (flag == "--eq-band") BandArg(flag, value, s);
    else if (flag == "--low-shelf") ShelfArg(flag, value, &ChannelEq::lowShelf, s);
    else if (flag == "--high-shelf") ShelfArg(flag, value, &ChannelEq::highShelf, s);
    else if (flag == "--low-shelf-switch") s.lowShelfEnable = OnOff(flag, value);
    else if (flag == "--high-shelf-switch") s.highShelfEnable = OnOff(flag, value);
    else if (flag == "--soundbar") {
      if (value == "auto") s.soundbar = SoundbarMode::Auto;
      else s.soundbar = OnOff(flag, value) ? SoundbarMode::On : SoundbarMode::Off;
    } else if (flag == "--soundbar-distance") {
      s.distanceCm = ToInt(flag, value);
      CheckDistance(flag, s.distanceCm);
    } else if (flag == "--soundbar-width") {
      if (value == "wide") s.width = Width::Wide;
      else if (value == "default") s.width = Width::Default;
      else if (value == "narrow") s.width = Width::Narrow;
      else Fail(flag + ": expected wide, default or narrow, not '" + value + "'");
    } else if (flag == "--lfe-copy") s.lfeCopy = OnOff(flag, value);
    else if (flag == "--lfe-freq") s.lfeFreqHz = RangedInt(flag, value, kFreqHz);
    else if (flag == "--lfe-gain") s.lfeGainDb = RangedInt(flag, value, kGainDb);
    else IsLevellerFlag(flag, flag.rfind("--lfe", 0) == 0 ? &s.lfeLeveller : &s.autolevel, &value);
  }
  if (positional.size() > 2) Fail("too many file names: give INPUT and OUTPUT at most");
  if (!positional.empty()) o.input = positional[0];
  if (positional.size() == 2) {
    if (!o.output.empty()) Fail("the output is named twice (OUTPUT and -o)");
    o.output = positional[1];
  }
  return o;
}

const char* HelpText() {
  return R"(Usage: hvtralo-render [options] [INPUT [OUTPUT]]

Renders INPUT (WAV, FLAC or anything else libsndfile reads; "-" reads standard
input; mono, stereo or 5.1 at 8, 11.025, 16, 22.05, 32, 44.1 or 48 kHz) through
libhvtralofx's front interface and writes OUTPUT in the container its
extension names (.wav, .flac, .aiff, ...; the input's when the extension names
none, said in the report) and in the input's sample format where that
container takes it. Input that is not 16-bit PCM is rounded to 16 bits without
dither (the library's sample format) and written back from those 16 bits.
Without INPUT it renders a built-in demo programme (32 s at 48 kHz, stereo;
5.1 with --demo-51). Without OUTPUT it only reports. The output is
time-aligned with the input and as long as it: the library's latency is
removed and its tail flushed.

The file is streamed: read, processed, measured (input and output in the same
pass) and written block by block, so memory stays the same for any length.
Nothing is overwritten by mistake: an output (audio, --report-json,
--save-preset, --save-input) that is the input file, or the same file as
another output, under any name or link, is refused before anything is
written. Every file is written under a temporary name and put in place only
when the run succeeds. Input shorter than its header announces is refused.

Files and report
  -o, --output FILE            output file (same as OUTPUT)
  --raw                        keep the library's own timing (output delayed
                               by the latency, tail not flushed)
  --report-json FILE           the report as JSON, with the short-term loudness
                               of input and output every 100 ms
  --preset FILE                read settings from a JSON preset; flags after it
                               override it, flags before it are overridden
  --save-preset FILE           write every setting as a JSON preset (without
                               INPUT: write it and stop)
  --save-input FILE            also write the input as rendered: the demo
                               programme, or the file rounded to 16 bits (WAV)
  --accept-truncated           render an input shorter than its header says as
                               far as it goes, and say so
  --demo-51                    demo programme in 5.1
  -q, --quiet                  no progress bar
  -h, --help, --version

Master switch
  --master on|off              all effects (default on); off, and everything
                               that does not go to the soundbar, takes the
                               library's fixed attenuation of 19661/32768
                               (-4.4 dB)

Equalizer (per channel; CH is all, 0...5 or L R C LFE Ls Rs)
  --eq on|off                  equalizer (default off)
  --eq-band CH:BAND:DB[:HZ[:Q]]
                               band 0...7, gain -20...20 dB (0 switches the
                               band off), centre 20...24000 Hz (defaults 250
                               400 630 1000 1600 2500 4000 6300), Q 0.1...20
                               (default 2); HZ may be left empty: 0:3:6::1.5
  --low-shelf CH:DB[:HZ]       low shelf gain -20...20 dB (default -20 dB),
                               corner 20...24000 Hz (default 1000, at least
                               150 in the library)
  --high-shelf CH:DB[:HZ]      high shelf (default 0 dB at 8000 Hz)
  --low-shelf-switch on|off    low shelves of every channel (default on)
  --high-shelf-switch on|off   high shelves of every channel (default on)

Limiter
  --limiter on|off             peak limiter (default on; it runs only together
                               with another effect)

Leveller (AutoLevel), main channels
  --autolevel on|off           default on
  --autolevel-mode steep|flat  level curve (default steep)
  --autolevel-volume PCT       relative volume 0...100 % (default 75)
  --autolevel-station MS       stationarity time 5000...20000 ms (default 5000)
  --autolevel-base DB          base volume -3 or -9 dB (default -9)
  --autolevel-up DBPS          gain rise rate 3...15 dB/s (default 6)
  --autolevel-down DBPS        gain fall rate 3...15 dB/s (default 6)

Soundbar virtualizer (5.1 at 44.1 or 48 kHz only)
  --soundbar on|off|auto       default auto: on wherever it can run; "on" on
                               other material is an error
  --soundbar-distance CM       listening distance 30, 40, 50, 60 or 70 cm
                               (default 50)
  --soundbar-width wide|default|narrow   (default wide)

LFE stage (5.1, with the soundbar)
  --lfe-copy on|off            mix all channels into the LFE (default on)
  --lfe-freq HZ                LFE band-pass centre 20...24000 Hz (default 400)
  --lfe-gain DB                LFE band-pass gain -20...20 dB (default -12)
  --lfe-autolevel on|off       LFE leveller (default on), with -mode, -volume,
                               -station (default 6000), -base, -up, -down as
                               for --autolevel

Other
  --surround on|off            the library's surround switch: a 6 dB lift of
                               channels 0 and 1 on part of each block
                               (default off)

Presets and these flags are checked by the preset core (libhvtralofx_preset),
which the Python binding and hvtralo-plot share: an unknown key, a value of the
wrong type or out of range is refused in one line naming its path, e.g.
  eq.channels[0].bands[3].gain_db: 25 is out of range (-20 ... 20)
and so is "soundbar": {"enable": "on"} on material other than 5.1 at 44.1 or
48 kHz. Settings this material cannot use otherwise (a band of channel 4 on a
stereo file, the LFE stage on stereo) are kept and saved in presets, and have
no effect; the report names the stages that ran.

The report gives loudness (EBU R128) and peaks of input and output, and says in
one line when the loudness range rises because the output lifts quiet passages
over the range measure's gate. Its speed line covers the whole run.

Exit status: 0 done, 1 the render failed (unreadable, unsupported or
truncated input, a write error), 2 bad command line or preset, or an output
that would overwrite the input or another output. On failure no output file is
left behind.
)";
}

}  // namespace hvrender
