# Cross build for 64-bit Arm Linux with Debian's g++-aarch64-linux-gnu; the
# test programs run under qemu-aarch64 (CTest's cross-compiling emulator).
# This is the stand-in for the Android arm64-v8a target on a Debian machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Libraries and packages for arm64: the cross toolchain's own, and Debian's
# multiarch ones (<prefix>/lib/aarch64-linux-gnu, e.g. libgtest-dev:arm64,
# android-liblog-dev:arm64).
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The test programs run against one consistent C library: Debian's multiarch
# arm64 libc when it is installed (android-liblog-dev:arm64 brings it), else
# the cross toolchain's. Mixing the two (the cross loader with the multiarch
# libc found through the host's loader cache) hangs in thread creation.
if(EXISTS /lib/ld-linux-aarch64.so.1)
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;/)
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;/usr/aarch64-linux-gnu)
endif()
