#!/usr/bin/env bash
# The library's main job as a person meets it: builds the library and its
# tools, renders the built-in demo programme through the chain, prints the
# loudness report and writes the response and loudness plots. Installs what it
# needs when missing. Arguments go to hvtralo-render (e.g. --demo-51, or an
# input file and --preset).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
hvfx_require_packages "${HVFX_BUILD_PACKAGES[@]}"
build=build-release
out=out/demo
cmake --preset release > /dev/null
cmake --build --preset release > /dev/null
mkdir -p "$out"
"$build"/tools/hvtralo-render -o "$out/rendered.wav" --save-input "$out/demo.wav" \
  --report-json "$out/report.json" --save-preset "$out/settings.json" "$@"
echo
echo "== plots (measured through the library with these settings) in $out/:"
HVTRALOFX_BUILD_DIR="$build" tools/hvtralo-plot all --preset "$out/settings.json" \
  --report "$out/report.json" --out-dir "$out"
echo "== audio: $out/demo.wav (input), $out/rendered.wav (output)"
