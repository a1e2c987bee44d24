#include "hvtralofx/HVTralo_Front.h"

#include <android/log.h>

#include <algorithm>
#include <cstddef>

#include "../fixedpoint/FixedPoint.h"
#include "EngineInternal.h"
#include "FrontInternal.h"
#include "hvtralofx/HVSFX_AdaVControl.h"
#include "hvtralofx/HVSFX_EQControl.h"
#include "hvtralofx/HVSFX_Engine.h"
#include "hvtralofx/HVSFX_SoundbarControl.h"
#include "hvtralofx/HVSFX_Switches.h"
#include "hvtralofx/Version.h"

namespace hvfx::api {
HVSFX_Param s_HVSFX_Param = HVSFX_Param_Default;
std::atomic<bool> s_HVTralo_MainSwitchEnable{false};
std::atomic<bool> s_HVTralo_Configed{false};
bool s_HVTralo_InitOnce = false;
}  // namespace hvfx::api

using namespace hvfx::api;

namespace {

// The fixed attenuation of every sample that does not go to the soundbar:
// 19661 / 32768, about 0.6 (-4.4 dB), rounded.
constexpr int16_t kFrontGainQ15 = 19661;

// First-time shelf settings of every channel.
constexpr int kFirstLowShelfHz = 1000;
constexpr int kFirstLowShelfDb = -20;
constexpr int kFirstHighShelfHz = 8000;
constexpr int kFirstHighShelfDb = 0;

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
void SetFirstTimeEqualizer(HVSFX_Param& p, int channels) {
  HVSFX_EQ_ResetBandFreq(&p, -1, -1);
  for (int c = 0; c < RecordChannels(channels); ++c) {
    p.nLPFFreq[c] = kFirstLowShelfHz;
    p.nLPFGain[c] = kFirstLowShelfDb;
    p.nHPFFreq[c] = kFirstHighShelfHz;
  }
  HVSFX_EQ_SetLPFBandGain(&p, -1, kFirstLowShelfDb, kFirstLowShelfHz);
  HVSFX_EQ_SetHPFBandGain(&p, -1, kFirstHighShelfDb, kFirstHighShelfHz);
}

// The new equalizers start from their class defaults: give every channel
// the shelves and bands stored in the record.
void ReapplyEqualizer(HVSFX_Param& p) {
  for (int c = 0; c < RecordChannels(p.nInChannels); ++c) {
    HVSFX_EQ_SetLPFBandGain(&p, c, p.nLPFGain[c], p.nLPFFreq[c]);
    HVSFX_EQ_SetHPFBandGain(&p, c, p.nHPFGain[c], p.nHPFFreq[c]);
    for (int b = 0; b < RecordBands(p.nEQBandNum); ++b)
      HVSFX_EQ_SetBandGain(&p, c, b, p.nEQBandGain[c][b], p.nEQBandFreq[c][b], p.fEQBandQ[c][b]);
  }
}

void Attenuate(short* samples, size_t count) {
  for (size_t i = 0; i < count; ++i) samples[i] = fxp::MulRoundQ15To16(samples[i], kFrontGainQ15);
}

}  // namespace

extern "C" {

int HVTralo_SetEnable(bool enable) {
  s_HVTralo_MainSwitchEnable.store(enable);
  return 1;
}

const char* HVTralo_GetVersion(void) { return HVTRALOFX_VERSION_STRING; }

int HVTralo_GetEnable(bool* enable) {
  if (enable == nullptr) return 0;
  *enable = s_HVTralo_MainSwitchEnable.load();
  return 1;
}

int HVTralo_Init(int sampleRate, int channels) {
  __android_log_print(ANDROID_LOG_INFO, "HARVELTralo", "[Harvel Tralo] HVTralo_Init(), version : %s, ARM",
                      HVTRALOFX_VERSION_STRING);
  HVSFX_Param& p = s_HVSFX_Param;
  const bool first = !s_HVTralo_InitOnce;
  if (first) SetFirstTimeSwitches(p);
  p.nSampleRate = sampleRate;
  p.nInChannels = p.nOutChannels = channels;
  s_HVTralo_Configed.store(true);
  const int result = HVSFX_Init(&p);
  if (first) {
    SetFirstTimeEqualizer(p, channels);
    s_HVTralo_InitOnce = true;
  } else {
    ReapplyEqualizer(p);
  }
  return result;
}

int HVTralo_Process(short* samples, int frames) {
  const bool on = s_HVTralo_MainSwitchEnable.load();
  if (frames < 1) return on ? 0 : 1;
  // The record as it stands now (control threads may change settings meanwhile).
  const HVSFX_Param p = SnapshotRecord(&s_HVSFX_Param);
  const int channels = p.nOutChannels;
  if (samples == nullptr || channels < 1 || channels > HVSFX_MAX_CHANNELS) return 0;
  // The soundbar takes the signal at full level; everything else, including
  // the dry output of the switched-off effect, is attenuated.
  if (!on || p.bSoundbarEnable == 0)
    Attenuate(samples, static_cast<size_t>(frames) * static_cast<size_t>(channels));
  if (!on) return 1;
  return s_HVTralo_Configed.load() ? HVSFX_Process(&s_HVSFX_Param, samples, frames) : 0;
}

int HVTralo_Release(void) {
  s_HVTralo_Configed.store(false);
  return HVSFX_Release(&s_HVSFX_Param);
}

int HVTralo_GetLatency(int* frames) {
  if (frames == nullptr || !s_HVTralo_Configed.load()) return 0;
  if (!s_HVTralo_MainSwitchEnable.load()) {
    *frames = 0;  // the effect is bypassed: only the attenuation applies
    return 1;
  }
  return HVSFX_GetLatency(&s_HVSFX_Param, frames);
}

// ---- Forwarders to the engine, with the front's record.

int HVTralo_DRC_SetEnable(bool enable) { return HVSFX_DRC_SetEnable(&s_HVSFX_Param, enable); }
int HVTralo_DRC_GetEnable(bool* enable) { return HVSFX_DRC_GetEnable(&s_HVSFX_Param, enable); }

int HVTralo_AutoLevel_SetEnable(bool enable) { return HVSFX_AdaV_SetEnable(&s_HVSFX_Param, enable); }
int HVTralo_AutoLevel_GetEnable(bool* enable) { return HVSFX_AdaV_GetEnable(&s_HVSFX_Param, enable); }
int HVTralo_AutoLevel_SetParam(int mode, int relativeVolume, int stationMs, int baseFlag) {
  return HVSFX_AdaV_SetParam(&s_HVSFX_Param, mode, relativeVolume, stationMs, baseFlag);
}
int HVTralo_AutoLevel_GetParam(int* mode, int* relativeVolume, int* stationMs, int* baseFlag) {
  return HVSFX_AdaV_GetParam(&s_HVSFX_Param, mode, relativeVolume, stationMs, baseFlag);
}
int HVTralo_AutoLevel_SetVolUpDownRate(int upRate, int downRate) {
  return HVSFX_AdaV_SetVolUpDownRate(&s_HVSFX_Param, upRate, downRate);
}
int HVTralo_AutoLevel_GetVolUpDownRate(int* upRate, int* downRate) {
  return HVSFX_AdaV_GetVolUpDownRate(&s_HVSFX_Param, upRate, downRate);
}

int HVTralo_Surround_SetEnable(bool enable) { return HVSFX_Surround_SetEnable(&s_HVSFX_Param, enable); }
int HVTralo_Surround_GetEnable(bool* enable) { return HVSFX_Surround_GetEnable(&s_HVSFX_Param, enable); }

int HVTralo_EQ_SetEnable(bool enable) { return HVSFX_EQ_SetEnable(&s_HVSFX_Param, enable); }
int HVTralo_EQ_GetEnable(bool* enable) { return HVSFX_EQ_GetEnable(&s_HVSFX_Param, enable); }
int HVTralo_EQ_SetBandGain(int channel, int band, int gainDb, int freqHz, float q) {
  return HVSFX_EQ_SetBandGain(&s_HVSFX_Param, channel, band, gainDb, freqHz, q);
}
int HVTralo_EQ_GetBandGain(int channel, int band, int* gainDb, int* freqHz, float* q) {
  return HVSFX_EQ_GetBandGain(&s_HVSFX_Param, channel, band, gainDb, freqHz, q);
}
int HVTralo_EQ_SetLPFEnable(bool enable) { return HVSFX_EQ_SetLPFEnable(&s_HVSFX_Param, -1, enable); }
int HVTralo_EQ_SetHPFEnable(bool enable) { return HVSFX_EQ_SetHPFEnable(&s_HVSFX_Param, -1, enable); }
int HVTralo_EQ_SetLPFBandGain(int channel, int gainDb, int freqHz) {
  return HVSFX_EQ_SetLPFBandGain(&s_HVSFX_Param, channel, gainDb, freqHz);
}
int HVTralo_EQ_GetLPFBandGain(int channel, int* gainDb, int* freqHz) {
  return HVSFX_EQ_GetLPFBandGain(&s_HVSFX_Param, channel, gainDb, freqHz);
}
int HVTralo_EQ_SetHPFBandGain(int channel, int gainDb, int freqHz) {
  return HVSFX_EQ_SetHPFBandGain(&s_HVSFX_Param, channel, gainDb, freqHz);
}
int HVTralo_EQ_GetHPFBandGain(int channel, int* gainDb, int* freqHz) {
  return HVSFX_EQ_GetHPFBandGain(&s_HVSFX_Param, channel, gainDb, freqHz);
}

int HVTralo_DynamicBass_SetEnable(bool enable) { return HVSFX_DynamicBass_SetEnable(&s_HVSFX_Param, enable); }
int HVTralo_DynamicBass_GetEnable(bool* enable) { return HVSFX_DynamicBass_GetEnable(&s_HVSFX_Param, enable); }
int HVTralo_DynamicBass_SetLevel(int level) { return HVSFX_DynamicBass_SetLevel(&s_HVSFX_Param, level); }
int HVTralo_DynamicBass_GetLevel(int* level) { return HVSFX_DynamicBass_GetLevel(&s_HVSFX_Param, level); }
int HVTralo_DynamicBass_SetCutOffFreq(int hz) { return HVSFX_DynamicBass_SetCutOffFreq(&s_HVSFX_Param, hz); }
int HVTralo_DynamicBass_GetCutOffFreq(int* hz) { return HVSFX_DynamicBass_GetCutOffFreq(&s_HVSFX_Param, hz); }

int HVTralo_Soundbar_SetEnable(bool enable) { return HVSFX_Soundbar_SetEnable(&s_HVSFX_Param, enable); }
int HVTralo_Soundbar_GetEnable(bool* enable) { return HVSFX_Soundbar_GetEnable(&s_HVSFX_Param, enable); }
int HVTralo_Soundbar_SetDistance(int distance) { return HVSFX_Soundbar_SetDistance(&s_HVSFX_Param, distance); }
int HVTralo_Soundbar_GetDistance(int* distance) { return HVSFX_Soundbar_GetDistance(&s_HVSFX_Param, distance); }
int HVTralo_Soundbar_SetAngle(int angle) { return HVSFX_Soundbar_SetAngle(&s_HVSFX_Param, angle); }
int HVTralo_Soundbar_GetAngle(int* angle) { return HVSFX_Soundbar_GetAngle(&s_HVSFX_Param, angle); }
int HVTralo_Soundbar_SetLFECopyEnable(bool enable) {
  return HVSFX_Soundbar_SetLFECopyEnable(&s_HVSFX_Param, enable);
}
int HVTralo_Soundbar_GetLFECopyEnable(bool* enable) {
  return HVSFX_Soundbar_GetLFECopyEnable(&s_HVSFX_Param, enable);
}
int HVTralo_Soundbar_SetLFEFreq(int hz) { return HVSFX_Soundbar_SetLFEFreq(&s_HVSFX_Param, hz); }
int HVTralo_Soundbar_GetLFEFreq(int* hz) { return HVSFX_Soundbar_GetLFEFreq(&s_HVSFX_Param, hz); }
int HVTralo_Soundbar_SetLFEGain(int db) { return HVSFX_Soundbar_SetLFEGain(&s_HVSFX_Param, db); }
int HVTralo_Soundbar_GetLFEGain(int* db) { return HVSFX_Soundbar_GetLFEGain(&s_HVSFX_Param, db); }
int HVTralo_Soundbar_SetLFESVEnable(bool enable) { return HVSFX_Soundbar_SetLFESVEnable(&s_HVSFX_Param, enable); }
int HVTralo_Soundbar_GetLFESVEnable(bool* enable) { return HVSFX_Soundbar_GetLFESVEnable(&s_HVSFX_Param, enable); }
int HVTralo_Soundbar_SetLFESVParam(int mode, int relativeVolume, int stationMs, int baseFlag) {
  return HVSFX_Soundbar_SetLFESVParam(&s_HVSFX_Param, mode, relativeVolume, stationMs, baseFlag);
}
int HVTralo_Soundbar_GetLFESVParam(int* mode, int* relativeVolume, int* stationMs, int* baseFlag) {
  return HVSFX_Soundbar_GetLFESVParam(&s_HVSFX_Param, mode, relativeVolume, stationMs, baseFlag);
}
int HVTralo_Soundbar_SetLFESVVolUpDownRate(int upRate, int downRate) {
  return HVSFX_Soundbar_SetLFESVVolUpDownRate(&s_HVSFX_Param, upRate, downRate);
}
int HVTralo_Soundbar_GetLFESVVolUpDownRate(int* upRate, int* downRate) {
  return HVSFX_Soundbar_GetLFESVVolUpDownRate(&s_HVSFX_Param, upRate, downRate);
}

}  // extern "C"
