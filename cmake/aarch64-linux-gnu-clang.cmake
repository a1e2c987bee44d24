# The arm64 cross build with clang instead of g++ (Android's NDK compiles
# with clang): the same target, libraries and qemu runner as
# aarch64-linux-gnu.cmake, clang's own code generation and vectorizer.
include(${CMAKE_CURRENT_LIST_DIR}/aarch64-linux-gnu.cmake)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
