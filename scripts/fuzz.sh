#!/usr/bin/env bash
# Builds the libFuzzer targets under fuzz/ (clang, ASan + UBSan: the
# "asan-ubsan" preset, which builds them beside the tests) and runs every one
# of them from its committed seed corpus. Any finding stops the script with
# the target's report; the reproducer is left in build-asan-ubsan/fuzz/.
#
#   scripts/fuzz.sh                 5 s per target (the short run of scripts/test.sh)
#   scripts/fuzz.sh 120             120 s per target
#   scripts/fuzz.sh --runs 10000000 ten million executions per target (the long run)
#   HVFX_FUZZ_TARGETS="fuzz_fft fuzz_fir" scripts/fuzz.sh ...   a subset
#   HVFX_FUZZ_WORKERS=2 scripts/fuzz.sh --runs 10000000         two processes per
#       target on one corpus, each with half the executions (or the whole time)
#
# The grown corpus stays in build-asan-ubsan/fuzz/corpus/<target>, so a later run
# continues where an earlier one stopped. Prints one line per target:
# executions, seconds, executions per second.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
hvfx_require_packages "${HVFX_BUILD_PACKAGES[@]}" "${HVFX_RELIABILITY_PACKAGES[@]}"

workers=${HVFX_FUZZ_WORKERS:-1}
limit=(-max_total_time="${1:-5}") run="${1:-5}s"
[ "${1:-}" = --runs ] && limit=(-runs="$(( $2 / workers ))") run="$2runs"

out=build-asan-ubsan/fuzz
cmake --preset asan-ubsan > /dev/null
cmake --build --preset asan-ubsan > /dev/null
targets=${HVFX_FUZZ_TARGETS:-$(cd $out && ls fuzz_* | grep -v '[.-]')}
for name in $targets; do
  work=$out/corpus/$name
  mkdir -p "$work"
  start=$(date +%s)
  pids=() logs=()
  for ((w = 1; w <= workers; ++w)); do
    # One log per run length (and worker), so a short run beside a long one
    # keeps its own.
    log=$out/$name-$run.log
    [ "$workers" -gt 1 ] && log=$out/$name-$run-$w.log
    # Standard output and error of the target are closed (the front's
    # initialisation log line); libFuzzer and the sanitizers keep theirs.
    nice $out/$name "$work" "fuzz/corpus/$name" "${limit[@]}" -max_len=512 -close_fd_mask=3 \
      -print_final_stats=1 -artifact_prefix=$out/"$name"- > "$log" 2>&1 &
    pids+=($!) logs+=("$log")
  done
  runs=0
  for ((w = 0; w < workers; ++w)); do
    if ! wait "${pids[$w]}"; then
      kill "${pids[@]}" 2> /dev/null || true
      tail -n 60 "${logs[$w]}"
      echo "== $name: FINDING (reproducer in $out/$name-*)"
      exit 1
    fi
    runs=$(( runs + $(sed -n 's/^stat::number_of_executed_units: *//p' "${logs[$w]}") ))
  done
  secs=$(( $(date +%s) - start ))
  printf '%-18s %10s executions %6s s %8s exec/s\n' "$name" "$runs" "$secs" "$(( runs / (secs > 0 ? secs : 1) ))"
done
