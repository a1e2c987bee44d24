/* The instance interface: engines a host creates, each with a chain, a
 * record and a master switch of its own. An instance behaves exactly as the
 * front interface (HVTralo_*, HVTralo_Front.h) does over the process-wide
 * engine: HVFX_<name> with the handle first is HVTralo_<name> on that
 * instance, with the same values, ranges, refusals and return codes (see HVTralo_Front.h
 * and the engine headers it names), the same first-time defaults at the
 * instance's first HVFX_Init, the same output bit for bit. Any number of
 * instances run side by side, each on its own audio thread.
 *
 * Threads, per instance:
 *  - one audio thread calls HVFX_Process; it never waits for a control
 *    thread, never allocates and never skips a call (the one exception: a
 *    call that races HVFX_Release returns 0 with the samples untouched);
 *  - control threads call everything else; they serialise among themselves
 *    on the instance's lock (a control call may wait for another control
 *    call, never for the audio thread).
 * A control call does its work (coefficients, a new chain) on its own thread
 * and publishes the result; the audio thread takes every published change,
 * in the order made, at the start of its next HVFX_Process call, and keeps
 * the layout it found there to the end of the call. A setting made before a
 * call begins is in force for the whole of that call.
 *
 * Buffers: HVFX_Process reads and writes frames x channels samples, with the
 * channel count of the HVFX_Init in force when the call begins; size the
 * buffer for the largest channel count the host initialises with while audio
 * may run.
 *
 * Smooth control: on for every instance HVFX_Create makes (the one
 * difference from the front's load-time state). Setters, switches and the
 * master switch then never click, never silence and never move the output
 * in time: the latency is fixed for the layout and rate, and a change
 * crossfades over 512 samples (HVTralo_SetSmoothControl states the two
 * modes). HVFX_SetSmoothControl(engine, false) gives the front's defined
 * behaviour, bit for bit.
 *
 * Handles: HVFX_Create returns a new instance (null when out of memory);
 * HVFX_Destroy frees it, with every module and buffer: call it when no other
 * thread uses the instance. Every function refuses a null handle with 0. */
#ifndef HVTRALOFX_HVFX_ENGINE_H
#define HVTRALOFX_HVFX_ENGINE_H

#include "HVSFX_Param.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct HVFX_Engine HVFX_Engine;

/* A new instance with the front's load-time state: master switch off, the
 * default record, not initialised. */
HVFX_API HVFX_Engine* HVFX_Create(void);
/* Frees the instance (a null handle is ignored). */
HVFX_API void HVFX_Destroy(HVFX_Engine* engine);

/* Master switch, life cycle, processing, latency. */
HVFX_API int HVFX_SetEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_GetEnable(HVFX_Engine* engine, bool* enable);
HVFX_API int HVFX_Init(HVFX_Engine* engine, int sampleRate, int channels);
HVFX_API int HVFX_Process(HVFX_Engine* engine, short* samples, int frames);
/* The rate and channel count of the HVFX_Init in force; 0 before the first. */
HVFX_API int HVFX_GetFormat(HVFX_Engine* engine, int* sampleRate, int* channels);
HVFX_API int HVFX_Release(HVFX_Engine* engine);
HVFX_API int HVFX_GetLatency(HVFX_Engine* engine, int* frames);
HVFX_API int HVFX_SetSmoothControl(HVFX_Engine* engine, bool on);
HVFX_API int HVFX_GetSmoothControl(HVFX_Engine* engine, bool* on);

/* Limiter. */
HVFX_API int HVFX_DRC_SetEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_DRC_GetEnable(HVFX_Engine* engine, bool* enable);

/* Leveller. */
HVFX_API int HVFX_AutoLevel_SetEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_AutoLevel_GetEnable(HVFX_Engine* engine, bool* enable);
HVFX_API int HVFX_AutoLevel_SetParam(HVFX_Engine* engine, int mode, int relativeVolume, int stationMs, int baseFlag);
HVFX_API int HVFX_AutoLevel_GetParam(HVFX_Engine* engine, int* mode, int* relativeVolume, int* stationMs, int* baseFlag);
HVFX_API int HVFX_AutoLevel_SetVolUpDownRate(HVFX_Engine* engine, int upRate, int downRate);
HVFX_API int HVFX_AutoLevel_GetVolUpDownRate(HVFX_Engine* engine, int* upRate, int* downRate);

/* Surround. */
HVFX_API int HVFX_Surround_SetEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_Surround_GetEnable(HVFX_Engine* engine, bool* enable);

/* Equalizer. */
HVFX_API int HVFX_EQ_SetEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_EQ_GetEnable(HVFX_Engine* engine, bool* enable);
HVFX_API int HVFX_EQ_SetBandGain(HVFX_Engine* engine, int channel, int band, int gainDb, int freqHz, float q);
HVFX_API int HVFX_EQ_GetBandGain(HVFX_Engine* engine, int channel, int band, int* gainDb, int* freqHz, float* q);
HVFX_API int HVFX_EQ_SetLPFEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_EQ_SetHPFEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_EQ_SetLPFBandGain(HVFX_Engine* engine, int channel, int gainDb, int freqHz);
HVFX_API int HVFX_EQ_GetLPFBandGain(HVFX_Engine* engine, int channel, int* gainDb, int* freqHz);
HVFX_API int HVFX_EQ_SetHPFBandGain(HVFX_Engine* engine, int channel, int gainDb, int freqHz);
HVFX_API int HVFX_EQ_GetHPFBandGain(HVFX_Engine* engine, int channel, int* gainDb, int* freqHz);

/* Dynamic bass (stored and reported only). */
HVFX_API int HVFX_DynamicBass_SetEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_DynamicBass_GetEnable(HVFX_Engine* engine, bool* enable);
HVFX_API int HVFX_DynamicBass_SetLevel(HVFX_Engine* engine, int level);
HVFX_API int HVFX_DynamicBass_GetLevel(HVFX_Engine* engine, int* level);
HVFX_API int HVFX_DynamicBass_SetCutOffFreq(HVFX_Engine* engine, int hz);
HVFX_API int HVFX_DynamicBass_GetCutOffFreq(HVFX_Engine* engine, int* hz);

/* Soundbar and LFE stage. */
HVFX_API int HVFX_Soundbar_SetEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_Soundbar_GetEnable(HVFX_Engine* engine, bool* enable);
HVFX_API int HVFX_Soundbar_SetDistance(HVFX_Engine* engine, int distance);
HVFX_API int HVFX_Soundbar_GetDistance(HVFX_Engine* engine, int* distance);
HVFX_API int HVFX_Soundbar_SetAngle(HVFX_Engine* engine, int angle);
HVFX_API int HVFX_Soundbar_GetAngle(HVFX_Engine* engine, int* angle);
HVFX_API int HVFX_Soundbar_SetLFECopyEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_Soundbar_GetLFECopyEnable(HVFX_Engine* engine, bool* enable);
HVFX_API int HVFX_Soundbar_SetLFEFreq(HVFX_Engine* engine, int hz);
HVFX_API int HVFX_Soundbar_GetLFEFreq(HVFX_Engine* engine, int* hz);
HVFX_API int HVFX_Soundbar_SetLFEGain(HVFX_Engine* engine, int db);
HVFX_API int HVFX_Soundbar_GetLFEGain(HVFX_Engine* engine, int* db);
HVFX_API int HVFX_Soundbar_SetLFESVEnable(HVFX_Engine* engine, bool enable);
HVFX_API int HVFX_Soundbar_GetLFESVEnable(HVFX_Engine* engine, bool* enable);
HVFX_API int HVFX_Soundbar_SetLFESVParam(HVFX_Engine* engine, int mode, int relativeVolume, int stationMs, int baseFlag);
HVFX_API int HVFX_Soundbar_GetLFESVParam(HVFX_Engine* engine, int* mode, int* relativeVolume, int* stationMs, int* baseFlag);
HVFX_API int HVFX_Soundbar_SetLFESVVolUpDownRate(HVFX_Engine* engine, int upRate, int downRate);
HVFX_API int HVFX_Soundbar_GetLFESVVolUpDownRate(HVFX_Engine* engine, int* upRate, int* downRate);

#ifdef __cplusplus
}
#endif

#endif
