// Engine-wide state shared by the engine, its control functions and the
// tests. Not installed: hosts use the flat interfaces only.
#pragma once

#include <atomic>
#include <cstdint>

#include "hvtralofx/HVSFX_Param.h"

class CDynamicRangeControl;
class CHVAudioEQ_Ts;
class CAdaptiveVolume_S24;
class CSoundbar4Fxd;

namespace hvfx::api {

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
// paramId identifies the record HVSFX_Init was handed, for comparison only:
// the engine never reads or writes a record through it, since the host may
// have freed that record since.
struct EngineLayout {
  std::uintptr_t paramId = 0;
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
// Frees every module and buffer and marks the engine not initialised. The
// record handed in has its buffer pointers cleared if it holds the freed
// buffers; no other record is touched.
int RelaseAll(HVSFX_Param* param);

// Frames a call can gather before the current block is full: the smaller of
// the frames left in the call and the room left in the block. Never
// overflows, whatever the counts (gathered is 0 ... blockFrames - 1).
constexpr int FramesToGather(int gathered, int remaining, int blockFrames) {
  const int room = blockFrames - gathered;
  return remaining < room ? remaining : room;
}

// Exclusive access among control operations that create, replace, free or
// call into module instances (HVSFX_Init, the release, setters that reach a
// module). Control threads spin briefly while another holds it. The audio
// thread never waits on it and keeps processing while a setter holds it;
// only re-initialisation and release make it skip a block.
class EngineControlGuard {
 public:
  // current: the record handed to the call that takes the guard, or null. A
  // release carried out when the guard is let go clears this record's buffer
  // pointers if it holds the freed buffers.
  explicit EngineControlGuard(HVSFX_Param* current = nullptr);
  // Lets go, then carries out a release that became due meanwhile.
  ~EngineControlGuard();
  EngineControlGuard(const EngineControlGuard&) = delete;
  EngineControlGuard& operator=(const EngineControlGuard&) = delete;
  // Takes the guard if it is free, without waiting.
  static bool TryAcquire();
  // Waits for a block in flight to finish and makes the audio thread skip
  // blocks that would start, until the guard is let go: for setters that
  // change what a running block reads (coefficients, leveller state, the
  // soundbar's current build).
  void PauseBlocks();

 private:
  HVSFX_Param* current_;
  bool paused_ = false;
};

// The copy of a record that one HVSFX_Process call works on. Control threads
// may store new settings meanwhile (the accepted race on parameter values):
// each field is one aligned word, and the change lands in this call or the
// next. Every read of a record on the audio thread goes through here.
HVSFX_Param SnapshotRecord(const HVSFX_Param* param);

// Carries out a requested release once no block is running (see the engine);
// current as for EngineControlGuard.
void SettlePendingRelease(bool wait, HVSFX_Param* current);

}  // namespace hvfx::api
