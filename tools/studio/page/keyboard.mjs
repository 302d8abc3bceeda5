// Everything by keyboard: one table of shortcuts, which the help shows, too.

import { el, isTyping } from "./dom.mjs";

const kMac = /Mac/.test(navigator.platform);
const shown = (keys) => (kMac ? keys.replace("Ctrl", "⌘") : keys);

export class Keyboard {
  constructor(app, dialog) {
    this.app = app;
    this.dialog = dialog;
    this.singles = true;
    // [keys, words, what to do]; a key alone works where no text is typed.
    this.shortcuts = [
      ["Ctrl+S", "Save", () => app.save()],
      ["Ctrl+Z", "Undo", () => app.undo(-1)],
      ["Ctrl+Shift+Z", "Redo, also Ctrl+Y", () => app.undo(1)],
      ["1 … 9", "The scene of that place in the list", null],
      ["[", "Photo before this one", () => app.strip.step(-1)],
      ["]", "Next photo", () => app.strip.step(1)],
      ["V", "Split view", () => app.setView({ layout: "split" })],
      ["A", "Only after", () => app.setView({ layout: "after" })],
      ["B", "Only before, and back again", () => app.setView({ layout: app.view.layout === "before" ? "after" : "before" })],
      ["D", "Side by side", () => app.setView({ layout: "side" })],
      ["Z", "Zoom to pixels, and back to the whole picture", () => app.stage.toggleZoom()],
      ["+, −", "On the picture: zoom", null],
      ["Arrows", "On the picture: move it; on a slider or a point of the curve: change it, with Shift by ten steps", null],
      ["C", "Show clipped pixels", () => app.setView({ clipping: !app.view.clipping })],
      ["M", "Show the mask of the protection", () => app.setView({ mask: !app.view.mask })],
      ["P", "Pick a colour: arrows move the cross, Enter takes it", () => app.startPicking()],
      ["F", "Fade between two scenes", () => app.toggleFade()],
      ["F6", "Next part of the page, with Shift the part before", null],
      ["F2", "In the list of scenes: rename", null],
      ["Delete", "On a scene, a point of the curve: remove it", null],
      ["Esc", "Stop picking, close the fade", null],
      ["?", "These shortcuts", () => this.help()],
    ];
    this.build();
    document.addEventListener("keydown", (event) => this.pressed(event));
  }

  build() {
    const rows = this.shortcuts.map(([keys, words]) =>
      el("tr", {}, el("th", { scope: "row" }, ...shown(keys).split(/\+(?=.)(?!,)|, /).filter(Boolean).map((key) => el("kbd", {}, key))), el("td", {}, words)));
    const single = el("input", { type: "checkbox", checked: true, onchange: () => { this.singles = single.checked; } });
    this.dialog.append(el("h2", { id: "help-title" }, "Keyboard shortcuts"),
      el("table", {}, el("tbody", {}, ...rows)),
      el("label", { class: "setting" }, el("span", {}, "Shortcuts of a single key"), single),
      el("div", { class: "dialog-buttons" }, el("button", { type: "button", class: "primary", onclick: () => this.dialog.close() }, "Close shortcuts")));
  }

  help() {
    if (!this.dialog.open) this.dialog.showModal();
  }

  pressed(event) {
    if (event.defaultPrevented || document.querySelector("dialog[open]")) return;
    const control = event.ctrlKey || event.metaKey;
    if (control && !event.altKey) return this.pressedWithControl(event);
    if (event.key === "F6") return this.nextPart(event);
    if (event.key === "Escape") return this.app.escape();
    if (event.altKey || !this.singles || isTyping(event.target)) return;
    if (/^[1-9]$/.test(event.key)) {
      if (Number(event.key) <= this.app.document.tables.length) this.app.setView({ table: Number(event.key) - 1 });
      return;
    }
    const found = this.shortcuts.find(([keys, , run]) => run && keys.toUpperCase() === event.key.toUpperCase());
    if (!found) return;
    event.preventDefault();
    found[2]();
  }

  pressedWithControl(event) {
    const key = event.key.toLowerCase();
    // In a text field its own undo belongs to the text that is typed.
    if (isTyping(event.target) && key !== "s" && !event.target.matches("select, [type=number]")) return;
    if (key === "s") this.app.save();
    else if (key === "z") this.app.undo(event.shiftKey ? 1 : -1);
    else if (key === "y") this.app.undo(1);
    else return;
    event.preventDefault();
  }

  nextPart(event) {
    const parts = [...document.querySelectorAll("[data-part]")].filter((part) => part.offsetParent !== null);
    const at = parts.findIndex((part) => part.contains(document.activeElement));
    const next = parts[(at + (event.shiftKey ? -1 : 1) + parts.length) % parts.length];
    const target = next.matches("[tabindex]") ? next : next.querySelector("[tabindex='0'], input, select, button:not(:disabled)");
    target?.focus();
    event.preventDefault();
  }
}
