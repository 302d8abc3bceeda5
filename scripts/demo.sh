#!/bin/sh
# Enhances a photograph on every back end there is, at its own size and at a camera's, and shows where the pictures are.
# Usage: scripts/demo.sh [PHOTO]   (JPEG or PNG; default: the project's sample)
set -eu
case ${1:-} in
    -h | --help) sed -n '2,3s/^# //p' "$0"; exit 0 ;;
esac
photo=$(realpath "${1:-$(dirname "$0")/../samples/portrait.jpg}")
cd "$(dirname "$0")/.."
[ -r "$photo" ] || { echo "cannot read $photo" >&2; exit 3; }

scripts/setup.sh build bench drivers
log=build/demo.log
mkdir -p build
{
    cmake --preset release && cmake --build --preset release -j "$(nproc)" --target Huevance huevance_tool
} >$log 2>&1 || { cat $log >&2; exit 1; }

huevance=build/release/huevance
out=out/demo
rm -rf "$out"
mkdir -p "$out"
$huevance tuning new "$out/tuning"
# OGL reads some values its own way.
$huevance tuning retarget "$out/tuning" "$out/tuning_ogl" --photo OGL --frame OGL
$huevance convert "$photo" "$out/before.png"
$huevance convert "$photo" "$out/before_12mp.jpg" --megapixels 12

# A value of a timing report.
value() { # key, file
    sed -n "s/.*\"$1\": \"\{0,1\}\([^\",]*\).*/\1/p" "$2"
}

# One row of the table: a picture through one back end in one mode, with its time and its pictures.
rows=$out/rows
run_one() { # back end, mode, before, name, kind of the pictures, times, note
    after=$out/$4.$5
    tuning=$out/tuning
    [ "$1" != OGL ] || tuning=$out/tuning_ogl
    $huevance run "$3" "$after" --tuning "$tuning" --backend "$1" --mode "$2" --scene vivid --frames "$6" \
        --report "$out/$4.json"
    # Different on purpose: 1 is the good answer here.
    $huevance compare "$3" "$after" --side-by-side "$out/$4_side_by_side.$5" >"$out/$4_differences.txt" || [ $? = 1 ]
    printf '%-8s  %-6s %-10s %9.2f  %s\n' "$1" "$2" "$(value size "$out/$4.json")" "$(value median "$out/$4.json")" \
        "$out/$4_side_by_side.$5${7:+   ($7)}" >>"$rows"
}

# "NAME photo frame note" for each back end, from the report of what runs here.
$huevance info --json >"$out/info.json"
sed -n 's/.*"\(name\|photo\|frame\|note\)": "\{0,1\}\([^",]*\)"\{0,1\},\{0,1\}$/\1 \2/p' "$out/info.json" |
    while read -r key text; do
        case $key in
            name) name=$text ;;
            photo | frame) eval "runs_$key=$text" ;;
            note)
                for mode in photo frame; do
                    eval "[ \"\$runs_$mode\" = true ]" || continue
                    echo "$name, $mode${text:+ ($text)}" >&2
                    run_one "$name" $mode "$photo" "after_${name}_$mode" png 40 "$text"  # the fade's end
                    run_one "$name" $mode "$out/before_12mp.jpg" "after_${name}_${mode}_12mp" jpg 3 "$text"
                done
                ;;
        esac
    done

echo
printf '%-8s  %-6s %-10s %9s  %s\n' "back end" mode size "ms/frame" "before and after"
cat "$rows"
rm -f "$rows"
echo
echo "The pictures before: $out/before.png and $out/before_12mp.jpg. The tuning: $out/tuning (see its README.txt); its look is \"vivid\"."
