# Compiler warnings for the library's own code. -Wconversion is on on purpose:
# in fixed-point code every narrowing must be visible at the call site.
function(hvfx_set_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wcast-align
      -Wnon-virtual-dtor -Wold-style-cast -Wdouble-promotion)
    if(HVFX_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
  if(HVFX_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=address,undefined)
  endif()
endfunction()

# Tests and tools: warnings on, but without the strict conversion set.
function(hvfx_set_test_warnings target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-dangling-else)
    if(HVFX_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
  if(HVFX_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
endfunction()
