// The picture as a list of sentences.
import { groupBoxes, hiddenEdgesText, interfaceBoxes, stubText } from "./boxes.mjs";
import { listed, say } from "./say.mjs";
import { counted, endText, interfaceName } from "./texts.mjs";

const LED_ON = { SELECTOR: ["Its answer leads on."], DETOUR: ["Its detour leads on."] };

function stepText(step) {
  if (step.hidden !== undefined) return say`${[counted(step.hidden, "more outbound")]}.`;
  const on = LED_ON[step.ledOnBy];
  const outbound = say`Outbound ${step.tag} of type ${step.type}.`;
  return on === undefined ? outbound : say`${outbound} ${on}`;
}

function stopText({ word, meaning }, soughtTag) {
  const sought = soughtTag === undefined ? [] : say` at ${soughtTag}`;
  return say`Here it ends${sought}: ${word}. ${[meaning.replaceAll("`", "")]}`;
}

function endpointText({ address, port, name }) {
  const end = [{ data: endText(address, port) }];
  return name === undefined ? say`Endpoint ${end}.` : say`Endpoint ${end}, in place of ${name}.`;
}

function foldText({ lines }) {
  const text = lines.map((line) => line.text).join(": ").replace(/^\u2715 /, "");
  return [{ text: text.endsWith(".") ? text : `${text}.` }];
}

function groupText(box, names) {
  if (box.group === undefined) return foldText(box);
  const { group, lines } = box;
  const from = listed(group.sample.map((row) => endText(row.localAddress, row.localPort)),
                      group.count - group.sample.length);
  const ways = group.edges.flatMap(({ ordinal, label }) =>
    say` ${["\u2192"]} ${[{ data: names.get(ordinal) }]} ${[label]}.`);
  const ends = [hiddenEdgesText(group), stubText(group)].filter((text) => text !== "");
  return say`${[lines[0].text]} from ${from}.${ways}${ends.map((text) => ` ${text}.`)}`;
}

function interfaceText(row, box) {
  const details = box.lines.slice(1).map(({ text }) => text.replace(/^[\u25B6\u25B7] /, ""));
  return say`Interface ${[{ data: interfaceName(row) }]}: ${[details.join("; ")]}.`;
}

export function wayInWords(model) {
  const { way, endpoint, interfaces } = model;
  const names = new Map(interfaces.map((row) => [row.ordinal, interfaceName(row)]));
  const boxes = interfaceBoxes(model);
  const texts = way.steps.map(stepText);
  texts.push(endpoint === undefined ? stopText(way.stop, way.soughtTag) : endpointText(endpoint));
  for (const box of groupBoxes(model)) texts.push(groupText(box, names));
  boxes.forEach((box, i) => {
    const row = interfaces[i];
    if (row !== undefined) texts.push(interfaceText(row, box));
    else texts.push(foldText(box));
  });
  return texts;
}
