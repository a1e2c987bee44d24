#include "Engine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "../fixedpoint/FixedPoint.h"
#include "hvtralofx/CAdaptiveVolume_S24.h"
#include "hvtralofx/CDynamicRangeControl.h"
#include "hvtralofx/CSoundbar4Fxd.h"

namespace hvfx::api {

using namespace fxp;

namespace {

// Rows in each working buffer: the adaptive-volume stage converts six rows
// whatever the channel count, so both buffers always hold six.
constexpr int kWorkingRows = HVSFX_MAX_CHANNELS;
// The soundbar's band split looks 128 samples ahead.
constexpr int kSoundbarBandLookahead = 128;

int* Row(int* buffer, int row, int frames) { return buffer + static_cast<size_t>(row) * static_cast<size_t>(frames); }
int* Zeroed(size_t count) { return static_cast<int*>(std::calloc(count, sizeof(int))); }
size_t Count(int frames, int rows) { return static_cast<size_t>(frames) * static_cast<size_t>(rows); }

// (v + 128) asr 8 of a working sample, as if the rounding add were done in 64
// bits (values near the int32 limits round to the right end instead of
// wrapping): v asr 8 plus bit 7 of v, exact in 32 bits and easy to vectorise.
int RoundToShortDomain(int v) { return Asr32(v, 8) + (Asr32(v, 7) & 1); }

// v = (v + 128) asr 8 over `count` working samples: into the 16-bit domain.
void ToShortDomain(int* v, size_t count) {
  for (size_t i = 0; i < count; ++i) v[i] = RoundToShortDomain(v[i]);
}

// v = v << 8 over `count` samples: back to working samples. A leveller
// boosting loud material past the 16-bit domain's 2^23 is clamped here
// rather than wrapping to the other rail.
void FromShortDomain(int* v, size_t count) {
  for (size_t i = 0; i < count; ++i) v[i] = ClampShl32(v[i], 8);
}

// The same after the limiter, whose gain never exceeds 1: its output is no
// larger than its input, which came out of ToShortDomain, so the shift
// cannot wrap.
void FromShortDomainLimited(int* v, size_t count) {
  for (size_t i = 0; i < count; ++i) v[i] = ShlWrap32(v[i], 8);
}

// (v + 128) asr 2 of a working sample: the virtualizer's quarter scale. The
// rounding constant is the 16-bit domain's 128, kept as the chain has it:
// (v + 128) asr 2 = (v asr 2) + 32 exactly, since 128 is a multiple of 4.
int ToSoundbarDomain(int v) { return Asr32(v, 2) + 32; }

bool IsSixInSixOut(const HVSFX_Param& p) { return p.nInChannels == 6 && p.nOutChannels == 6; }

bool AnyChainSwitchOn(const HVSFX_Param& p) {
  // The limiter switch is deliberately not part of this test: with only the
  // limiter on, nothing is processed.
  return p.bSurroundEnable || p.bEQEnable || p.bDynamicBassEnable || p.bAdaVEnable || p.bSoundbarEnable;
}

// ---- Chain stages ------------------------------------------------------------
// Each stage reads the previous stage's output and is skipped when its switch
// is off or its module is missing. `p` is the call's record, `c` the chain.

struct Stages {
  const HVSFX_Param& p;
  Chain& c;
  bool* eqResetPending;
  bool& soundbarResetPending;
  SmoothState* smooth;  // null in the defined mode
  // The block length, held here: the loops below write through int
  // pointers, which the compiler must otherwise assume may change it.
  const int n = c.frames;

  // Copies the previous stage's output into the input buffer (N x nOutChannels).
  void CopyOutToIn() const {
    std::memcpy(c.inBuf, c.outBuf, sizeof(int) * Count(n, p.nOutChannels));
  }

  // The LFE pre-mix: row 3 becomes the sum of every row halved (each halved
  // separately, truncating), band-filtered by the LFE equalizer. In smooth
  // mode the LFE copy switch crossfades row 3 between the mix and the row.
  void MixLfe() const {
    int* rows[6];
    for (int r = 0; r < 6; ++r) rows[r] = Row(c.inBuf, r, n);
    if (smooth != nullptr) std::memcpy(smooth->lfeRow, rows[3], sizeof(int) * static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
      int lfe = Asr32(rows[3][i], 1);
      for (int r : {0, 1, 2, 4, 5}) lfe = AddWrap32(lfe, Asr32(rows[r][i], 1));
      rows[3][i] = lfe;
    }
    Equalize(*c.eqLfe, SmoothState::kLfeSlot, Row(c.outBuf, 3, n), rows[3]);
    if (smooth != nullptr)
      smooth->lfeCopy.Mix(rows[3], smooth->lfeRow, Row(c.outBuf, 3, n), 1, n, p.bLFECopyEnable != 0);
    else
      std::memcpy(rows[3], Row(c.outBuf, 3, n), sizeof(int) * static_cast<size_t>(n));
  }

  // One equalizer, `in` to `out` (distinct rows). In smooth mode a new
  // design starts here when the last transition is over: the equalizer
  // keeps its history and takes the design, a copy of it as it was runs
  // the old design on the same input, and the output crossfades from the
  // copy's to the equalizer's.
  void Equalize(CHVAudioEQ_Ts& eq, int slot, int* out, int* in) const;

  bool SoundbarCanRun() const { return c.soundbar != nullptr && IsSixInSixOut(p) && c.soundbarReady; }

  // Soundbar virtualizer with the LFE pre-mix, 6 in / 6 out only, at a rate
  // the virtualizer has filters for. It works a quarter of the working scale
  // down, (v + 128) asr 2, and its outputs are scaled back by 4, the
  // full-range channels (not the LFE) shifted up by nGainShift on top.
  bool Soundbar() const {
    if (!(SoundbarCanRun() && p.bSoundbarEnable)) return false;
    Virtualize();
    return true;
  }
  void Virtualize() const {
    const size_t count = Count(n, 6);
    for (size_t i = 0; i < count; ++i) c.inBuf[i] = ToSoundbarDomain(c.inBuf[i]);
    if ((smooth != nullptr || p.bLFECopyEnable) && c.eqLfe != nullptr) MixLfe();
    if (soundbarResetPending) {
      soundbarResetPending = false;
      c.soundbar->Reset();
    }
    c.soundbar->Process(c.inBuf, n, p.nInChannels, c.outBuf, n, p.nOutChannels, 0);
    // x 4 back to the working scale; the full-range rows also << nGainShift.
    // Loud material with a gain shift can exceed 32 bits: saturated.
    const int shift = p.nGainShift > 0 ? p.nGainShift : 0;
    for (int r = 0; r < 6; ++r) {
      int* row = Row(c.outBuf, r, n);
      const int extra = r == 3 ? 0 : shift;
      for (int i = 0; i < n; ++i) row[i] = ClampShl32(row[i], 2 + extra);
    }
  }

  // The LFE leveller: the LFE adaptive volume runs on row 3 before the main
  // adaptive volume, and its result is written back after it.
  bool LfeLevellerApplies() const { return c.adavLfe != nullptr && p.bLFESVEnable && IsSixInSixOut(p); }
  void LfeLeveller(bool soundbarRan) const {
    if (soundbarRan) CopyOutToIn();
    std::memcpy(c.lfeIn, Row(c.inBuf, 3, n), sizeof(int) * static_cast<size_t>(n));
    ToShortDomain(c.lfeIn, static_cast<size_t>(n));
    c.adavLfe->Process(c.lfeOut, c.lfeIn, 1, n);
    FromShortDomain(c.lfeOut, static_cast<size_t>(n));
  }
  void WriteBackLfe() const {
    std::memcpy(Row(c.outBuf, 3, n), c.lfeOut, sizeof(int) * static_cast<size_t>(n));
  }

  // The leveller stage: adaptive volume on the main channels; it reads and
  // writes nInChannels rows. The rows of both layouts are converted: rows
  // past them never reach a later stage or the output.
  bool Leveller(bool copyFirst) const {
    if (!LevellerRuns(p, c)) return false;
    if (copyFirst) CopyOutToIn();
    Level();
    return true;
  }

  int EqChannels() const { return p.nInChannels < c.eqCount ? p.nInChannels : c.eqCount; }

  // The equalizer stage: one equalizer per channel.
  bool Equalizer(bool copyFirst) const {
    if (c.eqCount == 0 || !p.bEQEnable) return false;
    if (copyFirst) CopyOutToIn();
    for (int ch = 0; ch < EqChannels(); ++ch) {
      // A setter asked for a clean history of this channel.
      if (eqResetPending[ch]) {
        eqResetPending[ch] = false;
        c.eq[ch]->Reset();
      }
      Equalize(*c.eq[ch], ch, Row(c.outBuf, ch, n), Row(c.inBuf, ch, n));
    }
    return true;
  }

  // The limiter stage: dynamic range control, in place on the output buffer.
  void Limiter(bool anyStageRan) const {
    if (c.drc == nullptr || !p.bDRCEnable) return;
    if (!anyStageRan) std::memcpy(c.outBuf, c.inBuf, sizeof(int) * Count(n, p.nOutChannels));
    Limit(c.outBuf);
  }
  // The limiter in place on nInChannels rows of `buffer`.
  void Limit(int* buffer) const {
    // Row pointers in fixed storage: nothing is allocated per block.
    int* rows[HVSFX_MAX_CHANNELS] = {};
    for (int r = 0; r < p.nInChannels; ++r) rows[r] = Row(buffer, r, n);
    const size_t count = Count(n, p.nInChannels);
    ToShortDomain(buffer, count);
    c.drc->Process(rows, n);
    FromShortDomainLimited(buffer, count);
  }

  static bool LevellerRuns(const HVSFX_Param& p, const Chain& c) { return p.bAdaVEnable && LevellerCanRun(p, c); }
  static bool LevellerCanRun(const HVSFX_Param& p, const Chain& c) {
    return c.adav != nullptr && (p.nInChannels == 1 || p.nInChannels == 2 || p.nInChannels == 6);
  }

  // The leveller's work, inBuf to outBuf, six rows converted.
  void Level() const {
    const size_t count = Count(n, std::max(p.nInChannels, p.nOutChannels));
    ToShortDomain(c.inBuf, count);
    c.adav->Process(c.outBuf, c.inBuf, p.nInChannels, n);
    FromShortDomain(c.outBuf, count);
  }

  // ---- Smooth mode. Every stage the layout can run runs on every block; its
  // switch only crossfades between its output and its input held back by
  // the stage's latency, so the latency never changes and a stage switched
  // on continues from a warm state. The signal stays in inBuf from stage
  // to stage; outBuf holds a stage's own output.
  void SmoothSoundbar(bool attenuates) const;
  void SmoothLeveller() const;
  void SmoothEqualizer() const;
  void SmoothLimiter() const;
  void SmoothSurround() const;
  // Copies `rows` rows of inBuf to the dry buffer.
  void KeepDry(int rows) const { std::memcpy(smooth->dry, c.inBuf, sizeof(int) * Count(n, rows)); }
};

void Stages::Equalize(CHVAudioEQ_Ts& eq, int slot, int* out, int* in) const {
  if (smooth == nullptr) return eq.EQProcess(out, in, 1, n);
  Fade& fade = smooth->eqDesign[slot];
  if (smooth->eqPending[slot] && fade.Settled(true)) {
    smooth->eqPending[slot] = false;
    CHVAudioEQ_Ts& old = smooth->eqOld[static_cast<size_t>(slot)];
    old = eq;
    eq.CopyDesign(smooth->eqNext[static_cast<size_t>(slot)]);
    // A section that was off has history from long ago: it starts clean.
    for (int b = 0; b < CHVAudioEQ_Ts::kBandCount; ++b)
      if (eq.band[b].bEnable && !old.band[b].bEnable) eq.band[b].y0n1 = eq.band[b].y0n2 = 0;
    if (eq.bLFEnable && !old.bLFEnable) eq.lfY0 = 0;
    if (eq.bHFEnable && !old.bHFEnable) eq.hfY0 = 0;
    fade.pos = 0;
  }
  if (fade.Settled(true)) return eq.EQProcess(out, in, 1, n);
  smooth->eqOld[static_cast<size_t>(slot)].EQProcess(smooth->eqOutgoing, in, 1, n);
  eq.EQProcess(out, in, 1, n);
  fade.Mix(out, smooth->eqOutgoing, out, 1, n, true);
}

// The soundbar's switch crossfades between its output and its input held
// back by its delay; the rows it passes through (centre, LFE) are held back
// to meet the others. Under a front, the input side carries the front's
// attenuation, which the defined mode applies before the engine whenever
// the soundbar is off.
void Stages::SmoothSoundbar(bool attenuates) const {
  const bool virtualizes = SoundbarCanRun();
  if (!virtualizes && !attenuates) return;
  const int rows = p.nInChannels;
  KeepDry(rows);
  if (attenuates) {
    const size_t count = Count(n, rows);
    for (size_t i = 0; i < count; ++i)
      smooth->dry[i] = ShlWrap32(MulRoundQ15To16(static_cast<int16_t>(Asr32(smooth->dry[i], 8)), kFrontGainQ15), 8);
  }
  if (virtualizes) {
    Virtualize();
    smooth->soundbarCentre.Run(c.outBuf, 2, 2, n);
    smooth->soundbarDry.Run(smooth->dry, 0, rows, n);
  } else {
    std::memcpy(c.outBuf, c.inBuf, sizeof(int) * Count(n, rows));
  }
  smooth->soundbar.Mix(c.inBuf, smooth->dry, c.outBuf, rows, n, p.bSoundbarEnable != 0);
}

// Both levellers run; the LFE leveller's switch crossfades row 3 between its
// output and what the main leveller's switch made of the row.
void Stages::SmoothLeveller() const {
  if (!LevellerCanRun(p, c)) return;
  const int rows = p.nInChannels;
  KeepDry(rows);
  const bool lfe = c.adavLfe != nullptr && IsSixInSixOut(p);
  if (lfe) LfeLeveller(false);
  Level();
  smooth->levellerDry.Run(smooth->dry, 0, rows, n);
  smooth->leveller.Mix(c.inBuf, smooth->dry, c.outBuf, rows, n, p.bAdaVEnable != 0);
  if (lfe) smooth->lfeLeveller.Mix(Row(c.inBuf, 3, n), Row(c.inBuf, 3, n), c.lfeOut, 1, n, p.bLFESVEnable != 0);
}

void Stages::SmoothEqualizer() const {
  if (c.eqCount == 0) return;
  for (int ch = 0; ch < EqChannels(); ++ch) Equalize(*c.eq[ch], ch, Row(c.outBuf, ch, n), Row(c.inBuf, ch, n));
  smooth->eq.Mix(c.inBuf, c.inBuf, c.outBuf, EqChannels(), n, p.bEQEnable != 0);
}

// The limiter runs whenever its switch is on, alone or not.
void Stages::SmoothLimiter() const {
  if (c.drc == nullptr) return;
  const int rows = p.nInChannels;
  KeepDry(rows);
  Limit(c.inBuf);
  smooth->limiterDry.Run(smooth->dry, 0, rows, n);
  smooth->limiter.Mix(c.inBuf, smooth->dry, c.inBuf, rows, n, p.bDRCEnable != 0);
}

// The surround switch: rows 0 and 1 shifted left by nGainShift.
void Stages::SmoothSurround() const {
  const int rows = p.nInChannels < 2 ? p.nInChannels : 2;
  const int shift = p.nGainShift > 0 ? p.nGainShift : 0;
  const size_t count = Count(n, rows);
  for (size_t i = 0; i < count; ++i) c.outBuf[i] = ClampShl32(c.inBuf[i], shift);
  smooth->surround.Mix(c.inBuf, c.inBuf, c.outBuf, rows, n, p.bSurroundEnable != 0);
}

// ---- Interleaved <-> planar ------------------------------------------------------

// Gathers k frames into the planar input rows at `pos` (x << 8), then emits the
// same k frames of the previous block, rounded and saturated to 16 bits, over
// the consumed input. All frames are read before any is written. The common
// channel counts get a loop with a fixed stride.
template <int kChannels>
void GatherAndEmitFixed(const Chain& c, short* samples, int pos, int k, int channels) {
  const int n = c.frames;
  const int stride = kChannels > 0 ? kChannels : channels;
  const size_t frameStep = static_cast<size_t>(stride);
  for (int ch = 0; ch < stride; ++ch) {
    int* row = Row(c.inBuf, ch, n) + pos;
    const short* from = samples + ch;
    for (int f = 0; f < k; ++f) row[f] = ShlWrap32(from[static_cast<size_t>(f) * frameStep], 8);
  }
  for (int ch = 0; ch < stride; ++ch) {
    const int* row = Row(c.outBuf, ch, n) + pos;
    short* to = samples + ch;
    for (int f = 0; f < k; ++f) to[static_cast<size_t>(f) * frameStep] = Sat16(RoundToShortDomain(row[f]));
  }
}

void GatherAndEmit(const Chain& c, short* samples, int pos, int k) {
  switch (c.inChannels) {
    case 2: return GatherAndEmitFixed<2>(c, samples, pos, k, 2);
    case 6: return GatherAndEmitFixed<6>(c, samples, pos, k, 6);
    default: return GatherAndEmitFixed<0>(c, samples, pos, k, c.inChannels);
  }
}

// The latency in smooth mode: every stage the layout can run, whatever the
// switches.
int SmoothLatency(const HVSFX_Param& p, const Chain& c) {
  int total = c.frames;
  if (c.soundbar != nullptr && IsSixInSixOut(p) && c.soundbarReady) total += c.soundbarDelay;
  if (Stages::LevellerCanRun(p, c)) total += c.levellerDelay;
  if (c.drc != nullptr) total += c.frames;
  return total;
}

bool Matches(const Chain& c, std::uintptr_t recordId, const HVSFX_Param& p) {
  return recordId == c.recordId && p.pInBuf == c.inBuf && p.pOutBuf == c.outBuf && p.nFrameSize == c.frames &&
         p.nInChannels == c.inChannels && p.nOutChannels == c.outChannels;
}

}  // namespace

// ---- Chain -------------------------------------------------------------------------

Chain::Chain(const HVSFX_Param& p, std::uintptr_t id)
    : recordId(id), sampleRate(p.nSampleRate), frames(p.nFrameSize), inChannels(p.nInChannels),
      outChannels(p.nOutChannels) {
  drc = new CDynamicRangeControl(p.nInChannels, p.nFrameSize);
  drc->Init(p.nSampleRate);
  drc->EnableDRC(1);
  // One equalizer per input channel with the class defaults; the record's
  // shelf and band settings are applied by the control functions.
  for (int ch = 0; ch < p.nInChannels; ++ch) {
    eq[ch] = new CHVAudioEQ_Ts(p.nSampleRate);
    eq[ch]->Initial(1);
  }
  eqCount = p.nInChannels;
  // The main leveller, full scale 32768 in its 16-bit domain.
  adav = new CAdaptiveVolume_S24(p.nSampleRate, 32768, p.nAdaVMode, p.nAdaVRelativeVolume, p.nAdaVStationSigMs,
                                 p.nAdaVBaseFlag);
  // The LFE band-pass: no dry path, no shelves, band 0 at nLFEFreq Hz,
  // nLFEGain dB, Q 2.
  eqLfe = new CHVAudioEQ_Ts(p.nSampleRate);
  eqLfe->Initial(0);
  eqLfe->Tst_SetLFOption(false, 0, 0);
  eqLfe->Tst_SetBPFOption(0, true, p.nLFEFreq, p.nLFEGain, 2.0f);
  eqLfe->Tst_SetHFOption(false, 0, 0);
  lfeIn = Zeroed(static_cast<size_t>(p.nFrameSize));
  lfeOut = Zeroed(static_cast<size_t>(p.nFrameSize));
  // The LFE leveller, with the record's LFE settings.
  adavLfe = new CAdaptiveVolume_S24(p.nSampleRate, 32768, p.nLFESVMode, p.nLFESVRelativeVolume,
                                    p.nLFESVStationSigMs, p.nLFESVBaseFlag);
  soundbar = new CSoundbar4Fxd();
  soundbar->Init(p.nSampleRate, p.nInChannels, p.nFrameSize, kSoundbarBandLookahead, p.nSoundbarDistance,
                 p.nSoundbarAngle);
  inBuf = Zeroed(Count(p.nFrameSize, kWorkingRows));
  outBuf = Zeroed(Count(p.nFrameSize, kWorkingRows));
  soundbarReady = soundbar->FiltersReady();
  soundbarDelay = soundbar->MainChannelDelay();
  soundbarCentreLag = soundbarDelay - soundbar->PassThroughDelay();
  levellerDelay = adav->GetLookAhead() * adav->GetFrameLength();
  smooth = new SmoothState(*this);
}

SmoothState::SmoothState(const Chain& c)
    : dry(Zeroed(Count(c.frames, kWorkingRows))), lfeRow(Zeroed(static_cast<size_t>(c.frames))),
      eqOutgoing(Zeroed(static_cast<size_t>(c.frames))), soundbarDry(kWorkingRows, c.soundbarDelay),
      soundbarCentre(kWorkingRows, c.soundbarCentreLag), levellerDry(kWorkingRows, c.levellerDelay),
      limiterDry(kWorkingRows, c.frames) {
  eqOld.reserve(kLfeSlot + 1);
  eqNext.reserve(kLfeSlot + 1);
  for (int slot = 0; slot <= kLfeSlot; ++slot) {
    const CHVAudioEQ_Ts& model = slot < c.eqCount ? *c.eq[slot] : *c.eqLfe;
    eqOld.push_back(model);
    eqNext.push_back(model);
    eqDesign[slot].pos = kFadeFrames;
  }
}

SmoothState::~SmoothState() {
  std::free(dry);
  std::free(lfeRow);
  std::free(eqOutgoing);
}

Chain::~Chain() {
  delete smooth;
  delete drc;
  delete adav;
  delete eqLfe;
  if (soundbar != nullptr) soundbar->Free();
  delete soundbar;
  delete adavLfe;
  std::free(lfeIn);
  std::free(lfeOut);
  for (int ch = 0; ch < eqCount; ++ch) delete eq[ch];
  std::free(inBuf);
  std::free(outBuf);
}

Change::~Change() {
  delete chain;
  delete design;
  delete record;
  delete retired;
}

// ---- Engine: control side ------------------------------------------------------------

Engine::Engine() : frontRecord_(HVSFX_Param_Default) {
  // The queue always holds the last change taken: it starts with an empty one.
  oldest_ = newest_ = new Change();
  taken_.store(oldest_);
}

Engine::~Engine() {
  Commit();
  delete live_;
  for (Change* c = oldest_; c != nullptr;) {
    Change* next = c->next.load();
    delete c;
    c = next;
  }
}

Engine& Engine::Global() {
  static Engine engine;
  return engine;
}

// Changes wait in a private list until the control call ends.
void Engine::Enqueue(std::unique_ptr<Change> change) {
  Change* c = change.release();
  if (batchLast_ == nullptr) {
    batchFirst_ = c;
  } else {
    batchLast_->next.store(c, std::memory_order_relaxed);
  }
  batchLast_ = c;
}

// Publishes the control call's changes with one store: the audio side sees
// all of them or none.
void Engine::Commit() {
  if (batchFirst_ != nullptr) {
    batchLast_->commit = ++commits_;
    newest_->next.store(batchFirst_, std::memory_order_release);
    newest_ = batchLast_;
    batchFirst_ = batchLast_ = nullptr;
  }
  FreePassed();
}

// Frees the changes the audio side has passed, with what they displaced.
void Engine::FreePassed() {
  Change* const taken = taken_.load(std::memory_order_acquire);
  while (oldest_ != taken) {
    Change* next = oldest_->next.load(std::memory_order_relaxed);
    delete oldest_;
    oldest_ = next;
  }
}

int Engine::Init(HVSFX_Param& p, std::uintptr_t recordId) {
  if (p.nInChannels < 1 || p.nInChannels > HVSFX_MAX_CHANNELS || p.nOutChannels < 1 ||
      p.nOutChannels > HVSFX_MAX_CHANNELS || p.nFrameSize < 1 || p.nFrameSize > 65536 || p.nSampleRate <= 0)
    return 0;
  auto change = std::make_unique<Change>();
  change->kind = Change::Kind::kChain;
  change->chain = new Chain(p, recordId);
  const Chain& chain = *change->chain;
  for (int ch = 0; ch < HVSFX_MAX_CHANNELS; ++ch)
    eqTwin_[ch].reset(ch < chain.eqCount ? new CHVAudioEQ_Ts(*chain.eq[ch]) : nullptr);
  lfeTwin_.reset(new CHVAudioEQ_Ts(*chain.eqLfe));
  p.pInBuf = chain.inBuf;
  p.pOutBuf = chain.outBuf;
  built_ = &chain;
  Enqueue(std::move(change));
  // A release still waiting for a call to end is superseded.
  releasing_.store(false);
  return 1;
}

void Engine::Release(HVSFX_Param* record) {
  if (built_ != nullptr && record != nullptr) {
    if (record->pInBuf == built_->inBuf) record->pInBuf = nullptr;
    if (record->pOutBuf == built_->outBuf) record->pOutBuf = nullptr;
  }
  built_ = nullptr;
  for (auto& twin : eqTwin_) twin.reset();
  lfeTwin_.reset();
  auto change = std::make_unique<Change>();
  change->kind = Change::Kind::kRelease;
  Enqueue(std::move(change));
  // Released now when no call is running; otherwise at the end of the
  // running call (or at the start of the next one).
  Commit();
  releasing_.store(true);
  if (!consuming_.exchange(true)) {
    SettleRelease();
    consuming_.store(false);
    FreePassed();
  }
}

int Engine::Latency(const HVSFX_Param& p, std::uintptr_t recordId, int* frames) const {
  if (built_ == nullptr || !Matches(*built_, recordId, p)) return 0;
  const Chain& c = *built_;
  if (smoothControl_) {
    *frames = SmoothLatency(p, c);
    return 1;
  }
  if (!AnyChainSwitchOn(p)) {
    *frames = 0;  // samples pass through untouched
    return 1;
  }
  int total = c.frames;  // gathering: the output lags the input by one block
  if (p.bSoundbarEnable && IsSixInSixOut(p) && c.soundbarReady) total += c.soundbarDelay;
  if (Stages::LevellerRuns(p, c)) total += c.levellerDelay;
  if (p.bDRCEnable) total += c.frames;  // one block of look-ahead
  *frames = total;
  return 1;
}

CHVAudioEQ_Ts* Engine::EqualizerTwin(int channel) {
  if (channel == -1) return lfeTwin_.get();
  return channel >= 0 && channel < HVSFX_MAX_CHANNELS ? eqTwin_[channel].get() : nullptr;
}

void Engine::PublishEqualizer(int channel) {
  const CHVAudioEQ_Ts* twin = EqualizerTwin(channel);
  if (twin == nullptr) return;
  auto change = std::make_unique<Change>();
  change->kind = Change::Kind::kEqDesign;
  change->channel = channel;
  change->design = new CHVAudioEQ_Ts(*twin);
  Enqueue(std::move(change));
}

void Engine::Publish(Change::Kind kind, int channel, int a0, int a1, int a2, int a3, bool lfe) {
  auto change = std::make_unique<Change>();
  change->kind = kind;
  change->channel = channel;
  change->args[0] = a0;
  change->args[1] = a1;
  change->args[2] = a2;
  change->args[3] = a3;
  change->lfe = lfe;
  Enqueue(std::move(change));
}

void Engine::SetSmoothControl(bool on) {
  smoothControl_ = on;
  Publish(Change::Kind::kSmooth, 0, on ? 1 : 0);
}

void Engine::PublishRecord(const HVSFX_Param& record, bool configured) {
  auto change = std::make_unique<Change>();
  change->kind = Change::Kind::kRecord;
  change->record = new HVSFX_Param(record);
  change->configured = configured;
  Enqueue(std::move(change));
}

// ---- Engine: the side that takes changes -----------------------------------------

void Engine::Apply(Change& change) {
  Chain* c = live_;
  switch (change.kind) {
    case Change::Kind::kChain:
      change.retired = live_;
      live_ = change.chain;
      change.chain = nullptr;
      // Frames gathered into a partial block are kept while the new block is
      // longer than them.
      if (sampleCount_ < 0 || sampleCount_ >= live_->frames) sampleCount_ = 0;
      break;
    case Change::Kind::kRelease:
      change.retired = live_;
      live_ = nullptr;
      break;
    case Change::Kind::kEqDesign:
      if (c == nullptr) break;
      if (change.channel == -1) {
        ApplyDesign(SmoothState::kLfeSlot, *c->eqLfe, *change.design);
      } else if (change.channel < c->eqCount) {
        ApplyDesign(change.channel, *c->eq[change.channel], *change.design);
      }
      break;
    case Change::Kind::kEqReset:
      // Smooth mode keeps every history.
      if (!smooth_) eqResetPending_[change.channel] = true;
      break;
    case Change::Kind::kSoundbarReset:
      if (!smooth_) soundbarResetPending_ = true;
      break;
    case Change::Kind::kLevellerParam: {
      if (c == nullptr) break;
      CAdaptiveVolume_S24* leveller = change.lfe ? c->adavLfe : c->adav;
      if (smooth_)
        leveller->RetuneAdaVParam(change.args[0], change.args[1], change.args[2], change.args[3]);
      else
        leveller->SetAdaVParam(change.args[0], change.args[1], change.args[2], change.args[3]);
      break;
    }
    case Change::Kind::kSmooth:
      smooth_ = change.args[0] != 0;
      if (c != nullptr) {
        // Leaving smooth mode: designs still waiting take effect at once.
        // Entering it: the switch fades start where the switches stand.
        SmoothState& sm = *c->smooth;
        for (int slot = 0; slot <= SmoothState::kLfeSlot; ++slot) {
          CHVAudioEQ_Ts* eq = slot == SmoothState::kLfeSlot ? c->eqLfe : (slot < c->eqCount ? c->eq[slot] : nullptr);
          if (sm.eqPending[slot] && eq != nullptr) eq->CopyDesign(sm.eqNext[static_cast<size_t>(slot)]);
          sm.eqPending[slot] = false;
          sm.eqDesign[slot].pos = kFadeFrames;
        }
        sm.primed = false;
      }
      break;
    case Change::Kind::kLevellerRates:
      if (c == nullptr) break;
      (change.lfe ? c->adavLfe : c->adav)->SetVolUpDownRate(change.args[0], change.args[1]);
      break;
    case Change::Kind::kSoundbarDistance:
      if (c != nullptr) c->soundbar->SetDistance(change.args[0]);
      break;
    case Change::Kind::kSoundbarAngle:
      if (c != nullptr) c->soundbar->SetAngle(change.args[0]);
      break;
    case Change::Kind::kRecord:
      frontRecord_ = *change.record;
      frontConfigured_ = change.configured;
      break;
  }
}

// In smooth mode a design waits for the block that starts its transition.
void Engine::ApplyDesign(int slot, CHVAudioEQ_Ts& live, const CHVAudioEQ_Ts& design) {
  if (!smooth_) return live.CopyDesign(design);
  live_->smooth->eqNext[static_cast<size_t>(slot)].CopyDesign(design);
  live_->smooth->eqPending[slot] = true;
}

void Engine::TakeAll() {
  Change* last = taken_.load(std::memory_order_relaxed);
  for (Change* next = last->next.load(std::memory_order_acquire); next != nullptr;
       next = next->next.load(std::memory_order_acquire)) {
    Apply(*next);
    if (next->commit != 0 && takenLog_ != nullptr) {
      const size_t i = takenCount_.load(std::memory_order_relaxed);
      if (i < takenCapacity_) {
        takenLog_[i] = TakenAt{next->commit, calls_ - firstObservedCall_};
        takenCount_.store(i + 1, std::memory_order_release);
      }
    }
    last = next;
  }
  taken_.store(last, std::memory_order_release);
}

void Engine::SettleRelease() {
  if (!releasing_.load()) return;
  TakeAll();  // the release is among the changes
  releasing_.store(false);
}

bool Engine::BeginCall() {
  if (consuming_.exchange(true)) return false;  // a release is being carried out
  TakeAll();
  ++calls_;
  if (releasing_.load()) {
    // A release that waited for a call to end: carry it out, skip the call.
    SettleRelease();
    consuming_.store(false);
    return false;
  }
  return true;
}

void Engine::EndCall() {
  SettleRelease();
  consuming_.store(false);
}

int Engine::ProcessFrames(const HVSFX_Param& p, std::uintptr_t recordId, short* samples, int frames,
                          FrontView front) {
  if (live_ == nullptr) return 0;
  if (!smooth_ && !AnyChainSwitchOn(p)) return 1;
  if (samples == nullptr && frames > 0) return 0;
  Chain& c = *live_;
  if (!Matches(c, recordId, p)) return 0;
  if (frames <= 0) return 1;

  const int n = c.frames;
  // Gather up to the end of the block, run the chain when it is full, and go
  // on with the rest of the call; no count is ever added to another, so any
  // frame count is safe.
  int rem = frames;
  short* cursor = samples;
  while (rem > 0) {
    const int k = FramesToGather(sampleCount_, rem, n);
    GatherAndEmit(c, cursor, sampleCount_, k);
    cursor += static_cast<size_t>(k) * static_cast<size_t>(c.inChannels);
    rem -= k;
    sampleCount_ += k;
    if (sampleCount_ == n) {
      sampleCount_ = 0;
      if (smooth_)
        RunSmoothChain(p, front);
      else
        RunChain(p);
    }
  }
  if (smooth_) return 1;
  // The surround switch's whole effect: rows 0 and 1 of the output buffer,
  // from the current position on, shifted left. Positions past the six rows
  // of the buffer are left alone.
  if (p.bSurroundEnable && p.nGainShift >= 1) {
    const long long limit = static_cast<long long>(kWorkingRows) * n;
    for (int i = 0; i < frames; ++i) {
      const long long a = static_cast<long long>(sampleCount_) + i;
      const long long b = a + n;
      if (a >= limit) break;
      c.outBuf[a] = ClampShl32(c.outBuf[a], p.nGainShift);
      if (b < limit) c.outBuf[b] = ClampShl32(c.outBuf[b], p.nGainShift);
    }
  }
  return 1;
}

// Runs the chain on one full block in the working buffers: soundbar with the
// LFE pre-mix, LFE leveller, main leveller, LFE write-back, equalizer,
// limiter.
int Engine::RunChain(const HVSFX_Param& p) {
  const Stages s{p, *live_, eqResetPending_, soundbarResetPending_, nullptr, live_->frames};
  const bool soundbarRan = s.Soundbar();
  const bool lfeLeveller = s.LfeLevellerApplies();
  if (lfeLeveller) s.LfeLeveller(soundbarRan);
  // The LFE leveller stage has already copied the virtualizer's output over.
  const bool adaVRan = s.Leveller(soundbarRan && !lfeLeveller);
  if (lfeLeveller) s.WriteBackLfe();
  const bool eqRan = s.Equalizer(adaVRan || soundbarRan);
  s.Limiter(soundbarRan || adaVRan || eqRan);
  return 1;
}

// The smooth chain on one full block: every stage the layout can run, in
// the defined order, each crossfading by its switch (all off while a front's
// master switch is off); the result is copied to the output buffer.
void Engine::RunSmoothChain(const HVSFX_Param& record, FrontView front) {
  Chain& c = *live_;
  HVSFX_Param view = record;
  if (!front.master) {
    view.bSoundbarEnable = view.bLFECopyEnable = view.bLFESVEnable = view.bAdaVEnable = 0;
    view.bEQEnable = view.bDRCEnable = view.bSurroundEnable = 0;
  }
  SmoothState& sm = *c.smooth;
  if (!sm.primed) {
    sm.primed = true;
    sm.soundbar.pos = view.bSoundbarEnable ? kFadeFrames : 0;
    sm.lfeCopy.pos = view.bLFECopyEnable ? kFadeFrames : 0;
    sm.lfeLeveller.pos = view.bLFESVEnable ? kFadeFrames : 0;
    sm.leveller.pos = view.bAdaVEnable ? kFadeFrames : 0;
    sm.eq.pos = view.bEQEnable ? kFadeFrames : 0;
    sm.limiter.pos = view.bDRCEnable ? kFadeFrames : 0;
    sm.surround.pos = view.bSurroundEnable ? kFadeFrames : 0;
  }
  const Stages s{view, c, eqResetPending_, soundbarResetPending_, &sm, c.frames};
  s.SmoothSoundbar(front.attenuates);
  s.SmoothLeveller();
  s.SmoothEqualizer();
  s.SmoothLimiter();
  s.SmoothSurround();
  std::memcpy(c.outBuf, c.inBuf, sizeof(int) * Count(c.frames, c.inChannels));
}

}  // namespace hvfx::api
