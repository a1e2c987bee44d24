// Soundbar virtualizer for stereo and 5.1 material, six output channels.
//
// Each channel pair (front L/R, and for 5.1 the surround pair) is split into
// mid = (L + R) / 2 and side = (L - R) / 2. The side signal is conditioned
// (DC blocker, integrator, linear-phase FIR) and weighted by a distance- and
// width-dependent gain pair; mid and side are each split by a zero-phase
// low-pass into a low band and the complementary high band (delayed input
// minus low band), and the bands are matrixed back into L/R pairs:
//
//   stereo in:  out 0/1 = high-band pair, out 4/5 = low-band pair, 2/3 = 0
//   5.1 in:     out 0/1 = front high pair + surround high pair / sqrt(2)
//               out 4/5 = front low pair  + surround low pair  / sqrt(2)
//               out 2/3 = centre and LFE, delayed to stay aligned
//
// Delays: the high/low pairs (outputs 0, 1, 4, 5) lag the input by the DC
// blocker, the FIR and the band split (127 + 128 + 128 = 383 samples with the
// stored sets and a band look-ahead of 128); the pass-through channels 2 and
// 3 lag by the DC blocker and the FIR only (255 samples).
//
// Arithmetic: the input is first scaled by 11469/32768 (about -9.1 dB) for
// headroom; after that nothing rounds or saturates: sums wrap in the sample
// width, shifts floor, products with int16 gains are exact and truncated
// after their shift.
//
// Distance and width changes fade the input out over 1536 samples, rebuild
// every filter at the silent point (on the processing thread, inside
// Process), fade the input back in over 512 samples and the output in over
// 1024. The two fade positions are shared by every instance of the library:
// the design assumes one instance.
//
// Threading: one thread runs Process/Bypass/Reset; SetDistance and SetAngle
// may be called from another thread between or during blocks.
#pragma once

#include <atomic>
#include <cstdint>

#include "CDCBlockerMAFxd.h"
#include "CDelayLineFxd.h"
#include "CFIRFxd.h"
#include "CFiltFiltFxd.h"
#include "CNGOIntegratorFxd.h"
#include "Export.h"

namespace hvfx::soundbar {
struct SoundbarCoefficientSet;  // the library's coefficient store
}

class HVFX_API CSoundbar4Fxd {
 public:
  // Fade positions of this instance. The input fade is active while below
  // 2048 (SetDistance/SetAngle set 0), the output fade while below 1024
  // (Init and every filter rebuild set 0). Both start inactive.
  static constexpr uint32_t kInactiveFade = 0xFFFFFFFFu;
  std::atomic<uint32_t> inputFadePosition{kInactiveFade};
  std::atomic<uint32_t> outputFadePosition{kInactiveFade};
  static constexpr uint32_t kInputFadeLength = 2048;
  static constexpr uint32_t kInputFadeSilentPoint = 1536;  // the rebuild happens here
  static constexpr uint32_t kOutputFadeLength = 1024;
  static constexpr int16_t kInputGain = 11469;  // 0.35 in Q15

  CSoundbar4Fxd() { Clear(); }
  ~CSoundbar4Fxd();
  CSoundbar4Fxd(const CSoundbar4Fxd&) = delete;
  CSoundbar4Fxd& operator=(const CSoundbar4Fxd&) = delete;

  // Zeroes every field and drops every reference without releasing it;
  // distance 50, angle 1.
  void Clear();
  // Clear, store the configuration, start the output fade, allocate the
  // work buffers (blockLength samples each), build the filters for
  // (sampleRate, distance, angle) and Reset. Filters exist only for 44100
  // and 48000 Hz; at other rates Process and Bypass refuse (see below).
  // Refused (the object stays cleared, nothing allocated) for blockLength
  // < 1 or filtfiltDelay < 1. Releases what a previous Init held. Returns 0.
  int Init(int sampleRate, int channels, int blockLength, int filtfiltDelay, int distance, int angle);
  // Zeroes the work buffers and every filter's running state; the fade
  // positions are kept. Nothing before Init. Returns 0.
  int Reset();
  // Releases buffers and filters (also filters a rebuild made before Init);
  // initialized = 0. Returns 0.
  int Free();

  // Store the value (no range check: unknown distances act as 50 cm,
  // unknown widths as the default) and restart the input fade; the filters
  // are rebuilt with the latest values when the fade reaches silence.
  void SetDistance(int distance);
  void SetAngle(int angle);

  // Loads all twenty filter blocks from the set for (sampleRate, distance,
  // angle), with the stored block length and band look-ahead, each starting
  // from silence. Blocks that exist are reloaded in their storage (every set
  // of a rate has the same geometry, so the rebuild at the input fade's
  // silent point allocates nothing); missing ones are created. At a rate
  // without a set only the DC blockers, their delays and the integrators are
  // built; the gain pairs keep what they held. Called from Init and from the
  // input fade. Returns 0.
  int UpdateFilterParameters(int sampleRate, int distance, int angle);
  // Frees and deletes every filter block that exists.
  void delete_filters();

  // Virtualizes `frames` frames of `inChannels` channels (2 or 6) into six
  // output channels. The input is read planar (channel stride `frames`) or
  // interleaved (frame stride inChannels) and is scaled by the input gain
  // and faded IN PLACE. Output: planar channel k of frame n at
  // out[k * outChannelStride + n], interleaved at out[n * outFrameStride + k]
  // (channels past 5 of an interleaved frame are not written); then the
  // output fade runs over outChannelStride frames of outFrameStride
  // channels. in and out must not overlap. Other channel counts compute and
  // write nothing (the input is still scaled and faded, the output faded).
  // Refused, touching neither buffer: not initialised or no filters for the
  // rate, frames < 1 or > blockLength, inChannels < 1, null buffers,
  // outFrameStride < 6, or (planar) outChannelStride < frames. Returns 0.
  // The 16-bit path follows the 32-bit one with 16-bit storage: it tracks
  // the 32-bit path within a few units of its own scale, not bit for bit.
  int Process(int* in, int frames, int inChannels, int* out, int outChannelStride, int outFrameStride,
              int interleaved);
  int Process(short* in, int frames, int inChannels, short* out, int outChannelStride, int outFrameStride,
              int interleaved);
  // Input gain in place, then a copy without filtering or fades: 2 channels
  // go to outputs 4 and 5 (0 to 3 silent), 6 channels straight through, 8
  // channels' first six through. Filter state does not advance. Same
  // arguments and refusals as Process; other channel counts write nothing.
  int Bypass(int* in, int frames, int inChannels, int* out, int outChannelStride, int outFrameStride,
             int interleaved);
  int Bypass(short* in, int frames, int inChannels, short* out, int outChannelStride, int outFrameStride,
             int interleaved);

  // Runs a whole recording through Process (or Bypass) in blocks of
  // blockLength frames, printing progress ("  %3d%%\r") and the processing
  // time ("  %.3f sec.\n") on standard output. `out` receives each block as
  // blockLength x outFrameStride consecutive samples (planar within the
  // block, channel stride blockLength, or interleaved); outChannelStride is
  // ignored. The 32-bit form sets a random distance (30 ... 70 cm) every
  // five seconds of audio. Only whole blocks are processed; the input is
  // modified in place. `out` must hold floor(totalFrames / blockLength) x
  // blockLength x outFrameStride samples. Returns 0.
  int BatchProcess(int* in, int totalFrames, int inChannels, int* out, int outChannelStride, int outFrameStride,
                   int interleaved, int bypass);
  int BatchProcess(short* in, int totalFrames, int inChannels, short* out, int outChannelStride,
                   int outFrameStride, int interleaved, int bypass);

  // Every one of frames x channels samples becomes (s * gain) asr 15
  // (exact product, truncated to the sample width; no rounding or
  // saturation). Nothing for a null buffer or non-positive counts.
  static void ApplyInputGain(int* buf, int frames, int channels, short gain);
  static void ApplyInputGain(short* buf, int frames, int channels, short gain);
  // Per-channel form for 2 channels (both by gain) and 6 channels (0, 1, 4, 5
  // by gain, 2 by gain2, 3 by gain3), planar (channel stride frames) or
  // interleaved; other channel counts are left untouched.
  static void ApplyInputGain(int* buf, int frames, int channels, short gain, short gain2, short gain3,
                             int interleaved);
  static void ApplyInputGain(short* buf, int frames, int channels, short gain, short gain2, short gain3,
                             int interleaved);
  // The input fade over a block of frames x channels (planar: channel stride
  // frames), advancing this instance's position; rebuilds the filters when the
  // block carries the position to the silent point (1536 <= position after
  // the block <= frames + 1535) and restarts the output fade.
  void ApplyInputFadeinout(int* buf, int frames, int channels, int interleaved);
  void ApplyInputFadeinout(short* buf, int frames, int channels, int interleaved);
  // The output fade over frames x channels (planar: channel stride frames).
  void ApplyOutputFadeinout(int* buf, int frames, int channels, int interleaved);
  void ApplyOutputFadeinout(short* buf, int frames, int channels, int interleaved);

  // True when the filters for the configured rate exist (Process runs).
  bool FiltersReady() const { return initialized != 0 && coefficients != nullptr; }
  // Delay in samples of the high/low pairs (outputs 0, 1, 4, 5) and of the
  // pass-through channels (2, 3) with the filters built now; 0 without
  // filters.
  int MainChannelDelay() const { return FiltersReady() ? passThroughDelay + filtfiltDelay : 0; }
  int PassThroughDelay() const { return FiltersReady() ? passThroughDelay : 0; }
  int Distance() const { return distance.load(std::memory_order_relaxed); }
  int Angle() const { return angle.load(std::memory_order_relaxed); }

 private:
  // Private helpers are kept out of the exported symbols (HVFX_LOCAL).
  template <class Sample>
  struct WorkBuffers;
  template <class Sample>
  struct BlockIo;
  template <class Sample>
  HVFX_LOCAL int ProcessBlock(Sample* in, int frames, int inChannels, Sample* out, int outChannelStride,
                              int outFrameStride, int interleaved);
  // The two layouts of ProcessBlock, after the input gain and fade.
  template <class Sample>
  HVFX_LOCAL void ProcessStereo(BlockIo<Sample> io, const WorkBuffers<Sample>& w);
  template <class Sample>
  HVFX_LOCAL void ProcessSurround(BlockIo<Sample> io, const WorkBuffers<Sample>& w);
  template <class Sample>
  HVFX_LOCAL int BypassBlock(Sample* in, int frames, int inChannels, Sample* out, int outChannelStride,
                             int outFrameStride, int interleaved);
  template <class Sample>
  HVFX_LOCAL void FadeInput(Sample* buf, int frames, int channels, int interleaved);
  template <class Sample>
  HVFX_LOCAL void FadeOutput(Sample* buf, int frames, int channels, int interleaved);
  template <class Sample>
  HVFX_LOCAL void ConditionSide(Sample* mid, Sample* side, int frames, bool front, int* wide);
  template <class Sample>
  HVFX_LOCAL void SplitBands(Sample* mid, Sample* side, int frames, bool front, Sample* const* bands);
  // SplitBands of the front pair and, with pairs = 2, of the surround pair;
  // the 32-bit path runs their low-pass filters side by side.
  template <class Sample>
  HVFX_LOCAL void SplitBandPairs(const WorkBuffers<Sample>& w, int frames, int pairs);
  template <class Sample>
  HVFX_LOCAL int RunBatch(Sample* in, int totalFrames, int inChannels, Sample* out, int outFrameStride,
                          int interleaved, int bypass, bool changeDistance);
  HVFX_LOCAL bool Accepts(const void* in, int frames, int inChannels, const void* out, int outChannelStride,
                          int outFrameStride, int interleaved) const;

  int32_t initialized = 0;
  int32_t sampleRate = 0;
  int32_t channels = 0;
  int32_t outputChannels = 0;
  int32_t blockLength = 0;
  int32_t filtfiltDelay = 0;
  std::atomic<int32_t> distance{50};
  std::atomic<int32_t> angle{1};

  CDelayLineFxd* frontMidDcDelay = nullptr;
  CDelayLineFxd* surroundMidDcDelay = nullptr;
  CDCBlockerMAFxd* frontSideDcBlocker = nullptr;
  CDCBlockerMAFxd* surroundSideDcBlocker = nullptr;
  CNGOIntegratorFxd* frontSideIntegrator = nullptr;
  CNGOIntegratorFxd* surroundSideIntegrator = nullptr;
  CDelayLineFxd* frontMidFirDelay = nullptr;
  CDelayLineFxd* surroundMidFirDelay = nullptr;
  CFIRFxd* frontSideFir = nullptr;
  CFIRFxd* surroundSideFir = nullptr;
  CFiltFiltFxd* frontMidLowpass = nullptr;
  CFiltFiltFxd* frontSideLowpass = nullptr;
  CFiltFiltFxd* surroundMidLowpass = nullptr;
  CFiltFiltFxd* surroundSideLowpass = nullptr;
  CDelayLineFxd* frontMidBandDelay = nullptr;
  CDelayLineFxd* frontSideBandDelay = nullptr;
  CDelayLineFxd* surroundMidBandDelay = nullptr;
  CDelayLineFxd* surroundSideBandDelay = nullptr;
  CDelayLineFxd* channel2Delay = nullptr;
  CDelayLineFxd* channel3Delay = nullptr;

  const int16_t* frontGainPair = nullptr;
  int16_t frontGainShift = 0;
  const int16_t* surroundGainPair = nullptr;
  int16_t surroundGainShift = 0;
  // The set the rate-dependent blocks were loaded from; null before the
  // first build and after a build at a rate without a set.
  const hvfx::soundbar::SoundbarCoefficientSet* coefficients = nullptr;
  int32_t passThroughDelay = 0;  // DC blocker + FIR delay of the current build

  // The 18 work signals of each width, blockLength samples apiece, in one
  // allocation per width: frontMid, frontSide, surroundMid, surroundSide,
  // channel2, channel3, then for each of the four mid/side signals its
  // delayed copy, low band and high band.
  static constexpr int kWorkSignals = 18;
  int32_t* work32 = nullptr;
  int16_t* work16 = nullptr;
};
