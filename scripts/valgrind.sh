#!/bin/sh
# A few lives of a handle of every back end under Valgrind's memcheck: memory that was not written, was freed, or is lost.
# Drivers take minutes there.
# Usage: scripts/valgrind.sh [BUILD_DIRECTORY [BACK_END...]]   (default: build/release, all; its tests must be built)
set -eu
cd "$(dirname "$0")/.."
command -v valgrind >/dev/null || { echo "no valgrind: scripts/setup.sh test" >&2; exit 77; }
program=$(realpath "${1:-build/release}")/tests/faults_soak_test
[ $# -eq 0 ] || shift
[ $# -gt 0 ] || set -- CpuPhoto8 CpuPhoto10 CpuPreview8 CpuPreview12 NeonPhoto8 NeonPhoto10 OglPhoto OglPreview GpuPreview
log=$(mktemp)
trap 'rm -f "$log"' EXIT

# Two lives, the drivers' kernels compiled quickly. Drivers keep what they like: only the others' lost blocks are errors.
export HUEVANCE_SOAK=2 POCL_EXTRA_BUILD_FLAGS=-cl-opt-disable POCL_WORK_GROUP_SPECIALIZATION=0 POCL_WORK_GROUP_METHOD=cbs
failed=
for backEnd in "$@"; do
    case $backEnd in
        Cpu* | Neon*) leaks=--errors-for-leak-kinds=definite ;;
        *) leaks=--errors-for-leak-kinds=none ;;
    esac
    if valgrind -q --error-exitcode=9 --leak-check=full "$leaks" --suppressions=tests/support/valgrind.supp \
        "$program" --gtest_filter="*HandlesComeAndGo/$backEnd" >"$log" 2>&1; then
        echo "$backEnd: clean"
    else
        cat "$log" >&2
        echo "$backEnd: FAILED" >&2
        failed=yes
    fi
done
[ -z "$failed" ]
