// The program's answers. Every failure is an ApiError with one sentence and the status (0: the program cannot be reached).

export class ApiError extends Error {
  constructor(status, body) {
    super(body.error ?? "The program gave no reason.");
    this.status = status;
    this.body = body;
  }
}

const token = new URLSearchParams(location.search).get("token") ?? "";
export const pageId = crypto.randomUUID();

async function call(path, options = {}) {
  let response;
  try {
    response = await fetch(path, {
      cache: "no-store",
      ...options,
      headers: { "X-Huevance-Token": token, ...options.headers },
    });
  } catch (error) {
    if (error.name === "AbortError") throw error;
    throw new ApiError(0, { error: "The program no longer answers: is huevance studio still running?" });
  }
  if (response.ok) return response;
  let body = {};
  try { body = await response.json(); } catch { /* an answer without a reason */ }
  throw new ApiError(response.status, body);
}

const post = (path, body, options = {}) =>
  call(path, { method: "POST", body: JSON.stringify(body), headers: { "Content-Type": "application/json" }, ...options });
const json = async (response) => (await response).json();

export const open = () => json(call("/api/open"));
export const state = () => json(call("/api/state"));
export const curves = (look, signal) => json(post("/api/curves", { look }, { signal }));
export const check = (document, signal) => json(post("/api/check", { document, size: null }, { signal }));
export const pick = (rgb) => json(post("/api/pick", { rgb }));
export const save = (document, base, force) => json(post("/api/save", { document, base, force }));

export const lut = (file) => json(call(`/api/lut?name=${encodeURIComponent(file.name)}`,
  { method: "POST", body: file, headers: { "Content-Type": "application/octet-stream" } }));

export function fit(document, table, before, after) {
  const form = new FormData();
  form.append("document", JSON.stringify(document));
  for (const file of before) form.append("before", file);
  for (const file of after) form.append("after", file);
  return json(call(`/api/fit?table=${table}`, { method: "POST", body: form }));
}

const number = (response, name) => Number(response.headers.get(name));

// Tables are baked, and back ends set up, in the same time for few pixels.
function besidePixels(response) {
  const timing = response.headers.get("Server-Timing") ?? "";
  return [...timing.matchAll(/(?:bake|setup);dur=([\d.]+)/g)].reduce((sum, [, milliseconds]) => sum + Number(milliseconds), 0);
}

// A picture: {width, height, fullWidth, fullHeight, milliseconds of its frame, beside: those that do not depend
// on its size, lines, data}.
let serial = 0;
export async function render(request, signal) {
  const response = await post("/api/render", { ...request, page: pageId, serial: ++serial }, { signal });
  const data = new Uint8ClampedArray(await response.arrayBuffer());
  const errors = decodeURIComponent(response.headers.get("X-Errors") ?? "");
  return {
    width: number(response, "X-Width"), height: number(response, "X-Height"),
    fullWidth: number(response, "X-Full-Width"), fullHeight: number(response, "X-Full-Height"),
    milliseconds: number(response, "X-Milliseconds"), beside: besidePixels(response), lines: errors.split("\n").filter(Boolean), data,
  };
}

// Pictures of a fade between two tables, in their order.
export async function fade(request, signal) {
  const response = await post("/api/fade", request, { signal });
  const width = number(response, "X-Width"), height = number(response, "X-Height");
  const bytes = await response.arrayBuffer();
  const frames = Array.from({ length: number(response, "X-Frames") }, (_, i) =>
    new Uint8ClampedArray(bytes, i * width * height * 4, width * height * 4));
  return { width, height, frames };
}
