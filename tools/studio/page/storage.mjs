// Unsaved work and the undo history, kept by the browser over a reload (IndexedDB).
//
// Each tab has a slot of its own, so that two tabs of one directory do not overwrite each other: the first one that no
// living tab holds, or the one it had before its reload. Long texts (the data of tables and LUTs) are stored once.

const kLong = 512;

const promised = (request) => new Promise((resolve, reject) => {
  request.onsuccess = () => resolve(request.result);
  request.onerror = () => reject(request.error);
});
const finished = (transaction) => new Promise((resolve, reject) => {
  transaction.oncomplete = () => resolve();
  transaction.onerror = transaction.onabort = () => reject(transaction.error);
});

function openDatabase() {
  const request = indexedDB.open("huevance-studio", 1);
  request.onupgradeneeded = () => {
    for (const name of ["heads", "entries", "texts"]) request.result.createObjectStore(name);
  };
  return promised(request);
}

// Holds the slot's lock for as long as the page lives.
async function claimSlot(id) {
  const hold = (name) => new Promise((resolve) => {
    navigator.locks.request(name, { ifAvailable: true }, (lock) => {
      resolve(lock !== null);
      return lock === null ? undefined : new Promise(() => {});
    });
  });
  const before = sessionStorage.getItem("slot");
  // A reload's own lock may still be held for a moment by the page that goes away.
  for (let attempt = 0; before?.startsWith(`${id} `) && attempt < 20; ++attempt) {
    if (await hold(before)) return before;
    await new Promise((resolve) => setTimeout(resolve, 25));
  }
  for (let n = 1; ; ++n) {
    const name = `${id} ${n}`;
    if (await hold(name)) {
      sessionStorage.setItem("slot", name);
      return name;
    }
  }
}

export class Storage {
  static async open(id) {
    const storage = new Storage();
    storage.database = await openDatabase();
    storage.slot = await claimSlot(id);
    storage.texts = new Map();  // text -> key
    storage.queue = Promise.resolve();
    return storage;
  }

  range() { return IDBKeyRange.bound([this.slot], [this.slot, []]); }

  // {entries, at, saved, base, view} or null.
  async load() {
    const transaction = this.database.transaction(["heads", "entries", "texts"]);
    const head = await promised(transaction.objectStore("heads").get(this.slot));
    if (!head) return null;
    const [entries, keys, values] = await Promise.all([
      promised(transaction.objectStore("entries").getAll(this.range())),
      promised(transaction.objectStore("texts").getAllKeys(this.range())),
      promised(transaction.objectStore("texts").getAll(this.range())),
    ]);
    const byKey = new Map(keys.map((key, i) => [key[1], values[i]]));
    values.forEach((text, i) => this.texts.set(text, keys[i][1]));
    const unpack = (value) => {
      if (Array.isArray(value)) return value.map(unpack);
      if (typeof value !== "object" || value === null) return value;
      if ("text#" in value) return byKey.get(value["text#"]);
      return Object.fromEntries(Object.entries(value).map(([key, inner]) => [key, unpack(inner)]));
    };
    const unpacked = entries.slice(0, head.count).map((entry) => ({ ...entry, document: unpack(entry.document) }));
    if (!unpacked[head.at]) return null;
    this.complete = true;
    return { ...head, entries: unpacked, saved: unpack(head.saved) };
  }

  // Stores the head, and entries from `from` on; the first time all of them.
  store(history, base, view, first) {
    const from = this.complete ? first : 0;
    this.complete = true;
    const entries = history.entries.slice(from), { at, saved } = history, count = history.entries.length;
    this.queue = this.queue.then(() => this.write({ entries, from, count, at, saved, base, view })).catch((error) => {
      // The next one stores everything again.
      this.complete = false;
      this.texts.clear();
      this.onerror?.(error);
    });
    return this.queue;
  }

  async write({ entries, from, count, at, saved, base, view }) {
    const transaction = this.database.transaction(["heads", "entries", "texts"], "readwrite");
    const done = finished(transaction);
    const texts = transaction.objectStore("texts");
    const pack = (value) => {
      if (typeof value === "string" && value.length >= kLong) {
        if (!this.texts.has(value)) {
          this.texts.set(value, this.texts.size);
          texts.put(value, [this.slot, this.texts.get(value)]);
        }
        return { "text#": this.texts.get(value) };
      }
      if (Array.isArray(value)) return value.map(pack);
      if (typeof value !== "object" || value === null) return value;
      return Object.fromEntries(Object.entries(value).map(([key, inner]) => [key, pack(inner)]));
    };
    const store = transaction.objectStore("entries");
    entries.forEach((entry, i) => store.put({ ...entry, document: pack(entry.document) }, [this.slot, from + i]));
    store.delete(IDBKeyRange.bound([this.slot, count], [this.slot, []]));
    transaction.objectStore("heads").put({ at, count, saved: pack(saved), base, view }, this.slot);
    await done;
  }
}
