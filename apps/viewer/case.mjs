// What is read of one host: its inputs, its details, and how they are shown.
import { mergedSnapshot } from "./intake.mjs";
import { button, element, explained, newId, nodesOf } from "./dom.mjs";
import { modelOf } from "./model.mjs";
import { panelsOf } from "./panels.mjs";
import { pictureOf } from "./picture.mjs";
import { sentenceFor } from "./sentence.mjs";
import { visible } from "./texts.mjs";
import { wayInWords } from "./way_text.mjs";

// Throws what the module throws if it refuses the inputs.
export function diagnosed(inputs, engine) {
  const text = mergedSnapshot(inputs, engine);
  return { inputs, text, details: engine.diagnose(text) };
}

export function nameOf({ inputs }) {
  const { snapshot, config, answers } = inputs;
  return visible((snapshot ?? config ?? answers).name);
}

function originText({ origin }) {
  const program = `${visible(origin.program)} ${visible(origin.programVersion)}`.trim();
  const parts = [visible(origin.time), program, visible(origin.system)];
  return parts.filter((part) => part !== "").join(" \u00B7 ");
}

const TONES = { known: "", contradiction: "Contradiction", unknown: "Unknown", broken: "Broken" };

function todoNode(nodes) {
  return element("p", {}, element("b", {}, "What to do: "), ...nodes);
}

function answerOf(details, model) {
  const { tone, headline, evidence, todo, stop: list } = sentenceFor(details);
  // Where the way ends, or the list that is missing.
  const stop = model[list] ?? model.way.stop;
  const id = newId("answer");
  const parts = [element("h2", { id, class: "answer", tabindex: "-1" }, ...nodesOf(headline))];
  if (TONES[tone] !== "") parts.unshift(element("p", { class: "tone" }, TONES[tone]));
  if (evidence.length > 0) parts.push(element("p", { class: "lead" }, ...nodesOf(evidence)));
  if (todo !== undefined) {
    parts.push(todoNode(nodesOf(todo)));
  } else if (stop !== undefined) {
    parts.push(todoNode(explained(stop.whatToDo)));
  }
  return { id, node: element("div", { class: "answer-block" }, ...parts) };
}

// In a pair, regions and buttons say by their names whose they are.
function nameParts(summary, panels, name) {
  const id = newId("host");
  panels.prepend(element("h2", { id }, element("bdi", { class: "data" }, name)));
  panels.setAttribute("aria-labelledby", id);
  for (const node of panels.querySelectorAll("[aria-label]")) {
    node.setAttribute("aria-label", `${node.getAttribute("aria-label")}, ${name}`);
  }
  for (const node of panels.querySelectorAll("section")) {
    node.setAttribute("aria-labelledby", `${node.getAttribute("aria-labelledby")} ${id}`);
  }
  for (const node of [summary, panels].flatMap((part) => [...part.querySelectorAll("button")])) {
    node.id = newId("button");
    node.setAttribute("aria-labelledby", `${node.id} ${id}`);
  }
}

// The answer and the picture, and the panels; side by side they stand apart. `name` tells the two
// of a pair apart.
export function viewOf(shown, engine, actions, { name, isPair }) {
  const { details } = shown;
  const model = modelOf(details, engine.explain);
  const answer = answerOf(details, model);
  const picture = pictureOf(model, wayInWords(model));
  const origin = originText(details);
  const label = element("p", { class: "origin" }, element("bdi", { class: "data" }, name),
                        origin === "" ? "" : ` \u00B7 ${origin}`);
  const save = element("p", { class: "actions" },
                       button("Anonymize and save", actions.anonymize),
                       button("Save the picture", () => actions.savePicture(picture.node)));
  const summary = element("article", { class: "summary", "aria-labelledby": answer.id },
                          label, answer.node, picture.node, save);
  const panels = panelsOf(details, engine.explain, actions);
  if (isPair) nameParts(summary, panels, name);
  return { summary, panels, redraw: picture.draw, print: picture.print };
}
