# Installs the Debian packages a step needs, only when they are missing.
# Usage (sourced): hvfx_require_packages pkg [pkg...]   (pkg may be name:arch)
hvfx_require_packages() {
  local missing=() pkg
  for pkg in "$@"; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed" || missing+=("$pkg")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  for pkg in "${missing[@]}"; do
    if [[ $pkg == *:arm64 ]] && ! dpkg --print-foreign-architectures | grep -qx arm64; then
      $sudo dpkg --add-architecture arm64
    fi
  done
  echo "== installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
}

# What building the library and its tools needs on the build machine.
HVFX_BUILD_PACKAGES=(cmake ninja-build g++ gcc pkg-config binutils android-liblog-dev libsndfile1-dev
                     libebur128-dev nlohmann-json3-dev python3 python3-numpy python3-matplotlib)
# What the tests and benchmarks add, natively and in the aarch64 cross build under qemu.
HVFX_TEST_PACKAGES=(libgtest-dev libgtest-dev:arm64 libbenchmark-dev libfftw3-dev g++-aarch64-linux-gnu qemu-user
                    android-liblog-dev:arm64 python3-pytest python3-scipy sox libsox-fmt-base espeak-ng
                    lv2-dev sordi lilv-utils)
# What the performance run adds: the yardsticks of the benchmarks and the
# instruction counters.
HVFX_BENCH_PACKAGES=(libkissfft-dev libwebrtc-audio-processing-dev valgrind)
# What the reliability steps add: clang with libFuzzer and the sanitizer
# runtimes (fuzzers, ThreadSanitizer, the clang build of the golden vectors),
# the symbolizer for their reports, and valgrind's memcheck.
HVFX_RELIABILITY_PACKAGES=(clang libclang-rt-14-dev llvm valgrind)
