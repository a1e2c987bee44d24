// Shared helpers of the fuzz targets: argument values drawn from the fuzz
// input, biased toward the values that break careless code (the int limits,
// -1, the first indices past every range, NaN and infinite Q), and sample
// buffers sized exactly for the frames a call is handed.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace hvfuzz {

// Calls one input may make: enough to reach every state, few enough to keep
// each input cheap.
constexpr int kMaxCalls = 48;

// An int argument: one of the edge values most of the time, else any int.
inline int AnyInt(FuzzedDataProvider& in) {
  static constexpr int kEdges[] = {INT_MIN, INT_MIN + 1, -65536, -2, -1, 0, 1, 2, 3, 5, 6, 7, 8, 9, 10, 15,
                                   20, 21, 30, 40, 50, 60, 70, 100, 101, 150, 1000, 5000, 20000, 22050,
                                   44100, 48000, 65536, INT_MAX - 1, INT_MAX};
  if (in.ConsumeBool()) return in.PickValueInArray(kEdges);
  return in.ConsumeIntegral<int>();
}

// A channel or band index: -2 ... 9 mostly (every valid index, -1 for "all"
// and the first ones past each end), sometimes any int.
inline int AnyIndex(FuzzedDataProvider& in) {
  return in.ConsumeProbability<float>() < 0.9f ? in.ConsumeIntegralInRange(-2, 9) : AnyInt(in);
}

// A Q value: NaN, the infinities, zero, negatives, the Q20 limit, denormals,
// or any float.
inline float AnyQ(FuzzedDataProvider& in) {
  static constexpr float kEdges[] = {NAN, INFINITY, -INFINITY, 0.0f, -0.0f, -1.0f, 1e-30f, 1e-7f, 0.1f, 0.7071f,
                                     1.0f, 2.0f, 10.0f, 2047.99f, 2048.0f, 3.4e38f};
  if (in.ConsumeBool()) return in.PickValueInArray(kEdges);
  return in.ConsumeFloatingPoint<float>();
}

// A sample rate: the supported ones, their neighbours, or any int.
inline int AnyRate(FuzzedDataProvider& in) {
  static constexpr int kRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000, 96000, 1, 0, -48000};
  return in.ConsumeProbability<float>() < 0.8f ? in.PickValueInArray(kRates) : AnyInt(in);
}

// `count` samples: loud noise, a full-scale square or silence, from the input.
template <class Sample>
std::vector<Sample> Samples(FuzzedDataProvider& in, size_t count) {
  std::vector<Sample> v(count);
  const int kind = in.ConsumeIntegralInRange(0, 3);
  uint32_t seed = in.ConsumeIntegral<uint32_t>();
  for (size_t i = 0; i < count; ++i) {
    seed = seed * 1664525u + 1013904223u;
    if (kind == 0) v[i] = static_cast<Sample>(seed >> (32 - 8 * sizeof(Sample)));  // any word
    if (kind == 1) v[i] = (i / 37) % 2 ? std::numeric_limits<Sample>::max() : std::numeric_limits<Sample>::min();
    if (kind == 2) v[i] = static_cast<Sample>(static_cast<int32_t>(seed) >> 20);     // moderate
  }
  return v;
}

}  // namespace hvfuzz
