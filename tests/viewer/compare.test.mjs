// What differs between two details.
import assert from "node:assert/strict";
import { test } from "node:test";

import { differencesOf } from "../../apps/viewer/compare.mjs";
import { sentenceFor } from "../../apps/viewer/sentence.mjs";
import { TUN, detailsOf, socket } from "./details.mjs";

function differing(left, right) {
  return differencesOf(detailsOf(left), detailsOf(right), sentenceFor)
    .flatMap(({ rows }) => rows.map((row) => [row.what, row.left, row.right]));
}

test("equal details differ in nothing", () => assert.deepEqual(differing({}, {}), []));

test("members, way and endpoint are compared", () => {
  const right = {
    report: { selectionStatus: "NO_MATCHING_SOCKET", selectedInterfaceOrdinal: null },
    crossCheck: { status: "NO_SOCKET" },
    way: { entered: [{ tag: "other", type: "t" }], soughtTag: "x" },
    endpoint: { status: "OK", address: "2001:db8::1", port: 8443, name: "n.example" },
  };
  assert.deepEqual(differing({}, right), [
    ["Answer", "Traffic leaves through wan0.", "There is no connection to the endpoint."],
    ["selectionStatus", "OK", "NO_MATCHING_SOCKET"],
    ["selected interface", "wan0", "none"],
    ["crossCheck", "AGREES", "NO_SOCKET"],
    ["interface of the packets", "wan0", "none"],
    ["Way", "proxy (shadowsocks)", "other (t) \u2192 not: x"],
    ["Endpoint", "198.51.100.10:443", "[2001:db8::1]:8443 (n.example)"],
  ]);
});

test("an ordinal that another interface has is no difference", () => {
  const left = detailsOf();
  const right = JSON.parse(JSON.stringify(left).replaceAll('"ordinal":2', '"ordinal":7')
    .replaceAll('nterfaceOrdinal":2', 'nterfaceOrdinal":7'));
  assert.deepEqual(differencesOf(left, right, sentenceFor).flatMap(({ rows }) => rows), []);
});

test("sockets are compared by their ends", () => {
  const left = { sockets: [socket(), socket({ localPort: 1 })] };
  const right = { sockets: [socket({ leavesThrough: [TUN] }), socket({ localPort: 2 })] };
  const by = (name) => `ESTABLISHED, leaves through ${name}, source address of wan0`;
  assert.deepEqual(differing(left, right), [
    ["TCP 10.0.0.7:51000 \u2192 198.51.100.10:443", by("wan0"), by("tun3")],
    ["TCP 10.0.0.7:1 \u2192 198.51.100.10:443", by("wan0"), "none"],
    ["TCP 10.0.0.7:2 \u2192 198.51.100.10:443", "none", by("wan0")],
  ]);
});

test("interfaces are compared by name, with their routes", () => {
  const [lo, wan] = detailsOf().interfaces;
  const right = { interfaces: [lo, { ...wan, operStatus: 2, addresses: [] }],
                  report: { defaultRoutes: [] } };
  assert.deepEqual(differing({}, right), [
    ["wan0", "up, OTHER, 10.0.0.7, default route IPv4 metric 9", "not up (2), OTHER"],
    ["tun3", "not up (2), TUNNEL", "none"],
  ]);
});
