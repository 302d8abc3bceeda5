#!/bin/sh
# Faults that the tests must catch: each patch of tests/mutants is applied to a copy of the tree in build/mutants, what its
# first line names is built and run, and a table says which were caught.
# Usage: scripts/mutants.sh [PATCH]...   (default: all of them)
# Ends non-zero when one is missed, or no longer applies or builds.
set -u
cd "$(dirname "$0")/.."
copy=$PWD/build/mutants
mkdir -p "$copy"
[ $# -gt 0 ] || set -- tests/mutants/*.patch
git ls-files -co --exclude-standard | tar -cf - --ignore-failed-read -T - 2> "$copy/tar.log" | tar -xmf - -C "$copy"
export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR="$copy" CCACHE_NOHASHDIR=1
(cd "$copy" && cmake --preset release -DHUEVANCE_BUILD_BENCH=OFF) > "$copy/configure.log" 2>&1 || { cat "$copy/configure.log"; exit 2; }

# What a mutant that crashes leaves behind.
export TMPDIR="$copy/tmp"
rm -rf "$TMPDIR" && mkdir "$TMPDIR"

export HUEVANCE_SWEEP_SECONDS=60
# A mutant may wait for what never comes.
seconds=200
failed=
printf '| fault | test | |\n|---|---|---|\n'
for patch in "$@"; do
    # "# program filter": the test program, and its GoogleTest filter
    read -r _ program filter < "$patch"
    name=$(basename "$patch" .patch)
    result=caught
    if ! patch -s -p1 -d "$copy" < "$patch" ||
        ! cmake --build "$copy/build/release" --target "$program" > "$copy/$name.log" 2>&1; then
        result=BROKEN
    elif (cd "$copy/build/release" && POCL_EXTRA_BUILD_FLAGS=-cl-opt-disable POCL_WORK_GROUP_SPECIALIZATION=0 \
        POCL_WORK_GROUP_METHOD=cbs timeout "$seconds" "tests/$program" "--gtest_filter=$filter" > "$copy/$name.log" 2>&1); then
        result=MISSED
    fi
    patch -s -R -p1 -d "$copy" < "$patch"
    [ "$result" = caught ] || failed=yes
    printf '| %s | `%s` | %s |\n' "$(echo "$name" | tr _ ' ')" "$program $filter" "$result"
done
[ -z "$failed" ]
