#include "preset/Preset.h"

#include <hvtralofx/HVFX_Engine.h>
#include <hvtralofx/HVTralo_Front.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace hvpreset {

using nlohmann::json;

namespace {

constexpr int kDefaultBandHz[kBands] = {250, 400, 630, 1000, 1600, 2500, 4000, 6300};
constexpr Range kAnyInt{-2147483647 - 1, 2147483647};
constexpr int kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};

[[noreturn]] void Refuse(const std::string& path, const std::string& problem) {
  throw Refusal(path + ": " + problem);
}

// A value as the preset wrote it, shortened for a one-line message.
std::string Shown(const json& v) {
  std::string s = v.dump();
  return s.size() > 40 ? s.substr(0, 37) + "..." : s;
}

// Reads the keys of `object` through `take(key, value, path)`, refusing
// anything that is not an object and any key `take` does not know.
template <typename Take>
void ReadObject(const json& object, const std::string& path, Take take) {
  if (!object.is_object()) Refuse(path, "expected an object, not " + Shown(object));
  for (const auto& [key, value] : object.items()) {
    const std::string at = path.empty() ? key : path + "." + key;
    if (!take(key, value, at)) Refuse(at, "unknown key");
  }
}

template <typename Items>
void ReadList(const json& list, const std::string& path, size_t most, Items item) {
  if (!list.is_array()) Refuse(path, "expected a list, not " + Shown(list));
  if (list.size() > most) Refuse(path, std::to_string(list.size()) + " entries, at most " + std::to_string(most));
  for (size_t i = 0; i < list.size(); ++i) item(list[i], i, path + "[" + std::to_string(i) + "]");
}

bool Bool(const json& v, const std::string& path) {
  if (!v.is_boolean()) Refuse(path, "expected true or false, not " + Shown(v));
  return v.get<bool>();
}

int Int(const json& v, const std::string& path, Range r) {
  if (!v.is_number_integer()) Refuse(path, "expected a whole number, not " + Shown(v));
  const long long i = v.is_number_unsigned() && v.get<unsigned long long>() > 1ull << 40 ? 1ll << 40
                                                                                        : v.get<long long>();
  CheckRange(path, i, r);
  return static_cast<int>(i);
}

// One of the given names; returns its index.
int Name(const json& v, const std::string& path, std::initializer_list<const char*> names) {
  std::string list;
  for (const char* n : names) list += std::string(list.empty() ? "" : ", ") + "\"" + n + "\"";
  if (v.is_string()) {
    int i = 0;
    for (const char* n : names) {
      if (v.get<std::string>() == n) return i;
      ++i;
    }
  }
  Refuse(path, "expected one of " + list + ", not " + Shown(v));
}

json LevellerJson(const Leveller& l) {
  return {{"enable", l.enable},          {"mode", l.mode == 1 ? "steep" : "flat"},
          {"relative_volume_pct", l.relativeVolume}, {"station_ms", l.stationMs},
          {"base_db", l.baseDb},         {"up_db_per_s", l.upRate},
          {"down_db_per_s", l.downRate}};
}

void ReadLeveller(const json& j, const std::string& path, Leveller& l) {
  ReadObject(j, path, [&](const std::string& k, const json& v, const std::string& at) {
    if (k == "enable") l.enable = Bool(v, at);
    else if (k == "mode") l.mode = Name(v, at, {"flat", "steep"});
    else if (k == "relative_volume_pct") l.relativeVolume = Int(v, at, kVolumePct);
    else if (k == "station_ms") l.stationMs = Int(v, at, kStationMs);
    else if (k == "base_db") {
      l.baseDb = Int(v, at, kAnyInt);
      CheckOneOf(at, l.baseDb, {-3, -9}, "");
    } else if (k == "up_db_per_s") l.upRate = Int(v, at, kDbPerS);
    else if (k == "down_db_per_s") l.downRate = Int(v, at, kDbPerS);
    else return false;
    return true;
  });
}

void ReadShelf(const json& j, const std::string& path, Shelf& s) {
  ReadObject(j, path, [&](const std::string& k, const json& v, const std::string& at) {
    if (k == "gain_db") s.gainDb = Int(v, at, kGainDb);
    else if (k == "freq_hz") s.freqHz = Int(v, at, kFreqHz);
    else return false;
    return true;
  });
}

void ReadBand(const json& j, const std::string& path, EqBand& b) {
  ReadObject(j, path, [&](const std::string& k, const json& v, const std::string& at) {
    if (k == "gain_db") b.gainDb = Int(v, at, kGainDb);
    else if (k == "freq_hz") b.freqHz = Int(v, at, kFreqHz);
    else if (k == "q") {
      if (!v.is_number()) Refuse(at, "expected a number, not " + Shown(v));
      CheckQ(at, v.get<double>());
      b.q = v.get<float>();
    } else return false;
    return true;
  });
}

void ReadChannel(const json& j, const std::string& path, ChannelEq& c) {
  ReadObject(j, path, [&](const std::string& k, const json& v, const std::string& at) {
    if (k == "low_shelf") ReadShelf(v, at, c.lowShelf);
    else if (k == "high_shelf") ReadShelf(v, at, c.highShelf);
    else if (k == "bands")
      ReadList(v, at, kBands, [&](const json& b, size_t i, const std::string& bp) { ReadBand(b, bp, c.bands[i]); });
    else return false;
    return true;
  });
}

}  // namespace

void CheckRange(const std::string& path, long long v, Range r) {
  if (v < r.lo || v > r.hi)
    Refuse(path,
           std::to_string(v) + " is out of range (" + std::to_string(r.lo) + " ... " + std::to_string(r.hi) + ")");
}

void CheckQ(const std::string& path, double q) {
  if (!(q >= static_cast<double>(kQLo) && q <= static_cast<double>(kQHi)))
    Refuse(path, json(q).dump() + " is out of range (0.1 ... 20)");
}

void CheckOneOf(const std::string& path, int v, std::initializer_list<int> allowed, const char* unit) {
  if (std::find(allowed.begin(), allowed.end(), v) != allowed.end()) return;
  std::string list;
  for (int a : allowed) list += std::string(list.empty() ? "" : ", ") + std::to_string(a);
  Refuse(path, std::to_string(v) + unit + " is not one of " + list + unit);
}

void CheckDistance(const std::string& path, int cm) { CheckOneOf(path, cm, {30, 40, 50, 60, 70}, " cm"); }

ChannelEq::ChannelEq() {
  for (size_t b = 0; b < bands.size(); ++b) bands[b].freqHz = kDefaultBandHz[b];
}

json ToJson(const Settings& s) {
  json channels = json::array();
  for (const ChannelEq& c : s.channels) {
    json bands = json::array();
    for (const EqBand& b : c.bands) bands.push_back({{"gain_db", b.gainDb}, {"freq_hz", b.freqHz}, {"q", b.q}});
    channels.push_back({{"low_shelf", {{"gain_db", c.lowShelf.gainDb}, {"freq_hz", c.lowShelf.freqHz}}},
                        {"high_shelf", {{"gain_db", c.highShelf.gainDb}, {"freq_hz", c.highShelf.freqHz}}},
                        {"bands", bands}});
  }
  static const char* const kModes[] = {"off", "on", "auto"};
  static const char* const kWidths[] = {"wide", "default", "narrow"};
  return {{"master", s.master},
          {"limiter", s.limiter},
          {"surround", s.surround},
          {"autolevel", LevellerJson(s.autolevel)},
          {"eq",
           {{"enable", s.eq},
            {"low_shelf_enable", s.lowShelfEnable},
            {"high_shelf_enable", s.highShelfEnable},
            {"channels", channels}}},
          {"soundbar",
           {{"enable", kModes[static_cast<int>(s.soundbar)]},
            {"distance_cm", s.distanceCm},
            {"width", kWidths[static_cast<int>(s.width)]}}},
          {"lfe",
           {{"copy", s.lfeCopy},
            {"freq_hz", s.lfeFreqHz},
            {"gain_db", s.lfeGainDb},
            {"autolevel", LevellerJson(s.lfeLeveller)}}}};
}

void FromJson(const json& preset, Settings& s) {
  const std::string root = preset.is_object() ? "" : "preset";
  ReadObject(preset, root, [&](const std::string& k, const json& v, const std::string& at) {
    if (k == "master") s.master = Bool(v, at);
    else if (k == "limiter") s.limiter = Bool(v, at);
    else if (k == "surround") s.surround = Bool(v, at);
    else if (k == "autolevel") ReadLeveller(v, at, s.autolevel);
    else if (k == "eq") {
      ReadObject(v, at, [&](const std::string& ek, const json& ev, const std::string& eat) {
        if (ek == "enable") s.eq = Bool(ev, eat);
        else if (ek == "low_shelf_enable") s.lowShelfEnable = Bool(ev, eat);
        else if (ek == "high_shelf_enable") s.highShelfEnable = Bool(ev, eat);
        else if (ek == "channels")
          ReadList(ev, eat, kChannels,
                   [&](const json& c, size_t i, const std::string& cp) { ReadChannel(c, cp, s.channels[i]); });
        else return false;
        return true;
      });
    } else if (k == "soundbar") {
      ReadObject(v, at, [&](const std::string& sk, const json& sv, const std::string& sat) {
        if (sk == "enable") s.soundbar = static_cast<SoundbarMode>(Name(sv, sat, {"off", "on", "auto"}));
        else if (sk == "distance_cm") {
          s.distanceCm = Int(sv, sat, kAnyInt);
          CheckDistance(sat, s.distanceCm);
        } else if (sk == "width") s.width = static_cast<Width>(Name(sv, sat, {"wide", "default", "narrow"}));
        else return false;
        return true;
      });
    } else if (k == "lfe") {
      ReadObject(v, at, [&](const std::string& lk, const json& lv, const std::string& lat) {
        if (lk == "copy") s.lfeCopy = Bool(lv, lat);
        else if (lk == "freq_hz") s.lfeFreqHz = Int(lv, lat, kFreqHz);
        else if (lk == "gain_db") s.lfeGainDb = Int(lv, lat, kGainDb);
        else if (lk == "autolevel") ReadLeveller(lv, lat, s.lfeLeveller);
        else return false;
        return true;
      });
    } else return false;
    return true;
  });
}

json Parse(const std::string& text) {
  try {
    return json::parse(text);
  } catch (const json::exception& e) {
    throw Refusal("not valid JSON (" + std::string(e.what()) + ")");
  }
}

bool SoundbarSupported(int sampleRate, int channels) {
  return channels == 6 && (sampleRate == 44100 || sampleRate == 48000);
}

bool SoundbarRuns(const Settings& s, int sampleRate, int channels) {
  return s.soundbar == SoundbarMode::On ||
         (s.soundbar == SoundbarMode::Auto && SoundbarSupported(sampleRate, channels));
}

void CheckLayout(const Settings& s, int sampleRate, int channels) {
  if (channels != 1 && channels != 2 && channels != 6)
    Refuse("channels", std::to_string(channels) + " is not supported (1, 2 or 6 = 5.1)");
  if (std::find(std::begin(kRates), std::end(kRates), sampleRate) == std::end(kRates))
    Refuse("sample rate", std::to_string(sampleRate) +
                              " Hz is not supported (8000, 11025, 16000, 22050, 32000, 44100 or 48000 Hz)");
  if (s.soundbar == SoundbarMode::On && !SoundbarSupported(sampleRate, channels))
    Refuse("soundbar.enable", "\"on\" needs 5.1 (6 channels) at 44.1 or 48 kHz, not " + std::to_string(channels) +
                                  " ch at " + std::to_string(sampleRate) + " Hz");
}

// The order matters in three places:
//  - The leveller parameters and the soundbar distance and width are stored
//    while the engine is released, so that the next initialisation builds the
//    modules with them: handed to a running soundbar they would start its
//    fade-out, filter rebuild and fade-in over the first samples.
//  - The equalizer setters need the equalizers, and the leveller rates must
//    follow the leveller parameters (which restore the default rates): both
//    come after the initialisation.
//  - The first initialisation of a process sets the front's first-time
//    defaults, among them the soundbar width, so it happens before anything.
void Apply(const Settings& s, int rate, int channels, const Target& t) {
  CheckLayout(s, rate, channels);
  void* const c = t.context;
  if (t.Init(c, rate, channels) != 1) throw std::runtime_error("the library refused the layout");
  t.Release(c);

  const auto base = [](const Leveller& l) { return l.baseDb == -3 ? 1 : 0; };
  const Leveller &al = s.autolevel, &lal = s.lfeLeveller;
  t.AutoLevel_SetParam(c, al.mode, al.relativeVolume, al.stationMs, base(al));
  t.Soundbar_SetLFESVParam(c, lal.mode, lal.relativeVolume, lal.stationMs, base(lal));
  t.Soundbar_SetDistance(c, s.distanceCm);
  t.Soundbar_SetAngle(c, static_cast<int>(s.width));
  t.Soundbar_SetLFEFreq(c, s.lfeFreqHz);
  t.Soundbar_SetLFEGain(c, s.lfeGainDb);
  if (t.Init(c, rate, channels) != 1) throw std::runtime_error("the library refused the layout");

  t.AutoLevel_SetVolUpDownRate(c, al.upRate, al.downRate);
  t.Soundbar_SetLFESVVolUpDownRate(c, lal.upRate, lal.downRate);
  t.EQ_SetLPFEnable(c, s.lowShelfEnable);
  t.EQ_SetHPFEnable(c, s.highShelfEnable);
  for (int ch = 0; ch < channels && ch < kChannels; ++ch) {
    const ChannelEq& eq = s.channels[static_cast<size_t>(ch)];
    t.EQ_SetLPFBandGain(c, ch, eq.lowShelf.gainDb, eq.lowShelf.freqHz);
    t.EQ_SetHPFBandGain(c, ch, eq.highShelf.gainDb, eq.highShelf.freqHz);
    for (int b = 0; b < kBands; ++b) {
      const EqBand& band = eq.bands[static_cast<size_t>(b)];
      t.EQ_SetBandGain(c, ch, b, band.gainDb, band.freqHz, band.q);
    }
  }
  t.EQ_SetEnable(c, s.eq);
  t.AutoLevel_SetEnable(c, al.enable);
  t.DRC_SetEnable(c, s.limiter);
  t.Surround_SetEnable(c, s.surround);
  t.Soundbar_SetEnable(c, SoundbarRuns(s, rate, channels));
  t.Soundbar_SetLFECopyEnable(c, s.lfeCopy);
  t.Soundbar_SetLFESVEnable(c, lal.enable);
  t.SetEnable(c, s.master);
}

const Target& FrontTarget() {
  // Each entry drops the context and calls the front function of its name.
  static const Target kFront = {
      nullptr,
      [](void*, int rate, int ch) { return HVTralo_Init(rate, ch); },
      [](void*) { return HVTralo_Release(); },
      [](void*, bool on) { return HVTralo_SetEnable(on); },
      [](void*, bool on) { return HVTralo_DRC_SetEnable(on); },
      [](void*, bool on) { return HVTralo_Surround_SetEnable(on); },
      [](void*, bool on) { return HVTralo_AutoLevel_SetEnable(on); },
      [](void*, int m, int v, int st, int b) { return HVTralo_AutoLevel_SetParam(m, v, st, b); },
      [](void*, int up, int down) { return HVTralo_AutoLevel_SetVolUpDownRate(up, down); },
      [](void*, bool on) { return HVTralo_EQ_SetEnable(on); },
      [](void*, bool on) { return HVTralo_EQ_SetLPFEnable(on); },
      [](void*, bool on) { return HVTralo_EQ_SetHPFEnable(on); },
      [](void*, int ch, int db, int hz) { return HVTralo_EQ_SetLPFBandGain(ch, db, hz); },
      [](void*, int ch, int db, int hz) { return HVTralo_EQ_SetHPFBandGain(ch, db, hz); },
      [](void*, int ch, int b, int db, int hz, float q) { return HVTralo_EQ_SetBandGain(ch, b, db, hz, q); },
      [](void*, bool on) { return HVTralo_Soundbar_SetEnable(on); },
      [](void*, int cm) { return HVTralo_Soundbar_SetDistance(cm); },
      [](void*, int a) { return HVTralo_Soundbar_SetAngle(a); },
      [](void*, bool on) { return HVTralo_Soundbar_SetLFECopyEnable(on); },
      [](void*, int hz) { return HVTralo_Soundbar_SetLFEFreq(hz); },
      [](void*, int db) { return HVTralo_Soundbar_SetLFEGain(db); },
      [](void*, bool on) { return HVTralo_Soundbar_SetLFESVEnable(on); },
      [](void*, int m, int v, int st, int b) { return HVTralo_Soundbar_SetLFESVParam(m, v, st, b); },
      [](void*, int up, int down) { return HVTralo_Soundbar_SetLFESVVolUpDownRate(up, down); },
  };
  return kFront;
}

namespace {
HVFX_Engine* e(void* context) { return static_cast<HVFX_Engine*>(context); }
}  // namespace

Target InstanceTarget(HVFX_Engine* engine) {
  // Each entry calls the instance function of its name on the context.
  return Target{
      engine,
      [](void* c, int rate, int ch) { return HVFX_Init(e(c), rate, ch); },
      [](void* c) { return HVFX_Release(e(c)); },
      [](void* c, bool on) { return HVFX_SetEnable(e(c), on); },
      [](void* c, bool on) { return HVFX_DRC_SetEnable(e(c), on); },
      [](void* c, bool on) { return HVFX_Surround_SetEnable(e(c), on); },
      [](void* c, bool on) { return HVFX_AutoLevel_SetEnable(e(c), on); },
      [](void* c, int m, int v, int st, int b) { return HVFX_AutoLevel_SetParam(e(c), m, v, st, b); },
      [](void* c, int up, int down) { return HVFX_AutoLevel_SetVolUpDownRate(e(c), up, down); },
      [](void* c, bool on) { return HVFX_EQ_SetEnable(e(c), on); },
      [](void* c, bool on) { return HVFX_EQ_SetLPFEnable(e(c), on); },
      [](void* c, bool on) { return HVFX_EQ_SetHPFEnable(e(c), on); },
      [](void* c, int ch, int db, int hz) { return HVFX_EQ_SetLPFBandGain(e(c), ch, db, hz); },
      [](void* c, int ch, int db, int hz) { return HVFX_EQ_SetHPFBandGain(e(c), ch, db, hz); },
      [](void* c, int ch, int b, int db, int hz, float q) { return HVFX_EQ_SetBandGain(e(c), ch, b, db, hz, q); },
      [](void* c, bool on) { return HVFX_Soundbar_SetEnable(e(c), on); },
      [](void* c, int cm) { return HVFX_Soundbar_SetDistance(e(c), cm); },
      [](void* c, int a) { return HVFX_Soundbar_SetAngle(e(c), a); },
      [](void* c, bool on) { return HVFX_Soundbar_SetLFECopyEnable(e(c), on); },
      [](void* c, int hz) { return HVFX_Soundbar_SetLFEFreq(e(c), hz); },
      [](void* c, int db) { return HVFX_Soundbar_SetLFEGain(e(c), db); },
      [](void* c, bool on) { return HVFX_Soundbar_SetLFESVEnable(e(c), on); },
      [](void* c, int m, int v, int st, int b) { return HVFX_Soundbar_SetLFESVParam(e(c), m, v, st, b); },
      [](void* c, int up, int down) { return HVFX_Soundbar_SetLFESVVolUpDownRate(e(c), up, down); },
  };
}

}  // namespace hvpreset
