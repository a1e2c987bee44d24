// Forward-backward (approximately zero-phase) cascade of second-order
// sections on a live block stream. Every block is filtered once backwards in
// time over the block plus a look-ahead of L samples, starting from zero
// state at the newest sample, and then forwards with state carried across
// blocks; the output lags the input by exactly L samples. The soundbar's
// low-pass filters run on it.
//
// Coefficients (int16, channel after channel):
//   sos    nsos rows b0 b1 b2 a0 a1 a2 per channel; section s computes
//          y = (b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1 y[n-1] - a2 y[n-2]) asr (15 + sosQ[s])
//          (a0, the section's 1.0, is carried but not used)
//   sosQ   nsos exponents per channel
//   gain   nsos + 1 values per channel; only the last, gain[nsos], is applied,
//          after the last section of each pass: (y * gain[nsos]) asr (15 + gainQ[nsos])
//   gainQ  nsos + 1 exponents per channel
#pragma once

#include "Export.h"

class HVFX_API CFiltFiltFxd {
 public:
  CFiltFiltFxd() = default;
  ~CFiltFiltFxd();
  CFiltFiltFxd(const CFiltFiltFxd&) = delete;
  CFiltFiltFxd& operator=(const CFiltFiltFxd&) = delete;

  // Zeroes the sizes and pointers without freeing anything (right after
  // creation; a fresh object is already in this state).
  void Clear();

  // Releases what a previous Init held, stores the sizes, allocates zeroed
  // storage, copies the coefficients of nsos sections for channelCount
  // channels and rescales each section whose coefficient magnitudes sum
  // (without a0, shifted by sosQ) above 32767: its numerator is halved k
  // times and the channel's gainQ[nsos] lowered by k. Ends in Reset().
  // Refused (the object keeps what it held) for nsos < 1, channelCount < 1,
  // lookahead < 0, maxBlock < 1, null arrays, or sizes too large to index
  // with an int. Returns 0.
  int Init(short* sos, short* sosQ, short* gain, short* gainQ, int nsos, int channelCount, int lookahead,
           int maxBlock);

  // Zeroes every signal buffer and both pass states (a discontinuity): the
  // next L outputs are the response to silence.
  void Reset();

  // Releases all storage and ends in Clear().
  void Free();

  // Filters n planar samples per channel (channel c at in[c*n ... c*n+n-1],
  // out likewise; out may equal in). 16-bit input is sign-extended, output
  // keeps the low 16 (or 32) bits; sums wrap, nothing saturates. Blocks
  // shorter than the look-ahead are accepted but repeat the short history
  // in the look-ahead. Does nothing for n < 1; channelCount < 1 only clears
  // the backward state. Refused (out untouched, state unchanged) for
  // n > maxBlock, a channelCount above the one given to Init, or a null
  // buffer. Returns 0.
  int Filter(short* in, short* out, int n, int channelCount);
  int Filter(int* in, int* out, int n, int channelCount);

  // Filters one channel of `count` filters at once, each exactly as
  // filters[i]->Filter(in[i], out[i], n, 1): where the filters share n,
  // their look-ahead and section count and this build has vector lanes for
  // them, the independent recursions run side by side (up to four at a
  // time); otherwise one after another. Buffers of different filters must
  // not overlap (out[i] may equal in[i]). Refusals as for Filter, per
  // filter. Returns 0.
  static int FilterSideBySide(CFiltFiltFxd* const* filters, int count, int* const* in, int* const* out, int n);

  // Runs the cascade over one channel's n samples in direct form I:
  // nsos sections (sos: nsos rows of six, sosQ: nsos exponents) continue
  // from state (four words per section: x[n-1], x[n-2], y[n-1], y[n-2],
  // updated on return), then out[k] = (y[k] * gain[nsos]) asr
  // (15 + gainQ[nsos]); gain[0 ... nsos-1] are not read. Products are exact
  // 32 x 16-bit, sums 64-bit, shifts flooring, results truncated to 32 (or
  // 16) bits. out null means in place. Cascades of three or more sections
  // pass through the object's scratch rows, so they need n <= lookahead +
  // maxBlock of the last Init. n = 1 continues the state as a stream would
  // (x[n-2] is the previous x[n-1]). Does nothing for n < 1, nsos < 1, a null
  // array, or a block the scratch rows cannot hold.
  void SOSFilter_DF1(int* in, int* out, int n, short* sos, short* sosQ, short* gain, short* gainQ, int* state,
                     int nsos);
  void SOSFilter_DF1(short* in, short* out, int n, short* sos, short* sosQ, short* gain, short* gainQ,
                     int* state, int nsos);

 private:
  template <class Sample>
  HVFX_LOCAL int FilterBlock(const Sample* in, Sample* out, int n, int channels);
  // Channel c's reversed work signal for a block of n: the block reversed,
  // then the previous block's last L samples reversed.
  template <class Sample>
  HVFX_LOCAL void PrepareReversed(int c, const Sample* x, int n);
  template <class Sample>
  HVFX_LOCAL void CheckedCascade(Sample* in, Sample* out, int n, const short* sos, const short* sosQ,
                                 const short* gain, const short* gainQ, int* state, int nsos);
  template <class In, class Out>
  HVFX_LOCAL void RunCascade(const In* in, Out* out, int n, const short* sos, const short* sosQ, const short* gain,
                             const short* gainQ, int* state, int nsos);
  HVFX_LOCAL void RescaleSections();

  int maxBlock = 0;
  int channelCount = 0;
  int sectionCount = 0;
  int lookahead = 0;
  short** sos = nullptr;    // per channel: nsos x 6 (numerators possibly rescaled)
  short** sosQ = nullptr;   // per channel: nsos
  short** gain = nullptr;   // per channel: nsos + 1
  short** gainQ = nullptr;  // per channel: nsos + 1 (last entry possibly lowered)
  int** forwardState = nullptr;   // per channel: nsos x 4, carried across blocks
  int** backwardState = nullptr;  // per channel: nsos x 4, zeroed every block
  int** reversed = nullptr;     // per channel: L + maxBlock, time-reversed work signal; its first L carry over
  int** backwardOut = nullptr;  // per channel: L + maxBlock, backward pass result
  int** forwardBuf = nullptr;   // per channel: L + maxBlock, backward result in time order, then forward pass
  int** pingPong = nullptr;     // 2 x (L + maxBlock), section outputs alternate between the rows
};
