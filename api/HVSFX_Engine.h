/* The engine: gathers the host's interleaved 16-bit stream into planar
 * blocks of nFrameSize frames, runs the effect chain once per block and hands
 * the processed block back one block later, in place.
 *
 * One engine exists per process: the module instances are process-wide, the
 * record carries the settings and the working buffers. Threading: one audio
 * thread calls HVSFX_Process; control threads call HVSFX_Init, HVSFX_Release
 * and the setters. A release requested while a block is being processed
 * takes effect when that HVSFX_Process call returns. */
#ifndef HVTRALOFX_API_HVSFX_ENGINE_H
#define HVTRALOFX_API_HVSFX_ENGINE_H

#include "HVSFX_Param.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Largest block length HVSFX_Init accepts, in frames per channel. */
#define HVSFX_MAX_FRAME_SIZE 65536

/* (Re)creates every module and both working buffers from the record.
 * Refused with 0, before anything is touched, for a null record or a record
 * with nInChannels or nOutChannels outside 1 ... 6, nFrameSize outside
 * 1 ... HVSFX_MAX_FRAME_SIZE or nSampleRate <= 0. If a block is being
 * processed on another thread, waits until it is done. Returns 1 on success.
 * Frames already gathered into a partial block are kept (they are dropped if
 * the new block length is not longer than them). */
HVFX_API int HVSFX_Init(HVSFX_Param* param);

/* Processes `frames` interleaved frames of nInChannels samples in place. The
 * output lags the input by exactly nFrameSize frames; the first block out is
 * silence. Any frame count is accepted: calls shorter than a block only
 * gather and emit, longer calls run the chain once per completed block.
 * Returns 1 when done, including frames <= 0 (nothing happens) and the early
 * return when every effect switch that keeps the chain running is off (the
 * samples are then left untouched). Returns 0 and leaves the samples
 * untouched for a null record, an engine that is not initialised or is being
 * reconfigured, a record other than the one the engine was initialised with
 * (or whose geometry changed since), and null samples with frames > 0. */
HVFX_API int HVSFX_Process(HVSFX_Param* param, short* samples, int frames);

/* Frees every module and buffer now, or at the end of the HVSFX_Process call
 * that is running. Returns 1, or 0 for a null record. */
HVFX_API int HVSFX_Release(HVSFX_Param* param);

#ifdef __cplusplus
}
#endif

#endif
