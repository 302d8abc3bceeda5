#!/bin/sh
# Installs the Debian packages that are missing, without asking. Quick, and without the network, when all are there.
# Usage: scripts/setup.sh [build|test|bench|drivers]...   (default: all groups)
set -eu

# What a configured and built release preset needs; tests are built from the distribution's GoogleTest source.
build="cmake ninja-build g++ pkg-config googletest libsimde-dev
  opencl-headers libegl-dev libgles-dev
  libcli11-dev libturbojpeg0-dev libpng-dev libyuv-dev nlohmann-json3-dev libexiv2-dev liblcms2-dev scdoc
  libopencolorio-dev libeigen3-dev libcpp-httplib-dev"
# Further compilers, the fuzzers' runtime, AArch64 under an emulator, interpreters of OpenCL kernels and of programs, a second
# compiler of shaders, what compiles for Android and looks at the result, and a browser.
test="ccache clang libclang-rt-14-dev g++-aarch64-linux-gnu qemu-user oclgrind valgrind glslang-tools libc++-14-dev android-liblog-dev
  abigail-tools dpkg-dev python3 python3-skimage python3-pil chromium chromium-driver python3-selenium"
# What the benchmarks measure against, and with.
bench="libbenchmark-dev libopencv-core-dev libopencv-imgproc-dev libavfilter-dev"

# A processor that acts as a graphics card.
drivers="pocl-opencl-icd ocl-icd-libopencl1 libegl1 libgles2 libegl-mesa0 libgl1-mesa-dri"

packages=
for group in ${@:-build test bench drivers}; do
    case $group in
        build) packages="$packages $build" ;;
        test) packages="$packages $test" ;;
        bench) packages="$packages $bench" ;;
        drivers) packages="$packages $drivers" ;;
        *) echo "usage: $0 [build|test|bench|drivers]..." >&2; exit 2 ;;
    esac
done

missing=
for package in $packages; do
    case $(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null || true) in
        ii*) ;;
        *) missing="$missing $package" ;;
    esac
done
[ -n "$missing" ] || exit 0

sudo=
[ "$(id -u)" = 0 ] || sudo=sudo
echo "installing:$missing" >&2
$sudo apt-get update -qq >&2
# shellcheck disable=SC2086  # one word for each package
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >&2
