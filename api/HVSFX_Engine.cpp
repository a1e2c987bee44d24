#include "hvtralofx/HVSFX_Engine.h"

#include "EngineOps.h"

namespace hvfx::api {

namespace {
std::uintptr_t RecordId(const HVSFX_Param* param) { return reinterpret_cast<std::uintptr_t>(param); }
}  // namespace

int EngineInit(Engine& e, HVSFX_Param* p) { return p == nullptr ? 0 : e.Init(*p, RecordId(p)); }

int EngineRelease(Engine& e, HVSFX_Param* p) {
  if (p == nullptr) return 0;
  e.Release(p);
  return 1;
}

int EngineGetLatency(Engine& e, const HVSFX_Param* p, int* frames) {
  if (p == nullptr || frames == nullptr) return 0;
  return e.Latency(*p, RecordId(p), frames);
}

int EngineProcess(Engine& e, HVSFX_Param* p, short* samples, int frames) {
  if (p == nullptr || !e.BeginCall()) return 0;
  // The call works on the record as it stands now, to its end: a host that
  // rewrites the geometry before re-initialising cannot move the buffers'
  // bounds under a running call. The record is the host's to guard.
  const HVSFX_Param record = *p;
  const int result = e.ProcessFrames(record, RecordId(p), samples, frames);
  e.EndCall();
  return result;
}

}  // namespace hvfx::api

using hvfx::api::Engine;

extern "C" int HVSFX_Init(HVSFX_Param* param) {
  return hvfx::api::WithGlobalEngine([&](Engine& e) { return hvfx::api::EngineInit(e, param); });
}

extern "C" int HVSFX_Process(HVSFX_Param* param, short* samples, int frames) {
  return hvfx::api::EngineProcess(Engine::Global(), param, samples, frames);
}

extern "C" int HVSFX_Release(HVSFX_Param* param) {
  return hvfx::api::WithGlobalEngine([&](Engine& e) { return hvfx::api::EngineRelease(e, param); });
}

extern "C" int HVSFX_GetLatency(const HVSFX_Param* param, int* frames) {
  return hvfx::api::WithGlobalEngine([&](Engine& e) { return hvfx::api::EngineGetLatency(e, param, frames); });
}

extern "C" int HVSFX_SetSmoothControl(HVSFX_Param* param, bool on) {
  if (param == nullptr) return 0;
  return hvfx::api::WithGlobalEngine([&](Engine& e) {
    e.SetSmoothControl(on);
    return 1;
  });
}

extern "C" int HVSFX_GetSmoothControl(const HVSFX_Param* param, bool* on) {
  if (param == nullptr || on == nullptr) return 0;
  return hvfx::api::WithGlobalEngine([&](Engine& e) {
    *on = e.SmoothControl();
    return 1;
  });
}
