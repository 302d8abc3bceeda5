// Making elements, and the few controls that every panel is made of.

let unique = 0;
export const uniqueId = (stem) => `${stem}-${++unique}`;

// el("button", {class: "x", "aria-label": "y", onclick: f, disabled: true}, children...)
export function el(tag, properties = {}, ...children) {
  const node = document.createElement(tag);
  for (const [key, value] of Object.entries(properties)) {
    if (value === undefined || value === null || value === false) continue;
    if (key.startsWith("on")) node.addEventListener(key.slice(2), value);
    else node.setAttribute(key, value === true ? "" : value);
  }
  node.append(...children.filter((child) => child !== null && child !== undefined));
  return node;
}

export function svg(tag, attributes = {}, ...children) {
  const node = document.createElementNS("http://www.w3.org/2000/svg", tag);
  for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
  node.append(...children);
  return node;
}

// Strokes on a grid of 16.
const kIcons = {
  undo: "M6 3 2.5 6.5 6 10M3 6.5h6.5a4 4 0 0 1 0 8H6",
  redo: "M10 3l3.5 3.5L10 10M13 6.5H6.5a4 4 0 0 0 0 8H10",
  plus: "M8 3v10M3 8h10",
  copy: "M5.5 5.5h8v8h-8zM10.5 5.5v-3h-8v8h3",
  rename: "M3 13l.6-3L11 2.6 13.4 5 6 12.4zM9.5 4 12 6.5",
  remove: "M3 4.5h10M6.5 4.5v-2h3v2M4.5 4.5l.6 9h5.8l.6-9",
  up: "M8 13V3.5M4 7l4-4 4 4",
  down: "M8 3v9.5M4 9l4 4 4-4",
  pick: "M10 2.5l3.5 3.5M11.7 4.3 5 11l-2.5 2.5M9 4l3 3",
};

export function icon(name) {
  return svg("svg", { viewBox: "0 0 16 16", width: 16, height: 16, class: "icon", "aria-hidden": "true" },
    svg("path", { d: kIcons[name] }));
}

export function iconButton(name, label, onclick, properties = {}) {
  return el("button", { type: "button", class: "icon-button", "aria-label": label, title: label, onclick, ...properties },
    icon(name));
}

// The step of a number of that range: fine enough to judge, coarse enough for arrow keys.
export function stepOf(low, high) {
  const span = high - low;
  return span > 20 ? 1 : span > 0.5 ? 0.01 : 0.001;
}

export function formatted(value, step) {
  const digits = step >= 1 ? 0 : step >= 0.01 ? 2 : 3;
  return Number(value).toFixed(digits);
}

// A slider with a number field. change(value, gesture): gesture is the same during one movement, null for a value that
// stands for itself. The slider ends at `soft`, where the useful values do; the field goes on to `high`.
export function slider({ label, low, high, soft = high, fallback, hint, change }) {
  const step = stepOf(low, soft);
  const id = uniqueId("slider");
  let gesture = null;
  const range = el("input", { type: "range", id, min: low, max: soft, step: "any", "aria-label": label });
  const field = el("input", {
    type: "number", min: low, max: high, step, "aria-label": `${label}, number`, class: "number", inputmode: "decimal",
  });
  const name = el("label", { for: id, title: hint }, label);
  // Whole steps from the keyboard and the mouse; a value from a file stays as it is until somebody moves it.
  const snapped = () => Math.min(Math.max(Math.round(range.value / step) * step, low), Number(range.max));
  range.addEventListener("keydown", (event) => {
    const steps = { ArrowRight: 1, ArrowUp: 1, ArrowLeft: -1, ArrowDown: -1, PageUp: 10, PageDown: -10 }[event.key];
    if (!steps || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    range.value = Number(range.value) + steps * step * (event.shiftKey ? 10 : 1);
    range.dispatchEvent(new Event("input", { bubbles: true }));
    range.dispatchEvent(new Event("change", { bubbles: true }));
  });
  range.addEventListener("input", () => {
    gesture ??= uniqueId("gesture");
    change(Number(snapped().toFixed(6)), gesture);
  });
  range.addEventListener("change", () => { gesture = null; });
  const commit = () => {
    if (field.value === "" || !Number.isFinite(field.valueAsNumber)) return set(current);
    const value = Math.min(Math.max(field.valueAsNumber, low), high);
    if (value !== current) change(value, null);
    else set(current);
  };
  field.addEventListener("change", commit);
  name.addEventListener("dblclick", () => { if (fallback !== undefined) change(fallback, null); });
  let current = low;
  function set(value) {
    current = value;
    range.max = Math.max(soft, value);
    if (Number(range.value) !== value) range.value = value;
    range.style.setProperty("--part", `${(100 * (value - low)) / (Number(range.max) - low)}%`);
    range.setAttribute("aria-valuetext", formatted(value, step));
    if (document.activeElement !== field || field.valueAsNumber !== value) field.value = formatted(value, step);
  }
  const node = el("div", { class: "slider" }, name, range, field);
  return { node, range, field, set };
}

// Options of a select, kept when they are the same, so that an open list does not close.
export function setOptions(select, options) {
  const key = JSON.stringify(options);
  if (select.dataset.key === key) return;
  select.dataset.key = key;
  const chosen = select.value;
  select.replaceChildren(...options.map(({ value, text, disabled, title }) =>
    el("option", { value, disabled, title }, text)));
  if (options.some((option) => option.value === chosen)) select.value = chosen;
}

// Scrolls a list, and nothing around it, until its child is in sight.
export function reveal(list, child) {
  if (!child) return;
  const box = list.getBoundingClientRect(), part = child.getBoundingClientRect();
  if (part.left < box.left || part.right > box.right) list.scrollLeft += part.left - box.left - 20;
  if (part.top < box.top || part.bottom > box.bottom) list.scrollTop += part.top - box.top - 20;
}

export const isTyping = (target) =>
  target instanceof HTMLElement &&
  (target.isContentEditable || target.matches("textarea, select, input:not([type=range], [type=checkbox], [type=radio], [type=button])"));

export function base64ToFloats(text) {
  const bytes = Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
  return new Float32Array(bytes.buffer, 0, bytes.length >> 2);
}
