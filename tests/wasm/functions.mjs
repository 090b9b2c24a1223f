// Every function of the package, and every way to load it.

import assert from "node:assert/strict";
import { createServer } from "node:http";
import { once } from "node:events";
import { join } from "node:path";
import { test } from "node:test";
import { pathToFileURL } from "node:url";

import { installed, load, moduleBytes, version } from "./installed_package.mjs";
import { SNAPSHOT } from "./snapshots.mjs";

const CONFIG = `{
  // as people write it
  "route": {"auto_detect_interface": true},
  "outbounds": [
    {"tag": "proxy", "type": "selector"},
    {"tag": "leaf", "type": "trojan", "server": "198.51.100.10", "server_port": 443},
  ]
}`;

const egress = await load();

test("version is that of the project", () => assert.equal(egress.version(), version));

test("diagnose gives the report", () => {
  const report = JSON.parse(egress.diagnose(SNAPSHOT));
  assert.equal(report.activeEndpointStatus, "OK");
  assert.equal(report.selectionStatus, "OK");
  assert.equal(report.selectedInterfaceOrdinal, 1);  // they count from 1
});

test("diagnoseInDetail gives the report and what is behind it", () => {
  const details = JSON.parse(egress.diagnoseInDetail(SNAPSHOT));
  assert.deepEqual(details.report, JSON.parse(egress.diagnose(SNAPSHOT)));
  assert.equal(details.interfaces[0].name, "up1");
});

test("anonymize keeps the report and no address", () => {
  const anonymous = egress.anonymize(SNAPSHOT);
  assert.equal(egress.diagnose(anonymous), egress.diagnose(SNAPSHOT));
  assert.doesNotMatch(anonymous, /198\.51\.100\.10|192\.0\.2\.77|up1/);
});

test("readConfig gives a snapshot whose lists have failed", () => {
  const snapshot = JSON.parse(egress.readConfig(CONFIG));
  assert.equal(snapshot.config.configStatus, "OK");
  for (const list of ["adapters", "routes", "sockets"]) {
    assert.equal(snapshot[list].enumFailed, true, list);
  }
});

test("readConfig takes answers, which lead the walk", () => {
  const statusWith = (...answers) =>
    JSON.parse(egress.diagnose(egress.readConfig(CONFIG, ...answers))).activeEndpointStatus;
  assert.equal(statusWith('{"proxy": {"now": "leaf"}}'), "OK");
  assert.notEqual(statusWith(), "OK");
  assert.equal(statusWith(""), statusWith());
});

test("explain knows the words", () => {
  const explanations = JSON.parse(egress.explain("NO_MATCHING_SOCKET"));
  assert.deepEqual(explanations.map(({ key }) => key), ["selectionStatus"]);
  assert.deepEqual(JSON.parse(egress.explain("NO_SUCH_WORD")), []);
  assert.deepEqual(JSON.parse(egress.explain("")), []);
});

test("findJsonFault counts bytes", () => {
  assert.equal(egress.findJsonFault("{}"), "null");
  assert.deepEqual(JSON.parse(egress.findJsonFault('{\n"é": 1 2}')),
                   { kind: "NO_COMMA", offset: 10, line: 2, column: 9,
                     message: "a comma or the closing bracket is missing" });
});

test("findConfigFault ignores comments and trailing commas", () => {
  assert.equal(egress.findConfigFault(CONFIG), "null");
  assert.notEqual(egress.findJsonFault(CONFIG), "null");
  assert.deepEqual(JSON.parse(egress.findConfigFault("{ // a comment\n1}")),
                   { kind: "NO_KEY", offset: 15, line: 2, column: 1,
                     message: "a key in double quotes is missing" });
});

test("a text may be given as bytes", () => {
  const bytes = new TextEncoder().encode(` ${SNAPSHOT} `);
  const before = Uint8Array.from(bytes);
  const part = bytes.subarray(1, bytes.length - 1);
  for (const name of ["diagnose", "diagnoseInDetail", "anonymize", "findJsonFault"]) {
    assert.equal(egress[name](part), egress[name](SNAPSHOT), name);
  }
  assert.deepEqual(bytes, before);
});

test("a text may hold any character", () => {
  assert.equal(JSON.parse(egress.findJsonFault("\0")).offset, 0);
  assert.deepEqual(JSON.parse(egress.explain("OK\0")), []);
  // Characters of one to four bytes, and half a surrogate pair, which UTF-8 cannot express.
  const tag = "a\u00e9\u20ac\u{1f600}";
  const config = JSON.stringify({ route: { auto_detect_interface: true },
                                  outbounds: [{ tag, type: "trojan" }] });
  assert.equal(JSON.parse(egress.readConfig(config)).config.outbounds[0].tag, tag);
  assert.equal(JSON.parse(egress.readConfig(config.replace(tag, "\ud800"))).config.outbounds[0].tag,
               "\ufffd");
});

test("a module loads from its bytes, from a URL and as compiled", async () => {
  const bytes = Uint8Array.from(moduleBytes);
  for (const source of [bytes, bytes.buffer, new WebAssembly.Module(bytes),
                        pathToFileURL(join(installed, "egress.wasm"))]) {
    assert.equal((await load(source)).diagnose(SNAPSHOT), egress.diagnose(SNAPSHOT));
  }
});

test("a module loads from a server, whatever its media type", async (t) => {
  const server = createServer((request, response) => {
    if (request.url === "/egress.wasm") response.end(moduleBytes);
    else response.writeHead(404).end("not a module");
  });
  await once(server.listen(0, "127.0.0.1"), "listening");
  t.after(() => server.close());
  const address = `http://127.0.0.1:${server.address().port}`;
  const loaded = await load(new URL(`${address}/egress.wasm`));
  assert.equal(loaded.version(), version);
  await assert.rejects(load(new URL(`${address}/other.wasm`)), {
    message: `${address}/other.wasm: cannot be loaded: HTTP status 404`,
  });
});
