// Symbol visibility. The library is built with hidden visibility; HVFX_API
// marks what a host may link against: the two flat C interfaces, the FFT kit
// and the processing classes. HVFX_LOCAL keeps a private member of such a
// class out of the exported symbols (helpers that only the library calls).
#pragma once

#if defined(_WIN32)
#  if defined(HVFX_BUILDING_LIBRARY)
#    define HVFX_API __declspec(dllexport)
#  else
#    define HVFX_API
#  endif
#elif defined(__GNUC__) || defined(__clang__)
#  define HVFX_API __attribute__((visibility("default")))
#else
#  define HVFX_API
#endif

#if !defined(_WIN32) && (defined(__GNUC__) || defined(__clang__))
#  define HVFX_LOCAL __attribute__((visibility("hidden")))
#else
#  define HVFX_LOCAL
#endif
