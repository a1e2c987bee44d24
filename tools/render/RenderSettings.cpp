#include "RenderSettings.h"

#include <hvtralofx/hvtralofx.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace hvrender {

using nlohmann::json;

namespace {

constexpr int kDefaultBandHz[kBands] = {250, 400, 630, 1000, 1600, 2500, 4000, 6300};

[[noreturn]] void Fail(const std::string& message) { throw std::runtime_error(message); }

const char* WidthName(Width w) {
  switch (w) {
    case Width::Wide: return "wide";
    case Width::Narrow: return "narrow";
    default: return "default";
  }
}
const char* SoundbarName(SoundbarMode m) {
  switch (m) {
    case SoundbarMode::On: return "on";
    case SoundbarMode::Off: return "off";
    default: return "auto";
  }
}

json LevellerJson(const Leveller& l) {
  return {{"enable", l.enable},          {"mode", l.mode == 1 ? "steep" : "flat"},
          {"relative_volume_pct", l.relativeVolume}, {"station_ms", l.stationMs},
          {"base_db", l.baseDb},         {"up_db_per_s", l.upRate},
          {"down_db_per_s", l.downRate}};
}

// Reads the keys of `object` through `take(key, value)`, refusing anything
// that is not an object and any key `take` does not know.
template <typename Take>
void ReadObject(const json& object, const std::string& where, Take take) {
  if (!object.is_object()) Fail(where + " must be a JSON object");
  for (const auto& [key, value] : object.items())
    if (!take(key, value)) Fail("unknown preset key '" + where + "." + key + "'");
}

bool Bool(const json& v, const std::string& name) {
  if (!v.is_boolean()) Fail("preset value '" + name + "' must be true or false");
  return v.get<bool>();
}
int Int(const json& v, const std::string& name) {
  if (!v.is_number_integer()) Fail("preset value '" + name + "' must be an integer");
  return v.get<int>();
}
float Float(const json& v, const std::string& name) {
  if (!v.is_number()) Fail("preset value '" + name + "' must be a number");
  return v.get<float>();
}
std::string String(const json& v, const std::string& name) {
  if (!v.is_string()) Fail("preset value '" + name + "' must be a string");
  return v.get<std::string>();
}

void ReadLeveller(const json& j, const std::string& where, Leveller& l) {
  ReadObject(j, where, [&](const std::string& k, const json& v) {
    const std::string name = where + "." + k;
    if (k == "enable") l.enable = Bool(v, name);
    else if (k == "mode") {
      const std::string m = String(v, name);
      if (m != "steep" && m != "flat") Fail("preset value '" + name + "' must be \"steep\" or \"flat\"");
      l.mode = m == "steep" ? 1 : 0;
    } else if (k == "relative_volume_pct") l.relativeVolume = Int(v, name);
    else if (k == "station_ms") l.stationMs = Int(v, name);
    else if (k == "base_db") l.baseDb = Int(v, name);
    else if (k == "up_db_per_s") l.upRate = Int(v, name);
    else if (k == "down_db_per_s") l.downRate = Int(v, name);
    else return false;
    return true;
  });
  CheckLeveller(l, where.c_str());
}

void ReadShelf(const json& j, const std::string& where, Shelf& s) {
  ReadObject(j, where, [&](const std::string& k, const json& v) {
    if (k == "gain_db") s.gainDb = Int(v, where + "." + k);
    else if (k == "freq_hz") s.freqHz = Int(v, where + "." + k);
    else return false;
    return true;
  });
  CheckEqGain(s.gainDb, where.c_str());
  CheckFrequency(s.freqHz, where.c_str());
}

void ReadChannel(const json& j, const std::string& where, ChannelEq& c) {
  ReadObject(j, where, [&](const std::string& k, const json& v) {
    if (k == "low_shelf") ReadShelf(v, where + ".low_shelf", c.lowShelf);
    else if (k == "high_shelf") ReadShelf(v, where + ".high_shelf", c.highShelf);
    else if (k == "bands") {
      if (!v.is_array() || v.size() > kBands) Fail(where + ".bands must be a list of at most 8 bands");
      for (size_t b = 0; b < v.size(); ++b) {
        const std::string bw = where + ".bands[" + std::to_string(b) + "]";
        EqBand& band = c.bands[b];
        ReadObject(v[b], bw, [&](const std::string& bk, const json& bv) {
          if (bk == "gain_db") band.gainDb = Int(bv, bw + "." + bk);
          else if (bk == "freq_hz") band.freqHz = Int(bv, bw + "." + bk);
          else if (bk == "q") band.q = Float(bv, bw + "." + bk);
          else return false;
          return true;
        });
        CheckEqGain(band.gainDb, bw.c_str());
        CheckFrequency(band.freqHz, bw.c_str());
        CheckQ(band.q, bw.c_str());
      }
    } else return false;
    return true;
  });
}

}  // namespace

ChannelEq::ChannelEq() {
  for (int b = 0; b < kBands; ++b) bands[b].freqHz = kDefaultBandHz[b];
}

void CheckEqGain(int db, const char* what) {
  if (db < -20 || db > 20) Fail(std::string(what) + ": gain " + std::to_string(db) + " dB is outside -20 ... 20 dB");
}
void CheckFrequency(int hz, const char* what) {
  if (hz < 20 || hz > 24000)
    Fail(std::string(what) + ": frequency " + std::to_string(hz) + " Hz is outside 20 ... 24000 Hz");
}
void CheckQ(float q, const char* what) {
  if (!(q >= 0.1f && q <= 20.0f)) Fail(std::string(what) + ": Q must be 0.1 ... 20");
}
void CheckLeveller(const Leveller& l, const char* what) {
  const std::string w(what);
  if (l.mode != 0 && l.mode != 1) Fail(w + ": mode must be steep or flat");
  if (l.relativeVolume < 0 || l.relativeVolume > 100) Fail(w + ": relative volume must be 0 ... 100 %");
  if (l.stationMs < 5000 || l.stationMs > 20000) Fail(w + ": station time must be 5000 ... 20000 ms");
  if (l.baseDb != -3 && l.baseDb != -9) Fail(w + ": base volume must be -3 or -9 dB");
  if (l.upRate < 3 || l.upRate > 15 || l.downRate < 3 || l.downRate > 15)
    Fail(w + ": up and down rates must be 3 ... 15 dB/s");
}
void CheckDistance(int cm) {
  if (cm != 30 && cm != 40 && cm != 50 && cm != 60 && cm != 70)
    Fail("soundbar distance " + std::to_string(cm) + " cm is not one of 30, 40, 50, 60, 70 cm");
}
void CheckLfe(int hz, int db) {
  CheckFrequency(hz, "LFE band-pass");
  CheckEqGain(db, "LFE band-pass");
}

json ToJson(const RenderSettings& s) {
  json channels = json::array();
  for (const ChannelEq& c : s.channels) {
    json bands = json::array();
    for (const EqBand& b : c.bands) bands.push_back({{"gain_db", b.gainDb}, {"freq_hz", b.freqHz}, {"q", b.q}});
    channels.push_back({{"low_shelf", {{"gain_db", c.lowShelf.gainDb}, {"freq_hz", c.lowShelf.freqHz}}},
                        {"high_shelf", {{"gain_db", c.highShelf.gainDb}, {"freq_hz", c.highShelf.freqHz}}},
                        {"bands", bands}});
  }
  json lfe = {{"copy", s.lfeCopy},
              {"freq_hz", s.lfeFreqHz},
              {"gain_db", s.lfeGainDb},
              {"autolevel", LevellerJson(s.lfeLeveller)}};
  return {{"master", s.master},
          {"limiter", s.limiter},
          {"surround", s.surround},
          {"autolevel", LevellerJson(s.autolevel)},
          {"eq",
           {{"enable", s.eq},
            {"low_shelf_enable", s.lowShelfEnable},
            {"high_shelf_enable", s.highShelfEnable},
            {"channels", channels}}},
          {"soundbar", {{"enable", SoundbarName(s.soundbar)}, {"distance_cm", s.distanceCm}, {"width", WidthName(s.width)}}},
          {"lfe", lfe}};
}

void FromJson(const json& preset, RenderSettings& s) {
  ReadObject(preset, "preset", [&](const std::string& k, const json& v) {
    if (k == "master") s.master = Bool(v, k);
    else if (k == "limiter") s.limiter = Bool(v, k);
    else if (k == "surround") s.surround = Bool(v, k);
    else if (k == "autolevel") ReadLeveller(v, "autolevel", s.autolevel);
    else if (k == "eq") {
      ReadObject(v, "eq", [&](const std::string& ek, const json& ev) {
        if (ek == "enable") s.eq = Bool(ev, "eq.enable");
        else if (ek == "low_shelf_enable") s.lowShelfEnable = Bool(ev, "eq.low_shelf_enable");
        else if (ek == "high_shelf_enable") s.highShelfEnable = Bool(ev, "eq.high_shelf_enable");
        else if (ek == "channels") {
          if (!ev.is_array() || ev.size() > kChannels) Fail("eq.channels must be a list of at most 6 channels");
          for (size_t c = 0; c < ev.size(); ++c)
            ReadChannel(ev[c], "eq.channels[" + std::to_string(c) + "]", s.channels[c]);
        } else return false;
        return true;
      });
    } else if (k == "soundbar") {
      ReadObject(v, "soundbar", [&](const std::string& sk, const json& sv) {
        if (sk == "enable") {
          const std::string m = String(sv, "soundbar.enable");
          if (m == "on") s.soundbar = SoundbarMode::On;
          else if (m == "off") s.soundbar = SoundbarMode::Off;
          else if (m == "auto") s.soundbar = SoundbarMode::Auto;
          else Fail("preset value 'soundbar.enable' must be \"on\", \"off\" or \"auto\"");
        } else if (sk == "distance_cm") {
          s.distanceCm = Int(sv, "soundbar.distance_cm");
          CheckDistance(s.distanceCm);
        } else if (sk == "width") {
          const std::string w = String(sv, "soundbar.width");
          if (w == "wide") s.width = Width::Wide;
          else if (w == "default") s.width = Width::Default;
          else if (w == "narrow") s.width = Width::Narrow;
          else Fail("preset value 'soundbar.width' must be \"wide\", \"default\" or \"narrow\"");
        } else return false;
        return true;
      });
    } else if (k == "lfe") {
      ReadObject(v, "lfe", [&](const std::string& lk, const json& lv) {
        if (lk == "copy") s.lfeCopy = Bool(lv, "lfe.copy");
        else if (lk == "freq_hz") s.lfeFreqHz = Int(lv, "lfe.freq_hz");
        else if (lk == "gain_db") s.lfeGainDb = Int(lv, "lfe.gain_db");
        else if (lk == "autolevel") ReadLeveller(lv, "lfe.autolevel", s.lfeLeveller);
        else return false;
        return true;
      });
      CheckLfe(s.lfeFreqHz, s.lfeGainDb);
    } else return false;
    return true;
  });
}

bool SoundbarSupported(int sampleRate, int channels) {
  return channels == 6 && (sampleRate == 44100 || sampleRate == 48000);
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
std::string ApplyToFront(const RenderSettings& s, int rate, int channels) {
  if (HVTralo_Init(rate, channels) != 1) return "the library refused the layout";
  HVTralo_Release();

  const auto base = [](const Leveller& l) { return l.baseDb == -3 ? 1 : 0; };
  HVTralo_AutoLevel_SetParam(s.autolevel.mode, s.autolevel.relativeVolume, s.autolevel.stationMs, base(s.autolevel));
  HVTralo_Soundbar_SetLFESVParam(s.lfeLeveller.mode, s.lfeLeveller.relativeVolume, s.lfeLeveller.stationMs,
                                 base(s.lfeLeveller));
  HVTralo_Soundbar_SetDistance(s.distanceCm);
  HVTralo_Soundbar_SetAngle(static_cast<int>(s.width));
  HVTralo_Soundbar_SetLFEFreq(s.lfeFreqHz);
  HVTralo_Soundbar_SetLFEGain(s.lfeGainDb);
  if (HVTralo_Init(rate, channels) != 1) return "the library refused the layout";

  HVTralo_AutoLevel_SetVolUpDownRate(s.autolevel.upRate, s.autolevel.downRate);
  HVTralo_Soundbar_SetLFESVVolUpDownRate(s.lfeLeveller.upRate, s.lfeLeveller.downRate);
  HVTralo_EQ_SetLPFEnable(s.lowShelfEnable);
  HVTralo_EQ_SetHPFEnable(s.highShelfEnable);
  for (int c = 0; c < channels && c < kChannels; ++c) {
    const ChannelEq& eq = s.channels[c];
    HVTralo_EQ_SetLPFBandGain(c, eq.lowShelf.gainDb, eq.lowShelf.freqHz);
    HVTralo_EQ_SetHPFBandGain(c, eq.highShelf.gainDb, eq.highShelf.freqHz);
    for (int b = 0; b < kBands; ++b)
      HVTralo_EQ_SetBandGain(c, b, eq.bands[b].gainDb, eq.bands[b].freqHz, eq.bands[b].q);
  }
  const bool soundbar = s.soundbar == SoundbarMode::On ||
                        (s.soundbar == SoundbarMode::Auto && SoundbarSupported(rate, channels));
  HVTralo_EQ_SetEnable(s.eq);
  HVTralo_AutoLevel_SetEnable(s.autolevel.enable);
  HVTralo_DRC_SetEnable(s.limiter);
  HVTralo_Surround_SetEnable(s.surround);
  HVTralo_Soundbar_SetEnable(soundbar);
  HVTralo_Soundbar_SetLFECopyEnable(s.lfeCopy);
  HVTralo_Soundbar_SetLFESVEnable(s.lfeLeveller.enable);
  HVTralo_SetEnable(s.master);
  return {};
}

}  // namespace hvrender
