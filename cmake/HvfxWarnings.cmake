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

# -Werror and the sanitizers, for every target of the project.
function(hvfx_common_flags target)
  if(HVFX_WERROR AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(HVFX_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
endfunction()
