#!/bin/sh
# Runs every back end on a device and compares what it makes with this machine's CPU back end: one table, and a plain
# sentence for each thing that does not work.
# Usage: scripts/device.sh [-t TUNING] [SERIAL]
#   -t TUNING  runs this tuning directory as it stands, too, in rows of its own
#   SERIAL     of the device, where adb knows several
# Environment: ADB (adb), HUEVANCE_DEVICE_BUILD (build/android-arm64: the folder of libHuevance.so and huevance_probe),
#   HUEVANCE_DEVICE_SIZE (1280x720), HUEVANCE_PROBE_OPTIONS (for huevance_probe), HUEVANCE_TOOL (build/release/huevance).
# Exit codes: 0 all as it should be, 1 a result differs too much, 2 usage, 3 a file, 4 the library refused frames,
#   5 no device, or a back end is not available on it.
set -eu

usage() {
    sed -n '2,9s/^# \{0,1\}//p' "$0"
    exit "$1"
}

mine=
while getopts t:h option; do
    case $option in
        t) mine=$OPTARG ;;
        h) usage 0 ;;
        *) usage 2 >&2 ;;
    esac
done
shift $((OPTIND - 1))
[ $# -le 1 ] || usage 2 >&2
serial=${1:-}

root=$(cd "$(dirname "$0")/.." && pwd)
adb=${ADB:-adb}
build=${HUEVANCE_DEVICE_BUILD:-$root/build/android-arm64}
size=${HUEVANCE_DEVICE_SIZE:-1280x720}
huevance=${HUEVANCE_TOOL:-$root/build/release/huevance}
remote=/data/local/tmp/huevance
frames_of_a_stream=8
# The largest difference that is in order. GPU: docs/backends.md#gpu-opencl; OGL: luma, docs/backends.md#on-a-device.
gpu_tolerance=2
ogl_tolerance=2

fail() { # exit code, sentence
    echo "device.sh: $2" >&2
    exit "$1"
}

on_device() {
    "$adb" ${serial:+-s "$serial"} "$@" </dev/null
}

# --- Before anything is copied -------------------------------------------------------------------------------------

check_device() {
    command -v "$adb" >/dev/null || fail 5 "there is no $adb: install adb (Debian: adb), or name it with ADB=PROGRAM"
    state=$(on_device get-state 2>&1) || true
    case $state in
        device) ;;
        *unauthorized*) fail 5 "the device does not trust this computer yet: unlock it and allow debugging" ;;
        *"more than one"*) fail 5 "there are several devices: name one of 'adb devices' as SERIAL" ;;
        *"not found"* | *"no devices"*) fail 5 "there is no device${serial:+ $serial}: is it connected, and debugging on?" ;;
        *) fail 5 "the device is not ready: $(echo "$state" | tail -n 1)" ;;
    esac
    abi=$(on_device shell getprop ro.product.cpu.abi | tr -d '\r')
    [ "$abi" = arm64-v8a ] || fail 5 "the device is $abi; the library is for arm64-v8a"
}

check_files() {
    for file in libHuevance.so huevance_probe; do
        [ -r "$build/$file" ] || fail 3 "there is no $build/$file: build the preset android-arm64 (README.md), or name the \
folder with HUEVANCE_DEVICE_BUILD"
    done
    [ -z "$mine" ] || [ -r "$mine/platformSet.ini" ] || fail 3 "$mine is no tuning directory: it has no platformSet.ini"
    [ -x "$huevance" ] || build_tool
}

build_tool() {
    echo "building $huevance" >&2
    (cd "$root" && cmake --preset release && cmake --build build/release --target Huevance huevance_tool) >"$work/build" 2>&1 ||
        fail 3 "the workbench cannot be built: $(tail -n 1 "$work/build") ('cmake --preset release' shows more)"
}

# --- Frames and tunings --------------------------------------------------------------------------------------------

make_frames() {
    "$huevance" convert "$root/samples/portrait.jpg" "$work/photo" --to raw --format nv21 --resize "$size"
    : >"$work/frame"
    for _ in $(seq $frames_of_a_stream); do
        cat "$work/photo" >>"$work/frame"
    done
}

set_keys() { # tuning, KEY=VALUE...
    tuning=$1
    shift
    for pair in "$@"; do
        sed -i "s/^${pair%%=*}=[^[:cntrl:]]*/$pair/" "$tuning"/photoSet.ini "$tuning"/frameSet.ini "$tuning"/param*.ini
    done
}

# The starter tuning, with all the stages whose results can be compared.
make_tuning() { # back end
    [ -d "$work/starter" ] || "$huevance" tuning new "$work/starter" 2>/dev/null
    cp -R "$work/starter" "$work/tuning_$1"
    case $1 in
        CPU | NEON) set_keys "$work/tuning_$1" cCorrSwitch=1 pProtectSwitch=1 maskSource=2 ;;
        GPU) set_keys "$work/tuning_$1" cCorrSwitch=0 pProtectSwitch=0 ;;
        OGL) set_keys "$work/tuning_$1" claheSwitch=0 colorSwitch=0 cCorrSwitch=0 pProtectSwitch=0 maskSource=0 satStrength=1 ;;
    esac
    printf '[platform]\r\nphoto=%s\r\nframe=%s\r\n[cache]\r\npath=%s\r\n' "$1" "$1" $remote/cache \
        >"$work/tuning_$1/platformSet.ini"
}

push() { # file or folder, name on the device
    on_device push "$1" "$remote/$2" >"$work/push" 2>&1 || fail 5 "the device does not take $2: $(tail -n 1 "$work/push")"
}

prepare() {
    on_device shell "rm -rf $remote && mkdir -p $remote/cache" || fail 5 "the device has no $remote that can be written"
    make_frames
    push "$build/libHuevance.so" libHuevance.so
    push "$build/huevance_probe" huevance_probe
    on_device shell "chmod 755 $remote/huevance_probe"
    push "$work/photo" photo
    push "$work/frame" frame
    for backend in CPU NEON GPU OGL; do
        make_tuning $backend
        push "$work/tuning_$backend" tuning_$backend
    done
    if [ -n "$mine" ]; then
        cp -R "$mine" "$work/tuning_mine"
        push "$work/tuning_mine" tuning_mine
    fi
}

# --- One row -------------------------------------------------------------------------------------------------------

value() { # key: of the probe's report
    sed -n "s/^$1 //p" "$work/report" | tail -n 1
}

run_probe() { # tuning, mode
    on_device shell "cd $remote && rm -f out && ./huevance_probe ${HUEVANCE_PROBE_OPTIONS:-} $remote/libHuevance.so \
$remote/$1 $2 $size nv21 $2 out >report 2>log; echo exit \$? >>report" || true
    rm -f "$work/report" "$work/log" "$work/out"
    for file in report log; do
        on_device pull $remote/$file "$work/$file" >/dev/null 2>&1 || : >"$work/$file"
    done
    pid=$(value pid)
    [ -z "$pid" ] || on_device logcat -d --pid="$pid" >>"$work/log" 2>/dev/null || true
}

# Largest difference of the planes, "y u v", from this machine's CPU back end; or why there is none, and 1.
differences() { # tuning, mode
    rm -f "$work/expected"
    if ! { on_device pull $remote/out "$work/out" >"$work/said" 2>&1 &&
        "$huevance" run "$work/$2" "$work/expected" --tuning "$work/$1" --backend CPU --mode "$2" --size "$size" \
            --format nv21 --to raw >"$work/said" 2>&1 &&
        { "$huevance" compare "$work/out" "$work/expected" --size "$size" --format nv21 --json >"$work/compared" 2>"$work/said" ||
            [ $? = 1 ]; }; }; then
        tail -n 1 "$work/said"
        return 1
    fi
    awk '/"[yuv]": \{/ { plane = substr($1, 2, 1) }
        /"maximum":/ { sub(",", "", $2); most[plane] = $2 }
        END { print most["y"], most["u"], most["v"] }' "$work/compared"
}

say() { # exit code, sentence
    echo "$2" >>"$work/sentences"
    [ "$1" -le "$worst_code" ] || worst_code=$1
}

in_log() { # extended regular expression
    grep -Eq "$1" "$work/log"
}

# One sentence with the likely cause of a row that failed.
diagnose() { # name, back end
    code=5
    if in_log 'OpenCL driver cannot be loaded|OpenCL init error'; then
        cause="there is no libOpenCL.so in the linker's namespace of the process; the linker says: $(
            sed -n 's/.*OpenCL driver cannot be loaded from //p' "$work/log" | tail -n 1)"
    elif in_log 'OpenCLSymbol\.cpp, [0-9]'; then
        cause="the OpenCL driver lacks an entry point that the library needs"
    elif [ "$2" = OGL ] && value 'driver OpenGL ES:' | grep -q 'GL_EXT_YUV_target no'; then
        cause="no YUV target: the OpenGL ES driver lacks GL_EXT_YUV_target"
    elif in_log 'm_hvcHandle'; then
        cause="platformSet.ini names \"$2\", which is no back end of this mode"
    elif in_log 'Lut read failed!|read[A-Za-z]*Lut failed|LutMalloc failed'; then
        code=4
        cause="a table of the tuning is missing: $(grep -Eo '[A-Za-z0-9/._]*(Curve|Color|curve|color)Lut[0-9]* read failed!' "$work/log" |
            head -n 1)"
    else
        [ "$(value exit)" != 4 ] || code=4
        cause="exit $(value exit), set-up $(value setup), process $(value process); the first error in the log is: $(
            grep -E '(^| )E[/ ]' "$work/log" | head -n 1)"
    fi
    say $code "$1: $cause."
}

# What a row that succeeded has to say all the same.
warn() { # name
    ! in_log 'saveProgramsToBinary open .* is failed' ||
        say 5 "$1: the cache directory is not there or not writable, and kernels are compiled at each start: $(
            grep -Eo 'open .* is failed' "$work/log" | tail -n 1)."
}

driver_of() { # back end
    case $1 in
        GPU) value 'driver OpenCL:' ;;
        OGL) value 'driver OpenGL ES:' ;;
        *) echo - ;;
    esac | sed 's/^[^;]*; //; s/; GL_EXT_YUV_target [a-z]*//'
}

# Judges the difference, unless the tuning is the user's own: there CPU and NEON must be exact, too, others are just shown.
judge() { # name, back end, whose, luma, largest
    limit=0
    found=$5
    case $2 in
        GPU) limit=$gpu_tolerance ;;
        OGL) limit=$ogl_tolerance found=$4 ;;
    esac
    case $3$2 in
        mineGPU | mineOGL) ;;
        *) [ "$found" -le $limit ] ||
            say 1 "$1: differs by $found levels from this machine's CPU back end; at most $limit are in order." ;;
    esac
    [ "$2" = OGL ] && echo "luma $4" || echo "$5"
}

run_row() { # back end, mode, tuning, whose
    name="$1 $2"
    [ "$4" = own ] || name="yours: $1 $2"
    echo "$name" >&2
    run_probe "$3" "$2"
    message=$(value load_error)
    [ -z "$message" ] || fail 3 "the library does not load: $message. Everything that it names must be in the linker's namespace, and \
built for this device"
    largest=-
    if [ "$(value exit)" != 0 ]; then
        # What the check of the user's tuning knows is the cause, and has been said.
        [ "$4$checked_errors" = mineyes ] || diagnose "$name" "$1"
    elif planes=$(differences "$3" "$2"); then
        # shellcheck disable=SC2086  # three numbers
        set -- "$1" "$2" "$3" "$4" $planes
        most=$(printf '%s\n' "$5" "$6" "$7" | sort -n | tail -n 1)
        judge "$name" "$1" "$4" "$5" "$most" >"$work/judged"
        largest=$(cat "$work/judged")
    else
        say 3 "$name: the result cannot be compared: $planes"
    fi
    warn "$name"
    label=$1
    [ "$4" = own ] || label="$1 (yours)"
    driver=$(driver_of "$1")
    printf '%-13s  %-5s  %9s  %9s  %-10s  %s\n' "$label" "$2" "$(value median_ms)" "$(value worst_ms)" "$largest" \
        "${driver:--}" >>"$work/rows"
}

# The user's own tuning: what its check knows first, then one row for each mode.
run_mine() {
    "$huevance" tuning check "$mine" >"$work/checked" 2>&1 || true
    grep ': error HV' "$work/checked" >"$work/errors" || true
    while read -r line; do
        checked_errors=yes
        say 4 "yours: $line"
    done <"$work/errors"
    for mode in photo frame; do
        backend=$(tr -d '\r' <"$mine/platformSet.ini" | sed -n "s/^$mode=//p" | head -n 1)
        run_row "$backend" $mode tuning_mine mine
    done
}

# shellcheck disable=SC2317  # called by the trap
clean() {
    rm -rf "$work"
    [ -z "$touched" ] || on_device shell "rm -rf $remote" >/dev/null 2>&1 || true
}

work=$(mktemp -d)
touched=
checked_errors=
worst_code=0
trap clean EXIT
trap 'exit 130' INT TERM HUP
check_device
check_files
touched=yes
prepare
: >"$work/rows"
: >"$work/sentences"
for row in CPU/photo CPU/frame NEON/photo GPU/frame OGL/photo OGL/frame; do
    run_row ${row%/*} ${row#*/} tuning_${row%/*} own
done
[ -z "$mine" ] || run_mine

printf '%-13s  %-5s  %9s  %9s  %-10s  %s\n' "back end" mode "ms median" "ms worst" difference driver
cat "$work/rows"
cat "$work/sentences"
exit "$worst_code"
