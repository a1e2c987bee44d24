/* The engine parameter record: every setting of the processing chain and its
 * two planar working buffers. Usable from C and C++.
 *
 * A host that drives the engine directly fills a record with
 * HVSFX_GetDefaultParam, sets nSampleRate, nFrameSize and the channel counts,
 * and passes it to HVSFX_Init. The engine owns pInBuf and pOutBuf.
 *
 * The record is the host's, and so is guarding it: HVSFX_Process reads it
 * (one copy at the start of each call) while the host's control thread may
 * call setters that write it. A host that does both on two threads must
 * keep them from touching the record at the same time (the front interface
 * and the instance interface, HVFX_Engine.h, do this for their own records);
 * the engine itself never reads a record outside the call it was handed to. */
#ifndef HVTRALOFX_API_HVSFX_PARAM_H
#define HVTRALOFX_API_HVSFX_PARAM_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Largest layout the engine supports; the per-channel arrays hold this many. */
#define HVSFX_MAX_CHANNELS 6
/* Bands per channel in the record's equalizer arrays. */
#define HVSFX_MAX_EQ_BANDS 8

/* Field order and types are fixed: bSurroundEnable/bEQEnable and
 * bDRCEnable/bAdaVEnable are one-byte flags declared in pairs; every other
 * flag is a 32-bit int holding 0 or 1. */
typedef struct HVSFX_Param {
  int nSampleRate;          /* Hz */
  int nFrameSize;           /* block length in frames per channel */
  int nInChannels;          /* channels of the host's interleaved stream, 1 ... 6 */
  int nOutChannels;         /* channels of the output working buffer, 1 ... 6 */
  int nGainShift;           /* extra left shift of the soundbar outputs (not LFE) and surround */
  int nEQBandNum;           /* equalizer bands in use, at most 8 */
  int* pInBuf;              /* planar input working buffer, engine-owned */
  int* pOutBuf;             /* planar output working buffer, engine-owned */
  bool bSurroundEnable;
  bool bEQEnable;
  int nEQBandFreq[HVSFX_MAX_CHANNELS][HVSFX_MAX_EQ_BANDS];  /* Hz */
  int nEQBandGain[HVSFX_MAX_CHANNELS][HVSFX_MAX_EQ_BANDS];  /* dB, 0 = band off */
  float fEQBandQ[HVSFX_MAX_CHANNELS][HVSFX_MAX_EQ_BANDS];
  int bLPFEnable;           /* low shelf of every channel equalizer */
  int nLPFFreq[HVSFX_MAX_CHANNELS];  /* Hz */
  int nLPFGain[HVSFX_MAX_CHANNELS];  /* dB */
  int bHPFEnable;           /* high shelf of every channel equalizer */
  int nHPFFreq[HVSFX_MAX_CHANNELS];  /* Hz */
  int nHPFGain[HVSFX_MAX_CHANNELS];  /* dB */
  int bDynamicBassEnable;   /* stored and reported; keeps the chain running */
  int nDynamicBassLevel;
  int nDynamicBassCutOffFreq;  /* Hz */
  bool bDRCEnable;
  bool bAdaVEnable;
  int nAdaVMode;            /* 1 selects the steeper level curve */
  int nAdaVRelativeVolume;  /* percent, 0 ... 100 */
  int nAdaVStationSigMs;    /* ms, 5000 ... 20000 */
  int nAdaVBaseFlag;        /* positive: -3 dB base volume, else -9 dB */
  int nAdaVVolUpRate;       /* rate steps; the leveller gets ((rate - 3) * 100) / 12 percent */
  int nAdaVVolDownRate;
  int bSoundbarEnable;
  int nSoundbarDistance;    /* cm */
  int nSoundbarAngle;       /* 0 wide, 2 narrow, other values default width */
  int bLFECopyEnable;
  int nLFEFreq;             /* Hz */
  int nLFEGain;             /* dB */
  int bLFESVEnable;
  int nLFESVMode;
  int nLFESVRelativeVolume;
  int nLFESVStationSigMs;
  int nLFESVBaseFlag;
  int nLFESVVolUpRate;
  int nLFESVVolDownRate;
} HVSFX_Param;

/* The load-time defaults: DRC on, every other effect off, 48 kHz stereo in
 * blocks of 512 frames, buffer pointers null. Constant from load time on. */
HVFX_API extern const HVSFX_Param HVSFX_Param_Default;

/* Copies the default record (buffer pointers null) into param.
 * Returns 1, or 0 for a null pointer. */
HVFX_API int HVSFX_GetDefaultParam(void* param);

#ifdef __cplusplus
}  /* extern "C" */
#endif

#endif
