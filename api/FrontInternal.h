// State of the front interface, shared with the tests. Not installed: hosts
// use the HVTralo_* functions only.
#pragma once

#include <atomic>

#include "hvtralofx/HVSFX_Param.h"

namespace hvfx::api {

// The one engine record of the front interface, a copy of the defaults from
// load time on.
extern HVSFX_Param s_HVSFX_Param;
// Master switch of all effects; read by the audio thread.
extern std::atomic<bool> s_HVTralo_MainSwitchEnable;
// True from a successful HVTralo_Init to HVTralo_Release: HVTralo_Process
// calls the engine only meanwhile.
extern std::atomic<bool> s_HVTralo_Configed;
// True after the first HVTralo_Init: later ones re-apply the stored
// equalizer settings instead of setting the first-time defaults.
extern bool s_HVTralo_InitOnce;

}  // namespace hvfx::api
