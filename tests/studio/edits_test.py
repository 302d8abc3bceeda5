"""The page's pure functions: what edits make of a document, run in the browser."""
import json
import os

import fixture
from browser import SAMPLES

# Random scene edits. After each, every host scene number that the edit does not concern shows the look it showed before.
SCENES = """
const edits = await import("/assets/edits.mjs"), wrong = [];
let seed = 7;
const below = (n) => (seed = (seed * 48271) % 2147483647) % n;
const nameAt = (document, mode, number) => document.tables[document.scenes[mode][number] ?? 0].look.name;
const names = (document, mode) => Array.from({length: 40}, (_, number) => nameAt(document, mode, number));
let document = {tables: ["a", "b", "c"].map((name, origin) => ({look: {name}, origin})), scenes: {photo: [0, 1, 2, 1], frame: [2]}};
for (let round = 0; round < 400; ++round) {
  const table = below(document.tables.length), mode = ["photo", "frame"][below(2)], name = document.tables[table].look.name;
  const kind = document.tables.length < 2 ? "add" : document.tables.length > 9 ? "remove" : ["add", "remove", "map", "map"][below(4)];
  const numbers = [...new Set(Array.from({length: below(6)}, () => below(40)))].sort((a, b) => a - b);
  const free = edits.freeName(document, name);
  const next = kind === "add" ? edits.addScene(document, {name: free}) : kind === "remove" ? edits.removeScene(document, table)
    : edits.mapScene(document, mode, table, numbers);
  for (const one of ["photo", "frame"]) {
    const first = next.tables[0].look.name;
    names(document, one).forEach((old, number) => {
      const added = kind === "add" && number === Math.max(document.scenes.photo.length, document.scenes.frame.length);
      const expected = added ? free : kind === "remove" && old === name ? first
        : kind === "map" && one === mode && numbers.includes(number) ? name
        : kind === "map" && one === mode && old === name ? first : old;
      // Numbers that the list does not have show table 0, whichever that is now.
      const listed = document.scenes[one][number] !== undefined;
      if (nameAt(next, one, number) !== (listed || added || kind === "map" ? expected : first)) wrong.push([kind, one, number, expected, nameAt(next, one, number)]);
    });
    if (next.scenes[one].some((entry) => entry >= next.tables.length)) wrong.push([kind, "no such table"]);
  }
  document = next;
}
return wrong.slice(0, 5);
"""

# Random curve edits: always at least two points, x that rises by the gap, y that does not fall, within levels.
CURVES = """
const edits = await import("/assets/edits.mjs"), wrong = [];
let seed = 11;
const below = (n) => (seed = (seed * 48271) % 2147483647) % n;
let points = edits.kIdentity, most = 0, least = 9;
for (let round = 0; round < 4000; ++round) {
  const index = below(points.length), x = below(700) / 2 - 40, y = below(700) / 2 - 40;
  if (below(3) === 0) points = edits.movedPoint(points, index, x, y);
  else if (round % 400 < 200) points = edits.addedPoint(points, Math.max(0, Math.min(255, x)), y)?.points ?? points;
  else points = edits.withoutPoint(points, index);
  most = Math.max(most, points.length);
  least = Math.min(least, points.length);
  const good = points.length >= 2 && points.length <= edits.kMaxPoints && points.every(([px, py], i) =>
    px >= 0 && px <= 255 && py >= 0 && py <= 255 && (i === 0 || (px >= points[i - 1][0] + edits.kMinimumGap && py >= points[i - 1][1])));
  if (!good) wrong.push(JSON.stringify(points));
}
return [wrong.slice(0, 2), least, most];
"""


class Edits(fixture.Test):
    def setUp(self):
        super().setUp()
        self.page = self.open(self.tuning("neutral"), os.path.join(SAMPLES, "portrait.jpg"))

    def test_scenes(self):
        self.assertEqual(self.page.script(SCENES), [])

    def test_curves(self):
        wrong, least, most = self.page.script(CURVES)
        self.assertEqual(wrong, [])
        self.assertEqual(least, 2)
        self.assertGreater(most, 40)

    def test_words(self):
        numbers = {"": [], "0": [0], "0, 3 5-7": [0, 3, 5, 6, 7], "7;7": [7], "1 3 4 9": [1, 3, 4, 9], "511": [511], "512": None, "x": None, "7-5": None, "-1": None, "1.5": None}
        names = {"food": "", "a": "", "2x": "A name", "": "A name", "a b": "A name", "a" * 31: "", "a" * 32: "A name", "neutral": "There is"}
        got = self.page.script("""
            const edits = await import("/assets/edits.mjs"), [numbers, names] = arguments;
            const parsed = (text) => {
              try {
                const found = edits.parseNumbers(text);
                if (edits.parseNumbers(edits.numbersText(found)).join() !== found.join()) return edits.numbersText(found);
                return found;
              } catch { return null; }
            };
            const document = {tables: [{look: {name: "neutral"}}, {look: {name: "neutral-2"}}]};
            return [numbers.map(parsed), names.map((name) => edits.nameError(document, 1, name)), edits.freeName(document, "neutral-2"),
              edits.pointsOfLevels(Array.from({length: 256}, (_, i) => 255 - i))];""", list(numbers), list(names))
        self.assertEqual(got[0], list(numbers.values()))
        for name, wanted, said in zip(names, names.values(), got[1]):
            self.assertEqual(said[:len(wanted)] if wanted else said, wanted, name)
        self.assertEqual(got[2], "neutral-3")
        self.assertEqual([y for _, y in got[3]], [255] * 10, json.dumps(got[3]))
