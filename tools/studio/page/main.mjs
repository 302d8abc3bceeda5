// The studio: holds what is edited and what is looked at, and has every part of the page follow.

import * as api from "./api.mjs";
import * as edits from "./edits.mjs";
import * as scopes from "./scopes.mjs";
import { Adjustments } from "./adjustments.mjs";
import { CurveEditor } from "./curve.mjs";
import { Fade } from "./fade.mjs";
import { Files } from "./files.mjs";
import { Findings } from "./findings.mjs";
import { History } from "./history.mjs";
import { Keyboard } from "./keyboard.mjs";
import { Lane } from "./renderer.mjs";
import { Notices } from "./notices.mjs";
import { Scenes } from "./scenes.mjs";
import { Settings } from "./settings.mjs";
import { Stage } from "./picture.mjs";
import { Storage } from "./storage.mjs";
import { Strip } from "./strip.mjs";
import { drawClipping, drawMask, makeOverlay } from "./overlays.mjs";
import { icon, setOptions, slider } from "./dom.mjs";

const kLeastPixels = 1_500_000, kMostPixels = 3_000_000;  // of the whole picture, as far as the photo has them
const kMaskPixels = 300_000;
const kPoll = 4000;           // ms between looks at the disk
const kDetailRest = 120;      // ms after a movement before a sharper detail is asked for
const kStrengths = ["claheStrength", "satStrength", "colorStrength", "curveColor"];  // in the order of the stages
const kSoft = { claheStrength: 3, satStrength: 2 };  // where the sliders end; the fields go on
const kStages = {
  input: "Input", clahe: "After local contrast", curve: "After the curve", correction: "After correction",
  table: "After the table", protection: "After protection",
};

const byId = (id) => document.getElementById(id);

class App {
  constructor(info) {
    this.info = info;
    this.base = info.base;
    this.notices = new Notices(byId("notices"), byId("announcer"));
    this.history = new History(info.document, (change) => this.changed(change));
    // The picture of a host that names scene 0.
    const table = info.document.scenes.photo[0] ?? 0;
    const photo = Math.max(0, info.photos.findIndex((one) => !one.error));
    this.view = { photo, table, mode: "photo", backEnd: "", stage: "", layout: "split", clipping: false, mask: false };
  }

  get document() { return this.history.document; }
  get look() { return edits.lookOf(this.document, this.view.table); }
  get photo() { return this.info.photos[this.view.photo]; }

  // ---- Editing ----

  // change(document) gives the new document; view: what is looked at from then on.
  edit(label, change, gesture = null, view = null) {
    const { table } = this.view, next = change(this.document);
    if (view) Object.assign(this.view, view);
    return this.history.push(label, next, { gesture, table });
  }

  // Whether the scene has a look; says why not.
  canEdit() {
    if (this.look) return true;
    this.fail(new Error(`This scene cannot be edited: ${this.document.tables[this.view.table]?.reason ?? "it has no look."}`));
    return false;
  }

  emptyLook(name) {
    const strengths = Object.fromEntries(this.info.strengths.map(({ key, default: value }) => [key, value]));
    return { name, about: "", ...strengths, curve: { points: [] }, adjustments: [] };
  }

  undo(by) {
    const step = this.history.move(by);
    if (!step) return;
    this.view.table = Math.min(step.table ?? 0, this.document.tables.length - 1);
    this.refresh();
    this.announce(`${by < 0 ? "Undone" : "Done again"}: ${step.label}`);
  }

  revert() {
    if (this.history.push("Revert", this.history.saved, { table: this.view.table })) this.announce("As on the disk. Undo brings your changes back.");
  }

  changed({ from }) {
    this.view.table = Math.min(this.view.table, this.document.tables.length - 1);
    this.storeSoon(from);
    this.refresh();
  }

  // ---- Kept work ----

  // As soon as the browser is done with what it stores already.
  storeSoon(from) {
    if (!this.storage) return;
    this.unstored = Math.min(this.unstored ?? Infinity, from);
    if (this.storing) return;
    this.storing = true;
    queueMicrotask(async () => {
      while (this.unstored !== null) {
        const first = this.unstored;
        this.unstored = null;
        await this.storage.store(this.history, this.base, this.view, first);
      }
      this.storing = false;
    });
  }

  async restore() {
    let kept = null;
    try {
      this.storage = await Storage.open(this.info.id);
      this.storage.onerror = () => this.notices.show("storage", "The browser cannot keep unsaved work: save before you leave.", { kind: "error" });
      kept = await this.storage.load();
    } catch {
      this.notices.show("storage", "The browser cannot keep unsaved work: save before you leave.", { kind: "error" });
    }
    if (!kept) return;
    const unsaved = !edits.same(kept.entries[kept.at].document, kept.saved);
    const known = kept.base === this.info.base;
    Object.assign(this.view, kept.view, { photo: this.info.photos[kept.view.photo]?.error === null ? kept.view.photo : this.view.photo });
    this.history.restore(known ? { ...kept, saved: this.info.document } : kept);
    this.view.table = Math.min(this.view.table, this.document.tables.length - 1);
    if (known) {
      if (this.history.dirty) this.announce("Your unsaved work is back.");
    } else if (unsaved) {
      this.base = kept.base;
      this.offerDisk("You have unsaved work, and the directory has changed on the disk since.");
    } else {
      this.history.markDisk(this.info.document);
      this.history.push("Changed on the disk", this.info.document);
    }
  }

  offerDisk(text) {
    this.notices.show("disk", text, {
      kind: "warning", closable: false,
      actions: [
        { label: "Load what is on the disk", run: () => this.readDisk(true) },
        { label: "Keep my work", run: () => this.readDisk(false) },
      ],
    });
  }

  // From now on changes are against what the disk holds; load: it is what the page shows, too (undo brings the work back).
  async readDisk(load) {
    try {
      const info = await api.open();
      this.base = info.base;
      this.history.markDisk(info.document);
      if (load) this.history.push("Load from the disk", info.document, { table: this.view.table });
    } catch (error) {
      this.fail(error);
    }
  }

  // ---- Saving ----

  async save(force = false) {
    if (this.saving) return;
    if (!this.history.dirty && !force) return this.announce("Nothing to save.");
    this.saving = true;
    this.refreshState();
    const sent = this.document;
    try {
      const answer = await api.save(sent, this.base, force);
      this.base = answer.base;
      this.seenBase = answer.base;
      for (const id of ["disk", "error"]) this.notices.close(id);
      this.history.markSaved(sent, answer.document);
      this.announce(`Saved: ${answer.changed.length === 1 ? "one file" : `${answer.changed.length} files`} changed.`);
    } catch (error) {
      if (error.status === 409 && error.body.base) {
        this.seenBase = error.body.base;
        this.offerOverwrite(error.message);
      } else {
        this.fail(error);
      }
    }
    this.saving = false;
    this.refreshState();
  }

  offerOverwrite(text) {
    this.notices.show("disk", text, {
      kind: "warning",
      actions: [
        { label: "Load what is on the disk", run: () => this.readDisk(true) },
        { label: "Replace it with mine", run: () => this.save(true) },
      ],
    });
  }

  async poll() {
    if (document.visibilityState === "hidden" || this.saving) return;
    try {
      const { base } = await api.state();
      this.notices.close("gone");
      if (base !== this.base && base !== this.seenBase && !this.saving) {
        this.offerDisk("Another page or program has changed this directory.");
      }
      this.seenBase = base;
    } catch (error) {
      this.notices.show("gone", error.message, { kind: "error", closable: false });
    }
  }

  // ---- Looking ----

  setView(part) {
    Object.assign(this.view, part);
    if ("mode" in part && !this.backEndFits(this.view.backEnd)) this.view.backEnd = "";
    this.storeSoon(this.history.entries.length);
    this.refresh();
  }

  backEndFits(name) {
    return this.info.backEnds.some((one) => one.name === name && one.available !== false && one[this.view.mode]);
  }

  request() {
    const { photo, table, mode, backEnd, stage } = this.view;
    return { document: this.document, photo, table, mode, backEnd: backEnd || null, stage: stage || null };
  }

  get pixels() {
    const photo = this.photo, all = photo.width * photo.height;
    return Math.min(all, Math.min(Math.max(this.stage.pixels, kLeastPixels), kMostPixels));
  }

  announce(text) { this.notices.announce(text); }
  fail(error) { this.notices.show("error", error.message, { kind: "error" }); }

  startPicking() {
    this.setPicking(!this.stage.picking && this.canEdit());
  }

  setPicking(on) {
    this.stage.setPicking(on);
    byId("pick").setAttribute("aria-pressed", on);
    if (on) this.announce("Pick a colour: arrows move the cross, Enter takes it, Escape stops.");
  }

  // The mean of the input's pixels around a place.
  async picked(u, v) {
    const picture = this.stage.before.picture;
    if (!picture) return;
    const x = Math.floor(u * picture.width), y = Math.floor(v * picture.height), sum = [0, 0, 0];
    let number = 0;
    for (let py = Math.max(0, y - 2); py <= Math.min(picture.height - 1, y + 2); ++py) {
      for (let px = Math.max(0, x - 2); px <= Math.min(picture.width - 1, x + 2); ++px, ++number) {
        for (let c = 0; c < 3; ++c) sum[c] += picture.data[4 * (py * picture.width + px) + c];
      }
    }
    this.setPicking(false);
    try {
      const { hue, chroma } = await api.pick(sum.map((value) => Math.round(value / number)));
      if (chroma < 0.02) return this.notices.show("pick", "That is a grey, which has no hue to move. Pick a colour.");
      this.notices.close("pick");
      this.adjustments.pickHue(hue);
    } catch (error) {
      this.fail(error);
    }
  }

  toggleFade(open = !this.fade.open) {
    this.fade.setOpen(open);
    byId("fade-button").setAttribute("aria-pressed", open);
    if (!open) {
      this.shown = null;
      this.refresh();
      byId("fade-button").focus();
    }
  }

  showFrame(picture) { this.stage.show(this.stage.after, picture); }

  escape() {
    if (this.stage.picking) this.setPicking(false);
    else if (this.fade.open) this.toggleFade(false);
  }

  // ---- The page ----

  build() {
    byId("directory").textContent = this.info.directory.split("/").filter(Boolean).at(-1) ?? "";
    byId("directory").title = this.info.directory;
    this.stage = new Stage(byId("stage"), {
      moved: () => this.moved(), picked: (u, v) => this.picked(u, v),
    });
    this.clippingOverlay = makeOverlay("clipping");
    this.maskOverlay = makeOverlay("mask");
    this.stage.after.overlays.append(this.maskOverlay, this.clippingOverlay);
    this.buildLanes();
    this.buildStrengths();
    this.curve = new CurveEditor(this, byId("curve"));
    this.adjustments = new Adjustments(this, byId("adjustments"));
    this.scenes = new Scenes(this, byId("scenes"));
    this.findings = new Findings(this, byId("findings"));
    this.settings = new Settings(this, byId("settings"));
    this.strip = new Strip(this, byId("strip"));
    this.fade = new Fade(this, byId("fade"));
    new Files(this, byId("file-buttons"), byId("fit"));
    this.keyboard = new Keyboard(this, byId("help"));
    this.buildBars();
    for (const canvas of [byId("histogram"), byId("vectorscope")]) new ResizeObserver(() => this.drawScopes()).observe(canvas);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.drawScopes());
    new ResizeObserver(() => this.refreshPictures()).observe(byId("stage"));
  }

  buildStrengths() {
    const place = ({ key }) => (kStrengths.indexOf(key) + 1 || kStrengths.length + 1);
    this.strengths = [...this.info.strengths].sort((a, b) => place(a) - place(b)).map(({ key, label, low, high, meaning, default: fallback }) => {
      const control = slider({
        label, low, high, soft: Math.min(high, kSoft[key] ?? high), fallback, hint: meaning,
        change: (value, gesture) => this.edit(label, (doc) => edits.changeLook(doc, this.view.table, { [key]: value }), gesture),
      });
      byId("strengths").append(control.node);
      return { key, control, fallback };
    });
  }

  buildBars() {
    byId("undo").append(icon("undo"));
    byId("redo").append(icon("redo"));
    const clicks = {
      undo: () => this.undo(-1), redo: () => this.undo(1), revert: () => this.revert(), save: () => this.save(),
      "help-button": () => this.keyboard.help(), pick: () => this.startPicking(), "fade-button": () => this.toggleFade(),
      "zoom-fit": () => this.stage.fit(), "zoom-pixels": () => this.stage.zoomTo(1),
    };
    for (const [id, run] of Object.entries(clicks)) byId(id).addEventListener("click", run);
    for (const name of ["mode", "layout"]) {
      byId(name).addEventListener("change", (event) => this.setView({ [name]: event.target.value }));
    }
    for (const name of ["clipping", "mask"]) {
      byId(name).addEventListener("change", (event) => this.setView({ [name]: event.target.checked }));
    }
    byId("back-end").addEventListener("change", (event) => this.setView({ backEnd: event.target.value }));
    setOptions(byId("stage-view"), [{ value: "", text: "Result" }, ...["input", ...this.info.stages].map((stage) => ({ value: stage, text: kStages[stage] ?? stage })),
      { value: "mask", text: "Mask" }]);
    byId("stage-view").addEventListener("change", (event) => this.setView({ stage: event.target.value }));
  }

  buildLanes() {
    const failed = (error) => {
      byId("stage").setAttribute("aria-busy", "false");
      this.notices.show("picture", error.message, { kind: "error" });
    };
    this.lanes = {
      after: new Lane("after", {
        picture: (picture, how) => this.shownAfter(picture, how), error: failed, idle: () => byId("stage").setAttribute("aria-busy", "false"),
      }),
      before: new Lane("before", { picture: (picture) => this.shownBefore(picture), error: failed }),
      mask: new Lane("mask", {
        picture: (picture) => { this.notices.close("mask"); drawMask(this.maskOverlay, picture); },
        error: (error) => {
          this.notices.show("mask", error.message, { kind: "warning" });
          this.setView({ mask: false });
        },
      }),
      detail: new Lane("detail", { picture: (picture, { about }) => this.shownDetail(this.stage.after, picture, about) }),
      detailBefore: new Lane("detail-before", { picture: (picture, { about }) => this.shownDetail(this.stage.before, picture, about) }),
    };
  }

  refresh() {
    if (!this.fade) return;  // still being built
    this.refreshState();
    this.stage.setLayout(this.view.layout);
    this.stage.photoWidth = this.photo?.width;
    for (const part of [this.scenes, this.curve, this.adjustments, this.settings, this.findings, this.fade]) part.update();
    for (const { key, control, fallback } of this.strengths) {
      control.set(this.look?.[key] ?? fallback);
      control.range.disabled = control.field.disabled = !this.look;
    }
    this.refreshPictures();
    this.strip.update();
  }

  refreshState() {
    const { history } = this;
    const button = (id, label, disabled) => {
      byId(id).disabled = disabled;
      byId(id).title = label ?? "";
    };
    button("undo", history.undoLabel && `Undo: ${history.undoLabel}`, history.undoLabel === null);
    button("redo", history.redoLabel && `Redo: ${history.redoLabel}`, history.redoLabel === null);
    const dirty = history.dirty;
    button("save", "Write the tables and looks (Ctrl+S)", !dirty || this.saving === true);
    button("revert", "Back to what is on the disk", !dirty);
    const words = dirty ? "Unsaved changes" : "Saved";
    if (byId("state").textContent !== words) byId("state").textContent = words;
    byId("state").dataset.dirty = dirty;
    document.title = `${dirty ? "• " : ""}${byId("directory").textContent} – Huevance studio`;
    byId("look-name").textContent = this.look?.name ?? "";
    this.refreshViewBar();
  }

  refreshViewBar() {
    const { mode, layout, clipping, mask, stage, backEnd } = this.view;
    for (const [name, value] of [["mode", mode], ["layout", layout]]) {
      byId(name).querySelector(`[value=${value}]`).checked = true;
    }
    byId("clipping").checked = clipping;
    byId("mask").checked = mask;
    setOptions(byId("back-end"), [{ value: "", text: `As tuned (${this.document.platform[mode]})` },
      ...this.info.backEnds.filter((one) => one[mode]).map(({ name, available, reason }) =>
        ({ value: name, text: name, disabled: available === false, title: reason }))]);
    byId("back-end").value = backEnd;
    byId("stage-view").value = stage;
  }

  // Asks for the pictures that are not those of what is looked at.
  refreshPictures() {
    if (!this.photo || this.photo.error || !this.stage || this.stage.pixels === 0) return;
    const { photo, table, mode, backEnd, stage, mask } = this.view, pixels = this.pixels;
    const differs = (key, ...wanted) => {
      this.shown ??= {};
      const old = this.shown[key];
      this.shown[key] = wanted;
      return !old || old.some((value, i) => value !== wanted[i]);
    };
    if (differs("after", this.document, photo, table, mode, backEnd, stage, pixels) && !this.fade.open) {
      byId("stage").setAttribute("aria-busy", "true");
      this.lanes.after.want(() => this.request(), pixels);
    }
    if (differs("before", photo, mode, pixels)) {
      this.lanes.before.want(() => ({ ...this.request(), backEnd: null, stage: "input" }), pixels);
    }
    this.maskOverlay.hidden = !mask;
    if (mask && differs("mask", this.document, photo, mode, backEnd, table)) {
      this.lanes.mask.want(() => ({ ...this.request(), stage: "mask" }), Math.min(pixels, kMaskPixels), { coarseFirst: false });
    }
    if (!mask) delete this.shown.mask;
    this.drawClipping();
  }

  shownAfter(picture, { coarse, asked }) {
    if (this.fade.open) return;
    this.notices.close("picture");
    this.stage.after.canvas.dataset.coarse = coarse;
    this.stage.show(this.stage.after, picture);
    if (!performance.getEntriesByName("first-picture").length) performance.mark("first-picture");
    this.askForDetail();
    if (picture.lines.length) this.notices.show("library", `The library says: ${picture.lines.join(" · ")}`, { kind: "warning" });
    else this.notices.close("library");
    byId("timing").title = `The library's time for a frame of ${picture.width} × ${picture.height}, and the time from the change to the screen`;
    requestAnimationFrame(() => {
      byId("timing").value = `${picture.milliseconds.toFixed(1)} ms frame · ${Math.round(performance.now() - asked)} ms to screen`;
    });
    // After the picture is on the screen.
    setTimeout(() => { this.drawScopes(); this.drawClipping(); });
  }

  shownBefore(picture) {
    this.stage.show(this.stage.before, picture);
    this.askForDetail();
    setTimeout(() => this.curve.setHistogram(scopes.histogramOf(picture).luma));
  }

  drawScopes() {
    const { picture } = this.stage.after;
    if (!picture) return;
    const histogram = scopes.histogramOf(picture);
    scopes.drawHistogram(byId("histogram"), histogram);
    scopes.drawVectorscope(byId("vectorscope"), picture);
    byId("clipped").textContent = `${(100 * histogram.clipped).toFixed(1)} % clipped`;
  }

  drawClipping() {
    this.clippingOverlay.hidden = !this.view.clipping;
    if (this.view.clipping && this.stage.after.picture) drawClipping(this.clippingOverlay, this.stage.after.picture);
  }

  moved() {
    if (!this.stage) return;
    const percent = 100 * this.stage.magnification;
    byId("zoom").value = `${percent < 10 ? percent.toFixed(1) : Math.round(percent)} %`;
    this.askForDetail();
  }

  // A sharper rendering of what is visible, once nothing moves.
  askForDetail() {
    clearTimeout(this.detailTimer);
    this.cropAsked = null;
    this.detailTimer = setTimeout(() => {
      const wanted = this.stage.wantedDetail(this.photo);
      if (!wanted || this.fade.open) return;
      const { pixels, crop } = wanted;
      this.cropAsked = crop;
      this.lanes.detail.want(() => ({ ...this.request(), crop }), pixels, { coarseFirst: false, about: crop });
      if (this.view.layout !== "after") {
        this.lanes.detailBefore.want(() => ({ ...this.request(), backEnd: null, stage: "input", crop }), pixels, { coarseFirst: false, about: crop });
      }
    }, kDetailRest);
  }

  // Unless the picture or the view has changed since.
  shownDetail(pane, picture, crop) {
    if (crop !== this.cropAsked || this.lanes.after.wanted || this.fade.open) return;
    this.stage.showDetail(pane, picture, crop);
  }
}

async function start() {
  let info;
  try {
    info = await api.open();
  } catch (error) {
    new Notices(byId("notices"), byId("announcer")).show("error", error.message, { kind: "error", closable: false });
    return;
  }
  const app = new App(info);
  await app.restore();
  app.build();
  app.refresh();
  for (const { name, error } of info.photos) {
    if (error) app.notices.show(`photo-${name}`, error.includes(name) ? error : `${name}: ${error}`, { kind: "error" });
  }
  setInterval(() => app.poll(), kPoll);
}

start();
