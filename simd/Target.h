// Names that keep apart the copies of code compiled for each x86-64 level.
// Internal to the library.
//
// A vector file *_x86.cpp is compiled once per level it serves, with that
// level's -m flags, and with HVFX_TARGET_SSE41 or HVFX_TARGET_AVX2 defined
// (cmake/HvfxSimd.cmake). Its entry points go into the namespace
// HVFX_TARGET_LEVEL (sse41 or avx2) of their family.
//
// The inline functions and templates of the headers it includes are compiled
// into it too. The linker keeps one copy of each such function for the whole
// program: were that the AVX2 copy, code built for the baseline would run
// AVX2 instructions. So the headers that vector files include put their
// inline code into the inline namespace HVFX_TARGET_INLINE, which gives each
// level's copy a name of its own (the baseline's is target_base); the code
// that uses them is written as if it were not there.
// tests/check_static_symbols.sh checks that no vector object defines a shared
// symbol outside these names. For the same reason a vector file uses no
// template of the standard library that could be compiled out of line.
#pragma once

#if defined(HVFX_TARGET_AVX2)
#define HVFX_TARGET_LEVEL avx2
#define HVFX_TARGET_INLINE target_avx2
#elif defined(HVFX_TARGET_SSE41)
#define HVFX_TARGET_LEVEL sse41
#define HVFX_TARGET_INLINE target_sse41
#else
#define HVFX_TARGET_INLINE target_base
#endif
