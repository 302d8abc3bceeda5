#!/bin/sh
# Measures `huevance batch` over a hundred JPEGs of 12 megapixels, two at a time, page and measures included.
#
#   scripts/measure_batch.sh build/release/huevance [PICTURE...]
#
# PICTUREs are brought to 12 megapixels and repeated; without any the samples are used, which, enlarged, are easier than
# photographs of that size. Needs GNU time.
set -eu
huevance=$(realpath "$1")
shift
[ $# -gt 0 ] || set -- "$(dirname "$0")"/../samples/*.jpg
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/in"
number=0
for picture in "$@"; do
  number=$((number + 1))
  "$huevance" convert "$picture" "$work/in/$number.jpg" --megapixels 12
done
next=$number
while [ "$next" -lt 100 ]; do
  next=$((next + 1))
  cp "$work/in/$(((next - 1) % number + 1)).jpg" "$work/in/$next.jpg"
done
"$huevance" tuning new "$work/tuning" --photo NEON
/usr/bin/time -f '%e s, processor %U s + %S s, at most %M KiB' \
  "$huevance" batch "$work/in" --tuning "$work/tuning" --scene food --output "$work/out" -j 2 --html "$work/out/page.html"
