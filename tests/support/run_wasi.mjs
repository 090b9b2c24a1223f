// Runs a program that was compiled for WASI. It can open files below the working directory, by
// paths that are absolute or relative to it, and temporary files in /tmp.
//
// Usage: node --no-warnings tests/support/run_wasi.mjs PROGRAM [ARGUMENT...]

import { readFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import { WASI } from "node:wasi";

const [program, ...programArguments] = process.argv.slice(2);
const directory = process.cwd();
const wasi = new WASI({
  version: "preview1",
  args: [program, ...programArguments],
  preopens: { ".": directory, [directory]: directory, "/tmp": tmpdir() },
  returnOnExit: true,
});
const module = await WebAssembly.compile(await readFile(program));
const imports = { wasi_snapshot_preview1: wasi.wasiImport };
process.exitCode = wasi.start(await WebAssembly.instantiate(module, imports));
