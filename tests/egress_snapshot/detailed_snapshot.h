#ifndef EGRESS_TESTS_EGRESS_SNAPSHOT_DETAILED_SNAPSHOT_H
#define EGRESS_TESTS_EGRESS_SNAPSHOT_DETAILED_SNAPSHOT_H

#include "egress_snapshot/host_snapshot.h"
#include "tests/egress_snapshot/selected_snapshot.h"

namespace egress::snapshot {

// A record with every kind of detail. The walk enters a selector, an outbound with a detour, and
// the leaf. Interface 7 has ordinal 1, interface 40 ordinal 2; no adapter has index 99.
[[nodiscard]] inline HostSnapshot detailedSnapshot() {
  HostSnapshot snapshot;
  snapshot.origin = {.time = "2026-11-22T04:23:00Z",
                     .program = "probe",
                     .programVersion = "1.2.3",
                     .system = "Linux"};
  snapshot.config.configStatus = ConfigStatus::OK;
  snapshot.config.autoDetectInterface = true;
  snapshot.config.outbounds = {makeOutbound("exit", "vless", "[198.51.100.10]"),
                               makeOutbound("proxy", "selector", ""),
                               makeOutbound("hop", "trojan", "203.0.113.1")};
  snapshot.config.outbounds.back().detour = "exit";
  snapshot.selectorAnswers = {
      {.selectorTag = "proxy", .status = SelectorAnswerStatus::Ok, .now = "hop"}};
  snapshot.processes = {{.id = 4711, .user = 1000, .program = "/bin/engine"}};
  snapshot.adapters.rows = {{.name = "wg0",
                             .interfaceIndex = 40,
                             .operStatus = 1,
                             .interfaceMetric = 3,
                             .addresses = {"10.0.0.2"},
                             .kind = InterfaceKind::TUNNEL},
                            {.name = "eth\xFF",
                             .interfaceIndex = 7,
                             .operStatus = 1,
                             .interfaceMetric = 4,
                             .addresses = {"192.0.2.7", "2001:db8::7"},
                             .kind = InterfaceKind::OTHER},
                            {.name = "",
                             .interfaceIndex = 40,
                             .operStatus = 2,
                             .interfaceMetric = 5,
                             .addresses = {},
                             .kind = {}}};
  snapshot.routes.rows = {{.family = 4, .interfaceIndex = 40, .routeMetric = 100}};
  snapshot.sockets.rows = {makeSocket("192.0.2.7", 50000, "203.0.113.9", 443),
                           makeSocket("10.0.0.2", 50001, "198.51.100.10", 443),
                           makeSocket("192.0.2.99", 50002, "198.51.100.10", 443),
                           makeSocket("192.0.2.7", 50003, "198.51.100.10", 443)};
  Socket& counted = snapshot.sockets.rows[1];
  counted.boundInterfaceIndex = 7;
  counted.mark = 51820;
  counted.user = 1000;
  counted.routeInterfaceIndex = 40;
  counted.seenPackets = {{.interfaceIndex = 40, .count = 4294967295},
                         {.interfaceIndex = 7, .count = 6},
                         {.interfaceIndex = 40, .count = 2},
                         {.interfaceIndex = 99, .count = 1}};
  Socket& udp = snapshot.sockets.rows[2];
  udp.protocol = SocketProtocol::UDP;
  udp.boundInterfaceIndex = 0;
  udp.routeInterfaceIndex = 0;
  udp.seenPackets = {{.interfaceIndex = 7, .count = 0}};
  Socket& attempt = snapshot.sockets.rows[3];
  attempt.state = SocketState::SYN_SENT;
  attempt.boundInterfaceIndex = 99;
  attempt.routeInterfaceIndex = 99;
  snapshot.observedSeconds = 30;
  snapshot.missingFacts = {{.fact = FactKind::MARK, .reason = "not permitted"}};
  return snapshot;
}

// The same, but the server has a name, and the engine uses three of its addresses: the second
// leaves through interface 7, the third through none that is known.
[[nodiscard]] inline HostSnapshot namedSnapshot() {
  HostSnapshot snapshot = detailedSnapshot();
  snapshot.config.outbounds.front().server = "vpn.example";
  for (const char* const address :
       {"198.51.100.9", "198.51.100.10", "198.51.100.11", "198.51.100.12"}) {
    snapshot.resolvedNames.push_back(
        {.name = "vpn.example", .address = address, .source = NameSource::SYSTEM});
  }
  snapshot.sockets.rows.push_back(makeSocket("192.0.2.7", 50004, "198.51.100.11", 443));
  snapshot.sockets.rows.push_back(makeSocket("192.0.2.99", 50005, "198.51.100.12", 443));
  snapshot.queries = {{.selectorTag = "proxy", .outcome = QueryOutcome::ANSWERED, .reason = ""}};
  snapshot.blanked.comments = 3;
  snapshot.mainTag = "proxy";
  snapshot.listeningAt = "127.0.0.1:9090";
  return snapshot;
}

}  // namespace egress::snapshot

#endif
