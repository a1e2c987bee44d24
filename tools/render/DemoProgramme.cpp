#include "DemoProgramme.h"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace hvrender {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kFs = kDemoRate;
constexpr double kPassageSeconds = 4.0;
constexpr double kPeakLimit = 0.891;  // -1 dBFS

// Its own generator, so that the programme is the same with every compiler.
class Noise {
 public:
  double Next() {  // uniform in [-1, 1)
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<double>(state_ >> 11) / 4503599627370496.0 - 1.0;
  }
 private:
  uint64_t state_ = 0x9E3779B97F4A7C15ull;
};

// Two-pole resonator at f Hz with bandwidth bw Hz, unity gain at its peak.
class Resonator {
 public:
  void Set(double f, double bw) {
    const double r = std::exp(-kPi * bw / kFs);
    a1_ = 2 * r * std::cos(2 * kPi * f / kFs);
    a2_ = -r * r;
    g_ = 1 - r;
  }
  double Run(double x) {
    const double y = g_ * x + a1_ * y1_ + a2_ * y2_;
    y2_ = y1_;
    y1_ = y;
    return y;
  }
 private:
  double a1_ = 0, a2_ = 0, g_ = 0, y1_ = 0, y2_ = 0;
};

struct Channels {
  std::vector<double> voice, musicL, musicR, bass, ambience;
};

// A voice: pulses at a wandering pitch through three formants that change with
// each syllable; syllables of 150 to 300 ms, a short noisy onset on some, and
// a pause now and then.
std::vector<double> Speech(size_t n, Noise& noise, double pitch) {
  static constexpr std::array<std::array<double, 3>, 5> kVowels = {
      {{700, 1220, 2600}, {300, 2300, 3000}, {300, 870, 2240}, {530, 1840, 2480}, {570, 840, 2410}}};
  std::vector<double> out(n);
  std::array<Resonator, 3> formants;
  double phase = 0, syllableEnd = 0, syllableStart = 0;
  bool pause = false, fricative = false;
  size_t vowel = 0;
  for (size_t i = 0; i < n; ++i) {
    const double t = static_cast<double>(i) / kFs;
    if (t >= syllableEnd) {
      syllableStart = t;
      pause = noise.Next() > 0.75;
      fricative = noise.Next() > 0.3;
      syllableEnd = t + (pause ? 0.25 : 0.15 + 0.075 * (noise.Next() + 1));
      vowel = static_cast<size_t>((noise.Next() + 1) * 2.5) % kVowels.size();
      for (size_t k = 0; k < 3; ++k) formants[k].Set(kVowels[vowel][k], 60 + 40 * k);
    }
    const double f0 = pitch * (1 + 0.15 * std::sin(2 * kPi * 0.6 * t)) * (1 + 0.01 * noise.Next());
    phase += f0 / kFs;
    double excitation = 0;
    if (phase >= 1) {
      phase -= 1;
      excitation = 1;
    }
    const double u = (t - syllableStart) / (syllableEnd - syllableStart);
    const double envelope = pause ? 0 : std::sin(kPi * std::min(1.0, u));
    double voiced = 0;
    for (auto& f : formants) voiced += f.Run(excitation);
    const double hiss = (fricative && u < 0.25) ? 0.02 * noise.Next() * (1 - 4 * u) : 0;
    out[i] = envelope * voiced + hiss;
  }
  return out;
}

// Music: four chords of harmonic tones over a plucked bass, with kick, snare
// and hi-hat, at 120 beats per minute. The two front channels voice the chord
// differently.
void Music(size_t n, Noise& noise, std::vector<double>& left, std::vector<double>& right, std::vector<double>& bass) {
  static constexpr std::array<std::array<double, 3>, 4> kChords = {
      {{261.63, 329.63, 392.00}, {220.00, 261.63, 329.63}, {174.61, 220.00, 261.63}, {196.00, 246.94, 293.66}}};
  left.assign(n, 0);
  right.assign(n, 0);
  bass.assign(n, 0);
  double snare = 0, hat = 0, kickPhase = 0;
  for (size_t i = 0; i < n; ++i) {
    const double t = static_cast<double>(i) / kFs;
    const auto& chord = kChords[static_cast<size_t>(t / 2.0) % kChords.size()];
    const double beat = std::fmod(t, 0.5);
    const int beatIndex = static_cast<int>(t / 0.5);
    double l = 0, r = 0;
    for (size_t v = 0; v < chord.size(); ++v)
      for (int h = 1; h <= 6; ++h) {
        const double s = std::sin(2 * kPi * chord[v] * h * t * (1 + 0.001 * static_cast<double>(v))) / h;
        l += s * (v == 0 ? 1.0 : 0.6);
        r += s * (v == 2 ? 1.0 : 0.6);
      }
    const double pad = 0.05 * (1 - 0.3 * std::exp(-beat * 6));
    const double root = chord[0] / 4;
    const double b = (std::sin(2 * kPi * root * t) + 0.3 * std::sin(4 * kPi * root * t)) * std::exp(-beat * 5);
    kickPhase += (50 + 70 * std::exp(-beat * 30)) / kFs;
    const double kick = (beatIndex % 2 == 0) ? std::sin(2 * kPi * kickPhase) * std::exp(-beat * 12) : 0;
    const double snareHit = (beatIndex % 2 == 1) ? std::exp(-beat * 20) : 0;
    snare = 0.5 * snare + 0.5 * noise.Next();  // gently low-passed noise
    const double eighth = std::fmod(t, 0.25);
    const double hatNoise = noise.Next();
    const double hatHit = 0.6 * (hatNoise - hat) * std::exp(-eighth * 60);
    hat = hatNoise;
    const double drums = 0.5 * snareHit * snare + 0.15 * hatHit;
    left[i] = pad * l + 0.35 * b + 0.6 * kick + drums;
    right[i] = pad * r + 0.35 * b + 0.6 * kick + 0.9 * drums;
    bass[i] = 0.5 * b + 0.8 * kick;
  }
}

double Rms(const std::vector<double>& v, size_t from, size_t to) {
  double sum = 0;
  for (size_t i = from; i < to; ++i) sum += v[i] * v[i];
  return std::sqrt(sum / static_cast<double>(std::max<size_t>(1, to - from)));
}

struct Passage {
  bool speech;
  double rmsDbfs;  // level of the passage's loudest channel
};

constexpr std::array<Passage, 8> kPassages = {{{true, -30},
                                               {false, -14},
                                               {true, -16},
                                               {false, -38},
                                               {true, -42},
                                               {false, -9},
                                               {true, -24},
                                               {false, -22}}};

}  // namespace

const char* DemoDescription() {
  return "8 passages of 4 s: speech -30 dBFS, music -14, speech -16, music -38, speech -42, music -9 (its peaks "
         "held at -1 dBFS), speech -24, music -22 (RMS of the loudest channel)";
}

Audio MakeDemoProgramme(bool surround51) {
  const size_t per = static_cast<size_t>(kPassageSeconds * kFs);
  const size_t n = per * kPassages.size();
  Noise noise;
  const std::vector<double> voice = Speech(n, noise, 120);
  std::vector<double> left, right, bass;
  Music(n, noise, left, right, bass);
  std::vector<double> ambL(n), ambR(n);
  double a = 0, b = 0;
  for (size_t i = 0; i < n; ++i) {  // diffuse, dark noise
    a = 0.995 * a + 0.05 * noise.Next();
    b = 0.995 * b + 0.05 * noise.Next();
    ambL[i] = a;
    ambR[i] = b;
  }

  Audio audio;
  audio.sampleRate = kDemoRate;
  audio.channels = surround51 ? 6 : 2;
  audio.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  audio.samples.assign(n * static_cast<size_t>(audio.channels), 0);
  std::vector<std::vector<double>> ch(static_cast<size_t>(audio.channels), std::vector<double>(n));
  for (size_t p = 0; p < kPassages.size(); ++p) {
    const size_t from = p * per, to = from + per;
    for (size_t i = from; i < to; ++i) {
      // 20 ms fades between passages.
      const double edge = std::min({1.0, static_cast<double>(i - from) / 960.0, static_cast<double>(to - i) / 960.0});
      if (kPassages[p].speech) {
        const double v = voice[i] * edge, under = 0.05 * edge;
        if (surround51) {
          ch[0][i] = under * left[i];
          ch[1][i] = under * right[i];
          ch[2][i] = v;
          ch[4][i] = 0.5 * under * ambL[i];
          ch[5][i] = 0.5 * under * ambR[i];
        } else {
          ch[0][i] = v + under * left[i];
          ch[1][i] = v + under * right[i];
        }
      } else {
        ch[0][i] = left[i] * edge;
        ch[1][i] = right[i] * edge;
        if (surround51) {
          ch[2][i] = 0.2 * (left[i] + right[i]) * edge;
          ch[3][i] = bass[i] * edge;
          ch[4][i] = ambL[i] * edge;
          ch[5][i] = ambR[i] * edge;
        }
      }
    }
    double loudest = 0;
    for (const auto& c : ch) loudest = std::max(loudest, Rms(c, from, to));
    double gain = loudest > 0 ? std::pow(10.0, kPassages[p].rmsDbfs / 20.0) / loudest : 0;
    double peak = 0;  // the loud passages stop 1 dB below full scale: no clipping in the source
    for (const auto& c : ch)
      for (size_t i = from; i < to; ++i) peak = std::max(peak, std::abs(c[i]) * gain);
    if (peak > kPeakLimit) gain *= kPeakLimit / peak;
    for (size_t c = 0; c < ch.size(); ++c)
      for (size_t i = from; i < to; ++i) {
        const double v = std::nearbyint(ch[c][i] * gain * 32768.0);
        audio.samples[i * ch.size() + c] = static_cast<short>(std::clamp(v, -32768.0, 32767.0));
      }
  }
  return audio;
}

}  // namespace hvrender
