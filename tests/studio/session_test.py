"""Sessions as a tuning engineer has them."""
import json
import os
import pathlib
import shutil
import time

import numpy
from PIL import Image
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

import fixture
from browser import SAMPLES, Page, Studio, cube, png, until

PORTRAIT, STILL_LIFE = (os.path.join(SAMPLES, name) for name in ("portrait.jpg", "still_life.jpg"))


class WholeSession(fixture.Test):
    """From opening to a saved tuning, which `run` then follows."""

    def test_session(self):
        page = self.open(self.tuning("neutral,food,night"), PORTRAIT, STILL_LIFE)
        before, names = self.contents(), self.looks()
        self.assertEqual(page.state, "Saved")
        self.assertEqual(page.scenes, names)
        opened = page.pixels()
        numpy.testing.assert_array_equal(opened, self.tool.pixels(PORTRAIT, "-t", self.directory, "--scene", "neutral"))

        with page.new_picture():
            page.drag_curve((96, 96), (96, 130))
        self.assertEqual(page.state, "Unsaved changes")
        with page.new_picture():
            page.slide("Local contrast", 1.5)
        points = len(page.curve_points)
        for expected in (points + 1, points):  # a point by two presses in an empty place, and away by two more on it
            page.double_press_curve((200, 120))
            until(lambda: len(page.curve_points) == expected, "two presses")
            time.sleep(0.8)
        for _ in range(2):
            page.button("Undo").click()
        page.settled()
        with page.new_picture():
            page.named("Saturation").send_keys(Keys.ARROW_RIGHT)
        self.assertFalse(numpy.array_equal(page.pixels(), opened))

        for _ in range(3):
            with page.new_picture():
                page.button("Undo").click()
        self.assertEqual(page.state, "Saved")
        self.assertFalse(page.button("Undo").is_enabled())
        numpy.testing.assert_array_equal(page.pixels(), opened)
        for _ in range(3):
            with page.new_picture():
                page.chord(Keys.CONTROL, Keys.SHIFT, "z")

        self.check_scenes(page)
        with page.new_picture():
            page.drop(("warm.cube", cube(change=lambda r, g, b: (r, 0.9 * g, 0.7 * b))))
        self.assertIn("LUT", page.driver.find_element(By.CSS_SELECTOR, ".adjustments").text)
        self.assertEqual(self.contents(), before, "nothing on the disk may change before Save")
        shown = page.pixels()
        page.chord(Keys.CONTROL, "s")
        until(lambda: page.state == "Saved", "saving")

        self.assertEqual(self.looks(), [*names, "beach"])
        self.assertEqual(json.loads(self.tool("tuning", "check", self.directory, "--json"))["findings"], [])
        page.settled()
        numpy.testing.assert_array_equal(page.pixels(), shown)
        for scene in ("beach", "7"):  # host scene number 7
            numpy.testing.assert_array_equal(shown, self.tool.pixels(PORTRAIT, "-t", self.directory, "--scene", scene))
        page.keys("]")
        page.settled()
        numpy.testing.assert_array_equal(page.pixels(), self.tool.pixels(STILL_LIFE, "-t", self.directory, "--scene", "beach"))
        self.assertEqual(page.problems(), [])

    def check_scenes(self, page):
        """A copy of the scene, with a name and host scene numbers of its own."""
        page.button("Copy scene").click()
        page.type_into("Scene name", "2 words")
        self.assertIn("A name is a letter", page.driver.find_element(By.CSS_SELECTOR, ".field-error").text)
        page.type_into("Scene name", "beach")
        for field in ("Photo scene numbers", "Preview scene numbers"):
            page.type_into(field, "7, 9-10")
        self.assertEqual(page.scenes[-1], "beach")
        page.button("Add scene").click()
        self.assertEqual(len(page.scenes), 5)
        page.button("Remove scene").click()
        self.assertEqual(len(page.scenes), 4)
        page.choose_scene("beach")
        page.settled()


class KeptWork(fixture.Test):
    """Reloads, changes from outside, and two tabs."""

    def edit(self, page, value=0.5):
        with page.new_picture():
            page.slide("Colour strength", value)

    def test_reload_and_restart_keep_work_and_history(self):
        first = Studio(self.tool, self.tuning("neutral"), PORTRAIT)
        with first:
            page = Page(self.driver, first)
            original = page.pixels()
            page.drop(("a.cube", cube(9)))  # long texts are stored apart
            until(lambda: page.state == "Unsaved changes", "the import")
            page.script("""
                const slider = document.querySelector("[aria-label='Colour strength']");
                for (let i = 1; i <= 150; ++i) {
                  slider.value = 1 - i / 200;
                  for (const type of ["input", "change"]) slider.dispatchEvent(new Event(type, {bubbles: true}));
                }""")
            page.settled()
            edited = page.pixels()
            page.driver.refresh()
            page.settled()
            self.assertEqual(page.state, "Unsaved changes")
            numpy.testing.assert_array_equal(page.pixels(), edited)
        again = self.serve(self.directory, PORTRAIT, arguments=("--port", str(first.port)))
        page = Page(self.driver, again)
        self.addCleanup(page.driver.get, "about:blank")
        numpy.testing.assert_array_equal(page.pixels(), edited)
        page.script("for (let i = 0; i < 151; ++i) document.querySelector('#undo').click()")
        page.settled()
        self.assertEqual(page.state, "Saved")
        self.assertFalse(page.button("Undo").is_enabled())
        numpy.testing.assert_array_equal(page.pixels(), original)
        for press, state in (("Redo", "Unsaved changes"), ("Revert", "Saved"), ("Undo", "Unsaved changes")):
            page.button(press).click()
            self.assertEqual(page.state, state)

    def test_disk_changes_while_away(self):
        page = self.open(self.tuning("neutral,food"), PORTRAIT)
        for answer, mine, disk, shown in (("Keep my work", 0.5, 0.75, "0.50"), ("Load what is on the disk", 0.6, 0.25, "0.25")):
            with self.subTest(answer):
                self.edit(page, mine)
                page.driver.get("about:blank")
                self.tool("look", "set", self.directory, "--scene", "neutral", f"colorStrength={disk}")
                page.driver.get(self.studio.url)
                page.settled()
                self.assertIn("the directory has changed on the disk", page.notices[0])
                self.assertEqual(page.named("Colour strength, number").get_attribute("value"), f"{mine:.2f}")
                page.button(answer).click()
                until(lambda: page.named("Colour strength, number").get_attribute("value") == shown, answer)
                page.settled()
                self.assertEqual(page.button("Save").is_enabled(), answer == "Keep my work")
                if answer == "Keep my work":
                    page.save()
                self.assertEqual(page.state, "Saved")
                self.assertEqual(page.notices, [])

    def test_undo_beyond_a_save(self):
        page = self.open(self.tuning("neutral,food,vivid"), PORTRAIT)
        before, names = self.contents(), page.scenes
        for press, left in ((("Remove scene",), names[1:]), (("Undo",), names), (("Redo", "Add scene", "Undo"), names[1:]), (("Undo",), names)):
            with self.subTest(press=press):
                page.choose_scene(page.scenes[0])
                for name in press:
                    page.button(name).click()
                page.save()
                self.assertEqual(self.looks(), left)
                self.assertEqual(json.loads(self.tool("tuning", "check", self.directory, "--json"))["findings"], [])
        self.assertEqual(self.contents(), before)

    def test_two_tabs_save(self):
        first = self.open(self.tuning("neutral,food"), PORTRAIT)
        windows = first.driver.current_window_handle
        self.edit(first, 0.5)
        first.driver.switch_to.new_window("tab")
        second = Page(first.driver, self.studio)
        self.assertEqual(second.state, "Saved", "a tab does not take another one's work")
        self.edit(second, 0.8)
        second.save()
        second.driver.close()
        first.driver.switch_to.window(windows)
        first.button("Save").click()
        until(lambda: any("Replace it with mine" in note.text for note in first.driver.find_elements(By.CSS_SELECTOR, ".notice")), "the refusal")
        self.assertEqual(first.state, "Unsaved changes")
        self.assertEqual(self.look("neutral")["colorStrength"], 0.8)
        first.button("Replace it with mine").click()
        until(lambda: first.state == "Saved", "saving")
        self.assertEqual(self.look("neutral")["colorStrength"], 0.5)

    def test_directory_vanishes(self):
        page = self.open(self.tuning("neutral,food"), PORTRAIT)
        self.edit(page)
        shutil.move(self.directory, self.folder + "/away")
        page.button("Save").click()
        until(lambda: page.notices, "the refusal")
        self.assertEqual(page.state, "Unsaved changes")
        self.assertFalse(os.path.exists(self.directory))
        shutil.move(self.folder + "/away", self.directory)
        page.save()


class Looking(fixture.Test):
    """Views, back ends, and pictures that follow."""

    def test_views(self):
        page = self.open(self.tuning("neutral,food"), PORTRAIT)
        split = page.named("Divider between before and after")
        split.send_keys(Keys.HOME, Keys.ARROW_RIGHT)
        self.assertEqual(split.get_attribute("aria-valuenow"), "2")
        for key, shown in (("a", {"After"}), ("b", {"Before"}), ("d", {"After", "Before"}), ("v", {"After", "Before"})):
            page.keys(Keys.ESCAPE)
            page.script("document.activeElement.blur()")
            page.keys(key)
            self.assertEqual({name for name in ("After", "Before") if page.named(name).is_displayed()}, shown)
        box = page.named("After").rect
        self.assertGreater(box["width"] * box["height"], 0.5 * 1440 * 900)

        page.keys("z")
        zoom = page.named("Zoom").text
        self.assertGreater(int(zoom.split()[0]), 150)
        left = page.named("After").rect["x"]
        page.driver.find_element(By.ID, "stage").send_keys(Keys.ARROW_RIGHT)
        self.assertLess(page.named("After").rect["x"], left)
        page.button("Fit").click()
        self.assertEqual(page.named("After").rect, box)

        stages = pathlib.Path(self.folder, "stages")
        self.tool("stages", PORTRAIT, "-t", self.directory, "-o", stages)
        files = sorted(file for file in stages.glob("[0-9]_*.png") if not file.stem.endswith("_difference"))
        self.assertEqual([file.stem for file in files], ["0_input", "1_clahe", "2_curve", "4_table"])
        for file in (*files, None):
            with page.new_picture():
                page.choose("Stage", file.stem.split("_")[1] if file else "")
            if file:
                numpy.testing.assert_array_equal(page.pixels(), numpy.asarray(Image.open(file).convert("RGB")), str(file))
        result = page.pixels()
        with page.new_picture():
            page.named("Back end").send_keys("CPU")
        numpy.testing.assert_array_equal(page.pixels(), result)  # the same bytes as NEON
        page.driver.find_element(By.ID, "clipping").click()
        marked = page.canvas(page.driver.find_element(By.CSS_SELECTOR, ".overlay-clipping"))[:, :, 3] > 0
        numpy.testing.assert_array_equal(marked, (result >= 254).any(axis=2) | (result <= 1).all(axis=2))
        mean = page.named("Histogram: mean", match="^=").get_attribute("aria-label").split()[2].rstrip(",")
        self.assertAlmostEqual(float(mean), (result @ [0.299, 0.587, 0.114]).mean(), delta=1)
        with page.new_picture():
            page.driver.find_element(By.CSS_SELECTOR, "[value=frame]").find_element(By.XPATH, "..").click()
        self.assertEqual(page.problems(), [])

    def test_picked_colour_is_moved(self):
        page = self.open(self.tuning("neutral"), STILL_LIFE)
        page.keys("p")
        page.keys(*[Keys.ARROW_DOWN] * 60, Keys.ENTER)  # from the cup down to the table
        hue = until(lambda: page.driver.find_elements(By.CSS_SELECTOR, '[aria-label="Selective colour: Hue, number"]'), "the adjustment")[0]
        self.assertIn(float(hue.get_attribute("value")), range(20, 110), "the cup stands on warm wood")
        with page.new_picture():
            page.slide("Selective colour: Chroma", -1)
        # Picking again while its card is in use moves it; no second one is made.
        page.script("arguments[0].focus(); arguments[0].value = 200; arguments[0].dispatchEvent(new Event('change'))", hue)
        page.button("Pick its hue in the picture, Selective colour").click()
        page.keys(*[Keys.ARROW_DOWN] * 60, Keys.ENTER)
        until(lambda: float(page.named("Selective colour: Hue, number").get_attribute("value")) < 110, "the hue")
        self.assertEqual(page.problems(), [])

    def test_detail_is_the_full_picture(self):
        photo = os.path.join(self.folder, "large.jpg")
        self.tool("convert", STILL_LIFE, photo, "--megapixels", 2.5)
        page = self.open(self.tuning("vivid"), photo)
        full = self.tool.pixels(photo, "-t", self.directory)
        self.assertLess(page.pixels().shape[1], full.shape[1])
        page.keys("z")
        for _ in range(2):
            detail = until(lambda: page.driver.find_elements(By.CSS_SELECTOR, ".pane-after .detail:not([hidden])"), "the detail")[0]
            left, top, width, height = map(int, detail.get_attribute("data-crop").split(","))
            self.assertGreater(width * height, 300_000)
            numpy.testing.assert_array_equal(page.canvas(detail)[:, :, :3], full[top:top + height, left:left + width])
            page.driver.find_element(By.ID, "stage").send_keys(Keys.ARROW_RIGHT, Keys.ARROW_DOWN)

    def test_mask(self):
        page = self.open(self.tuning("neutral", "--protect", "skin"), PORTRAIT)
        page.keys("m")
        mask = page.driver.find_element(By.CSS_SELECTOR, ".overlay-mask")
        until(lambda: mask.is_displayed() and int(mask.get_attribute("width")) > 1, "the mask")
        self.tool("stages", PORTRAIT, "-t", self.directory, "-o", os.path.join(self.folder, "stages"))
        wanted = numpy.asarray(Image.open(os.path.join(self.folder, "stages", "mask.png")).convert("L"))
        strength = page.canvas(mask)[:, :, 3]
        numpy.testing.assert_allclose(strength, 0.65 * wanted, atol=1)
        self.assertGreater(strength.max(), strength.min() + 50)

    def test_fit_to_a_dropped_pair(self):
        page = self.open(self.tuning("neutral"), PORTRAIT)
        before = page.pixels("Before")[::4, ::4]
        after = numpy.clip(before * [1.0, 0.9, 0.8], 0, 255).astype(numpy.uint8)
        page.drop(("p.png", png(before)), ("p_after.png", png(after)))
        with page.new_picture():
            until(lambda: page.button("Fit").is_displayed(), "the dialog")
            page.driver.find_element(By.CSS_SELECTOR, "#fit .primary").click()
        report = until(lambda: page.driver.find_element(By.CSS_SELECTOR, "#fit .report").text, "the report")
        until(lambda: "CIEDE2000" in page.driver.find_element(By.CSS_SELECTOR, "#fit .report").text, report)
        shown, wanted = page.pixels()[::4, ::4].astype(int), after.astype(int)
        self.assertLess(abs(shown - wanted).mean(), 6, "the picture becomes what the pair's edit made")
        page.keys(Keys.ESCAPE)

    def test_newest_change_wins(self):
        page = self.open(self.tuning("neutral"), PORTRAIT)
        page.script("""
            window.revisions = [];
            new MutationObserver(() => window.revisions.push(Number(document.querySelector("[aria-label=After]").dataset.revision)))
              .observe(document.querySelector("[aria-label=After]"), {attributeFilter: ["data-revision"]});
            const slider = document.querySelector("[aria-label=Saturation]");
            for (let i = 1; i <= 40; ++i) setTimeout(() => {
              slider.value = i === 40 ? 0.3 : 1 + (i % 20) / 20;
              slider.dispatchEvent(new Event("input", {bubbles: true}));
              if (i === 40) { slider.dispatchEvent(new Event("change", {bubbles: true})); window.done = true; }
            }, 10 * i);""")
        until(lambda: page.script("return window.done"), "the drag")
        page.settled()
        revisions = page.script("return window.revisions")
        self.assertEqual(revisions, sorted(set(revisions)))
        page.save()
        page.settled()
        numpy.testing.assert_array_equal(page.pixels(), self.tool.pixels(PORTRAIT, "-t", self.directory))
        page.button("Undo").click()
        self.assertFalse(page.button("Undo").is_enabled(), "one drag is one step")

    def test_fade_and_findings(self):
        page = self.open(self.tuning("neutral,night"), PORTRAIT, os.path.join(SAMPLES, "README.md"))
        self.assertTrue(any("README.md" in note for note in page.notices), "a photo that is none")
        page.keys("f")
        begun = page.revision
        page.driver.find_element(By.XPATH, '//*[@id="fade"]//button[text()="Play"]').click()
        until(lambda: page.revision > begun + 20, "the fade")
        page.keys(Keys.ESCAPE)
        page.settled()
        page.driver.find_element(By.CSS_SELECTOR, "#settings summary").click()
        page.driver.find_element(By.CSS_SELECTOR, "#settings [role=switch]").click()  # all of photos off
        finding = until(lambda: page.driver.find_elements(By.CSS_SELECTOR, ".finding p"), "a finding")[0].text
        until(lambda: finding[:20] in page.driver.find_element(By.ID, "announcer").get_attribute("textContent"), "its announcement")


class Speed(fixture.Test):
    """Measured and printed; the limits are for a machine that has other work."""

    def test_latency(self):
        self.tuning("neutral")
        for megapixels in (1, 12):
            with self.subTest(megapixels=megapixels):
                photo = os.path.join(self.folder, f"{megapixels}.jpg")
                self.tool("convert", STILL_LIFE, photo, "--megapixels", megapixels)
                page = self.open(self.directory, photo)
                first = page.script("return performance.getEntriesByName('first-picture')[0].startTime")
                times = self.changes(page)
                height, width, _ = page.pixels().shape
                print(f"\n{megapixels} megapixels: first picture {first:.0f} ms after the page was asked for; change to picture, shown at "
                      f"{width} x {height}: median {numpy.median(times):.0f} ms, worst {max(times):.0f} ms", flush=True)
                self.assertLess(numpy.median(times), 1500)
                self.assertLess(first, 8000)

    def changes(self, page):
        """Milliseconds from a change to the first picture of it, fifteen times."""
        return page.script("""
            return (async () => {
              const after = document.querySelector("[aria-label=After]"), slider = document.querySelector("[aria-label=Saturation]"), times = [];
              for (let i = 0; i < 15; ++i) {
                const begun = performance.now(), revision = after.dataset.revision;
                slider.value = 1.05 + i / 20;
                slider.dispatchEvent(new Event("input", {bubbles: true}));
                slider.dispatchEvent(new Event("change", {bubbles: true}));
                while (after.dataset.revision === revision) await new Promise((resolve) => setTimeout(resolve, 1));
                times.push(performance.now() - begun);
                await new Promise((resolve) => setTimeout(resolve, 60));
              }
              return times;
            })();""")
