/* Adaptive volume (leveller) controls of the engine interface. The switch
 * itself is HVSFX_AdaV_SetEnable in HVSFX_Switches.h.
 *
 * Setters store the values in the record and return 1 whether or not the
 * leveller exists; when it does (the engine is initialised) they publish the
 * values, which the leveller takes at the start of the next HVSFX_Process
 * call (see HVSFX_Engine.h). Getters copy the stored values. A null record
 * or out pointer returns 0 and changes nothing.
 *
 * What a setter does to the sound. Defined mode: HVSFX_AdaV_SetParam
 * restarts the analysis, empties the look-ahead (about 15 ms of silence at
 * 48 kHz), returns the gain to 0 dB and the rates to 6 dB/s. Smooth mode
 * (HVSFX_SetSmoothControl): the analysis, the look-ahead, the gain and the
 * configured rates carry on, and the gain moves toward the new target at
 * those rates (CAdaptiveVolume_S24::RetuneAdaVParam). The rates take effect
 * on the next frame in both modes. */
#ifndef HVTRALOFX_API_HVSFX_ADAVCONTROL_H
#define HVTRALOFX_API_HVSFX_ADAVCONTROL_H

#include "HVSFX_Param.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Stores nAdaVMode, nAdaVRelativeVolume, nAdaVStationSigMs, nAdaVBaseFlag
 * and hands them to the leveller, which restarts its analysis with the gain
 * at 0 dB and its default slew rates of 6 dB/s (call
 * HVSFX_AdaV_SetVolUpDownRate afterwards to change those again).
 *   mode            1: the steeper level curve, other values the flatter one
 *   relativeVolume  percent, 0 ... 100 (clamped by the leveller)
 *   stationMs       5000 ... 20000 ms (clamped by the leveller)
 *   baseFlag        > 0: base volume -3 dB, otherwise -9 dB */
HVFX_API int HVSFX_AdaV_SetParam(HVSFX_Param* param, int mode, int relativeVolume, int stationMs, int baseFlag);
HVFX_API int HVSFX_AdaV_GetParam(HVSFX_Param* param, int* mode, int* relativeVolume, int* stationMs, int* baseFlag);

/* Stores nAdaVVolUpRate / nAdaVVolDownRate (rate steps) and gives the
 * leveller ((rate - 3) * 100) / 12 percent of each, truncating toward zero
 * (6 -> 25, 3 -> 0, 1 -> -16, 15 -> 100); the leveller clamps the percent to
 * 0 ... 100, i.e. 3 ... 15 dB per second. Any int is accepted. */
HVFX_API int HVSFX_AdaV_SetVolUpDownRate(HVSFX_Param* param, int upRate, int downRate);
HVFX_API int HVSFX_AdaV_GetVolUpDownRate(HVSFX_Param* param, int* upRate, int* downRate);

#ifdef __cplusplus
}
#endif

#endif
