// What differs between two details.
import assert from "node:assert/strict";
import { test } from "node:test";

import { differencesOf } from "../../apps/viewer/compare.mjs";
import { sentenceFor } from "../../apps/viewer/sentence.mjs";
import { TUN, WAN, detailsOf, socket } from "./details.mjs";

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
    ["leaves through", "wan0", "none"],
    ["Way", "proxy (shadowsocks)", "other (t) \u2192 not: x"],
    ["Endpoint", "198.51.100.10:443", "[2001:db8::1]:8443 (n.example)"],
  ]);
});

test("what led on is a part of the way", () => {
  const by = (ledOnBy) =>
    ({ way: { entered: [{ tag: "a", type: "t", ledOnBy }, { tag: "b", type: "u" }] } });
  assert.deepEqual(differing(by("SELECTOR"), by("DETOUR")), [
    ["Way", "a (t), by its answer \u2192 b (u)", "a (t), by its detour \u2192 b (u)"],
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
  const all = "State: ESTABLISHED; For the answer: counts; Leaves through: wan0; " +
    "Decided by: route; Owner of the source address: wan0; Route: wan0; Packets: none seen; " +
    "Bound device: unknown; Mark: unknown; User: unknown";
  assert.deepEqual(differing(left, right), [
    ["TCP 10.0.0.7:51000 \u2192 198.51.100.10:443", "Leaves through: wan0", "Leaves through: tun3"],
    ["TCP 10.0.0.7:1 \u2192 198.51.100.10:443", all, "none"],
    ["TCP 10.0.0.7:2 \u2192 198.51.100.10:443", "none", all],
  ]);
});

test("every fact about a socket is compared", () => {
  const facts = [
    [{ byPackets: [{ interface: WAN, count: 2 }] }, "Packets: none seen", "Packets: wan0: 2"],
    [{ decidedBy: "PACKETS" }, "Decided by: route", "Decided by: packets"],
    [{ boundDevice: TUN }, "Bound device: unknown", "Bound device: tun3"],
    [{ mark: 7, user: 0 }, "Mark: unknown; User: unknown", "Mark: 7; User: 0"],
    [{ role: "NOT_COUNTED" }, "For the answer: counts", "For the answer: not counted"],
  ];
  for (const [members, left, right] of facts) {
    assert.deepEqual(differing({}, { sockets: [socket(members)] }),
                     [["TCP 10.0.0.7:51000 \u2192 198.51.100.10:443", left, right]]);
  }
});

test("the record, its input and what it lacks are compared", () => {
  const { origin, input } = detailsOf();
  const query = { selectorTag: "proxy", outcome: "FAILED", reason: "no route" };
  const route = { family: 6, interfaceOrdinal: null, routeMetric: 777,
                  interfaceOrdinalStatus: "ROUTE_INTERFACE_UNMAPPED" };
  const other = { address: "198.51.100.11", selectionStatus: "OK", crossCheckStatus: "AGREES",
                  interface: TUN };
  const { defaultRoutes } = detailsOf().report;
  const cases = [
    [{ origin: { ...origin, time: "2026-11-22T04:23:00Z" } },
     ["origin: time", "none", "2026-11-22T04:23:00Z"]],
    [{ missingFacts: [{ fact: "PACKETS", reason: "" }] },
     ["missing fact", "none", "Packets are missing."]],
    [{ input: { ...input, queries: [query] } },
     ["input", "none", "The engine was asked for the choice of proxy: FAILED: no route."]],
    [{ processes: [{ id: 7, user: 0, program: "/bin/p" }] },
     ["input", "none", "The engine's process 7 of user 0: /bin/p"]],
    [{ report: { defaultRoutes: [...defaultRoutes, route] } },
     ["without an interface", "none", "default route IPv6 metric 777"]],
    [{ report: { interfaces: [{ ordinal: 2, operStatus: 1, interfaceMetric: 5 }] } },
     ["interface metric", "none", "wan0: 5"]],
    [{ otherAddresses: [other] },
     ["other address", "none", "198.51.100.11: OK, AGREES, tun3"]],
    [{ crossCheck: { status: "AGREES", interface: WAN, observedSeconds: 5 } },
     ["seconds of observed packets", "none", "5"]],
  ];
  for (const [members, row] of cases) {
    assert.deepEqual(differing({}, members), [row]);
    assert.deepEqual(differing(members, {}), [[row[0], row[2], row[1]]]);
    assert.deepEqual(differing(members, members), []);
  }
});

test("interfaces are compared by name, with their routes", () => {
  const [lo, wan] = detailsOf().interfaces;
  const right = { interfaces: [lo, { ...wan, operStatus: 2, addresses: [] }],
                  report: { defaultRoutes: [] } };
  assert.deepEqual(differing({}, right), [
    ["wan0", "up, other, 10.0.0.7, default route IPv4 metric 9", "down, other"],
    ["tun3", "down, tunnel", "none"],
  ]);
});
