// The table of what differs between two cases.
import { differencesOf } from "./compare.mjs";
import { element, newId } from "./dom.mjs";
import { sentenceFor } from "./sentence.mjs";
import { tableOf } from "./tables.mjs";

// Ordinals have a meaning in one report only, and are not compared.
const NOTHING = "Nothing that the page compares: the answer, the report\u2019s words, the way, " +
  "the endpoint, the sockets to it, the interfaces, the missing facts, the input and the " +
  "record\u2019s origin are the same.";

export function differencesView([left, right], names) {
  const id = newId("differences");
  const sections = differencesOf(left.details, right.details, sentenceFor)
    .filter(({ rows }) => rows.length > 0);
  const columns = ["What", ...names];
  const tables = sections.map(({ title, rows }) =>
    tableOf(title, columns, rows, (row) => [row.what, row.left, row.right]));
  return element("section", { class: "differences", "aria-labelledby": id },
                 element("h2", { id }, "What differs"),
                 ...(tables.length > 0 ? tables : [element("p", {}, NOTHING)]));
}
