// Every error of the package, and that the object works as before afterwards.

import assert from "node:assert/strict";
import { join } from "node:path";
import { test } from "node:test";
import { pathToFileURL } from "node:url";

import { EgressError, installed, load, moduleBytes } from "./installed_package.mjs";
import { SNAPSHOT, snapshotOf } from "./snapshots.mjs";
import { withMaximumMemory } from "./wasm_memory.mjs";

const PAGE = 65_536;  // bytes
const MAX_PAGES = 512;  // 32 MiB
const GIBIBYTE = 2 ** 30;

const egress = await load();
const report = egress.diagnose(SNAPSHOT);

function errorOf(use) {
  try {
    use();
  } catch (error) {
    return error;
  }
  return assert.fail("no error");
}

function expectRefusal(use, message) {
  const error = errorOf(use);
  assert.ok(error instanceof EgressError, `${error}`);
  assert.deepEqual([error.name, error.message, error.isOutOfMemory],
                   ["EgressError", message, false]);
  assert.equal(egress.diagnose(SNAPSHOT), report);
}

test("what is not a snapshot is refused", () => {
  for (const name of ["diagnose", "diagnoseInDetail", "anonymize"]) {
    expectRefusal(() => egress[name]('{"format": "egress-snapshot", "version": "1"}'),
                  '/version: "1" is not a version');
    expectRefusal(() => egress[name](""), "the text is empty");
  }
});

test("answers that are not an object are refused", () => {
  expectRefusal(() => egress.readConfig("{}", "[]"), "an array is not an object");
});

test("what is not a text is an error of its type", () => {
  const message = "a text must be a string or a Uint8Array, not object";
  for (const text of [{}, [], null, new ArrayBuffer(2)]) {
    for (const name of ["diagnose", "diagnoseInDetail", "anonymize", "explain", "findJsonFault",
                        "findConfigFault", "readConfig"]) {
      assert.throws(() => egress[name](text), { name: "TypeError", message });
    }
    assert.throws(() => egress.readConfig("{}", text), { name: "TypeError", message });
  }
  assert.throws(() => egress.diagnose(), { name: "TypeError" });
});

test("what is not a module cannot be loaded", async () => {
  await assert.rejects(load(new Uint8Array(8)), { name: "CompileError" });
  await assert.rejects(load("egress.wasm"), { name: "TypeError" });
  await assert.rejects(load(pathToFileURL(join(installed, "missing.wasm"))), { code: "ENOENT" });
});

// Runs `use` with the number of instances so far, as a function.
function countingInstances(t, use) {
  const { Instance } = WebAssembly;
  let instances = 0;
  WebAssembly.Instance = function countedInstance(...words) {
    ++instances;
    return new Instance(...words);
  };
  t.after(() => { WebAssembly.Instance = Instance; });
  return use(() => instances);
}

function expectOutOfMemory(use) {
  const error = errorOf(use);
  assert.ok(error instanceof EgressError, `${error}`);
  assert.deepEqual([error.message, error.isOutOfMemory], ["out of memory", true]);
}

test("a text that does not fit into the memory is an error", async (t) => {
  const small = await load(withMaximumMemory(moduleBytes, MAX_PAGES));
  const large = new Uint8Array(MAX_PAGES * PAGE);
  const quarter = large.subarray(large.length / 4 * 3);
  countingInstances(t, (instances) => {
    for (let round = 0; round < 10; ++round) {
      expectOutOfMemory(() => small.diagnose(large));
      expectOutOfMemory(() => small.readConfig(quarter, large));
    }
    assert.equal(JSON.parse(small.findJsonFault(quarter)).offset, 0);
    assert.equal(instances(), 0);
  });
});

test("memory that runs out in the module is an error, and the next call works", async (t) => {
  const small = await load(withMaximumMemory(moduleBytes, MAX_PAGES));
  const large = snapshotOf(100_000);
  assert.ok(large.length < MAX_PAGES * PAGE / 2);
  countingInstances(t, (instances) => {
    for (let round = 1; round <= 2; ++round) {
      for (const name of ["diagnose", "diagnoseInDetail", "anonymize"]) {
        expectOutOfMemory(() => small[name](large));
        assert.equal(small.diagnose(SNAPSHOT), report);
      }
      assert.equal(instances(), 3 * round);
    }
  });
  assert.equal(JSON.parse(egress.diagnose(large)).selectionStatus, "OK");
});

test("nothing is kept of a call, also of one that failed", async (t) => {
  const small = await load(withMaximumMemory(moduleBytes, MAX_PAGES));
  const blanks = " ".repeat(MAX_PAGES * PAGE / 8);
  const snapshot = snapshotOf(2_000);
  countingInstances(t, (instances) => {
    for (let round = 0; round < 20; ++round) {
      const error = errorOf(() => small.readConfig(blanks, `${blanks}[]`));
      assert.equal(error.message, "an array is not an object");
      assert.equal(JSON.parse(small.findJsonFault(blanks)).offset, blanks.length);
      assert.ok(small.diagnoseInDetail(snapshot).length > MAX_PAGES * PAGE / 100);
    }
    assert.equal(instances(), 0);
  });
});

test("a call that exceeds the stack of its caller leaves the module usable", () => {
  const dive = () => {
    egress.findJsonFault("");
    dive();
  };
  for (let round = 0; round < 20; ++round) {
    assert.throws(dive, { name: "RangeError" });
    assert.equal(egress.diagnose(SNAPSHOT), report);
  }
});

test("texts and results may lie above 2 GiB", async (t) => {
  const { instantiate } = WebAssembly;
  t.after(() => { WebAssembly.instantiate = instantiate; });
  let instance;
  WebAssembly.instantiate = async (...words) => (instance = await instantiate(...words));
  const high = await load(moduleBytes);
  // What is below is taken, but never written, so that it takes no memory of this machine.
  const { exports } = instance;
  for (let taken = 0; taken < 2; ++taken) assert.notEqual(exports.malloc(GIBIBYTE), 0);
  const text = snapshotOf(1_000);
  assert.ok(exports.malloc(text.length) < 0, "the pointer is not above 2 GiB");
  assert.equal(high.diagnose(text), egress.diagnose(text));
  expectRefusalOf(high);
});

function expectRefusalOf(loaded) {
  const error = errorOf(() => loaded.diagnose(""));
  assert.deepEqual([error.message, error.isOutOfMemory], ["the text is empty", false]);
}
