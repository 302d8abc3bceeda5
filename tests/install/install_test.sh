#!/bin/sh
# Installs a build, builds hosts outside of the tree against it in both ways, and makes, unpacks and uses the Debian package.
# Usage: install_test.sh BUILD_FOLDER
set -eu
build=$(realpath "$1")
source=$(realpath "$(dirname "$0")/../..")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
    echo "$*" >&2
    exit 1
}

# What the tool makes of a frame is what every host must make of it.
check_host() { # name, tool, command...
    name=$1 tool=$2
    shift 2
    [ -d tuning ] || "$tool" tuning new tuning
    [ -f before ] || "$tool" convert "$source/samples/portrait.jpg" before --to raw --resize 320x240
    [ -f expected ] || "$tool" run before expected --tuning tuning --size 320x240 --to raw
    cp before frame
    "$@" 2>/dev/null >&2 || fail "$name ends with $?"
    cmp -s frame expected || fail "$name gives another picture"
    ! cmp -s frame before || fail "the frame is as it was"
}

# --- cmake --install, into a place that is moved afterwards ---
cmake --install "$build" --prefix "$work/first" >installed.txt
mv first prefix
tool=$work/prefix/bin/huevance
lib=$(dirname "$(find "$work/prefix" -name huevance -path '*/lib*' -type d)")
for page in huevance.1 huevance-tuning.5; do
    head -n 3 "prefix/share/man/man${page##*.}/$page" | grep -q '^\.' || fail "$page is no manual page"
done
for file in README.md docs/integrating.md docs/hosts/capture.c; do
    [ -f "prefix/share/doc/huevance/$file" ] || fail "$file is not installed"
done
! grep -rlI "$build" prefix || fail "a file that names the build's folder is installed"

cmake -S "$source/tests/install/outside" -B outside -DCMAKE_PREFIX_PATH="$work/prefix" -DHOSTS="$source/docs/hosts" >log ||
    fail "$(cat log)"
cmake --build outside >log || fail "$(cat log)"
check_host "the host that loads" "$tool" outside/capture "$lib/huevance/libHuevance.so" . tuning 320 240 8 frame
check_host "the host that links" "$tool" outside/capture_c . tuning 320 240 frame

export PKG_CONFIG_PATH="$lib/pkgconfig"
# shellcheck disable=SC2046  # one word for each flag
cc -std=c11 $(pkg-config --cflags huevance) "$source/docs/hosts/capture.c" $(pkg-config --libs huevance) -o by_pkg_config
check_host "the host of pkg-config" "$tool" ./by_pkg_config . tuning 320 240 frame
[ -f "$(pkg-config --variable=plugin huevance)" ] || fail "pkg-config's plugin is no file"

# The completion knows what the program knows.
cat >complete.bash <<'EOF'
source "$1"
COMP_WORDS=("$2" run --back) COMP_CWORD=2
_huevance
echo "${COMPREPLY[*]}"
EOF
[ "$(bash complete.bash prefix/share/bash-completion/completions/huevance "$tool")" = --backend ] || fail "completion"
# And the manual page.
for word in $("$tool" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\).*/\1/p'); do
    grep -q "^\*$word[ *]" "$source/docs/man/huevance.1.scd" || fail "huevance.1 lacks $word"
done

# --- The Debian package ---
cpack --config "$build/CPackConfig.cmake" -B "$work/package" >log 2>&1 || fail "$(cat log)"
dpkg-deb -x package/*.deb root
dpkg-deb -f package/*.deb Depends | grep -q 'libc6.*libturbojpeg0\|libturbojpeg0.*libc6' || fail "the package's Depends"
! dpkg-deb -f package/*.deb Depends | grep -q 'libegl\|liblog' || fail "the simulated phone's libraries are no packages"
[ -z "$(find root ! -path 'root*/huevance*' -name '*.so*')" ] || fail "libraries outside of the package's own folder"
check_host "the package's program" "$work/root/usr/bin/huevance" \
    "$work/root/usr/bin/huevance" run before frame --tuning tuning --size 320x240 --to raw
echo "installed, packaged and used"
