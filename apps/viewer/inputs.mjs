// The inputs of the cases: a snapshot, a configuration and answers, as far as they were read.

export const KINDS = { snapshot: "a snapshot", config: "a configuration", answers: "answers" };

// A broken text is a configuration only beside a snapshot; see intake.mjs.
export function isUsable({ kind, refusal }, read, before) {
  if (kind === undefined || refusal === undefined) return kind !== undefined;
  return before[0]?.snapshot !== undefined ||
    read.some((file) => file.kind === "snapshot" && file.refusal === undefined);
}

// A problem for each file that is one too many of its kind.
export function tooMany(files) {
  const ofKind = (kind) => files.filter((file) => file.kind === kind);
  const single = ["config", "answers"].flatMap((kind) => ofKind(kind).slice(1));
  return [
    ...single.map((file) => ({ file, name: file.name,
                               refusal: `only one file can be ${KINDS[file.kind]}; ` +
                                 "it was left out" })),
    ...ofKind("snapshot").slice(2).map((file) =>
      ({ file, name: file.name, refusal: "two snapshots can be compared; it was left out" })),
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
  const read = snapshot === undefined ? texts : { snapshot, ...texts };
  if (target === 1) return [before[0], read];
  if (snapshot === undefined) return [{ ...before[0], ...texts }, ...before.slice(1)];
  // A snapshot after a configuration or answers belongs to them; after a snapshot it is another.
  return [before[0]?.snapshot === undefined ? { ...before[0], ...read } : read];
}
