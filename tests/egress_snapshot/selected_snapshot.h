#ifndef EGRESS_TESTS_EGRESS_SNAPSHOT_SELECTED_SNAPSHOT_H
#define EGRESS_TESTS_EGRESS_SNAPSHOT_SELECTED_SNAPSHOT_H

#include "egress_snapshot/host_snapshot.h"

namespace egress::snapshot {

inline Outbound makeOutbound(std::string tag, std::string type, std::string server) {
  Outbound outbound;
  outbound.tag = std::move(tag);
  outbound.type = std::move(type);
  outbound.hasServer = !server.empty();
  outbound.portSpecified = outbound.hasServer;
  if (outbound.hasServer) outbound.ports = {443};
  outbound.server = std::move(server);
  return outbound;
}

inline Socket makeSocket(std::string localAddress, std::uint32_t localPort,
                         std::string remoteAddress, std::uint32_t remotePort) {
  Socket socket;
  socket.localAddress = std::move(localAddress);
  socket.localPort = localPort;
  socket.remoteAddress = std::move(remoteAddress);
  socket.remotePort = remotePort;
  return socket;
}

// A record with private data. Its report selects the second of two interfaces, the one with the
// index 40. A route has another index, and the hint is out of date.
[[nodiscard]] inline HostSnapshot selectedSnapshot() {
  HostSnapshot snapshot;
  snapshot.origin = {.time = "2026-11-22T04:23:00Z",
                     .program = "probe",
                     .programVersion = "1.2.3",
                     .system = "Linux 6.1.0-tokyo x86_64"};
  snapshot.config.configStatus = ConfigStatus::OK;
  snapshot.config.autoDetectInterface = true;
  snapshot.config.outbounds = {makeOutbound("proxy", "selector", ""),
                               makeOutbound("Tokyo", "vless", "93.184.216.34"),
                               makeOutbound("Osaka", "vless", "osaka.example.net"),
                               makeOutbound("Kyoto", "vless", "::ffff:93.184.216.34")};
  snapshot.selectorAnswers = {
      {.selectorTag = "proxy", .status = SelectorAnswerStatus::Ok, .now = "Tokyo"}};
  snapshot.selectorHint = "Osaka";
  snapshot.processes = {{.id = 4711, .user = 1000, .program = "/home/alice/engine"}};
  snapshot.adapters.failureReason = "private failure 1";
  snapshot.adapters.rows = {{.name = "eth-tokyo",
                             .interfaceIndex = 40,
                             .operStatus = 1,
                             .interfaceMetric = 3,
                             .addresses = {"10.20.30.40", "fd12::40", "fe80::1234"},
                             .kind = InterfaceKind::OTHER},
                            {.name = "wlan-osaka",
                             .interfaceIndex = 7,
                             .operStatus = 2,
                             .interfaceMetric = 4,
                             .addresses = {"10.20.30.7", "fe80::1234"},
                             .kind = InterfaceKind::TUNNEL},
                            {.name = "eth-tokyo",
                             .interfaceIndex = 40,
                             .operStatus = 1,
                             .interfaceMetric = 5,
                             .addresses = {},
                             .kind = {}}};
  snapshot.routes.failureReason = "private failure 2";
  snapshot.routes.rows = {{.family = 4, .interfaceIndex = 40, .routeMetric = 100},
                          {.family = 6, .interfaceIndex = 39, .routeMetric = 200}};
  snapshot.sockets.failureReason = "private failure 3";
  snapshot.sockets.rows = {makeSocket("10.20.30.40", 50000, "93.184.216.34", 443),
                           makeSocket("10.20.30.40", 50001, "8.8.8.8", 53),
                           makeSocket("10.20.30.7", 50002, "8.8.8.8", 53),
                           makeSocket("fd12::40", 50003, "2a00:1450::1", 443)};
  Socket& socket = snapshot.sockets.rows.front();
  socket.boundInterfaceIndex = 40;
  socket.mark = 51820;
  socket.user = 1000;
  socket.routeInterfaceIndex = 7;
  socket.seenPackets = {{.interfaceIndex = 40, .count = 0}};
  snapshot.observedSeconds = 30;
  snapshot.missingFacts = {{.fact = FactKind::ROUTE, .reason = "a secret reason"}};
  snapshot.sockets.rows.back().boundInterfaceIndex = 0;
  snapshot.sockets.rows.back().state = SocketState::CLOSE_WAIT;
  return snapshot;
}

}  // namespace egress::snapshot

#endif
