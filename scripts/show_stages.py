#!/usr/bin/python3
"""Makes docs/images/stage_*.jpg from `huevance stages`, and docs/images/page_*.jpg, the pages as a browser shows them.

    scripts/show_stages.py build/release/huevance

Needs python3-pil, and Debian's chromium for the pages and the tiles' curves.
"""
import pathlib
import shutil
import subprocess
import sys
import tempfile

from PIL import Image, ImageDraw

ROOT = pathlib.Path(__file__).resolve().parent.parent
IMAGES = ROOT / "docs" / "images"
SIDE = 300  # pixels, the longer side of each picture


def main():
    huevance = str(pathlib.Path(sys.argv[1]).resolve())
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        run = lambda *words: subprocess.run([huevance, *map(str, words)], check=True, cwd=work)
        # Names without folders, as they stand in the pages.
        shutil.copytree(ROOT / "samples", work / "photos", ignore=shutil.ignore_patterns("*.md"))
        run("tuning", "new", "tuning", "--protect", "skin", "--looks", "neutral,food")
        # Strong enough to be seen in a small picture, and colour correction, which the starter leaves off.
        run("look", "set", "tuning", "--scene", "food", "claheStrength=2.5", "curveColor=0")
        run("curve", "set", "tuning", "--scene", "food", "0,0", "64,84", "160,190", "255,252")
        settings = work / "tuning" / "photoSet.ini"
        settings.write_bytes(settings.read_bytes().replace(b"cCorrSwitch=0", b"cCorrSwitch=1"))
        run("stages", "photos/portrait.jpg", "-t", "tuning", "--scene", "food", "-o", "shown")
        strips(work / "shown")
        pages(work, run)


def strips(shown):
    before = "0_input"
    for after in ("1_clahe", "2_curve", "3_correction", "4_table", "5_protection"):
        pictures = {"before": open_rgb(shown / f"{before}.png"), "after": open_rgb(shown / f"{after}.png"),
                    "changed, times eight": open_rgb(shown / f"{after}_difference.png")}
        if after == "1_clahe":
            curves = shown / "curves.png"
            screenshot(shown / "clahe_curves.svg", curves, 512, 512, False)
            pictures["curves of the tiles"] = open_rgb(curves)
        if after == "5_protection":
            pictures["mask"] = open_rgb(shown / "mask.png")
        row(pictures).save(IMAGES / f"stage_{after}.jpg", quality=80)
        before = after


def pages(work, run):
    run("tuning", "new", "old", "--looks", "neutral,food")
    run("tuning", "new", "new", "--looks", "neutral,food")
    run("look", "set", "new", "--scene", "food", "saturation=0.12")
    run("curve", "set", "new", "--scene", "food", "0,0", "100,110", "255,255")
    run("tuning", "show", "new", "-o", "show.html")
    subprocess.run([sys.argv[1] if pathlib.Path(sys.argv[1]).is_absolute() else str(ROOT / sys.argv[1]), "tuning", "diff",
                    "old", "new", "-o", "diff.html"], cwd=work, stdout=subprocess.DEVNULL)  # 1: they differ
    run("batch", "photos", "-t", "old", "-t", "new", "--scene", "food", "-o", "out", "--html", "batch.html")
    wanted = {"stages": work / "shown" / "stages.html", "batch": work / "batch.html", "show": work / "show.html",
              "diff": work / "diff.html"}
    for name, page in wanted.items():
        wide, narrow = work / f"{name}.png", work / f"{name}_narrow.png"
        screenshot(page, wide, 1440, 1300, False)
        screenshot(page, narrow, 390, 1300, True)
        both = Image.new("RGB", (900 + 8 + 244, 812), "white")
        both.paste(open_rgb(wide).resize((900, 812), Image.LANCZOS), (0, 0))
        both.paste(open_rgb(narrow).resize((244, 812), Image.LANCZOS), (908, 0))
        both.save(IMAGES / f"page_{name}.jpg", quality=78)


def screenshot(page, to, width, height, dark):
    scheme = ["--blink-settings=preferredColorScheme=0"] if dark else []
    subprocess.run(["chromium", "--headless", "--no-sandbox", "--hide-scrollbars", f"--window-size={width},{height}",
                    *scheme, f"--screenshot={to}", page.as_uri()], check=True, stderr=subprocess.DEVNULL)


def open_rgb(path):
    return Image.open(path).convert("RGB")


def row(pictures):
    tiles = []
    for name, picture in pictures.items():
        picture.thumbnail((SIDE, SIDE), Image.LANCZOS)
        tile = Image.new("RGB", (picture.width, picture.height + 16), "white")
        tile.paste(picture, (0, 0))
        ImageDraw.Draw(tile).text((4, picture.height + 3), name, fill="black")
        tiles.append(tile)
    whole = Image.new("RGB", (sum(tile.width + 4 for tile in tiles) - 4, max(tile.height for tile in tiles)), "white")
    left = 0
    for tile in tiles:
        whole.paste(tile, (left, 0))
        left += tile.width + 4
    return whole


if __name__ == "__main__":
    main()
