// Answers the requests of wasm_speed.py, one JSON text a line.
//
// Usage: node wasm_speed.mjs MODULE SNAPSHOT

import { readFile } from "node:fs/promises";
import { createInterface } from "node:readline";

import { load } from "../wasm/egress.mjs";

const [module, snapshotFile] = process.argv.slice(2);
const egress = await load(await readFile(module));
const snapshot = await readFile(snapshotFile);

function secondsOf(name, calls) {
  const start = process.hrtime.bigint();
  for (let call = 0; call < calls; ++call) egress[name](snapshot);
  return Number(process.hrtime.bigint() - start) / 1e9 / calls;
}

const requests = {
  ready: () => true,
  text: (name) => egress[name](snapshot),
  seconds: secondsOf,
};

for await (const line of createInterface({ input: process.stdin })) {
  const [request, ...words] = JSON.parse(line);
  process.stdout.write(`${JSON.stringify(requests[request](...words))}\n`);
}
