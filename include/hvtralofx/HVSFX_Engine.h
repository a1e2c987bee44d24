/* The engine: gathers the host's interleaved 16-bit stream into planar
 * blocks of nFrameSize frames, runs the effect chain once per block and hands
 * the processed block back one block later, in place.
 *
 * One engine exists per process for this interface (HVFX_Engine.h gives
 * instances): the module instances are the engine's, the record carries the
 * settings and the working buffers.
 *
 * Threads. One audio thread calls HVSFX_Process; control threads call
 * HVSFX_Init, HVSFX_Release, HVSFX_GetLatency and the setters, serialised
 * among themselves by the engine (a control call may wait for another, never
 * for the audio thread). The audio thread never waits, never allocates or
 * frees, and never skips a call (except one that races HVSFX_Release). A
 * control call does its work on its own thread (HVSFX_Init builds a whole
 * new chain, an equalizer setter computes coefficients) and publishes the
 * result; HVSFX_Process takes every change published before it began, in
 * the order made, before its first block, and keeps the chain and layout it
 * found there to its end. So a setting made before a call is in force for
 * the whole call, and a call running while HVSFX_Init builds a new layout
 * finishes with the old one: a host that changes the channel count while
 * audio runs sizes its buffers for the larger layout. The record itself is
 * the host's to guard (HVSFX_Param.h).
 *
 * Records: every call works on the record it is handed and on no other. The
 * engine remembers which record HVSFX_Init was handed only to compare it
 * with later ones; it never reads or writes a record through that memory.
 * HVSFX_Release clears pInBuf and pOutBuf of the record it is handed when
 * that record holds the engine's buffers, and touches no record afterwards:
 * the host may free the record as soon as HVSFX_Release returns, even while
 * the call it interrupts is still running (the buffers are freed when that
 * call ends). */
#ifndef HVTRALOFX_API_HVSFX_ENGINE_H
#define HVTRALOFX_API_HVSFX_ENGINE_H

#include "HVSFX_Param.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Largest block length HVSFX_Init accepts, in frames per channel. */
#define HVSFX_MAX_FRAME_SIZE 65536

/* (Re)creates every module and both working buffers from the record and
 * points the record's pInBuf and pOutBuf at the new buffers; the new chain
 * takes over at the start of the next HVSFX_Process call. Refused with 0,
 * before anything is touched, for a null record or a record with
 * nInChannels or nOutChannels outside 1 ... 6, nFrameSize outside
 * 1 ... HVSFX_MAX_FRAME_SIZE or nSampleRate <= 0. Returns 1 on success.
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
 * untouched for a null record, an engine that is not initialised or whose
 * release is under way, a record other than the one the engine was initialised with
 * (or whose geometry changed since), and null samples with frames > 0. */
HVFX_API int HVSFX_Process(HVSFX_Param* param, short* samples, int frames);

/* Clears the record's buffer pointers (when they are the engine's) and frees
 * every module and buffer now, or at the end of the HVSFX_Process call that
 * is running. Returns 1, or 0 for a null record. */
HVFX_API int HVSFX_Release(HVSFX_Param* param);

/* Latency: the delay, in frames, between a sample entering HVSFX_Process and
 * the same sample leaving it, for the switches in force now, written to
 * *frames:
 *   0 when no switch that keeps the chain running is on (the samples pass
 *     through untouched); otherwise
 *   nFrameSize (the block the engine gathers), plus
 *   nFrameSize while the limiter runs (bDRCEnable: one block of look-ahead),
 *   plus the leveller's look-ahead while it runs (bAdaVEnable with 1, 2 or
 *     6 channels): three analysis frames, 3 x 256 = 768 frames at 32 kHz and
 *     above, 3 x 128 at 16 and 22.05 kHz, 3 x 64 at 8 and 11.025 kHz.
 * The leveller delays exactly that much only when nFrameSize is a multiple of
 * its analysis frame (otherwise it leaves the end of each block unprocessed).
 * The figure holds for the main channels: every channel, except in 6-in /
 * 6-out layouts the LFE channel 3, whose own leveller (bLFESVEnable) sets
 * its delay whether or not the main leveller runs. With surround or dynamic
 * bass as the only switches and the limiter off no stage processes a block
 * and the input never reaches the output; the figure is then the block lag.
 * While the soundbar stage runs (bSoundbarEnable, 6 in / 6 out, 44.1 or
 * 48 kHz) it adds 383 frames on the channels it virtualizes, 0, 1, 4 and 5
 * (DC blocker 127 + FIR 128 + band split 128; its band split and FIR are
 * linear-phase, so their response is centred on that delay and starts
 * before it). The centre channel 2, which it passes through after the DC
 * blocker's and the FIR's delay only (255 frames), then lags 128 frames
 * less than the figure.
 * Returns 1, or 0 (nothing written) for a null argument, an engine that is
 * not initialised, or a record other than the one it was initialised with.
 * Call it from a control thread. */
HVFX_API int HVSFX_GetLatency(const HVSFX_Param* param, int* frames);

/* Smooth control of the process-wide engine (off at load time; `param` is
 * the record the host runs it with, refused with 0 when null). Off, every
 * setter and switch does what its header states under "Defined mode", bit
 * for bit. On, no control call is heard as a click:
 *  - the chain runs every stage the layout can run on every block, so the
 *    latency is fixed for the layout and rate: nFrameSize, plus the
 *    soundbar's delay (6 in / 6 out at a rate it has filters for), plus the
 *    leveller's look-ahead (1, 2 or 6 channels), plus nFrameSize for the
 *    limiter, whatever the switches; every output channel has that latency
 *    (the soundbar's centre and LFE included), and HVSFX_GetLatency reports
 *    it;
 *  - a switch crossfades between the stage's output and its input, held back
 *    by the stage's latency, over 512 samples; the limiter works on its own
 *    too, and the chain runs with every switch off;
 *  - equalizer and LFE band changes keep the filter history and crossfade
 *    from the old response to the new one over 512 samples; leveller
 *    settings keep the analysis and move the gain at the configured rates.
 * The switch is a control call like the others: it takes effect at the
 * start of the next HVSFX_Process call (the output may jump once, there).
 * Returns 1. */
HVFX_API int HVSFX_SetSmoothControl(HVSFX_Param* param, bool on);
HVFX_API int HVSFX_GetSmoothControl(const HVSFX_Param* param, bool* on);

#ifdef __cplusplus
}
#endif

#endif
