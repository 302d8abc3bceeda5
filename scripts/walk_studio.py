#!/usr/bin/python3
"""The walk of docs/tuning.md, from a folder of photographs to a saved tuning, in a real browser and with its times.

    scripts/walk_studio.py build/release/huevance [--pace 4] [--pictures docs/images] PHOTO...

Every act waits for `pace` seconds before the next one, as somebody does who looks first. With --pictures it also makes the
pictures of the studio that the documentation shows. Needs chromium, chromium-driver and python3-selenium.
"""
import argparse
import io
import os
import sys
import tempfile
import time

from PIL import Image
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "tests", "studio"))

from browser import Page, Studio, Tool, chromium, cube, until  # noqa: E402


class Walk:
    def __init__(self, pace, pictures):
        self.pace, self.pictures = pace, pictures
        self.begun = time.monotonic()

    def act(self, words):
        seconds = time.monotonic() - self.begun
        print(f"{int(seconds) // 60}:{seconds % 60:04.1f}  {words}", flush=True)
        time.sleep(self.pace)

    def picture(self, page, name):
        if self.pictures:
            shot = Image.open(io.BytesIO(page.driver.get_screenshot_as_png())).convert("RGB")
            shot.save(os.path.join(self.pictures, f"{name}.jpg"), quality=88, optimize=True)


def edit_food(walk, page):
    page.choose_scene("food")
    page.keys("]")
    page.settled()
    walk.act("the second photograph, in the scene “food”")
    page.slide("Local contrast", 0.4)
    walk.act("more local contrast")
    page.drag_curve((70, 78), (66, 60))
    walk.act("deeper shadows, by dragging the curve")
    page.button("Pick colour").click()
    page.keys(*[Keys.ARROW_DOWN] * 60, Keys.ENTER)
    until(lambda: page.driver.find_elements(By.CSS_SELECTOR, '[aria-label="Selective colour: Chroma"]'), "the adjustment")
    walk.act("the colour of the saucer picked in the picture")
    page.slide("Selective colour: Chroma", -0.15)
    page.slide("Selective colour: Shift hue", 8)
    walk.act("that hue calmer, and a little more orange")
    page.settled()
    time.sleep(0.6)
    walk.picture(page, "studio_light")


def add_scene(walk, page):
    page.choose_scene("portrait")
    page.keys("[")
    page.settled()
    page.button("Copy scene").click()
    page.type_into("Scene name", "golden-hour")
    page.type_into("Photo scene numbers", "12")
    page.type_into("Preview scene numbers", "12")
    walk.act("a copy of “portrait”, named “golden-hour”, for the host's scene 12")
    page.drop(("golden.cube", cube(17, lambda r, g, b: (min(1, 1.04 * r), 0.98 * g, 0.86 * b))))
    until(lambda: page.driver.find_elements(By.CSS_SELECTOR, '[aria-label="Imported LUT: Amount"]'), "the import")
    walk.act("a .cube file dropped on the page")
    page.slide("Imported LUT: Amount", 0.6)
    walk.act("60 % of it")
    page.button("Undo").click()
    page.settled()
    page.button("Redo").click()
    page.settled()
    walk.act("undone and done again, to compare")


def look_around(walk, page):
    page.keys(Keys.ESCAPE)
    page.script("document.activeElement.blur()")
    page.keys("z")
    time.sleep(1)
    walk.act("at the pixels")
    page.keys("z")
    page.keys("f")
    revision = page.revision
    page.driver.find_element(By.XPATH, '//*[@id="fade"]//button[text()="Play"]').click()
    until(lambda: page.revision > revision + 25, "the fade")
    walk.act("the fade to it, as a preview plays it")
    page.keys(Keys.ESCAPE)
    page.settled()
    page.script("document.activeElement.blur()")
    page.set_scheme("dark")
    time.sleep(0.6)
    walk.picture(page, "studio_dark")
    page.set_scheme("light")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("huevance")
    parser.add_argument("photos", nargs="+")
    parser.add_argument("--pace", type=float, default=4)
    parser.add_argument("--pictures")
    arguments = parser.parse_args()
    tool = Tool(os.path.abspath(arguments.huevance))
    with tempfile.TemporaryDirectory() as folder, chromium() as driver:
        walk = Walk(arguments.pace, arguments.pictures)
        directory = os.path.join(folder, "my_tuning")
        tool("tuning", "new", directory, "--photo", "NEON")
        walk.act("huevance tuning new my_tuning --photo NEON")
        with Studio(tool, directory, *arguments.photos) as studio:
            page = Page(driver, studio)
            walk.act("huevance studio my_tuning photos/*: the first picture")
            edit_food(walk, page)
            add_scene(walk, page)
            look_around(walk, page)
            shown = page.pixels()
            page.chord(Keys.CONTROL, "s")
            until(lambda: page.state == "Saved", "saving")
            walk.act("saved")
            if arguments.pictures:
                page = Page(driver, studio, width=390, height=844)
                time.sleep(0.6)
                walk.picture(page, "studio_narrow")
            driver.get("about:blank")
        tool("tuning", "check", directory)
        same = (tool.pixels(arguments.photos[0], "-t", directory, "--scene", "golden-hour") == shown).all()
        walk.act(f"huevance tuning check: clean; huevance run: {'the picture of the studio' if same else 'ANOTHER PICTURE'}")
        return 0 if same else 1


if __name__ == "__main__":
    sys.exit(main())
