// Text in lines of a width. Widths are estimated, because SVG does not wrap text.

export const LINE_HEIGHT = 19;
// The width of a character in pixels; those of wide scripts have two.
const WIDTHS = { strong: 8.5, data: 7.6, title: 7.3, label: 6.6, badge: 7.2 };
const MAX_LINES = { strong: 3, data: 3, title: 3, label: 6, badge: 2 };
const WIDE = new RegExp("[\\u1100-\\u115F\\u2E80-\\uA4CF\\uAC00-\\uD7A3\\uF900-\\uFAFF" +
                        "\\uFE30-\\uFE6F\\uFF00-\\uFF60\\u{10000}-\\u{10FFFF}]", "u");

function columnsOf(character) {
  return WIDE.test(character) ? 2 : 1;
}

// Where a line that is full breaks: at a blank, after a colon of an address, or anywhere.
function endOf(line) {
  const blank = line.lastIndexOf(" ");
  if (blank > 0) return blank;
  const colon = line.lastIndexOf(":") + 1;
  return colon > line.length / 2 ? colon : line.length;
}

export function wrapped({ text, style }, width) {
  const max = Math.max(4, Math.floor(width / WIDTHS[style]));
  const found = [];
  let line = "";
  let columns = 0;
  for (const character of text) {
    if (columns + columnsOf(character) > max) {
      const end = endOf(line);
      found.push(line.slice(0, end));
      line = line.slice(end).trimStart();
      columns = [...line].reduce((sum, each) => sum + columnsOf(each), 0);
    }
    line += character;
    columns += columnsOf(character);
  }
  found.push(line);
  if (found.length > MAX_LINES[style]) {
    found.length = MAX_LINES[style];
    found[found.length - 1] = `${[...found.at(-1)].slice(0, -1).join("")}\u2026`;
  }
  return found.filter((each) => each !== "").map((each) => ({ text: each, style }));
}
