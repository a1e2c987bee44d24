// Every vector kernel family against its portable C++, bit for bit, at every
// level the build has and the processor runs (simd/SimdLevel.h): random
// inputs with the extremes often, lengths that are no multiple of the
// register widths. ctest also runs this program and the golden vectors with
// HVTRALOFX_SIMD forcing each lower level (the *_simd_<level> entries).
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "eq/EQLaneBankInternal.h"
#include "filters/FiltFiltLanesInternal.h"
#include "filters/FirKernelsInternal.h"
#include "fixedpoint/FixedFFTInternal.h"
#include "fixedpoint/MathTables.h"
#include "loudness/LevellerBandBankInternal.h"
#include "simd/SimdLevel.h"

namespace {

using hvfx::simd::Level;

// Runs check(level) for every vector level the processor runs.
template <class Check>
void ForEachVectorLevel(Check check) {
  bool any = false;
  for (Level level : hvfx::simd::kAllLevels) {
    if (level == Level::kPortable || !hvfx::simd::Supported(level)) continue;
    SCOPED_TRACE(hvfx::simd::LevelName(level));
    check(level);
    any = true;
  }
  if (!any) GTEST_SKIP() << "no vector level in this build or on this processor";
}

// n values over T's whole range: its extremes and 24-bit full scale often.
template <class T>
std::vector<T> Edgy(size_t n, std::mt19937& rng, int64_t lo = std::numeric_limits<T>::min(),
                    int64_t hi = std::numeric_limits<T>::max()) {
  std::uniform_int_distribution<int64_t> any(lo, hi);
  const int64_t edges[] = {lo, hi, std::clamp<int64_t>(-8388608, lo, hi), std::clamp<int64_t>(8388607, lo, hi)};
  std::vector<T> v(n);
  for (T& s : v) s = static_cast<T>(rng() % 3 == 0 ? edges[rng() % 4] : any(rng));
  return v;
}

}  // namespace

TEST(SimdLevel, ActiveLevelIsTheBestOneOrTheForcedLowerOne) {
  const char* forced = std::getenv("HVTRALOFX_SIMD");
  Level expected = Level::kPortable;
  bool named = false;  // upwards through the supported levels, up to the one named
  for (Level level : hvfx::simd::kAllLevels) {
    if (named || !hvfx::simd::Supported(level)) continue;
    expected = level;
    named = forced != nullptr && std::strcmp(forced, hvfx::simd::LevelName(level)) == 0;
  }
  RecordProperty("level", hvfx::simd::ActiveLevelName());
  std::printf("active level: %s\n", hvfx::simd::ActiveLevelName());
  EXPECT_EQ(hvfx::simd::ActiveLevel(), expected) << hvfx::simd::ActiveLevelName();
}

TEST(VectorKernels, EqualizerLanes) {
  using hvfx::eq::EQLaneBank;
  ForEachVectorLevel([](Level level) {
    std::mt19937 rng(7);
    for (int trial = 0; trial < 600; ++trial) {
      EQLaneBank bank;
      bank.bandCount = trial % 11;  // and zero to two shelves
      bank.count = bank.bandCount + trial / 11 % 3;
      bank.dryQ22 = trial % 2 ? 0x400000 : 0;
      const auto w = Edgy<int32_t>(7 * EQLaneBank::kMaxLanes + 2, rng);
      for (int l = 0; l < bank.count; ++l) {
        int32_t* words[] = {bank.b0, bank.b1, bank.b2, bank.a1, bank.a2, bank.y1, bank.y2};
        const bool used[2][7] = {{1, 1, 0, 1, 0, 1, 0}, {1, 0, 1, 1, 1, 1, 1}};  // shelf, band
        for (int k = 0; k < 7; ++k) words[k][l] = used[l < bank.bandCount][k] ? w[k * EQLaneBank::kMaxLanes + l] : 0;
      }
      std::tie(bank.xPrev1, bank.xPrev2) = std::pair(w[84], w[85]);
      const int frames = static_cast<int>(rng() % 40), step = 1 + trial % 2;
      const auto in = Edgy<int>(frames * step + 1, rng);
      EQLaneBank vectorBank = bank;
      std::vector<int> portable(in.size()), vector = in;  // the vector kernel in place
      hvfx::eq::EQRunLanesPortable(bank, portable.data(), in.data(), step, frames);
      hvfx::eq::EQRunLanesAt(level)(vectorBank, vector.data(), vector.data(), step, frames);
      for (int n = 0; n < frames; ++n) ASSERT_EQ(portable[n * step], vector[n * step]) << trial << " sample " << n;
      ASSERT_TRUE(std::equal(bank.y1, bank.y1 + bank.count, vectorBank.y1)) << trial;
      ASSERT_TRUE(std::equal(bank.y2, bank.y2 + bank.bandCount, vectorBank.y2)) << trial;
      ASSERT_EQ(std::pair(bank.xPrev1, bank.xPrev2), std::pair(vectorBank.xPrev1, vectorBank.xPrev2)) << trial;
    }
  });
}

TEST(VectorKernels, ForwardBackwardCascadeLanes) {
  namespace ff = hvfx::filtfilt;
  ForEachVectorLevel([](Level level) {
    const ff::RunCascadeLanesFn run = ff::CascadeLanesAt(level);
    if (run == nullptr) return;  // this level filters one by one
    std::mt19937 rng(11);
    for (int trial = 0; trial < 400; ++trial) {
      const int count = 1 + trial % ff::kMaxLanes, nsos = 1 + trial / 4 % ff::kMaxLaneSections;
      const int n = static_cast<int>(rng() % 45);
      const auto sos = Edgy<short>(count * nsos * 6, rng), gain = Edgy<short>(count * (nsos + 1), rng);
      const auto q = Edgy<short>(count * (nsos + 1) * 2, rng, -15, 17);  // sosQ, then gainQ
      const auto in = Edgy<int>(count * n, rng), state = Edgy<int>(count * nsos * 4, rng);
      std::vector<int> out[2] = {in, in}, states[2] = {state, state};
      ff::CascadeLane lanes[2][ff::kMaxLanes];
      for (int k = 0; k < 2; ++k)
        for (int l = 0; l < count; ++l) {
          const short* sq = q.data() + l * (nsos + 1) * 2;
          lanes[k][l] = {in.data() + l * n, out[k].data() + l * n, sos.data() + l * nsos * 6, sq,
                         gain.data() + l * (nsos + 1), sq + nsos + 1, states[k].data() + l * nsos * 4};
        }
      ASSERT_TRUE(ff::CascadeLanesSupported(lanes[0], count, nsos));
      ff::RunCascadeLanesPortable(lanes[0], count, nsos, n);
      run(lanes[1], count, nsos, n);
      ASSERT_EQ(std::tie(out[0], states[0]), std::tie(out[1], states[1])) << trial;
    }
  });
}

TEST(VectorKernels, LevellerBandBank) {
  namespace lv = hvfx::leveller;
  ForEachVectorLevel([](Level level) {
    std::mt19937 rng(13);
    for (int trial = 0; trial < 200; ++trial) {
      const int bands = 1 + trial % lv::kMaxBankBands, n = static_cast<int>(rng() % 257);
      const auto x = Edgy<int>(256, rng), coefs = Edgy<int>(bands * 5, rng);
      struct State {
        int xs[lv::kMaxBankBands][2], ys[lv::kMaxBankBands][2];
        uint64_t energy[lv::kMaxBankBands];
      } state[2];
      const auto init = Edgy<int>(sizeof(State) / sizeof(int), rng);
      for (State& st : state) std::memcpy(&st, init.data(), sizeof st);
      lv::RunBandBankPortable({x.data(), n, bands, coefs.data(), state[0].xs, state[0].ys, state[0].energy});
      lv::RunBandBankAt(level)({x.data(), n, bands, coefs.data(), state[1].xs, state[1].ys, state[1].energy});
      ASSERT_EQ(0, std::memcmp(&state[0], &state[1], sizeof(State))) << trial;
    }
  });
}

// Random, symmetric and all -32768 taps; full-scale 16-bit, 24-bit and
// 32-bit signals (all at the negative extreme with the -32768 taps); every
// tap count 1 ... 300 and a few long filters; odd output counts and a few
// long blocks; in place as well. Then taps one past the bound up to which
// 16-bit samples run through (v)pmaddwd as they are.
TEST(VectorKernels, FirTaps) {
  namespace fir = hvfx::fir;
  ForEachVectorLevel([](Level level) {
    const fir::TapKernels vector = fir::TapKernelsAt(level);
    std::mt19937 rng(2024);
    std::vector<int> tapCounts;
    for (int nTaps = 1; nTaps <= 300; ++nTaps) tapCounts.push_back(nTaps);
    tapCounts.insert(tapCounts.end(), {511, 512, 513, 1025});
    for (int nTaps : tapCounts) {
      const int kind = nTaps % 4;  // 0 random, 1 and 3 symmetric, 2 all -32768
      std::vector<short> hr = Edgy<short>(nTaps, rng);
      if (kind % 2 == 1) std::copy(hr.begin(), hr.begin() + nTaps / 2, hr.rbegin());
      if (kind == 2) std::fill(hr.begin(), hr.end(), short{-32768});
      const int count = nTaps % 10 == 0 ? 601 : 1 + 2 * (nTaps % 19);
      const size_t length = count + nTaps - 1;
      std::vector<int> x32 = Edgy<int>(length, rng), x24 = Edgy<int>(length, rng, -8388608, 8388607);
      std::vector<short> x16 = Edgy<short>(length, rng);
      if (kind == 2) x32.assign(length, INT32_MIN), x24.assign(length, -8388608), x16.assign(length, -32768);
      // A large and a small shift between them show every bit of the sum.
      const int shifts[] = {20 + nTaps % 17, nTaps % 40 - 5};
      auto check = [&](auto portableKernel, auto vectorKernel, const auto& x) {
        auto p = x, v = x, inPlace = x;
        p.resize(count), v.resize(count);
        for (int shift : shifts) {
          portableKernel(hr.data(), nTaps, x.data(), count, shift, p.data());
          vectorKernel(hr.data(), nTaps, x.data(), count, shift, v.data());
          ASSERT_EQ(p, v) << nTaps << " taps, shift " << shift;
        }
        vectorKernel(hr.data(), nTaps, inPlace.data(), count, shifts[1], inPlace.data() + nTaps - 1);
        ASSERT_TRUE(std::equal(p.begin(), p.end(), inPlace.begin() + nTaps - 1)) << nTaps << " taps in place";
      };
      check(fir::RunTaps32Portable, vector.taps32, x32);
      check(fir::RunTaps32Portable, vector.taps32, x24);
      check(fir::RunTaps16Portable, vector.taps16, x16);
      if (::testing::Test::HasFatalFailure()) return;
    }
    // Both taps of a pair counted, over several steps, negative or positive,
    // at two lane positions, against samples of -32768 that reach the bound;
    // a shift of 20 shows a 2^32 error.
    const std::vector<std::vector<std::pair<int, short>>> cases = {
        {{0, -32768}, {16, -32768}},           // 65536 * 32768 = 2^31
        {{0, 32767}, {16, 32767}, {32, 3}},    // -32768 * 65537 < -2^31
        {{0, -32768}, {1, -32767}, {16, -1}},  // the pair's second tap
        {{0, -16384}, {16, -16384}, {32, -16384}, {48, -16384}, {64, -16384},
         {80, -16384}, {96, -16384}, {112, -16384}, {128, -16384}}};  // many runs
    for (const auto& taps : cases) {
      for (int lane : {0, 14}) {
        const int nTaps = taps.back().first + lane + 1, count = 37;
        std::vector<short> hr(nTaps, 0);
        for (const auto& [at, tap] : taps) hr[at + lane] = tap;
        const std::vector<short> x(count + nTaps - 1, short{-32768});
        std::vector<short> p(count), v(count);
        fir::RunTaps16Portable(hr.data(), nTaps, x.data(), count, 20, p.data());
        vector.taps16(hr.data(), nTaps, x.data(), count, 20, v.data());
        EXPECT_EQ(p, v) << nTaps << " taps, lane offset " << lane;
      }
    }
  });
}

// Twiddles of stage h as documented: a = m * 512/h, cos = table entry a,
// sin = entry |256 - a|. Words over the full int32 range, far outside the
// headroom contract: the wrapping sums and the low bits of the rounded
// products must agree too. The first two stages' pass with constant
// twiddles (portable code at every level) is checked against the plain loop.
TEST(VectorKernels, FftStages) {
  namespace fft = hvfx::fft;
  std::vector<int32_t> cosQ23[10], sinQ23[10];
  for (int l = 0; l < 10; ++l) {
    for (int a = 0; a < 512; a += 512 >> l) {
      cosQ23[l].push_back(hvfx::fxp::CosTable_Data[a]);
      sinQ23[l].push_back(hvfx::fxp::CosTable_Data[std::abs(256 - a)]);
    }
  }
  ForEachVectorLevel([&](Level level) {
    std::mt19937 rng(9);
    for (int n : {2, 4, 8, 16, 64, 1024}) {
      for (int range : {8388607, INT_MAX}) {
        std::vector<int32_t> re = Edgy<int32_t>(n, rng, -range, range), im = Edgy<int32_t>(n, rng, -range, range);
        std::vector<int32_t> refRe = re, refIm = im;
        const auto plain = [&](int l) {
          fft::FftStagePortable(refRe.data(), refIm.data(), n, 1 << l, cosQ23[l].data(), sinQ23[l].data());
        };
        if (n >= 4) {
          fft::FftFirstStages(re.data(), im.data(), n);
          plain(0);
          plain(1);
          ASSERT_EQ(std::tie(re, im), std::tie(refRe, refIm)) << n;
        }
        for (int l = 0; (2 << l) <= n; ++l) {  // the level's stage kernel, stage h = 2^l
          fft::FftStageAt(level)(re.data(), im.data(), n, 1 << l, cosQ23[l].data(), sinQ23[l].data());
          plain(l);
          ASSERT_EQ(std::tie(re, im), std::tie(refRe, refIm)) << n << " " << l;
        }
      }
    }
  });
}
