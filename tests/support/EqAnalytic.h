// Double-precision model of the equalizer's sections for the tests: the
// design angles are quantised to cosine-table indices exactly as the design
// rules state, everything else is ideal (tan, cos, 10^(dB/20)). Also a
// least-squares sine fit to measure the level of a steady tone.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

namespace eqtest {

enum class Kind { kLowShelf, kHighShelf, kBand };

struct Section {
  Kind kind;
  int freqHz;
  int gainDb;
  double q = 2.0;
};

// Magnitude in dB of the whole equalizer: dry input (if any) plus each
// section weighted by G - 1 with the dry path, G without (limited to 20 dB).
inline double ResponseDb(const std::vector<Section>& sections, double f, int fs, bool dry = true) {
  const double pi = 3.14159265358979323846;
  const std::complex<double> z1 = std::polar(1.0, -2.0 * pi * f / fs);  // z^-1
  std::complex<double> h = dry ? 1.0 : 0.0, r;
  for (const Section& s : sections) {
    int hz = s.freqHz;
    if (s.kind == Kind::kBand) {
      if ((fs >> 1) < hz) hz = (fs >> 1) - 100;
      const long long ib = std::min<long long>((static_cast<long long>(hz) << 29) / static_cast<int>(s.q * 1048576.0) / fs, 256);
      const double t = std::tan(pi * static_cast<double>(ib) / 512.0), c = (1.0 - t) / (1.0 + t);
      const double cw = std::cos(pi * ((hz << 10) / fs) / 512.0);
      r = (1.0 - c) / 2.0 * (1.0 - z1 * z1) / (1.0 - (1.0 + c) * cw * z1 + c * z1 * z1);
    } else {
      if (fs / 2 < hz) hz = fs / 2 - (s.kind == Kind::kLowShelf ? 1000 : 500);
      if (s.kind == Kind::kLowShelf) hz = std::max(hz, 150);
      const double t = std::tan(pi * ((hz << 9) / fs) / 512.0), c = (t - 1.0) / (t + 1.0);
      r = s.kind == Kind::kLowShelf ? (1.0 + c) / 2.0 * (1.0 + z1) / (1.0 + c * z1) : (1.0 - c) / 2.0 * (1.0 - z1) / (1.0 + c * z1);
    }
    h += (std::pow(10.0, std::min(s.gainDb, 20) / 20.0) - (dry ? 1.0 : 0.0)) * r;
  }
  return 20.0 * std::log10(std::abs(h));
}

// Amplitude of the tone at f in x[first ... end) by a least-squares fit of
// a*sin + b*cos + dc (the truncating arithmetic leaves a small offset).
inline double ToneAmplitude(const std::vector<double>& x, double f, int fs, size_t first) {
  double m[3][4] = {};
  for (size_t n = first; n < x.size(); ++n) {
    const double w = 2.0 * 3.14159265358979323846 * f * static_cast<double>(n) / fs;
    const double basis[3] = {std::sin(w), std::cos(w), 1.0};
    for (int r = 0; r < 3; ++r)
      for (int c = 0; c < 4; ++c) m[r][c] += basis[r] * (c < 3 ? basis[c] : x[n]);
  }
  for (int p = 0; p < 3; ++p)  // Gauss-Jordan on the 3x3 normal equations
    for (int r = 0; r < 3; ++r)
      for (int c = 3; r != p && c >= p; --c) m[r][c] -= m[r][p] / m[p][p] * m[p][c];
  return std::hypot(m[0][3] / m[0][0], m[1][3] / m[1][1]);
}

}  // namespace eqtest
