#!/usr/bin/env python3
"""scripts/device.sh on a stand-in for a device: the good run, and everything that it has a sentence for.
Usage: device_test.py BUILD_FOLDER [AARCH64_BUILD_FOLDER]
With an AArch64 build: the good run alone, whose CPU and NEON rows are that build's, under qemu. 77: there is no tool for it."""

import os
import re
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
BUILD = os.path.abspath(sys.argv[1])
AARCH64 = os.path.abspath(sys.argv[2]) if len(sys.argv) > 2 else ""
TOOL = os.path.join(BUILD, "huevance")

ROWS = ["CPU photo", "CPU frame", "NEON photo", "GPU frame", "OGL photo", "OGL frame"]
OGL = {"OGL photo", "OGL frame"}
EVERY = set(ROWS)


def line_feeds(tuning):
    path = os.path.join(tuning, "platformSet.ini")
    with open(path, "rb") as file:
        text = file.read()
    with open(path, "wb") as file:
        file.write(text.replace(b"\r", b""))


def rename_back_end(tuning):
    with open(os.path.join(tuning, "platformSet.ini"), "wb") as file:
        file.write(b"[platform]\r\nphoto=GPU\r\nframe=NEON\r\n[cache]\r\npath=/data/local/tmp/huevance/cache\r\n")


def no_table(tuning):
    os.remove(os.path.join(tuning, "curveLut1"))


# name, what is broken, change to a tuning for -t (None: without -t), environment, exit code, rows that fail, sentences.
CASES = [
    ("good", "", None, {}, 0, set(), []),
    ("own tuning", "", lambda tuning: None, {}, 0, set(), []),
    ("no adb", "", None, {"ADB": "/nowhere/adb"}, 5, EVERY, [r"there is no /nowhere/adb: install adb"]),
    ("no device", "offline", None, {}, 5, EVERY, [r"there is no device: is it connected"]),
    ("32 bits", "abi", None, {}, 5, EVERY, [r"the device is armeabi-v7a; the library is for arm64-v8a"]),
    ("no build", "", None, {"HUEVANCE_DEVICE_BUILD": "/nowhere"}, 3, EVERY, [r"there is no /nowhere/libHuevance\.so: build"]),
    ("does not load", "load", None, {}, 3, EVERY, [r"the library does not load: liblog\.so.*cannot open"]),
    ("no OpenCL", "opencl", None, {}, 5, {"GPU frame"},
     [r"^GPU frame: there is no libOpenCL\.so in the linker's namespace.*too short"]),
    ("no cache", "cache", None, {}, 5, set(), [r"^GPU frame: the cache directory is not there or not writable"]),
    ("no YUV target", "yuv", None, {}, 5, OGL, [r"^OGL photo: no YUV target", r"^OGL frame: no YUV target"]),
    ("other pictures", "wrong", None, {}, 1, set(), [rf"^{row}: differs by \d+ levels" for row in ROWS]),
    ("line feeds", "", line_feeds, {}, 4, set(), [r"^yours: platformSet\.ini:\d+: error HV204: lines do not end in carriage"]),
    ("missing table", "", no_table, {}, 4, set(), [r"^yours: curveLut1: error HV101: the file is missing"]),
    ("no such modes", "", rename_back_end, {}, 4, set(), [r"^yours: platformSet\.ini.*error HV304", r"HV304"]),
]


def run(work, broken, change, settings):
    for name in ["temporary", "device", "tuning"]:
        shutil.rmtree(os.path.join(work, name), ignore_errors=True)
    os.mkdir(os.path.join(work, "temporary"))
    environment = dict(
        os.environ, LC_ALL="C", ADB=os.path.join(HERE, "adb"), TMPDIR=os.path.join(work, "temporary"),
        POCL_CACHE_DIR=os.path.join(work, "pocl"), HUEVANCE_DEVICE_BUILD=BUILD, HUEVANCE_DEVICE_SIZE="160x120",
        HUEVANCE_PROBE_OPTIONS="--memory memfd", HUEVANCE_TOOL=TOOL, STAND_IN_DEVICE=os.path.join(work, "device"),
        STAND_IN_X86=BUILD, STAND_IN_AARCH64=AARCH64, STAND_IN_BROKEN=broken)
    arguments = []
    if change is not None:
        arguments = ["-t", os.path.join(work, "tuning")]
        subprocess.run([TOOL, "tuning", "new", arguments[1]], check=True, stderr=subprocess.DEVNULL)
        change(arguments[1])
    environment.update(settings)
    return subprocess.run([os.path.join(ROOT, "scripts/device.sh")] + arguments, env=environment, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)


def faults_of(work, case):
    """What is wrong with a case, as texts."""
    name, broken, change, settings, code, failing, sentences = case
    result = run(work, broken, change, settings)
    found = [] if result.returncode == code else [f"ends with {result.returncode}"]
    said = result.stdout + "\n" + result.stderr.replace("device.sh: ", "\n")
    found += [f"does not say {sentence}" for sentence in sentences if not re.search(sentence, said, re.M)]
    # Good rows have their times and a difference; those that fail have none.
    good = re.findall(r"^(\w+) +(photo|frame) +[0-9.]+ +[0-9.]+ +(?:luma )?[0-9]+ ", result.stdout, re.M)
    if {" ".join(row) for row in good} != EVERY - failing:
        found.append(f"good rows: {good}")
    lines = result.stdout.splitlines()[1:]
    if not sentences and len(lines) != len(ROWS) + (2 if change else 0):
        found.append("says something")
    if name == "own tuning" and len(re.findall(r"^CPU \(yours\) +\w+ +[0-9.]+ +[0-9.]+ +0 ", result.stdout, re.M)) != 2:
        found.append("the user's tuning has no rows")
    for folder in ["temporary", "device/huevance"]:
        if os.path.exists(os.path.join(work, folder)) and (folder != "temporary" or os.listdir(os.path.join(work, folder))):
            found.append(f"leaves something in {folder}")
    return [f"{name}: {fault}\n{result.stdout}{result.stderr}" for fault in found]


def main():
    if AARCH64 and not os.path.exists(TOOL):
        sys.exit(77)
    if subprocess.run([os.path.join(ROOT, "scripts/device.sh"), "one", "two"], capture_output=True, check=False).returncode != 2:
        sys.exit("two serial numbers are no usage error")
    with tempfile.TemporaryDirectory() as work:
        faults = [fault for case in (CASES[:1] if AARCH64 else CASES) for fault in faults_of(work, case)]
    sys.exit("\n".join(faults) if faults else 0)


if __name__ == "__main__":
    main()
