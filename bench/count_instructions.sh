#!/usr/bin/env bash
# Instructions per frame of each stage and of the whole chain, x86-64 under
# valgrind's callgrind and arm64 under qemu-aarch64 (its translation and
# execution log: every executed translation block adds its instruction
# count), so the cost on the target is tracked without a device.
#
#   bench/count_instructions.sh NATIVE_CHAIN_COUNT [AARCH64_CHAIN_COUNT]
#
# The arguments are chain_count programs (bench/chain_count.cpp) of a
# native and of an aarch64 cross build. Each figure runs the driver twice,
# with 2 and with 6 blocks after the same set-up and warm-up, and divides
# the difference by the 2048 extra frames (for fir257: output samples).
# Prints one line per figure: arch, layout, what, instructions per frame.
set -euo pipefail
native=${1:?usage: $0 NATIVE_CHAIN_COUNT [AARCH64_CHAIN_COUNT]}
arm=${2:-}
low=2
high=6
frames=$(((high - low) * 512))
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# What is counted: layout and what, as chain_count takes them.
items=("stereo chain" "stereo leveller" "stereo equalizer" "stereo limiter"
       "5.1 chain" "5.1 soundbar" "5.1 lfe_bandpass" "5.1 lfe_leveller" "5.1 leveller" "5.1 equalizer"
       "5.1 limiter" "fir257 -")

count_x86() {  # program args... -> total instructions
  valgrind --tool=callgrind --callgrind-out-file="$work/cg.out" "$@" > /dev/null 2>&1 || true
  awk '/^(summary|totals):/ { print $2; exit }' "$work/cg.out"
}

count_arm() {  # program args... -> total instructions
  local root=/
  [ -e /lib/ld-linux-aarch64.so.1 ] || root=/usr/aarch64-linux-gnu
  qemu-aarch64 -L "$root" -d in_asm,exec,nochain -D "$work/qemu.log" "$@" > /dev/null 2>&1 || true
  # in_asm: "IN: symbol", then one line per guest instruction, first the
  # block's start address; exec: "Trace n: host [flags/pc/...]" per run.
  awk '
    function key(h) { sub(/^0x/, "", h); sub(/:$/, "", h); sub(/^0+/, "", h); return h }
    /^IN:/ { open = 1; start = ""; next }
    open && /^0x[0-9a-f]+:/ { if (start == "") { start = key($1); size[start] = 0 } size[start]++; next }
    open { open = 0 }
    /^Trace / { split($4, f, "/"); total += size[key(f[2])] }
    END { printf "%.0f\n", total }' "$work/qemu.log"
  rm -f "$work/qemu.log"
}

per_frame() {  # counter program layout what
  local counter=$1 program=$2 layout=$3 what=$4
  local a b
  a=$($counter "$program" "$layout" "$what" "$low")
  b=$($counter "$program" "$layout" "$what" "$high")
  awk -v a="$a" -v b="$b" -v f="$frames" 'BEGIN { printf "%.1f\n", (b - a) / f }'
}

for item in "${items[@]}"; do
  read -r layout what <<< "$item"
  printf 'x86-64\t%s\t%s\t%s\n' "$layout" "$what" "$(per_frame count_x86 "$native" "$layout" "$what")"
  if [ -n "$arm" ]; then
    printf 'arm64\t%s\t%s\t%s\n' "$layout" "$what" "$(per_frame count_arm "$arm" "$layout" "$what")"
  fi
done
