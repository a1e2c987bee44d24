// Test material for the adaptive volume leveller: speech-like noise bursts,
// music-like tone chords and steady noise at a given level, as 16-bit-domain
// samples in ints. Deterministic (fixed seeds).
#pragma once

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace leveller_test {

inline double DbfsToAmplitude(double dbfs) { return 32768.0 * std::pow(10.0, dbfs / 20.0); }
inline int Clip16(double v) { return static_cast<int>(std::lrint(std::fmax(-32768.0, std::fmin(32767.0, v)))); }

// Gaussian noise whose RMS is `dbfs` relative to full scale (32768).
inline std::vector<int> SteadyNoise(size_t n, double dbfs, uint32_t seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> g(0.0, 1.0);
  std::vector<int> v(n);
  for (auto& s : v) s = Clip16(DbfsToAmplitude(dbfs) * g(rng));
  return v;
}

// Syllable-like bursts: 150 ms of noise at `dbfs` RMS, 100 ms at 26 dB less,
// repeating; the noise is low-passed once (first-order) to tilt it like
// speech (gain of the low-pass on white noise ~0.5).
inline std::vector<int> SpeechLikeBursts(size_t n, int fs, double dbfs, uint32_t seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> g(0.0, 1.0);
  std::vector<int> v(n);
  double lp = 0.0;
  for (size_t t = 0; t < n; ++t) {
    lp = 0.6 * lp + 0.4 * g(rng);
    const double env = std::fmod(static_cast<double>(t) / fs, 0.25) < 0.15 ? 1.0 : 0.05;
    v[t] = static_cast<int>(std::lrint(DbfsToAmplitude(dbfs) * env * lp / 0.5));
  }
  return v;
}

// A three-note chord with a slow vibrato; partials 0.6, 0.5, 0.4 give an RMS
// of sqrt((0.36 + 0.25 + 0.16) / 2) = 0.6205, scaled to `dbfs`.
inline std::vector<int> MusicLikeTones(size_t n, int fs, double dbfs) {
  std::vector<int> v(n);
  for (size_t t = 0; t < n; ++t) {
    const double s = static_cast<double>(t) / fs, vib = 1.0 + 0.003 * std::sin(2 * M_PI * 5.0 * s);
    const double x = 0.6 * std::sin(2 * M_PI * 220.0 * vib * s) + 0.5 * std::sin(2 * M_PI * 277.2 * s) +
                     0.4 * std::sin(2 * M_PI * 659.3 * s + 0.5);
    v[t] = Clip16(DbfsToAmplitude(dbfs) / 0.6205 * x);
  }
  return v;
}

}  // namespace leveller_test
