// What the check says about the tuning as it stands on the page, while it is changed.

import * as api from "./api.mjs";
import { el } from "./dom.mjs";

const kRest = 350;  // ms without a change before it is asked

export class Findings {
  constructor(app, parent) {
    this.app = app;
    this.count = el("span", { class: "count" });
    this.list = el("ul", { class: "findings", "aria-label": "Findings" });
    this.none = el("p", { class: "note" }, "None: the phone shows what you see.");
    parent.append(el("div", { class: "panel-head" }, el("h2", {}, "Findings"), this.count), this.list, this.none);
  }

  update() {
    if (this.checked === this.app.document) return;
    this.checked = this.app.document;
    clearTimeout(this.timer);
    this.timer = setTimeout(() => this.ask(), kRest);
  }

  async ask() {
    this.asking?.abort();
    this.asking = new AbortController();
    try {
      this.show((await api.check(this.app.document, this.asking.signal)).findings);
    } catch (error) {
      if (error.name !== "AbortError") this.show([{ severity: "error", rule: "", file: "", message: error.message }]);
    }
  }

  show(findings) {
    const key = JSON.stringify(findings);
    if (key === this.key) return;
    const was = this.findings ?? [];
    this.key = key;
    this.findings = findings;
    this.list.replaceChildren(...findings.map((finding) => this.makeRow(finding)));
    this.none.hidden = findings.length > 0;
    this.list.hidden = findings.length === 0;
    const errors = findings.filter((finding) => finding.severity === "error").length;
    this.count.textContent = findings.length ? `${findings.length}` : "";
    this.count.dataset.severity = errors ? "error" : "warning";
    const fresh = findings.filter((finding) => !was.some((old) => old.message === finding.message));
    if (fresh.length) this.app.announce(`${fresh.length === 1 ? "A finding" : `${fresh.length} findings`}: ${fresh[0].message}`);
    else if (was.length && !findings.length) this.app.announce("No findings any more.");
  }

  makeRow({ severity, file, line, message, fix, rule }) {
    const where = [file, line ? `line ${line}` : ""].filter(Boolean).join(", ");
    return el("li", { class: "finding", "data-severity": severity, title: rule },
      el("strong", {}, severity === "error" ? "Error" : "Warning"), where ? el("span", { class: "where" }, ` ${where}`) : null,
      el("p", {}, message), fix ? el("p", { class: "fix" }, fix) : null);
  }
}
