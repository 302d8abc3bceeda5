#!/bin/sh
# Runs every kernel, and previews of every combination of stages in oclgrind, an OpenCL interpreter
# that sees what a device does not: accesses outside of buffers, data races, values that nobody wrote. Fails when it has
# anything to report.
# Usage: scripts/oclgrind.sh [BUILD_DIRECTORY]   (default: build/release; its tests must be built)
set -eu
cd "$(dirname "$0")/.."
tests=$(realpath "${1:-build/release}")/tests
driver=/usr/lib/oclgrind/liboclgrind-rt-icd.so
[ -r $driver ] || { echo "no oclgrind: scripts/setup.sh test" >&2; exit 77; }  # skipped
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
echo $driver >"$work/oclgrind.icd"

# Kernels are not optimised: the search for unwritten values does not know every instruction that optimisers make.
export OCL_ICD_VENDORS="$work/" OCLGRIND_CHECK_API=1 OCLGRIND_DATA_RACES=1 \
    OCLGRIND_BUILD_OPTIONS=-cl-opt-disable HUEVANCE_TINY_FRAMES=1

run() { # what, program, further arguments
    what=$1
    failed=
    program=$tests/$2
    shift 2
    # Reports go to standard error: a log file would be written anew with every context.
    "$program" "$@" >"$work/out" 2>"$work/errors" || failed=yes
    grep -v ' [IE] Huevance' "$work/errors" >"$work/log" || true
    [ -z "$failed" ] || { cat "$work/out" "$work/log" >&2; echo "$what: FAILED" >&2; exit 1; }
    # Tests that were skipped prove nothing.
    grep -q '^\[  PASSED  \] [1-9]' "$work/out" && ! grep -q '^\[  SKIPPED' "$work/out" ||
        { echo "$what: no device" >&2; exit 1; }
    [ ! -s "$work/log" ] || { head -n 60 "$work/log" >&2; echo "$what: oclgrind has reports" >&2; exit 1; }
    echo "$what: clean"
}

run "accesses and races of kernels" kernel_gpu_test
run "accesses and races of previews" frame_pipeline_gpu_test --gtest_filter='*.EveryCombination*'
# What comes from images and from memory of the host counts as unwritten there, whatever was written: without the kernel
# that reads an image, and on buffers of the device.
export OCLGRIND_UNINITIALIZED=1
run "unwritten values" kernel_gpu_test --gtest_filter='-*.ClaheMaps:*.FramesAreHalvedAndDoubled'
