// Real-time safety of the audio path: malloc, calloc, realloc, free and every
// operator new/delete are interposed and counted while HVSFX_Process and
// HVTralo_Process run, for every combination of the effect switches, mono,
// stereo and 5.1, at both soundbar rates, and across the soundbar's filter
// rebuilds after distance and width changes. The count must be zero.
// (Built only without sanitizers, which interpose the allocator themselves.)
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "support/ChainScenario.h"

extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);
extern "C" void __libc_free(void*);

namespace {

// Counting is switched on only around the calls under test, on their thread.
thread_local bool t_counting = false;
struct Counts {
  long allocations = 0, frees = 0, bytes = 0;
};
thread_local Counts t_counts;

void* Counted(void* p, size_t bytes) {
  if (t_counting) ++t_counts.allocations, t_counts.bytes += static_cast<long>(bytes);
  return p;
}
void CountFree(void* p) {
  if (t_counting && p != nullptr) ++t_counts.frees;
}

}  // namespace

extern "C" void* malloc(size_t n) { return Counted(__libc_malloc(n), n); }
extern "C" void* calloc(size_t n, size_t size) { return Counted(__libc_calloc(n, size), n * size); }
extern "C" void* realloc(void* p, size_t n) {
  CountFree(p);
  return Counted(__libc_realloc(p, n), n);
}
extern "C" void free(void* p) {
  CountFree(p);
  __libc_free(p);
}
void* operator new(size_t n) {
  void* p = Counted(__libc_malloc(n), n);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}
void* operator new[](size_t n) { return operator new(n); }
void* operator new(size_t n, const std::nothrow_t&) noexcept { return Counted(__libc_malloc(n), n); }
void* operator new[](size_t n, const std::nothrow_t&) noexcept { return Counted(__libc_malloc(n), n); }
void operator delete(void* p) noexcept { free(p); }
void operator delete[](void* p) noexcept { free(p); }
void operator delete(void* p, size_t) noexcept { free(p); }
void operator delete[](void* p, size_t) noexcept { free(p); }

namespace {

// Counts what `body` allocates and frees on this thread.
template <class Body>
Counts Count(Body body) {
  t_counts = Counts{};
  t_counting = true;
  body();
  t_counting = false;
  return t_counts;
}

constexpr int kBlock = 512;

// Processes `calls` blocks (front or engine) and returns what they allocated.
Counts ProcessBlocks(bool front, HVSFX_Param* p, int channels, int calls, long& position) {
  Counts total;
  for (int k = 0; k < calls; ++k) {
    std::vector<short> block = chain::Signal(channels, position, kBlock);
    position += kBlock;
    const Counts c = Count([&] { front ? HVTralo_Process(block.data(), kBlock) : HVSFX_Process(p, block.data(), kBlock); });
    total.allocations += c.allocations, total.frees += c.frees, total.bytes += c.bytes;
  }
  return total;
}

TEST(RealtimeAlloc, NoAllocationOrFreeInsideProcessForAnyEffectCombination) {
  for (bool front : {false, true})
    for (int rate : {44100, 48000})
      for (int channels : {1, 2, 6})
        for (unsigned effects = 0; effects <= chain::kAllEffects; ++effects) {
          chain::ReloadLibrary();
          HVSFX_Param own = HVSFX_Param_Default;
          HVSFX_Param* p = front ? &hvfx::api::GlobalFront().record : &own;
          if (front) {
            ASSERT_EQ(HVTralo_Init(rate, channels), 1);
            HVTralo_SetEnable(true);
          } else {
            own.nSampleRate = rate;
            own.nInChannels = own.nOutChannels = channels;
            ASSERT_EQ(HVSFX_Init(&own), 1);
          }
          chain::Configure(p, effects);
          long position = 0;
          const Counts c = ProcessBlocks(front, p, channels, 24, position);
          EXPECT_EQ(c.allocations, 0) << (front ? "front " : "engine ") << rate << " Hz, " << channels
                                      << " channels, effects " << effects;
          EXPECT_EQ(c.frees, 0) << effects;
          front ? HVTralo_Release() : HVSFX_Release(&own);
        }
  chain::ReloadLibrary();
}

// The soundbar's rebuild at its fade's silent point reloads the filters it
// has: that block allocates nothing either, and costs little more than an
// ordinary one (timed here for the record; the benchmarks measure it).
TEST(RealtimeAlloc, SoundbarRebuildAllocatesNothing) {
  chain::ReloadLibrary();
  HVSFX_Param p = HVSFX_Param_Default;
  p.nInChannels = p.nOutChannels = 6;
  ASSERT_EQ(HVSFX_Init(&p), 1);
  chain::Configure(&p, chain::kAllEffects);
  long position = 0;
  ProcessBlocks(false, &p, 6, 8, position);
  for (int change = 0; change < 4; ++change) {
    change % 2 == 0 ? HVSFX_Soundbar_SetDistance(&p, 30 + 10 * change) : HVSFX_Soundbar_SetAngle(&p, change % 3);
    // The fade reaches its silent point after 1536 samples: the third block.
    const Counts c = ProcessBlocks(false, &p, 6, 8, position);
    EXPECT_EQ(c.allocations + c.frees, 0) << "change " << change;
  }
  HVSFX_Release(&p);
  chain::ReloadLibrary();
}

}  // namespace
