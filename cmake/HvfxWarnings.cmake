# Compiler warnings for the library's own code. -Wconversion is on on purpose:
# in fixed-point code every narrowing must be visible at the call site.
function(hvfx_set_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wcast-align
      -Wnon-virtual-dtor -Wold-style-cast -Wdouble-promotion)
  endif()
  hvfx_common_flags(${target})
endfunction()

# Tests and tools: warnings on, but without the strict conversion set.
function(hvfx_set_test_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-dangling-else)
  endif()
  hvfx_common_flags(${target})
endfunction()

# The sanitizer flags: address + undefined behaviour (every report fatal,
# float-to-int conversions included) or thread; the fuzzers add libFuzzer's
# coverage instrumentation to every target.
set(HVFX_SANITIZER_FLAGS)
if(HVFX_SANITIZE)
  set(HVFX_SANITIZER_FLAGS -fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all)
elseif(HVFX_SANITIZE_THREAD)
  set(HVFX_SANITIZER_FLAGS -fsanitize=thread)
endif()
set(HVFX_SANITIZER_COMPILE_FLAGS)
if(HVFX_BUILD_FUZZ)
  list(APPEND HVFX_SANITIZER_FLAGS -fsanitize=fuzzer-no-link)
  # Edge coverage only: comparison tracing would instrument every loop test
  # of the sample kernels (over 40 % of a fuzz run's time) and buys nothing
  # here, since the inputs draw their edge values from tables.
  list(APPEND HVFX_SANITIZER_COMPILE_FLAGS -fno-sanitize-coverage=trace-cmp)
endif()

# A C program linked against the sanitized library: the C++ driver links the
# sanitizers' C++ runtime parts the library needs.
function(hvfx_link_c_host target)
  if(HVFX_SANITIZER_FLAGS)
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
  endif()
endfunction()

# -Werror and the sanitizers, for every target of the project.
function(hvfx_common_flags target)
  if(HVFX_WERROR AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(HVFX_SANITIZER_FLAGS)
    target_compile_options(${target} PRIVATE ${HVFX_SANITIZER_FLAGS} ${HVFX_SANITIZER_COMPILE_FLAGS} -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE ${HVFX_SANITIZER_FLAGS})
  endif()
endfunction()
