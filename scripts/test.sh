#!/usr/bin/env bash
# Builds libhvtralofx and passes every test, one CMake workflow preset per
# configuration (CMakePresets.json):
#   native         g++ -O3: every test, the tools' pytest suite, the installed
#                  headers and hosts, valgrind's memcheck of the life cycle
#   clang          clang -O2 without sanitizers (the compiler Android builds with)
#   asan-ubsan     AddressSanitizer + UndefinedBehaviorSanitizer (LeakSanitizer
#                  at exit), then a short run of every fuzz target
#   tsan           the concurrency tests under ThreadSanitizer, no race accepted
#   portable-o0    the golden vectors from g++ -O0 without vector kernels
#   aarch64        arm64, the target, with g++; every test under qemu-aarch64
#   aarch64-clang  the same with clang, the NDK's compiler
# Installs the Debian packages it needs when they are missing.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
hvfx_require_packages "${HVFX_BUILD_PACKAGES[@]}" "${HVFX_TEST_PACKAGES[@]}" "${HVFX_RELIABILITY_PACKAGES[@]}"

workflow() { echo "== $1"; cmake --workflow --preset "$1" | grep -vE '^\s*(Start +[0-9]+:|[0-9]+/[0-9]+ Test +#)'; }

workflow native
workflow clang
workflow asan-ubsan
echo "== fuzz targets, 5 s each from the seed corpus"
scripts/fuzz.sh 5
workflow tsan
workflow portable-o0
workflow aarch64
workflow aarch64-clang
