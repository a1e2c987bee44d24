#include "hvtralofx/HVSFX_Switches.h"

#include "EngineOps.h"

using namespace hvfx::api;

namespace {

template <typename Field>
int SetFlag(HVSFX_Param* param, Field HVSFX_Param::*field, bool enable) {
  if (param == nullptr) return 0;
  param->*field = static_cast<Field>(enable);
  return 1;
}

template <typename Field>
int GetFlag(const HVSFX_Param* param, Field HVSFX_Param::*field, bool* out) {
  if (param == nullptr || out == nullptr) return 0;
  *out = param->*field != 0;
  return 1;
}

int GetInt(const HVSFX_Param* param, int HVSFX_Param::*field, int* out) {
  if (param == nullptr || out == nullptr) return 0;
  *out = param->*field;
  return 1;
}

}  // namespace

namespace hvfx::api {

// The switch also asks for a soundbar reset before its next block.
int Soundbar_SetEnable(Engine& e, HVSFX_Param* p, bool on) {
  if (p == nullptr) return 0;
  p->bSoundbarEnable = on;
  e.Publish(Change::Kind::kSoundbarReset);
  return 1;
}

}  // namespace hvfx::api

extern "C" {

int HVSFX_DRC_SetEnable(HVSFX_Param* p, bool on) { return SetFlag(p, &HVSFX_Param::bDRCEnable, on); }
int HVSFX_DRC_GetEnable(HVSFX_Param* p, bool* out) { return GetFlag(p, &HVSFX_Param::bDRCEnable, out); }
int HVSFX_AdaV_SetEnable(HVSFX_Param* p, bool on) { return SetFlag(p, &HVSFX_Param::bAdaVEnable, on); }
int HVSFX_AdaV_GetEnable(HVSFX_Param* p, bool* out) { return GetFlag(p, &HVSFX_Param::bAdaVEnable, out); }
int HVSFX_Surround_SetEnable(HVSFX_Param* p, bool on) { return SetFlag(p, &HVSFX_Param::bSurroundEnable, on); }
int HVSFX_Surround_GetEnable(HVSFX_Param* p, bool* out) { return GetFlag(p, &HVSFX_Param::bSurroundEnable, out); }
int HVSFX_EQ_SetEnable(HVSFX_Param* p, bool on) { return SetFlag(p, &HVSFX_Param::bEQEnable, on); }
int HVSFX_EQ_GetEnable(HVSFX_Param* p, bool* out) { return GetFlag(p, &HVSFX_Param::bEQEnable, out); }
int HVSFX_DynamicBass_SetEnable(HVSFX_Param* p, bool on) { return SetFlag(p, &HVSFX_Param::bDynamicBassEnable, on); }
int HVSFX_DynamicBass_GetEnable(HVSFX_Param* p, bool* out) {
  return GetFlag(p, &HVSFX_Param::bDynamicBassEnable, out);
}
int HVSFX_Soundbar_SetEnable(HVSFX_Param* p, bool on) {
  return hvfx::api::WithGlobalEngine([&](hvfx::api::Engine& e) { return hvfx::api::Soundbar_SetEnable(e, p, on); });
}
int HVSFX_Soundbar_GetEnable(HVSFX_Param* p, bool* out) { return GetFlag(p, &HVSFX_Param::bSoundbarEnable, out); }
int HVSFX_Soundbar_SetLFECopyEnable(HVSFX_Param* p, bool on) {
  return SetFlag(p, &HVSFX_Param::bLFECopyEnable, on);
}
int HVSFX_Soundbar_GetLFECopyEnable(HVSFX_Param* p, bool* out) {
  return GetFlag(p, &HVSFX_Param::bLFECopyEnable, out);
}
int HVSFX_Soundbar_SetLFESVEnable(HVSFX_Param* p, bool on) { return SetFlag(p, &HVSFX_Param::bLFESVEnable, on); }
int HVSFX_Soundbar_GetLFESVEnable(HVSFX_Param* p, bool* out) {
  return GetFlag(p, &HVSFX_Param::bLFESVEnable, out);
}

int HVSFX_DynamicBass_SetLevel(HVSFX_Param*, int) { return 0; }
int HVSFX_DynamicBass_GetLevel(HVSFX_Param* p, int* out) { return GetInt(p, &HVSFX_Param::nDynamicBassLevel, out); }
int HVSFX_DynamicBass_SetCutOffFreq(HVSFX_Param*, int) { return 0; }
int HVSFX_DynamicBass_GetCutOffFreq(HVSFX_Param* p, int* out) {
  return GetInt(p, &HVSFX_Param::nDynamicBassCutOffFreq, out);
}

}  // extern "C"
