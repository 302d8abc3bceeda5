// Every change of a document, as pure functions: they give a new document that shares what did not change.

export const kMaxScenes = 512;   // host scene numbers
export const kMaxPoints = 64;    // of a tone curve
export const kMinimumGap = 1;    // levels between two points of a curve
const kModes = ["photo", "frame"];

const replaced = (list, index, value) => list.map((old, i) => (i === index ? value : old));
export const lookOf = (document, table) => document.tables[table]?.look ?? null;

export const setLook = (document, table, look) =>
  ({ ...document, tables: replaced(document.tables, table, { ...document.tables[table], look }) });
export const changeLook = (document, table, part) =>
  setLook(document, table, { ...lookOf(document, table), ...part });

export const setSetting = (document, mode, key, value) =>
  ({ ...document, settings: { ...document.settings, [mode]: { ...document.settings[mode], [key]: value } } });
export const setPlatform = (document, mode, backEnd) =>
  ({ ...document, platform: { ...document.platform, [mode]: backEnd } });

// Adjustments of a look.
const adjustmentsOf = (document, table) => lookOf(document, table).adjustments ?? [];
const setAdjustments = (document, table, adjustments) => changeLook(document, table, { adjustments });

export const addAdjustment = (document, table, adjustment) =>
  setAdjustments(document, table, [...adjustmentsOf(document, table), adjustment]);
export const changeAdjustment = (document, table, index, part) =>
  setAdjustments(document, table,
    replaced(adjustmentsOf(document, table), index, { ...adjustmentsOf(document, table)[index], ...part }));
export const removeAdjustment = (document, table, index) =>
  setAdjustments(document, table, adjustmentsOf(document, table).filter((_, i) => i !== index));
export function moveAdjustment(document, table, from, to) {
  const list = [...adjustmentsOf(document, table)];
  list.splice(to, 0, ...list.splice(from, 1));
  return setAdjustments(document, table, list);
}

// Tone curves: points [x, y] with rising x and y that does not fall; no points are the identity.
export const kIdentity = [[0, 0], [255, 255]];
export const pointsOf = (curve) => (curve?.points?.length ? curve.points : kIdentity);

export function setPoints(document, table, points) {
  const identity = JSON.stringify(points) === JSON.stringify(kIdentity);
  return changeLook(document, table, { curve: { points: identity ? [] : points } });
}

const between = (value, low, high) => Math.min(Math.max(value, low), high);

// A point moved as far as its neighbours allow.
export function movedPoint(points, index, x, y) {
  const left = points[index - 1], right = points[index + 1];
  return replaced(points, index, [
    between(x, left ? left[0] + kMinimumGap : 0, right ? right[0] - kMinimumGap : 255),
    between(y, left ? left[1] : 0, right ? right[1] : 255),
  ]);
}

// {points, index} with a point at x, or null where there is no room.
export function addedPoint(points, x, y) {
  const index = points.findIndex((point) => point[0] > x);
  const at = index < 0 ? points.length : index;
  const left = points[at - 1], right = points[at];
  if (points.length >= kMaxPoints) return null;
  if ((left && x - left[0] < kMinimumGap) || (right && right[0] - x < kMinimumGap)) return null;
  const inside = between(y, left ? left[1] : 0, right ? right[1] : 255);
  return { points: [...points.slice(0, at), [x, inside], ...points.slice(at)], index: at };
}

export const withoutPoint = (points, index) =>
  points.length > 2 ? points.filter((_, i) => i !== index) : points;

// Points that follow 256 levels, for curves that came without points.
export const pointsOfLevels = (levels) => {
  let least = 0;
  return [0, 16, 32, 64, 96, 128, 160, 192, 224, 255].map((x) => {
    least = Math.max(least, Math.round(between(levels[x], 0, 255) * 10) / 10);
    return [x, least];
  });
};

// Scenes: tables by index, and lists that map a host's scene numbers to them.
export const numbersOf = (document, mode, table) =>
  document.scenes[mode].flatMap((entry, number) => (entry === table ? [number] : []));

export function nameError(document, table, name) {
  if (!/^[A-Za-z][A-Za-z0-9_-]{0,30}$/.test(name)) {
    return "A name is a letter, then letters, digits, “-” and “_”, 31 at most.";
  }
  const taken = document.tables.some((entry, i) => i !== table && entry.look?.name === name);
  return taken ? `There is a scene “${name}” already.` : "";
}

export function freeName(document, stem) {
  const base = stem.replace(/-\d+$/, "").slice(0, 27);
  for (let n = 2; ; ++n) if (!nameError(document, -1, `${base}-${n}`)) return `${base}-${n}`;
}

// A table at the end, under the next host scene number that is free in both modes.
export function addScene(document, look) {
  const table = document.tables.length;
  const number = Math.max(...kModes.map((mode) => document.scenes[mode].length));
  const scenes = { ...document.scenes };
  if (number < kMaxScenes) {
    for (const mode of kModes) {
      const list = document.scenes[mode];
      scenes[mode] = [...list, ...Array(number - list.length).fill(0), table];
    }
  }
  return { ...document, tables: [...document.tables, { look }], scenes };
}

// Tables behind it move up; scene numbers that had it get table 0.
export function removeScene(document, table) {
  const scenes = {};
  for (const mode of kModes) {
    scenes[mode] = document.scenes[mode].map((entry) =>
      (entry === table ? 0 : entry > table ? entry - 1 : entry));
  }
  return { ...document, tables: document.tables.filter((_, i) => i !== table), scenes };
}

// [0, 3, 5, 6, 7] as "0, 3, 5-7".
export function numbersText(numbers) {
  const runs = [];
  for (const number of numbers) {
    if (runs.length && runs.at(-1).last === number - 1) runs.at(-1).last = number;
    else runs.push({ first: number, last: number });
  }
  return runs.map(({ first, last }) => (first === last ? `${first}` : `${first}-${last}`)).join(", ");
}

// "0, 3 5-7" as numbers; throws an Error with a sentence.
export function parseNumbers(text) {
  const numbers = new Set();
  for (const part of text.split(/[\s,;]+/).filter(Boolean)) {
    const range = /^(\d{1,4})(?:[-–](\d{1,4}))?$/.exec(part);
    const from = Number(range?.[1]), to = Number(range?.[2] ?? range?.[1]);
    if (!range || to < from || to >= kMaxScenes) {
      throw new Error(`“${part}” is no scene number: they are 0 to ${kMaxScenes - 1}, such as “0, 3, 5-7”.`);
    }
    for (let n = from; n <= to; ++n) numbers.add(n);
  }
  return [...numbers].sort((a, b) => a - b);
}

// Exactly these numbers show the table; those that it loses show table 0.
export function mapScene(document, mode, table, numbers) {
  const length = Math.max(document.scenes[mode].length, numbers.length ? numbers.at(-1) + 1 : 0);
  const list = Array.from({ length }, (_, n) => {
    const old = document.scenes[mode][n] ?? 0;
    return numbers.includes(n) ? table : old === table ? 0 : old;
  });
  return { ...document, scenes: { ...document.scenes, [mode]: list } };
}

// "origin" of a table is the one on the disk that it was; null: a new one. It says nothing about pictures.
const contentKeys = (value) => Object.keys(value).filter((key) => key !== "origin");

// Same content? Shared parts are compared by identity first.
export function same(a, b) {
  if (a === b) return true;
  if (typeof a !== "object" || typeof b !== "object" || a === null || b === null) return false;
  const keys = contentKeys(a);
  return keys.length === contentKeys(b).length && keys.every((key) => key in b && same(a[key], b[key]));
}

// Where tables are on the disk, once `sent` is what it holds.
export const originsAfterSaving = (sent) =>
  new Map(sent.tables.flatMap(({ origin }, table) => (Number.isInteger(origin) ? [[origin, table]] : [])));
// Once somebody else has made `now` of `before`: tables are known by their names.
export const originsByName = (before, now) => new Map(before.tables.map(({ look, origin }) =>
  [origin, now.tables.findIndex((entry) => look && entry.look?.name === look.name)]).filter(([, table]) => table >= 0));
export function withOrigins(document, origins) {
  const tables = document.tables.map((entry) => (Number.isInteger(entry.origin) && origins.get(entry.origin) !== entry.origin
    ? { ...entry, origin: origins.get(entry.origin) ?? null } : entry));
  return tables.every((entry, i) => entry === document.tables[i]) ? document : { ...document, tables };
}
