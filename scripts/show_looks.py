#!/usr/bin/python3
"""Makes docs/images/looks_*.jpg: the samples as shot and in every look of the starter, side by side with their names.

    scripts/show_looks.py build/release/huevance

Needs python3-pil.
"""
import pathlib
import subprocess
import sys
import tempfile

from PIL import Image, ImageDraw

ROOT = pathlib.Path(__file__).resolve().parent.parent
SIDE = 320  # pixels, the longer side of each picture
COLUMNS = 3


def main():
    huevance = sys.argv[1]
    listed = subprocess.run([huevance, "tuning", "new", "--looks", "list"], check=True, capture_output=True, text=True)
    looks = [line.split()[0] for line in listed.stdout.splitlines()]
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([huevance, "tuning", "new", folder + "/tuning"], check=True, stderr=subprocess.DEVNULL)
        for sample in sorted((ROOT / "samples").glob("*.jpg")):
            pictures = {"as shot": Image.open(sample).convert("RGB")}
            for look in looks:
                out = f"{folder}/{look}.jpg"
                subprocess.run([huevance, "run", sample, out, "-t", folder + "/tuning", "-s", look], check=True)
                pictures[look] = Image.open(out).convert("RGB")
            sheet(pictures).save(ROOT / "docs" / "images" / f"looks_{sample.stem}.jpg", quality=82)


def sheet(pictures):
    tiles = []
    for name, picture in pictures.items():
        picture.thumbnail((SIDE, SIDE), Image.LANCZOS)
        tile = Image.new("RGB", (picture.width, picture.height + 16), "white")
        tile.paste(picture, (0, 0))
        ImageDraw.Draw(tile).text((4, picture.height + 3), name, fill="black")
        tiles.append(tile)
    width, height = tiles[0].size
    rows = -(-len(tiles) // COLUMNS)
    whole = Image.new("RGB", (COLUMNS * (width + 4) - 4, rows * height), "white")
    for i, tile in enumerate(tiles):
        whole.paste(tile, (i % COLUMNS * (width + 4), i // COLUMNS * height))
    return whole


if __name__ == "__main__":
    main()
