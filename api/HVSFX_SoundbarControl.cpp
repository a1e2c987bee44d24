#include "hvtralofx/HVSFX_SoundbarControl.h"

#include <initializer_list>
#include <utility>

#include "AdaVControlInternal.h"
#include "EngineOps.h"

using namespace hvfx::api;

namespace {

constexpr float kLfeBandQ = 2.0f;

int GetInts(const HVSFX_Param* p, std::initializer_list<std::pair<int HVSFX_Param::*, int*>> fields) {
  if (p == nullptr) return 0;
  for (const auto& f : fields)
    if (f.second == nullptr) return 0;
  for (const auto& f : fields) *f.second = p->*f.first;
  return 1;
}

// The LFE band-pass with the record's frequency and gain, designed on its
// twin and published; -2 without a built chain.
int DesignLfeBand(hvfx::api::Engine& e, const HVSFX_Param& p) {
  if (e.Built() == nullptr) return -2;
  e.EqualizerTwin(-1)->Tst_SetBPFOption(0, true, p.nLFEFreq, p.nLFEGain, kLfeBandQ);
  e.PublishEqualizer(-1);
  return 1;
}

}  // namespace

namespace hvfx::api {

int Soundbar_SetDistance(Engine& e, HVSFX_Param* p, int distance) {
  if (p == nullptr) return 0;
  p->nSoundbarDistance = distance;
  // The processor only stores the value; its audio thread rebuilds.
  if (e.Built() == nullptr) return -2;
  e.Publish(Change::Kind::kSoundbarDistance, 0, distance);
  return 1;
}

int Soundbar_SetAngle(Engine& e, HVSFX_Param* p, int angle) {
  if (p == nullptr) return 0;
  p->nSoundbarAngle = angle;
  if (e.Built() == nullptr) return -2;
  e.Publish(Change::Kind::kSoundbarAngle, 0, angle);
  return 1;
}

int Soundbar_SetLFEFreq(Engine& e, HVSFX_Param* p, int hz) {
  if (p == nullptr) return 0;
  p->nLFEFreq = hz;
  return DesignLfeBand(e, *p);
}

int Soundbar_SetLFEGain(Engine& e, HVSFX_Param* p, int db) {
  if (p == nullptr) return 0;
  p->nLFEGain = db;
  return DesignLfeBand(e, *p);
}

int Soundbar_SetLFESVParam(Engine& e, HVSFX_Param* p, int mode, int relativeVolume, int stationMs, int baseFlag) {
  if (p == nullptr) return 0;
  p->nLFESVMode = mode;
  p->nLFESVRelativeVolume = relativeVolume;
  p->nLFESVStationSigMs = stationMs;
  p->nLFESVBaseFlag = baseFlag;
  if (e.Built() == nullptr) return -2;
  e.Publish(Change::Kind::kLevellerParam, 0, mode, relativeVolume, stationMs, baseFlag, true);
  return 1;
}

int Soundbar_SetLFESVVolUpDownRate(Engine& e, HVSFX_Param* p, int upRate, int downRate) {
  if (p == nullptr) return 0;
  p->nLFESVVolUpRate = upRate;
  p->nLFESVVolDownRate = downRate;
  if (e.Built() == nullptr) return -2;
  e.Publish(Change::Kind::kLevellerRates, 0, AdaVRateToPercent(upRate), AdaVRateToPercent(downRate), 0, 0, true);
  return 1;
}

}  // namespace hvfx::api

using hvfx::api::Engine;
using hvfx::api::WithGlobalEngine;

extern "C" {

int HVSFX_Soundbar_SetDistance(HVSFX_Param* p, int distance) {
  return WithGlobalEngine([&](Engine& e) { return hvfx::api::Soundbar_SetDistance(e, p, distance); });
}
int HVSFX_Soundbar_SetAngle(HVSFX_Param* p, int angle) {
  return WithGlobalEngine([&](Engine& e) { return hvfx::api::Soundbar_SetAngle(e, p, angle); });
}
int HVSFX_Soundbar_SetLFEFreq(HVSFX_Param* p, int hz) {
  return WithGlobalEngine([&](Engine& e) { return hvfx::api::Soundbar_SetLFEFreq(e, p, hz); });
}
int HVSFX_Soundbar_SetLFEGain(HVSFX_Param* p, int db) {
  return WithGlobalEngine([&](Engine& e) { return hvfx::api::Soundbar_SetLFEGain(e, p, db); });
}
int HVSFX_Soundbar_SetLFESVParam(HVSFX_Param* p, int mode, int relativeVolume, int stationMs, int baseFlag) {
  return WithGlobalEngine(
      [&](Engine& e) { return hvfx::api::Soundbar_SetLFESVParam(e, p, mode, relativeVolume, stationMs, baseFlag); });
}
int HVSFX_Soundbar_SetLFESVVolUpDownRate(HVSFX_Param* p, int upRate, int downRate) {
  return WithGlobalEngine([&](Engine& e) { return hvfx::api::Soundbar_SetLFESVVolUpDownRate(e, p, upRate, downRate); });
}

int HVSFX_Soundbar_GetDistance(HVSFX_Param* p, int* out) { return GetInts(p, {{&HVSFX_Param::nSoundbarDistance, out}}); }
int HVSFX_Soundbar_GetAngle(HVSFX_Param* p, int* out) { return GetInts(p, {{&HVSFX_Param::nSoundbarAngle, out}}); }
int HVSFX_Soundbar_GetLFEFreq(HVSFX_Param* p, int* out) { return GetInts(p, {{&HVSFX_Param::nLFEFreq, out}}); }
int HVSFX_Soundbar_GetLFEGain(HVSFX_Param* p, int* out) { return GetInts(p, {{&HVSFX_Param::nLFEGain, out}}); }
int HVSFX_Soundbar_GetLFESVParam(HVSFX_Param* p, int* mode, int* relativeVolume, int* stationMs, int* baseFlag) {
  return GetInts(p, {{&HVSFX_Param::nLFESVMode, mode},
                     {&HVSFX_Param::nLFESVRelativeVolume, relativeVolume},
                     {&HVSFX_Param::nLFESVStationSigMs, stationMs},
                     {&HVSFX_Param::nLFESVBaseFlag, baseFlag}});
}
int HVSFX_Soundbar_GetLFESVVolUpDownRate(HVSFX_Param* p, int* upRate, int* downRate) {
  return GetInts(p, {{&HVSFX_Param::nLFESVVolUpRate, upRate}, {&HVSFX_Param::nLFESVVolDownRate, downRate}});
}

}  // extern "C"
