// What the page says: notes that stay until they are answered or closed, and words for screen readers.

import { el } from "./dom.mjs";

export class Notices {
  constructor(parent, announcer) {
    this.parent = parent;
    this.announcer = announcer;
    this.open = new Map();
  }

  // One note for each id; a newer one takes the place of the older. actions: [{label, run}]
  show(id, text, { kind = "note", actions = [], closable = true } = {}) {
    const note = el("div", { class: "notice", "data-kind": kind, role: kind === "error" ? "alert" : "status", id: `notice-${id}` }, el("p", {}, text));
    for (const { label, run } of actions) {
      note.append(el("button", { type: "button", onclick: () => { this.close(id); run(); } }, label));
    }
    if (closable) note.append(el("button", { type: "button", onclick: () => this.close(id) }, "Close"));
    this.open.get(id)?.remove();
    this.open.set(id, note);
    this.parent.append(note);
  }

  close(id) {
    this.open.get(id)?.remove();
    this.open.delete(id);
  }

  announce(text) {
    // The same words twice in a row are spoken twice.
    this.announcer.textContent = this.announcer.textContent === text ? `${text}\u00a0` : text;
  }
}
