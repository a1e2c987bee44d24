#include "hvtralofx/HVTralo_Front.h"

#include <android/log.h>

#include <algorithm>
#include <cstddef>

#include "../fixedpoint/FixedPoint.h"
#include "EngineOps.h"
#include "FrontInternal.h"
#include "hvtralofx/HVFX_Engine.h"
#include "hvtralofx/HVSFX_AdaVControl.h"
#include "hvtralofx/HVSFX_EQControl.h"
#include "hvtralofx/HVSFX_SoundbarControl.h"
#include "hvtralofx/HVSFX_Switches.h"
#include "hvtralofx/Version.h"

namespace hvfx::api {

Front& GlobalFront() {
  static Front front(Engine::Global());
  return front;
}

void PublishFrontRecord(Front& f) {
  const auto lock = f.engine.ControlLock();
  f.engine.PublishRecord(f.record, f.configured);
}

void ResetGlobalFrontForTests() {
  Front& f = GlobalFront();
  {
    const auto lock = f.engine.ControlLock();
    EngineRelease(f.engine, &f.record);
    f.record = HVSFX_Param_Default;
    f.configured = false;
    f.initOnce = false;
    f.masterSwitch.store(false);
    f.engine.SetSmoothControl(false);
    f.engine.PublishRecord(f.record, false);
  }
  f.engine.TakeChanges();
  f.engine.GatheredFrames() = 0;
}

namespace {

// First-time shelf settings of every channel.
constexpr int kFirstLowShelfHz = 1000;
constexpr int kFirstLowShelfDb = -20;
constexpr int kFirstHighShelfHz = 8000;
constexpr int kFirstHighShelfDb = 0;

std::uintptr_t RecordId(const HVSFX_Param* param) { return reinterpret_cast<std::uintptr_t>(param); }

// Record channels and bands a loop may index, whatever the record says.
int RecordChannels(int channels) { return std::clamp(channels, 0, HVSFX_MAX_CHANNELS); }
int RecordBands(int bands) { return std::clamp(bands, 0, HVSFX_MAX_EQ_BANDS); }

// Switches and settings the front changes on its first initialisation.
void SetFirstTimeSwitches(HVSFX_Param& p) {
  p.nSoundbarAngle = 0;
  p.bLFECopyEnable = 1;
  p.bLFESVEnable = 1;
  p.bLPFEnable = 1;
  p.bHPFEnable = 1;
  p.nAdaVStationSigMs = 5000;
  p.nGainShift = 1;
}

// First-time equalizer: default band frequencies, Q 2 and every band off;
// a -20 dB low shelf at 1000 Hz and a flat high shelf at 8000 Hz on every
// channel.
void SetFirstTimeEqualizer(Engine& e, HVSFX_Param& p, int channels) {
  EQ_ResetBandFreq(e, &p, -1, -1);
  for (int c = 0; c < RecordChannels(channels); ++c) {
    p.nLPFFreq[c] = kFirstLowShelfHz;
    p.nLPFGain[c] = kFirstLowShelfDb;
    p.nHPFFreq[c] = kFirstHighShelfHz;
  }
  EQ_SetLPFBandGain(e, &p, -1, kFirstLowShelfDb, kFirstLowShelfHz);
  EQ_SetHPFBandGain(e, &p, -1, kFirstHighShelfDb, kFirstHighShelfHz);
}

// The new equalizers start from their class defaults: give every channel
// the shelves and bands stored in the record.
void ReapplyEqualizer(Engine& e, HVSFX_Param& p) {
  for (int c = 0; c < RecordChannels(p.nInChannels); ++c) {
    EQ_SetLPFBandGain(e, &p, c, p.nLPFGain[c], p.nLPFFreq[c]);
    EQ_SetHPFBandGain(e, &p, c, p.nHPFGain[c], p.nHPFFreq[c]);
    for (int b = 0; b < RecordBands(p.nEQBandNum); ++b)
      EQ_SetBandGain(e, &p, c, b, p.nEQBandGain[c][b], p.nEQBandFreq[c][b], p.fEQBandQ[c][b]);
  }
}

void Attenuate(short* samples, size_t count) {
  for (size_t i = 0; i < count; ++i) samples[i] = fxp::MulRoundQ15To16(samples[i], kFrontGainQ15);
}

// A control call on a front: op(front) under the engine's control lock, then
// the record as it now stands is published to the audio side. 0 for a null
// handle.
template <typename Op>
int Modify(HVFX_Engine* handle, Op op) {
  if (handle == nullptr) return 0;
  Front& f = handle->front;
  const auto lock = f.engine.ControlLock();
  const int result = op(f);
  f.engine.PublishRecord(f.record, f.configured);
  return result;
}

// A getter on a front: op(front) under the engine's control lock.
template <typename Op>
int Read(HVFX_Engine* handle, Op op) {
  if (handle == nullptr) return 0;
  Front& f = handle->front;
  const auto lock = f.engine.ControlLock();
  return op(f);
}

HVFX_Engine* GlobalFrontHandle() {
  static HVFX_Engine handle(GlobalFront());
  return &handle;
}

}  // namespace

HVFX_Engine* GlobalFrontHandleForTests() { return GlobalFrontHandle(); }

}  // namespace hvfx::api

using hvfx::api::Front;
using hvfx::api::GlobalFrontHandle;
using hvfx::api::Modify;
using hvfx::api::Read;

const char* HVTralo_GetVersion(void) { return HVTRALOFX_VERSION_STRING; }

// ---- Instance interface -------------------------------------------------------

HVFX_Engine* HVFX_Create(void) {
  HVFX_Engine* engine = new (std::nothrow) HVFX_Engine();
  if (engine != nullptr) HVFX_SetSmoothControl(engine, true);
  return engine;
}

int HVFX_SetSmoothControl(HVFX_Engine* engine, bool on) {
  return Modify(engine, [&](Front& f) {
    f.engine.SetSmoothControl(on);
    return 1;
  });
}

int HVFX_GetSmoothControl(HVFX_Engine* engine, bool* on) {
  return Read(engine, [&](Front& f) {
    if (on == nullptr) return 0;
    *on = f.engine.SmoothControl();
    return 1;
  });
}

void HVFX_Destroy(HVFX_Engine* engine) {
  if (engine == nullptr || engine->ownFront == nullptr) return;  // the process-wide front is not destroyed
  delete engine;
}

int HVFX_SetEnable(HVFX_Engine* engine, bool enable) {
  if (engine == nullptr) return 0;
  engine->front.masterSwitch.store(enable);
  return 1;
}

int HVFX_GetEnable(HVFX_Engine* engine, bool* enable) {
  if (engine == nullptr || enable == nullptr) return 0;
  *enable = engine->front.masterSwitch.load();
  return 1;
}

int HVFX_Init(HVFX_Engine* engine, int sampleRate, int channels) {
  if (engine == nullptr) return 0;
  __android_log_print(ANDROID_LOG_INFO, "HARVELTralo", "[Harvel Tralo] HVTralo_Init(), version : %s, ARM",
                      HVTRALOFX_VERSION_STRING);
  return Modify(engine, [&](Front& f) {
    HVSFX_Param& p = f.record;
    const bool first = !f.initOnce;
    if (first) hvfx::api::SetFirstTimeSwitches(p);
    p.nSampleRate = sampleRate;
    p.nInChannels = p.nOutChannels = channels;
    f.configured = true;
    const int result = hvfx::api::EngineInit(f.engine, &p);
    if (first) {
      hvfx::api::SetFirstTimeEqualizer(f.engine, p, channels);
      f.initOnce = true;
    } else {
      hvfx::api::ReapplyEqualizer(f.engine, p);
    }
    return result;
  });
}

int HVFX_GetFormat(HVFX_Engine* engine, int* sampleRate, int* channels) {
  if (sampleRate == nullptr || channels == nullptr) return 0;
  return Read(engine, [&](Front& f) {
    if (!f.configured) return 0;
    *sampleRate = f.record.nSampleRate;
    *channels = f.record.nInChannels;
    return 1;
  });
}

int HVFX_Process(HVFX_Engine* engine, short* samples, int frames) {
  if (engine == nullptr) return 0;
  Front& f = engine->front;
  const bool on = f.masterSwitch.load();
  if (frames < 1) return on ? 0 : 1;
  hvfx::api::Engine& e = f.engine;
  if (!e.BeginCall()) return 0;
  // The record as last published, for the whole call.
  const HVSFX_Param& p = e.FrontRecord();
  const int channels = p.nOutChannels;
  int result = 0;
  if (e.Smooth() && e.FrontConfigured() && samples != nullptr) {
    // Smooth mode: the chain runs whatever the switches, the master switch
    // and the attenuation included, so that none of them moves the output
    // in time or steps its level.
    result = e.ProcessFrames(p, hvfx::api::RecordId(&f.record), samples, frames,
                             hvfx::api::FrontView{on, true});
  } else if (samples != nullptr && channels >= 1 && channels <= HVSFX_MAX_CHANNELS) {
    // The soundbar takes the signal at full level; everything else,
    // including the dry output of the switched-off effect, is attenuated.
    if (!on || p.bSoundbarEnable == 0)
      hvfx::api::Attenuate(samples, static_cast<size_t>(frames) * static_cast<size_t>(channels));
    if (!on)
      result = 1;
    else if (e.FrontConfigured())
      result = e.ProcessFrames(p, hvfx::api::RecordId(&f.record), samples, frames);
  }
  e.EndCall();
  return result;
}

int HVFX_Release(HVFX_Engine* engine) {
  return Modify(engine, [&](Front& f) {
    f.configured = false;
    return hvfx::api::EngineRelease(f.engine, &f.record);
  });
}

int HVFX_GetLatency(HVFX_Engine* engine, int* frames) {
  return Read(engine, [&](Front& f) {
    if (frames == nullptr || !f.configured) return 0;
    if (!f.masterSwitch.load() && !f.engine.SmoothControl()) {
      *frames = 0;  // the effect is bypassed: only the attenuation applies
      return 1;
    }
    return hvfx::api::EngineGetLatency(f.engine, &f.record, frames);
  });
}

int HVFX_EQ_SetLPFEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return hvfx::api::EQ_SetLPFEnable(f.engine, &f.record, -1, enable); });
}
int HVFX_EQ_SetHPFEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return hvfx::api::EQ_SetHPFEnable(f.engine, &f.record, -1, enable); });
}

int HVFX_DRC_SetEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return HVSFX_DRC_SetEnable(&f.record, enable); });
}
int HVFX_DRC_GetEnable(HVFX_Engine* engine, bool* enable) {
  return Read(engine, [&](Front& f) { return HVSFX_DRC_GetEnable(&f.record, enable); });
}
int HVFX_AutoLevel_SetEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return HVSFX_AdaV_SetEnable(&f.record, enable); });
}
int HVFX_AutoLevel_GetEnable(HVFX_Engine* engine, bool* enable) {
  return Read(engine, [&](Front& f) { return HVSFX_AdaV_GetEnable(&f.record, enable); });
}
int HVFX_AutoLevel_SetParam(HVFX_Engine* engine, int mode, int relativeVolume, int stationMs, int baseFlag) {
  return Modify(engine, [&](Front& f) { return hvfx::api::AdaV_SetParam(f.engine, &f.record, mode, relativeVolume, stationMs, baseFlag); });
}
int HVFX_AutoLevel_GetParam(HVFX_Engine* engine, int* mode, int* relativeVolume, int* stationMs, int* baseFlag) {
  return Read(engine, [&](Front& f) { return HVSFX_AdaV_GetParam(&f.record, mode, relativeVolume, stationMs, baseFlag); });
}
int HVFX_AutoLevel_SetVolUpDownRate(HVFX_Engine* engine, int upRate, int downRate) {
  return Modify(engine, [&](Front& f) { return hvfx::api::AdaV_SetVolUpDownRate(f.engine, &f.record, upRate, downRate); });
}
int HVFX_AutoLevel_GetVolUpDownRate(HVFX_Engine* engine, int* upRate, int* downRate) {
  return Read(engine, [&](Front& f) { return HVSFX_AdaV_GetVolUpDownRate(&f.record, upRate, downRate); });
}
int HVFX_Surround_SetEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return HVSFX_Surround_SetEnable(&f.record, enable); });
}
int HVFX_Surround_GetEnable(HVFX_Engine* engine, bool* enable) {
  return Read(engine, [&](Front& f) { return HVSFX_Surround_GetEnable(&f.record, enable); });
}
int HVFX_EQ_SetEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return HVSFX_EQ_SetEnable(&f.record, enable); });
}
int HVFX_EQ_GetEnable(HVFX_Engine* engine, bool* enable) {
  return Read(engine, [&](Front& f) { return HVSFX_EQ_GetEnable(&f.record, enable); });
}
int HVFX_EQ_SetBandGain(HVFX_Engine* engine, int channel, int band, int gainDb, int freqHz, float q) {
  return Modify(engine, [&](Front& f) { return hvfx::api::EQ_SetBandGain(f.engine, &f.record, channel, band, gainDb, freqHz, q); });
}
int HVFX_EQ_GetBandGain(HVFX_Engine* engine, int channel, int band, int* gainDb, int* freqHz, float* q) {
  return Read(engine, [&](Front& f) { return HVSFX_EQ_GetBandGain(&f.record, channel, band, gainDb, freqHz, q); });
}
int HVFX_EQ_SetLPFBandGain(HVFX_Engine* engine, int channel, int gainDb, int freqHz) {
  return Modify(engine, [&](Front& f) { return hvfx::api::EQ_SetLPFBandGain(f.engine, &f.record, channel, gainDb, freqHz); });
}
int HVFX_EQ_GetLPFBandGain(HVFX_Engine* engine, int channel, int* gainDb, int* freqHz) {
  return Read(engine, [&](Front& f) { return HVSFX_EQ_GetLPFBandGain(&f.record, channel, gainDb, freqHz); });
}
int HVFX_EQ_SetHPFBandGain(HVFX_Engine* engine, int channel, int gainDb, int freqHz) {
  return Modify(engine, [&](Front& f) { return hvfx::api::EQ_SetHPFBandGain(f.engine, &f.record, channel, gainDb, freqHz); });
}
int HVFX_EQ_GetHPFBandGain(HVFX_Engine* engine, int channel, int* gainDb, int* freqHz) {
  return Read(engine, [&](Front& f) { return HVSFX_EQ_GetHPFBandGain(&f.record, channel, gainDb, freqHz); });
}
int HVFX_DynamicBass_SetEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return HVSFX_DynamicBass_SetEnable(&f.record, enable); });
}
int HVFX_DynamicBass_GetEnable(HVFX_Engine* engine, bool* enable) {
  return Read(engine, [&](Front& f) { return HVSFX_DynamicBass_GetEnable(&f.record, enable); });
}
int HVFX_DynamicBass_SetLevel(HVFX_Engine* engine, int level) {
  return Modify(engine, [&](Front& f) { return HVSFX_DynamicBass_SetLevel(&f.record, level); });
}
int HVFX_DynamicBass_GetLevel(HVFX_Engine* engine, int* level) {
  return Read(engine, [&](Front& f) { return HVSFX_DynamicBass_GetLevel(&f.record, level); });
}
int HVFX_DynamicBass_SetCutOffFreq(HVFX_Engine* engine, int hz) {
  return Modify(engine, [&](Front& f) { return HVSFX_DynamicBass_SetCutOffFreq(&f.record, hz); });
}
int HVFX_DynamicBass_GetCutOffFreq(HVFX_Engine* engine, int* hz) {
  return Read(engine, [&](Front& f) { return HVSFX_DynamicBass_GetCutOffFreq(&f.record, hz); });
}
int HVFX_Soundbar_SetEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return hvfx::api::Soundbar_SetEnable(f.engine, &f.record, enable); });
}
int HVFX_Soundbar_GetEnable(HVFX_Engine* engine, bool* enable) {
  return Read(engine, [&](Front& f) { return HVSFX_Soundbar_GetEnable(&f.record, enable); });
}
int HVFX_Soundbar_SetDistance(HVFX_Engine* engine, int distance) {
  return Modify(engine, [&](Front& f) { return hvfx::api::Soundbar_SetDistance(f.engine, &f.record, distance); });
}
int HVFX_Soundbar_GetDistance(HVFX_Engine* engine, int* distance) {
  return Read(engine, [&](Front& f) { return HVSFX_Soundbar_GetDistance(&f.record, distance); });
}
int HVFX_Soundbar_SetAngle(HVFX_Engine* engine, int angle) {
  return Modify(engine, [&](Front& f) { return hvfx::api::Soundbar_SetAngle(f.engine, &f.record, angle); });
}
int HVFX_Soundbar_GetAngle(HVFX_Engine* engine, int* angle) {
  return Read(engine, [&](Front& f) { return HVSFX_Soundbar_GetAngle(&f.record, angle); });
}
int HVFX_Soundbar_SetLFECopyEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return HVSFX_Soundbar_SetLFECopyEnable(&f.record, enable); });
}
int HVFX_Soundbar_GetLFECopyEnable(HVFX_Engine* engine, bool* enable) {
  return Read(engine, [&](Front& f) { return HVSFX_Soundbar_GetLFECopyEnable(&f.record, enable); });
}
int HVFX_Soundbar_SetLFEFreq(HVFX_Engine* engine, int hz) {
  return Modify(engine, [&](Front& f) { return hvfx::api::Soundbar_SetLFEFreq(f.engine, &f.record, hz); });
}
int HVFX_Soundbar_GetLFEFreq(HVFX_Engine* engine, int* hz) {
  return Read(engine, [&](Front& f) { return HVSFX_Soundbar_GetLFEFreq(&f.record, hz); });
}
int HVFX_Soundbar_SetLFEGain(HVFX_Engine* engine, int db) {
  return Modify(engine, [&](Front& f) { return hvfx::api::Soundbar_SetLFEGain(f.engine, &f.record, db); });
}
int HVFX_Soundbar_GetLFEGain(HVFX_Engine* engine, int* db) {
  return Read(engine, [&](Front& f) { return HVSFX_Soundbar_GetLFEGain(&f.record, db); });
}
int HVFX_Soundbar_SetLFESVEnable(HVFX_Engine* engine, bool enable) {
  return Modify(engine, [&](Front& f) { return HVSFX_Soundbar_SetLFESVEnable(&f.record, enable); });
}
int HVFX_Soundbar_GetLFESVEnable(HVFX_Engine* engine, bool* enable) {
  return Read(engine, [&](Front& f) { return HVSFX_Soundbar_GetLFESVEnable(&f.record, enable); });
}
int HVFX_Soundbar_SetLFESVParam(HVFX_Engine* engine, int mode, int relativeVolume, int stationMs, int baseFlag) {
  return Modify(engine, [&](Front& f) { return hvfx::api::Soundbar_SetLFESVParam(f.engine, &f.record, mode, relativeVolume, stationMs, baseFlag); });
}
int HVFX_Soundbar_GetLFESVParam(HVFX_Engine* engine, int* mode, int* relativeVolume, int* stationMs, int* baseFlag) {
  return Read(engine, [&](Front& f) { return HVSFX_Soundbar_GetLFESVParam(&f.record, mode, relativeVolume, stationMs, baseFlag); });
}
int HVFX_Soundbar_SetLFESVVolUpDownRate(HVFX_Engine* engine, int upRate, int downRate) {
  return Modify(engine, [&](Front& f) { return hvfx::api::Soundbar_SetLFESVVolUpDownRate(f.engine, &f.record, upRate, downRate); });
}
int HVFX_Soundbar_GetLFESVVolUpDownRate(HVFX_Engine* engine, int* upRate, int* downRate) {
  return Read(engine, [&](Front& f) { return HVSFX_Soundbar_GetLFESVVolUpDownRate(&f.record, upRate, downRate); });
}

// ---- Front interface: the instance interface on the process-wide front ---------

int HVTralo_SetEnable(bool enable) { return HVFX_SetEnable(GlobalFrontHandle(), enable); }
int HVTralo_GetEnable(bool* enable) { return HVFX_GetEnable(GlobalFrontHandle(), enable); }
int HVTralo_Init(int sampleRate, int channels) { return HVFX_Init(GlobalFrontHandle(), sampleRate, channels); }
int HVTralo_Process(short* samples, int frames) { return HVFX_Process(GlobalFrontHandle(), samples, frames); }
int HVTralo_Release(void) { return HVFX_Release(GlobalFrontHandle()); }
int HVTralo_GetLatency(int* frames) { return HVFX_GetLatency(GlobalFrontHandle(), frames); }
int HVTralo_SetSmoothControl(bool on) { return HVFX_SetSmoothControl(GlobalFrontHandle(), on); }
int HVTralo_GetSmoothControl(bool* on) { return HVFX_GetSmoothControl(GlobalFrontHandle(), on); }
int HVTralo_DRC_SetEnable(bool enable) { return HVFX_DRC_SetEnable(GlobalFrontHandle(), enable); }
int HVTralo_DRC_GetEnable(bool* enable) { return HVFX_DRC_GetEnable(GlobalFrontHandle(), enable); }
int HVTralo_AutoLevel_SetEnable(bool enable) { return HVFX_AutoLevel_SetEnable(GlobalFrontHandle(), enable); }
int HVTralo_AutoLevel_GetEnable(bool* enable) { return HVFX_AutoLevel_GetEnable(GlobalFrontHandle(), enable); }
int HVTralo_AutoLevel_SetParam(int mode, int relativeVolume, int stationMs, int baseFlag) { return HVFX_AutoLevel_SetParam(GlobalFrontHandle(), mode, relativeVolume, stationMs, baseFlag); }
int HVTralo_AutoLevel_GetParam(int* mode, int* relativeVolume, int* stationMs, int* baseFlag) { return HVFX_AutoLevel_GetParam(GlobalFrontHandle(), mode, relativeVolume, stationMs, baseFlag); }
int HVTralo_AutoLevel_SetVolUpDownRate(int upRate, int downRate) { return HVFX_AutoLevel_SetVolUpDownRate(GlobalFrontHandle(), upRate, downRate); }
int HVTralo_AutoLevel_GetVolUpDownRate(int* upRate, int* downRate) { return HVFX_AutoLevel_GetVolUpDownRate(GlobalFrontHandle(), upRate, downRate); }
int HVTralo_Surround_SetEnable(bool enable) { return HVFX_Surround_SetEnable(GlobalFrontHandle(), enable); }
int HVTralo_Surround_GetEnable(bool* enable) { return HVFX_Surround_GetEnable(GlobalFrontHandle(), enable); }
int HVTralo_EQ_SetEnable(bool enable) { return HVFX_EQ_SetEnable(GlobalFrontHandle(), enable); }
int HVTralo_EQ_GetEnable(bool* enable) { return HVFX_EQ_GetEnable(GlobalFrontHandle(), enable); }
int HVTralo_EQ_SetBandGain(int channel, int band, int gainDb, int freqHz, float q) { return HVFX_EQ_SetBandGain(GlobalFrontHandle(), channel, band, gainDb, freqHz, q); }
int HVTralo_EQ_GetBandGain(int channel, int band, int* gainDb, int* freqHz, float* q) { return HVFX_EQ_GetBandGain(GlobalFrontHandle(), channel, band, gainDb, freqHz, q); }
int HVTralo_EQ_SetLPFEnable(bool enable) { return HVFX_EQ_SetLPFEnable(GlobalFrontHandle(), enable); }
int HVTralo_EQ_SetHPFEnable(bool enable) { return HVFX_EQ_SetHPFEnable(GlobalFrontHandle(), enable); }
int HVTralo_EQ_SetLPFBandGain(int channel, int gainDb, int freqHz) { return HVFX_EQ_SetLPFBandGain(GlobalFrontHandle(), channel, gainDb, freqHz); }
int HVTralo_EQ_GetLPFBandGain(int channel, int* gainDb, int* freqHz) { return HVFX_EQ_GetLPFBandGain(GlobalFrontHandle(), channel, gainDb, freqHz); }
int HVTralo_EQ_SetHPFBandGain(int channel, int gainDb, int freqHz) { return HVFX_EQ_SetHPFBandGain(GlobalFrontHandle(), channel, gainDb, freqHz); }
int HVTralo_EQ_GetHPFBandGain(int channel, int* gainDb, int* freqHz) { return HVFX_EQ_GetHPFBandGain(GlobalFrontHandle(), channel, gainDb, freqHz); }
int HVTralo_DynamicBass_SetEnable(bool enable) { return HVFX_DynamicBass_SetEnable(GlobalFrontHandle(), enable); }
int HVTralo_DynamicBass_GetEnable(bool* enable) { return HVFX_DynamicBass_GetEnable(GlobalFrontHandle(), enable); }
int HVTralo_DynamicBass_SetLevel(int level) { return HVFX_DynamicBass_SetLevel(GlobalFrontHandle(), level); }
int HVTralo_DynamicBass_GetLevel(int* level) { return HVFX_DynamicBass_GetLevel(GlobalFrontHandle(), level); }
int HVTralo_DynamicBass_SetCutOffFreq(int hz) { return HVFX_DynamicBass_SetCutOffFreq(GlobalFrontHandle(), hz); }
int HVTralo_DynamicBass_GetCutOffFreq(int* hz) { return HVFX_DynamicBass_GetCutOffFreq(GlobalFrontHandle(), hz); }
int HVTralo_Soundbar_SetEnable(bool enable) { return HVFX_Soundbar_SetEnable(GlobalFrontHandle(), enable); }
int HVTralo_Soundbar_GetEnable(bool* enable) { return HVFX_Soundbar_GetEnable(GlobalFrontHandle(), enable); }
int HVTralo_Soundbar_SetDistance(int distance) { return HVFX_Soundbar_SetDistance(GlobalFrontHandle(), distance); }
int HVTralo_Soundbar_GetDistance(int* distance) { return HVFX_Soundbar_GetDistance(GlobalFrontHandle(), distance); }
int HVTralo_Soundbar_SetAngle(int angle) { return HVFX_Soundbar_SetAngle(GlobalFrontHandle(), angle); }
int HVTralo_Soundbar_GetAngle(int* angle) { return HVFX_Soundbar_GetAngle(GlobalFrontHandle(), angle); }
int HVTralo_Soundbar_SetLFECopyEnable(bool enable) { return HVFX_Soundbar_SetLFECopyEnable(GlobalFrontHandle(), enable); }
int HVTralo_Soundbar_GetLFECopyEnable(bool* enable) { return HVFX_Soundbar_GetLFECopyEnable(GlobalFrontHandle(), enable); }
int HVTralo_Soundbar_SetLFEFreq(int hz) { return HVFX_Soundbar_SetLFEFreq(GlobalFrontHandle(), hz); }
int HVTralo_Soundbar_GetLFEFreq(int* hz) { return HVFX_Soundbar_GetLFEFreq(GlobalFrontHandle(), hz); }
int HVTralo_Soundbar_SetLFEGain(int db) { return HVFX_Soundbar_SetLFEGain(GlobalFrontHandle(), db); }
int HVTralo_Soundbar_GetLFEGain(int* db) { return HVFX_Soundbar_GetLFEGain(GlobalFrontHandle(), db); }
int HVTralo_Soundbar_SetLFESVEnable(bool enable) { return HVFX_Soundbar_SetLFESVEnable(GlobalFrontHandle(), enable); }
int HVTralo_Soundbar_GetLFESVEnable(bool* enable) { return HVFX_Soundbar_GetLFESVEnable(GlobalFrontHandle(), enable); }
int HVTralo_Soundbar_SetLFESVParam(int mode, int relativeVolume, int stationMs, int baseFlag) { return HVFX_Soundbar_SetLFESVParam(GlobalFrontHandle(), mode, relativeVolume, stationMs, baseFlag); }
int HVTralo_Soundbar_GetLFESVParam(int* mode, int* relativeVolume, int* stationMs, int* baseFlag) { return HVFX_Soundbar_GetLFESVParam(GlobalFrontHandle(), mode, relativeVolume, stationMs, baseFlag); }
int HVTralo_Soundbar_SetLFESVVolUpDownRate(int upRate, int downRate) { return HVFX_Soundbar_SetLFESVVolUpDownRate(GlobalFrontHandle(), upRate, downRate); }
int HVTralo_Soundbar_GetLFESVVolUpDownRate(int* upRate, int* downRate) { return HVFX_Soundbar_GetLFESVVolUpDownRate(GlobalFrontHandle(), upRate, downRate); }
