// The answer where facts are missing, and where a server has several addresses.
import assert from "node:assert/strict";
import { test } from "node:test";

import { TUN, WAN, socket } from "./details.mjs";
import { E, UNKNOWN, selection, told, unknownSocket } from "./told.mjs";

const ROWS = [
  {
    name: "UNKNOWN with a source address",
    members: { crossCheck: UNKNOWN, sockets: [unknownSocket()] },
    want: ["known", "By source address, traffic leaves through wan0.",
           `1 TCP connection to ${E} has its source address. ` +
           "The system does not tell where packets leave."],
  },
  {
    name: "UNKNOWN, unmapped",
    members: { report: selection("SOCKET_SOURCE_ADDRESS_UNMAPPED"), crossCheck: UNKNOWN,
               sockets: [unknownSocket({ bySource: [] })] },
    want: ["unknown", "It cannot be told: no interface has the source address of " +
           `1 TCP connection to ${E}, and the system does not tell where packets leave.`, ""],
  },
  {
    name: "UNKNOWN with a source address, in part",
    members: { crossCheck: UNKNOWN, sockets: [socket(), unknownSocket()] },
    want: ["known", "By source address, traffic leaves through wan0.",
           `2 TCP connections to ${E} have its source address. The system does not tell where ` +
           "packets leave for 1 of 2. 1 of 2 leaves through wan0 (the system's route leads " +
           "there)."],
  },
  {
    name: "UNKNOWN, ambiguous in part",
    members: { report: selection("ADDRESS_INTERFACE_AMBIGUOUS"), crossCheck: UNKNOWN,
               sockets: [socket({ bySource: [WAN, TUN] }),
                         unknownSocket({ bySource: [WAN, TUN] })] },
    want: ["unknown", `It cannot be told: wan0 and tun3 have the source address of 2 TCP ` +
           `connections to ${E}, and the system does not tell where packets leave for 1 of 2.`,
           "1 of 2 leaves through wan0 (the system's route leads there)."],
  },
  {
    name: "UNKNOWN, with the source address of many",
    members: { report: selection("ADDRESS_INTERFACE_AMBIGUOUS"), crossCheck: UNKNOWN,
               sockets: [unknownSocket({ bySource: Array.from({ length: 30 }, (_, i) =>
                 ({ ordinal: i + 10 })) })] },
    want: ["unknown", "It cannot be told: interface 10, interface 11, interface 12, interface 13 " +
           `and 26 more have the source address of 1 TCP connection to ${E}, and the system does ` +
           "not tell where packets leave.", ""],
  },
  {
    name: "UNKNOWN, ambiguous",
    members: { report: selection("ADDRESS_INTERFACE_AMBIGUOUS"), crossCheck: UNKNOWN,
               sockets: [unknownSocket({ bySource: [WAN, TUN] })] },
    want: ["unknown", `It cannot be told: wan0 and tun3 have the source address of 1 TCP ` +
           `connection to ${E}, and the system does not tell where packets leave.`, ""],
  },
  {
    name: "no list of sockets",
    members: { report: { ...selection("NOT_EVALUATED_SOCKET_ENUM_FAILED"),
                         socketSourcesStatus: "SOCKET_ENUM_FAILED" },
               crossCheck: UNKNOWN, sockets: [], failures: { sockets: "not permitted." } },
    want: ["unknown", "It cannot be told: the engine's sockets are not known: not permitted.", ""],
  },
  {
    name: "a configuration without a host",
    members: { report: { ...selection("NOT_EVALUATED_SOCKET_ENUM_FAILED"),
                         socketSourcesStatus: "SOCKET_ENUM_FAILED" },
               crossCheck: UNKNOWN, sockets: [],
               failures: { adapters: "not taken", sockets: "not taken" } },
    want: ["unknown", `The way leads to ${E}.`,
           "Without a host, it cannot be told through which interface."],
  },
  {
    name: "several addresses",
    members: {
      doAddressesAgree: false,
      otherAddresses: [{ address: "198.51.100.11", selectionStatus: "OK",
                         crossCheckStatus: "AGREES", interface: TUN }],
    },
    want: ["contradiction",
           "Traffic leaves through different interfaces, by the server's addresses.",
           "The engine uses several addresses of the server: traffic to 198.51.100.10 leaves " +
           "through wan0; that to 198.51.100.11 leaves through tun3."],
  },
  {
    name: "several addresses, one of them without a way out",
    members: {
      doAddressesAgree: false,
      otherAddresses: [{ address: "198.51.100.11", selectionStatus: "OK",
                         crossCheckStatus: "NO_WAY_OUT" }],
    },
    want: ["broken", "Traffic to 198.51.100.10 leaves through wan0; that to 198.51.100.11 cannot " +
           "leave.", "The engine uses several addresses of the server."],
  },
  {
    name: "several addresses, one of them unknown",
    members: {
      doAddressesAgree: false,
      otherAddresses: [{ address: "198.51.100.11", crossCheckStatus: "UNKNOWN",
                         selectionStatus: "SOCKET_SOURCE_ADDRESS_UNMAPPED" }],
    },
    want: ["unknown", "Traffic to 198.51.100.10 leaves through wan0; where that to " +
           "198.51.100.11 leaves cannot be told.",
           "The engine uses several addresses of the server."],
  },
];

for (const { name, members, want } of ROWS) {
  test(name, () => assert.deepEqual(told(members), want));
}

test("sockets that are missing from a host are no missing host", () => {
  assert.deepEqual(told({ report: { ...selection("NOT_EVALUATED_SOCKET_ENUM_FAILED"),
                                    socketSourcesStatus: "SOCKET_ENUM_FAILED" },
                          crossCheck: UNKNOWN, sockets: [],
                          failures: { sockets: "not taken" } })[1],
                   "It cannot be told: the engine's sockets are not known: not taken.");
});
