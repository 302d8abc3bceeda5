// "Tone curve": points dragged over the input's histogram. The line between them is the program's own.

import * as api from "./api.mjs";
import * as edits from "./edits.mjs";
import { base64ToFloats, el, iconButton, svg, uniqueId } from "./dom.mjs";

const kReach = 18;   // CSS pixels around a point that still take hold of it
const kDoublePress = 700;  // ms
const kMargin = 8;   // around the plot, so that points at its corners can be seen and held

export class CurveEditor {
  constructor(app, parent) {
    this.app = app;
    this.selected = 0;
    this.added = -Infinity;  // when a press made a point, ms
    this.grid = svg("path", { class: "curve-grid" });
    this.histogram = svg("path", { class: "curve-histogram" });
    this.diagonal = svg("path", { class: "curve-diagonal" });
    this.line = svg("path", { class: "curve-line" });
    this.handles = svg("g");
    this.plot = svg("svg", { class: "curve", role: "group", "aria-label": "Tone curve", "aria-describedby": "curve-help" },
      this.grid, this.histogram, this.diagonal, this.line, this.handles);
    const field = (label) => el("input", {
      type: "number", class: "number", min: 0, max: 255, step: 0.5, "aria-label": label, onchange: () => this.typed(),
    });
    this.input = field("Point input level");
    this.output = field("Point output level");
    this.remove = iconButton("remove", "Remove point", () => this.removeSelected());
    this.add = iconButton("plus", "Add point", () => this.addInLargestGap());
    this.straight = el("button", { type: "button", class: "small", onclick: () => this.change(edits.kIdentity, "Straight curve") }, "Straight");
    this.note = el("p", { class: "note", hidden: true }, "This curve is kept as 256 levels. Moving it turns it into points.");
    parent.append(this.plot, this.note,
      el("div", { class: "curve-fields" },
        el("span", { class: "pair" }, this.input, el("span", { "aria-hidden": "true" }, "→"), this.output),
        this.add, this.remove, this.straight),
      el("p", { id: "curve-help", class: "visually-hidden" },
        "Each point moves with the arrow keys, with Shift by ten levels. Delete removes it, the button Add point adds one."));
    this.plot.addEventListener("pointerdown", (event) => this.press(event));
    this.plot.addEventListener("dblclick", (event) => {
      const index = this.nearest(event);
      // Not the point that the first of the two presses has made.
      if (index < 0 || event.timeStamp - this.added < kDoublePress) return;
      this.selected = index;
      this.removeSelected();
    });
    new ResizeObserver(() => this.draw()).observe(this.plot);
  }

  get size() { return { width: this.plot.clientWidth || 260, height: this.plot.clientHeight || 200 }; }
  toX(level) { return kMargin + (level / 255) * (this.size.width - 2 * kMargin); }
  toY(level) { return this.size.height - kMargin - (level / 255) * (this.size.height - 2 * kMargin); }
  levelAt(event) {
    const box = this.plot.getBoundingClientRect(), { width, height } = this.size;
    const rounded = (value) => Math.round(Math.min(Math.max(value, 0), 255) * 2) / 2;
    return [rounded(((event.clientX - box.left - kMargin) / (width - 2 * kMargin)) * 255),
      rounded(((box.bottom - kMargin - event.clientY) / (height - 2 * kMargin)) * 255)];
  }

  get points() {
    const curve = this.app.look?.curve;
    return curve?.levels ? edits.pointsOfLevels(base64ToFloats(curve.levels)) : edits.pointsOf(curve);
  }

  change(points, label, gesture = null) {
    this.app.edit(label, (document) => edits.setPoints(document, this.app.view.table, points), gesture);
  }

  nearest(event) {
    const box = this.plot.getBoundingClientRect();
    let best = -1, least = kReach;
    this.points.forEach(([x, y], i) => {
      const away = Math.hypot(this.toX(x) - (event.clientX - box.left), this.toY(y) - (event.clientY - box.top));
      if (away < least) { best = i; least = away; }
    });
    return best;
  }

  press(event) {
    if (event.button !== 0 || !this.app.look) return;
    event.preventDefault();
    const gesture = uniqueId("gesture"), held = this.nearest(event);
    if (held >= 0) {
      this.selected = held;
    } else {
      const added = edits.addedPoint(this.points, ...this.levelAt(event));
      if (!added) return;
      this.selected = added.index;
      this.added = event.timeStamp;
      this.change(added.points, "Tone curve: add a point", gesture);
    }
    this.draw();
    this.handles.children[this.selected]?.focus();
    this.plot.setPointerCapture(event.pointerId);
    this.plot.onpointermove = (move) =>
      this.change(edits.movedPoint(this.points, this.selected, ...this.levelAt(move)), held < 0 ? "Tone curve: add a point" : "Tone curve", gesture);
    this.plot.onlostpointercapture = () => { this.plot.onpointermove = null; };
  }

  pressedKey(event, index) {
    const step = event.shiftKey ? 10 : 1;
    const move = { ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, step], ArrowDown: [0, -step] }[event.key];
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    this.selected = index;
    if (move) {
      const [x, y] = this.points[index];
      this.change(edits.movedPoint(this.points, index, x + move[0], y + move[1]), "Tone curve");
    } else if (event.key === "Delete" || event.key === "Backspace") {
      this.removeSelected();
    } else if (event.key === "Insert" || event.key === "+") {
      this.addInLargestGap();
    } else {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
  }

  typed() {
    if (!Number.isFinite(this.input.valueAsNumber) || !Number.isFinite(this.output.valueAsNumber)) return this.draw();
    this.change(edits.movedPoint(this.points, this.selected, this.input.valueAsNumber, this.output.valueAsNumber), "Tone curve");
    this.draw();
  }

  removeSelected() {
    const points = edits.withoutPoint(this.points, this.selected);
    if (points === this.points || points.length === this.points.length) return;
    this.selected = Math.min(this.selected, points.length - 1);
    this.change(points, "Tone curve: remove a point");
    this.handles.children[this.selected]?.focus();
  }

  addInLargestGap() {
    const points = this.points;
    let at = 1;
    for (let i = 1; i < points.length; ++i) {
      if (points[i][0] - points[i - 1][0] > points[at][0] - points[at - 1][0]) at = i;
    }
    const x = Math.round((points[at - 1][0] + points[at][0]) / 2);
    const added = edits.addedPoint(points, x, Math.round(10 * (this.levels?.[x] ?? x)) / 10);
    if (!added) return;
    this.selected = added.index;
    this.change(added.points, "Tone curve: add a point");
    this.handles.children[this.selected]?.focus();
  }

  // counts: 256 numbers of the input's luma.
  setHistogram(counts) {
    this.counts = counts;
    this.draw();
  }

  update() {
    const curve = this.app.look?.curve;
    if (curve !== this.curve) {
      this.curve = curve;
      this.fetchLevels();
    }
    this.note.hidden = !curve?.levels;
    this.draw();
  }

  // As it is baked; the newest wins.
  async fetchLevels() {
    this.fetching?.abort();
    if (!this.app.look) return;
    this.fetching = new AbortController();
    try {
      const { levels } = await api.curves(this.app.look, this.fetching.signal);
      this.levels = levels;
      this.draw();
    } catch (error) {
      if (error.name !== "AbortError") this.levels = null;
    }
  }

  draw() {
    const { width, height } = this.size, points = this.app.look ? this.points : [];
    this.plot.setAttribute("viewBox", `0 0 ${width} ${height}`);
    const x0 = this.toX(0), x1 = this.toX(255), y0 = this.toY(0), y1 = this.toY(255);
    this.grid.setAttribute("d", [64, 128, 192].map((level) =>
      `M${this.toX(level)} ${y0}V${y1}M${x0} ${this.toY(level)}H${x1}`).join("") + `M${x0} ${y0}H${x1}V${y1}H${x0}z`);
    this.diagonal.setAttribute("d", `M${x0} ${y0}L${x1} ${y1}`);
    if (this.counts) {
      // The tallest bins are cut, so that a black background does not flatten all others.
      const top = [...this.counts].sort((a, b) => b - a)[4] || 1;
      this.histogram.setAttribute("d", `M${x0} ${y0}` + Array.from(this.counts, (count, level) =>
        `L${this.toX(level).toFixed(1)} ${(y0 - Math.min(count / top, 1) * (y0 - y1) * 0.9).toFixed(1)}`).join("") + `L${x1} ${y0}z`);
    }
    const line = this.levels ?? [];
    this.line.setAttribute("d", Array.from(line, (level, i) =>
      `${i ? "L" : "M"}${this.toX(i).toFixed(1)} ${this.toY(Math.min(Math.max(level, 0), 255)).toFixed(1)}`).join(""));
    this.drawHandles(points);
  }

  drawHandles(points) {
    this.selected = Math.max(0, Math.min(this.selected, points.length - 1));
    while (this.handles.children.length > points.length) this.handles.lastChild.remove();
    while (this.handles.children.length < points.length) this.handles.append(this.makeHandle(this.handles.children.length));
    points.forEach(([x, y], i) => {
      const handle = this.handles.children[i];
      handle.setAttribute("transform", `translate(${this.toX(x)} ${this.toY(y)})`);
      handle.setAttribute("aria-label", `Point ${i + 1} of ${points.length}`);
      handle.setAttribute("aria-valuenow", Math.round(y));
      handle.setAttribute("aria-valuetext", `input ${x}, output ${y}`);
      handle.classList.toggle("selected", i === this.selected);
    });
    const chosen = points[this.selected];
    for (const [field, value] of [[this.input, chosen?.[0]], [this.output, chosen?.[1]]]) {
      field.disabled = !chosen;
      if (document.activeElement !== field) field.value = value ?? "";
    }
    this.remove.disabled = points.length <= 2;
    this.add.disabled = !chosen || points.length >= edits.kMaxPoints;
    this.straight.disabled = !chosen;
  }

  makeHandle(index) {
    const handle = svg("g", { class: "curve-point", role: "slider", tabindex: 0, "aria-valuemin": 0, "aria-valuemax": 255 },
      svg("circle", { r: 12, class: "curve-reach" }), svg("circle", { r: 5, class: "curve-dot" }));
    handle.addEventListener("keydown", (event) => this.pressedKey(event, index));
    handle.addEventListener("focus", () => { if (this.selected !== index) { this.selected = index; this.draw(); } });
    return handle;
  }
}
