#include "hvtralofx/HVSFX_Engine.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "hvtralofx/CHVAudioEQ_Ts.h"
#include "../fixedpoint/FixedPoint.h"
#include "hvtralofx/CAdaptiveVolume_S24.h"
#include "hvtralofx/CDynamicRangeControl.h"
#include "hvtralofx/CSoundbar4Fxd.h"
#include "EngineInternal.h"

using namespace fxp;

namespace hvfx::api {

CDynamicRangeControl* ptr_DRC = nullptr;
CHVAudioEQ_Ts** ptr_EQ = nullptr;
CHVAudioEQ_Ts* ptr_EQ_LFE = nullptr;
CAdaptiveVolume_S24* ptr_AdaV = nullptr;
CAdaptiveVolume_S24* ptr_AdaV_LFE = nullptr;
CSoundbar4Fxd* ptr_Soundbar = nullptr;
int* s_pLFEInBuf = nullptr;
int* s_pLFEOutBuf = nullptr;
std::atomic<int> nEQFilterResetFlag[8] = {};
std::atomic<int> nSoundbarFilterResetFlag{0};
int s_sampleCount = 0;
std::atomic<int> s_initialized{0};
std::atomic<int> s_processRunning{0};
std::atomic<int> s_doRelease{0};
int s_doubleBufferFlag = 0;
EngineLayout s_layout;
int s_eqChannelCount = 0;

namespace {

// 1 while a control operation holds the engine (see EngineControlGuard).
std::atomic<int> s_controlBusy{0};
// 1 while modules and buffers are being created or freed: HVSFX_Process skips
// its block. With s_processRunning it forms a sequentially consistent pair:
// each side raises its own flag, then reads the other's, so a block and a
// reconfiguration never both go ahead.
std::atomic<int> s_reconfiguring{0};

// Rows in each working buffer: the adaptive-volume stage converts six rows
// whatever the channel count, so both buffers always hold six.
constexpr int kWorkingRows = HVSFX_MAX_CHANNELS;

int* Row(int* buffer, int row, int frames) { return buffer + static_cast<size_t>(row) * static_cast<size_t>(frames); }

// Copies the previous stage's output into the input buffer (N x nOutChannels).
void CopyOutToIn(const HVSFX_Param& p) {
  std::memcpy(p.pInBuf, p.pOutBuf, sizeof(int) * static_cast<size_t>(p.nFrameSize) * static_cast<size_t>(p.nOutChannels));
}

// (v + 128) asr 8 of a working sample, as if the rounding add were done in 64
// bits (values near the int32 limits round to the right end instead of
// wrapping): v asr 8 plus bit 7 of v, exact in 32 bits and easy to vectorise.
int RoundToShortDomain(int v) { return Asr32(v, 8) + (Asr32(v, 7) & 1); }

// v = (v + 128) asr 8 over `count` working samples: into the 16-bit domain.
void ToShortDomain(int* v, size_t count) {
  for (size_t i = 0; i < count; ++i) v[i] = RoundToShortDomain(v[i]);
}

// v = v << 8 over `count` samples: back to working samples.
void FromShortDomain(int* v, size_t count) {
  for (size_t i = 0; i < count; ++i) v[i] = ShlWrap32(v[i], 8);
}

// (v + 128) asr 2 of a working sample: the virtualizer's quarter scale. The
// rounding constant is the 16-bit domain's 128, kept as the chain has it;
// the add is done in 64 bits.
// (v + 128) asr 2 = (v asr 2) + 32 exactly, since 128 is a multiple of 4.
int ToSoundbarDomain(int v) { return Asr32(v, 2) + 32; }

bool IsSixInSixOut(const HVSFX_Param& p) { return p.nInChannels == 6 && p.nOutChannels == 6; }

// ---- Module creation and release --------------------------------------------
// Each Create* deletes the instance it replaces; FreeModules deletes them all.

void FreeLimiter() {
  delete ptr_DRC;
  ptr_DRC = nullptr;
}
void FreeLeveller() {
  delete ptr_AdaV;
  ptr_AdaV = nullptr;
}
void FreeLfeEqualizer() {
  delete ptr_EQ_LFE;
  ptr_EQ_LFE = nullptr;
}
void FreeSoundbar() {
  if (ptr_Soundbar != nullptr) ptr_Soundbar->Free();
  delete ptr_Soundbar;
  ptr_Soundbar = nullptr;
}
void FreeLfeLeveller() {
  delete ptr_AdaV_LFE;
  ptr_AdaV_LFE = nullptr;
}
void FreeLfeBuffers() {
  std::free(s_pLFEInBuf);
  std::free(s_pLFEOutBuf);
  s_pLFEInBuf = nullptr;
  s_pLFEOutBuf = nullptr;
}
void FreeChannelEqualizers() {
  if (ptr_EQ != nullptr)
    for (int c = 0; c < s_eqChannelCount; ++c) delete ptr_EQ[c];
  delete[] ptr_EQ;
  ptr_EQ = nullptr;
  s_eqChannelCount = 0;
}

// RelaseAll's order.
void FreeModules() {
  FreeLimiter();
  FreeLeveller();
  FreeLfeEqualizer();
  FreeSoundbar();
  FreeLfeLeveller();
  FreeLfeBuffers();
  FreeChannelEqualizers();
}

void CreateLimiter(const HVSFX_Param& p) {
  FreeLimiter();
  ptr_DRC = new CDynamicRangeControl(p.nInChannels, p.nFrameSize);
  ptr_DRC->Init(p.nSampleRate);
  ptr_DRC->EnableDRC(1);
}
// One equalizer per input channel with the class defaults; the
// record's shelf and band settings are applied by the control functions.
void CreateChannelEqualizers(const HVSFX_Param& p) {
  FreeChannelEqualizers();
  ptr_EQ = new CHVAudioEQ_Ts*[static_cast<size_t>(p.nInChannels)];
  for (int c = 0; c < p.nInChannels; ++c) {
    ptr_EQ[c] = new CHVAudioEQ_Ts(p.nSampleRate);
    ptr_EQ[c]->Initial(1);
  }
  s_eqChannelCount = p.nInChannels;
}
// The main leveller, full scale 32768 in its 16-bit domain.
void CreateLeveller(const HVSFX_Param& p) {
  FreeLeveller();
  ptr_AdaV = new CAdaptiveVolume_S24(p.nSampleRate, 32768, p.nAdaVMode, p.nAdaVRelativeVolume, p.nAdaVStationSigMs,
                                     p.nAdaVBaseFlag);
}
// The LFE band-pass: no dry path, no shelves, band 0 at nLFEFreq Hz,
// nLFEGain dB, Q 2.
void CreateLfeEqualizer(const HVSFX_Param& p) {
  FreeLfeEqualizer();
  ptr_EQ_LFE = new CHVAudioEQ_Ts(p.nSampleRate);
  ptr_EQ_LFE->Initial(0);
  ptr_EQ_LFE->Tst_SetLFOption(false, 0, 0);
  ptr_EQ_LFE->Tst_SetBPFOption(0, true, p.nLFEFreq, p.nLFEGain, 2.0f);
  ptr_EQ_LFE->Tst_SetHFOption(false, 0, 0);
}

void CreateLfeBuffers(const HVSFX_Param& p) {
  FreeLfeBuffers();
  s_pLFEInBuf = static_cast<int*>(std::calloc(static_cast<size_t>(p.nFrameSize), sizeof(int)));
  s_pLFEOutBuf = static_cast<int*>(std::calloc(static_cast<size_t>(p.nFrameSize), sizeof(int)));
}

// The LFE leveller, with the record's LFE settings.
void CreateLfeLeveller(const HVSFX_Param& p) {
  FreeLfeLeveller();
  ptr_AdaV_LFE = new CAdaptiveVolume_S24(p.nSampleRate, 32768, p.nLFESVMode, p.nLFESVRelativeVolume,
                                         p.nLFESVStationSigMs, p.nLFESVBaseFlag);
}
// The soundbar virtualizer, with a band-split look-ahead of 128 samples.
constexpr int kSoundbarBandLookahead = 128;
void CreateSoundbar(const HVSFX_Param& p) {
  FreeSoundbar();
  ptr_Soundbar = new CSoundbar4Fxd();
  ptr_Soundbar->Init(p.nSampleRate, p.nInChannels, p.nFrameSize, kSoundbarBandLookahead, p.nSoundbarDistance,
                     p.nSoundbarAngle);
}

// Frees the working buffers the engine made and clears the pointers to them
// in `current`, the record handed to the present call (if any, and if it
// holds them). The record the engine was initialised with is not touched:
// the host may have freed it.
void FreeWorkingBuffers(HVSFX_Param* current) {
  if (current != nullptr) {
    if (current->pInBuf == s_layout.inBuf) current->pInBuf = nullptr;
    if (current->pOutBuf == s_layout.outBuf) current->pOutBuf = nullptr;
  }
  std::free(s_layout.inBuf);
  std::free(s_layout.outBuf);
  s_layout = EngineLayout{};
}

// The working buffers, six rows each. Only buffers the engine allocated are
// freed: pointers a host left in a record are not the engine's to free.
void CreateWorkingBuffers(HVSFX_Param& p) {
  FreeWorkingBuffers(&p);
  const size_t count = static_cast<size_t>(p.nFrameSize) * kWorkingRows;
  p.pInBuf = static_cast<int*>(std::calloc(count, sizeof(int)));
  p.pOutBuf = static_cast<int*>(std::calloc(count, sizeof(int)));
}


// ---- Chain stages (ProcessModule) --------------------------------------------

// The LFE pre-mix: row 3 becomes the sum of every row halved (each halved
// separately, truncating), band-filtered by the LFE equalizer.
void MixLfe(HVSFX_Param& p) {
  const int n = p.nFrameSize;
  int* rows[6];
  for (int c = 0; c < 6; ++c) rows[c] = Row(p.pInBuf, c, n);
  for (int i = 0; i < n; ++i) {
    int lfe = Asr32(rows[3][i], 1);
    for (int c : {0, 1, 2, 4, 5}) lfe = AddWrap32(lfe, Asr32(rows[c][i], 1));
    rows[3][i] = lfe;
  }
  ptr_EQ_LFE->EQProcess(Row(p.pOutBuf, 3, n), rows[3], 1, n);
  std::memcpy(rows[3], Row(p.pOutBuf, 3, n), sizeof(int) * static_cast<size_t>(n));
}

// Soundbar virtualizer with the LFE pre-mix, 6 in / 6 out only, at a rate
// the virtualizer has filters for. It works a quarter of the working scale
// down, (v + 128) asr 2, and its outputs are scaled back by 4, the full-range
// channels (not the LFE) shifted up by nGainShift on top.
bool SoundbarRuns(const HVSFX_Param& p) {
  return ptr_Soundbar != nullptr && p.bSoundbarEnable && IsSixInSixOut(p) && ptr_Soundbar->FiltersReady();
}
bool RunSoundbarStage(HVSFX_Param& p) {
  if (!SoundbarRuns(p)) return false;
  const int n = p.nFrameSize;
  const size_t count = static_cast<size_t>(n) * 6;
  for (size_t i = 0; i < count; ++i) p.pInBuf[i] = ToSoundbarDomain(p.pInBuf[i]);
  if (p.bLFECopyEnable && ptr_EQ_LFE != nullptr) MixLfe(p);
  if (nSoundbarFilterResetFlag.exchange(0) == 1) ptr_Soundbar->Reset();
  ptr_Soundbar->Process(p.pInBuf, n, p.nInChannels, p.pOutBuf, n, p.nOutChannels, 0);
  // x 4 back to the working scale; the full-range rows also << nGainShift.
  const int shift = p.nGainShift > 0 ? p.nGainShift : 0;
  for (int c = 0; c < 6; ++c) {
    int* row = Row(p.pOutBuf, c, n);
    const int extra = c == 3 ? 0 : shift;
    for (int i = 0; i < n; ++i) row[i] = ShlWrap32(ShlWrap32(row[i], 2), extra);
  }
  return true;
}

// The LFE leveller: the LFE adaptive volume runs on row 3 before the main
// adaptive volume, and its result is written back after it.
bool LfeLevellerApplies(const HVSFX_Param& p) {
  return ptr_AdaV_LFE != nullptr && p.bLFESVEnable && s_pLFEInBuf != nullptr && s_pLFEOutBuf != nullptr &&
         IsSixInSixOut(p);
}
void RunLfeLevellerStage(HVSFX_Param& p, bool soundbarRan) {
  if (soundbarRan) CopyOutToIn(p);
  const int n = p.nFrameSize;
  std::memcpy(s_pLFEInBuf, Row(p.pInBuf, 3, n), sizeof(int) * static_cast<size_t>(n));
  ToShortDomain(s_pLFEInBuf, static_cast<size_t>(n));
  ptr_AdaV_LFE->Process(s_pLFEOutBuf, s_pLFEInBuf, 1, n);
  FromShortDomain(s_pLFEOutBuf, static_cast<size_t>(n));
}
void WriteBackLfe(HVSFX_Param& p) {
  std::memcpy(Row(p.pOutBuf, 3, p.nFrameSize), s_pLFEOutBuf, sizeof(int) * static_cast<size_t>(p.nFrameSize));
}

// The leveller stage: adaptive volume on the main channels.
// Six rows are converted whatever the channel count (both working buffers
// hold six); the leveller reads and writes nInChannels of them.
bool LevellerRuns(const HVSFX_Param& p) {
  return ptr_AdaV != nullptr && p.bAdaVEnable && (p.nInChannels == 1 || p.nInChannels == 2 || p.nInChannels == 6);
}
bool RunLevellerStage(HVSFX_Param& p, bool copyFirst) {
  if (!LevellerRuns(p)) return false;
  if (copyFirst) CopyOutToIn(p);
  const int n = p.nFrameSize;
  const size_t count = static_cast<size_t>(n) * kWorkingRows;
  ToShortDomain(p.pInBuf, count);
  ptr_AdaV->Process(p.pOutBuf, p.pInBuf, p.nInChannels, n);
  FromShortDomain(p.pOutBuf, count);
  return true;
}

// The equalizer stage: one equalizer per channel.
bool RunEqualizerStage(HVSFX_Param& p, bool copyFirst) {
  if (ptr_EQ == nullptr || !p.bEQEnable) return false;
  if (copyFirst) CopyOutToIn(p);
  const int n = p.nFrameSize;
  const int channels = p.nInChannels < s_eqChannelCount ? p.nInChannels : s_eqChannelCount;
  for (int c = 0; c < channels; ++c) {
    // A setter changed this channel's sections: start from a clean history.
    if (nEQFilterResetFlag[c].exchange(0) == 1) ptr_EQ[c]->Reset();
    ptr_EQ[c]->EQProcess(Row(p.pOutBuf, c, n), Row(p.pInBuf, c, n), 1, n);
  }
  return true;
}

// The limiter stage: dynamic range control, in place on pOutBuf.
bool LimiterRuns(const HVSFX_Param& p) { return ptr_DRC != nullptr && p.bDRCEnable; }
void RunLimiterStage(HVSFX_Param& p, bool anyStageRan) {
  if (!LimiterRuns(p)) return;
  const int n = p.nFrameSize;
  if (!anyStageRan)
    std::memcpy(p.pOutBuf, p.pInBuf, sizeof(int) * static_cast<size_t>(n) * static_cast<size_t>(p.nOutChannels));
  // Row pointers in fixed storage: nothing is allocated per block.
  int* rows[HVSFX_MAX_CHANNELS] = {};
  for (int c = 0; c < p.nInChannels; ++c) rows[c] = Row(p.pOutBuf, c, n);
  const size_t count = static_cast<size_t>(n) * static_cast<size_t>(p.nInChannels);
  ToShortDomain(p.pOutBuf, count);
  ptr_DRC->Process(rows, n);
  FromShortDomain(p.pOutBuf, count);
}

// ---- Interleaved <-> planar ------------------------------------------------------

// Gathers k frames into the planar input rows at `pos` (x << 8), then emits the
// same k frames of the previous block, rounded and saturated to 16 bits, over
// the consumed input. All frames are read before any is written. The
// common channel counts get a loop with a fixed stride.
template <int kChannels>
void GatherAndEmitFixed(const HVSFX_Param& p, short* samples, int pos, int k, int channels) {
  const int n = p.nFrameSize;
  const int stride = kChannels > 0 ? kChannels : channels;
  const size_t frameStep = static_cast<size_t>(stride);
  for (int c = 0; c < stride; ++c) {
    int* row = Row(p.pInBuf, c, n) + pos;
    const short* from = samples + c;
    for (int f = 0; f < k; ++f) row[f] = ShlWrap32(from[static_cast<size_t>(f) * frameStep], 8);
  }
  for (int c = 0; c < stride; ++c) {
    const int* row = Row(p.pOutBuf, c, n) + pos;
    short* to = samples + c;
    for (int f = 0; f < k; ++f) to[static_cast<size_t>(f) * frameStep] = Sat16(RoundToShortDomain(row[f]));
  }
}

void GatherAndEmit(const HVSFX_Param& p, short* samples, int pos, int k) {
  switch (p.nInChannels) {
    case 2: return GatherAndEmitFixed<2>(p, samples, pos, k, 2);
    case 6: return GatherAndEmitFixed<6>(p, samples, pos, k, 6);
    default: return GatherAndEmitFixed<0>(p, samples, pos, k, p.nInChannels);
  }
}

// RelaseAll's work; current as for FreeWorkingBuffers (may be null).
void ReleaseModulesAndBuffers(HVSFX_Param* current) {
  s_initialized.store(0);
  s_doRelease.store(0);
  s_processRunning.store(0);
  FreeModules();
  FreeWorkingBuffers(current);
}

bool AnyChainSwitchOn(const HVSFX_Param& p) {
  // The limiter switch is deliberately not part of this test: with only the
  // limiter on, nothing is processed.
  return p.bSurroundEnable || p.bEQEnable || p.bDynamicBassEnable || p.bAdaVEnable || p.bSoundbarEnable;
}

std::uintptr_t RecordId(const HVSFX_Param* param) { return reinterpret_cast<std::uintptr_t>(param); }

// Delay of the main channels through HVSFX_Process, in frames, for the
// switches in force now (see HVSFX_GetLatency).
int LatencyFrames(const HVSFX_Param& p) {
  if (!AnyChainSwitchOn(p)) return 0;  // samples pass through untouched
  const int n = p.nFrameSize;
  int frames = n;  // gathering: the output lags the input by one block
  if (SoundbarRuns(p)) frames += ptr_Soundbar->MainChannelDelay();  // DC blocker, FIR and band split
  if (LevellerRuns(p)) frames += ptr_AdaV->GetLookAhead() * ptr_AdaV->GetFrameLength();
  if (LimiterRuns(p)) frames += n;  // one block of look-ahead
  return frames;
}

bool MatchesLayout(const HVSFX_Param* param, const HVSFX_Param& p) {
  return RecordId(param) == s_layout.paramId && p.pInBuf == s_layout.inBuf && p.pOutBuf == s_layout.outBuf &&
         p.nFrameSize == s_layout.frames && p.nInChannels == s_layout.inChannels &&
         p.nOutChannels == s_layout.outChannels;
}

// Waits, on a control thread, for the block in flight to finish once new
// blocks are held off. A block takes tens of microseconds, so the wait spins
// first: yielding at once could hand the core to another process for a whole
// scheduler slice on a loaded machine, and every call arriving meanwhile
// would be skipped. After 200 us it yields.
void WaitForBlockInFlight() {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point yieldAfter = Clock::now() + std::chrono::microseconds(200);
  while (s_processRunning.load() != 0) {
    if (Clock::now() < yieldAfter) {
#if defined(__x86_64__) || defined(__i386__)
      __builtin_ia32_pause();
#elif defined(__aarch64__)
      asm volatile("yield");
#endif
    } else {
      std::this_thread::yield();
    }
  }
}

void AcquireControl() {
  int expected = 0;
  while (!s_controlBusy.compare_exchange_weak(expected, 1)) {
    expected = 0;
    std::this_thread::yield();
  }
}

}  // namespace

// Carries out a requested release as soon as no block is running. Whoever
// holds the guard while no block runs performs it: the control thread that
// asked, the audio thread at the end of its block, or the holder of the guard
// when it lets go. The audio thread never waits (wait = false).
void SettlePendingRelease(bool wait, HVSFX_Param* current) {
  while (s_doRelease.load() != 0) {
    if (wait) {
      AcquireControl();
    } else if (!EngineControlGuard::TryAcquire()) {
      return;  // the holder settles it when it lets go
    }
    s_reconfiguring.store(1);
    const bool idle = s_processRunning.load() == 0;
    if (idle && s_doRelease.exchange(0) != 0) ReleaseModulesAndBuffers(current);
    s_reconfiguring.store(0);
    s_controlBusy.store(0);
    if (!idle && s_processRunning.load() != 0) return;  // the running block settles it at its end
  }
}

namespace {
}  // namespace

// ---- Control guard ---------------------------------------------------------------

EngineControlGuard::EngineControlGuard(HVSFX_Param* current) : current_(current) { AcquireControl(); }
EngineControlGuard::~EngineControlGuard() {
  if (paused_) s_reconfiguring.store(0);
  s_controlBusy.store(0);
  SettlePendingRelease(false, current_);
}
bool EngineControlGuard::TryAcquire() {
  int expected = 0;
  return s_controlBusy.compare_exchange_strong(expected, 1);
}
void EngineControlGuard::PauseBlocks() {
  paused_ = true;
  s_reconfiguring.store(1);
  WaitForBlockInFlight();
}

// Not inlined, so that the thread sanitizer's list of accepted races can
// name it.
[[gnu::noinline]] HVSFX_Param SnapshotRecord(const HVSFX_Param* param) { return *param; }

}  // namespace hvfx::api

using namespace hvfx::api;

// ---- Engine interface --------------------------------------------------------------

extern "C" int HVSFX_Init(HVSFX_Param* param) {
  if (param == nullptr) return 0;
  HVSFX_Param& p = *param;
  if (p.nInChannels < 1 || p.nInChannels > HVSFX_MAX_CHANNELS || p.nOutChannels < 1 ||
      p.nOutChannels > HVSFX_MAX_CHANNELS || p.nFrameSize < 1 || p.nFrameSize > HVSFX_MAX_FRAME_SIZE ||
      p.nSampleRate <= 0)
    return 0;

  EngineControlGuard guard(param);
  // A block in flight finishes first; new blocks are skipped until we are done.
  s_reconfiguring.store(1);
  WaitForBlockInFlight();

  CreateLimiter(p);
  CreateChannelEqualizers(p);
  CreateLeveller(p);
  CreateLfeEqualizer(p);
  CreateLfeBuffers(p);
  CreateLfeLeveller(p);
  CreateSoundbar(p);
  CreateWorkingBuffers(p);

  s_layout.paramId = RecordId(param);
  s_layout.frames = p.nFrameSize;
  s_layout.inChannels = p.nInChannels;
  s_layout.outChannels = p.nOutChannels;
  s_layout.inBuf = p.pInBuf;
  s_layout.outBuf = p.pOutBuf;

  s_processRunning.store(0);
  s_initialized.store(1);
  s_doRelease.store(0);  // a pending release is superseded
  s_reconfiguring.store(0);
  return 1;
}

extern "C" int HVSFX_Process(HVSFX_Param* param, short* samples, int frames) {
  if (param == nullptr || s_initialized.load() == 0) return 0;
  // The call works on the settings as they stand now: a host that rewrites
  // the record's geometry before re-initialising cannot move the buffers'
  // bounds under a running block (the geometry is checked against the
  // engine's once the block is announced).
  HVSFX_Param p = SnapshotRecord(param);
  if (!AnyChainSwitchOn(p)) return 1;
  if (samples == nullptr && frames > 0) return 0;

  // Announce the block, then look for a reconfiguration or a pending release.
  s_processRunning.store(1);
  if (s_reconfiguring.load() != 0 || s_doRelease.load() != 0 || s_initialized.load() == 0 ||
      !MatchesLayout(param, p)) {
    s_processRunning.store(0);
    SettlePendingRelease(false, param);
    return 0;
  }

  const int n = p.nFrameSize;
  if (s_sampleCount < 0 || s_sampleCount >= n) s_sampleCount = 0;  // block shortened by a re-initialisation

  if (frames > 0) {
    // Gather up to the end of the block, run the chain when it is full, and
    // go on with the rest of the call; no count is ever added to another, so
    // any frame count is safe.
    int rem = frames;
    short* cursor = samples;
    while (rem > 0) {
      const int k = FramesToGather(s_sampleCount, rem, n);
      GatherAndEmit(p, cursor, s_sampleCount, k);
      cursor += static_cast<size_t>(k) * static_cast<size_t>(p.nInChannels);
      rem -= k;
      s_sampleCount += k;
      if (s_sampleCount == n) {
        s_sampleCount = 0;
        ProcessModule(&p);
      }
    }
    // The surround switch's whole effect: rows 0 and 1 of the output buffer,
    // from the current position on, shifted left. Positions past the six
    // rows of the buffer are left alone.
    if (p.bSurroundEnable && p.nGainShift >= 1) {
      const long long limit = static_cast<long long>(kWorkingRows) * n;
      for (int i = 0; i < frames; ++i) {
        const long long a = static_cast<long long>(s_sampleCount) + i;
        const long long b = a + n;
        if (a >= limit) break;
        p.pOutBuf[a] = ShlWrap32(p.pOutBuf[a], p.nGainShift);
        if (b < limit) p.pOutBuf[b] = ShlWrap32(p.pOutBuf[b], p.nGainShift);
      }
    }
  }

  s_processRunning.store(0);
  SettlePendingRelease(false, param);
  return 1;
}

extern "C" int HVSFX_Release(HVSFX_Param* param) {
  if (param == nullptr) return 0;
  // Released now when no block is running; otherwise by the running
  // HVSFX_Process call when it returns.
  s_doRelease.store(1);
  SettlePendingRelease(true, param);
  return 1;
}

extern "C" int HVSFX_GetLatency(const HVSFX_Param* param, int* frames) {
  if (param == nullptr || frames == nullptr) return 0;
  EngineControlGuard guard;  // the modules stay while they are asked
  guard.PauseBlocks();        // and the soundbar does not rebuild meanwhile
  if (s_initialized.load() == 0 || !MatchesLayout(param, *param)) return 0;
  *frames = LatencyFrames(*param);
  return 1;
}

// ---- Internal --------------------------------------------------------------------------

int hvfx::api::ProcessModule(HVSFX_Param* param) {
  if (param == nullptr) return 0;
  HVSFX_Param& p = *param;
  const bool soundbarRan = RunSoundbarStage(p);
  const bool lfeLeveller = LfeLevellerApplies(p);
  if (lfeLeveller) RunLfeLevellerStage(p, soundbarRan);
  // The LFE leveller stage has already copied the virtualizer's output over.
  const bool adaVRan = RunLevellerStage(p, soundbarRan && !lfeLeveller);
  if (lfeLeveller) WriteBackLfe(p);
  const bool eqRan = RunEqualizerStage(p, adaVRan || soundbarRan);
  RunLimiterStage(p, soundbarRan || adaVRan || eqRan);
  return 1;
}

int hvfx::api::RelaseAll(HVSFX_Param* param) {
  if (param == nullptr) return 0;
  ReleaseModulesAndBuffers(param);
  return 1;
}
