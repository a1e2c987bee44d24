/* The front interface: one effect with a master switch, for a host that does
 * not keep a record of its own. It owns the process-wide engine record and
 * forwards every control call to the engine function of the same feature
 * with that record, returning the engine's result (the AutoLevel functions
 * are the engine's AdaV ones). What the values mean, their ranges and the
 * refusals are stated with the engine functions (HVSFX_Switches.h,
 * HVSFX_EQControl.h, HVSFX_AdaVControl.h); getters given a null pointer
 * return 0.
 *
 * Threading: HVTralo_Process on the audio thread, everything else on control
 * threads, as for the engine (HVSFX_Engine.h): a control call publishes its
 * change and HVTralo_Process takes it, whole, at the start of its next call.
 * The front's record is the library's own and needs no guarding by the host:
 * control calls serialise on it, and the audio thread works on copies the
 * front publishes. The same front, as instances with an engine each, is in
 * HVFX_Engine.h. */
#ifndef HVTRALOFX_API_HVTRALO_FRONT_H
#define HVTRALOFX_API_HVTRALO_FRONT_H

#include "HVSFX_Param.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Master switch of all effects (off at load). Independent of initialisation.
 * HVTralo_SetEnable returns 1; HVTralo_GetEnable returns 0 for null. */
HVFX_API int HVTralo_SetEnable(bool enable);
HVFX_API int HVTralo_GetEnable(bool* enable);

/* Writes one line to the Android log (info, tag "HARVELTralo"), sets the
 * record's rate and channel counts (in = out = channels) and initialises the
 * engine (blocks of nFrameSize = 512 frames). Returns HVSFX_Init's result:
 * 1, or 0 when the engine refuses the layout (channels outside 1 ... 6, a
 * rate <= 0).
 * The first call also sets the front's first-time defaults: low and high
 * shelves switched on, every channel's low shelf at -20 dB / 1000 Hz and
 * high shelf at 0 dB / 8000 Hz, bands at their default frequencies and
 * switched off, LFE copy and LFE leveller on, soundbar angle 0, leveller
 * station time 5000 ms, gain shift 1. Later calls keep whatever the host has
 * set since and re-apply the stored shelf and band settings of every channel
 * to the new equalizers. */
HVFX_API int HVTralo_Init(int sampleRate, int channels);

/* Processes `frames` interleaved frames in place.
 * Unless the master switch is on and the soundbar is switched on, every
 * sample first takes a fixed attenuation, s = (s * 19661 + 16384) >> 15
 * (a gain of about 0.6, -4.4 dB), with nOutChannels samples per frame.
 * Master switch off: the attenuated block is the output; returns 1 (also for
 * frames < 1, with nothing touched).
 * Master switch on: the block goes on to HVSFX_Process and its result is
 * returned; 0 for frames < 1 and, after the attenuation, when the front is
 * not initialised (before HVTralo_Init or after HVTralo_Release).
 * Null samples with frames >= 1 return 0 and touch nothing, as does a
 * channel count outside 1 ... 6 left in the record by a refused
 * HVTralo_Init. */
HVFX_API int HVTralo_Process(short* samples, int frames);

/* Marks the front not initialised, then returns HVSFX_Release's result. */
HVFX_API int HVTralo_Release(void);

/* The delay in frames between a sample entering HVTralo_Process and leaving
 * it: 0 while the master switch is off, otherwise HVSFX_GetLatency's figure
 * (see HVSFX_Engine.h for the channels it describes). Returns 1, or 0 for a
 * null pointer or a front that is not initialised. */
HVFX_API int HVTralo_GetLatency(int* frames);

/* Smooth control of the process-wide front (off at load; see
 * HVSFX_SetSmoothControl for what it changes). What a call does to the
 * sound:
 *  - defined mode (off): every switch changes the latency at once (the
 *    output jumps in time), an equalizer setter clears the channel's filter
 *    history (a step in the output), a leveller setting restarts the
 *    leveller (about 15 ms of silence at 48 kHz, then the gain from 0 dB);
 *  - smooth mode (on): the chain runs on every block, the master switch and
 *    the attenuation included: with the master switch off the output is the
 *    attenuated input held back by the fixed latency; switching the master
 *    switch, the soundbar (and with it the attenuation) or any stage
 *    crossfades over 512 samples; setters never step the output.
 * HVTralo_GetLatency then reports the fixed latency, master switch off or
 * on. Returns 1 (the getter 0 for null). */
HVFX_API int HVTralo_SetSmoothControl(bool on);
HVFX_API int HVTralo_GetSmoothControl(bool* on);

HVFX_API int HVTralo_DRC_SetEnable(bool enable);
HVFX_API int HVTralo_DRC_GetEnable(bool* enable);

HVFX_API int HVTralo_AutoLevel_SetEnable(bool enable);
HVFX_API int HVTralo_AutoLevel_GetEnable(bool* enable);
HVFX_API int HVTralo_AutoLevel_SetParam(int mode, int relativeVolume, int stationMs, int baseFlag);
HVFX_API int HVTralo_AutoLevel_GetParam(int* mode, int* relativeVolume, int* stationMs, int* baseFlag);
HVFX_API int HVTralo_AutoLevel_SetVolUpDownRate(int upRate, int downRate);
HVFX_API int HVTralo_AutoLevel_GetVolUpDownRate(int* upRate, int* downRate);

HVFX_API int HVTralo_Surround_SetEnable(bool enable);
HVFX_API int HVTralo_Surround_GetEnable(bool* enable);

HVFX_API int HVTralo_EQ_SetEnable(bool enable);
HVFX_API int HVTralo_EQ_GetEnable(bool* enable);
HVFX_API int HVTralo_EQ_SetBandGain(int channel, int band, int gainDb, int freqHz, float q);
HVFX_API int HVTralo_EQ_GetBandGain(int channel, int band, int* gainDb, int* freqHz, float* q);
/* The shelf switches always address every channel. */
HVFX_API int HVTralo_EQ_SetLPFEnable(bool enable);
HVFX_API int HVTralo_EQ_SetHPFEnable(bool enable);
HVFX_API int HVTralo_EQ_SetLPFBandGain(int channel, int gainDb, int freqHz);
HVFX_API int HVTralo_EQ_GetLPFBandGain(int channel, int* gainDb, int* freqHz);
HVFX_API int HVTralo_EQ_SetHPFBandGain(int channel, int gainDb, int freqHz);
HVFX_API int HVTralo_EQ_GetHPFBandGain(int channel, int* gainDb, int* freqHz);

HVFX_API int HVTralo_DynamicBass_SetEnable(bool enable);
HVFX_API int HVTralo_DynamicBass_GetEnable(bool* enable);
HVFX_API int HVTralo_DynamicBass_SetLevel(int level);
HVFX_API int HVTralo_DynamicBass_GetLevel(int* level);
HVFX_API int HVTralo_DynamicBass_SetCutOffFreq(int hz);
HVFX_API int HVTralo_DynamicBass_GetCutOffFreq(int* hz);

/* Soundbar virtualizer (5.1 at 44.1 or 48 kHz) and the LFE stage; see
 * HVSFX_Switches.h and HVSFX_SoundbarControl.h. */
HVFX_API int HVTralo_Soundbar_SetEnable(bool enable);
HVFX_API int HVTralo_Soundbar_GetEnable(bool* enable);
HVFX_API int HVTralo_Soundbar_SetDistance(int distance);
HVFX_API int HVTralo_Soundbar_GetDistance(int* distance);
HVFX_API int HVTralo_Soundbar_SetAngle(int angle);
HVFX_API int HVTralo_Soundbar_GetAngle(int* angle);
HVFX_API int HVTralo_Soundbar_SetLFECopyEnable(bool enable);
HVFX_API int HVTralo_Soundbar_GetLFECopyEnable(bool* enable);
HVFX_API int HVTralo_Soundbar_SetLFEFreq(int hz);
HVFX_API int HVTralo_Soundbar_GetLFEFreq(int* hz);
HVFX_API int HVTralo_Soundbar_SetLFEGain(int db);
HVFX_API int HVTralo_Soundbar_GetLFEGain(int* db);
HVFX_API int HVTralo_Soundbar_SetLFESVEnable(bool enable);
HVFX_API int HVTralo_Soundbar_GetLFESVEnable(bool* enable);
HVFX_API int HVTralo_Soundbar_SetLFESVParam(int mode, int relativeVolume, int stationMs, int baseFlag);
HVFX_API int HVTralo_Soundbar_GetLFESVParam(int* mode, int* relativeVolume, int* stationMs, int* baseFlag);
HVFX_API int HVTralo_Soundbar_SetLFESVVolUpDownRate(int upRate, int downRate);
HVFX_API int HVTralo_Soundbar_GetLFESVVolUpDownRate(int* upRate, int* downRate);

#ifdef __cplusplus
}
#endif

#endif
