#!/bin/sh
# Sets up, builds and runs all the tests. Ends non-zero when anything fails, after running the other parts.
# Usage: scripts/test.sh [release|clang|asan|tsan|aarch64|android|fuzz]...   (default: all of them)
#   release  everything with g++, the benchmarks' dry run included
#   clang    the library's tests with clang++, which must give the same bytes
#   asan     address and undefined-behaviour sanitizers
#   tsan     thread sanitizer: a capture and a preview thread at once
#   aarch64  the library's tests for AArch64, under qemu-user
#   android  that the library compiles for a phone, with the flags of both Android builds
#   fuzz     a fixed number of random inputs for each fuzzer
set -eu
cd "$(dirname "$0")/.."
jobs=$(nproc)

[ $# -gt 0 ] || set -- release clang asan tsan aarch64 android fuzz
for part in "$@"; do
    case $part in
        release | clang | asan | tsan | aarch64 | android | fuzz) ;;
        *) echo "usage: $0 [release|clang|asan|tsan|aarch64|android|fuzz]..." >&2; exit 2 ;;
    esac
done

scripts/setup.sh

# Objects are compiled once, wherever a checkout lies: its own path does not count.
export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1

run_part() {
    case $1 in
        android) tests/android/compile_proof.py ;;
        *) cmake --preset "$1" && cmake --build --preset "$1" -j "$jobs" && ctest --preset "$1" -j "$jobs" ;;
    esac
}

# One line of timing a part, and what failed, at the end.
summary=
failed=
for part in "$@"; do
    echo "== $part =="
    begin=$(date +%s)
    if run_part "$part"; then
        result=passed
    else
        result=FAILED
        failed=yes
    fi
    summary="$summary$(printf '%-8s %s, %s s' "$part" "$result" $(($(date +%s) - begin)))
"
done
printf '== summary ==\n%s' "$summary"
[ -z "$failed" ]
