#!/usr/bin/env bash
# Counts the AArch64 instructions of a frame, per pixel, for every pipeline of captures (all stages, skin mask) and previews
# (CLAHE, curves, colour table) on the host's processor: 1920 x 1080, the release build under qemu-user. The counts are
# exact and repeat from run to run.
#
#   bench/count_instructions.sh            builds the aarch64 preset's driver, prints the table
#   bench/count_instructions.sh --update   the same, and writes it to bench/instructions.txt
#   bench/count_instructions.sh --check [BUILD_DIR]
#       with what is built in BUILD_DIR: 0 when no pipeline needs over 3 % more than the committed table says and all
#       pipelines give the same bytes, 1 otherwise, 77 (skip) when the table is of another compiler
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
table=$root/bench/instructions.txt
mode=${1:-print}
build=${2:-$root/build/aarch64}
size=1920x1080
pixels=$((1920 * 1080))
qemu=(qemu-aarch64 -L /usr/aarch64-linux-gnu)

if [[ $mode != --check ]]; then
    [[ -f $build/CMakeCache.txt ]] || (cd "$root" && cmake --preset aarch64 >&2)
    cmake --build "$build" --target count_driver insn_count >&2
fi
driver=$build/bench/qemu_count/count_driver
plugin=$build/bench/qemu_count/libinsn_count.so
compiler=$(cat "$build/bench/qemu_count/compiler.txt")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# count MODE PIPELINE BITS FRAMES: leaves the instructions in $counted and the frame's hash in $hash.
count() {
    hash=$("${qemu[@]}" -plugin "$plugin,out=$work/count" "$driver" "$1" "$2" "$3" "$size" "$4")
    counted=$(cat "$work/count")
}

measure() {
    echo "# AArch64 instructions per pixel of one frame, $size. Captures: all stages, skin mask."
    echo "# Written by bench/count_instructions.sh --update."
    echo "compiler $compiler"
    local bits mode pipeline once
    local -A first
    for bits in 8 10; do
        while read -r mode pipeline; do
            count "$mode" "$pipeline" "$bits" 1
            once=$counted
            if [[ $hash != "${first[$mode $bits]:=$hash}" ]]; then
                echo "$mode, $pipeline, $bits bits: the output differs from the first pipeline's" >&2
                return 1
            fi
            count "$mode" "$pipeline" "$bits" 2
            awk -v m="$mode" -v p="$pipeline" -v b="$bits" -v n=$((counted - once)) -v px="$pixels" \
                'BEGIN { printf "%s %-5s %2d bits %8.2f\n", m, p, b, n / px }'
        done < <("${qemu[@]}" "$driver" --list)
    done
}

measure > "$work/table"
cat "$work/table"
case $mode in
print) ;;
--update) cp "$work/table" "$table" ;;
--check)
    [[ -f $table ]] || { echo "no committed table" >&2; exit 1; }
    if ! grep -qxF "compiler $compiler" "$table"; then
        echo "The committed table is of another compiler or build type ($(grep '^compiler' "$table")): not compared."
        exit 77
    fi
    awk '
        /^#|^compiler/ { next }
        { row = $1 " " $2 " " $3 }
        NR == FNR { allowed[row] = $5 * 1.03; next }
        !(row in allowed) { print row " bits: not in the committed table"; bad = 1; next }
        $5 > allowed[row] { print row " bits: over 3 % more than the committed table"; bad = 1 }
        { delete allowed[row] }
        END {
            for (row in allowed) { print row " bits: in the committed table, but not measured"; bad = 1 }
            exit bad
        }' "$table" "$work/table"
    ;;
*)
    echo "usage: bench/count_instructions.sh [--update | --check [BUILD_DIR]]" >&2
    exit 2
    ;;
esac
