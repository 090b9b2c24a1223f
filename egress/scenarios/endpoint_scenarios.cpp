#include <array>

#include "egress/scenarios/scenarios.h"
#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_check.h"
#include "egress/selfcheck/report_readers.h"

namespace egress {
namespace {

void keepPlain(Outbound& /*outbound*/) {}

// A port key is present, but its value is unusable.
void malformPort(Outbound& outbound) {
  outbound.portSpecified = true;
  outbound.portMalformed = true;
  outbound.ports.clear();
}

// Keeps one port, so that the hopping flag decides and not an empty list.
void hopPorts(Outbound& outbound) {
  outbound.portSpecified = true;
  outbound.portHopping = true;
  outbound.ports = {20000};
}

struct EndpointCase {
  std::string_view label;
  std::string_view type;
  std::string_view server;
  std::int32_t port = 0;
  void (*change)(Outbound& outbound) = keepPlain;
  std::string_view endpoint;
};

constexpr auto kEndpoints = std::to_array<EndpointCase>({
    {.label = "endpoint/direct",
     .type = "direct",
     .server = "",
     .port = 0,
     .endpoint = "LEAF_HAS_NO_REMOTE_ENDPOINT"},
    {.label = "endpoint/missing",
     .type = "vmess",
     .server = "",
     .port = 0,
     .endpoint = "ENDPOINT_MISSING"},
    {.label = "endpoint/invalid",
     .type = "vmess",
     .server = "198.51.100.10",
     .port = 0,
     .change = malformPort,
     .endpoint = "ENDPOINT_INVALID"},
    {.label = "endpoint/not-numeric",
     .type = "trojan",
     .server = "node.example.net",
     .port = 443,
     .endpoint = "ENDPOINT_NOT_NUMERIC"},
    {.label = "endpoint/port-range",
     .type = "hysteria2",
     .server = "198.51.100.10",
     .port = 0,
     .change = hopPorts,
     .endpoint = "ENDPOINT_NOT_SINGLETON"},
    {.label = "endpoint/quic",
     .type = "hysteria2",
     .server = "198.51.100.10",
     .port = 443,
     .endpoint = "TRANSPORT_UNSUPPORTED"},
    {.label = "endpoint/unknown-type",
     .type = "wireguard",
     .server = "198.51.100.10",
     .port = 443,
     .endpoint = "TRANSPORT_UNKNOWN"},
});

struct TransportCase {
  std::string_view type;
  std::string_view transportType;
  std::string_view endpoint;
};

constexpr auto kTransports = std::to_array<TransportCase>({
    {.type = "vless", .transportType = "ws", .endpoint = "OK"},
    {.type = "vless", .transportType = "grpc", .endpoint = "OK"},
    {.type = "vless", .transportType = "http", .endpoint = "OK"},
    {.type = "vmess", .transportType = "quic", .endpoint = "TRANSPORT_UNSUPPORTED"},
    {.type = "vmess", .transportType = "kcp", .endpoint = "TRANSPORT_UNKNOWN"},
});

void checkEndpoint(SelfCheckRun& run, std::string_view label, const Outbound& outbound,
                   std::string_view endpoint) {
  const EgressReport report = diagnoseAndAudit(run, label, makeInputWithOutbound(outbound));
  checkEqual(run.recorder, reportString(report, "activeEndpointStatus"), endpoint, label);
}

void runEndpoint(SelfCheckRun& run, const EndpointCase& row) {
  Outbound outbound = makeOutbound("proxy", row.type, row.server, row.port);
  row.change(outbound);
  checkEndpoint(run, row.label, outbound, row.endpoint);
}

void runTransport(SelfCheckRun& run, const TransportCase& row) {
  Outbound outbound = makeOutbound("proxy", row.type, "198.51.100.10", 443);
  outbound.hasTransport = true;
  outbound.transportType = row.transportType;
  checkEndpoint(run, "endpoint/transport-" + outbound.transportType, outbound, row.endpoint);
}

constexpr auto kIpv6Checks = std::to_array<ReportCheck>({
    {.label = "endpoint/ipv6 endpoint", .key = "activeEndpointStatus", .expected = IsWord{"OK"}},
    {.label = "endpoint/ipv6 selectionStatus", .key = "selectionStatus", .expected = IsWord{"OK"}},
    {.label = "endpoint/ipv6 ordinal", .key = "selectedInterfaceOrdinal", .expected = IsInteger{1}},
});

// Each address is written in two forms, so that only a comparison by value matches.
void runIpv6(SelfCheckRun& run) {
  DiagnosisInput input =
      makeInputWithOutbound(makeOutbound("proxy", "shadowsocks", "2001:db8::1", 443));
  input.adapters.rows = {makeInterfaceRow(5, 1, 5, {"2001:db8:0:0:0:0:0:20"})};
  input.sockets.rows = {
      makeSocketSource("2001:DB8:0:0:0:0:0:20", 51000, "2001:0db8:0000::0001", 443)};
  const EgressReport report = diagnoseAndAudit(run, "endpoint/ipv6", input);
  for (const ReportCheck& check : kIpv6Checks) checkReport(run.recorder, report, check);
}

}  // namespace

void runEndpointScenarios(SelfCheckRun& run) {
  for (const EndpointCase& row : kEndpoints) runEndpoint(run, row);
  for (const TransportCase& row : kTransports) runTransport(run, row);
  runIpv6(run);
}

}  // namespace egress
