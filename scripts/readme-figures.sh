#!/usr/bin/env bash
# Regenerates the figures the README shows: the example report (rendered
# demo programme with tools/presets/example-tv.json, pasted between the
# README's report markers) and docs/eq-response.png (the equalizer response of
# that preset, measured through the library). Run it after any change to the
# chain or its coefficient tables.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
hvfx_require_packages "${HVFX_BUILD_PACKAGES[@]}"
build=build-release
cmake --preset release > /dev/null
cmake --build --preset release > /dev/null
report=$("$build"/tools/hvtralo-render -q --preset tools/presets/example-tv.json \
         | sed -e 's/(\([0-9.]*\) s of audio in [^)]*)/(\1 s of audio)/')
HVTRALOFX_BUILD_DIR="$build" tools/hvtralo-plot eq --preset tools/presets/example-tv.json -o docs/eq-response.png
REPORT="$report" /usr/bin/python3 - <<'PY'
import os, re
text = open("README.md").read()
block = "<!-- example report -->\n```text\n" + os.environ["REPORT"] + "\n```\n<!-- /example report -->"
new, n = re.subn(r"<!-- example report -->.*?<!-- /example report -->", lambda m: block, text, flags=re.S)
if n != 1:
    raise SystemExit("README.md: the example report markers are missing")
open("README.md", "w").write(new)
PY
echo "README.md example report and docs/eq-response.png regenerated"
