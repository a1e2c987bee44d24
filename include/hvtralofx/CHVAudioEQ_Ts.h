// Fixed-point equalizer for one channel, or for an interleaved pair of
// channels sharing one setting.
//
// A parallel filter bank: the dry input, a first-order low shelf, ten
// second-order band-pass sections and a first-order high shelf all see the
// same input and are summed into one 64-bit accumulator per channel. A gain G
// at a section is obtained by adding (G - 1) times the section's
// band-limited signal to the dry signal, so a section at 0 dB adds nothing;
// without the dry path the output is the sum of the sections, each weighted
// by G.
//
// Formats: samples are 24-bit values in 32-bit ints; coefficients are Q22
// (0x400000 = 1.0); section gains are Q19 linear gains (0x80000 = 1.0). Each
// section keeps the integer part of its last outputs (u asr 22) as feedback
// state, while the accumulator sums the unshifted section outputs u, so the
// sum is truncated once, at the output, which saturates to 24 bits.
//
// Threading: no internal locking. Setters and EQProcess must not run at the
// same time on one instance (the engine's control functions ensure this).
#pragma once

#include "Export.h"

class HVFX_API CHVAudioEQ_Ts {
 public:
  static constexpr int kBandCount = 10;

  // One second-order band-pass section: coefficients, then per-channel
  // state (integer parts of the last two outputs of channels 0 and 1).
  struct BandSection {
    int bEnable;  // 0 or 1
    int bpB2;     // coefficient of x[n-2] (-bpB0)
    int bpB1;     // coefficient of x[n-1]: always 0, the band-pass has no such term
    int bpB0;     // coefficient of x[n]
    int bpA2;     // coefficient of y[n-2]
    int bpA1;     // coefficient of y[n-1]
    int y0n2;     // channel 0, y[n-2]
    int y1n2;     // channel 1, y[n-2]
    int y0n1;     // channel 0, y[n-1]
    int y1n1;     // channel 1, y[n-1]
  };

  // Stores the rate, then Initial(1) and Reset(): low shelf 300 Hz -10 dB and
  // high shelf 10 kHz +6 dB on, no bands, dry path on.
  explicit CHVAudioEQ_Ts(int sampleRate);
  ~CHVAudioEQ_Ts() = default;

  // Clears every section (enables, coefficients, states), stores the dry-path
  // mode (1: input plus (G - 1)-weighted sections; any other value: sections
  // only, weighted by G), then switches on the default shelves: low shelf
  // 300 Hz -10 dB and high shelf 10 kHz +6 dB.
  void Initial(int dryPath);

  // Zeroes the input history and every section's output state; coefficients
  // and enables stay.
  void Reset();

  // Low shelf. Stores the enable; when enabling, designs the section for
  // freqHz (above half the rate it becomes half the rate - 1000 Hz; never
  // below 150 Hz) and gainDb (at most 20 dB). Refused (nothing changes) when
  // enabling with a rate and frequency whose design angle falls outside the
  // quarter period, which only a negative or enormous rate can cause (a
  // zero rate gives index 0).
  void Tst_SetLFOption(bool enable, int freqHz, int gainDb);

  // High shelf. As the low shelf, but above half the rate the frequency
  // becomes half the rate - 500 Hz and there is no lower limit: enabling with
  // a frequency so far below zero that the table index is negative is
  // refused (nothing changes).
  void Tst_SetHFOption(bool enable, int freqHz, int gainDb);

  // Band section `band` (0 ... 9; other indices are ignored). Stores the
  // enable; when enabling, designs a band-pass at freqHz (above half the rate
  // it becomes half the rate - 100 Hz) with quality q and gainDb (at most
  // 20 dB). q is taken in Q20, truncated: below 2^-20 it is 0, which gives a
  // zero bandwidth angle (the band then adds practically nothing); so small
  // a q that the half-bandwidth angle passes a quarter period is held there.
  // Refused (nothing changes) when enabling with a NaN or negative q, a q of
  // 2048 or more (beyond the Q20 range), or a frequency and rate that put
  // the centre index outside the half period (a frequency a table step or
  // more below zero, a negative or enormous rate; a zero rate gives index
  // 0). A disabled band keeps its coefficients and state.
  void Tst_SetBPFOption(int band, bool enable, int freqHz, int gainDb, float q);

  // Filters `frames` frames of `stride` interleaved ints from `in` to `out`:
  // channel 0 is in[0], channel 1 (for stride >= 2) in[1] of each frame;
  // further interleaved channels are neither read nor written. out may equal
  // in (in-place); partially overlapping buffers are not supported. Nothing
  // happens for frames < 1, stride < 1 or a null buffer. Outputs saturate to
  // [-8388608, 8388607].
  void EQProcess(int* out, int* in, int stride, int frames);

  // Takes other's sections and switches (coefficients, enables, dry path,
  // rate) and keeps this equalizer's filter history: the state after
  // CopyDesign(twin) is the state after the setter calls that made twin's
  // design had they been made here. No allocation; between EQProcess calls.
  void CopyDesign(const CHVAudioEQ_Ts& other);

  // ---- State (public to be read; change it only between EQProcess calls).
  int nSampleRate;
  int x0n2, x1n2, x0n1, x1n1;  // input history, channels 0 and 1
  int bLFEnable;
  int lfB1, lfB0, lfA1;  // low shelf: x[n-1], x[n], y[n-1] coefficients
  int lfY0, lfY1;        // low shelf: last output of channels 0 and 1
  BandSection band[kBandCount];
  int bHFEnable;
  int hfB1, hfB0, hfA1;
  int hfY0, hfY1;
  int nDryPath;

 private:
  // Section gain for gainDb (limited to 20 dB) in Q19, G - 1 with the dry path.
  HVFX_LOCAL int SectionGainQ19(int gainDb) const;
  // Coefficients c (pole) and k (gain) of the low or high shelf, or false
  // when the design angle falls outside the table.
  HVFX_LOCAL bool DesignShelf(bool lowShelf, int freqHz, int gainDb, int& cQ22, int& kQ22) const;
  // Runs one channel (0 or 1) through the enabled sections.
  HVFX_LOCAL void ProcessChannel(int channel, int* out, const int* in, int stride, int frames);
};
