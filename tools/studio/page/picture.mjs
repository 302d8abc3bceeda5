// The stage: "After" and "Before" on top of each other or side by side, with zoom, pan and a divider.
//
// A pane holds a canvas with the whole picture at the size of its rendering, and over it what belongs to the same
// geometry: a sharper detail of what is visible, and overlays. The canvas fills the pane, the picture inside keeps its shape.

import { el } from "./dom.mjs";

const kMostZoom = 32;      // screen pixels for one of the picture's
const kKeyPan = 60;        // CSS pixels

function makePane(label) {
  const canvas = el("canvas", { class: "whole", role: "img", "aria-label": label, "data-revision": 0, width: 1, height: 1 });
  const detail = el("canvas", { class: "detail", "aria-hidden": "true", width: 1, height: 1, hidden: true });
  const overlays = el("div", { class: "overlays", "aria-hidden": "true" });
  const mover = el("div", { class: "mover" }, canvas, detail, overlays);
  const node = el("div", { class: `pane pane-${label.toLowerCase()}` }, mover, el("span", { class: "pane-label", "data-label": label, "aria-hidden": "true" }));
  return { node, mover, canvas, detail, overlays, picture: null };
}

const draw = (canvas, { width, height, data }) => {
  if (canvas.width !== width || canvas.height !== height) Object.assign(canvas, { width, height });
  canvas.getContext("2d").putImageData(new ImageData(data, width, height), 0, 0);
};

export class Stage {
  // on.moved(): zoom or position changed; on.picked(u, v): a place of the picture, each 0 to 1; on.pickEnded()
  constructor(node, on) {
    this.node = node;
    this.on = on;
    this.after = makePane("After");
    this.before = makePane("Before");
    this.split = 0.5;
    this.view = { scale: 1, x: 0, y: 0 };
    this.picking = false;
    this.pointers = new Map();
    this.divider = el("div", {
      class: "divider", role: "slider", tabindex: 0, "aria-label": "Divider between before and after",
      "aria-valuemin": 0, "aria-valuemax": 100, "aria-orientation": "horizontal",
    }, el("span", { class: "grip", "aria-hidden": "true" }));
    this.cross = el("div", { class: "cross", "aria-hidden": "true", hidden: true });
    node.append(this.after.node, this.before.node, this.divider, this.cross);
    this.listen();
    this.setSplit(0.5);
    new ResizeObserver(() => this.place()).observe(node);
  }

  get pane() { return this.after.node.getBoundingClientRect(); }
  get fullSize() { return this.after.picture ?? this.before.picture; }

  // The picture in the pane at fit, CSS pixels.
  get box() {
    const { width, height } = this.pane, picture = this.fullSize;
    if (!picture || !width) return { x: 0, y: 0, width, height };
    const fit = Math.min(width / picture.fullWidth, height / picture.fullHeight);
    const w = picture.fullWidth * fit, h = picture.fullHeight * fit;
    return { x: (width - w) / 2, y: (height - h) / 2, width: w, height: h };
  }

  // Device pixels of the pane: what a rendering should have.
  get pixels() {
    const { width, height } = this.pane;
    return Math.round(width * height * devicePixelRatio ** 2);
  }

  show(pane, picture) {
    const isNewShape = !pane.picture || pane.picture.width / pane.picture.height !== picture.width / picture.height;
    pane.picture = picture;
    draw(pane.canvas, picture);
    pane.detail.hidden = true;
    pane.canvas.dataset.revision = Number(pane.canvas.dataset.revision) + 1;
    if (isNewShape) this.place();
    else this.sharpen();
  }

  // A detail: crop [x, y, w, h] of the whole picture at width x height.
  showDetail(pane, picture, [x, y, w, h]) {
    const box = this.box, sx = box.width / picture.fullWidth, sy = box.height / picture.fullHeight;
    draw(pane.detail, picture);
    Object.assign(pane.detail.style, {
      left: `${box.x + x * sx}px`, top: `${box.y + y * sy}px`, width: `${w * sx}px`, height: `${h * sy}px`,
    });
    pane.detail.dataset.crop = [x, y, w, h];
    pane.detail.hidden = false;
  }

  // What a sharper rendering of the visible part would be, or null when the whole picture is sharp enough:
  // {pixels: of the whole picture, crop: in these}.
  wantedDetail(photo) {
    const picture = this.after.picture, { scale, x, y } = this.view, box = this.box, pane = this.pane;
    if (!picture || !photo || scale <= 1) return null;
    const onScreen = box.width * scale * devicePixelRatio;
    const most = Math.max(photo.width, photo.height) / Math.max(picture.fullWidth, picture.fullHeight) * picture.fullWidth;
    if (onScreen <= picture.width * 1.05 || picture.width >= most) return null;
    const part = Math.min(1, onScreen / most);
    const width = Math.round(most * part), height = Math.round(width * box.height / box.width);
    const clip = (value) => Math.min(Math.max(value, 0), 1);
    const left = clip((-x / scale - box.x) / box.width), right = clip(((pane.width - x) / scale - box.x) / box.width);
    const top = clip((-y / scale - box.y) / box.height), bottom = clip(((pane.height - y) / scale - box.y) / box.height);
    const crop = [Math.floor(left * width), Math.floor(top * height), Math.ceil((right - left) * width), Math.ceil((bottom - top) * height)];
    return crop[2] > 1 && crop[3] > 1 ? { pixels: part === 1 ? 0 : width * height, crop } : null;
  }

  setLayout(layout) {
    this.node.dataset.layout = layout;
    this.divider.hidden = layout !== "split";
    this.place();
  }

  setSplit(part) {
    this.split = Math.min(Math.max(part, 0), 1);
    this.node.style.setProperty("--split", `${this.split * 100}%`);
    this.divider.setAttribute("aria-valuenow", Math.round(this.split * 100));
    this.divider.setAttribute("aria-valuetext", `${Math.round(this.split * 100)} % before`);
  }

  // Screen pixels for one of the picture's.
  get magnification() {
    const picture = this.fullSize;
    return picture ? (this.box.width * this.view.scale * devicePixelRatio) / (this.photoWidth ?? picture.fullWidth) : 1;
  }

  zoomTo(magnification, at) {
    const fit = this.magnification / this.view.scale;
    const scale = Math.min(Math.max(magnification / fit, 1), Math.max(1, kMostZoom / fit));
    const pane = this.pane, { x, y } = at ?? { x: pane.width / 2, y: pane.height / 2 };
    const ratio = scale / this.view.scale;
    this.view = { scale, x: x - (x - this.view.x) * ratio, y: y - (y - this.view.y) * ratio };
    this.place();
  }

  zoomBy(factor, at) { this.zoomTo(this.magnification * factor, at); }
  fit() { this.view = { scale: 1, x: 0, y: 0 }; this.place(); }
  toggleZoom(at) { if (this.view.scale > 1.001) this.fit(); else this.zoomTo(Math.max(1, this.magnification * 2), at); }

  pan(dx, dy) {
    this.view.x += dx;
    this.view.y += dy;
    this.place();
  }

  place() {
    const { scale } = this.view, box = this.box, pane = this.pane;
    // The picture covers the pane, or stands in its middle where it is smaller.
    const held = (at, start, size, room) => (size * scale <= room
      ? (room - size * scale) / 2 - start * scale
      : Math.min(Math.max(at, room - (start + size) * scale), -start * scale));
    this.view.x = held(this.view.x, box.x, box.width, pane.width);
    this.view.y = held(this.view.y, box.y, box.height, pane.height);
    const transform = scale === 1 ? "none" : `translate(${this.view.x}px, ${this.view.y}px) scale(${scale})`;
    for (const { mover, detail } of [this.after, this.before]) {
      mover.style.transform = transform;
      detail.hidden = true;
    }
    this.node.dataset.zoomed = scale > 1.001;
    this.sharpen();
    this.on.moved();
  }

  // Pixels stay pixels where one of them takes two of the screen's.
  sharpen() {
    const picture = this.fullSize;
    if (!picture) return;
    const size = (this.box.width * this.view.scale * devicePixelRatio) / picture.width;
    this.node.dataset.pixels = size >= 2 && this.view.scale > 1.001;
  }

  // The place of the picture under a point of the window, each 0 to 1, or null outside of it.
  placeAt(clientX, clientY) {
    const side = this.node.dataset.layout === "side";
    const panes = side ? [this.after.node, this.before.node] : [this.after.node];
    for (const node of panes) {
      const pane = node.getBoundingClientRect(), box = this.box;
      const u = ((clientX - pane.left - this.view.x) / this.view.scale - box.x) / box.width;
      const v = ((clientY - pane.top - this.view.y) / this.view.scale - box.y) / box.height;
      if (u >= 0 && u < 1 && v >= 0 && v < 1) return { u, v };
    }
    return null;
  }

  setPicking(on) {
    this.picking = on;
    this.node.dataset.picking = on;
    this.cross.hidden = !on;
    if (on) {
      const pane = this.pane, node = this.node.getBoundingClientRect();
      this.setCross(pane.left - node.left + pane.width / 2, pane.top - node.top + pane.height / 2);
      this.node.focus();
    }
  }

  setCross(x, y) {
    this.crossAt = { x, y };
    Object.assign(this.cross.style, { left: `${x}px`, top: `${y}px` });
  }

  pickAt(clientX, clientY) {
    const place = this.placeAt(clientX, clientY);
    if (place) this.on.picked(place.u, place.v);
  }

  listen() {
    const { node } = this;
    const inside = (event) => {
      const pane = this.pane, side = this.node.dataset.layout === "side" ? this.before.node.getBoundingClientRect() : pane;
      const base = event.clientX >= side.left && event.clientX < side.right && event.clientY >= side.top && event.clientY < side.bottom ? side : pane;
      return { x: event.clientX - base.left, y: event.clientY - base.top };
    };
    node.addEventListener("wheel", (event) => {
      event.preventDefault();
      const lines = event.deltaMode === 1 ? 16 : 1;
      this.zoomBy(Math.exp(-event.deltaY * lines * (event.ctrlKey ? 0.01 : 0.002)), inside(event));
    }, { passive: false });
    node.addEventListener("dblclick", (event) => {
      if (!this.picking && !event.target.closest(".divider")) this.toggleZoom(inside(event));
    });
    node.addEventListener("pointerdown", (event) => {
      if (event.button !== 0 || event.target.closest(".divider")) return;
      this.pointers.set(event.pointerId, inside(event));
      this.travelled = 0;
      node.setPointerCapture(event.pointerId);
    });
    node.addEventListener("pointermove", (event) => this.pointerMoved(event, inside(event)));
    const up = (event) => {
      const was = this.pointers.delete(event.pointerId);
      if (was && this.picking && event.type === "pointerup" && this.travelled < 6) this.pickAt(event.clientX, event.clientY);
    };
    node.addEventListener("pointerup", up);
    node.addEventListener("pointercancel", up);
    node.addEventListener("keydown", (event) => this.keyPressed(event));
    this.listenToDivider();
  }

  pointerMoved(event, at) {
    const old = this.pointers.get(event.pointerId);
    if (!old) {
      if (this.picking) {
        const box = this.node.getBoundingClientRect();
        this.setCross(event.clientX - box.left, event.clientY - box.top);
      }
      return;
    }
    const others = [...this.pointers].filter(([id]) => id !== event.pointerId).map(([, place]) => place);
    this.pointers.set(event.pointerId, at);
    this.travelled += Math.hypot(at.x - old.x, at.y - old.y);
    if (others.length) {
      const [other] = others;
      const spread = (place) => Math.max(Math.hypot(place.x - other.x, place.y - other.y), 1);
      this.zoomBy(spread(at) / spread(old), { x: (at.x + other.x) / 2, y: (at.y + other.y) / 2 });
      this.pan((at.x - old.x) / 2, (at.y - old.y) / 2);
    } else if (this.view.scale > 1) {
      this.pan(at.x - old.x, at.y - old.y);
    }
  }

  keyPressed(event) {
    if (event.target !== this.node || event.ctrlKey || event.metaKey || event.altKey) return;
    const arrows = { ArrowLeft: [1, 0], ArrowRight: [-1, 0], ArrowUp: [0, 1], ArrowDown: [0, -1] };
    const direction = arrows[event.key];
    if (this.picking && (direction || event.key === "Enter" || event.key === " ")) {
      const step = event.shiftKey ? 20 : 4, box = this.node.getBoundingClientRect();
      if (direction) this.setCross(this.crossAt.x - direction[0] * step, this.crossAt.y - direction[1] * step);
      else this.pickAt(box.left + this.crossAt.x, box.top + this.crossAt.y);
    } else if (direction) {
      this.pan(direction[0] * kKeyPan, direction[1] * kKeyPan);
    } else if (event.key === "+" || event.key === "=") {
      this.zoomBy(1.5);
    } else if (event.key === "-") {
      this.zoomBy(1 / 1.5);
    } else {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
  }

  listenToDivider() {
    const { divider } = this;
    const move = (event) => {
      const box = this.node.getBoundingClientRect();
      this.setSplit((event.clientX - box.left) / box.width);
    };
    divider.addEventListener("pointerdown", (event) => {
      divider.setPointerCapture(event.pointerId);
      divider.onpointermove = move;
    });
    divider.addEventListener("lostpointercapture", () => { divider.onpointermove = null; });
    divider.addEventListener("keydown", (event) => {
      const step = { ArrowLeft: -0.02, ArrowDown: -0.02, ArrowRight: 0.02, ArrowUp: 0.02, PageDown: -0.1, PageUp: 0.1, Home: -1, End: 1 }[event.key];
      if (!step) return;
      event.preventDefault();
      event.stopPropagation();
      this.setSplit(this.split + step);
    });
  }
}
