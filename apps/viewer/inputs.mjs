// The inputs of the cases: a snapshot, a configuration and answers, as far as they were read.
import { listed, plain } from "./say.mjs";
import { numberText, visible } from "./texts.mjs";

export const KINDS = { snapshot: "a snapshot", config: "a configuration", answers: "answers" };
const MAX_TAGS = 3;

function selectorsText(tags) {
  if (tags.length > MAX_TAGS) return `the answers of ${numberText(tags.length)} selectors`;
  const names = plain(listed(tags.map((tag) => `\u201C${visible(tag)}\u201D`)));
  return tags.length === 1 ? `the answer of the selector ${names}`
    : `the answers of the selectors ${names}`;
}

// What a file was read as.
export function fileKindText({ kind, tags, refusal }) {
  if (refusal !== undefined) return `${KINDS[kind]}, but it is not JSON`;
  return kind === "answers" && tags.length > 0 ? selectorsText(tags) : KINDS[kind];
}

// A broken text is a configuration only if a snapshot came with it, so that it destroys no answer.
export function isUsable({ kind, refusal }, read) {
  if (kind === undefined || refusal === undefined) return kind !== undefined;
  return read.some((file) => file.kind === "snapshot" && file.refusal === undefined);
}

function refused(files, refusalOf) {
  return files.map((file) => ({ file, name: file.name, refusal: refusalOf(file) }));
}

// A problem for each file that is one too many of its kind, or that cannot be compared. `target` as
// in nextInputs.
export function unfit(files, target) {
  const ofKind = (kind) => files.filter((file) => file.kind === kind);
  const most = target === 1 ? 1 : 2;
  if (target === 1 && ofKind("snapshot").length === 0) {
    return refused(files, ({ kind }) =>
      `this is ${KINDS[kind]}; choose the snapshot of the other host`);
  }
  return [
    ...refused(["config", "answers"].flatMap((kind) => ofKind(kind).slice(1)), ({ kind }) =>
      `only one file can be ${KINDS[kind]}; it was left out`),
    ...refused(ofKind("snapshot").slice(most), () =>
      "two snapshots can be compared; it was left out"),
  ];
}

// The inputs of each case after these files were read. `target` 1: the file is what the first case
// is compared with.
export function nextInputs(before, files, target) {
  const snapshots = files.filter(({ kind }) => kind === "snapshot");
  const others = files.filter(({ kind }) => kind !== "snapshot");
  const texts = Object.fromEntries(others.map((file) => [file.kind, file]));
  if (snapshots.length === 2) return snapshots.map((snapshot) => ({ snapshot, ...texts }));
  const [snapshot] = snapshots;
  if (snapshot === undefined) {
    return (before.length === 0 ? [{}] : before).map((inputs) => ({ ...inputs, ...texts }));
  }
  const read = { snapshot, ...texts };
  if (target === 1) return [before[0], read];
  // A snapshot after a configuration or answers belongs to them; after a snapshot it is another.
  return [before[0]?.snapshot === undefined ? { ...before[0], ...read } : read];
}
