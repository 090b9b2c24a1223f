// Tables of any number of rows: the first ones, and more on request.
import { button, element } from "./dom.mjs";
import { counted, numberText } from "./texts.mjs";

const FIRST = 50;
const MORE = 500;

function cellOf(value) {
  return element("td", {}, typeof value === "string" ? element("bdi", {}, value) : value);
}

function rowOf([first, ...others]) {
  const head = element("th", { scope: "row" }, element("bdi", {}, first));
  return element("tr", {}, head, ...others.map(cellOf));
}

// `textsOf` gives the texts of a row, one for each column.
export function tableOf(caption, columns, rows, textsOf) {
  const body = element("tbody");
  const head = element("tr", {}, ...columns.map((name) => element("th", { scope: "col" }, name)));
  const table = element("table", {}, element("caption", {}, caption),
                        element("thead", {}, head), body);
  const frame = element("div", { class: "table", role: "region", tabindex: "0",
                                 "aria-label": caption }, table);
  const more = button("", () => showMore(), { class: "more" });
  const unprinted = element("p", { class: "unprinted" });
  let shown = 0;

  function add(count) {
    const next = rows.slice(shown, shown + count);
    body.append(...next.map((row) => rowOf(textsOf(row))));
    shown += next.length;
    const left = rows.length - shown;
    more.hidden = left === 0;
    unprinted.textContent = left === 0 ? "" : `${counted(left, "more row")} not printed.`;
    more.textContent =
      `${numberText(left)} more rows: show the next ${numberText(Math.min(left, MORE))}`;
  }

  // The button may go with the last rows; the focus must not.
  function showMore() {
    add(MORE);
    if (more.hidden) frame.focus({ preventScroll: true });
  }

  add(FIRST);
  return element("div", {}, frame, more, unprinted);
}
