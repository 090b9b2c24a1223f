#include "egress_snapshot/explained_words.h"

namespace egress::snapshot {

Explanation explanationOf(CrossCheckStatus status) {
  using enum CrossCheckStatus;
  switch (status) {
    case AGREES:
      return {.meaning =
                  "The diagnosis names one interface, and the packets of all counted sockets to "
                  "the endpoint leave through it.",
              .usualCause = "The normal case.",
              .whatToDo = "Nothing.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"rows": [
    {"interfaceIndex": 2, "addresses": ["192.0.2.7"]}]},
 "sockets": {"rows": [
    {"localAddress": "192.0.2.7", "remoteAddress": "198.51.100.10", "remotePort": 443,
     "routeInterfaceIndex": 2}]}})"}};
    case DISAGREES:
      return {.meaning =
                  "The diagnosis names the interface that has the source address, but packets of "
                  "at least one counted socket leave through another interface.",
              .usualCause =
                  "The host does not route by source address; Linux does not by default. A route, "
                  "a routing rule, for example of a VPN, or the device that the socket is bound "
                  "to leads elsewhere.",
              .whatToDo =
                  "Rely on the interface that the cross-check shows for each socket. If the "
                  "packets should leave through the interface with the source address, change "
                  "the route or the rule.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"rows": [
    {"interfaceIndex": 2, "addresses": ["192.0.2.7"]},
    {"interfaceIndex": 3}]},
 "sockets": {"rows": [
    {"localAddress": "192.0.2.7", "remoteAddress": "198.51.100.10", "remotePort": 443,
     "routeInterfaceIndex": 3}]}})"}};
    case SETTLES:
      return {.meaning =
                  "The diagnosis names no interface, but the packets of all counted sockets to "
                  "the endpoint leave through the same one.",
              .usualCause = "`selectionStatus` is not `OK`.",
              .whatToDo = "Rely on the interface that the cross-check shows.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"rows": [
    {"interfaceIndex": 2}]},
 "sockets": {"rows": [
    {"remoteAddress": "198.51.100.10", "remotePort": 443, "routeInterfaceIndex": 2}]}})"}};
    case SEVERAL:
      return {.meaning =
                  "The diagnosis names no interface, and the packets of the counted sockets to "
                  "the endpoint leave through several.",
              .usualCause =
                  "A change of network while old connections still exist, or several uplinks in "
                  "use.",
              .whatToDo =
                  "Diagnose again later. If the status stays, the engine's traffic uses several "
                  "interfaces; the cross-check shows that of each socket.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"rows": [
    {"interfaceIndex": 2},
    {"interfaceIndex": 3}]},
 "sockets": {"rows": [
    {"remoteAddress": "198.51.100.10", "remotePort": 443, "routeInterfaceIndex": 2},
    {"remoteAddress": "198.51.100.10", "remotePort": 443, "routeInterfaceIndex": 3}]}})"}};
    case NO_WAY_OUT:
      return {.meaning =
                  "A counted socket goes to the endpoint, but its packets cannot leave: the system "
                  "has no route for it, or its interface is down.",
              .usualCause =
                  "The network was disconnected or changed, and the connection has not timed out "
                  "yet.",
              .whatToDo =
                  "Connect the network, let the engine reconnect, and diagnose again. If the "
                  "status stays, check the routes to the endpoint.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "sockets": {"rows": [
    {"remoteAddress": "198.51.100.10", "remotePort": 443, "routeInterfaceIndex": 0}]}})"}};
    case TRYING:
      return {.meaning =
                  "No counted socket goes to the endpoint, but the engine is trying to connect: "
                  "the endpoint has not answered yet.",
              .usualCause =
                  "The server is down, a firewall drops the packets, or the interface that they "
                  "leave through does not lead to the server.",
              .whatToDo =
                  "Diagnose again after some seconds. If the status stays, check the interface "
                  "that the attempt leaves through, the firewall and the server.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "sockets": {"rows": [
    {"state": "SYN_SENT", "remoteAddress": "198.51.100.10", "remotePort": 443}]}})"}};
    case NO_SOCKET:
      return {
          .meaning =
              "No counted socket goes to the endpoint, and the engine is not trying to connect.",
          .usualCause = "`selectionStatus` is `NO_MATCHING_SOCKET`.",
          .whatToDo = "See `NO_MATCHING_SOCKET` of `selectionStatus`.",
          .smallestInput = {.config = kEndpointKnown,
                            .snapshot = R"({"format": "egress-snapshot", "version": 1})"}};
    case UNKNOWN: break;
  }
  return {.meaning =
              "The endpoint or the sockets are unknown, or it is unknown where the packets of a "
              "counted socket leave.",
          .usualCause =
              "`activeEndpointStatus` or `socketSourcesStatus` is not `OK`, or the system did not "
              "tell the routes. A saved snapshot of an older version has none.",
          .whatToDo =
              "See `activeEndpointStatus` and `socketSourcesStatus`. If both are `OK`, "
              "`missingFacts` in a saved snapshot gives the reasons.",
          .smallestInput = {.config = kEndpointKnown,
                            .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "sockets": {"rows": [
    {"remoteAddress": "198.51.100.10", "remotePort": 443}]}})"}};
}

}  // namespace egress::snapshot
