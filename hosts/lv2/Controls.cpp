#include "Controls.h"

#include <cmath>
#include <string>

#include <hvtralofx/HVFX_Engine.h>

#include "preset/Preset.h"

namespace hvlv2 {
namespace {

using hvpreset::Range;

const char* const kChannelNames[] = {"L", "R", "C", "LFE", "Ls", "Rs"};

struct Builder {
  std::vector<Control> list;
  void Toggle(const std::string& sym, const std::string& name, bool def, Group g) {
    list.push_back({sym, name, Kind::Toggle, 0, 1, def ? 1.0f : 0.0f, g});
  }
  void Int(const std::string& sym, const std::string& name, Range r, int def, Group g, int ch = 0, int band = 0) {
    list.push_back({sym, name, Kind::Int, float(r.lo), float(r.hi), float(def), g, ch, band});
  }
  void Enum(const std::string& sym, const std::string& name, std::vector<std::pair<int, const char*>> labels,
            int def, Group g) {
    list.push_back({sym, name, Kind::Enum, float(labels.front().first), float(labels.back().first), float(def), g,
                    0, 0, std::move(labels)});
  }
  void Leveller(const std::string& sym, const std::string& name, const hvpreset::Leveller& l, Group param) {
    Enum(sym + "_mode", name + " mode", {{0, "flat"}, {1, "steep"}}, l.mode, param);
    Int(sym + "_volume", name + " relative volume (%)", hvpreset::kVolumePct, l.relativeVolume, param);
    Int(sym + "_station", name + " station time (ms)", hvpreset::kStationMs, l.stationMs, param);
    Enum(sym + "_base", name + " base (dB)", {{-9, "-9 dB"}, {-3, "-3 dB"}}, l.baseDb, param);
  }
  void Rates(const std::string& sym, const std::string& name, const hvpreset::Leveller& l, Group rate) {
    Int(sym + "_up", name + " rise (dB/s)", hvpreset::kDbPerS, l.upRate, rate);
    Int(sym + "_down", name + " fall (dB/s)", hvpreset::kDbPerS, l.downRate, rate);
  }
};

std::vector<Control> Build(int channels) {
  const hvpreset::Settings s;
  const bool surround = channels == 6;
  Builder b;
  b.Leveller("autolevel", "Leveller", s.autolevel, Group::AutoLevelParam);
  if (surround) {
    b.Leveller("lfe_autolevel", "LFE leveller", s.lfeLeveller, Group::LfeLevParam);
    b.Enum("soundbar_distance", "Soundbar distance (cm)", {{30, "30 cm"}, {40, "40 cm"}, {50, "50 cm"},
                                                           {60, "60 cm"}, {70, "70 cm"}},
           s.distanceCm, Group::Distance);
    b.Enum("soundbar_width", "Soundbar width", {{0, "wide"}, {1, "default"}, {2, "narrow"}}, int(s.width),
           Group::Width);
    b.Int("lfe_freq", "LFE crossover (Hz)", hvpreset::kFreqHz, s.lfeFreqHz, Group::LfeFreq);
    b.Int("lfe_gain", "LFE gain (dB)", hvpreset::kGainDb, s.lfeGainDb, Group::LfeGain);
  }
  b.Rates("autolevel", "Leveller", s.autolevel, Group::AutoLevelRate);
  if (surround) b.Rates("lfe_autolevel", "LFE leveller", s.lfeLeveller, Group::LfeLevRate);
  b.Toggle("low_shelf_switch", "Low shelves", s.lowShelfEnable, Group::LowShelfSwitch);
  b.Toggle("high_shelf_switch", "High shelves", s.highShelfEnable, Group::HighShelfSwitch);
  for (int ch = 0; ch < channels; ++ch) {
    const hvpreset::ChannelEq& eq = s.channels[size_t(ch)];
    const std::string sym = "ch" + std::to_string(ch) + "_", name = std::string(kChannelNames[ch]) + " ";
    b.Int(sym + "low_shelf_gain", name + "low shelf gain (dB)", hvpreset::kGainDb, eq.lowShelf.gainDb,
          Group::LowShelf, ch);
    b.Int(sym + "low_shelf_freq", name + "low shelf frequency (Hz)", hvpreset::kFreqHz, eq.lowShelf.freqHz,
          Group::LowShelf, ch);
    b.Int(sym + "high_shelf_gain", name + "high shelf gain (dB)", hvpreset::kGainDb, eq.highShelf.gainDb,
          Group::HighShelf, ch);
    b.Int(sym + "high_shelf_freq", name + "high shelf frequency (Hz)", hvpreset::kFreqHz, eq.highShelf.freqHz,
          Group::HighShelf, ch);
    for (int band = 0; band < hvpreset::kBands; ++band) {
      const hvpreset::EqBand& e = eq.bands[size_t(band)];
      const std::string bs = sym + "band" + std::to_string(band) + "_";
      const std::string bn = name + "band " + std::to_string(band + 1) + " ";
      b.Int(bs + "gain", bn + "gain (dB, 0 = off)", hvpreset::kGainDb, e.gainDb, Group::Band, ch, band);
      b.Int(bs + "freq", bn + "frequency (Hz)", hvpreset::kFreqHz, e.freqHz, Group::Band, ch, band);
      b.list.push_back({bs + "q", bn + "Q", Kind::Float, hvpreset::kQLo, hvpreset::kQHi, e.q, Group::Band, ch, band});
    }
  }
  b.Toggle("eq", "Equalizer", s.eq, Group::Eq);
  b.Toggle("autolevel", "Leveller", s.autolevel.enable, Group::AutoLevel);
  b.Toggle("limiter", "Limiter", s.limiter, Group::Limiter);
  b.Toggle("surround", "Surround", s.surround, Group::Surround);
  if (surround) {
    b.Toggle("soundbar", "Soundbar (5.1 at 44.1 or 48 kHz)", s.soundbar != hvpreset::SoundbarMode::Off,
             Group::Soundbar);
    b.Toggle("lfe_copy", "LFE copy", s.lfeCopy, Group::LfeCopy);
    b.Toggle("lfe_autolevel", "LFE leveller", s.lfeLeveller.enable, Group::LfeLev);
  }
  b.Toggle("master", "Master switch (off: attenuated input)", s.master, Group::Master);
  return b.list;
}

// Port values as the host wrote them, kept inside the control's range.
int Int(const Control& c, float v) {
  if (c.kind == Kind::Toggle) return v > 0.5f;
  const float bounded = std::fmin(std::fmax(v, c.min), c.max);
  if (c.kind != Kind::Enum) return int(std::lrint(bounded));
  int best = c.labels.front().first;  // the nearest of the enumeration's values
  for (const auto& [value, label] : c.labels)
    if (std::fabs(float(value) - v) < std::fabs(float(best) - v)) best = value;
  return best;
}

void Call(HVFX_Engine* e, const Control* c, const float* v, bool soundbarRuns) {
  const auto I = [&](int k) { return Int(c[k], v[k]); };
  const auto base = [&](int k) { return I(k) == -3 ? 1 : 0; };
  switch (c->group) {
    case Group::AutoLevelParam: HVFX_AutoLevel_SetParam(e, I(0), I(1), I(2), base(3)); break;
    case Group::LfeLevParam: HVFX_Soundbar_SetLFESVParam(e, I(0), I(1), I(2), base(3)); break;
    case Group::Distance: HVFX_Soundbar_SetDistance(e, I(0)); break;
    case Group::Width: HVFX_Soundbar_SetAngle(e, I(0)); break;
    case Group::LfeFreq: HVFX_Soundbar_SetLFEFreq(e, I(0)); break;
    case Group::LfeGain: HVFX_Soundbar_SetLFEGain(e, I(0)); break;
    case Group::AutoLevelRate: HVFX_AutoLevel_SetVolUpDownRate(e, I(0), I(1)); break;
    case Group::LfeLevRate: HVFX_Soundbar_SetLFESVVolUpDownRate(e, I(0), I(1)); break;
    case Group::LowShelfSwitch: HVFX_EQ_SetLPFEnable(e, I(0)); break;
    case Group::HighShelfSwitch: HVFX_EQ_SetHPFEnable(e, I(0)); break;
    case Group::LowShelf: HVFX_EQ_SetLPFBandGain(e, c->channel, I(0), I(1)); break;
    case Group::HighShelf: HVFX_EQ_SetHPFBandGain(e, c->channel, I(0), I(1)); break;
    case Group::Band:
      HVFX_EQ_SetBandGain(e, c->channel, c->band, I(0), I(1), std::fmin(std::fmax(v[2], c[2].min), c[2].max));
      break;
    case Group::Eq: HVFX_EQ_SetEnable(e, I(0)); break;
    case Group::AutoLevel: HVFX_AutoLevel_SetEnable(e, I(0)); break;
    case Group::Limiter: HVFX_DRC_SetEnable(e, I(0)); break;
    case Group::Surround: HVFX_Surround_SetEnable(e, I(0)); break;
    case Group::Soundbar: HVFX_Soundbar_SetEnable(e, I(0) && soundbarRuns); break;
    case Group::LfeCopy: HVFX_Soundbar_SetLFECopyEnable(e, I(0)); break;
    case Group::LfeLev: HVFX_Soundbar_SetLFESVEnable(e, I(0)); break;
    case Group::Master: HVFX_SetEnable(e, I(0)); break;
  }
}

}  // namespace

const std::vector<Control>& Controls(int channels) {
  static const std::vector<Control> kStereo = Build(2), kSurround = Build(6);
  return channels == 6 ? kSurround : kStereo;
}

void Apply(HVFX_Engine* engine, const std::vector<Control>& controls, const float* values, float* applied,
           bool soundbarRuns, Group last) {
  for (size_t i = 0; i < controls.size() && controls[i].group <= last;) {
    size_t end = i + 1;  // the controls one setter takes together
    while (end < controls.size() && controls[end].group == controls[i].group &&
           controls[end].channel == controls[i].channel && controls[end].band == controls[i].band)
      ++end;
    bool changed = false;
    for (size_t k = i; k < end; ++k) changed |= !(values[k] == applied[k]);
    if (changed) {
      Call(engine, &controls[i], &values[i], soundbarRuns);
      for (size_t k = i; k < end; ++k) applied[k] = values[k];
    }
    i = end;
  }
}

}  // namespace hvlv2
