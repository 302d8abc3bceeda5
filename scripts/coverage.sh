#!/bin/sh
# Lines and branches of the library that its tests execute, for each folder. (Not those of kernels and shaders, which drivers
# compile, and not of the strict phone's runs. Exports.* and abi_test look at the
# library's file, which has more in it here.)
# Usage: scripts/coverage.sh [FILE]     also writes the lines that nothing executes to FILE
set -eu
cd "$(dirname "$0")/.."
mkdir -p build
cmake -G Ninja -B build/coverage -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="-O1 --coverage -fprofile-update=atomic" \
    -DHUEVANCE_BUILD_TOOLS=OFF -DHUEVANCE_BUILD_BENCH=OFF > build/coverage.log
cmake --build build/coverage -j "$(nproc)" >> build/coverage.log
find build/coverage -name '*.gcda' -delete
GTEST_FILTER='-Exports.*' ctest --test-dir build/coverage -j "$(nproc)" -E '^(strict_.*|oclgrind|abi_test)$' >> build/coverage.log ||
    echo "some tests fail: build/coverage.log" >&2
find build/coverage/CMakeFiles/huevance_objects.dir -name '*.gcda' | xargs gcov --json-format --stdout --branch-probabilities |
    python3 -c '
import collections, json, os, sys
hits = collections.defaultdict(int)  # of ("folder", "file:line", number of the branch or None)
for each in map(json.loads, sys.stdin):
    for file in each["files"]:
        name = os.path.relpath(file["file"])
        for line in file["lines"] if not name.startswith("..") else []:
            place = name.split("/")[0], "%s:%d" % (name, line["line_number"])
            hits[place + (None,)] += line["count"]
            for i, branch in enumerate(b for b in line["branches"] if not b["throw"]):
                hits[place + (i,)] += branch["count"]
for folder in sorted({key[0] for key in hits}):
    for what in "lines", "branches":
        counts = [n for key, n in hits.items() if key[0] == folder and (key[2] is None) == (what == "lines")]
        print("%-8s %-8s %6d of %6d  %5.1f %%" % (folder, what, sum(map(bool, counts)), len(counts), 100 * sum(map(bool, counts)) / max(len(counts), 1)))
if len(sys.argv) > 1:
    open(sys.argv[1], "w").writelines(sorted(key[1] + "\n" for key, n in hits.items() if key[2] is None and n == 0))
' "$@"
