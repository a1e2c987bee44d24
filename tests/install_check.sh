#!/usr/bin/env bash
# Installs the build into a scratch prefix and checks what a host sees:
# the umbrella header alone compiles for C and C++ programs linked with
# -lhvtralofx, the CMake package and the pkg-config file work, and the shared
# library exports the interfaces and none of the internal helpers.
set -euo pipefail
build_dir=$1
source_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build_dir" --prefix "$prefix" > /dev/null
libdir=$prefix/lib
[ -d "$libdir" ] || libdir=$(dirname "$(find "$prefix" -name 'libhvtralofx.so' | head -1)")

# Plain compiler invocations: only the include root and -lhvtralofx.
c++ -std=c++20 "$source_dir/tests/consumer/consumer.cpp" -I"$prefix/include" -L"$libdir" -lhvtralofx \
    -Wl,-rpath,"$libdir" -o "$work/consumer_cpp"
"$work/consumer_cpp"
cc -std=c11 "$source_dir/tests/c_interface_check.c" -I"$prefix/include" -L"$libdir" -lhvtralofx \
    -Wl,-rpath,"$libdir" -o "$work/consumer_c"
"$work/consumer_c"

# pkg-config
PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --exists hvtralofx
flags=$(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags --libs hvtralofx)
c++ -std=c++20 "$source_dir/tests/consumer/consumer.cpp" $flags -Wl,-rpath,"$libdir" -o "$work/consumer_pc"
"$work/consumer_pc"

# find_package(hvtralofx)
cmake -S "$source_dir/tests/consumer" -B "$work/cmake-consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
cmake --build "$work/cmake-consumer" > /dev/null
"$work/cmake-consumer/consumer"

# The shared library's dynamic symbol table: interfaces in, internals out.
so=$(readlink -f "$libdir/libhvtralofx.so")
soname=$(objdump -p "$so" | awk '/SONAME/ {print $2}')
# One version everywhere: the header's macro, pkg-config, the SONAME.
version=$(sed -n 's/^#define HVTRALOFX_VERSION_STRING "\(.*\)"$/\1/p' "$prefix/include/hvtralofx/Version.h")
pc_version=$(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --modversion hvtralofx)
[ "$pc_version" = "$version" ] || { echo "pkg-config version '$pc_version', header '$version'"; exit 1; }
[ "$soname" = "libhvtralofx.so.${version%%.*}" ] || { echo "SONAME '$soname', version '$version'"; exit 1; }
exported=$(nm -D --defined-only "$so" | awk '{print $3}')
# Every function the installed interface headers declare, and the default
# record.
interface=$(grep -ohE '\b(HVTralo|HVSFX)_[A-Za-z_]+\(' "$prefix"/include/hvtralofx/HV*.h "$prefix"/include/hvtralofx/Version.h | tr -d '(' | sort -u)
[ "$(wc -l <<< "$interface")" -ge 60 ] || { echo "interface list too short"; exit 1; }
for symbol in $interface HVSFX_Param_Default; do
  grep -qx "$symbol" <<< "$exported" || { echo "missing export: $symbol"; exit 1; }
done
leaked=$(grep -E 'AccTo24bShift|AccTo32bShift|Norm_S24|Log2_S24|Amp2dB|Pwr2dB|dB2Gain|GetSqrt_S56|_Table_Data|CosTable|ProcessModule|RelaseAll|ptr_|s_sampleCount|fxp' <<< "$(c++filt <<< "$exported")" || true)
if [ -n "$leaked" ]; then
  echo "internal symbols exported:"; echo "$leaked"; exit 1
fi
echo "installed interface ok: $(wc -l <<< "$exported") exported symbols"
