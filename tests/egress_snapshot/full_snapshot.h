#ifndef EGRESS_TESTS_EGRESS_SNAPSHOT_FULL_SNAPSHOT_H
#define EGRESS_TESTS_EGRESS_SNAPSHOT_FULL_SNAPSHOT_H

#include "egress_snapshot/host_snapshot.h"

namespace egress::snapshot {

// A record in which no field has its default. Its texts include zero bytes, control characters,
// quotes, an emoji and bytes that are not UTF-8.
[[nodiscard]] inline HostSnapshot fullSnapshot() {
  using namespace std::string_literals;
  const std::string tag = "node 1,%\n\xC3\xA9\0\x1B\x7F"s;
  const std::string notUtf8 = "\xFF\0a"s;
  HostSnapshot snapshot;
  snapshot.origin = {.time = "2026-11-22T04:23:00Z",
                     .program = "probe \"\\\xF0\x9F\x98\x80",
                     .programVersion = "1.2.3",
                     .system = notUtf8};
  snapshot.config = {.configStatus = ConfigStatus::OK,
                     .autoDetectInterface = true,
                     .outbounds = {{.tag = tag,
                                    .type = "vless",
                                    .detour = "hop",
                                    .hasServer = true,
                                    .server = "[2001:470::1%eth0]",
                                    .portSpecified = true,
                                    .portMalformed = true,
                                    .portHopping = true,
                                    .ports = {443, 4294967295},
                                    .hasTransport = true,
                                    .transportType = "ws"},
                                   {}}};
  snapshot.config.outbounds.back().tag = notUtf8;
  snapshot.blanked = {.byteOrderMark = true, .comments = 4294967295, .trailingCommas = 2};
  snapshot.mainTag = notUtf8;
  snapshot.selectorAnswers = {
      {.selectorTag = tag, .status = SelectorAnswerStatus::TransportFailed, .now = notUtf8},
      {.selectorTag = "b", .status = SelectorAnswerStatus::Malformed, .now = ""},
      {.selectorTag = "c", .status = SelectorAnswerStatus::NowMissing, .now = ""},
      {.selectorTag = "d", .status = SelectorAnswerStatus::Ok, .now = "e"}};
  snapshot.queries = {{.selectorTag = tag, .outcome = QueryOutcome::FAILED, .reason = notUtf8}, {}};
  snapshot.selectorHint = tag;
  snapshot.resolvedNames = {
      {.name = notUtf8, .address = "2001:470::1", .source = NameSource::SYSTEM}, {}};
  snapshot.processes = {{.id = 4294967295, .user = 1000, .program = notUtf8}, {}};
  snapshot.listeningAt = notUtf8;
  snapshot.adapters = {.enumFailed = true,
                       .failureReason = "EPERM",
                       .rows = {{.name = "eth0",
                                 .interfaceIndex = 4294967295,
                                 .operStatus = -2147483647 - 1,
                                 .interfaceMetric = 4294967295,
                                 .addresses = {"10.1.2.3", notUtf8},
                                 .kind = InterfaceKind::TUNNEL},
                                {}}};
  snapshot.routes = {.enumFailed = true,
                     .failureReason = notUtf8,
                     .rows = {{.family = 2147483647, .interfaceIndex = 7, .routeMetric = 9}, {}}};
  snapshot.sockets = {.enumFailed = true,
                      .failureReason = "EACCES",
                      .rows = {{.protocol = SocketProtocol::UDP,
                                .state = SocketState::CLOSED,
                                .localAddress = "10.1.2.3",
                                .localPort = 4294967295,
                                .remoteAddress = "no address",
                                .remotePort = 443,
                                .boundInterfaceIndex = 0,
                                .mark = 4294967295,
                                .user = 1000,
                                .routeInterfaceIndex = 7,
                                .seenPackets = {{.interfaceIndex = 4294967295, .count = 12}, {}}},
                               {}}};
  snapshot.observedSeconds = 30;
  snapshot.missingFacts = {{.fact = FactKind::ADDRESS, .reason = notUtf8}, {}};
  return snapshot;
}

}  // namespace egress::snapshot

#endif
