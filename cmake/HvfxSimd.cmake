# Selection of the vector kernels. The portable C++ is always compiled and is
# the reference; a vector file (*_x86.cpp or *_neon.cpp) adds a faster kernel
# with bit-identical results for the selected instruction set.
#
#   HVFX_SIMD=AUTO   AVX2 on x86-64, NEON on arm64, portable elsewhere
#   HVFX_SIMD=AVX2 | SSE41 | NEON | OFF
#
# The choice is made at build time; the binary requires the selected set.
string(TOUPPER "${HVFX_SIMD}" HVFX_SIMD_SELECTED)
if(HVFX_SIMD_SELECTED STREQUAL "AUTO")
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
    set(HVFX_SIMD_SELECTED AVX2)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64|ARM64)$")
    set(HVFX_SIMD_SELECTED NEON)
  else()
    set(HVFX_SIMD_SELECTED OFF)
  endif()
endif()
message(STATUS "hvtralofx vector kernels: ${HVFX_SIMD_SELECTED}")

# Drops the vector files that do not belong to the selected instruction set.
function(hvfx_filter_simd_sources list_var)
  set(sources ${${list_var}})
  if(NOT HVFX_SIMD_SELECTED MATCHES "^(AVX2|SSE41)$")
    list(FILTER sources EXCLUDE REGEX "_x86\\.cpp$")
  endif()
  if(NOT HVFX_SIMD_SELECTED STREQUAL "NEON")
    list(FILTER sources EXCLUDE REGEX "_neon\\.cpp$")
  endif()
  set(${list_var} ${sources} PARENT_SCOPE)
endfunction()

# HVFX_SIMD_AVX2 / HVFX_SIMD_SSE41 / HVFX_SIMD_NEON tell the sources which
# kernels exist; HVFX_HAVE_SIMD is set whenever one does.
set(HVFX_SIMD_DEFINITIONS)
set(HVFX_SIMD_FLAGS)
if(HVFX_SIMD_SELECTED STREQUAL "AVX2")
  set(HVFX_SIMD_DEFINITIONS HVFX_HAVE_SIMD=1 HVFX_SIMD_AVX2=1)
  set(HVFX_SIMD_FLAGS -mavx2)
elseif(HVFX_SIMD_SELECTED STREQUAL "SSE41")
  set(HVFX_SIMD_DEFINITIONS HVFX_HAVE_SIMD=1 HVFX_SIMD_SSE41=1)
  set(HVFX_SIMD_FLAGS -msse4.1)
elseif(HVFX_SIMD_SELECTED STREQUAL "NEON")
  set(HVFX_SIMD_DEFINITIONS HVFX_HAVE_SIMD=1 HVFX_SIMD_NEON=1)
endif()

function(hvfx_apply_simd target)
  target_compile_definitions(${target} PUBLIC ${HVFX_SIMD_DEFINITIONS})
  target_compile_options(${target} PRIVATE ${HVFX_SIMD_FLAGS})
endfunction()
