// Files that are dropped or chosen: LUTs for the look, and pictures before and after for a fit.

import * as api from "./api.mjs";
import * as edits from "./edits.mjs";
import { el } from "./dom.mjs";

const kMost = 64 * 1024 * 1024;  // bytes that the program takes at once
const isPicture = (file) => /\.(jpe?g|png)$/i.test(file.name);
const isAfter = (file) => /after|edit|grade|target|_b\b/i.test(file.name);

export class Files {
  constructor(app, parent, dialog) {
    this.app = app;
    this.dialog = dialog;
    this.chooser = el("input", {
      type: "file", class: "visually-hidden", "aria-label": "Import LUT", accept: ".cube,.3dl,.clf,.csp,.spi1d,.spi3d,.vf,.lut,.png",
      onchange: () => { const [file] = this.chooser.files; this.chooser.value = ""; if (file) this.importLut(file); },
    });
    parent.append(el("label", { class: "button small" }, this.chooser, "Import LUT…"),
      el("button", { type: "button", class: "small", onclick: () => this.openFit([], []) }, "Fit to pictures…"));
    this.buildDialog();
    this.listen();
  }

  async importLut(file) {
    if (file.size > kMost) return this.app.fail(new Error(`${file.name} is larger than 64 MiB.`));
    if (!this.app.canEdit()) return;
    const { table } = this.app.view;
    try {
      const { adjustment } = await api.lut(file);
      this.app.edit(`Import ${file.name}`, (document) => edits.addAdjustment(document, table, adjustment));
      this.app.announce(`${file.name} imported into ${edits.lookOf(this.app.document, table).name}.`);
    } catch (error) {
      this.app.fail(error);
    }
  }

  listen() {
    const hint = document.querySelector("#drop-hint");
    let depth = 0;
    const carriesFiles = (event) => [...event.dataTransfer.types].includes("Files");
    const left = () => { depth = 0; hint.hidden = true; };
    document.addEventListener("dragenter", (event) => {
      if (!carriesFiles(event)) return;
      ++depth;
      hint.hidden = false;
    });
    document.addEventListener("dragleave", (event) => { if (carriesFiles(event) && --depth <= 0) left(); });
    document.addEventListener("dragover", (event) => { if (carriesFiles(event)) event.preventDefault(); });
    document.addEventListener("drop", (event) => {
      if (!carriesFiles(event)) return;
      event.preventDefault();
      left();
      this.take([...event.dataTransfer.files]);
    });
  }

  // One file that can be a LUT is one; pictures are for the fit, before or after by their names, else half and half.
  take(files) {
    const pictures = files.filter(isPicture);
    if (files.length === 1 && !/\.jpe?g$/i.test(files[0].name)) return this.importLut(files[0]);
    if (pictures.length !== files.length || !pictures.length) {
      return this.app.fail(new Error("Drop one LUT (.cube, .3dl, .clf or a HALD picture), or pictures before and after."));
    }
    const named = pictures.filter(isAfter), others = pictures.filter((file) => !isAfter(file));
    const half = Math.ceil(pictures.length / 2);
    if (named.length && others.length) this.openFit(others, named);
    else this.openFit(pictures.slice(0, half), pictures.slice(half));
  }

  buildDialog() {
    const chooser = (label) => el("input", { type: "file", multiple: true, accept: ".jpg,.jpeg,.png", "aria-label": label });
    this.before = { input: chooser("Pictures before"), names: el("p", { class: "note" }), files: [] };
    this.after = { input: chooser("Pictures after"), names: el("p", { class: "note" }), files: [] };
    for (const side of [this.before, this.after]) {
      side.input.addEventListener("change", () => this.setSide(side, [...side.input.files]));
    }
    this.report = el("p", { role: "status", class: "report" });
    this.start = el("button", { type: "button", class: "primary", onclick: () => this.fit() }, "Fit");
    const swap = el("button", { type: "button", onclick: () => {
      const { files } = this.before;
      this.setSide(this.before, this.after.files);
      this.setSide(this.after, files);
    } }, "Swap");
    this.dialog.append(el("h2", { id: "fit-title" }, "Fit the look to pictures"),
      el("p", {}, "Pictures before and after an edit, in the same order and of the same sizes. The scene's look becomes one that makes the edit; undo brings the old one back."),
      el("div", { class: "fit-sides" },
        el("div", {}, el("h3", {}, "Before the edit"), this.before.input, this.before.names),
        el("div", {}, el("h3", {}, "After the edit"), this.after.input, this.after.names)),
      this.report,
      el("div", { class: "dialog-buttons" }, swap, el("button", { type: "button", onclick: () => this.dialog.close() }, "Close"), this.start));
  }

  setSide(side, files) {
    side.files = files;
    side.names.textContent = files.map((file) => file.name).join(", ");
    const pairs = this.before.files.length;
    this.start.disabled = pairs === 0 || pairs !== this.after.files.length;
    this.report.textContent = this.start.disabled && pairs + this.after.files.length > 0 ? "As many pictures after as before are needed." : "";
  }

  openFit(before, after) {
    if (!this.app.canEdit()) return;
    this.setSide(this.before, before);
    this.setSide(this.after, after);
    this.dialog.showModal();
  }

  async fit() {
    const { table } = this.app.view, all = [...this.before.files, ...this.after.files];
    if (all.reduce((sum, file) => sum + file.size, 0) > kMost) {
      this.report.textContent = "Together these pictures are larger than 64 MiB: take fewer, or smaller ones.";
      return;
    }
    this.start.disabled = true;
    this.report.textContent = "Fitting…";
    try {
      const { look, report } = await api.fit(this.app.document, table, this.before.files, this.after.files);
      this.app.edit("Fit to pictures", (document) => edits.setLook(document, table, look));
      const held = report.held_out_delta_e_mean;
      const left = report.pairs.reduce((sum, pair) => sum + pair.delta_e_mean, 0) / report.pairs.length;
      this.report.textContent = `Fitted: a mean CIEDE2000 of ${left.toFixed(2)} remains${held === null ? "" : `, ${held.toFixed(2)} on pairs left out`}; ` +
        `the pictures reach ${report.covered_percent.toFixed(0)} % of the colours.`;
    } catch (error) {
      this.report.textContent = error.message;
    }
    this.start.disabled = false;
  }
}
