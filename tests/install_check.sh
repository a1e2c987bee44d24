#!/usr/bin/env bash
# Installs the build into a scratch prefix and checks what a host sees:
# every installed header compiles alone (C++20; the flat interfaces also as
# C11) and declares only what the shared library exports; C and C++ hosts
# link through plain -lhvtralofx, pkg-config (shared, and --static against
# the static library alone) and the CMake package; one version everywhere.
set -euo pipefail
build_dir=$1
source_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build_dir" --prefix "$prefix" > /dev/null
libdir=$prefix/lib
[ -d "$libdir" ] || libdir=$(dirname "$(find "$prefix" -name 'libhvtralofx.so' | head -1)")
inc=$prefix/include/hvtralofx
c_host=$source_dir/tests/c_interface_check.c
cxx_host=$source_dir/tests/consumer/consumer.cpp
pc() { PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config "$@" hvtralofx; }
run() { "$@" > /dev/null || { echo "failed: $*"; exit 1; }; }

# Each header alone, warnings as errors.
for header in "$inc"/*.h; do
  echo "#include <hvtralofx/$(basename "$header")>" > "$work/one.cpp"
  c++ -std=c++20 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$prefix/include" "$work/one.cpp" ||
    { echo "$(basename "$header") does not compile alone as C++20"; exit 1; }
done
for header in hvtralofx.h Export.h Version.h HVTralo_Front.h HVSFX_*.h; do
  for h in "$inc"/$header; do
    printf "#include <hvtralofx/%s>\ntypedef int translation_unit_not_empty;\n" "$(basename "$h")" > "$work/one.c"
    cc -std=c11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$prefix/include" "$work/one.c" ||
      { echo "$(basename "$h") does not compile alone as C11"; exit 1; }
  done
done
[ "$(ls "$inc" | wc -l)" -eq "$(ls "$source_dir/include/hvtralofx" | wc -l)" ] ||
  { echo "installed headers differ from include/hvtralofx/"; exit 1; }

# Hosts: plain flags, pkg-config, and pkg-config --static with the shared
# library out of reach.
flags=(-I"$prefix/include" -L"$libdir" -lhvtralofx -Wl,-rpath,"$libdir")
run c++ -std=c++20 "$cxx_host" "${flags[@]}" -o "$work/cxx_plain"
run cc -std=c11 "$c_host" "${flags[@]}" -o "$work/c_plain"
run c++ -std=c++20 "$cxx_host" $(pc --cflags --libs) -Wl,-rpath,"$libdir" -o "$work/cxx_pc"
run cc -std=c11 "$c_host" $(pc --cflags --libs) -Wl,-rpath,"$libdir" -o "$work/c_pc"
for host in cxx_plain c_plain cxx_pc c_pc; do run "$work/$host"; done
static_flags=$(pc --static --cflags --libs)
rm "$libdir"/libhvtralofx.so*
run cc -std=c11 "$c_host" $static_flags -o "$work/c_static"
run c++ -std=c++20 "$cxx_host" $static_flags -o "$work/cxx_static"
run "$work/c_static"
run "$work/cxx_static"
! objdump -p "$work/c_static" | grep -q 'NEEDED.*libhvtralofx' || { echo "c_static needs the shared library"; exit 1; }
cmake --install "$build_dir" --prefix "$prefix" > /dev/null

# find_package(hvtralofx): a C++ host on the shared library, a C host on the
# static one.
cmake -S "$source_dir/tests/consumer" -B "$work/cmake-consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
      -DHVFX_C_HOST="$c_host" > /dev/null
cmake --build "$work/cmake-consumer" > /dev/null
run "$work/cmake-consumer/consumer"
run "$work/cmake-consumer/c_consumer_static"

# The shared libraries' dynamic symbol tables (libhvtralofx_preset ships the
# preset functions): interfaces in, internals out.
so=$(readlink -f "$libdir/libhvtralofx.so")
soname=$(objdump -p "$so" | awk '/SONAME/ {print $2}')
# One version everywhere: the header's macro, pkg-config, the SONAME.
version=$(sed -n 's/^#define HVTRALOFX_VERSION_STRING "\(.*\)"$/\1/p' "$prefix/include/hvtralofx/Version.h")
pc_version=$(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --modversion hvtralofx)
[ "$pc_version" = "$version" ] || { echo "pkg-config version '$pc_version', header '$version'"; exit 1; }
[ "$soname" = "libhvtralofx.so.${version%%.*}" ] || { echo "SONAME '$soname', version '$version'"; exit 1; }
exported=$(nm -D --defined-only "$so" "$libdir/libhvtralofx_preset.so" | awk '{print $3}')
# Every function the installed interface headers declare, and the default
# record.
interface=$(grep -ohE '\b(HVTralo|HVSFX|HVFX)_[A-Za-z_]+\(' "$prefix"/include/hvtralofx/HV*.h "$prefix"/include/hvtralofx/Version.h | tr -d '(' | sort -u)
[ "$(wc -l <<< "$interface")" -ge 60 ] || { echo "interface list too short"; exit 1; }
# Nothing declared that a host could not link: every class is exported whole,
# every function at namespace scope carries HVFX_API.
unexported=$(grep -nE '^(class|struct) [A-Za-z_0-9]+ *(:|\{)|^[A-Za-z_][A-Za-z_0-9:<>*& ]+ [A-Za-z_][A-Za-z_0-9]*\(.*\);' \
             "$inc"/*.h | grep -v 'HVFX_API' || true)
[ -z "$unexported" ] || { echo "declared but not exported:"; echo "$unexported"; exit 1; }
for symbol in $interface HVSFX_Param_Default; do
  grep -qx "$symbol" <<< "$exported" || { echo "missing export: $symbol"; exit 1; }
done
leaked=$(grep -E 'AccTo24bShift|AccTo32bShift|Norm_S24|Log2_S24|Amp2dB|Pwr2dB|dB2Gain|GetSqrt_S56|_Table_Data|CosTable|ProcessModule|RelaseAll|ptr_|s_sampleCount|fxp' <<< "$(c++filt <<< "$exported")" || true)
if [ -n "$leaked" ]; then
  echo "internal symbols exported:"; echo "$leaked"; exit 1
fi
echo "installed interface ok: $(wc -l <<< "$exported") exported symbols"
