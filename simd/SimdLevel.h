// Which vector kernels run: one level for the whole library, chosen once per
// process. Internal to the library.
//
// x86-64 builds (HVFX_SIMD=AUTO) carry the portable C++ and the SSE4.1 and
// AVX2 kernels, each vector file compiled once per level with that level's
// flags on that file only (cmake/HvfxSimd.cmake); everything else is built
// for the baseline x86-64 (SSE2; Android's x86-64 ABI promises SSE4.2). The
// level is the best one the processor reports (__builtin_cpu_supports),
// decided at the first call of ActiveLevel(), which the library makes while
// it loads; each kernel family then looks up its kernel once, at its first
// use, and calls it through a pointer per block (never per sample). arm64
// builds carry NEON, the architecture's baseline, and the portable C++.
//
// The environment variable HVTRALOFX_SIMD, read at that first call, may force
// a lower level for testing: "portable", "sse41" or "avx2" (x86-64), and
// "portable" or "neon" (arm64). A level the build or the processor does not
// have falls back to the best available one, as does any other value; the
// variable can never make the library run instructions the processor lacks.
//
// Every level computes the same bits as the portable C++, its reference.
#pragma once

namespace hvfx::simd {

enum class Level : int {
  kPortable = 0,
  kSse41 = 1,  // x86-64 SSE4.1
  kAvx2 = 2,   // x86-64 AVX2
  kNeon = 3,   // arm64 Advanced SIMD
};

inline constexpr Level kAllLevels[] = {Level::kPortable, Level::kSse41, Level::kAvx2, Level::kNeon};

// "portable", "sse41", "avx2" or "neon".
const char* LevelName(Level level);

// True when this build has the level's kernels and this processor can run
// them (the portable level always).
bool Supported(Level level);

// The level every kernel family runs at in this process: the best supported
// one, or the lower one HVTRALOFX_SIMD names. Decided once; thread-safe.
Level ActiveLevel();
const char* ActiveLevelName();

}  // namespace hvfx::simd
