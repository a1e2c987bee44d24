// The two pieces every smooth-mode transition is made of: a crossfade that
// moves one step per sample between two signals, and a delay that holds a
// signal back by a stage's latency. Integer arithmetic only, so a transition
// gives the same samples on every platform. Internal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace hvfx::api {

// A transition lasts kFadeFrames samples (10.7 ms at 48 kHz): long enough
// that a step between two responses becomes a ramp far below the signal's own
// slope, short enough that a slider dragged every block still follows.
constexpr int kFadeShift = 9;
constexpr int kFadeFrames = 1 << kFadeShift;

// Where a crossfade stands: 0 all `from`, kFadeFrames all `to`.
struct Fade {
  int pos = 0;

  bool Settled(bool towardTo) const { return pos == (towardTo ? kFadeFrames : 0); }

  // from + (to - from) * w / kFadeFrames, rounded; exactly `from` at w = 0
  // and exactly `to` at w = kFadeFrames.
  static int Blend(int from, int to, int w) {
    const int64_t d = static_cast<int64_t>(to) - from;
    return static_cast<int>(from + ((d * w + (kFadeFrames >> 1)) >> kFadeShift));
  }

  // out = blend of `from` and `to` over `rows` planar rows of n samples
  // (row stride n), the weight stepping once per sample toward `to` when
  // towardTo, toward `from` otherwise; every row sees the same weights. out
  // may be `from` or `to`.
  void Mix(int* out, const int* from, const int* to, int rows, int n, bool towardTo) {
    const int step = towardTo ? 1 : -1;
    int w = pos;
    for (int r = 0; r < rows; ++r) {
      const size_t base = static_cast<size_t>(r) * static_cast<size_t>(n);
      const int* f = from + base;
      const int* t = to + base;
      int* o = out + base;
      w = pos;
      for (int i = 0; i < n; ++i) {
        if (w != (towardTo ? kFadeFrames : 0)) w += step;
        o[i] = w == kFadeFrames ? t[i] : (w == 0 ? f[i] : Blend(f[i], t[i], w));
      }
    }
    if (rows > 0) pos = w;
  }
};

// A delay of `length` samples on up to `rows` planar rows, in place. Its
// storage is allocated with the chain and starts silent.
class RowDelay {
 public:
  RowDelay(int rows, int length)
      : rows_(rows), length_(length),
        ring_(static_cast<int*>(std::calloc(static_cast<size_t>(rows) * static_cast<size_t>(length > 0 ? length : 1),
                                            sizeof(int)))) {}
  ~RowDelay() { std::free(ring_); }
  RowDelay(const RowDelay&) = delete;
  RowDelay& operator=(const RowDelay&) = delete;

  int Length() const { return length_; }

  // Rows first ... first + count - 1 of `data` (planar, n per row) come out
  // `length` samples late. Every row passed shares the one write position,
  // so a call must pass the same rows each time.
  void Run(int* data, int first, int count, int n) {
    if (length_ == 0) return;
    int at = pos_;
    for (int r = first; r < first + count && r < rows_; ++r) {
      int* x = data + static_cast<size_t>(r) * static_cast<size_t>(n);
      int* ring = ring_ + static_cast<size_t>(r) * static_cast<size_t>(length_);
      at = pos_;
      for (int i = 0; i < n; ++i) {
        const int held = ring[at];
        ring[at] = x[i];
        x[i] = held;
        if (++at == length_) at = 0;
      }
    }
    pos_ = at;
  }

 private:
  int rows_;
  int length_;
  int* ring_;
  int pos_ = 0;
};

}  // namespace hvfx::api
