// Sentences with texts of the snapshot in them: lists of parts, each { text } of the page or
// { data } of the snapshot.
import { numberText, visible } from "./texts.mjs";

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

// Parts of data, joined to "a, b and c", or to "a, b and 7 more" if there are more than those.
export function listed(names, more = 0) {
  const rest = more > 0 ? [{ text: `${numberText(more)} more` }] : [];
  const items = [...names.map((data) => ({ data })), ...rest];
  return items.flatMap((item, i) => {
    const joint = i === 0 ? "" : i + 1 === items.length ? " and " : ", ";
    return joint === "" ? [item] : [{ text: joint }, item];
  });
}

export function plain(parts) {
  return parts.map(({ text, data }) => text ?? data).join("");
}
