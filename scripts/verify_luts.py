#!/usr/bin/python3
"""Holds imported LUTs against FFmpeg's lut3d filter (tetrahedral), photograph by photograph.

Usage: scripts/verify_luts.py HUEVANCE LUT.cube... -- PHOTO...
Needs ffmpeg. Prints for each LUT the mean CIEDE2000 over all photographs and the worst photographs; ends with 1 when one is
above 1.0 on average or 4 at the 99th percentile.
"""
import json
import os
import subprocess
import sys
import tempfile


def call(*words):
    return subprocess.run(words, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout


def neutral_tuning(tool, directory):
    """A tuning whose scene "vivid" does nothing."""
    call(tool, "tuning", "new", directory)
    call(tool, "look", "set", directory, "--scene", "vivid", "curve=off", "curveColor=0", "claheStrength=0", "vibrance=off",
         "saturation=off")
    name = os.path.join(directory, "photoSet.ini")
    with open(name, encoding="ascii", newline="") as file:
        text = file.read()
    with open(name, "w", encoding="ascii", newline="") as file:
        file.write(text.replace("claheSwitch=1", "claheSwitch=0"))


def difference(tool, directory, lut, photo, folder):
    plain, truth, ours = (os.path.join(folder, name) for name in ("plain.png", "truth.png", "ours.png"))
    call(tool, "convert", photo, plain)
    call("ffmpeg", "-v", "error", "-y", "-i", plain, "-vf", f"lut3d=file={lut}:interp=tetrahedral", truth)
    call(tool, "run", photo, ours, "-t", directory, "--scene", "vivid")
    compared = subprocess.run([tool, "compare", truth, ours, "--json"], check=False, stdout=subprocess.PIPE)
    report = json.loads(compared.stdout)
    return report["delta_e_mean"], report["delta_e_p99"]


def main():
    tool, words = os.path.abspath(sys.argv[1]), sys.argv[2:]
    luts, photos = words[:words.index("--")], words[words.index("--") + 1:]
    good = True
    with tempfile.TemporaryDirectory() as folder:
        directory = os.path.join(folder, "tuning")
        neutral_tuning(tool, directory)
        for lut in luts:
            call(tool, "lut", "import", directory, "--scene", "vivid", lut)
            numbers = [(photo, *difference(tool, directory, lut, photo, folder)) for photo in photos]
            call(tool, "look", "set", directory, "--scene", "vivid", "lut=off")
            mean = sum(number[1] for number in numbers) / len(numbers)
            worst, far = (max(numbers, key=lambda number, k=k: number[k]) for k in (1, 2))
            over = [number[0] for number in numbers if number[1] > 1.0 or number[2] > 4.0]
            good = good and not over
            print(f"{lut}: mean {mean:.2f}; worst mean {worst[1]:.2f} ({worst[0]}), worst 99th percentile {far[2]:.2f} "
                  f"({far[0]}); {len(over)} of {len(numbers)} over", flush=True)
    return 0 if good else 1


sys.exit(main())
