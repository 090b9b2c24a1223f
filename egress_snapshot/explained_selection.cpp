#include "egress_snapshot/explained_words.h"

namespace egress::snapshot {

Explanation explanationOf(SelectionStatus status) {
  using enum SelectionStatus;
  switch (status) {
    case OK:
      return {.meaning =
                  "All sockets to the endpoint have source addresses of one interface. "
                  "`crossCheck` tells whether their packets leave through it.",
              .usualCause = "The normal case.",
              .whatToDo =
                  "Nothing if `crossCheck` is `AGREES`. The ordinal is the interface's position "
                  "in this report.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"rows": [
    {"interfaceIndex": 2, "addresses": ["192.0.2.7"]}]},
 "sockets": {"rows": [
    {"localAddress": "192.0.2.7", "remoteAddress": "198.51.100.10", "remotePort": 443}]}})"}};
    case NOT_APPLICABLE_OS_ROUTED:
      return {.meaning = "The engine does not select an interface.",
              .usualCause = "`egressSelectionPolicy` is `os_routed`.",
              .whatToDo = "See `egressSelectionPolicy`.",
              .smallestInput = {.config = R"({"route": {"auto_detect_interface": false}})"}};
    case NOT_EVALUATED_ENDPOINT_UNAVAILABLE:
      return {
          .meaning = "The endpoint is unknown, so no sockets could be matched.",
          .usualCause = "`activeEndpointStatus` is not `OK`, often because `configStatus` is not.",
          .whatToDo = "Fix the problem that `activeEndpointStatus` reports.",
          .smallestInput = {.config = R"({"route": {"auto_detect_interface": true}})"}};
    case NOT_EVALUATED_SOCKET_ENUM_FAILED:
      return {.meaning = "The endpoint is known, but not the sockets.",
              .usualCause = "`socketSourcesStatus` is `SOCKET_ENUM_FAILED`.",
              .whatToDo = "See `socketSourcesStatus`.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "sockets": {"enumFailed": true}})"}};
    case NOT_EVALUATED_ADAPTER_ENUM_FAILED:
      return {
          .meaning = "The endpoint and the sockets are known, but not the interfaces' addresses.",
          .usualCause = "`interfacesStatus` is `ADAPTER_ENUM_FAILED`.",
          .whatToDo = "See `interfacesStatus`.",
          .smallestInput = {.config = kEndpointKnown,
                            .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"enumFailed": true}})"}};
    case NO_MATCHING_SOCKET:
      return {.meaning =
                  "The engine has no connection to the endpoint. Attempts to connect do not count, "
                  "and UDP sockets only if the caller asks for them.",
              .usualCause =
                  "The engine is idle, cannot connect (then `crossCheck` is `TRYING`), or uses "
                  "another server than its answers name; another process holds the connection, or "
                  "it passes through a local relay. An endpoint written as an IPv4-mapped IPv6 "
                  "address (`::ffff:192.0.2.7`) does not match an IPv4 connection.",
              .whatToDo =
                  "Send traffic through the engine and diagnose again. Check that the sockets "
                  "belong to the engine's process and that it runs with this configuration; "
                  "`egress-report --save-snapshot FILE` writes the sockets.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1})"}};
    case SOCKET_SOURCE_ADDRESS_UNMAPPED:
      return {.meaning =
                  "There are sockets to the endpoint, but no interface has any of their source "
                  "addresses.",
              .usualCause =
                  "The address was removed after the connection was made, for example by a "
                  "change of network. Sockets and adapters are from different times or network "
                  "namespaces. The host passes IPv4-mapped addresses unchanged. The address is "
                  "valid although no interface lists it, for example another one in 127.0.0.0/8 "
                  "or one with a local route.",
              .whatToDo =
                  "Take all snapshots at the same time in the engine's network namespace, and "
                  "let the engine reconnect. If the status stays, find the owner of the "
                  "address, on Linux with `ip route show table local`; `egress-report "
                  "--save-snapshot FILE` writes the address.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "sockets": {"rows": [
    {"localAddress": "192.0.2.7", "remoteAddress": "198.51.100.10", "remotePort": 443}]}})"}};
    case PARTIAL_SOCKET_SOURCE_MAPPING:
      return {.meaning =
                  "Some sockets to the endpoint have a source address of an interface, others "
                  "one that no interface has.",
              .usualCause = "A change of network while old connections still exist.",
              .whatToDo =
                  "Wait until the old connections are closed, or let the engine reconnect, and "
                  "diagnose again.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"rows": [
    {"interfaceIndex": 2, "addresses": ["192.0.2.7"]}]},
 "sockets": {"rows": [
    {"localAddress": "192.0.2.7", "remoteAddress": "198.51.100.10", "remotePort": 443},
    {"localAddress": "192.0.2.8", "remoteAddress": "198.51.100.10", "remotePort": 443}]}})"}};
    case MULTIPLE_MATCHING_SOCKET_INTERFACES:
      return {.meaning = "The sockets to the endpoint have source addresses of several interfaces.",
              .usualCause =
                  "A change of network while old connections still exist, or an engine that "
                  "uses several uplinks.",
              .whatToDo =
                  "Diagnose again later. If the status stays, the engine uses several "
                  "interfaces. They are among `observedSocketSources`, which lists the "
                  "interfaces of all its sockets.",
              .smallestInput = {.config = kEndpointKnown,
                                .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"rows": [
    {"interfaceIndex": 2, "addresses": ["192.0.2.7"]},
    {"interfaceIndex": 3, "addresses": ["192.0.2.8"]}]},
 "sockets": {"rows": [
    {"localAddress": "192.0.2.7", "remoteAddress": "198.51.100.10", "remotePort": 443},
    {"localAddress": "192.0.2.8", "remoteAddress": "198.51.100.10", "remotePort": 443}]}})"}};
    case ADDRESS_INTERFACE_AMBIGUOUS: break;
  }
  return {.meaning =
              "Several interfaces have the source address of a socket to the endpoint, so "
              "the address does not identify one.",
          .usualCause =
              "The same link-local address (fe80::/10) or the same private network on two "
              "interfaces, or a copy of an address on a virtual interface.",
          .whatToDo =
              "Give each interface a unique address. For link-local addresses, use another "
              "address of the endpoint instead.",
          .smallestInput = {.config = kEndpointKnown,
                            .snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"rows": [
    {"interfaceIndex": 2, "addresses": ["192.0.2.7"]},
    {"interfaceIndex": 3, "addresses": ["192.0.2.7"]}]},
 "sockets": {"rows": [
    {"localAddress": "192.0.2.7", "remoteAddress": "198.51.100.10", "remotePort": 443}]}})"}};
}

}  // namespace egress::snapshot
