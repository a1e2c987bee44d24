#!/usr/bin/env bash
# Builds libhvtralofx and passes every test: natively (x86-64 or whatever
# this machine is), built by clang at -O2, under AddressSanitizer and
# UndefinedBehaviorSanitizer (clang, with LeakSanitizer at exit and a short
# run of every fuzz target),
# the concurrency test under ThreadSanitizer, the init/release cycles under
# valgrind's memcheck, the golden vectors once more from an unoptimised
# portable build, and for aarch64, the target, under qemu-aarch64 (built by
# g++ and by clang).
# Installs the Debian packages it needs when they are missing.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
hvfx_require_packages "${HVFX_BUILD_PACKAGES[@]}" "${HVFX_TEST_PACKAGES[@]}" "${HVFX_RELIABILITY_PACKAGES[@]}"

jobs=$(nproc)
common=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DHVFX_WERROR=ON -DHVFX_BUILD_TESTS=ON)

echo "== native build"
cmake -S . -B build-native "${common[@]}" -DHVFX_BUILD_BENCH=ON > /dev/null
cmake --build build-native -j "$jobs"
echo "== native tests"
ctest --test-dir build-native -j "$jobs" --output-on-failure

echo "== clang -O2 build without sanitizers (whose instrumentation changes what the optimiser does)"
cmake --preset clang > /dev/null
cmake --build build-clang -j "$jobs"
echo "== clang tests"
ctest --test-dir build-clang -j "$jobs" --output-on-failure

echo "== clang build with AddressSanitizer and UndefinedBehaviorSanitizer, and the fuzz targets"
cmake --preset asan-ubsan > /dev/null
cmake --build build-asan -j "$jobs"
echo "== sanitizer tests (LeakSanitizer checks every program at exit)"
ctest --test-dir build-asan -j "$jobs" --output-on-failure
echo "== fuzz targets, 5 s each from the seed corpus"
scripts/fuzz.sh 5

echo "== clang build with ThreadSanitizer: the concurrency test"
# One accepted race, explained in the file; a new entry must change this count.
suppressions=$(grep -c '^race:' tests/tsan.supp)
[ "$suppressions" -eq 1 ] || { echo "tests/tsan.supp lists $suppressions races, 1 accepted"; exit 1; }
cmake --preset tsan > /dev/null
cmake --build build-tsan -j "$jobs" --target test_concurrency
TSAN_OPTIONS="halt_on_error=1 suppressions=$PWD/tests/tsan.supp" build-tsan/tests/test_concurrency

echo "== valgrind memcheck: 1000 init/re-init/release cycles"
valgrind -q --leak-check=full --errors-for-leak-kinds=all --error-exitcode=1 \
         build-native/tests/test_lifecycle_cycles --gtest_brief=1

echo "== golden vectors from g++ -O0 without vector kernels"
cmake -S . -B build-golden-o0 -G Ninja -DCMAKE_BUILD_TYPE=Debug -DHVFX_SIMD=OFF -DHVFX_BUILD_TESTS=ON \
      -DHVFX_BUILD_TOOLS=OFF > /dev/null
cmake --build build-golden-o0 -j "$jobs" --target test_golden
build-golden-o0/tests/test_golden --gtest_brief=1

echo "== aarch64 cross build"
cmake -S . -B build-aarch64 "${common[@]}" -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake > /dev/null
cmake --build build-aarch64 -j "$jobs"
echo "== aarch64 tests under qemu"
ctest --test-dir build-aarch64 -j "$jobs" --output-on-failure

echo "== aarch64 cross build with clang (the compiler of Android's NDK)"
cmake -S . -B build-aarch64-clang -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHVFX_WERROR=ON \
      -DHVFX_BUILD_TESTS=ON -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu-clang.cmake > /dev/null
cmake --build build-aarch64-clang -j "$jobs"
echo "== aarch64 clang tests under qemu"
ctest --test-dir build-aarch64-clang -j "$jobs" --output-on-failure
