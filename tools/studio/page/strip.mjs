// The strip of photos: all of them follow every change, one after the other, when the main picture has settled.

import * as api from "./api.mjs";
import { el, reveal } from "./dom.mjs";

const kPixels = 24_000;  // of a thumbnail
const kRest = 200;       // ms without a change

export class Strip {
  constructor(app, node) {
    this.app = app;
    this.node = node;
    const { photos } = app.info;
    node.hidden = photos.length < 2;
    this.options = photos.map((photo, index) => {
      const canvas = el("canvas", { width: 1, height: 1, "aria-hidden": "true" });
      return el("div", {
        role: "option", class: "thumb", id: `photo-${index}`, "aria-label": photo.error ? `${photo.name}: ${photo.error}` : photo.name,
        title: photo.error ?? photo.name, "aria-disabled": photo.error ? "true" : null,
        onclick: () => { if (!photo.error) this.app.setView({ photo: index }); node.focus(); },
      }, photo.error ? el("span", { class: "thumb-error", "aria-hidden": "true" }, "!") : canvas,
      el("span", { class: "thumb-name", "aria-hidden": "true" }, photo.name));
    });
    node.append(...this.options);
    node.addEventListener("keydown", (event) => {
      const step = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 }[event.key];
      if (!step) return;
      event.preventDefault();
      event.stopPropagation();
      this.step(step);
    });
  }

  // To the next photo that can be read.
  step(by) {
    const { photos } = this.app.info;
    for (let at = this.app.view.photo + by; at >= 0 && at < photos.length; at += by) {
      if (!photos[at].error) return this.app.setView({ photo: at });
    }
  }

  update() {
    this.options.forEach((option, i) => option.setAttribute("aria-selected", i === this.app.view.photo ? "true" : "false"));
    this.node.setAttribute("aria-activedescendant", `photo-${this.app.view.photo}`);
    if (this.node.hidden) return;
    reveal(this.node, this.options[this.app.view.photo]);
    const { table, mode, backEnd } = this.app.view;
    const wanted = [this.app.document, table, mode, backEnd];
    if (this.wanted && wanted.every((value, i) => value === this.wanted[i])) return;
    this.wanted = wanted;
    this.abort?.abort();
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.draw(), kRest);
  }

  async draw() {
    this.abort = new AbortController();
    const { signal } = this.abort;
    for (const [index, photo] of this.app.info.photos.entries()) {
      if (photo.error) continue;
      try {
        const picture = await api.render({ ...this.app.request(), photo: index, stage: null, pixels: kPixels, lane: "strip" }, signal);
        const canvas = this.options[index].querySelector("canvas");
        Object.assign(canvas, { width: picture.width, height: picture.height });
        canvas.getContext("2d").putImageData(new ImageData(picture.data, picture.width, picture.height), 0, 0);
        this.options[index].classList.remove("failed");
      } catch (error) {
        if (signal.aborted) return;
        this.options[index].classList.add("failed");
      }
    }
  }
}
