// Switches, grid and other numbers of photoSet.ini or frameSet.ini, and the tuning's back ends.

import * as edits from "./edits.mjs";
import { el } from "./dom.mjs";

// What is one of a few things has a list, not a number.
const kChoices = { maskSource: ["none", "the host's", "skin detection"] };
const kModes = { photo: "photos", frame: "previews" };

export class Settings {
  constructor(app, parent) {
    this.app = app;
    this.setters = [];
    for (const [mode, word] of Object.entries(kModes)) {
      const group = el("fieldset", { class: "settings" }, el("legend", {}, word === "photos" ? "Photos" : "Previews"));
      group.append(this.makePlatform(mode, word));
      for (const setting of app.info.settings[mode]) {
        const make = setting.kind === "switch" ? "makeSwitch" : setting.key in kChoices ? "makeChoice" : "makeNumber";
        group.append(this[make](mode, word, { ...setting, label: setting.label.replace(/ \(.*\)/, "") }));
      }
      parent.append(group);
    }
  }

  edit(mode, word, { key, label }, value) {
    this.app.edit(`${label} (${word})`, (document) => edits.setSetting(document, mode, key, value));
  }

  makePlatform(mode, word) {
    const select = el("select", {
      "aria-label": `Tuning's back end of ${word}`,
      onchange: () => this.app.edit(`Back end of ${word}`, (document) => edits.setPlatform(document, mode, select.value)),
    }, ...this.app.info.backEnds.filter((one) => one[mode]).map((one) => el("option", { value: one.name }, one.name)));
    this.setters.push((document) => { select.value = document.platform[mode]; });
    return el("label", { class: "setting" }, el("span", {}, "Made for"), select);
  }

  makeSwitch(mode, word, setting) {
    const box = el("input", {
      type: "checkbox", role: "switch", "aria-label": `${setting.label}, ${word}`,
      onchange: () => this.edit(mode, word, setting, box.checked ? 1 : 0),
    });
    this.setters.push((document) => { box.checked = document.settings[mode][setting.key] === 1; });
    return el("label", { class: "setting" }, el("span", {}, setting.label), box);
  }

  makeChoice(mode, word, setting) {
    const select = el("select", {
      "aria-label": `${setting.label}, ${word}`, onchange: () => this.edit(mode, word, setting, Number(select.value)),
    }, ...kChoices[setting.key].map((text, value) => el("option", { value }, text)));
    this.setters.push((document) => { select.value = document.settings[mode][setting.key]; });
    return el("label", { class: "setting" }, el("span", {}, setting.label), select);
  }

  makeNumber(mode, word, setting) {
    const field = el("input", {
      type: "number", class: "number", min: setting.low, max: setting.high, step: 1, "aria-label": `${setting.label}, ${word}`,
    });
    field.addEventListener("change", () => {
      if (!Number.isFinite(field.valueAsNumber)) return this.update();
      this.edit(mode, word, setting, Math.round(Math.min(Math.max(field.valueAsNumber, setting.low), setting.high)));
      this.update();
    });
    this.setters.push((document) => {
      const value = document.settings[mode][setting.key];
      if (field.valueAsNumber !== value) field.value = value ?? "";
    });
    return el("label", { class: "setting" }, el("span", {}, setting.label), field);
  }

  update() { this.setters.forEach((setter) => setter(this.app.document)); }
}
