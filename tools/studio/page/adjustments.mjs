// The adjustments of a look, in their order: a card for each, its sliders made from what the program lists.

import * as edits from "./edits.mjs";
import { el, iconButton, slider } from "./dom.mjs";

const kWords = {
  amount: "Amount", skin: "Spare skin", warmth: "Warmth", tint: "Tint", hue: "Hue", width: "Width", shift: "Shift hue",
  chroma: "Chroma", lightness: "Lightness", range: "Range", gamut: "Outside RGB", matrix: "Luma", read: "Read at",
};
const worded = (key) => kWords[key] ?? key;

export class Adjustments {
  constructor(app, parent) {
    this.app = app;
    this.cards = [];
    this.list = el("ol", { class: "adjustments", "aria-label": "Adjustments, in their order" });
    this.empty = el("p", { class: "note" }, "No adjustments. Add one, or pick a colour in the picture.");
    this.kind = el("select", { "aria-label": "Kind of adjustment" });
    const add = el("button", { type: "button", class: "small", onclick: () => this.add(this.kind.value) }, "Add");
    parent.append(this.list, this.empty, el("div", { class: "row" }, this.kind, add));
    this.kinds = new Map(app.info.adjustments.map((kind) => [kind.kind, kind]));
    for (const kind of app.info.adjustments) {
      if (!kind.data) this.kind.append(el("option", { value: kind.kind }, kind.label ?? kind.kind));
    }
  }

  get table() { return this.app.view.table; }
  get adjustments() { return this.app.look?.adjustments ?? []; }

  add(kind, values = {}) {
    const schema = this.kinds.get(kind), adjustment = { kind };
    for (const { key, default: value } of schema.keys) adjustment[key] = value;
    for (const { key, values: words } of schema.choices ?? []) adjustment[key] = words[0];
    this.insert({ ...adjustment, ...values });
  }

  insert(adjustment) {
    const label = this.labelOf(adjustment);
    if (!this.app.edit(`Add ${label.toLowerCase()}`, (document) => edits.addAdjustment(document, this.table, adjustment))) return;
    this.cards.at(-1)?.node.querySelector("input")?.focus({ preventScroll: false });
    this.app.announce(`${label} added.`);
  }

  labelOf(adjustment) { return this.kinds.get(adjustment.kind)?.label ?? adjustment.kind; }

  // A picked colour moves the selective adjustment that was used last, or makes one.
  pickHue(hue) {
    const index = this.active?.kind === "selective" ? this.cards.indexOf(this.active) : -1;
    const rounded = Math.round(hue);
    if (index >= 0) {
      this.app.edit("Pick the hue", (document) => edits.changeAdjustment(document, this.table, index, { hue: rounded }));
    } else {
      this.add("selective", { hue: rounded });
    }
    this.active = null;
  }

  update() {
    const list = this.adjustments;
    const kinds = JSON.stringify(list.map((one) => one.kind));
    if (kinds !== this.shape || this.shownTable !== this.table) this.rebuild(list, kinds);
    list.forEach((adjustment, i) => this.cards[i].set(adjustment));
    this.empty.hidden = list.length > 0;
    this.kind.disabled = this.kind.nextElementSibling.disabled = !this.app.look;
  }

  rebuild(list, shape) {
    const focused = this.cards.findIndex((card) => card.node.contains(document.activeElement));
    const label = document.activeElement?.getAttribute("aria-label");
    this.shape = shape;
    this.shownTable = this.table;
    this.active = null;
    this.cards = list.map((adjustment, i) => this.makeCard(adjustment, i, list));
    this.list.replaceChildren(...this.cards.map((card) => card.node));
    if (focused >= 0 && this.cards.length) this.focusNear(this.moving ?? focused, label);
    this.moving = null;
  }

  // Where the focus was, when its card has been made anew.
  focusNear(index, label) {
    const { node } = this.cards[Math.min(index, this.cards.length - 1)];
    const alike = [...node.querySelectorAll("button, input, select")]
      .find((control) => !control.disabled && control.getAttribute("aria-label")?.split(",")[0] === label?.split(",")[0]);
    (alike ?? node.querySelector("button:not(:disabled)"))?.focus();
  }

  makeCard(adjustment, index, list) {
    const schema = this.kinds.get(adjustment.kind) ?? { keys: [], choices: [] };
    const label = this.labelOf(adjustment);
    // A name of its own for each: "Selective colour 2".
    const before = list.slice(0, index).filter((one) => one.kind === adjustment.kind).length;
    const alone = list.filter((one) => one.kind === adjustment.kind).length === 1;
    const title = alone ? label : `${label} ${before + 1}`;
    const change = (part, gesture, what) => this.app.edit(`${title}: ${worded(what).toLowerCase()}`,
      (document) => edits.changeAdjustment(document, this.table, index, part), gesture);
    const setters = [];
    const rows = schema.keys.map(({ key, low, high, meaning, default: fallback }) => {
      const control = slider({
        label: `${title}: ${worded(key)}`, low, high, fallback, hint: meaning,
        change: (value, gesture) => change({ [key]: value }, gesture, key),
      });
      control.node.querySelector("label").textContent = worded(key);
      if (key === "hue") control.node.classList.add("hue");
      setters.push((one) => control.set(one[key] ?? fallback));
      return control.node;
    });
    for (const { key, values } of schema.choices ?? []) {
      const select = el("select", { "aria-label": `${title}: ${worded(key)}`, onchange: () => change({ [key]: select.value }, null, key) },
        ...values.map((value) => el("option", { value }, value)));
      setters.push((one) => { select.value = one[key] ?? values[0]; });
      rows.push(el("div", { class: "slider" }, el("span", {}, worded(key)), select));
    }
    const source = el("span", { class: "source" });
    setters.push((one) => { source.textContent = one.source ? ` · ${one.source}` : ""; });
    const node = el("li", { class: "card" },
      el("div", { class: "card-head" }, el("h3", {}, title, source), ...this.makeButtons(adjustment, index, list, title)), ...rows);
    const card = { node, kind: adjustment.kind, set: (one) => setters.forEach((setter) => setter(one)) };
    node.addEventListener("focusin", () => { this.active = card; });
    return card;
  }

  makeButtons(adjustment, index, list, title) {
    const move = (to) => {
      this.moving = to;
      this.app.edit(`Move ${title.toLowerCase()}`, (document) => edits.moveAdjustment(document, this.table, index, to));
      this.app.announce(`${title} is number ${to + 1} of ${list.length}.`);
    };
    const buttons = [
      iconButton("up", `Earlier, ${title}`, () => move(index - 1), { disabled: index === 0 }),
      iconButton("down", `Later, ${title}`, () => move(index + 1), { disabled: index === list.length - 1 }),
      iconButton("remove", `Remove, ${title}`, () => this.app.edit(`Remove ${title.toLowerCase()}`,
        (document) => edits.removeAdjustment(document, this.table, index))),
    ];
    if (adjustment.kind === "selective") {
      buttons.unshift(iconButton("pick", `Pick its hue in the picture, ${title}`, () => {
        this.active = this.cards[index];
        this.app.startPicking();
      }));
    }
    return buttons;
  }
}
