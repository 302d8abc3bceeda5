// "Scenes": the tables by their looks' names; add, copy, rename, remove, and the host scene numbers that show each.

import * as edits from "./edits.mjs";
import { el, iconButton, reveal } from "./dom.mjs";

const kModeWords = { photo: "Photo scene numbers", frame: "Preview scene numbers" };

export class Scenes {
  constructor(app, parent) {
    this.app = app;
    this.list = el("div", { role: "listbox", "aria-label": "Scenes", tabindex: 0, class: "scenes" });
    this.list.addEventListener("keydown", (event) => this.pressedKey(event));
    this.removeButton = iconButton("remove", "Remove scene", () => this.remove());
    this.copyButton = iconButton("copy", "Copy scene", () => this.copy());
    this.renameButton = iconButton("rename", "Rename scene", () => this.name.select());
    const heading = el("div", { class: "panel-head" }, el("h2", {}, "Scenes"),
      iconButton("plus", "Add scene", () => this.add()), this.copyButton, this.renameButton, this.removeButton);
    this.name = this.field("Scene name", (text) => this.rename(text), { maxlength: 31, spellcheck: "false", autocapitalize: "off" });
    this.about = this.field("About", (text) => this.app.edit("About the scene",
      (document) => edits.changeLook(document, this.table, { about: text.replace(/\s+/g, " ") })), { tag: "textarea", rows: 2 });
    this.numbers = Object.fromEntries(Object.entries(kModeWords).map(([mode, label]) =>
      [mode, this.field(label, (text) => this.map(mode, text), { inputmode: "text" })]));
    this.error = el("p", { class: "field-error", role: "alert" });
    parent.append(heading, this.list, el("div", { class: "scene-fields" },
      ...[this.name, this.about, this.numbers.photo, this.numbers.frame].map((field) => field.row), this.error));
    for (const [key, field] of Object.entries({ name: this.name, about: this.about })) this[key] = field.input;
  }

  get table() { return this.app.view.table; }

  field(label, commit, { tag = "input", ...attributes } = {}) {
    const input = el(tag, { type: tag === "input" ? "text" : null, "aria-label": label, autocomplete: "off", ...attributes });
    input.addEventListener("change", () => commit(input.value.trim()));
    input.addEventListener("keydown", (event) => {
      if (event.key === "Escape") { this.update(true); input.blur(); }
    });
    return { input, row: el("label", { class: "field" }, el("span", {}, label.replace(" scene numbers", " no.").replace("Scene name", "Name")), input) };
  }

  titleOf(table) { return this.app.document.tables[table]?.look?.name ?? `table ${table}`; }

  select(table) {
    this.error.textContent = "";
    this.app.setView({ table });
  }

  add() {
    const look = this.app.emptyLook(edits.freeName(this.app.document, "scene"));
    this.insert("Add a scene", look);
  }

  copy() {
    if (this.app.look) this.insert(`Copy ${this.app.look.name}`, { ...this.app.look, name: edits.freeName(this.app.document, this.app.look.name) });
  }

  insert(label, look) {
    if (!this.app.edit(label, (document) => edits.addScene(document, look))) return;
    this.select(this.app.document.tables.length - 1);
    this.name.select();
    this.app.announce(`Scene ${look.name} added.`);
  }

  remove() {
    const name = this.titleOf(this.table), { table } = this;
    if (this.app.document.tables.length < 2) return;
    // The view first: it must never name a table that is gone.
    this.app.edit(`Remove ${name}`, (document) => edits.removeScene(document, table), null, { table: Math.max(0, table - 1) });
    this.list.focus();
    this.app.announce(`Scene ${name} removed.`);
  }

  rename(text) {
    const wrong = edits.nameError(this.app.document, this.table, text);
    this.say(wrong, this.name);
    if (!wrong) this.app.edit(`Rename to ${text}`, (document) => edits.changeLook(document, this.table, { name: text }));
  }

  map(mode, text) {
    const { input } = this.numbers[mode];
    try {
      const numbers = edits.parseNumbers(text);
      this.say("", input);
      this.app.edit("Map scene numbers", (document) => edits.mapScene(document, mode, this.table, numbers));
      this.update(true);
    } catch (error) {
      this.say(error.message, input);
    }
  }

  say(wrong, input) {
    this.error.textContent = wrong;
    input.setAttribute("aria-invalid", wrong !== "");
  }

  pressedKey(event) {
    const last = this.app.document.tables.length - 1;
    const to = { ArrowDown: this.table + 1, ArrowUp: this.table - 1, Home: 0, End: last }[event.key];
    if (to !== undefined) this.select(Math.min(Math.max(to, 0), last));
    else if (event.key === "F2" || event.key === "Enter") this.name.select();
    else if (event.key === "Delete") this.remove();
    else return;
    event.preventDefault();
    event.stopPropagation();
  }

  update(force = false) {
    const { document: doc } = this.app;
    const rows = doc.tables.map((entry, table) => ({
      name: this.titleOf(table), photo: edits.numbersText(edits.numbersOf(doc, "photo", table)),
      frame: edits.numbersText(edits.numbersOf(doc, "frame", table)),
    }));
    const key = JSON.stringify([rows, this.table]);
    if (key === this.key && !force) return;
    this.key = key;
    this.list.replaceChildren(...rows.map((row, table) => this.makeOption(row, table)));
    this.list.setAttribute("aria-activedescendant", `scene-${this.table}`);
    reveal(this.list, this.list.children[this.table]);
    this.fill(doc);
  }

  makeOption({ name, photo, frame }, table) {
    const numbers = photo === frame ? photo : `${photo || "–"} / ${frame || "–"}`;
    const words = photo === frame ? `photo and preview ${photo || "none"}` : `photo ${photo || "none"}, preview ${frame || "none"}`;
    return el("div", {
      role: "option", id: `scene-${table}`, "aria-label": name, "aria-description": `scene numbers: ${words}`, "aria-selected": table === this.table ? "true" : "false", class: "scene",
      title: this.app.document.tables[table].look?.about, onclick: () => { this.select(table); this.list.focus(); },
    }, el("span", { class: "scene-name" }, name),
    el("span", { class: "scene-numbers" }, numbers || "–"));
  }

  fill(doc) {
    const look = this.app.look;
    const fill = (input, value) => {
      input.disabled = !look && (input === this.name || input === this.about);
      if (document.activeElement !== input || input.dataset.table !== String(this.table)) input.value = value;
      input.dataset.table = this.table;
    };
    fill(this.name, look?.name ?? "");
    fill(this.about, look?.about ?? "");
    for (const mode of Object.keys(kModeWords)) {
      fill(this.numbers[mode].input, edits.numbersText(edits.numbersOf(doc, mode, this.table)));
    }
    this.removeButton.disabled = doc.tables.length < 2;
    this.copyButton.disabled = this.renameButton.disabled = !look;
  }
}
