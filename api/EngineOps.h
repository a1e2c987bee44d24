// The engine interface's operations on an explicit engine: HVSFX_* runs them
// on the process-wide engine, the front and the instance interface on their
// own. The caller holds the engine's control lock. Each returns what the
// HVSFX_* function of the same name returns. Internal.
#pragma once

#include "Engine.h"
#include "hvtralofx/HVSFX_Param.h"

namespace hvfx::api {

// Runs op(engine) on the process-wide engine under its control lock.
template <typename Op>
int WithGlobalEngine(Op op) {
  Engine& engine = Engine::Global();
  const auto lock = engine.ControlLock();
  return op(engine);
}

int EngineInit(Engine& e, HVSFX_Param* p);
int EngineRelease(Engine& e, HVSFX_Param* p);
int EngineGetLatency(Engine& e, const HVSFX_Param* p, int* frames);
// Audio thread; no lock.
int EngineProcess(Engine& e, HVSFX_Param* p, short* samples, int frames);

int EQ_SetLPFEnable(Engine& e, HVSFX_Param* p, int channel, bool on);
int EQ_SetHPFEnable(Engine& e, HVSFX_Param* p, int channel, bool on);
int EQ_SetLPFBandGain(Engine& e, HVSFX_Param* p, int channel, int gainDb, int freqHz);
int EQ_SetHPFBandGain(Engine& e, HVSFX_Param* p, int channel, int gainDb, int freqHz);
int EQ_SetBandGain(Engine& e, HVSFX_Param* p, int channel, int band, int gainDb, int freqHz, float q);
int EQ_ResetBandFreq(Engine& e, HVSFX_Param* p, int channel, int band);

int AdaV_SetParam(Engine& e, HVSFX_Param* p, int mode, int relativeVolume, int stationMs, int baseFlag);
int AdaV_SetVolUpDownRate(Engine& e, HVSFX_Param* p, int upRate, int downRate);

int Soundbar_SetEnable(Engine& e, HVSFX_Param* p, bool on);
int Soundbar_SetDistance(Engine& e, HVSFX_Param* p, int distance);
int Soundbar_SetAngle(Engine& e, HVSFX_Param* p, int angle);
int Soundbar_SetLFEFreq(Engine& e, HVSFX_Param* p, int hz);
int Soundbar_SetLFEGain(Engine& e, HVSFX_Param* p, int db);
int Soundbar_SetLFESVParam(Engine& e, HVSFX_Param* p, int mode, int relativeVolume, int stationMs, int baseFlag);
int Soundbar_SetLFESVVolUpDownRate(Engine& e, HVSFX_Param* p, int upRate, int downRate);

}  // namespace hvfx::api
