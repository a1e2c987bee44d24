#!/usr/bin/env bash
# Builds libhvtralofx and passes every test: natively (x86-64 or whatever
# this machine is), natively again under AddressSanitizer and
# UndefinedBehaviorSanitizer, and for aarch64, the target, under qemu-aarch64.
# Installs the Debian packages it needs when they are missing.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/deps.sh
hvfx_require_packages "${HVFX_BUILD_PACKAGES[@]}" "${HVFX_TEST_PACKAGES[@]}"

jobs=$(nproc)
common=(-G Ninja -DCMAKE_BUILD_TYPE=Release -DHVFX_WERROR=ON -DHVFX_BUILD_TESTS=ON)

echo "== native build"
cmake -S . -B build-native "${common[@]}" -DHVFX_BUILD_BENCH=ON > /dev/null
cmake --build build-native -j "$jobs"
echo "== native tests"
ctest --test-dir build-native -j "$jobs" --output-on-failure

echo "== native build with AddressSanitizer and UndefinedBehaviorSanitizer"
cmake -S . -B build-sanitize -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DHVFX_SANITIZE=ON \
      -DHVFX_BUILD_TESTS=ON -DHVFX_BUILD_TOOLS=OFF > /dev/null
cmake --build build-sanitize -j "$jobs"
echo "== sanitizer tests"
ctest --test-dir build-sanitize -j "$jobs" --output-on-failure

echo "== aarch64 cross build"
cmake -S . -B build-aarch64 "${common[@]}" -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake > /dev/null
cmake --build build-aarch64 -j "$jobs"
echo "== aarch64 tests under qemu"
ctest --test-dir build-aarch64 -j "$jobs" --output-on-failure
