// Fault injection: these functions replace those of the core and call the originals, which the
// build compiles under other names. EGRESS_TEST_FAULT names the one fault to inject; without it,
// the results are unchanged.

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "egress/config/classify_endpoint.h"
#include "egress/config/resolve_active_outbound.h"
#include "egress/core/select_interface.h"
#include "egress/egress.h"

namespace egress {

EgressReport realDiagnoseEgress(const DiagnosisInput& diagnosisInput);
Selection realSelectInterface(const SelectionInput& input) noexcept;
Resolution realResolveActiveOutbound(const DiagnosisInput& diagnosisInput);
ActiveEndpointStatus realClassifyEndpoint(const Outbound& leaf, NumericAddress& address,
                                          std::uint32_t& port) noexcept;
ProxyConfig realReadProxyConfig(std::string_view text, bool hasText);
SelectorAnswerStatus realReadSelectorAnswer(std::string_view text, std::string* now);

namespace {

constexpr std::string_view kRowStatusKey = "interfaceOrdinalStatus";

std::string_view fault() {
  const char* const name = std::getenv("EGRESS_TEST_FAULT");
  return name == nullptr ? "" : name;
}

bool isFault(std::string_view name) {
  return fault() == name;
}

// The name of the fault without `prefix`, or an empty text if it has another prefix.
std::string_view faultAfter(std::string_view prefix) {
  return fault().starts_with(prefix) ? fault().substr(prefix.size()) : "";
}

void forEachRow(EgressReport& report, void (*change)(ReportRow& row)) {
  for (ReportMember& member : report.members) {
    if (auto* const rows = std::get_if<std::vector<ReportRow>>(&member.value)) {
      std::ranges::for_each(*rows, change);
    }
  }
}

void dropKey(EgressReport& report, std::string_view key) {
  std::erase_if(report.members, [key](const ReportMember& member) { return member.key == key; });
}

void dropRowStatus(ReportRow& row) {
  std::erase_if(row, [](const auto& member) { return member.first == kRowStatusKey; });
}

ReportScalar* findScalar(EgressReport& report, std::string_view key) {
  const auto found = std::ranges::find(report.members, key, &ReportMember::key);
  return found == report.members.end() ? nullptr : std::get_if<ReportScalar>(&found->value);
}

void replaceRowStatus(EgressReport& report, std::string_view word) {
  for (ReportMember& member : report.members) {
    auto* const rows = std::get_if<std::vector<ReportRow>>(&member.value);
    if (rows == nullptr) continue;
    for (ReportRow& row : *rows) {
      for (auto& [key, scalar] : row) {
        if (key == kRowStatusKey) scalar = stringScalar(word);
      }
    }
  }
}

// Replaces the word of a key, given as "key=word".
void replaceStatus(EgressReport& report, std::string_view keyAndWord) {
  const std::size_t separator = keyAndWord.find('=');
  const std::string_view key = keyAndWord.substr(0, separator);
  const std::string_view word = keyAndWord.substr(separator + 1);
  if (key == kRowStatusKey) {
    replaceRowStatus(report, word);
  } else {
    *findScalar(report, key) = stringScalar(word);
  }
}

void replaceRowStatusByText(ReportRow& row) {
  for (auto& [key, scalar] : row) {
    if (scalar.stringValue == "ROUTE_INTERFACE_UNMAPPED") scalar = stringScalar("interface 99");
  }
}

void lowerOrdinals(ReportRow& row) {
  for (auto& [key, scalar] : row) {
    if (key == "ordinal" || key == "interfaceOrdinal") --scalar.intValue;
  }
}

void raiseIntegers(ReportRow& row) {
  for (auto& [key, scalar] : row) scalar.intValue += 1000;
}

void reverseInterfaces(EgressReport& report) {
  const auto found = std::ranges::find(report.members, "interfaces", &ReportMember::key);
  std::ranges::reverse(std::get<std::vector<ReportRow>>(found->value));
}

void dropLastRows(EgressReport& report) {
  for (ReportMember& member : report.members) {
    auto* const rows = std::get_if<std::vector<ReportRow>>(&member.value);
    if (rows != nullptr && !rows->empty()) rows->pop_back();
  }
}

void injectFault(EgressReport& report) {
  const std::string_view absent = faultAfter("absent ");
  const std::string_view replaced = faultAfter("replaced ");
  if (absent == kRowStatusKey) {
    forEachRow(report, dropRowStatus);
  } else if (!absent.empty()) {
    dropKey(report, absent);
  } else if (!replaced.empty()) {
    replaceStatus(report, replaced);
  } else if (isFault("free text in a member")) {
    ReportScalar& status = *findScalar(report, "interfacesStatus");
    if (status.stringValue != "OK") status = stringScalar("eth0 failed");
  } else if (isFault("free text in an unknown member")) {
    if (findScalar(report, "interfacesStatus")->stringValue != "OK") {
      report.members.push_back({.key = "note", .value = stringScalar("eth0 failed")});
    }
  } else if (isFault("policy word missing")) {
    ReportScalar& policy = *findScalar(report, "egressSelectionPolicy");
    if (policy.stringValue == "singbox_auto_detect") policy = stringScalar("unknown");
  } else if (isFault("free text in a row")) {
    forEachRow(report, replaceRowStatusByText);
  } else if (isFault("ordinals from 0")) {
    forEachRow(report, lowerOrdinals);
    --findScalar(report, "selectedInterfaceOrdinal")->intValue;
  } else if (isFault("row integers raised")) {
    forEachRow(report, raiseIntegers);
  } else if (isFault("interfaces unsorted")) {
    reverseInterfaces(report);
  } else if (isFault("last rows missing")) {
    dropLastRows(report);
  } else if (isFault("hint inverted")) {
    bool& stale = findScalar(report, "selectorHintStale")->boolValue;
    stale = !stale;
  } else if (isFault("flag always present")) {
    dropKey(report, "autoDetectInterfaceEnabled");
    report.members.push_back({.key = "autoDetectInterfaceEnabled", .value = booleanScalar(false)});
  } else if (isFault("only words")) {
    std::erase_if(report.members, [](const ReportMember& member) {
      const auto* const scalar = std::get_if<ReportScalar>(&member.value);
      return scalar == nullptr || scalar->kind != ReportKind::String;
    });
  }
}

}  // namespace

EgressReport diagnoseEgress(const DiagnosisInput& diagnosisInput) {
  DiagnosisInput input = diagnosisInput;
  if (isFault("socket port ignored")) {
    for (SocketSource& socket : input.sockets.rows) socket.remotePort = 443;
  }
  EgressReport report = realDiagnoseEgress(input);
  injectFault(report);
  return report;
}

Selection selectInterface(const SelectionInput& input) noexcept {
  SelectionInput changed = input;
  if (isFault("ambiguity rule dropped") && changed.matches.anyAmbiguous) {
    changed.matches.anyAmbiguous = false;
    changed.matches.anyUnmapped = true;
  }
  const Selection selection = realSelectInterface(changed);
  if (!isFault("partial rule dropped")) return selection;
  if (selection.status != SelectionStatus::PARTIAL_SOCKET_SOURCE_MAPPING) return selection;
  changed.matches.anyUnmapped = false;
  return realSelectInterface(changed);
}

Resolution resolveActiveOutbound(const DiagnosisInput& diagnosisInput) {
  Resolution resolution = realResolveActiveOutbound(diagnosisInput);
  if (isFault("step limit 7") && resolution.visitedTags.size() == kMaxFollowSteps + 1) {
    resolution.leaf.reset();
    if (resolution.status == ActiveEndpointStatus::OK) {
      resolution.status = ActiveEndpointStatus::SELECTOR_DEPTH_EXCEEDED;
    }
  }
  if (!isFault("walk ends one step early")) return resolution;
  if (!resolution.leaf || resolution.visitedTags.size() < 2) return resolution;
  resolution.visitedTags.pop_back();
  const auto leaf =
      std::ranges::find(diagnosisInput.outbounds, resolution.visitedTags.back(), &Outbound::tag);
  resolution.leaf = static_cast<std::size_t>(leaf - diagnosisInput.outbounds.begin());
  return resolution;
}

ActiveEndpointStatus classifyEndpoint(const Outbound& leaf, NumericAddress& address,
                                      std::uint32_t& port) noexcept {
  const ActiveEndpointStatus status = realClassifyEndpoint(leaf, address, port);
  if (!isFault("endpoint port rule dropped")) return status;
  if (status != ActiveEndpointStatus::ENDPOINT_INVALID) return status;
  // Later rules then see valid ports, but more than one.
  Outbound withoutRule = leaf;
  withoutRule.portMalformed = false;
  withoutRule.ports = {1, 2};
  return realClassifyEndpoint(withoutRule, address, port);
}

ProxyConfig readProxyConfig(std::string_view text, bool hasText) {
  ProxyConfig config = realReadProxyConfig(text, hasText);
  if (isFault("no outbounds read")) config.outbounds.clear();
  if (isFault("every port accepted")) {
    for (Outbound& outbound : config.outbounds) outbound.portMalformed = false;
  }
  if (isFault("no port range seen")) {
    for (Outbound& outbound : config.outbounds) outbound.portHopping = false;
  }
  if (isFault("configuration misread")) {
    const bool parseFailed = config.configStatus == ConfigStatus::JSON_PARSE_FAILED;
    config.configStatus = parseFailed ? ConfigStatus::NO_CONFIG : ConfigStatus::JSON_PARSE_FAILED;
    config.autoDetectInterface = !config.autoDetectInterface;
    for (Outbound& outbound : config.outbounds) {
      outbound.tag += '?';
      outbound.server += '?';
      outbound.detour += '?';
      outbound.transportType += '?';
      outbound.ports.push_back(1);
      outbound.portSpecified = false;
    }
  }
  return config;
}

SelectorAnswerStatus readSelectorAnswer(std::string_view text, std::string* now) {
  if (!isFault("answers misread")) return realReadSelectorAnswer(text, now);
  *now = "proxy";
  return SelectorAnswerStatus::TransportFailed;
}

}  // namespace egress
