// How texts of a snapshot are shown.
import assert from "node:assert/strict";
import { test } from "node:test";

import { wrapped } from "../../apps/viewer/lines.mjs";
import { endText, operStatusText, visible } from "../../apps/viewer/texts.mjs";

test("what is not seen is escaped, and the rest stays", () => {
  const rows = [
    ["wan0", "wan0"],
    ["a b", "a b"],
    ["\t\n\0\x7F\x9F", "[U+0009][U+000A][U+0000][U+007F][U+009F]"],
    ["\u202A\u202E\u2066\u2069\u200E", "[U+202A][U+202E][U+2066][U+2069][U+200E]"],
    ["\u{E0041}\u{10FFFF}\u{F0000}", "[U+E0041][U+10FFFF][U+F0000]"],
    ["\uFFF9\u3164", "[U+FFF9][U+3164]"],
    ["\uD800x", "[U+D800]x"],
    ["\u0301e\u0301", "[U+0301]e\u0301"],
    ["\u2708\uFE0F\uFE0F", "\u2708\uFE0F[U+FE0F]"],
    ["\uFE0F", "[U+FE0F]"],
    ["\u05E9\u6771\u{1F1EF}", "\u05E9\u6771\u{1F1EF}"],
  ];
  for (const [text, want] of rows) assert.equal(visible(text), want);
});

test("a long text is cut, with its length", () => {
  assert.equal(visible("x".repeat(120)), "x".repeat(120));
  assert.equal(visible("x".repeat(121)), `${"x".repeat(120)}... (121 characters)`);
  assert.equal(visible({ base64: "/w==" }), "base64:/w==");
});

test("addresses and ports", () => {
  assert.equal(endText("198.51.100.10", 443), "198.51.100.10:443");
  assert.equal(endText("2001:db8::1", 443), "[2001:db8::1]:443");
  assert.equal(endText("[2001:db8::1]", 443), "[2001:db8::1]:443");
});

test("states of interfaces have the words of RFC 2863", () => {
  assert.deepEqual([1, 2, 7, 8, 0, -1].map(operStatusText),
                   ["up", "down", "lower layer down", "state 8", "state 0", "state -1"]);
});

test("lines break at blanks, or anywhere, and lose nothing but blanks until they are cut", () => {
  const lines = (text, style, width) => wrapped({ text, style }, width).map((line) => line.text);
  assert.deepEqual(lines("one two three", "label", 8 * 6.6), ["one two", "three"]);
  assert.deepEqual(lines("10.0.0.7:443", "data", 10 * 7.6), ["10.0.0.7:", "443"]);
  assert.deepEqual(lines("aaaaaaaaaa", "data", 4 * 7.6), ["aaaa", "aaaa", "aa"]);
  assert.deepEqual(lines("\u6771\u4EAC\u6771", "data", 4 * 7.6), ["\u6771\u4EAC", "\u6771"]);
  assert.deepEqual(lines("a".repeat(100), "data", 4 * 7.6), ["aaaa", "aaaa", "aaa\u2026"]);
  const flags = lines("\u{1F1EF}".repeat(40), "data", 4 * 7.6);
  assert.deepEqual(flags.at(-1), "\u{1F1EF}\u2026");
});
