// The package for npm: what it holds, and its types.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { copyFileSync, existsSync, readFileSync, readdirSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";

import { installed, moduleBytes, project, sourceFolder, version } from "./installed_package.mjs";
import { SNAPSHOT } from "./snapshots.mjs";
import "./functions.mjs";
import "./errors.mjs";

const MAX_COMPRESSED_BYTES = 150_000;
const FUNCTIONS = [
  "result_status", "result_text", "result_length", "result_free", "version", "read_config",
  "diagnose", "diagnose_in_detail", "anonymize", "explain", "find_json_fault", "find_config_fault",
].map((name) => `egress_${name}`);

test("the package holds what it says, and is as the sources are", () => {
  const files = ["README.md", "egress.d.mts", "egress.mjs", "egress.wasm", "package.json"];
  assert.deepEqual(readdirSync(installed).sort(), files);
  for (const file of ["README.md", "egress.d.mts", "egress.mjs"]) {
    const same = readFileSync(join(installed, file), "utf8") ===
      readFileSync(join(sourceFolder, "wasm", file), "utf8");
    assert.ok(same, `${file} differs from wasm/${file}: run scripts/wasm again`);
  }
});

test("the package has the version of the project and no dependency", () => {
  const description = JSON.parse(readFileSync(join(installed, "package.json"), "utf8"));
  assert.equal(description.name, "egress-diagnosis");
  assert.equal(description.version, version);
  for (const key of Object.keys(description)) assert.doesNotMatch(key, /dependencies|scripts/i);
  assert.deepEqual(readdirSync(join(project, "node_modules")).filter((name) => name[0] !== "."),
                   ["egress-diagnosis"]);
});

test("the module needs nothing of its host and exports the functions of the C interface", () => {
  const module = new WebAssembly.Module(moduleBytes);
  assert.deepEqual(WebAssembly.Module.imports(module), []);
  assert.deepEqual(WebAssembly.Module.exports(module).map(({ name }) => name).sort(),
                   [...FUNCTIONS, "memory", "malloc", "free", "_initialize"].sort());
});

test("the exported functions are those of egress.h, without that of libraries above", () => {
  const header = readFileSync(join(sourceFolder, "egress_c/egress.h"), "utf8");
  const declared = [...header.matchAll(/^EGRESS_C_EXPORT [^;(]*?(egress_\w+)\(/gm)]
    .map((match) => match[1]);
  assert.deepEqual(declared.sort(), [...FUNCTIONS, "egress_result_new"].sort());
});

test("the compressed module is small", () => {
  const size = gzipSync(moduleBytes, { level: 9 }).length;
  assert.ok(size <= MAX_COMPRESSED_BYTES, `${size} bytes`);
});

test("the example in README.md prints the report, or why there is none", () => {
  const [, example] = /```js\n(.*?)```/s.exec(readFileSync(join(installed, "README.md"), "utf8"));
  writeFileSync(join(project, "report.mjs"), example);
  writeFileSync(join(project, "snapshot.json"), SNAPSHOT);
  const { status, stdout } = run(process.execPath, ["report.mjs"]);
  assert.deepEqual([status, JSON.parse(stdout).selectionStatus], [0, "OK"]);
  writeFileSync(join(project, "snapshot.json"), "");
  const refused = run(process.execPath, ["report.mjs"]);
  assert.deepEqual([refused.status, refused.stderr], [1, "snapshot.json: the text is empty\n"]);
});

const compiler = fileURLToPath(new URL("node_modules/typescript/bin/tsc", import.meta.url));
const noCompiler = existsSync(compiler)
  ? false
  : "TypeScript is not installed; 'npm ci --prefix tests/wasm' installs it";

test("the types are as used in types.mts", { skip: noCompiler }, () => {
  copyFileSync(new URL("types.mts", import.meta.url), join(project, "types.mts"));
  writeFileSync(join(project, "tsconfig.json"), JSON.stringify({
    compilerOptions: { strict: true, noEmit: true, module: "nodenext", target: "es2022",
                       lib: ["es2022", "dom"], types: [], skipLibCheck: false },
    files: ["types.mts", "node_modules/egress-diagnosis/egress.d.mts"],
  }));
  const { status, stdout } = run(process.execPath, [compiler, "--project", project]);
  assert.equal(status, 0, stdout);
});

function run(program, words) {
  return spawnSync(program, words, { cwd: project, encoding: "utf8" });
}
