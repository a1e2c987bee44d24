// Choice of the kernel level (see SimdLevel.h).
#include "SimdLevel.h"

#include <cstdlib>
#include <cstring>

namespace hvfx::simd {
namespace {

// What the build has and the processor reports, whatever the variable says.
// (HVFX_SIMD_SSE41 and HVFX_SIMD_AVX2 exist in x86-64 builds only.) The
// runtime reports AVX2 only where the operating system also saves the
// 256-bit registers; __builtin_cpu_init() in case this runs before the
// runtime's own constructors.
bool ProcessorRuns(Level level) {
  switch (level) {
    case Level::kPortable:
      return true;
#if defined(HVFX_SIMD_NEON)
    case Level::kNeon:
      return true;  // the arm64 baseline
#endif
#if defined(HVFX_SIMD_SSE41)
    case Level::kSse41:
      __builtin_cpu_init();
      return __builtin_cpu_supports("sse4.1");
#endif
#if defined(HVFX_SIMD_AVX2)
    case Level::kAvx2:
      __builtin_cpu_init();
      return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("sse4.1");
#endif
    default:
      return false;  // not in this build
  }
}

// The highest level the processor runs (the levels of one architecture
// are ordered, kAllLevels lists them upwards).
Level BestLevel() {
  Level best = Level::kPortable;
  for (Level level : kAllLevels)
    if (ProcessorRuns(level)) best = level;
  return best;
}

Level ChooseLevel() {
  const Level best = BestLevel();
  const char* forced = std::getenv("HVTRALOFX_SIMD");
  if (forced == nullptr) return best;
  for (Level level : kAllLevels) {
    // Only downwards: the levels of one architecture are ordered, and a
    // level the processor runs is never above the best one.
    if (std::strcmp(forced, LevelName(level)) == 0 && ProcessorRuns(level)) return level;
  }
  return best;
}

// Decided while the library loads, so that no audio thread pays for it;
// ActiveLevel() also decides it if called earlier (from another library's
// constructor).
[[maybe_unused]] const Level kLevelAtLoad = ActiveLevel();

}  // namespace

const char* LevelName(Level level) {
  switch (level) {
    case Level::kPortable: return "portable";
    case Level::kSse41: return "sse41";
    case Level::kAvx2: return "avx2";
    case Level::kNeon: return "neon";
  }
  return "portable";
}

bool Supported(Level level) { return ProcessorRuns(level); }

Level ActiveLevel() {
  static const Level level = ChooseLevel();
  return level;
}

const char* ActiveLevelName() { return LevelName(ActiveLevel()); }

}  // namespace hvfx::simd
