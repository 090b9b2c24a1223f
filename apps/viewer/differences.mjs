// The table of what differs between two cases.
import { differencesOf } from "./compare.mjs";
import { element, newId } from "./dom.mjs";
import { sentenceFor } from "./sentence.mjs";
import { tableOf } from "./tables.mjs";

export function differencesView([left, right], names) {
  const id = newId("differences");
  const sections = differencesOf(left.details, right.details, sentenceFor)
    .filter(({ rows }) => rows.length > 0);
  const columns = ["What", ...names];
  const tables = sections.map(({ title, rows }) =>
    tableOf(title, columns, rows, (row) => [row.what, row.left, row.right]));
  return element("section", { class: "differences", "aria-labelledby": id },
                 element("h2", { id }, "What differs"),
                 ...(tables.length > 0 ? tables : [element("p", {}, "Nothing.")]));
}
