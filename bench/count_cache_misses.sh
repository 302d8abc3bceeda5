#!/usr/bin/env bash
# Counts the second-level cache misses of a NEON capture of 8 bits per 2 x 2 block, for a picture and for noise, in cachegrind's
# model of a processor with 64 KiB of first-level and 512 KiB of second-level cache. All stages, skin mask; needs valgrind.
#
#   bench/count_cache_misses.sh [WIDTHxHEIGHT]
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
size=${1:-1920x1080}
blocks=$((${size%x*} * ${size#*x} / 4))
cmake --build "$root/build/release" --target count_driver >&2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# misses CAPTURES [noise]: data reads and writes that the second level does not hold.
misses() {
    valgrind --tool=cachegrind --cache-sim=yes --I1=65536,4,64 --D1=65536,4,64 --LL=524288,8,64 \
        --cachegrind-out-file="$work/out" "$root/build/release/bench/count_driver" capture neon 8 "$size" "$@" >/dev/null 2>&1
    awk '/^events:/ { for (i = 2; i <= NF; ++i) column[$i] = i }
         /^summary:/ { print $column["DLmr"] + $column["DLmw"] }' "$work/out"
}

for content in picture noise; do
    more=()
    [[ $content == noise ]] && more=(noise)
    once=$(misses 1 "${more[@]}")
    twice=$(misses 2 "${more[@]}")
    awk -v c="$content" -v n=$((twice - once)) -v b="$blocks" 'BEGIN { printf "%-8s %.2f\n", c, n / b }'
done
