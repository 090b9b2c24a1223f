// Elements. Texts go in as text nodes only, so that none is read as markup.

const SVG = "http://www.w3.org/2000/svg";

function fill(node, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (value !== undefined) node.setAttribute(name, value);
  }
  node.append(...children.flat().filter((child) => child !== undefined));
  return node;
}

export function element(name, attributes = {}, ...children) {
  return fill(document.createElement(name), attributes, children);
}

export function svg(name, attributes = {}, ...children) {
  return fill(document.createElementNS(SVG, name), attributes, children);
}

// Parts of a sentence; see say.mjs. Texts of the snapshot do not change the direction around them.
export function nodesOf(parts) {
  return parts.map(({ text, data }) =>
    data === undefined ? document.createTextNode(text) : element("bdi", { class: "data" }, data));
}

// Explanations have names of code between backquotes.
export function explained(text) {
  return text.split("`").map((part, i) => (i % 2 === 0 ? part : element("code", {}, part)));
}

export function button(text, onClick, attributes = {}) {
  const node = element("button", { type: "button", ...attributes }, text);
  node.addEventListener("click", onClick);
  return node;
}

let lastId = 0;

export function newId(start) {
  lastId += 1;
  return `${start}-${lastId}`;
}
