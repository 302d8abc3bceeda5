#!/usr/bin/python3
"""Holds the numbers of `huevance compare` against scikit-image's, over pairs of pictures.

Usage: scripts/verify_metrics.py HUEVANCE A B [A B]...
Needs python3-skimage. Ends with 1 when SSIM is off by more than 0.02 or CIEDE2000 by more than 0.05.
"""
import json
import subprocess
import sys

import numpy
from PIL import Image
from skimage import color, metrics


def expected(a, b):
    a, b = (numpy.asarray(Image.open(name).convert("RGB")) for name in (a, b))
    difference = color.deltaE_ciede2000(color.rgb2lab(a), color.rgb2lab(b))
    luma = [picture @ numpy.array([0.299, 0.587, 0.114]) for picture in (a, b)]
    ssim = metrics.structural_similarity(*luma, data_range=255, gaussian_weights=True, sigma=1.5,
                                         use_sample_covariance=False)
    return {"delta_e_mean": difference.mean(), "delta_e_p99": numpy.percentile(difference, 99), "ssim": ssim,
            "clipped_percent": 100 * (b.max(axis=2) >= 254).mean()}


def main():
    tool, names = sys.argv[1], sys.argv[2:]
    limits = {"delta_e_mean": 0.05, "delta_e_p99": 0.05, "ssim": 0.02, "clipped_percent": 0.01}
    good = True
    for a, b in zip(names[::2], names[1::2]):
        run = subprocess.run([tool, "compare", a, b, "--json"], stdout=subprocess.PIPE, check=False)
        ours = json.loads(run.stdout)
        for key, value in expected(a, b).items():
            off = ours[key] - value
            bad = abs(off) > limits[key]
            good = good and not bad
            print(f"{b}: {key} {ours[key]:.5f}, scikit-image {value:.5f}{'  OFF' if bad else ''}")
    return 0 if good else 1


sys.exit(main())
