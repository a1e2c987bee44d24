// Engine-wide state shared by the engine, its control functions and the
// tests. Not installed: hosts use the flat interfaces only.
#pragma once

#include <atomic>

#include "HVSFX_Param.h"

class CDynamicRangeControl;
class CHVAudioEQ_Ts;
class CAdaptiveVolume_S24;
class CSoundbar4Fxd;

// Module instances; null while the engine is not initialised or while a
// module does not exist.
extern CDynamicRangeControl* ptr_DRC;
extern CHVAudioEQ_Ts** ptr_EQ;  // one per input channel
extern CHVAudioEQ_Ts* ptr_EQ_LFE;
extern CAdaptiveVolume_S24* ptr_AdaV;
extern CAdaptiveVolume_S24* ptr_AdaV_LFE;
extern CSoundbar4Fxd* ptr_Soundbar;

// Mono buffers of the LFE adaptive volume, nFrameSize ints each.
extern int* s_pLFEInBuf;
extern int* s_pLFEOutBuf;

// Reset requests: set by the control side, consumed by the audio thread
// before the next block of the module concerned.
extern std::atomic<int> nEQFilterResetFlag[8];
extern std::atomic<int> nSoundbarFilterResetFlag;

// Frames already gathered into the current block.
extern int s_sampleCount;

// Lifecycle flags (0 or 1): engine ready, a block being processed, a release
// requested during processing.
extern std::atomic<int> s_initialized;
extern std::atomic<int> s_processRunning;
extern std::atomic<int> s_doRelease;
// Declared beside the others; nothing reads or writes it.
extern int s_doubleBufferFlag;

// The geometry the working buffers and module arrays were created with.
struct EngineLayout {
  const HVSFX_Param* param = nullptr;
  int frames = 0;
  int inChannels = 0;
  int outChannels = 0;
  int* inBuf = nullptr;
  int* outBuf = nullptr;
};
extern EngineLayout s_layout;

// Entries of ptr_EQ (the channel count the equalizers were created for).
extern int s_eqChannelCount;

// Runs the chain on one full block in the working buffers.
int ProcessModule(HVSFX_Param* param);
// Frees every module and buffer and marks the engine not initialised.
int RelaseAll(HVSFX_Param* param);

// Exclusive access among control operations that create, replace, free or
// call into module instances (HVSFX_Init, the release, setters that reach a
// module). Control threads spin briefly while another holds it. The audio
// thread never waits on it and keeps processing while a setter holds it;
// only re-initialisation and release make it skip a block.
class EngineControlGuard {
 public:
  EngineControlGuard();
  // Lets go, then carries out a release that became due meanwhile.
  ~EngineControlGuard();
  EngineControlGuard(const EngineControlGuard&) = delete;
  EngineControlGuard& operator=(const EngineControlGuard&) = delete;
  // Takes the guard if it is free, without waiting.
  static bool TryAcquire();
};

// Carries out a requested release once no block is running (see the engine).
void SettlePendingRelease(bool wait);
