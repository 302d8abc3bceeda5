// What lies over "After": clipped pixels, and the skin or host mask.

import { el } from "./dom.mjs";

export const kClippedHigh = 254, kClippedLow = 1;

// Share of pixels, 0 to 1, with a channel at or beyond the limits.
export function drawClipping(canvas, { width, height, data }) {
  Object.assign(canvas, { width, height });
  const out = new ImageData(width, height), words = new Uint32Array(out.data.buffer);
  let high = 0, low = 0;
  for (let at = 0, pixel = 0; at < data.length; at += 4, ++pixel) {
    const r = data[at], g = data[at + 1], b = data[at + 2];
    // Stripes, so that the picture shows between them; ABGR.
    if (r >= kClippedHigh || g >= kClippedHigh || b >= kClippedHigh) {
      ++high;
      words[pixel] = (pixel + Math.floor(pixel / width)) % 6 < 3 ? 0xff3030ff : 0xff000000;
    } else if (r <= kClippedLow && g <= kClippedLow && b <= kClippedLow) {
      ++low;
      words[pixel] = (pixel + Math.floor(pixel / width)) % 6 < 3 ? 0xffff6030 : 0xffffffff;
    }
  }
  canvas.getContext("2d").putImageData(out, 0, 0);
  return { high: high / (width * height), low: low / (width * height) };
}

// Green where the mask holds, transparent where it does not.
export function drawMask(canvas, { width, height, data }) {
  Object.assign(canvas, { width, height });
  const out = new ImageData(width, height);
  for (let at = 0; at < data.length; at += 4) {
    out.data[at + 1] = 220;
    out.data[at + 2] = 90;
    out.data[at + 3] = data[at] * 0.65;
  }
  canvas.getContext("2d").putImageData(out, 0, 0);
}

export const makeOverlay = (name) => el("canvas", { class: `overlay overlay-${name}`, width: 1, height: 1, hidden: true });
