// Places of boxes and edges, in pixels: three columns side by side, or one below the other where
// the page is narrow.
import { groupBoxes, hiddenEdgesText, interfaceBoxes, stubText, wayBoxes } from "./boxes.mjs";
import { LINE_HEIGHT, wrapped } from "./lines.mjs";

const NARROW = 760;
const PADDING = 12;
const BOX_GAP = 16;
const WAY_GAP = 34;
const HEADING = 34;
const ENDPOINT_GAP = 56;
const LABEL_GAP = 130;
// Between a label and the cross behind it.
const CROSS_GAP = 16;
const EDGE_GAP = LABEL_GAP + 46;
// Two lines of a label, and a gap.
const PORT = 40;
const LANE = 16;
const TRUNK = 22;

// How many edges begin at a group, with the one that ends at once.
function portsOf(group) {
  return group.edges.length + (stubText(group) === "" ? 0 : 1);
}

function sized(box, width) {
  const lines = box.lines.flatMap((line) => wrapped(line, width - 2 * PADDING));
  const gaps = box.group === undefined ? 0 : portsOf(box.group) + 1;
  const height = Math.max(lines.length * LINE_HEIGHT + 2 * PADDING - 4, gaps * PORT);
  return { ...box, lines, width, height };
}

// Stacks boxes from `top`; gives the bottom.
function stack(boxes, x, top, gap) {
  let y = top;
  for (const box of boxes) {
    Object.assign(box, { x, y });
    y += box.height + gap;
  }
  return y - gap;
}

function shift(boxes, by) {
  for (const box of boxes) box.y += by;
}

function wayEdges(way) {
  return way.slice(1).map((box, i) => {
    const from = way[i];
    const x = from.x + Math.min(from.width, box.width) / 2;
    const y = from.y + from.height;
    const isBroken = box.kind === "stop";
    return { kind: isBroken ? "broken" : "way", path: `M${x} ${y}V${box.y}`, label: from.next,
             labelX: x + 8, labelY: (y + box.y) / 2 + 4, tip: { x, y: box.y, angle: 90 } };
  });
}

const middle = (box) => box.y + box.height / 2;

// The places on a side of a box where `count` edges begin or end.
function portY(box, i, count) {
  return box.y + ((i + 1) * box.height) / (count + 1);
}

function kindOf(edge, group) {
  if (edge.isBlocked) return "broken";
  if (edge.leaves) return "leaves";
  return group.leavesThrough.length > 0 || group.hasNoWayOut ? "contradicted" : "source";
}

// Every edge from a group to an interface, with its places on both sides.
function links(groups, interfaces) {
  const found = [];
  const arrivals = new Map();
  for (const box of groups.filter(({ group }) => group !== undefined)) {
    const { edges } = box.group;
    edges.forEach((edge, i) => {
      const to = interfaces.find(({ ordinal }) => ordinal === edge.ordinal);
      if (to === undefined) return;
      const startY = portY(box, i, portsOf(box.group));
      const arrival = arrivals.get(to) ?? [];
      arrivals.set(to, arrival);
      const link = { box, to, startY, label: edge.label, kind: kindOf(edge, box.group) };
      arrival.push(link);
      found.push(link);
    });
  }
  for (const [to, arrival] of arrivals) {
    arrival.forEach((link, i) => { link.endY = portY(to, i, arrival.length); });
  }
  return found;
}

function wideEdge({ box, to, startY, endY, label, kind }) {
  const x = box.x + box.width;
  const turn = x + LABEL_GAP + (kind === "broken" ? CROSS_GAP : 0);
  const half = (turn + to.x) / 2;
  const path = `M${x} ${startY}H${turn}C${half} ${startY} ${half} ${endY} ${to.x} ${endY}`;
  const cross = kind === "broken" ? { x: turn, y: startY } : undefined;
  return { kind, path, label, labelX: x + 8, labelY: startY - 5, split: true, cross,
           tip: { x: to.x, y: endY, angle: 0 } };
}

function wideStub(box) {
  const text = stubText(box.group);
  if (text === "") return [];
  const count = box.group.edges.length;
  const x = box.x + box.width;
  const y = portY(box, count, count + 1);
  const end = x + LABEL_GAP + CROSS_GAP;
  return [{ kind: "broken", path: `M${x} ${y}H${end}`, label: text, labelX: x + 8, labelY: y - 5,
            split: true, cross: { x: end, y } }];
}

function wideFan(way, groups) {
  const end = way.at(-1);
  if (end.kind === "stop") return [];
  const x = end.x + end.width;
  return groups.map((box, i) => {
    const y = portY(end, i, groups.length);
    const half = (x + box.x) / 2;
    const isBroken = box.kind === "stop";
    return { kind: isBroken ? "broken" : "way",
             path: `M${x} ${y}C${half} ${y} ${half} ${middle(box)} ${box.x} ${middle(box)}` };
  });
}

function columnsFor(model, width) {
  const column = (width - ENDPOINT_GAP - EDGE_GAP - 4) / 3;
  const size = (box) => sized(box, column);
  const groups = groupBoxes(model).map((box) => withLines(box, hiddenLines(box)));
  const columns = [wayBoxes(model), groups, interfaceBoxes(model)]
    .map((boxes) => boxes.map(size));
  const xs = [2, 2 + column + ENDPOINT_GAP, 2 + 2 * column + ENDPOINT_GAP + EDGE_GAP];
  return { columns, xs };
}

function wide(model, width) {
  const { columns, xs } = columnsFor(model, width);
  const bottoms = columns.map((boxes, i) =>
    stack(boxes, xs[i], HEADING, i === 0 ? WAY_GAP : BOX_GAP));
  const bottom = Math.max(...bottoms);
  columns.forEach((boxes, i) => shift(boxes, (bottom - bottoms[i]) / 2));
  const [way, groups, interfaces] = columns;
  const edges = [
    ...wayEdges(way),
    ...wideFan(way, groups),
    ...links(groups, interfaces).map(wideEdge),
    ...groups.filter(({ group }) => group !== undefined).flatMap(wideStub),
  ];
  return { width, height: bottom + 4, boxes: columns.flat(), edges, headings: headingsAt(xs) };
}

const HEADINGS = ["Way to the endpoint", "Sockets to it", "Interfaces"];

function headingsAt(xs) {
  return xs.map((x, i) => ({ x, y: 16, text: HEADINGS[i] }));
}

function withLines(box, lines) {
  return { ...box, lines: [...box.lines, ...lines] };
}

function hiddenLines({ group }) {
  const hidden = group === undefined ? "" : hiddenEdgesText(group);
  return hidden === "" ? [] : [{ text: `\u2192 ${hidden}`, style: "label" }];
}

// In one column, the labels of edges are lines of the boxes.
function withEdgeLines(box, interfaces) {
  if (box.group === undefined) return box;
  const lines = box.group.edges.map(({ ordinal, label }) => {
    const name = interfaces.find((each) => each.ordinal === ordinal)?.lines[0].text ?? "";
    return { text: `\u2192 ${name} ${label}`, style: "data" };
  });
  const stub = stubText(box.group);
  if (stub !== "") lines.push({ text: `\u2715 ${stub}`, style: "label" });
  return withLines(box, [...lines, ...hiddenLines(box)]);
}

function narrowEdge({ box, to, startY, endY, kind }, lane) {
  const x = box.x + box.width;
  return { kind, path: `M${x} ${startY}H${lane}V${endY}H${x}`,
           tip: { x, y: endY, angle: 180 } };
}

function narrowFan(way, groups) {
  const end = way.at(-1);
  if (end.kind === "stop") return [];
  return groups.map((box) => {
    const isBroken = box.kind === "stop";
    const x = end.x + TRUNK / 2;
    return { kind: isBroken ? "broken" : "way",
             path: `M${x} ${end.y + end.height}V${middle(box)}H${box.x}` };
  });
}

function narrow(model, width) {
  const plainInterfaces = interfaceBoxes(model);
  const groupsWithLines = groupBoxes(model).map((box) => withEdgeLines(box, plainInterfaces));
  const count = Math.max(1, groupsWithLines.reduce((n, b) => n + (b.group?.edges.length ?? 0), 0));
  const lanes = Math.min(count, 6);
  const right = width - lanes * LANE - 8;
  const way = wayBoxes(model).map((box) => sized(box, right - 2));
  const groups = groupsWithLines.map((box) => sized(box, right - 2 - TRUNK));
  const interfaces = plainInterfaces.map((box) => sized(box, right - 2 - TRUNK));
  const headings = [];
  let y = 0;
  [[way, 2, WAY_GAP], [groups, 2 + TRUNK, BOX_GAP], [interfaces, 2 + TRUNK, BOX_GAP]]
    .forEach(([boxes, x, gap], i) => {
      headings.push({ x: i === 1 ? x + TRUNK / 2 : 2, y: y + 16, text: HEADINGS[i] });
      y = stack(boxes, x, y + HEADING, gap) + BOX_GAP;
    });
  const found = links(groups, interfaces);
  const edges = [
    ...wayEdges(way),
    ...narrowFan(way, groups),
    ...found.map((link, i) => narrowEdge(link, right + LANE * ((i % lanes) + 1))),
  ];
  return { width, height: y, boxes: [...way, ...groups, ...interfaces], edges, headings };
}

export function layoutOf(model, width) {
  return width < NARROW ? narrow(model, Math.max(280, width)) : wide(model, width);
}
