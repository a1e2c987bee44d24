#!/usr/bin/env bash
# The library's main job: builds it and pushes a generated signal through the
# engine, printing what comes out. Installs what it needs when missing.
set -euo pipefail
cd "$(dirname "$0")/.."
source tools/deps.sh
hvfx_require_packages "${HVFX_BUILD_PACKAGES[@]}"
cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DHVFX_BUILD_TESTS=OFF > /dev/null
cmake --build build-release -j "$(nproc)" --target hvtralofx_demo > /dev/null
exec build-release/tools/hvtralofx_demo "$@"
