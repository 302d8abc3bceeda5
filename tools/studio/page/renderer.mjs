// Asking for pictures so that the newest change always wins: one request under way for each lane, always for what is
// wanted last; a coarse picture first when the full one takes longer than a person waits.

import * as api from "./api.mjs";

const kPatience = 100;       // ms a full picture may take before a coarse one comes first
const kCoarseGoal = 60;      // ms that a coarse one may take
const kLeastCoarse = 40_000; // pixels

export class Lane {
  // picture(picture, {coarse, asked, about}), error(error), idle()
  constructor(name, { picture, error, idle }) {
    this.name = name;
    this.on = { picture, error, idle };
    this.wanted = null;
    this.running = false;
    this.perPixel = 0;  // ms, of what this lane saw last
  }

  // make() gives the request as it is when it is sent; pixels: of the whole picture, at most; about: comes back with it.
  want(make, pixels, { coarseFirst = true, about = null } = {}) {
    this.wanted = { make, pixels, coarseFirst, about, coarseShown: false, asked: performance.now() };
    if (!this.running) this.run();
    else if (this.refining) this.abort.abort();
  }

  drop() {
    this.wanted = null;
    this.abort?.abort();
  }

  sizeOf(job) {
    const estimate = this.perPixel * job.pixels;
    if (!job.coarseFirst || job.coarseShown || estimate <= kPatience) return job.pixels;
    // Few sizes: each is a new one to the photo's scaling and to a GPU's compiler.
    let pixels = job.pixels / 4;
    while (pixels * this.perPixel > kCoarseGoal && pixels / 4 >= kLeastCoarse) pixels /= 4;
    return Math.round(pixels);
  }

  async run() {
    this.running = true;
    while (this.wanted) await this.step(this.wanted);
    this.running = false;
    this.on.idle?.();
  }

  async step(job) {
    const pixels = this.sizeOf(job), coarse = pixels !== job.pixels;
    this.abort = new AbortController();
    this.refining = !coarse && this.perPixel * pixels > kPatience;
    const begun = performance.now();
    try {
      const picture = await api.render({ ...job.make(), pixels, lane: this.name }, this.abort.signal);
      // A picture that the program still had says how long it took then.
      const spent = performance.now() - begun;
      const cost = (spent > picture.beside ? spent - picture.beside : spent) / (picture.width * picture.height);
      this.perPixel = this.perPixel ? 0.5 * (this.perPixel + cost) : cost;
      this.on.picture(picture, { coarse, asked: job.asked, about: job.about });
      if (this.wanted !== job) return;
      if (coarse) job.coarseShown = true;
      else this.wanted = null;
    } catch (error) {
      if (this.wanted !== job) return;  // a newer one is wanted: whatever went wrong with this one is history
      this.wanted = null;
      if (error.name !== "AbortError") this.on.error?.(error);
    }
  }
}
