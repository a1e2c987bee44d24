#include "hvtralofx/HVSFX_AdaVControl.h"


#include "hvtralofx/CAdaptiveVolume_S24.h"
#include "AdaVControlInternal.h"
#include "EngineInternal.h"

using namespace hvfx::api;

namespace {

// Calls body(leveller) when the main leveller exists. Holds the engine
// meanwhile, so that a release or re-initialisation cannot free it, and
// starts after any block in flight, so that the change lands between blocks
// (a block that would start meanwhile is skipped).
template <typename Body>
void WithLeveller(Body body) {
  EngineControlGuard guard;
  guard.PauseBlocks();
  if (ptr_AdaV != nullptr) body(*ptr_AdaV);
}

}  // namespace

extern "C" {

int HVSFX_AdaV_SetParam(HVSFX_Param* p, int mode, int relativeVolume, int stationMs, int baseFlag) {
  if (p == nullptr) return 0;
  p->nAdaVMode = mode;
  p->nAdaVRelativeVolume = relativeVolume;
  p->nAdaVStationSigMs = stationMs;
  p->nAdaVBaseFlag = baseFlag;
  WithLeveller([&](CAdaptiveVolume_S24& adav) { adav.SetAdaVParam(mode, relativeVolume, stationMs, baseFlag); });
  return 1;
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
  if (p == nullptr) return 0;
  p->nAdaVVolUpRate = upRate;
  p->nAdaVVolDownRate = downRate;
  WithLeveller([&](CAdaptiveVolume_S24& adav) {
    adav.SetVolUpDownRate(AdaVRateToPercent(upRate), AdaVRateToPercent(downRate));
  });
  return 1;
}

int HVSFX_AdaV_GetVolUpDownRate(HVSFX_Param* p, int* upRate, int* downRate) {
  if (p == nullptr || upRate == nullptr || downRate == nullptr) return 0;
  *upRate = p->nAdaVVolUpRate;
  *downRate = p->nAdaVVolDownRate;
  return 1;
}

}  // extern "C"
