#!/bin/sh
# Every fault of the sweeps in tests/faults, without the limit of time that scripts/test.sh sets.
# Usage: scripts/sweep.sh [release|asan]...   (default: release)
# Ends non-zero when anything fails; at the end a table: for each back end and kind of fault how many there are, how many
# were tried, refused a call, leaked, were complained about, and were recovered from.
set -eu
cd "$(dirname "$0")/.."

[ $# -gt 0 ] || set -- release
failed=
for preset in "$@"; do
    case $preset in
        release | asan) ;;
        *) echo "usage: $0 [release|asan]..." >&2; exit 2 ;;
    esac
    cmake --preset "$preset" > /dev/null
    cmake --build --preset "$preset" --target faults_sweep_test faults_misuse_test
    HUEVANCE_SWEEP_SECONDS=0 ctest --preset "$preset" -R '^faults_(sweep|misuse)_test$' --timeout 36000 --output-log "build/$preset/sweep.log" -V ||
        failed=yes
    echo "== $preset =="
    grep -ao 'SWEEP .*' "build/$preset/sweep.log"
done
[ -z "$failed" ]
