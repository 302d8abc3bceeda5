"""Whether everybody can use the page: names, contrast, keyboard, narrow screens, dark rooms."""
import os

from selenium.webdriver.common.keys import Keys

import fixture
from browser import SAMPLES

PHOTOS = [os.path.join(SAMPLES, name) for name in ("portrait.jpg", "still_life.jpg")]
VIEWS = [(1440, 900, "light"), (1440, 900, "dark"), (390, 844, "light"), (390, 844, "dark")]

# What is wrong with the page's tree: names, roles, ids, sizes.
AUDIT = """
const wrong = [], say = (node, what) => wrong.push(`${node.outerHTML.slice(0, 90)}: ${what}`);
const visible = (node) => node.checkVisibility({checkOpacity: false, checkVisibilityCSS: true});
const ids = [...document.querySelectorAll("[id]")].map((node) => node.id);
for (const id of ids) if (ids.indexOf(id) !== ids.lastIndexOf(id)) wrong.push(`id ${id} twice`);
for (const attribute of ["aria-labelledby", "aria-describedby", "aria-activedescendant", "for"]) {
  for (const node of document.querySelectorAll(`[${attribute}]`)) {
    for (const id of node.getAttribute(attribute).split(" ")) if (!document.getElementById(id)) say(node, `${attribute} leads nowhere`);
  }
}
const nameOf = (node) => node.getAttribute("aria-label") ?? (node.labels?.length ? [...node.labels].map((one) => one.textContent).join(" ") : node.textContent);
const kControls = "button, input, textarea, select, a[href], summary, [tabindex], [role=slider], [role=option], [role=img], canvas:not([aria-hidden])";
for (const node of document.querySelectorAll(kControls)) {
  if (!visible(node) || node.closest("[aria-hidden=true]")) continue;
  if (!nameOf(node).trim()) say(node, "no name");
  const native = node.matches("button, input, textarea, select, a, summary");
  if (!native && !node.getAttribute("role")) say(node, "no role");
  if (node.tabIndex > 0) say(node, "jumps the queue");
  const box = (node.closest("label") ?? node).getBoundingClientRect();
  const spot = node.matches("canvas, .visually-hidden, .curve-point") || node.closest("svg");
  if (!spot && node.matches("button, input, select, [role=option]") && (box.width < 24 || box.height < 24)) say(node, `${box.width} x ${box.height} is too small a target`);
}
const names = new Map();
for (const node of document.querySelectorAll("button, input, select, [role=slider], [role=listbox]")) {
  if (!visible(node)) continue;
  const name = nameOf(node).trim();
  if (names.has(name)) say(node, "shares its name with another control");
  names.set(name, node);
}
for (const owner of document.querySelectorAll("[role=listbox]")) {
  if (visible(owner) && !owner.querySelector("[role=option]")) say(owner, "has no options");
}
for (const slider of document.querySelectorAll("[role=slider]")) if (!slider.hasAttribute("aria-valuenow")) say(slider, "has no value");
if (document.documentElement.lang !== "en" || !document.title) wrong.push("no language or title");
if (document.documentElement.scrollWidth > innerWidth) wrong.push(`the page scrolls sideways: ${document.documentElement.scrollWidth}`);
return wrong;
"""

# Texts whose contrast with what lies behind them is less than 4.5 to 1 (WCAG 2), controls' edges less than 3 to 1.
CONTRAST = """
const canvas = document.createElement("canvas").getContext("2d", {willReadFrequently: true});
const rgba = (text) => { canvas.clearRect(0, 0, 1, 1); canvas.fillStyle = text; canvas.fillRect(0, 0, 1, 1); return [...canvas.getImageData(0, 0, 1, 1).data]; };
const over = (front, back) => front.slice(0, 3).map((value, i) => (value * front[3] + back[i] * (255 - front[3])) / 255).concat(255);
const behind = (node) => {
  const layers = [];
  for (let at = node; at; at = at.parentElement) {
    const colour = rgba(getComputedStyle(at).backgroundColor);
    layers.push(colour);
    if (colour[3] === 255) break;
  }
  return layers.reverse().reduce((back, front) => over(front, back), [255, 255, 255, 255]);
};
const luminance = (colour) => colour.slice(0, 3).map((value) => value / 255)
  .map((value) => (value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4)).reduce((sum, value, i) => sum + value * [0.2126, 0.7152, 0.0722][i], 0);
const ratio = (a, b) => { const [x, y] = [luminance(a), luminance(b)].sort((p, q) => q - p); return (x + 0.05) / (y + 0.05); };
const wrong = [];
let looked = 0;
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (walker.nextNode()) {
  const node = walker.currentNode.parentElement;
  if (!walker.currentNode.data.trim() || !node.checkVisibility({checkVisibilityCSS: true})) continue;
  if (node.closest(":disabled, .visually-hidden, script, style, noscript, option, svg, label:has(:disabled)")) continue;
  const back = behind(node), found = ratio(over(rgba(getComputedStyle(node).color), back), back);
  ++looked;
  if (found < 4.5) wrong.push(`"${walker.currentNode.data.trim().slice(0, 30)}" ${found.toFixed(2)}`);
}
for (const node of document.querySelectorAll("input:not([type=range]), textarea, select, button:not(.icon-button)")) {
  if (!node.checkVisibility({checkVisibilityCSS: true}) || node.disabled || node.matches(".visually-hidden, .segments *")) continue;
  const style = getComputedStyle(node), outside = behind(node.parentElement);
  const text = ratio(over(rgba(style.color), behind(node)), behind(node));
  if (node.matches("textarea, input[type=text], input[type=number], select") && text < 4.5) wrong.push(`${node.getAttribute("aria-label")} ${text.toFixed(2)}`);
  const edge = Math.max(ratio(rgba(style.borderTopColor), outside), ratio(behind(node), outside));
  if (node.type !== "checkbox" && edge < 3) wrong.push(`edge of ${node.getAttribute("aria-label") ?? node.textContent} ${edge.toFixed(2)}`);
}
if (looked < 30) wrong.push(`only ${looked} texts looked at`);
return wrong;
"""


class Access(fixture.Test):
    def test_audit(self):
        page = self.open(self.tuning("neutral,food"), *PHOTOS)
        for width, height, scheme in VIEWS:
            with self.subTest(width=width, scheme=scheme):
                self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                            {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 500})
                page.set_scheme(scheme)
                self.open_everything(page)
                self.assertEqual(page.script(AUDIT), [])
                self.assertEqual(page.script(CONTRAST), [])
                dark = page.script("return getComputedStyle(document.body).backgroundColor")
                self.assertEqual(max(map(int, dark[4:-1].split(","))) < 80, scheme == "dark")

    def open_everything(self, page):
        page.script("document.querySelector('#settings').open = true")
        if not page.script("return document.querySelectorAll('.card').length > 3"):
            for kind in ("selective", "tint", "warmth"):
                page.script("document.querySelector('[aria-label=\"Kind of adjustment\"]').value = arguments[0]", kind)
                page.button("Add").click()
            page.script("document.querySelector('#fade-button').click()")
        page.settled()

    def test_keyboard_reaches_everything(self):
        page = self.open(self.tuning("neutral,food"), *PHOTOS)
        page.script("document.activeElement.blur()")
        reached, hidden = set(), []
        for _ in range(120):
            page.keys(Keys.TAB)
            seen = page.script("""
                const node = document.activeElement, style = getComputedStyle(node.matches(".segments input") ? node.nextElementSibling : node);
                const inner = node.querySelector(".curve-reach, .grip"), other = inner && getComputedStyle(inner);
                const around = node.closest(".button") && getComputedStyle(node.closest(".button"));
                const marked = [style, other, around].some((one) => one && (one.outlineStyle !== "none" || one.boxShadow !== "none" || (one.stroke ?? "none") !== "none"));
                return node === document.body ? null : [node.id || node.getAttribute("aria-label") || node.textContent, marked];""")
            if seen is None:
                break
            reached.add(seen[0])
            if not seen[1]:
                hidden.append(seen[0])
        self.assertEqual(hidden, [], "the focus can be seen")
        missing = page.script("""
            return [...document.querySelectorAll("button:not(:disabled), input:not(:disabled), select, [tabindex='0']")]
              .filter((node) => node.checkVisibility() && !(node.type === "radio" && !node.checked))
              .map((node) => node.id || node.getAttribute("aria-label") || node.textContent);""")
        self.assertEqual(set(missing) - reached, set())
        # And the help that says how, which gives the focus back.
        page.button("Save")
        page.driver.find_element("id", "help-button").send_keys(Keys.ENTER)
        self.assertEqual(page.script("return document.querySelector('dialog[open]')?.id"), "help")
        page.keys(Keys.ESCAPE)
        self.assertEqual(page.script("return document.activeElement.id"), "help-button")

    def test_narrow(self):
        page = self.open(self.tuning("neutral,food"), *PHOTOS, width=390, height=844)
        box = page.named("After").rect
        self.assertEqual(box["width"], 390)
        page.script("document.querySelector('[aria-label=Saturation]').scrollIntoView({block: 'end'})")
        self.assertGreaterEqual(page.named("After").rect["y"], page.script("return scrollY"), "the picture stays in sight")
        with page.new_picture():
            page.slide("Saturation", 1.5)
        zoom = page.named("Zoom").text
        page.script("scrollTo(0, 0)")
        middle = page.named("After").rect["y"] + 150
        for kind, spread in (("touchStart", 20), ("touchMove", 40), ("touchMove", 60), ("touchEnd", None)):
            points = [{"x": 100 + side * spread, "y": middle, "id": side + 1} for side in (-1, 1)] if spread else []
            self.driver.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": kind, "touchPoints": points})
        self.assertGreater(int(page.named("Zoom").text.split()[0]), 2 * int(zoom.split()[0]), "two fingers zoom")
