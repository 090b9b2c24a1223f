// What a file is: a snapshot, a configuration, answers, or nothing that the page can read.
import { describeFault } from "./faults.mjs";

// egress-report writes the format first.
const SNAPSHOT_START = /^\s*\{\s*"format"\s*:\s*"egress-snapshot"/;
const START_LENGTH = 1024;
const CONFIG_KEYS = ["outbounds", "route", "inbounds", "dns", "log", "endpoints", "experimental"];

function isObject(value) {
  return typeof value === "object" && value !== null && !Array.isArray(value);
}

function parsed(text) {
  try {
    return { value: JSON.parse(text) };
  } catch {
    return null;
  }
}

// The answers by tag. A single one has the tag as its name, or in that of its file, to which
// browsers may add a number. Null: nothing names its selector.
function taggedAnswers(value, { name, isPasted }) {
  if (isObject(value.proxies)) return value.proxies;
  if (typeof value.now !== "string") return value;
  if (typeof value.name === "string") return { [value.name]: value };
  if (isPasted) return null;
  return { [name.replace(/\.json$/i, "").replace(/ \(\d+\)$/, "")]: value };
}

function classifyAnswers(value, file) {
  const answers = taggedAnswers(value, file);
  if (answers === null) return { refusal: UNNAMED };
  // A list of all outbounds has others than selectors, too.
  const tags = Object.keys(answers)
    .filter((tag) => answers === value || answers[tag]?.now !== undefined);
  return { kind: "answers", tags, text: JSON.stringify(answers) };
}

function kindOfObject(value) {
  if (value.format === "egress-snapshot") return "snapshot";
  if (value.format === "egress-details") return "details";
  if ("selectionStatus" in value) return "report";
  if (CONFIG_KEYS.some((key) => key in value)) return "config";
  if (typeof value.now === "string" || isObject(value.proxies)) return "answers";
  const answers = Object.values(value);
  const areAnswers = answers.every((answer) => typeof answer === "object" && answer !== null);
  return answers.length > 0 && areAnswers ? "answers" : "config";
}

const REFUSED = {
  details: "these are details; choose the snapshot that they come from",
  report: "this is a report; choose the snapshot that it comes from " +
    "(egress-report --save-snapshot)",
};

const UNNAMED = "this answer does not name its selector; write it as {\"TAG\": ANSWER}, with the " +
  "selector's tag, or give it as the file TAG.json";

// A byte-order mark of UTF-16.
function isUtf16([first, second]) {
  return (first === 0xFF && second === 0xFE) || (first === 0xFE && second === 0xFF);
}

function looksLikeSnapshot(bytes) {
  return SNAPSHOT_START.test(new TextDecoder().decode(bytes.subarray(0, START_LENGTH)));
}

// Not JSON: a configuration may have comments and trailing commas, which the module ignores.
// Dropped with a snapshot, a broken text can only be its configuration.
function classifyOther(bytes, engine) {
  const snapshot = engine.readConfig(bytes, "");
  if (snapshot.config.configStatus !== "JSON_PARSE_FAILED") return { kind: "config" };
  return { kind: "config", refusal: "this is not JSON",
           fault: describeFault(bytes, engine.findConfigFault(bytes)) };
}

// Gives a `kind`, with answers their `text` by tag and their `tags`, or a `refusal` and perhaps its
// `fault`. Both: it is of that kind only if a snapshot came with it.
export function classify(file, engine) {
  const { bytes } = file;
  if (isUtf16(bytes)) return { refusal: "this is UTF-16; save it as UTF-8" };
  if (looksLikeSnapshot(bytes)) return { kind: "snapshot" };
  const text = new TextDecoder().decode(bytes);
  if (text.trim() === "") return { refusal: "the text is empty" };
  const json = parsed(text);
  if (json === null) return classifyOther(bytes, engine);
  if (!isObject(json.value)) return { refusal: "this is JSON, but not an object" };
  const kind = kindOfObject(json.value);
  if (kind in REFUSED) return { refusal: REFUSED[kind] };
  return kind === "answers" ? classifyAnswers(json.value, file) : { kind };
}

// A snapshot with the configuration and the answers in place of its own.
export function mergedSnapshot({ snapshot, config, answers }, engine) {
  if (config === undefined && answers === undefined) return snapshot.bytes;
  const read = engine.readConfig(config?.bytes ?? "", answers?.text ?? "");
  if (snapshot === undefined) return JSON.stringify(read);
  const merged = JSON.parse(new TextDecoder().decode(snapshot.bytes));
  if (config !== undefined) {
    merged.config = read.config;
    merged.blanked = read.blanked;
  }
  if (answers !== undefined) merged.selectorAnswers = read.selectorAnswers;
  return JSON.stringify(merged);
}
