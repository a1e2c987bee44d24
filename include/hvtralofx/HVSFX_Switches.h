/* Effect switches of the engine interface. Each setter stores the flag in
 * the record and returns 1; each getter copies it to *out and returns 1.
 * A null record or null out pointer returns 0 and changes nothing.
 *
 * What a switch does to the sound. Defined mode: a stage joins or leaves
 * the chain at the next block, changing the latency (the output jumps in
 * time) and, for the soundbar, resetting it; with only the limiter on,
 * nothing is processed. Smooth mode (HVSFX_SetSmoothControl): every stage
 * the layout can run runs all the time; the switch crossfades between the
 * stage's output and its input held back by the stage's latency over 512
 * samples, so the latency stays fixed and a stage switched on continues from
 * a warm state; the limiter also works alone. Dynamic bass is stored only. */
#ifndef HVTRALOFX_API_HVSFX_SWITCHES_H
#define HVTRALOFX_API_HVSFX_SWITCHES_H

#include "HVSFX_Param.h"

#ifdef __cplusplus
extern "C" {
#endif

HVFX_API int HVSFX_DRC_SetEnable(HVSFX_Param* param, bool enable);
HVFX_API int HVSFX_DRC_GetEnable(HVSFX_Param* param, bool* out);
HVFX_API int HVSFX_AdaV_SetEnable(HVSFX_Param* param, bool enable);
HVFX_API int HVSFX_AdaV_GetEnable(HVSFX_Param* param, bool* out);
HVFX_API int HVSFX_Surround_SetEnable(HVSFX_Param* param, bool enable);
HVFX_API int HVSFX_Surround_GetEnable(HVSFX_Param* param, bool* out);
HVFX_API int HVSFX_EQ_SetEnable(HVSFX_Param* param, bool enable);
HVFX_API int HVSFX_EQ_GetEnable(HVSFX_Param* param, bool* out);
HVFX_API int HVSFX_DynamicBass_SetEnable(HVSFX_Param* param, bool enable);
HVFX_API int HVSFX_DynamicBass_GetEnable(HVSFX_Param* param, bool* out);
/* Also requests a soundbar reset before its next block. */
HVFX_API int HVSFX_Soundbar_SetEnable(HVSFX_Param* param, bool enable);
HVFX_API int HVSFX_Soundbar_GetEnable(HVSFX_Param* param, bool* out);
HVFX_API int HVSFX_Soundbar_SetLFECopyEnable(HVSFX_Param* param, bool enable);
HVFX_API int HVSFX_Soundbar_GetLFECopyEnable(HVSFX_Param* param, bool* out);
HVFX_API int HVSFX_Soundbar_SetLFESVEnable(HVSFX_Param* param, bool enable);
HVFX_API int HVSFX_Soundbar_GetLFESVEnable(HVSFX_Param* param, bool* out);

/* Dynamic bass has no processing stage: the setters return 0 and store
 * nothing; the getters report the record's level (5) and cut-off (200 Hz). */
HVFX_API int HVSFX_DynamicBass_SetLevel(HVSFX_Param* param, int level);
HVFX_API int HVSFX_DynamicBass_GetLevel(HVSFX_Param* param, int* out);
HVFX_API int HVSFX_DynamicBass_SetCutOffFreq(HVSFX_Param* param, int hz);
HVFX_API int HVSFX_DynamicBass_GetCutOffFreq(HVSFX_Param* param, int* out);

#ifdef __cplusplus
}
#endif

#endif
