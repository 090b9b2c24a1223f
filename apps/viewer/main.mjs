// The state of the page: up to two cases, and what the user does with files.
import module from "egress.wasm";
import { diagnosed, nameOf, viewOf } from "./case.mjs";
import { element } from "./dom.mjs";
import { differencesView } from "./differences.mjs";
import { startEngine } from "./engine.mjs";
import { describeFault } from "./faults.mjs";
import { fileKindText, isUsable, nextInputs, unfit } from "./inputs.mjs";
import { classify } from "./intake.mjs";
import pictureStyle from "./picture.css";
import { copy, pictureText, save } from "./saving.mjs";
import { plain } from "./say.mjs";
import { sentenceFor } from "./sentence.mjs";
import { visible } from "./texts.mjs";

const find = (id) => document.getElementById(id);
const LARGE = 1 << 20;
const SHOWN_FOR = 8000;
const DRAWN_AFTER = 50;

let engine;
let cases = [];
let views = [];
let queue = Promise.resolve();
let hiding;

// Unseen, a text is for screen readers only: the page shows the same elsewhere.
function tell(text, look = "unseen") {
  clearTimeout(hiding);
  find("status").textContent = text;
  find("status").className = look;
}

function tellDone(text) {
  tell(text, "seen");
  hiding = setTimeout(() => tell(""), SHOWN_FOR);
}

function problemNode({ name, refusal, fault }) {
  const text = fault === undefined ? refusal : `${refusal}: ${fault.text}`;
  const parts = [element("p", {}, element("bdi", { class: "data" }, visible(name)), `: ${text}.`)];
  if (fault !== undefined) {
    parts.push(element("pre", { class: "excerpt" }, fault.before,
                       element("mark", {}, "\u25B6"), fault.after));
  }
  return element("div", { class: "problem" }, ...parts);
}

function showProblems(problems) {
  find("problems").replaceChildren(...problems.map(problemNode));
}

function showTaken() {
  const files = new Set(cases.flatMap(({ inputs }) => Object.values(inputs)));
  find("taken").replaceChildren(...[...files].map((file) => {
    const name = element("bdi", { class: "data" }, visible(file.name));
    return element("li", {}, name, `: read as ${fileKindText(file)}`);
  }));
}

function anonymizeAndSave(shown) {
  try {
    save(`anonymized-${nameOf(shown).replace(/[^\w.-]+/g, "_")}`, engine.anonymize(shown.text));
    tellDone("The anonymized snapshot was saved.");
  } catch (error) {
    showProblems([{ name: nameOf(shown), refusal: error.message }]);
  }
}

function actionsFor(shown) {
  return {
    anonymize: () => anonymizeAndSave(shown),
    copy: async (text) => tellDone(await copy(text)
      ? "The report was copied." : "Copying failed; select the report\u2019s JSON and copy it."),
    saveDetails: () => save("details.json", JSON.stringify(shown.details, null, 2)),
    savePicture: (figure) =>
      save("way.svg", pictureText(figure.querySelector("svg"), pictureStyle), "image/svg+xml"),
  };
}

function distinctNames(shown) {
  const names = shown.map(nameOf);
  return names[0] === names[1] ? names.map((name, i) => `${name} (${i + 1})`) : names;
}

// Changes nothing if a view cannot be made.
function show(next) {
  const isPair = next.length === 2;
  const names = distinctNames(next);
  const made = next.map((shown, i) =>
    viewOf(shown, engine, actionsFor(shown), { name: names[i], isPair }));
  const parts = made.map(({ summary }) => summary);
  if (isPair) parts.push(differencesView(next, names));
  parts.push(...made.map(({ panels }) => panels));
  cases = next;
  views = made;
  find("result").replaceChildren(...parts);
  find("result").className = isPair ? "pair" : "single";
  document.body.className = "has-result";
  views.forEach(({ redraw }) => redraw());
  find("compare").hidden = false;
  find("print").hidden = false;
  showTaken();
}

function summaryText() {
  return cases.map((shown) => `${nameOf(shown)}: ${plain(sentenceFor(shown.details).headline)}`)
    .join(" ");
}

// Gives a problem in place of a case if the module refuses the inputs.
function tryCase(inputs) {
  try {
    return { shown: diagnosed(inputs, engine) };
  } catch (error) {
    const { snapshot, answers, config } = inputs;
    const source = snapshot ?? answers ?? config;
    const fault = snapshot && describeFault(snapshot.bytes, engine.findFault(snapshot.bytes));
    const refusal = fault ? "this is not JSON" : error.message;
    return { problem: { name: source.name, refusal, fault: fault ?? undefined } };
  }
}

// `target` 1: the file is what the first case is compared with.
function take(files, target = 0) {
  const classified = files.map((file) =>
    (file.refusal === undefined ? { ...file, ...classify(file, engine) } : file));
  const before = cases.map(({ inputs }) => inputs);
  const usable = classified.filter((file) => isUsable(file, classified));
  const problems = unfit(usable, target);
  const kept = usable.filter((file) => problems.every((problem) => problem.file !== file));
  problems.unshift(...classified.filter(({ refusal }) => refusal !== undefined));
  if (kept.length > 0) {
    const results = nextInputs(before, kept, target).map(tryCase);
    problems.push(...results.flatMap(({ problem }) => problem ?? []));
    if (results.every(({ shown }) => shown !== undefined)) {
      show(results.map(({ shown }) => shown));
    }
  }
  showProblems(problems);
  tell(problems.length > 0 ? "" : summaryText());
  return problems.length === 0;
}

// Lets the browser show that it is at work on a large file.
async function tellReading(files) {
  const size = files.reduce((sum, file) => sum + file.size, 0);
  if (size < LARGE) return;
  tell("Reading\u2026", "seen");
  await new Promise((done) => { setTimeout(done, DRAWN_AFTER); });
}

async function readFile(file) {
  const { name } = file;
  try {
    return { name, bytes: new Uint8Array(await file.arrayBuffer()) };
  } catch {
    return { name, refusal: "it cannot be read; a folder cannot be chosen" };
  }
}

// Takes files when all earlier ones are taken, so that the last ones stay. `read` gives them.
function takeInTurn(name, read, target) {
  queue = queue.then(async () => {
    if (take(await read(), target)) document.querySelector(".answer").focus();
  }).catch((error) => {
    showProblems([{ name, refusal: `the page failed: ${error.message}` }]);
    tell("");
  });
}

function takeFiles(list, target) {
  const chosen = [...list];  // the list is empty after the event
  if (chosen.length === 0) return;
  takeInTurn(chosen.map(({ name }) => name).join(", "), async () => {
    await tellReading(chosen);
    return Promise.all(chosen.map(readFile));
  }, target);
}

function takeText(text, name = "pasted text") {
  takeInTurn(name, () => [{ name, isPasted: true, bytes: new TextEncoder().encode(text) }]);
}

function onChosen(event, target) {
  takeFiles(event.target.files, target);
  event.target.value = "";  // so that the same file can be chosen again
}

function onDrop(event) {
  event.preventDefault();
  document.body.classList.remove("dragging");
  const { files } = event.dataTransfer;
  const target = event.target.closest("#compare") === null ? 0 : 1;
  if (files.length > 0) takeFiles(files, target);
  else takeText(event.dataTransfer.getData("text/plain"), "dropped text");
}

function onPaste(event) {
  if (event.target === find("pasted")) return;
  const { files } = event.clipboardData;
  if (files.length > 0) takeFiles(files);
  else takeText(event.clipboardData.getData("text/plain"));
}

function listen() {
  find("files").addEventListener("change", (event) => onChosen(event, 0));
  find("other").addEventListener("change", (event) => onChosen(event, 1));
  find("read").addEventListener("click", () => takeText(find("pasted").value));
  find("print").addEventListener("click", () => window.print());
  document.addEventListener("dragover", (event) => {
    event.preventDefault();
    document.body.classList.add("dragging");
  });
  document.addEventListener("dragleave", (event) => {
    if (event.relatedTarget === null) document.body.classList.remove("dragging");
  });
  document.addEventListener("drop", onDrop);
  window.addEventListener("beforeprint", () => views.forEach(({ print }) => print(true)));
  window.addEventListener("afterprint", () => views.forEach(({ print }) => print(false)));
  document.addEventListener("paste", onPaste);
}

async function start() {
  engine = await startEngine(module);
  find("version").textContent = `Version ${engine.version()}.`;
  listen();
  const text = find("snapshot").textContent.trim();
  if (text !== "") take([{ name: "snapshot", bytes: new TextEncoder().encode(text) }]);
  document.documentElement.dataset.ready = "true";
}

start().catch((error) => showProblems([{ name: "This page", refusal: error.message }]));
