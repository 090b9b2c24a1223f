// Sentences with texts of the snapshot in them: lists of parts, each { text } of the page or
// { data } of the snapshot.
import { visible } from "./texts.mjs";

function partsOf(value) {
  if (!Array.isArray(value)) return [{ data: visible(value) }];
  return value.map((part) => (typeof part === "string" ? { text: part } : part));
}

// A tag for templates: a value is a text of the snapshot, an array words of the page or parts. A
// line end of the template is a blank.
export function say(strings, ...values) {
  const parts = [];
  strings.forEach((string, i) => {
    const text = string.replace(/\s*\n\s*/g, " ");
    if (text !== "") parts.push({ text });
    if (i < values.length) parts.push(...partsOf(values[i]));
  });
  return parts;
}

// Parts of data, joined to "a, b and c".
export function listed(names) {
  return names.flatMap((data, i) => {
    const joint = i === 0 ? "" : i + 1 === names.length ? " and " : ", ";
    return joint === "" ? [{ data }] : [{ text: joint }, { data }];
  });
}

export function plain(parts) {
  return parts.map(({ text, data }) => text ?? data).join("");
}
