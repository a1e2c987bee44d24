/* Soundbar and LFE controls of the engine interface. The switches
 * (HVSFX_Soundbar_SetEnable, ...SetLFECopyEnable, ...SetLFESVEnable) are in
 * HVSFX_Switches.h.
 *
 * Setters store the value in the record first, then publish it to the module
 * that takes it at the start of the next HVSFX_Process call (the LFE band's
 * coefficients are computed on the calling thread): 1 when done, 0 for a null record, -2 when that module does
 * not exist (the engine is not initialised); the stored value is then used
 * by the next HVSFX_Init. No setter checks the range of its value. Getters
 * copy the stored values: 1, or 0 for a null record or out pointer.
 *
 * What a setter does to the sound. Distance and width (angle) start the
 * soundbar's own fade out, rebuild and fade in, in both modes. The LFE band
 * keeps its history in both modes; in smooth mode (HVSFX_SetSmoothControl)
 * its output crossfades from the old design to the new over 512 samples as
 * the channel equalizers' do. The LFE leveller's settings behave as the
 * main leveller's (HVSFX_AdaVControl.h). */
#ifndef HVTRALOFX_API_HVSFX_SOUNDBARCONTROL_H
#define HVTRALOFX_API_HVSFX_SOUNDBARCONTROL_H

#include "HVSFX_Param.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Listening distance in cm: 30, 40, 50, 60 or 70 select their own filter
 * sets, any other value the 50 cm set. The change fades the soundbar input
 * out (1536 samples), reloads its filters at the silent point (in the
 * storage they have: nothing is allocated) and fades back in. */
HVFX_API int HVSFX_Soundbar_SetDistance(HVSFX_Param* param, int distance);
HVFX_API int HVSFX_Soundbar_GetDistance(HVSFX_Param* param, int* distance);
/* Width: 0 wide, 2 narrow, any other value the default width; changes like
 * the distance. */
HVFX_API int HVSFX_Soundbar_SetAngle(HVSFX_Param* param, int angle);
HVFX_API int HVSFX_Soundbar_GetAngle(HVSFX_Param* param, int* angle);

/* Centre (Hz) and gain (dB) of the band-pass that filters the LFE mix; the
 * equalizer limits them (gain to 20 dB, frequency below half the rate). */
HVFX_API int HVSFX_Soundbar_SetLFEFreq(HVSFX_Param* param, int hz);
HVFX_API int HVSFX_Soundbar_GetLFEFreq(HVSFX_Param* param, int* hz);
HVFX_API int HVSFX_Soundbar_SetLFEGain(HVSFX_Param* param, int db);
HVFX_API int HVSFX_Soundbar_GetLFEGain(HVSFX_Param* param, int* db);

/* The LFE leveller's parameters and rate steps, with the meaning of
 * HVSFX_AdaV_SetParam and HVSFX_AdaV_SetVolUpDownRate. They are handed on
 * only while the MAIN leveller exists (-2 otherwise), the engine's long-
 * standing test. */
HVFX_API int HVSFX_Soundbar_SetLFESVParam(HVSFX_Param* param, int mode, int relativeVolume, int stationMs,
                                          int baseFlag);
HVFX_API int HVSFX_Soundbar_GetLFESVParam(HVSFX_Param* param, int* mode, int* relativeVolume, int* stationMs,
                                          int* baseFlag);
HVFX_API int HVSFX_Soundbar_SetLFESVVolUpDownRate(HVSFX_Param* param, int upRate, int downRate);
HVFX_API int HVSFX_Soundbar_GetLFESVVolUpDownRate(HVSFX_Param* param, int* upRate, int* downRate);

#ifdef __cplusplus
}
#endif

#endif
