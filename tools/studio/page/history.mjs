// The document and how it came to be: an undo history without end. What is stored of it: storage.mjs.

import { originsAfterSaving, originsByName, same, withOrigins } from "./edits.mjs";

const kGestureRest = 1500;  // ms after which a gesture that never ended counts as ended

export class History {
  // listener(change): {from: index of the first entry that is new, count: entries now}
  constructor(document, listener) {
    this.entries = [{ label: "Opened", document, table: 0 }];
    this.at = 0;
    this.saved = document;
    this.listener = listener;
    this.gesture = null;
    this.touched = 0;
  }

  get document() { return this.entries[this.at].document; }
  get dirty() { return !same(this.document, this.saved); }
  get undoLabel() { return this.at > 0 ? this.entries[this.at].label : null; }
  get redoLabel() { return this.entries[this.at + 1]?.label ?? null; }

  // Changes of one gesture (a drag) are one step. table: the scene that was on view.
  push(label, document, { gesture = null, table = 0 } = {}) {
    if (same(document, this.document)) return false;
    const now = performance.now();
    const goesOn = gesture !== null && gesture === this.gesture && this.at > 0 && now - this.touched < kGestureRest;
    this.gesture = gesture;
    this.touched = now;
    if (!goesOn) ++this.at;
    this.entries.length = this.at + 1;
    this.entries[this.at] = { label, document, table };
    this.listener({ from: this.at, count: this.entries.length });
    return true;
  }

  // The step that was undone (-1) or done again (1), or null.
  move(by) {
    const to = this.at + by;
    if (to < 0 || to >= this.entries.length) return null;
    const step = this.entries[by < 0 ? this.at : to];
    this.at = to;
    this.gesture = null;
    this.listener({ from: this.entries.length, count: this.entries.length });
    return step;
  }

  // What is on the disk now. The program may have put it in other words than the page.
  markSaved(sent, returned) {
    this.saved = returned;
    const now = this.entries[this.at], isSent = now.document === sent;
    this.rebase(originsAfterSaving(sent));
    if (isSent) this.entries[this.at] = { ...now, document: returned };
    this.listener({ from: 0, count: this.entries.length });
  }

  // Somebody else has changed the disk.
  markDisk(document) {
    const origins = originsByName(this.saved, document);
    this.saved = document;
    this.rebase(origins);
    this.listener({ from: 0, count: this.entries.length });
  }

  // Steps before and after this one name the disk's tables, too.
  rebase(origins) {
    this.gesture = null;
    this.entries = this.entries.map((entry) => ({ ...entry, document: withOrigins(entry.document, origins) }));
  }

  restore({ entries, at, saved }) {
    Object.assign(this, { entries, at, saved, gesture: null });
  }
}
