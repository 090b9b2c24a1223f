// The picture of the way, as SVG of plain elements.
import { element, newId, nodesOf, svg } from "./dom.mjs";
import { layoutOf } from "./layout.mjs";
import { LINE_HEIGHT } from "./lines.mjs";

const TEXT_X = 12;
const FIRST_LINE = 23;
// Wide enough for three columns; the sheet scales it.
const PAPER_WIDTH = 800;
const TITLE = "The way of the traffic; the text below says the same";

function drawBox(box) {
  const classes = ["box", box.kind, box.role && `role-${box.role}`, box.isDown && "is-down"];
  const group = svg("g", { class: classes.filter(Boolean).join(" ") });
  const { x, y, width, height } = box;
  group.append(svg("rect", { x, y, width, height, rx: box.kind === "endpoint" ? 14 : 3 }));
  box.lines.forEach(({ text, style }, i) => {
    const at = { x: x + TEXT_X, y: y + FIRST_LINE + i * LINE_HEIGHT, class: style };
    group.append(svg("text", at, text));
  });
  return group;
}

// Two lines, above and below the line of the edge, if it is long.
function labelLines({ label, split }) {
  if (!split) return [label];
  const words = label.split(" ");
  const cut = label.length > 20 ? label.lastIndexOf(" ", 20) : label.length;
  return words.length < 2 ? [label] : [label.slice(0, cut), label.slice(cut + 1)].filter(Boolean);
}

function drawEdge(edge) {
  const group = svg("g", { class: `edge ${edge.kind}` }, svg("path", { d: edge.path }));
  if (edge.tip !== undefined) {
    const { x, y, angle } = edge.tip;
    const transform = `translate(${x} ${y}) rotate(${angle})`;
    group.append(svg("path", { class: "tip", d: "M0 0L-9 -4.5V4.5Z", transform }));
  }
  if (edge.cross !== undefined) {
    const { x, y } = edge.cross;
    group.append(svg("path", { class: "cross", d: `M${x - 5} ${y - 5}l10 10m0 -10l-10 10` }));
  }
  if (edge.label !== undefined) {
    labelLines(edge).forEach((text, i) => {
      group.append(svg("text", { x: edge.labelX, y: edge.labelY + i * 19, class: "label" }, text));
    });
  }
  return group;
}

export function drawPicture(model, width) {
  const layout = layoutOf(model, width);
  const title = newId("picture");
  const picture = svg("svg", {
    class: "picture",
    role: "img",
    "aria-labelledby": title,
    viewBox: `0 0 ${layout.width} ${layout.height}`,
    width: layout.width,
    height: layout.height,
  });
  picture.append(svg("title", { id: title }, TITLE));
  picture.append(...layout.edges.map(drawEdge), ...layout.boxes.map(drawBox));
  layout.headings.forEach(({ x, y, text }) =>
    picture.append(svg("text", { x, y, class: "heading" }, text)));
  return picture;
}

// A picture that is drawn anew when its place becomes wider or narrower.
export function pictureOf(model, words) {
  const place = element("div", { class: "picture-place" });
  const list = element("ol", {}, ...words.map((parts) => element("li", {}, ...nodesOf(parts))));
  const text = element("details", { class: "as-text" },
                       element("summary", {}, "The way as text"), list);
  let drawn = 0;
  let isPrinting = false;
  function draw() {
    const isPaper = isPrinting || matchMedia("print").matches;
    const width = isPaper ? PAPER_WIDTH : Math.floor(place.clientWidth);
    if (width === 0 || width === drawn) return;
    drawn = width;
    place.replaceChildren(drawPicture(model, width));
  }
  function print(isBegun) {
    isPrinting = isBegun;
    draw();
  }
  new ResizeObserver(draw).observe(place);
  return { node: element("figure", {}, place, text), draw, print };
}
