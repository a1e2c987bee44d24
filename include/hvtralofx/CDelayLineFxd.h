// Whole-sample delay of one or more planar channels, without gain or
// interpolation. The soundbar keeps parallel paths time-aligned with it: 127
// samples beside a DC blocker, (taps - 1) / 2 beside a linear-phase FIR,
// the look-ahead beside a forward-backward filter.
//
// Each channel has a 16-bit and a 32-bit line of `delay` samples; the two
// widths are independent but share one ring position. Filter runs a ring
// buffer in runs of contiguous copies; Filter_v3 keeps the line in time
// order (oldest first) and works by block copies without touching the
// position. The two give the same samples only while the position is 0
// (a fresh or Reset object), so use one of them per object.
//
// Planar blocks: channel c occupies in[c*n ... c*n + n - 1], out likewise.
// Allocates only in Init; not thread-safe.
#pragma once

#include <cstdint>

#include "Export.h"

class HVFX_API CDelayLineFxd {
 public:
  CDelayLineFxd() = default;
  ~CDelayLineFxd();
  CDelayLineFxd(const CDelayLineFxd&) = delete;
  CDelayLineFxd& operator=(const CDelayLineFxd&) = delete;

  // Zeroes the sizes, the position and the pointers without freeing (right
  // after creation; a fresh object is already in this state).
  void Clear();

  // Releases what a previous Init held, then allocates zeroed lines of
  // `delay` samples for channelCount channels at both widths and the two
  // staging rows, position 0. A non-null `initial` holds channelCount x
  // delay int16 values, channel after channel, oldest first, copied into
  // the 16-bit lines only (they come out first; Init does not Reset). The
  // third argument is ignored. Refused (the object keeps what it held; a
  // cleared one keeps copying input to output) for delay < 1,
  // channelCount < 1 or a line block too large to index with an int.
  // Returns 0.
  int Init(int delay, int channelCount, int unused, short* initial);

  // Position 0; zeroes both widths' lines and the staging rows.
  void Reset();

  // Releases all storage and ends in Clear().
  void Free();

  // Delays channelCount planar channels of n samples by `delay` samples:
  // out[c*n + i] is the input of channel c from `delay` samples earlier
  // (across calls), or the line's initial contents. out may be null or
  // equal to in (in place); otherwise the two must not overlap.
  // Does nothing for n < 1, channelCount < 1 or a null in; refuses (writes
  // nothing, keeps lines and position) a channelCount above the one given to
  // Init. Before Init (or after a refused Init, or Free) it copies in to out
  // unchanged. Returns 0.
  int Filter(short* in, short* out, int n, int channelCount);
  int Filter(int* in, int* out, int n, int channelCount);

  // The same delay by block copies on a time-ordered line; the position is
  // neither read nor changed. Same contract as Filter.
  int Filter_v3(short* in, short* out, int n, int channelCount);
  int Filter_v3(int* in, int* out, int n, int channelCount);

 private:
  template <class Sample>
  HVFX_LOCAL int Run(Sample* in, Sample* out, int n, int channels, Sample** lines, Sample* scratch, bool ring);

  int32_t reserved = 0;
  int32_t channelCount = 0;
  int32_t delay = 0;     // samples per line; 0 while not initialised
  int32_t position = 0;  // ring index 0 ... delay-1, shared by all channels and both widths
  short** lines16 = nullptr;  // channelCount rows into one block
  int** lines32 = nullptr;
  short* scratch16 = nullptr;  // staging row of `delay` samples for Filter_v3
  int* scratch32 = nullptr;
};
