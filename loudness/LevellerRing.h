// The leveller's ring bookkeeping: a position in a ring of frames, and the
// unwrapped span positions that the level rings' statistics run over.
// Internal to the library.
#pragma once

#include <algorithm>
#include <cstdint>

namespace hvfx {

// Non-negative remainder of v modulo len (len >= 1).
inline int WrapIndex(int64_t v, int len) {
  const int64_t r = v % len;
  return static_cast<int>(r < 0 ? r + len : r);
}

// A position in a ring of Length() entries: the entry written (or read) at
// this frame. Advance moves it one entry on, Retreat one back; Back and
// Forward name other entries relative to it, wrapping; FirstOfNewest(count)
// is where the newest `count` entries, ending here, begin.
class RingIndex {
 public:
  constexpr RingIndex(int length, int index) : length_(length), index_(index) {}

  int Index() const { return index_; }
  int Length() const { return length_; }
  void MoveTo(int index) { index_ = index; }
  void Advance() { index_ = index_ + 1 < length_ ? index_ + 1 : 0; }
  void Retreat() { index_ = index_ > 0 ? index_ - 1 : length_ - 1; }
  int Back(int64_t k) const { return WrapIndex(int64_t{index_} - k, length_); }
  int Forward(int64_t k) const { return WrapIndex(int64_t{index_} + k, length_); }
  int FirstOfNewest(int count) const { return Back(int64_t{count} - 1); }

 private:
  int length_;
  int index_;
};

// Frame positions in the level rings, counted without wrapping: the newest
// entry, the statistics end (lag entries behind it), the start of the span
// the gated level covers, and the start marker that a level shortfall moves.
// Advance moves them one frame on; once the span start has passed a whole
// ring they are rebased by the ring's length (the marker not below 0).
struct SpanPositions {
  int newest = 0;
  int statEnd = 0;
  int spanStart = 0;
  int eventStart = 0;

  // Entries from the span start to the statistics end, both included.
  int Length() const { return statEnd - spanStart + 1; }

  void Advance(int lag, int maxSpan, int ringLength) {
    ++newest;
    if (newest - statEnd > lag) statEnd = newest - lag;
    if (statEnd - spanStart >= maxSpan) spanStart = statEnd - maxSpan + 1;
    if (spanStart >= ringLength) {
      newest -= ringLength;
      statEnd -= ringLength;
      spanStart -= ringLength;
      eventStart = std::max(eventStart - ringLength, 0);
    }
  }
};

}  // namespace hvfx
