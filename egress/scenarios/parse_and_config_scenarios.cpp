#include <array>

#include "egress/scenarios/scenarios.h"
#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_check.h"
#include "egress/selfcheck/report_readers.h"

namespace egress {
namespace {

constexpr std::string_view kHoppingText =
    R"({"route":{"auto_detect_interface":true},"outbounds":[{"type":"hysteria2","tag":"proxy",)"
    R"("server":"198.51.100.10","server_ports":["20000:40000"]}]})";
constexpr std::string_view kTransportText =
    R"({"route":{"auto_detect_interface":false},"outbounds":[{"type":"vmess","tag":"proxy",)"
    R"("server":"198.51.100.10","server_port":443,"detour":"front",)"
    R"("transport":{"type":"ws","path":"/ray"}}]})";
constexpr std::string_view kBadPortText =
    R"({"route":{"auto_detect_interface":true},"outbounds":[{"type":"vmess","tag":"proxy",)"
    R"("server":"198.51.100.10","server_port":70000}]})";
constexpr std::string_view kOkText =
    R"({"route":{"auto_detect_interface":true},"outbounds":[{"type":"shadowsocks","tag":"proxy",)"
    R"("server":"198.51.100.10","server_port":443}]})";

struct ConfigFailureCase {
  std::string_view label;
  std::string_view text;
  bool hasText = true;
  std::string_view configStatus;
};

constexpr auto kConfigFailures = std::to_array<ConfigFailureCase>({
    {.label = "config/no-config", .text = "", .hasText = false, .configStatus = "NO_CONFIG"},
    {.label = "config/parse-failed", .text = R"({"route": )", .configStatus = "JSON_PARSE_FAILED"},
    {.label = "config/auto-detect-missing",
     .text = R"({"route":{}})",
     .configStatus = "AUTO_DETECT_MISSING"},
    {.label = "config/auto-detect-invalid",
     .text = R"({"route":{"auto_detect_interface":"true"}})",
     .configStatus = "AUTO_DETECT_INVALID"},
});

// The only outbound of a configuration, or nullptr if it does not have exactly one.
const Outbound* onlyOutbound(const ProxyConfig& config) {
  return config.outbounds.size() == 1 ? &config.outbounds.front() : nullptr;
}

void runParseHopping(CheckRecorder& recorder) {
  const ProxyConfig config = readProxyConfig(kHoppingText, /*hasText=*/true);
  const Outbound* const outbound = onlyOutbound(config);
  recordCheck(recorder, config.configStatus == ConfigStatus::OK, "parse/hopping status");
  recordCheck(recorder, outbound != nullptr && outbound->portSpecified && outbound->portHopping,
              "parse/hopping port range");
}

void runParseTransport(CheckRecorder& recorder) {
  const ProxyConfig config = readProxyConfig(kTransportText, /*hasText=*/true);
  const Outbound* const outbound = onlyOutbound(config);
  recordCheck(recorder, config.configStatus == ConfigStatus::OK, "parse/transport status");
  recordCheck(recorder, !config.autoDetectInterface, "parse/transport auto_detect false");
  recordCheck(recorder, outbound != nullptr, "parse/transport count");
  if (outbound == nullptr) return;
  checkEqual(recorder, outbound->transportType, "ws", "parse/transport type");
  checkEqual(recorder, outbound->detour, "front", "parse/transport detour");
}

void runParseBadPort(CheckRecorder& recorder) {
  const ProxyConfig config = readProxyConfig(kBadPortText, /*hasText=*/true);
  const Outbound* const outbound = onlyOutbound(config);
  recordCheck(recorder, outbound != nullptr && outbound->portSpecified && outbound->portMalformed,
              "parse/bad-port malformed");
}

void runParseOk(CheckRecorder& recorder, const ProxyConfig& config) {
  const Outbound* const outbound = onlyOutbound(config);
  recordCheck(recorder, config.configStatus == ConfigStatus::OK, "parse/ok status");
  recordCheck(recorder, config.autoDetectInterface, "parse/ok auto_detect true");
  recordCheck(recorder, outbound != nullptr, "parse/ok outbound count");
  if (outbound == nullptr) return;
  checkEqual(recorder, outbound->tag, "proxy", "parse/ok tag");
  checkEqual(recorder, outbound->server, "198.51.100.10", "parse/ok server");
  recordCheck(recorder, outbound->ports == std::vector<std::uint32_t>{443}, "parse/ok port");
}

void runConfigOk(SelfCheckRun& run, const ProxyConfig& config) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
  setProxyConfig(input, config);
  input.sockets.rows.push_back(makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443));
  const EgressReport report = diagnoseAndAudit(run, "config/ok", input);
  checkReport(run.recorder, report,
              {.label = "config/ok status", .key = "configStatus", .expected = IsWord{"OK"}});
  checkReport(run.recorder, report,
              {.label = "config/ok autoDetectInterfaceEnabled true",
               .key = "autoDetectInterfaceEnabled",
               .expected = IsBoolean{true}});
}

void runConfigFailure(SelfCheckRun& run, const ConfigFailureCase& row) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
  setProxyConfig(input, readProxyConfig(row.text, row.hasText));
  const EgressReport report = diagnoseAndAudit(run, row.label, input);
  const auto label = [&row](std::string_view suffix) {
    return std::string(row.label) + std::string(suffix);
  };
  checkEqual(run.recorder, reportString(report, "configStatus"), row.configStatus,
             label(" configStatus"));
  checkEqual(run.recorder, reportString(report, "egressSelectionPolicy"), "unknown",
             label(" policy"));
  checkEqual(run.recorder, reportString(report, "activeEndpointStatus"),
             "NOT_EVALUATED_CONFIG_UNAVAILABLE", label(" endpoint"));
  recordCheck(run.recorder, findReportMember(report, "autoDetectInterfaceEnabled") == nullptr,
              label(" autoDetectInterfaceEnabled omitted"));
}

}  // namespace

void runParseScenarios(SelfCheckRun& run) {
  runParseHopping(run.recorder);
  runParseTransport(run.recorder);
  runParseBadPort(run.recorder);
}

void runConfigScenarios(SelfCheckRun& run) {
  const ProxyConfig config = readProxyConfig(kOkText, /*hasText=*/true);
  runParseOk(run.recorder, config);
  runConfigOk(run, config);
  for (const ConfigFailureCase& row : kConfigFailures) runConfigFailure(run, row);
}

}  // namespace egress
