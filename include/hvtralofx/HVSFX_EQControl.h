/* Equalizer controls of the engine interface: the low and high shelves
 * ("LPF" and "HPF" in the names) and the bands of every channel equalizer.
 *
 * Return values: 1 done; 0 for a null record or null out pointer, a channel
 * or band out of range; -2 when the engine is not initialised (no channel
 * equalizers exist), in which case nothing is stored.
 *
 * Channels: -1 addresses every channel 0 ... nInChannels - 1; otherwise a
 * channel must be 0 ... 5 and, for the setters, below the channel count the
 * engine was initialised with. Bands: 0 ... nEQBandNum - 1, where nEQBandNum
 * counts as 8 above 8 and as 0 below 0. A refused call changes nothing.
 *
 * Setters that change a channel's shelf settings or bands compute its new
 * coefficients on the calling thread and publish them; the channel's
 * equalizer takes them at the start of the next HVSFX_Process call (see
 * HVSFX_Engine.h). Gains are in dB (the equalizer limits them to 20 dB),
 * frequencies in Hz.
 *
 * What a setter does to the sound. Defined mode: the new response starts
 * at the next call; the gain and frequency setters also clear the channel's
 * filter history, a step in the output even for a band far from the
 * signal (the shelf switches and the band reset do not). Smooth mode
 * (HVSFX_SetSmoothControl): no history is cleared; at the next block the
 * equalizer takes the new design while a copy of it runs the old one on the
 * same input, and the output crossfades from the old response to the new
 * over 512 samples (a second change waits for the end of the running
 * transition). A band switched on starts from a clean history. */
#ifndef HVTRALOFX_API_HVSFX_EQCONTROL_H
#define HVTRALOFX_API_HVSFX_EQCONTROL_H

#include "HVSFX_Param.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Stores bLPFEnable (one flag for every channel), then switches the low shelf
 * of the addressed channel(s) with that channel's stored frequency and gain. */
HVFX_API int HVSFX_EQ_SetLPFEnable(HVSFX_Param* param, int channel, bool enable);
/* As HVSFX_EQ_SetLPFEnable for the high shelf (bHPFEnable). */
HVFX_API int HVSFX_EQ_SetHPFEnable(HVSFX_Param* param, int channel, bool enable);
/* Report bLPFEnable / bHPFEnable; the channel argument is ignored. */
HVFX_API int HVSFX_EQ_GetLPFEnable(HVSFX_Param* param, int channel, bool* out);
HVFX_API int HVSFX_EQ_GetHPFEnable(HVSFX_Param* param, int channel, bool* out);

/* Stores the low-shelf gain of the addressed channel(s) and, when
 * freqHz >= 1, the frequency (otherwise the stored one is kept), then
 * redesigns the shelf with the switch bLPFEnable. */
HVFX_API int HVSFX_EQ_SetLPFBandGain(HVSFX_Param* param, int channel, int gainDb, int freqHz);
/* As HVSFX_EQ_SetLPFBandGain for the high shelf (bHPFEnable). */
HVFX_API int HVSFX_EQ_SetHPFBandGain(HVSFX_Param* param, int channel, int gainDb, int freqHz);
/* Report the stored shelf gain and frequency of one channel (0 ... 5). */
HVFX_API int HVSFX_EQ_GetLPFBandGain(HVSFX_Param* param, int channel, int* gainDb, int* freqHz);
HVFX_API int HVSFX_EQ_GetHPFBandGain(HVSFX_Param* param, int channel, int* gainDb, int* freqHz);

/* Stores the band's gain of the addressed channel(s), its frequency when
 * freqHz > 0 and its Q when q is a finite positive number (otherwise the
 * stored values are kept), then redesigns the band; a gain of 0 dB switches
 * the band off. */
HVFX_API int HVSFX_EQ_SetBandGain(HVSFX_Param* param, int channel, int band, int gainDb, int freqHz, float q);
/* Reports the stored gain, frequency and Q of one band of one channel (0 ... 5). */
HVFX_API int HVSFX_EQ_GetBandGain(HVSFX_Param* param, int channel, int band, int* gainDb, int* freqHz, float* q);

/* Returns bands to their default frequencies (250, 400, 630, 1000, 1600,
 * 2500, 4000, 6300 Hz for bands 0 ... 7) with Q 2.0, switched off; the stored
 * band gains are kept. -1 for channel or band addresses all of them. It also
 * sets both shelf gains to 0 dB (frequencies kept) of the channel whose index
 * is the band argument (every channel for band -1): the band is passed as the
 * channel of the shelf settings, by design. A single band out of range
 * returns 0 after that shelf step. */
HVFX_API int HVSFX_EQ_ResetBandFreq(HVSFX_Param* param, int channel, int band);

#ifdef __cplusplus
}
#endif

#endif
