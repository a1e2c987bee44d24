#include "hvtralofx/HVSFX_EQControl.h"

#include <cmath>

#include "hvtralofx/CHVAudioEQ_Ts.h"
#include "Engine.h"
#include "EngineOps.h"

namespace hvfx::api {
namespace {

// Centre frequencies the band reset restores, bands 0 ... 7 (Hz).
constexpr int kDefaultBandFreqHz[HVSFX_MAX_EQ_BANDS] = {250, 400, 630, 1000, 1600, 2500, 4000, 6300};
constexpr float kDefaultBandQ = 2.0f;

// The two shelves differ only in the record fields and the setter they use.
struct Shelf {
  int HVSFX_Param::*enable;
  int (HVSFX_Param::*freqHz)[HVSFX_MAX_CHANNELS];
  int (HVSFX_Param::*gainDb)[HVSFX_MAX_CHANNELS];
  void (CHVAudioEQ_Ts::*set)(bool, int, int);
};
constexpr Shelf kLowShelf{&HVSFX_Param::bLPFEnable, &HVSFX_Param::nLPFFreq, &HVSFX_Param::nLPFGain,
                          &CHVAudioEQ_Ts::Tst_SetLFOption};
constexpr Shelf kHighShelf{&HVSFX_Param::bHPFEnable, &HVSFX_Param::nHPFFreq, &HVSFX_Param::nHPFGain,
                           &CHVAudioEQ_Ts::Tst_SetHFOption};

// Bands in use: nEQBandNum limited to the record's eight columns.
int BandsInUse(const HVSFX_Param& p) {
  return p.nEQBandNum < 0 ? 0 : (p.nEQBandNum > HVSFX_MAX_EQ_BANDS ? HVSFX_MAX_EQ_BANDS : p.nEQBandNum);
}

bool IsBand(const HVSFX_Param& p, int band) { return band >= 0 && band < BandsInUse(p); }

bool IsRecordChannel(int channel) { return channel >= 0 && channel < HVSFX_MAX_CHANNELS; }

// The channels [first, end) a setter addresses: -1 for all the record's
// channels that have an equalizer, or one that has. False when out of range.
struct Channels {
  int first = 0;
  int end = 0;
};
bool Addressed(const Engine& engine, const HVSFX_Param& p, int channel, Channels& out) {
  const int count = engine.Built() != nullptr ? engine.Built()->eqCount : 0;
  const int existing = count < HVSFX_MAX_CHANNELS ? count : HVSFX_MAX_CHANNELS;
  if (channel == -1) {
    const int inUse = p.nInChannels < 0 ? 0 : p.nInChannels;
    out = Channels{0, inUse < existing ? inUse : existing};
    return true;
  }
  if (channel < 0 || channel >= existing) return false;
  out = Channels{channel, channel + 1};
  return true;
}

// Runs a setter that designs channel equalizers: 0 for a null record, -2
// when the engine has none (not initialised), 0 for a channel that is not
// addressable, otherwise body(record, channels). The body designs on the
// equalizers' twins (see Engine); every twin it touched is then published,
// and the live equalizers take the new sections at the start of the next
// call.
template <typename Body>
int WithChannelEqualizers(Engine& engine, HVSFX_Param* param, int channel, Body body) {
  if (param == nullptr) return 0;
  if (engine.Built() == nullptr) return -2;
  Channels ch;
  if (!Addressed(engine, *param, channel, ch)) return 0;
  const int result = body(*param, ch);
  for (int c = 0; c < engine.Built()->eqCount; ++c) engine.PublishEqualizer(c);
  return result;
}

// Shelf gain (and frequency when freqHz >= 1) of the addressed channels,
// redesigned with the stored switch; requests the channels' resets.
int SetShelfGain(Engine& engine, HVSFX_Param& p, const Shelf& shelf, int channel, int gainDb, int freqHz) {
  Channels ch;
  if (!Addressed(engine, p, channel, ch)) return 0;
  for (int c = ch.first; c < ch.end; ++c) {
    (p.*shelf.gainDb)[c] = gainDb;
    if (freqHz >= 1) (p.*shelf.freqHz)[c] = freqHz;
    (engine.EqualizerTwin(c)->*shelf.set)(p.*shelf.enable != 0, (p.*shelf.freqHz)[c], gainDb);
    engine.Publish(Change::Kind::kEqReset, c);
  }
  return 1;
}

int SetShelfEnable(Engine& engine, HVSFX_Param* param, const Shelf& shelf, int channel, bool enable) {
  return WithChannelEqualizers(engine, param, channel, [&](HVSFX_Param& p, Channels ch) {
    p.*shelf.enable = enable ? 1 : 0;
    for (int c = ch.first; c < ch.end; ++c)
      (engine.EqualizerTwin(c)->*shelf.set)(enable, (p.*shelf.freqHz)[c], (p.*shelf.gainDb)[c]);
    return 1;
  });
}

int GetShelfGain(const HVSFX_Param* param, const Shelf& shelf, int channel, int* gainDb, int* freqHz) {
  if (param == nullptr || gainDb == nullptr || freqHz == nullptr || !IsRecordChannel(channel)) return 0;
  *gainDb = (param->*shelf.gainDb)[channel];
  *freqHz = (param->*shelf.freqHz)[channel];
  return 1;
}

int GetShelfEnable(const HVSFX_Param* param, const Shelf& shelf, bool* out) {
  if (param == nullptr || out == nullptr) return 0;
  *out = param->*shelf.enable != 0;
  return 1;
}

}  // namespace

int EQ_SetLPFEnable(Engine& e, HVSFX_Param* p, int channel, bool on) { return SetShelfEnable(e, p, kLowShelf, channel, on); }
int EQ_SetHPFEnable(Engine& e, HVSFX_Param* p, int channel, bool on) { return SetShelfEnable(e, p, kHighShelf, channel, on); }
int EQ_SetLPFBandGain(Engine& e, HVSFX_Param* param, int channel, int gainDb, int freqHz) {
  return WithChannelEqualizers(e, param, channel, [&](HVSFX_Param& p, Channels) {
    return SetShelfGain(e, p, kLowShelf, channel, gainDb, freqHz);
  });
}
int EQ_SetHPFBandGain(Engine& e, HVSFX_Param* param, int channel, int gainDb, int freqHz) {
  return WithChannelEqualizers(e, param, channel, [&](HVSFX_Param& p, Channels) {
    return SetShelfGain(e, p, kHighShelf, channel, gainDb, freqHz);
  });
}

int EQ_SetBandGain(Engine& e, HVSFX_Param* param, int channel, int band, int gainDb, int freqHz, float q) {
  return WithChannelEqualizers(e, param, channel, [&](HVSFX_Param& p, Channels ch) {
    if (!IsBand(p, band)) return 0;
    for (int c = ch.first; c < ch.end; ++c) {
      p.nEQBandGain[c][band] = gainDb;
      if (std::isfinite(q) && q > 0.0f) p.fEQBandQ[c][band] = q;  // otherwise the stored Q stays
      if (freqHz > 0) p.nEQBandFreq[c][band] = freqHz;
      e.Publish(Change::Kind::kEqReset, c);
    }
    for (int c = ch.first; c < ch.end; ++c)
      e.EqualizerTwin(c)->Tst_SetBPFOption(band, gainDb != 0, p.nEQBandFreq[c][band], p.nEQBandGain[c][band],
                                           p.fEQBandQ[c][band]);
    return 1;
  });
}

int EQ_ResetBandFreq(Engine& e, HVSFX_Param* param, int channel, int band) {
  return WithChannelEqualizers(e, param, channel, [&](HVSFX_Param& p, Channels ch) {
    // The band index goes into the channel position of the shelf settings
    // on purpose: band -1 clears every channel's shelves, band k channel k's.
    // An index that is no channel clears none.
    SetShelfGain(e, p, kLowShelf, band, 0, 0);
    SetShelfGain(e, p, kHighShelf, band, 0, 0);

    const int firstBand = band == -1 ? 0 : band;
    const int endBand = band == -1 ? BandsInUse(p) : (IsBand(p, band) ? band + 1 : band);
    for (int b = firstBand; b < endBand; ++b) {
      for (int c = ch.first; c < ch.end; ++c) {
        p.nEQBandFreq[c][b] = kDefaultBandFreqHz[b];
        p.fEQBandQ[c][b] = kDefaultBandQ;
        e.EqualizerTwin(c)->Tst_SetBPFOption(b, false, kDefaultBandFreqHz[b], 0, kDefaultBandQ);
      }
    }
    return band == -1 || IsBand(p, band) ? 1 : 0;
  });
}

}  // namespace hvfx::api

using namespace hvfx::api;

extern "C" {

int HVSFX_EQ_SetLPFEnable(HVSFX_Param* p, int channel, bool on) {
  return WithGlobalEngine([&](Engine& e) { return EQ_SetLPFEnable(e, p, channel, on); });
}
int HVSFX_EQ_SetHPFEnable(HVSFX_Param* p, int channel, bool on) {
  return WithGlobalEngine([&](Engine& e) { return EQ_SetHPFEnable(e, p, channel, on); });
}
int HVSFX_EQ_SetLPFBandGain(HVSFX_Param* p, int channel, int gainDb, int freqHz) {
  return WithGlobalEngine([&](Engine& e) { return EQ_SetLPFBandGain(e, p, channel, gainDb, freqHz); });
}
int HVSFX_EQ_SetHPFBandGain(HVSFX_Param* p, int channel, int gainDb, int freqHz) {
  return WithGlobalEngine([&](Engine& e) { return EQ_SetHPFBandGain(e, p, channel, gainDb, freqHz); });
}
int HVSFX_EQ_SetBandGain(HVSFX_Param* p, int channel, int band, int gainDb, int freqHz, float q) {
  return WithGlobalEngine([&](Engine& e) { return EQ_SetBandGain(e, p, channel, band, gainDb, freqHz, q); });
}
int HVSFX_EQ_ResetBandFreq(HVSFX_Param* p, int channel, int band) {
  return WithGlobalEngine([&](Engine& e) { return EQ_ResetBandFreq(e, p, channel, band); });
}

int HVSFX_EQ_GetLPFEnable(HVSFX_Param* p, int /*channel*/, bool* out) { return GetShelfEnable(p, kLowShelf, out); }
int HVSFX_EQ_GetHPFEnable(HVSFX_Param* p, int /*channel*/, bool* out) { return GetShelfEnable(p, kHighShelf, out); }
int HVSFX_EQ_GetLPFBandGain(HVSFX_Param* p, int channel, int* gainDb, int* freqHz) {
  return GetShelfGain(p, kLowShelf, channel, gainDb, freqHz);
}
int HVSFX_EQ_GetHPFBandGain(HVSFX_Param* p, int channel, int* gainDb, int* freqHz) {
  return GetShelfGain(p, kHighShelf, channel, gainDb, freqHz);
}

int HVSFX_EQ_GetBandGain(HVSFX_Param* p, int channel, int band, int* gainDb, int* freqHz, float* q) {
  if (p == nullptr || gainDb == nullptr || freqHz == nullptr || q == nullptr) return 0;
  if (!IsBand(*p, band) || !IsRecordChannel(channel)) return 0;
  *gainDb = p->nEQBandGain[channel][band];
  *freqHz = p->nEQBandFreq[channel][band];
  *q = p->fEQBandQ[channel][band];
  return 1;
}

}  // extern "C"
