// Cost of the fixed-point FFT kit per transform at n = 256 and 1024: the one-
// and two-channel forward and inverse real transforms, beside FFTW's
// single-precision real transforms of the same size and kissfft's float real
// transform (each when found at configure time), measured in the same run.
//
// Every iteration first copies a fresh input into the working array (the kit
// works in place; FFTW's inverse overwrites its input), for both libraries
// alike; BM_CopyInput shows what that copy costs on its own.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "hvtralofx/FixedFFT.h"

#if defined(HVFX_HAVE_FFTW)
#include <fftw3.h>
#endif
#if defined(HVFX_HAVE_KISSFFT)
#include <kiss_fftr.h>
#endif

namespace {

// A music-like test block: a few partials plus noise, about -6 dB of 24-bit
// full scale at its peak.
std::vector<int> TestSignal(int n, unsigned seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> noise(0.0, 40000.0);
  std::vector<int> x(n);
  for (int t = 0; t < n; ++t) {
    const double partials = 1500000.0 * std::sin(2.0 * M_PI * 7.3 * t / n) +
                            900000.0 * std::sin(2.0 * M_PI * 41.7 * t / n + 0.4) +
                            500000.0 * std::cos(2.0 * M_PI * 97.1 * t / n);
    x[t] = static_cast<int>(std::lround(partials + noise(rng)));
  }
  return x;
}

void CopyWords(std::vector<int>& to, const std::vector<int>& from) {
  std::memcpy(to.data(), from.data(), from.size() * sizeof(int));
}

void BM_CopyInput(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<int> input = TestSignal(n, 1);
  std::vector<int> work(n);
  for (auto _ : state) {
    CopyWords(work, input);
    benchmark::DoNotOptimize(work.data());
    benchmark::ClobberMemory();
  }
}

// One channel; the inverse starts from the forward transform's spectrum.
template <bool kInverse>
void BM_OneChannel(benchmark::State& state) {
  const short n = static_cast<short>(state.range(0));
  std::vector<int> input = TestSignal(n, 1);
  short exponent = 0;
  if (kInverse) RealFFT_Fix(input.data(), n, exponent);
  std::vector<int> work(n);
  for (auto _ : state) {
    CopyWords(work, input);
    if (kInverse) {
      RealInvFFT_Fix(work.data(), n, exponent);
    } else {
      RealFFT_Fix(work.data(), n, exponent);
    }
    benchmark::DoNotOptimize(work.data());
    benchmark::ClobberMemory();
  }
}

// Two channels: one iteration transforms both.
template <bool kInverse>
void BM_TwoChannels(benchmark::State& state) {
  const short n = static_cast<short>(state.range(0));
  std::vector<int> left = TestSignal(n, 1), right = TestSignal(n, 2);
  short exponent = 0;
  if (kInverse) RealFFT_2ch_Fix(left.data(), right.data(), n, exponent);
  std::vector<int> workLeft(n), workRight(n);
  for (auto _ : state) {
    CopyWords(workLeft, left);
    CopyWords(workRight, right);
    if (kInverse) {
      RealInvFFT_2ch_Fix(workLeft.data(), workRight.data(), n, exponent);
    } else {
      RealFFT_2ch_Fix(workLeft.data(), workRight.data(), n, exponent);
    }
    benchmark::DoNotOptimize(workLeft.data());
    benchmark::DoNotOptimize(workRight.data());
    benchmark::ClobberMemory();
  }
}

void BM_RealFFT_Fix(benchmark::State& state) { BM_OneChannel<false>(state); }
void BM_RealInvFFT_Fix(benchmark::State& state) { BM_OneChannel<true>(state); }
void BM_RealFFT_2ch_Fix(benchmark::State& state) { BM_TwoChannels<false>(state); }
void BM_RealInvFFT_2ch_Fix(benchmark::State& state) { BM_TwoChannels<true>(state); }

BENCHMARK(BM_CopyInput)->Arg(256)->Arg(1024);
BENCHMARK(BM_RealFFT_Fix)->Arg(256)->Arg(1024);
BENCHMARK(BM_RealInvFFT_Fix)->Arg(256)->Arg(1024);
BENCHMARK(BM_RealFFT_2ch_Fix)->Arg(256)->Arg(1024);
BENCHMARK(BM_RealInvFFT_2ch_Fix)->Arg(256)->Arg(1024);

#if defined(HVFX_HAVE_FFTW)
// FFTW single precision, planned with FFTW_MEASURE, out of place: real to
// half-complex spectrum (forward) and back (inverse, unnormalised).
void BM_Fftwf_R2C(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<int> signal = TestSignal(n, 1);
  std::vector<float> input(signal.begin(), signal.end());
  float* in = fftwf_alloc_real(n);
  fftwf_complex* out = fftwf_alloc_complex(n / 2 + 1);
  fftwf_plan plan = fftwf_plan_dft_r2c_1d(n, in, out, FFTW_MEASURE);
  for (auto _ : state) {
    std::memcpy(in, input.data(), n * sizeof(float));
    fftwf_execute(plan);
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
  fftwf_destroy_plan(plan);
  fftwf_free(out);
  fftwf_free(in);
}

void BM_Fftwf_C2R(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<int> signal = TestSignal(n, 1);
  float* time = fftwf_alloc_real(n);
  fftwf_complex* spectrum = fftwf_alloc_complex(n / 2 + 1);
  fftwf_plan forward = fftwf_plan_dft_r2c_1d(n, time, spectrum, FFTW_MEASURE);
  fftwf_plan inverse = fftwf_plan_dft_c2r_1d(n, spectrum, time, FFTW_MEASURE);
  for (int t = 0; t < n; ++t) time[t] = static_cast<float>(signal[t]);
  fftwf_execute(forward);
  std::vector<fftwf_complex> input(n / 2 + 1);
  std::memcpy(input.data(), spectrum, (n / 2 + 1) * sizeof(fftwf_complex));
  for (auto _ : state) {
    std::memcpy(spectrum, input.data(), (n / 2 + 1) * sizeof(fftwf_complex));
    fftwf_execute(inverse);
    benchmark::DoNotOptimize(time);
    benchmark::ClobberMemory();
  }
  fftwf_destroy_plan(inverse);
  fftwf_destroy_plan(forward);
  fftwf_free(spectrum);
  fftwf_free(time);
}

BENCHMARK(BM_Fftwf_R2C)->Arg(256)->Arg(1024);
BENCHMARK(BM_Fftwf_C2R)->Arg(256)->Arg(1024);
#endif

#if defined(HVFX_HAVE_KISSFFT)
// kissfft's float real transform (real to n/2 + 1 complex bins), forward.
void BM_KissFftr_Forward(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::vector<int> signal = TestSignal(n, 1);
  const std::vector<float> input(signal.begin(), signal.end());
  std::vector<float> work(input.size());
  std::vector<kiss_fft_cpx> spectrum(static_cast<size_t>(n) / 2 + 1);
  kiss_fftr_cfg cfg = kiss_fftr_alloc(n, 0, nullptr, nullptr);
  for (auto _ : state) {
    std::memcpy(work.data(), input.data(), n * sizeof(float));
    kiss_fftr(cfg, work.data(), spectrum.data());
    benchmark::DoNotOptimize(spectrum.data());
    benchmark::ClobberMemory();
  }
  kiss_fftr_free(cfg);
}

BENCHMARK(BM_KissFftr_Forward)->Arg(256)->Arg(1024);
#endif

}  // namespace
