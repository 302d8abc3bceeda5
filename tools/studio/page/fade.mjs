// The fade between two scenes, played as the preview does it.

import * as api from "./api.mjs";
import { el, setOptions } from "./dom.mjs";

const kFrames = 60;         // at most
const kPixels = 120_000;    // of each
const kInterval = 1000 / 30;

export class Fade {
  constructor(app, parent) {
    this.app = app;
    this.node = parent;
    this.from = el("select", { "aria-label": "Fade from" });
    this.to = el("select", { "aria-label": "Fade to" });
    this.button = el("button", { type: "button", class: "small", onclick: () => (this.timer ? this.stop() : this.play()) }, "Play");
    this.position = el("input", { type: "range", min: 0, max: 0, step: 1, value: 0, "aria-label": "Frame of the fade", disabled: true });
    this.number = el("output", { class: "numbers" });
    this.position.addEventListener("input", () => { this.stop(); this.show(Number(this.position.value)); });
    for (const select of [this.from, this.to]) select.addEventListener("change", () => this.forget());
    parent.append(el("span", { class: "bar-title" }, "Fade"), this.from, el("span", { "aria-hidden": "true" }, "→"), this.to, this.button,
      this.position, this.number, el("button", { type: "button", class: "small", onclick: () => this.app.toggleFade(false) }, "Close fade"));
  }

  get open() { return !this.node.hidden; }

  setOpen(open) {
    if (open === this.open) return;
    this.node.hidden = !open;
    this.forget();
    if (open) {
      const { table } = this.app.view;
      this.update();
      this.from.value = String(table === 0 ? 1 % this.app.document.tables.length : 0);
      this.to.value = String(table);
      this.button.focus();
    }
  }

  update() {
    const options = this.app.document.tables.map((entry, i) => ({ value: String(i), text: entry.look?.name ?? `table ${i}` }));
    setOptions(this.from, options);
    setOptions(this.to, options);
    if (this.document !== this.app.document || this.photo !== this.app.view.photo) this.forget();
  }

  forget() {
    this.stop();
    this.frames = null;
    this.document = this.app.document;
    this.photo = this.app.view.photo;
    this.position.disabled = true;
    this.number.textContent = "";
  }

  async load() {
    this.button.disabled = true;
    try {
      const asked = this.document;
      const answer = await api.fade({
        document: asked, photo: this.app.view.photo, from: Number(this.from.value), to: Number(this.to.value), frames: kFrames, pixels: kPixels,
      });
      if (asked === this.app.document) this.frames = answer;
    } catch (error) {
      this.app.fail(error);
    }
    this.button.disabled = false;
  }

  async play() {
    if (!this.frames) await this.load();
    if (!this.frames || !this.open) return;
    this.position.max = this.frames.frames.length - 1;
    this.position.disabled = false;
    // Somebody who wants less motion steps through the frames by hand.
    if (matchMedia("(prefers-reduced-motion: reduce)").matches) return this.show(0);
    let frame = Number(this.position.value) >= Number(this.position.max) ? 0 : Number(this.position.value);
    this.button.textContent = "Stop";
    this.timer = setInterval(() => {
      this.show(frame);
      if (++frame >= this.frames.frames.length) this.stop();
    }, kInterval);
  }

  stop() {
    clearInterval(this.timer);
    this.timer = null;
    this.button.textContent = "Play";
  }

  show(frame) {
    const { width, height, frames } = this.frames;
    this.position.value = frame;
    this.position.setAttribute("aria-valuetext", `frame ${frame + 1} of ${frames.length}`);
    this.number.textContent = `${frame + 1} / ${frames.length}`;
    this.app.showFrame({ width, height, fullWidth: width, fullHeight: height, data: frames[frame] });
  }
}
