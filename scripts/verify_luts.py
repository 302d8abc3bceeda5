#!/usr/bin/python3
"""Holds imported LUTs against FFmpeg's lut3d filter (tetrahedral), photograph by photograph.

Usage: scripts/verify_luts.py HUEVANCE LUT.cube... -- PHOTO...
       scripts/verify_luts.py --make DIRECTORY
Needs ffmpeg and numpy. Prints for each LUT the mean CIEDE2000 over all photographs and the worst photographs; ends with 1
when one is above 1.0 on average or 4 at the 99th percentile. Of those it prints the least that could remain, too: with the
LUT's exact values for every block of 2 x 2 samples in place of the table, and of the exact picture itself in 4:2:0.
--make writes the LUTs that docs/luts-and-fitting.md tells of.
"""
import colorsys
import concurrent.futures
import json
import math
import os
import subprocess
import sys
import tempfile

import numpy as np


def limited(color):
    return [min(max(channel, 0.0), 1.0) for channel in color]


def luma(color):
    return 0.299 * color[0] + 0.587 * color[1] + 0.114 * color[2]


def saturated(color, gain):
    return limited(luma(color) + gain * (channel - luma(color)) for channel in color)


def s_curve(level, amount=1.0):
    return level + amount * (level * level * (3 - 2 * level) - level)


def steep(level):
    """A logistic curve with a slope of 1.8 in the middle and 0.4 at the ends."""
    def logistic(x):
        return 1 / (1 + math.exp(-5.5 * (x - 0.5)))
    return (logistic(level) - logistic(0)) / (logistic(1) - logistic(0))


def split_tones(color):
    color = [steep(channel) for channel in color]
    shade, light = (1 - luma(color)) ** 2, luma(color) ** 2
    return limited(channel + 0.05 * shade * dark + 0.05 * light * bright
                   for channel, dark, bright in zip(color, (-1, 0.4, 0.8), (1, 0.3, -1)))


def film(color):
    mixed = (0.92 * color[0] + 0.08 * color[1], 0.04 * color[0] + 0.92 * color[1] + 0.04 * color[2],
             0.1 * color[1] + 0.9 * color[2])
    ends = ((0.07, 0.97), (0.06, 0.94), (0.09, 0.88))
    return saturated([low + (high - low) * s_curve(channel, 0.7) for channel, (low, high) in zip(mixed, ends)], 0.85)


def selective(color):
    """Greens to yellow, blues deeper and darker."""
    hue, saturation, value = colorsys.rgb_to_hsv(*color)

    def near(middle, width):
        distance = min(abs(hue - middle), 1 - abs(hue - middle))
        return saturation * (0.5 + 0.5 * math.cos(math.pi * distance / width)) if distance < width else 0.0
    greens, blues = near(1 / 3, 1 / 6), near(0.6, 1 / 6)
    return colorsys.hsv_to_rgb((hue - 0.06 * greens) % 1, min(1.0, saturation * (1 + 0.2 * blues - 0.2 * greens)),
                               value * (1 - 0.25 * blues))


def mono(color):
    return [s_curve(luma(color))] * 3


LUTS = {
    "identity": lambda c: c,
    "warm": lambda c: limited((1.1 * c[0], c[1], 0.85 * c[2])),
    "matrix": lambda c: (0.8 * c[0] + 0.15 * c[1] + 0.05 * c[2], 0.08 * c[0] + 0.86 * c[1] + 0.06 * c[2],
                         0.02 * c[0] + 0.13 * c[1] + 0.85 * c[2]),
    "saturation": lambda c: saturated([s_curve(channel, 0.6) for channel in c], 1.3),
    "curves": lambda c: saturated((c[0] ** 0.85, s_curve(c[1], 0.3), c[2] ** 1.15), 0.75),
    "mono": mono,
    "split": split_tones,
    "gamma": lambda c: [channel ** (1 / 1.5) for channel in c],
    "film": film,
    "selective": selective,
}


def make(directory, size=33):
    os.makedirs(directory, exist_ok=True)
    grid = [i / (size - 1) for i in range(size)]
    for name, edit in LUTS.items():
        with open(os.path.join(directory, name + ".cube"), "w", encoding="ascii") as file:
            file.write(f'TITLE "{name}"\nLUT_3D_SIZE {size}\n')
            for blue in grid:
                for green in grid:
                    for red in grid:
                        file.write("{:.6f} {:.6f} {:.6f}\n".format(*edit((red, green, blue))))


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


def apart(tool, one, other):
    """Mean and 99th percentile of CIEDE2000."""
    compared = subprocess.run([tool, "compare", one, other, "--json"], check=False, stdout=subprocess.PIPE)
    report = json.loads(compared.stdout)
    return report["delta_e_mean"], report["delta_e_p99"]


def over(numbers):
    return numbers[0] > 1.0 or numbers[1] > 4.0


def with_lut(lut, colors):
    """The LUT's values for RGB colours on 0..1, in 16 bits."""
    shape = colors.shape
    size = ("-f", "rawvideo", "-pix_fmt", "rgb48le", "-s", f"{shape[1]}x{shape[0]}")
    levels = np.rint(np.clip(colors, 0, 1) * 65535).astype("<u2").tobytes()
    out = subprocess.run(["ffmpeg", "-v", "error", *size, "-i", "-", "-vf", f"lut3d=file={lut}:interp=tetrahedral", *size,
                          "-"], check=True, input=levels, stdout=subprocess.PIPE)
    return np.frombuffer(out.stdout, "<u2").reshape(shape) / 65535


def exact_blocks(tool, directory, lut, photo, picture):
    """Writes the library's picture if its table were the LUT itself."""
    probe = call("ffprobe", "-v", "error", "-show_entries", "stream=width,height", "-of", "csv=p=0", photo)
    width, height = (int(word) // 2 * 2 for word in probe.split(b","))
    raw = np.frombuffer(call("ffmpeg", "-v", "error", "-i", photo, "-vf", f"crop={width}:{height}:0:0", "-f", "rawvideo",
                             "-pix_fmt", "yuvj420p", "-"), np.uint8)
    luma = raw[:width * height].reshape(height, width)
    chroma = raw[width * height:].reshape(2, height // 2, width // 2).astype(float) - 128
    curve = np.fromfile(os.path.join(directory, "curveLut0"), "<f4")
    luma = np.floor(curve[luma] + 0.5)
    mean = luma.reshape(height // 2, 2, width // 2, 2).mean((1, 3))
    level = np.interp(mean, curve, np.arange(256))
    red, blue = level + 1.402 * chroma[1], level + 1.772 * chroma[0]
    mapped = 255 * with_lut(lut, np.stack([red, (level - 0.299 * red - 0.114 * blue) / 0.587, blue], -1) / 255)
    after = mapped @ (0.299, 0.587, 0.114)
    luma += (after - mean).repeat(2, 0).repeat(2, 1)
    pairs = np.stack([(mapped[..., 2] - after) / 1.772, (mapped[..., 0] - after) / 1.402], -1) + 128
    frame = np.concatenate([luma.ravel(), pairs.ravel()])
    with open(picture + ".nv12", "wb") as file:
        file.write(np.clip(np.floor(frame + 0.5), 0, 255).astype(np.uint8).tobytes())
    call(tool, "convert", picture + ".nv12", picture, "--size", f"{width}x{height}", "--format", "nv12")


def difference(tool, directory, lut, photo):
    """Of the library's picture, and when that is too much, of what could be had."""
    with tempfile.TemporaryDirectory() as folder:
        plain, truth, ours, half, exact = (os.path.join(folder, name) for name in
                                           ("plain.png", "truth.png", "ours.png", "half.y4m", "exact.png"))
        call(tool, "convert", photo, plain)
        call("ffmpeg", "-v", "error", "-y", "-i", plain, "-vf", f"lut3d=file={lut}:interp=tetrahedral", truth)
        call(tool, "run", photo, ours, "-t", directory, "--scene", "vivid")
        numbers = [apart(tool, truth, ours)]
        if over(numbers[0]):
            exact_blocks(tool, directory, lut, photo, exact)
            call(tool, "convert", truth, half)
            call(tool, "convert", half, ours)
            numbers += [apart(tool, truth, exact), apart(tool, truth, ours)]
        return numbers


def measure(tool, directory, lut, photos):
    call(tool, "lut", "import", directory, "--scene", "vivid", lut)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        all_numbers = list(pool.map(lambda photo: difference(tool, directory, lut, photo), photos))
    call(tool, "look", "set", directory, "--scene", "vivid", "lut=off")
    mean = sum(numbers[0][0] for numbers in all_numbers) / len(photos)
    worst = [max(zip(all_numbers, photos), key=lambda pair, k=k: pair[0][0][k]) for k in (0, 1)]
    failed = [(numbers, photo) for numbers, photo in zip(all_numbers, photos) if over(numbers[0])]
    hopeless = sum(over(numbers[1]) or over(numbers[2]) for numbers, _ in failed)
    print(f"{lut}: mean {mean:.2f}; worst mean {worst[0][0][0][0]:.2f} ({worst[0][1]}), worst 99th percentile "
          f"{worst[1][0][0][1]:.2f} ({worst[1][1]}); {len(failed)} of {len(photos)} over, {hopeless} of them anyhow")
    for numbers, photo in failed:
        words = (f"{what} {a:.2f} / {b:.2f}" for what, (a, b) in zip(("is", "blocks", "4:2:0"), numbers))
        print(f"    {photo}: {', '.join(words)}", flush=True)
    return not failed


def main():
    if sys.argv[1] == "--make":
        make(sys.argv[2])
        return 0
    tool, words = os.path.abspath(sys.argv[1]), sys.argv[2:]
    luts, photos = words[:words.index("--")], words[words.index("--") + 1:]
    good = True
    with tempfile.TemporaryDirectory() as folder:
        directory = os.path.join(folder, "tuning")
        neutral_tuning(tool, directory)
        for lut in luts:
            good = measure(tool, directory, lut, photos) and good
    return 0 if good else 1


sys.exit(main())
