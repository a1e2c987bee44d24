// The 257-tap linear-phase high-pass the FIR benchmarks and the
// instruction counts run, in the coefficient tables' format.
#pragma once

#include <cmath>
#include <vector>

namespace bench {

constexpr int kTaps = 257;

// A linear-phase high-pass of 257 taps in the tables' format (q = 1, so
// 65536 = 1.0): a unit impulse minus a Hann-windowed low-pass, centre tap
// 19401.
inline std::vector<short> HighpassTaps() {
  const double pi = std::acos(-1.0);
  const double centre = 19401.0;
  const double cutoff = (1.0 - centre / 65536.0) / 2.0;  // centre = 1 - 2 fc
  std::vector<short> h(kTaps);
  for (int k = 0; k < kTaps; ++k) {
    const int d = k - kTaps / 2;
    const double window = 0.5 + 0.5 * std::cos(pi * d / (kTaps / 2 + 1));
    const double lowpass = d == 0 ? 2.0 * cutoff : std::sin(2.0 * pi * cutoff * d) / (pi * d);
    h[k] = static_cast<short>(std::lround(d == 0 ? centre : -65536.0 * lowpass * window));
  }
  return h;
}

}  // namespace bench
