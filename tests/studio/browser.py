"""A studio and a real browser for tests: Debian's chromium without a window, through python3-selenium."""
import base64
import contextlib
import io
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time

import numpy
from PIL import Image
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

REPOSITORY = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SAMPLES = os.path.join(REPOSITORY, "samples")
PATIENCE = 20  # seconds that anything may take on a machine that has other work


def until(what, message, patience=PATIENCE):
    """The first true value that `what` gives."""
    end = time.monotonic() + patience
    while True:
        value = what()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"{message}: not within {patience} s")
        time.sleep(0.01)


class Tool:
    """The program under test."""

    def __init__(self, program):
        self.program = program

    def __call__(self, *arguments, code=0):
        done = subprocess.run([self.program, *map(str, arguments)], capture_output=True, text=True, timeout=60)
        assert done.returncode == code, f"{arguments} ended with {done.returncode}: {done.stderr}"
        return done.stdout

    def pixels(self, *arguments):
        """What `run` writes, as an array of RGB."""
        with tempfile.TemporaryDirectory() as folder:
            out = os.path.join(folder, "out.png")
            self("run", arguments[0], out, *arguments[1:])
            return numpy.asarray(Image.open(out).convert("RGB"))


class Studio:
    """`huevance studio` on a directory, for as long as the block lasts."""

    def __init__(self, tool, directory, *photos, arguments=()):
        # The library's log goes to standard error; nobody reads it here.
        self.process = subprocess.Popen(
            [tool.program, "studio", directory, *photos, "--no-browser", *arguments],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.url = self.process.stdout.readline().strip()
        match = re.fullmatch(r"http://127\.0\.0\.1:(\d+)/\?token=([A-Za-z0-9_-]{22,})", self.url)
        assert match, f"no address: {self.url!r}"
        self.port, self.token = int(match[1]), match[2]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGINT)
        assert self.process.wait(PATIENCE) == 0, "Ctrl-C should end it with 0"
        self.process.stdout.close()


@contextlib.contextmanager
def chromium(width=1440, height=900):
    """A browser with a profile of its own, which is removed."""
    profile = tempfile.mkdtemp()
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium") or ""
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--no-first-run",
                     "--disable-extensions", "--disable-background-networking", "--force-device-scale-factor=1",
                     "--disable-crash-reporter", f"--user-data-dir={profile}", f"--window-size={width},{height}"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    # What the browser leaves in the temporary folder goes with its profile.
    service = Service(shutil.which("chromedriver"), env={**os.environ, "TMPDIR": profile})
    driver = webdriver.Chrome(service=service, options=options)
    try:
        yield driver
    finally:
        driver.quit()
        shutil.rmtree(profile, ignore_errors=True)


class Page:
    """The studio's page as a person meets it: by roles and names."""

    def __init__(self, driver, studio, width=1440, height=900, scheme="light"):
        self.driver = driver
        driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                               {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})
        self.set_scheme(scheme)
        driver.get_log("browser")  # what other pages complained about
        driver.get(studio.url)
        self.settled()

    def set_scheme(self, scheme):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def named(self, name, match="="):
        return self.driver.find_element(By.CSS_SELECTOR, f'[aria-label{match}"{name}"]')

    def button(self, text):
        return self.driver.find_element(By.XPATH, f'//button[normalize-space()="{text}" or @aria-label="{text}"]')

    @property
    def revision(self):
        return int(self.named("After").get_attribute("data-revision"))

    @property
    def state(self):
        return self.driver.find_element(By.ID, "state").text

    @property
    def scenes(self):
        return [option.text for option in self.driver.find_elements(By.CSS_SELECTOR, '[aria-label="Scenes"] .scene-name')]

    @property
    def notices(self):
        return [note.text for note in self.driver.find_elements(By.CSS_SELECTOR, ".notice p")]

    def settled(self):
        """Waits until the pictures of what is on the page are shown, in full."""
        until(lambda: self.script("""
            const stage = document.querySelector("#stage"), shown = (name) => Number(
              document.querySelector(`[aria-label=${name}]`)?.dataset.revision ?? 0) > 0;
            return stage.getAttribute("aria-busy") === "false" && shown("After") && shown("Before");"""), "pictures")

    def save(self):
        self.button("Save").click()
        until(lambda: self.state == "Saved", "saving")

    @contextlib.contextmanager
    def new_picture(self):
        before = self.revision
        yield
        until(lambda: self.revision > before, "a new picture")
        self.settled()

    def pixels(self, name="After"):
        """What the page shows, as an array of RGB."""
        return self.canvas(self.named(name))[:, :, :3]

    def canvas(self, canvas):
        """Its pixels, as an array of RGBA."""
        encoded = self.script("""
            const canvas = arguments[0], {width, height} = canvas;
            const data = canvas.getContext("2d").getImageData(0, 0, width, height).data;
            let text = "";
            for (let at = 0; at < data.length; at += 32768) text += String.fromCharCode(...data.subarray(at, at + 32768));
            return [width, height, btoa(text)];""", canvas)
        width, height, data = encoded
        return numpy.frombuffer(base64.b64decode(data), numpy.uint8).reshape(height, width, 4)

    def slide(self, name, value):
        """As a drag to that value ends."""
        self.script("""
            const [slider, value] = arguments;
            slider.value = value;
            slider.dispatchEvent(new Event("input", {bubbles: true}));
            slider.dispatchEvent(new Event("change", {bubbles: true}));""", self.named(name), value)

    def choose(self, name, value):
        """From a list that opens."""
        self.script("arguments[0].value = arguments[1]; arguments[0].dispatchEvent(new Event('change', {bubbles: true}))", self.named(name), value)

    def type_into(self, name, text):
        field = self.named(name)
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys(text, Keys.ENTER)

    def choose_scene(self, name):
        option = self.driver.find_element(
            By.XPATH, f'//*[@aria-label="Scenes"]//*[@role="option" and @aria-label="{name}"]')
        if option.get_attribute("aria-selected") == "false":
            option.click()

    @property
    def curve_points(self):
        return self.driver.find_elements(By.CSS_SELECTOR, ".curve-point")

    def on_curve(self, point):
        """A place of the tone curve, from its middle: input and output levels, 0 to 255."""
        box = self.named("Tone curve").rect
        return round((point[0] / 255 - 0.5) * (box["width"] - 18)), round((0.5 - point[1] / 255) * (box["height"] - 18))

    def double_press_curve(self, point):
        ActionChains(self.driver, duration=20).move_to_element_with_offset(self.named("Tone curve"), *self.on_curve(point)).double_click().perform()

    def drag_curve(self, start, end):
        curve = self.named("Tone curve")
        self.script("arguments[0].scrollIntoView({block: 'nearest'})", curve)
        (x0, y0), (x1, y1) = self.on_curve(start), self.on_curve(end)
        actions = ActionChains(self.driver, duration=20).move_to_element_with_offset(curve, x0, y0).click_and_hold()
        for step in range(1, 6):
            actions.move_to_element_with_offset(curve, x0 + (x1 - x0) * step // 5, y0 + (y1 - y0) * step // 5)
        actions.release().perform()

    def drop(self, *files):
        """Drops (name, bytes) onto the page."""
        self.script("""
            const transfer = new DataTransfer();
            for (const [name, text] of arguments[0]) {
              transfer.items.add(new File([Uint8Array.from(atob(text), (c) => c.charCodeAt(0))], name));
            }
            for (const type of ["dragenter", "dragover", "drop"]) {
              document.querySelector("#stage").dispatchEvent(new DragEvent(type, {dataTransfer: transfer, bubbles: true, cancelable: true}));
            }""", [[name, base64.b64encode(data).decode()] for name, data in files])

    def keys(self, *keys):
        ActionChains(self.driver, duration=10).send_keys(*keys).perform()

    def chord(self, *keys):
        actions = ActionChains(self.driver, duration=10)
        for key in keys[:-1]:
            actions.key_down(key)
        actions.send_keys(keys[-1])
        for key in keys[:-1]:
            actions.key_up(key)
        actions.perform()

    def problems(self):
        """What the browser's console complains about, network answers that a test provokes left out."""
        return [entry["message"] for entry in self.driver.get_log("browser")
                if entry["level"] == "SEVERE" and entry["source"] != "network"]


def cube(size=5, change=lambda r, g, b: (r, g, b)):
    """A .cube file."""
    steps = [step / (size - 1) for step in range(size)]
    rows = ["%.6f %.6f %.6f" % change(r, g, b) for b in steps for g in steps for r in steps]
    return ("TITLE \"test\"\nLUT_3D_SIZE %d\n" % size + "\n".join(rows) + "\n").encode()


def png(array):
    out = io.BytesIO()
    Image.fromarray(array).save(out, "PNG")
    return out.getvalue()
