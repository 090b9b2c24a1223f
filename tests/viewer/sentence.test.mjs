// The answer for each result of the cross-check and each broken walk.
import assert from "node:assert/strict";
import { test } from "node:test";

import { plain } from "../../apps/viewer/say.mjs";
import { sentenceFor } from "../../apps/viewer/sentence.mjs";
import { TUN, WAN, detailsOf, socket } from "./details.mjs";
import { E, UNKNOWN, selection, told, unknownSocket } from "./told.mjs";

const ROWS = [
  {
    name: "AGREES",
    members: {},
    want: ["known", "Traffic leaves through wan0.",
           `1 TCP connection to ${E} leaves through it (the system's route leads there); ` +
           "its source address belongs to it, too."],
  },
  {
    name: "AGREES by each evidence",
    members: {
      sockets: [socket({ decidedBy: "PACKETS" }), socket({ decidedBy: "BOUND_DEVICE" }),
                socket({ protocol: "UDP" }), socket({ role: "NOT_COUNTED" })],
    },
    want: ["known", "Traffic leaves through wan0.",
           `2 TCP connections and 1 UDP socket to ${E} leave through it (packets were seen ` +
           "there; the system's route leads there; bound to that device); their source address " +
           "belongs to it, too."],
  },
  {
    name: "AGREES, also for another address of the server",
    members: {
      endpoint: { status: "OK", address: "[2001:db8::1]", port: 443 },
      otherAddresses: [{ address: "2001:DB8:0::2", selectionStatus: "OK",
                         crossCheckStatus: "AGREES", interface: WAN }],
      sockets: [socket({ remoteAddress: "2001:db8::1" }),
                socket({ remoteAddress: "2001:db8::2" })],
    },
    want: ["known", "Traffic leaves through wan0.",
           "1 TCP connection to [2001:db8::1]:443 leaves through it (the system's route leads " +
           "there); its source address belongs to it, too."],
  },
  {
    name: "DISAGREES",
    members: {
      crossCheck: { status: "DISAGREES", interface: TUN },
      sockets: [socket({ leavesThrough: [TUN] })],
    },
    want: ["contradiction", "Traffic leaves through tun3, not through wan0.",
           `The source address of 1 TCP connection to ${E} belongs to wan0, but packets leave ` +
           "through tun3 (the system's route leads there)."],
  },
  {
    name: "DISAGREES through several",
    members: {
      crossCheck: { status: "DISAGREES" },
      sockets: [socket(), socket({ leavesThrough: [TUN] })],
    },
    want: ["contradiction",
           "Traffic leaves through wan0 and tun3, but only wan0 has its source address.",
           `The source address of 2 TCP connections to ${E} belongs to wan0, but packets leave ` +
           "through wan0 and tun3 (the system's route leads there)."],
  },
  {
    name: "DISAGREES, in part unknown",
    members: {
      crossCheck: { status: "DISAGREES" },
      sockets: [socket({ leavesThrough: [TUN] }), unknownSocket()],
    },
    want: ["contradiction", "Part of the traffic leaves through tun3, not through wan0.",
           `The source address of 2 TCP connections to ${E} belongs to wan0, but packets leave ` +
           "through tun3 (the system's route leads there); for 1 of 2 the system does not tell."],
  },
  {
    name: "SEVERAL, in part unknown",
    members: {
      report: selection("MULTIPLE_MATCHING_SOCKET_INTERFACES"),
      crossCheck: { status: "SEVERAL" },
      sockets: [socket(), socket({ leavesThrough: [TUN] }), unknownSocket()],
    },
    want: ["contradiction", "Traffic leaves through wan0 and tun3.",
           `2 of 3 TCP connections to ${E} leave through them (the system's route leads there); ` +
           "for 1 of 3 the system does not tell."],
  },
  {
    name: "SETTLES what the system routes",
    members: {
      report: { ...selection("NOT_APPLICABLE_OS_ROUTED"), egressSelectionPolicy: "os_routed" },
      crossCheck: { status: "SETTLES", interface: TUN },
      sockets: [socket({ leavesThrough: [TUN] })],
    },
    want: ["known", "Traffic leaves through tun3.",
           `1 TCP connection to ${E} leaves through it (the system's route leads there). ` +
           "The engine leaves the choice to the system's routes."],
  },
  {
    name: "SEVERAL",
    members: {
      report: selection("MULTIPLE_MATCHING_SOCKET_INTERFACES"),
      crossCheck: { status: "SEVERAL" },
      sockets: [socket(), socket({ leavesThrough: [TUN] })],
    },
    want: ["contradiction", "Traffic leaves through wan0 and tun3.",
           `2 TCP connections to ${E} leave through them (the system's route leads there).`],
  },
  {
    name: "NO_WAY_OUT without a route",
    members: {
      crossCheck: { status: "NO_WAY_OUT" },
      sockets: [socket({ byRoute: null, leavesThrough: [], hasNoWayOut: true }), socket()],
    },
    want: ["broken", "Part of the traffic cannot leave.",
           `1 of 2 TCP connections to ${E} cannot leave: the system has no route.`],
  },
  {
    name: "NO_WAY_OUT through an interface that is down",
    members: {
      crossCheck: { status: "NO_WAY_OUT" },
      sockets: [socket({ byRoute: TUN, leavesThrough: [], hasNoWayOut: true })],
    },
    want: ["broken", "Traffic cannot leave.",
           `1 TCP connection to ${E} cannot leave: tun3 is down.`],
  },
  {
    name: "NO_WAY_OUT for both reasons",
    members: {
      crossCheck: { status: "NO_WAY_OUT" },
      sockets: [socket(), socket({ byRoute: null, leavesThrough: [], hasNoWayOut: true }),
                socket({ byRoute: TUN, leavesThrough: [], hasNoWayOut: true })],
    },
    want: ["broken", "Part of the traffic cannot leave.",
           `2 of 3 TCP connections to ${E} cannot leave: the system has no route, and tun3 is ` +
           "down."],
  },
  {
    name: "NO_WAY_OUT where the bound device is down",
    members: {
      crossCheck: { status: "NO_WAY_OUT" },
      sockets: [socket({ byRoute: null, boundDevice: TUN, leavesThrough: [], hasNoWayOut: true })],
    },
    want: ["broken", "Traffic cannot leave.",
           `1 TCP connection to ${E} cannot leave: tun3 is down.`],
  },
  {
    name: "NO_WAY_OUT without the list of interfaces",
    members: {
      report: { ...selection("NOT_EVALUATED_ADAPTER_ENUM_FAILED"),
                interfacesStatus: "ADAPTER_ENUM_FAILED" },
      failures: { adapters: "denied" }, interfaces: [], crossCheck: { status: "NO_WAY_OUT" },
      sockets: [socket({ byRoute: null, bySource: [], leavesThrough: [], hasNoWayOut: true })],
    },
    want: ["broken", "Traffic cannot leave.",
           `1 TCP connection to ${E} cannot leave: the system has no route.`],
  },
  {
    name: "NO_SOCKET without the list of interfaces",
    members: {
      report: { ...selection("NOT_EVALUATED_ADAPTER_ENUM_FAILED"),
                interfacesStatus: "ADAPTER_ENUM_FAILED" },
      failures: { adapters: "denied" }, interfaces: [], crossCheck: { status: "NO_SOCKET" },
      sockets: [],
    },
    want: ["broken", "There is no connection to the endpoint.",
           `The engine has no TCP connection to ${E}.`],
  },
  {
    name: "TRYING without a route",
    members: {
      crossCheck: { status: "TRYING" },
      sockets: [socket({ role: "TRYING", byRoute: null, leavesThrough: [], hasNoWayOut: true })],
    },
    want: ["broken", "Traffic cannot leave.",
           `1 TCP connection attempt to ${E} cannot leave: the system has no route.`],
  },
  {
    name: "TRYING, in part through an interface that is down",
    members: {
      crossCheck: { status: "TRYING" },
      sockets: [socket({ role: "TRYING" }),
                socket({ role: "TRYING", byRoute: TUN, leavesThrough: [], hasNoWayOut: true })],
    },
    want: ["broken", "Part of the traffic cannot leave.",
           `1 of 2 TCP connection attempts to ${E} cannot leave: tun3 is down; the rest has no ` +
           "answer so far."],
  },
  {
    name: "TRYING",
    members: {
      report: selection("NO_MATCHING_SOCKET"),
      crossCheck: { status: "TRYING", interface: TUN },
      sockets: [socket({ role: "TRYING", state: "SYN_SENT", leavesThrough: [TUN] })],
    },
    want: ["broken", "The endpoint does not answer through tun3.",
           `1 TCP connection attempt to ${E} has no answer so far.`],
  },
  {
    name: "NO_SOCKET",
    members: {
      report: selection("NO_MATCHING_SOCKET"),
      crossCheck: { status: "NO_SOCKET" },
      sockets: [socket({ role: "NOT_COUNTED" })],
    },
    want: ["broken", "There is no connection to the endpoint.",
           `The engine has no TCP connection to ${E}; 1 other socket to it does not count.`],
  },
];

for (const { name, members, want } of ROWS) {
  test(name, () => assert.deepEqual(told(members), want));
}

const WALKS = {
  SELECTOR_TRANSPORT_FAILED: "there is no answer of the selector auto",
  SELECTOR_RESPONSE_MALFORMED: "the answer of the selector auto is not a JSON object",
  SELECTOR_NOW_MISSING: "the answer of the selector auto names no choice",
  SELECTOR_CYCLE: "the answer of the outbound proxy leads to auto, where the way has been before",
  SELECTOR_DEPTH_EXCEEDED:
    "the answer of the outbound proxy leads to auto, one step more than are followed",
  DETOUR_CYCLE: "the detour of the outbound proxy leads to auto, where the way has been before",
  DETOUR_DEPTH_EXCEEDED:
    "the detour of the outbound proxy leads to auto, one step more than are followed",
  OUTBOUND_NOT_FOUND: "no outbound has the tag auto, to which proxy leads",
  LEAF_HAS_NO_REMOTE_ENDPOINT: "the outbound proxy of type direct has no server",
  ENDPOINT_MISSING: "the outbound proxy lacks its server or its port",
  ENDPOINT_INVALID: "the port of the outbound proxy is not a port",
  ENDPOINT_NOT_NUMERIC: "the server of the outbound proxy is a name, not an address",
  ENDPOINT_NOT_SINGLETON: "the outbound proxy has more than one port",
  TRANSPORT_UNSUPPORTED:
    "the outbound proxy of type direct runs over QUIC, whose sockets cannot be followed",
  TRANSPORT_UNKNOWN: "the type direct of the outbound proxy, or its transport, is not known",
};

for (const [status, reason] of Object.entries(WALKS)) {
  test(status, () => assert.deepEqual(told({
    report: { ...selection("NOT_EVALUATED_ENDPOINT_UNAVAILABLE"), activeEndpointStatus: status },
    way: { entered: [{ tag: "proxy", type: "direct" }], soughtTag: "auto" },
    endpoint: { status },
    crossCheck: UNKNOWN,
    sockets: [],
  }), ["unknown", `It cannot be told: ${reason}.`, ""]));
}

test("the reason of a failed query is told", () => {
  const details = detailsOf({
    way: { entered: [], soughtTag: "auto" },
    endpoint: { status: "SELECTOR_TRANSPORT_FAILED" },
  });
  details.input.queries = [{ selectorTag: "auto", outcome: "REFUSED", reason: "port closed" }];
  assert.equal(plain(sentenceFor(details).headline),
               "It cannot be told: there is no answer of the selector auto: port closed.");
});

test("a main outbound that is missing has none before it", () => {
  assert.deepEqual(told({ way: { entered: [], soughtTag: "proxy" },
                          endpoint: { status: "OUTBOUND_NOT_FOUND" } })[1],
                   "It cannot be told: no outbound has the tag proxy.");
});

test("texts of the snapshot are told apart from those of the page", () => {
  const { headline } = sentenceFor(detailsOf());
  assert.deepEqual(headline,
                   [{ text: "Traffic leaves through " }, { data: "wan0" }, { text: "." }]);
});
