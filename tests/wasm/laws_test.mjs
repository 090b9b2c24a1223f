// For any snapshot, the module gives the same bytes as the library in C++, or refuses it for the
// same reason.
//
// Usage: node laws_test.mjs PRINT_SNAPSHOTS [COUNT [SEED]]

import { spawn } from "node:child_process";
import { existsSync } from "node:fs";
import { createInterface } from "node:readline";
import { fileURLToPath, pathToFileURL } from "node:url";

import { load } from "../../wasm/egress.mjs";

const SKIPPED = 77;  // the exit status that CTest shows as skipped
const FUNCTIONS = { report: "diagnose", details: "diagnoseInDetail", anonymous: "anonymize" };

const [program, count = "2000", seed = "20261122"] = process.argv.slice(2);
const file = fileURLToPath(new URL("../../build/wasm/egress.wasm", import.meta.url));
for (const [path, script] of [[file, "scripts/wasm"], [program, "scripts/build test"]]) {
  if (existsSync(path)) continue;
  console.log(`skipped: ${path} is missing; ${script} builds it`);
  process.exit(SKIPPED);
}
const egress = await load(pathToFileURL(file));

const bytesOf = (base64) => Buffer.from(base64, "base64");

function outcomeOf(name, snapshot) {
  try {
    return egress[name](snapshot);
  } catch (error) {
    return error.message;
  }
}

function check(number, line) {
  const { snapshot, ...wanted } = JSON.parse(line);
  const text = bytesOf(snapshot);
  for (const [result, name] of Object.entries(FUNCTIONS)) {
    const outcome = Buffer.from(outcomeOf(name, text));
    const expected = bytesOf(wanted.refusal ?? wanted[result]);
    if (outcome.equals(expected)) continue;
    console.log(`snapshot ${number} of seed ${seed}: ${name} gives\n${outcome}\n` +
                `instead of\n${expected}\nof\n${text}\nIs build/wasm up to date? See scripts/wasm.`);
    process.exit(1);
  }
  return "refusal" in wanted;
}

const child = spawn(program, [count, seed], { stdio: ["ignore", "pipe", "inherit"] });
const ended = new Promise((resolve) => { child.on("close", resolve); });
let snapshots = 0;
let refused = 0;
for await (const line of createInterface({ input: child.stdout })) {
  if (check(snapshots++, line)) ++refused;
}
const status = await ended;
console.log(`seed ${seed}, ${snapshots} snapshots, ${refused} refused`);
// Both must be frequent, or the law shows little.
const showsMuch = refused > snapshots / 10 && refused < snapshots * 9 / 10;
process.exit(status === 0 && snapshots === Number(count) && showsMuch ? 0 : 1);
