// Tests the configuration reader and the diagnosis together.

#include <array>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_readers.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

// The report of the default input with this configuration.
EgressReport diagnoseConfig(std::string_view text) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/false);
  setProxyConfig(input, readProxyConfig(ExactText(text).view(), /*hasText=*/true));
  return diagnoseEgress(input);
}

struct Row {
  std::string_view outbound;  // its members except the tag "proxy"
  std::string_view endpoint;
};

constexpr auto kRows = std::to_array<Row>({
    {.outbound = R"("type":"vless","server":"198.51.100.10","server_port":443)", .endpoint = "OK"},
    {.outbound = R"("type":"vless","server":"[2001:db8::1]","server_ports":["443"])",
     .endpoint = "OK"},
    {.outbound = R"("type":"vless","server":"198.51.100.10","server_port":443,"transport":"ws")",
     .endpoint = "OK"},
    {.outbound = R"("type":"dns","server":"198.51.100.10","server_port":443)",
     .endpoint = "LEAF_HAS_NO_REMOTE_ENDPOINT"},
    {.outbound = R"("type":"vless","server":"","server_port":443)", .endpoint = "ENDPOINT_MISSING"},
    {.outbound = R"("type":"vless","server":"198.51.100.10")", .endpoint = "ENDPOINT_MISSING"},
    {.outbound = R"("type":"vless","server":"node.example.net","server_port":70000)",
     .endpoint = "ENDPOINT_INVALID"},
    {.outbound = R"("type":"hysteria2","server":"198.51.100.10","server_ports":["20000:40000"])",
     .endpoint = "ENDPOINT_INVALID"},
    {.outbound = R"("type":"vless","server":"node.example.net","server_port":443)",
     .endpoint = "ENDPOINT_NOT_NUMERIC"},
    {.outbound = R"("type":"vless","server":"198.51.100.10","server_ports":["443","1:2"])",
     .endpoint = "ENDPOINT_NOT_SINGLETON"},
    {.outbound = R"("type":"vless","server":"198.51.100.10","server_port":443,)"
                 R"("server_ports":["443"])",
     .endpoint = "ENDPOINT_NOT_SINGLETON"},
    {.outbound = R"("type":"vless","server":"198.51.100.10","server_port":443,)"
                 R"("transport":{"type":"quic"})",
     .endpoint = "TRANSPORT_UNSUPPORTED"},
    {.outbound = R"("server":"198.51.100.10","server_port":443)", .endpoint = "TRANSPORT_UNKNOWN"},
    {.outbound = R"("type":"selector")", .endpoint = "SELECTOR_TRANSPORT_FAILED"},
    {.outbound = R"("detour":"proxy")", .endpoint = "DETOUR_CYCLE"},
    {.outbound = R"("detour":"nowhere")", .endpoint = "OUTBOUND_NOT_FOUND"},
});

TEST(ConfigToReport, EachOutboundGivesItsEndpointStatus) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.outbound);
    const std::string text =
        joined({R"({"route":{"auto_detect_interface":true},"outbounds":[{"tag":"proxy",)",
                row.outbound, "}]}"});
    const EgressReport report = diagnoseConfig(text);
    EXPECT_EQ(reportString(report, "configStatus"), "OK");
    EXPECT_EQ(reportString(report, "egressSelectionPolicy"), "singbox_auto_detect");
    EXPECT_EQ(reportString(report, "activeEndpointStatus"), row.endpoint);
    forEveryCut(text, [](std::string_view cut) {
      const std::string expected = cut.empty() ? "NO_CONFIG" : "JSON_PARSE_FAILED";
      EXPECT_EQ(reportString(diagnoseConfig(cut), "configStatus"), expected) << cut;
    });
  }
}

}  // namespace
}  // namespace egress::test
