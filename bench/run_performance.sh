#!/usr/bin/env bash
# The performance figures of docs/performance.md in one run: builds the benchmarks
# (native Release, build-bench/) and the aarch64 instruction-count driver
# (build-bench-aarch64/), runs the Google Benchmark programs (median of 3
# repetitions), counts instructions per frame (bench/count_instructions.sh),
# measures the heap after HVTralo_Init(48000, 6) and the library's size, and
# prints the performance table with each goal beside its figure.
#
#   bench/run_performance.sh [--update-docs]
#
# --update-docs replaces the table between the performance markers of
# docs/performance.md. Installs the Debian packages it needs when they are missing.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
hvfx_require_packages "${HVFX_BUILD_PACKAGES[@]}" "${HVFX_TEST_PACKAGES[@]}" "${HVFX_BENCH_PACKAGES[@]}"

jobs=$(nproc)
out=build-bench/results
mkdir -p "$out"
echo "== builds" >&2
cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DHVFX_BUILD_BENCH=ON -DHVFX_BUILD_TESTS=OFF \
      -DHVFX_BUILD_TOOLS=OFF > /dev/null
cmake --build build-bench -j "$jobs" > /dev/null
cmake --no-warn-unused-cli -S . -B build-bench-aarch64 -G Ninja -DCMAKE_BUILD_TYPE=Release -DHVFX_BUILD_BENCH=ON \
      -DHVFX_BUILD_TESTS=OFF -DHVFX_BUILD_TOOLS=OFF -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake > /dev/null
cmake --build build-bench-aarch64 -j "$jobs" --target chain_count > /dev/null

run() {  # program filter
  build-bench/bench/"$1" --benchmark_filter="$2" --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
    --benchmark_format=json --benchmark_out="$out/$1.json" --benchmark_out_format=json > /dev/null 2>&1
}
echo "== benchmarks (load before: $(cut -d' ' -f1-3 /proc/loadavg))" >&2
run bench_chain '.'
run bench_equalizer 'BM_FloatBiquadCascade10|BM_EQProcess_8Bands2Shelves'
run bench_leveller 'BM_WebRtcAgcAdaptiveDigital|BM_LevellerFrame/channels:2'
run bench_fir_filtfilt 'FIR257/kernel32'
run bench_fft 'BM_RealFFT_Fix/1024|BM_Fftwf_R2C/1024|BM_KissFftr_Forward/1024'
load_after=$(cut -d' ' -f1-3 /proc/loadavg)
echo "== instruction counts" >&2
bench/count_instructions.sh build-bench/bench/chain_count build-bench-aarch64/bench/chain_count > "$out/counts.tsv"
build-bench/bench/chain_count 5.1 heap 0 2> /dev/null > "$out/heap.txt"
size -A build-bench/libhvtralofx.so.* | awk '$1 ~ /^\.(text|rodata|data|data\.rel\.ro|bss)$/ { print $1, $2 }' \
  | sort -u > "$out/size.txt"

/usr/bin/python3 bench/performance_table.py "$out" "$load_after" "$@"
