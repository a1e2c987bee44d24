#include "hvtralofx/HVSFX_SoundbarControl.h"

#include <initializer_list>
#include <utility>

#include "hvtralofx/CHVAudioEQ_Ts.h"
#include "hvtralofx/CAdaptiveVolume_S24.h"
#include "hvtralofx/CSoundbar4Fxd.h"
#include "AdaVControlInternal.h"
#include "EngineInternal.h"

using namespace hvfx::api;

namespace {

constexpr float kLfeBandQ = 2.0f;

// Holds the engine so that a release cannot free the module meanwhile and,
// with betweenBlocks, starts after any block in flight so that recomputed
// coefficients land between blocks (a block that would start meanwhile is
// skipped). Returns body()'s result, or -2 when
// present() says the module is missing.
template <typename Present, typename Body>
int WithModule(bool betweenBlocks, Present present, Body body) {
  EngineControlGuard guard;
  if (betweenBlocks) guard.PauseBlocks();
  if (!present()) return -2;
  body();
  return 1;
}

int GetInts(const HVSFX_Param* p, std::initializer_list<std::pair<int HVSFX_Param::*, int*>> fields) {
  if (p == nullptr) return 0;
  for (const auto& f : fields)
    if (f.second == nullptr) return 0;
  for (const auto& f : fields) *f.second = p->*f.first;
  return 1;
}

}  // namespace

extern "C" {

int HVSFX_Soundbar_SetDistance(HVSFX_Param* p, int distance) {
  if (p == nullptr) return 0;
  p->nSoundbarDistance = distance;
  // The processor only stores the value; its audio thread rebuilds.
  return WithModule(false, [] { return ptr_Soundbar != nullptr; }, [&] { ptr_Soundbar->SetDistance(distance); });
}

int HVSFX_Soundbar_SetAngle(HVSFX_Param* p, int angle) {
  if (p == nullptr) return 0;
  p->nSoundbarAngle = angle;
  return WithModule(false, [] { return ptr_Soundbar != nullptr; }, [&] { ptr_Soundbar->SetAngle(angle); });
}

int HVSFX_Soundbar_SetLFEFreq(HVSFX_Param* p, int hz) {
  if (p == nullptr) return 0;
  p->nLFEFreq = hz;
  const int db = p->nLFEGain;
  return WithModule(true, [] { return ptr_EQ_LFE != nullptr; },
                    [&] { ptr_EQ_LFE->Tst_SetBPFOption(0, true, hz, db, kLfeBandQ); });
}

int HVSFX_Soundbar_SetLFEGain(HVSFX_Param* p, int db) {
  if (p == nullptr) return 0;
  p->nLFEGain = db;
  const int hz = p->nLFEFreq;
  return WithModule(true, [] { return ptr_EQ_LFE != nullptr; },
                    [&] { ptr_EQ_LFE->Tst_SetBPFOption(0, true, hz, db, kLfeBandQ); });
}

int HVSFX_Soundbar_SetLFESVParam(HVSFX_Param* p, int mode, int relativeVolume, int stationMs, int baseFlag) {
  if (p == nullptr) return 0;
  p->nLFESVMode = mode;
  p->nLFESVRelativeVolume = relativeVolume;
  p->nLFESVStationSigMs = stationMs;
  p->nLFESVBaseFlag = baseFlag;
  return WithModule(true, [] { return ptr_AdaV != nullptr; }, [&] {
    if (ptr_AdaV_LFE != nullptr) ptr_AdaV_LFE->SetAdaVParam(mode, relativeVolume, stationMs, baseFlag);
  });
}

int HVSFX_Soundbar_SetLFESVVolUpDownRate(HVSFX_Param* p, int upRate, int downRate) {
  if (p == nullptr) return 0;
  p->nLFESVVolUpRate = upRate;
  p->nLFESVVolDownRate = downRate;
  return WithModule(true, [] { return ptr_AdaV != nullptr; }, [&] {
    if (ptr_AdaV_LFE != nullptr)
      ptr_AdaV_LFE->SetVolUpDownRate(AdaVRateToPercent(upRate), AdaVRateToPercent(downRate));
  });
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
