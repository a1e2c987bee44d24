// Delay line. Ring form: each channel starts from the shared position p and
// exchanges runs of min(delay - p, samples left) entries between the block
// and its line (read the line, then write the input: in place works), p
// wrapping to 0 at the end of the line. Block form: the line is kept oldest
// first and the block is split into the part that leaves through the line
// and the part that moves within the block.
// No arithmetic: samples are copied unchanged.
#include "hvtralofx/CDelayLineFxd.h"

#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "RowTableInternal.h"

using hvfx::AllocRowTable;
using hvfx::FreeRowTable;

namespace {

template <class Sample>
void Copy(Sample* dst, const Sample* src, int count) {
  std::memcpy(dst, src, static_cast<std::size_t>(count) * sizeof(Sample));
}
template <class Sample>
void Move(Sample* dst, const Sample* src, int count) {
  std::memmove(dst, src, static_cast<std::size_t>(count) * sizeof(Sample));
}

// Ring delay of one channel from position p; returns the position reached.
template <class Sample>
int RingChannel(Sample* line, int delay, int p, const Sample* in, Sample* out, int n) {
  for (int done = 0; done < n;) {
    const int run = delay - p < n - done ? delay - p : n - done;
    Sample* slot = line + p;
    if (in == out) {
      Sample* io = out + done;
      for (int j = 0; j < run; ++j) {  // exchange, vectorised by the compiler
        const Sample t = slot[j];
        slot[j] = io[j];
        io[j] = t;
      }
    } else {
      Copy(out + done, slot, run);
      Copy(slot, in + done, run);
    }
    done += run;
    p += run;
    if (p == delay) p = 0;
  }
  return p;
}

// Block delay of one channel on a time-ordered line; scratch holds `delay`.
template <class Sample>
void BlockChannel(Sample* line, Sample* scratch, int delay, const Sample* in, Sample* out, int n) {
  if (delay <= n) {
    Copy(scratch, in + (n - delay), delay);  // the newest inputs become the line
    Move(out + delay, in, n - delay);
    Copy(out, line, delay);
    Copy(line, scratch, delay);
  } else {
    Copy(scratch, in, n);
    Copy(out, line, n);
    Move(line, line + n, delay - n);
    Copy(line + (delay - n), scratch, n);
  }
}

}  // namespace

CDelayLineFxd::~CDelayLineFxd() { Free(); }

void CDelayLineFxd::Clear() {
  reserved = 0;
  channelCount = 0;
  delay = 0;
  position = 0;
  lines16 = nullptr;
  lines32 = nullptr;
  scratch16 = nullptr;
  scratch32 = nullptr;
}

int CDelayLineFxd::Init(int delayIn, int channelCountIn, int /*unused*/, short* initial) {
  if (delayIn < 1 || channelCountIn < 1) return 0;
  if (static_cast<long long>(delayIn) * channelCountIn > INT_MAX) return 0;
  if (lines16 != nullptr && delay == delayIn && channelCount == channelCountIn) {
    // The same geometry again: the storage stays, zeroed as if new.
    Reset();
    reserved = 0;
  } else {
    Free();
    delay = delayIn;
    channelCount = channelCountIn;
    lines16 = AllocRowTable<short>(channelCount, delay);
    lines32 = AllocRowTable<int>(channelCount, delay);
    scratch16 = static_cast<short*>(std::calloc(static_cast<std::size_t>(delay), sizeof(short)));
    scratch32 = static_cast<int*>(std::calloc(static_cast<std::size_t>(delay), sizeof(int)));
  }
  if (initial != nullptr) Copy(lines16[0], initial, channelCount * delay);
  return 0;
}

void CDelayLineFxd::Reset() {
  position = 0;
  const std::size_t count = static_cast<std::size_t>(channelCount) * static_cast<std::size_t>(delay);
  if (lines16 != nullptr) std::memset(lines16[0], 0, count * sizeof(short));
  if (lines32 != nullptr) std::memset(lines32[0], 0, count * sizeof(int));
  if (scratch16 != nullptr) std::memset(scratch16, 0, static_cast<std::size_t>(delay) * sizeof(short));
  if (scratch32 != nullptr) std::memset(scratch32, 0, static_cast<std::size_t>(delay) * sizeof(int));
}

void CDelayLineFxd::Free() {
  FreeRowTable(lines16);
  FreeRowTable(lines32);
  std::free(scratch16);
  std::free(scratch32);
  Clear();
}

template <class Sample>
int CDelayLineFxd::Run(Sample* in, Sample* out, int n, int channels, Sample** lines, Sample* scratch, bool ring) {
  if (n < 1 || channels < 1 || in == nullptr) return 0;
  if (out == nullptr) out = in;
  if (lines == nullptr) {  // not initialised: pass through
    if (out != in)
      std::memmove(out, in, static_cast<std::size_t>(channels) * static_cast<std::size_t>(n) * sizeof(Sample));
    return 0;
  }
  if (channels > channelCount) return 0;
  int p = position;
  for (int c = 0; c < channels; ++c) {
    const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(c) * n;
    if (ring)
      p = RingChannel(lines[c], delay, position, in + offset, out + offset, n);
    else
      BlockChannel(lines[c], scratch, delay, in + offset, out + offset, n);
  }
  position = p;  // every channel ends at the same place
  return 0;
}

int CDelayLineFxd::Filter(short* in, short* out, int n, int channels) {
  return Run(in, out, n, channels, lines16, scratch16, true);
}
int CDelayLineFxd::Filter(int* in, int* out, int n, int channels) {
  return Run(in, out, n, channels, lines32, scratch32, true);
}
int CDelayLineFxd::Filter_v3(short* in, short* out, int n, int channels) {
  return Run(in, out, n, channels, lines16, scratch16, false);
}
int CDelayLineFxd::Filter_v3(int* in, int* out, int n, int channels) {
  return Run(in, out, n, channels, lines32, scratch32, false);
}
