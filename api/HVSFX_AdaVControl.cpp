#include "hvtralofx/HVSFX_AdaVControl.h"

#include "AdaVControlInternal.h"
#include "EngineOps.h"

using hvfx::api::AdaVRateToPercent;

namespace hvfx::api {

int AdaV_SetParam(Engine& e, HVSFX_Param* p, int mode, int relativeVolume, int stationMs, int baseFlag) {
  if (p == nullptr) return 0;
  p->nAdaVMode = mode;
  p->nAdaVRelativeVolume = relativeVolume;
  p->nAdaVStationSigMs = stationMs;
  p->nAdaVBaseFlag = baseFlag;
  if (e.Built() != nullptr) e.Publish(Change::Kind::kLevellerParam, 0, mode, relativeVolume, stationMs, baseFlag);
  return 1;
}

int AdaV_SetVolUpDownRate(Engine& e, HVSFX_Param* p, int upRate, int downRate) {
  if (p == nullptr) return 0;
  p->nAdaVVolUpRate = upRate;
  p->nAdaVVolDownRate = downRate;
  if (e.Built() != nullptr)
    e.Publish(Change::Kind::kLevellerRates, 0, AdaVRateToPercent(upRate), AdaVRateToPercent(downRate));
  return 1;
}

}  // namespace hvfx::api

extern "C" {

int HVSFX_AdaV_SetParam(HVSFX_Param* p, int mode, int relativeVolume, int stationMs, int baseFlag) {
  return hvfx::api::WithGlobalEngine(
      [&](hvfx::api::Engine& e) { return hvfx::api::AdaV_SetParam(e, p, mode, relativeVolume, stationMs, baseFlag); });
}

int HVSFX_AdaV_GetParam(HVSFX_Param* p, int* mode, int* relativeVolume, int* stationMs, int* baseFlag) {
  if (p == nullptr || mode == nullptr || relativeVolume == nullptr || stationMs == nullptr || baseFlag == nullptr)
    return 0;
  *mode = p->nAdaVMode;
  *relativeVolume = p->nAdaVRelativeVolume;
  *stationMs = p->nAdaVStationSigMs;
  *baseFlag = p->nAdaVBaseFlag;
  return 1;
}

int HVSFX_AdaV_SetVolUpDownRate(HVSFX_Param* p, int upRate, int downRate) {
  return hvfx::api::WithGlobalEngine([&](hvfx::api::Engine& e) { return hvfx::api::AdaV_SetVolUpDownRate(e, p, upRate, downRate); });
}

int HVSFX_AdaV_GetVolUpDownRate(HVSFX_Param* p, int* upRate, int* downRate) {
  if (p == nullptr || upRate == nullptr || downRate == nullptr) return 0;
  *upRate = p->nAdaVVolUpRate;
  *downRate = p->nAdaVVolDownRate;
  return 1;
}

}  // extern "C"
