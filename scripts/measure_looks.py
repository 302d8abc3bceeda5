#!/usr/bin/python3
"""Measures the starter's looks on photographs and a synthetic chart, and says whether they keep their promises.

    scripts/measure_looks.py [--tuning DIR] [--side 480] [--previews 4] build/release/huevance PICTURE...

Needs python3-skimage. Photographs are taken at `side` pixels on their longer side. Without --tuning a fresh starter is
made (photos on NEON, previews on GPU). Exit code 1 when a promise is not kept.
"""
import argparse
import concurrent.futures
import itertools
import json
import pathlib
import subprocess
import sys
import tempfile

import numpy as np
from skimage import color, io, transform

# The Monk skin tone scale, 1 (palest) to 10.
MONK = ["f6ede4", "f3e7db", "f7ead0", "eadaba", "d7bd96", "a07e56", "825c43", "604134", "3a312a", "292420"]
# The usual 24 patches of a colour chart, in sRGB.
PATCHES = ["735244", "c29682", "627a9d", "576c43", "8580b1", "67bdaa", "d67e2c", "505ba6", "c15a63", "5e3c6c",
           "9dbc40", "e0a32e", "383d96", "469449", "af363c", "e7c71f", "bb5695", "0885a1", "f3f3f2", "c8c8c8",
           "a0a0a0", "7a7a7a", "555555", "343434"]
NOISE_LEVELS = [16, 24, 32, 48, 64]
PATCH = 64  # pixels


def rgb(text):
    return [int(text[i:i + 2], 16) for i in (0, 2, 4)]


class Chart:
    """Rows of patches on a grey ground, with the place of each."""

    def __init__(self):
        self.picture = np.full((12 * PATCH, 16 * PATCH, 3), 118, np.uint8)
        self.places = {}
        random = np.random.default_rng(1)
        for i, text in enumerate(MONK):
            self.patch(f"monk{i + 1}", 1, i + 1, rgb(text))
        for i, text in enumerate(PATCHES):
            self.patch(f"patch{i + 1}", 3 + i // 12, 1 + i % 12, rgb(text))
        for i, level in enumerate([0, 16, 32, 64, 96, 122, 128, 160, 192, 224, 240, 255]):
            self.patch(f"grey{level}", 6, 1 + i, [level] * 3)
        for i, level in enumerate(NOISE_LEVELS):
            y, x = 8 * PATCH, (1 + 2 * i) * PATCH
            noise = random.normal(level, 3, (PATCH, 2 * PATCH, 1)).round().clip(0, 255)
            self.picture[y:y + PATCH, x:x + 2 * PATCH] = noise
            self.places[f"noise{level}"] = (y, x, 2 * PATCH)
        ramp = np.linspace(0, 1, 14 * PATCH)
        for i, end in enumerate([(255, 255, 255), (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 160, 60)]):
            y = 9 * PATCH + 16 + i * 32
            self.picture[y:y + 24, PATCH:15 * PATCH] = (ramp[:, None] * np.array(end)).round()

    def patch(self, name, row, column, level):
        y, x = row * PATCH, column * PATCH
        self.picture[y:y + PATCH, x:x + PATCH] = level
        self.places[name] = (y, x, PATCH)

    def pixels(self, picture, name):
        y, x, width = self.places[name]
        return picture[y + 8:y + PATCH - 8, x + 8:x + width - 8].astype(float)

    def mean(self, picture, name):
        return self.pixels(picture, name).mean((0, 1))


def lab(level):
    return color.rgb2lab(np.asarray(level, float).reshape(1, 1, 3) / 255)[0, 0]


def hue_turn(before, after):
    """Degrees of hue, and Delta H*."""
    a, b = lab(before), lab(after)
    turn = np.degrees(np.arctan2(b[2], b[1]) - np.arctan2(a[2], a[1]))
    turn = (turn + 180) % 360 - 180
    chroma = np.sqrt(np.hypot(*a[1:]) * np.hypot(*b[1:]))
    return turn, 2 * chroma * np.sin(np.radians(turn / 2))


def luma(picture):
    return picture @ [0.299, 0.587, 0.114]


def clipped(picture):
    return 100 * (picture.max(2) >= 254).mean()


def delta_e(a, b):
    return color.deltaE_ciede2000(color.rgb2lab(a), color.rgb2lab(b)).mean()


def load(path, side):
    picture = io.imread(path)
    picture = color.gray2rgb(picture) if picture.ndim == 2 else picture[..., :3]
    height, width = (max(2, round(n * side / max(picture.shape[:2]) / 2) * 2) for n in picture.shape[:2])
    picture = transform.resize(picture, (height, width), anti_aliasing=True)
    return (picture * 255).round().astype(np.uint8)


class Bench:
    def __init__(self, huevance, tuning, folder):
        self.huevance, self.tuning, self.folder = huevance, tuning, folder

    def run(self, job):
        name, look, mode = job
        out = f"{self.folder}/{name}.{look}.{mode}.png"
        # A preview's first frames fade; the last of 34 shows the look.
        extra = ["-n", "34"] if mode == "frame" else []
        subprocess.run([self.huevance, "run", f"{self.folder}/{name}.png", out, "-t", self.tuning, "-s", look, "-m",
                        mode, *extra], check=True)
        return io.imread(out)[..., :3]

    def run_all(self, jobs):
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            return dict(zip(jobs, pool.map(self.run, jobs)))


class Report:
    def __init__(self):
        self.good = True

    def line(self, what, value, limit, least=False):
        kept = value >= limit if least else value <= limit
        self.good &= kept
        print(f"{'ok  ' if kept else 'MISS'} {what:58s} {value:7.2f}  ({'at least' if least else 'at most'} {limit:g})")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--tuning")
    parser.add_argument("--side", type=int, default=480)
    parser.add_argument("--previews", type=int, default=4, help="photographs whose previews are made, too")
    parser.add_argument("huevance")
    parser.add_argument("picture", nargs="+")
    args = parser.parse_args()

    with tempfile.TemporaryDirectory() as folder:
        tuning = args.tuning or folder + "/tuning"
        if not args.tuning:
            subprocess.run([args.huevance, "tuning", "new", tuning, "--photo", "NEON", "--frame", "GPU"], check=True,
                           stderr=subprocess.DEVNULL)
        looks = [json.loads(p.read_text())["name"] for p in sorted(pathlib.Path(tuning).glob("look*.json"))]
        chart = Chart()
        photos = {f"photo{i}": load(path, args.side) for i, path in enumerate(args.picture)}
        pictures = {"chart": chart.picture, **photos}
        for name, picture in pictures.items():
            io.imsave(f"{folder}/{name}.png", picture, check_contrast=False)
        bench = Bench(args.huevance, tuning, folder)
        shown = ["chart"] + list(photos)[:args.previews]
        out = bench.run_all([(name, look, "photo") for name in pictures for look in looks])
        previews = bench.run_all([(name, look, "frame") for name in shown for look in looks])
        good = report(chart, pictures, photos, looks, out, previews)
    return 0 if good else 1


def report(chart, pictures, photos, looks, out, previews):
    r = Report()
    print(f"{len(photos)} photographs and the chart\n")
    grey = [luma(chart.mean(out["chart", "neutral", "photo"], f"grey{n}")) - n for n in (122, 128)]
    r.line("neutral: mid-grey of the chart moves, levels", max(map(abs, grey)), 10)
    moves = []
    for name, picture in photos.items():
        before = luma(picture)
        middle = (abs(before - 122) <= 6) & (np.ptp(picture.astype(int), axis=2) <= 24)
        if middle.mean() > 0.002:
            moves.append(np.median(luma(out[name, "neutral", "photo"])[middle] - before[middle]))
    r.line(f"neutral: mid-greys of {len(moves)} photographs move, mean of sizes", np.mean(np.abs(moves)), 10)
    r.line("neutral: ... the one that moves most", np.max(np.abs(moves)), 10)

    apart = {(a, b): np.mean([delta_e(out[n, a, "photo"], out[n, b, "photo"]) for n in photos])
             for a, b in itertools.combinations(looks, 2)}
    closest = min(apart, key=apart.get)
    r.line(f"looks that are closest, CIEDE2000: {closest[0]}, {closest[1]}", apart[closest], 3, least=True)
    print("     " + "".join(f"{look[:8]:>9}" for look in looks[1:]))
    for i, a in enumerate(looks[:-1]):
        print(f"     " + " " * 9 * i + "".join(f"{apart[a, b]:9.2f}" for b in looks[i + 1:]) + f"  {a}")

    same = {job: delta_e(picture, out[job[0], job[1], "photo"]) for job, picture in previews.items()}
    worst = max(same, key=same.get)
    r.line(f"preview beside photo, CIEDE2000, worst: {worst[0]} {worst[1]}", same[worst], 0.5)

    before = np.mean([clipped(p) for p in photos.values()])
    print(f"     clipped pixels of the photographs: {before:.2f} %")
    for look in looks:
        after = np.mean([clipped(out[n, look, "photo"]) for n in photos])
        worst = max(photos, key=lambda n: clipped(out[n, look, "photo"]) - 2 * clipped(photos[n]))
        more = f" (worst {worst}: {clipped(photos[worst]):.1f} -> {clipped(out[worst, look, 'photo']):.1f} %)"
        r.line(f"{look}: clipped, times the input's{more}", after / before, 2)

    for level in NOISE_LEVELS:
        gain = [luma(chart.pixels(p, f"noise{level}")).std() for p in (out["chart", "night", "photo"], chart.picture)]
        r.line(f"night: noise gain at level {level}", gain[0] / gain[1], 2)

    for look in looks:
        turns = [hue_turn(chart.mean(chart.picture, f"monk{i}"), chart.mean(out["chart", look, "photo"], f"monk{i}"))
                 for i in range(1, 11)]
        r.line(f"{look}: Monk 4 to 8, hue turns by degrees", max(abs(t[0]) for t in turns[3:8]), 5)
        r.line(f"{look}: Monk 1 to 3, 9 and 10, Delta H*", max(abs(t[1]) for t in turns[:3] + turns[8:]), 1.5)
    return r.good


if __name__ == "__main__":
    sys.exit(main())
