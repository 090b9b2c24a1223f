#include "egress_snapshot/explained_words.h"

namespace egress::snapshot {

Explanation explanationOf(InterfacesStatus status) {
  using enum InterfacesStatus;
  switch (status) {
    case OK:
      return {.meaning = "They are; `interfaces` lists them.",
              .usualCause = "The normal case.",
              .whatToDo = "Nothing.",
              .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1})"}};
    case ADAPTER_ENUM_FAILED: break;
  }
  return {.meaning = "The host could not list its network interfaces.",
          .usualCause =
              "Missing permission, interfaces that change during every attempt, or a system "
              "error.",
          .whatToDo = "See the host's error message; `egress-report` prints it on standard error.",
          .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"enumFailed": true}})"}};
}

Explanation explanationOf(DefaultRoutesStatus status) {
  using enum DefaultRoutesStatus;
  switch (status) {
    case OK:
      return {.meaning = "They are; `defaultRoutes` lists them.",
              .usualCause = "The normal case.",
              .whatToDo = "Nothing.",
              .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1})"}};
    case ROUTE_ENUM_FAILED:
      return {
          .meaning = "The host could not list its default routes.",
          .usualCause = "Missing permission, or a system error.",
          .whatToDo = "See the host's error message; `egress-report` prints it on standard error.",
          .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1,
 "routes": {"enumFailed": true}})"}};
    case SNAPSHOT_INCONSISTENT: break;
  }
  return {.meaning = "A default route uses an interface that is not in `interfaces`.",
          .usualCause =
              "An interface was added or removed between the two snapshots, or they are "
              "from different network namespaces.",
          .whatToDo = "Take both snapshots again, at the same time and in one network namespace.",
          .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1,
 "routes": {"rows": [
    {"family": 4, "interfaceIndex": 2}]}})"}};
}

Explanation explanationOf(InterfaceOrdinalStatus status) {
  using enum InterfaceOrdinalStatus;
  switch (status) {
    case OK:
      return {.meaning = "It is; `interfaceOrdinal` identifies it.",
              .usualCause = "The normal case.",
              .whatToDo = "Nothing.",
              .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1,
 "adapters": {"rows": [
    {"interfaceIndex": 2}]},
 "routes": {"rows": [
    {"family": 4, "interfaceIndex": 2}]}})"}};
    case ROUTE_INTERFACE_UNMAPPED: break;
  }
  return {.meaning = "The route's interface is not in `interfaces`, so it has no ordinal.",
          .usualCause =
              "`defaultRoutesStatus` is `SNAPSHOT_INCONSISTENT`, or `interfacesStatus` is "
              "`ADAPTER_ENUM_FAILED`.",
          .whatToDo = "See `defaultRoutesStatus` and `interfacesStatus`.",
          .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1,
 "routes": {"rows": [
    {"family": 4, "interfaceIndex": 2}]}})"}};
}

Explanation explanationOf(SocketSourcesStatus status) {
  using enum SocketSourcesStatus;
  switch (status) {
    case OK:
      return {.meaning =
                  "They are. `observedSocketSources` lists each interface that has the source "
                  "address of a socket, whatever its remote address. It omits sockets whose "
                  "address belongs to no interface or to several. It is empty if the interfaces "
                  "are unknown.",
              .usualCause = "The normal case.",
              .whatToDo = "Nothing.",
              .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1})"}};
    case SOCKET_ENUM_FAILED: break;
  }
  return {.meaning = "The host could not list the engine's sockets.",
          .usualCause =
              "The host may not read the file descriptors of the engine's process, or the "
              "kernel lacks socket diagnosis for TCP or UDP.",
          .whatToDo =
              "Run the host as root or with CAP_SYS_PTRACE; the engine's user is enough "
              "only if the engine has no capabilities. `egress-report` prints the error on "
              "standard error.",
          .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1,
 "sockets": {"enumFailed": true}})"}};
}

Explanation explainSelectorHintStale(bool isStale) {
  if (isStale) {
    return {.meaning = "The outbound named by the hint is not on the walk.",
            .usualCause =
                "The selector was switched after the hint was taken. If the walk ended early, "
                "this value is meaningless; `activeEndpointStatus` gives the reason.",
            .whatToDo =
                "If the walk is complete, use the choice in the selector's answer instead of "
                "the hint.",
            .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1,
 "config": {"configStatus": "OK"},
 "selectorHint": "old"})"}};
  }
  return {.meaning =
              "The outbound named by the hint is on the walk, or there is no hint or no "
              "usable configuration.",
          .usualCause = "The normal case.",
          .whatToDo = "Nothing.",
          .smallestInput = {.snapshot = R"({"format": "egress-snapshot", "version": 1})"}};
}

}  // namespace egress::snapshot
