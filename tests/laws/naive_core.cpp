#include "tests/laws/naive_core.h"

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <utility>

#include "egress/config/numeric_address.h"
#include "egress/core/status_words.h"
#include "tests/support/report_builder.h"

namespace egress::test {
namespace {

struct TaggedRecords {
  std::map<std::string, std::size_t> outbounds;  // the first with each tag
  std::map<std::string, SelectorAnswer> answers;
};

TaggedRecords recordsByTag(const DiagnosisInput& input) {
  TaggedRecords records;
  for (std::size_t i = 0; i < input.outbounds.size(); ++i) {
    records.outbounds.emplace(input.outbounds[i].tag, i);  // keeps the first
  }
  for (const SelectorAnswer& answer : input.selectorAnswers) {
    records.answers.emplace(answer.selectorTag, answer);
  }
  return records;
}

NaiveWalk enter(const std::string& tag, std::vector<std::string> path, const TaggedRecords& records,
                const DiagnosisInput& input) {
  using enum ActiveEndpointStatus;
  const auto ended = [&path](ActiveEndpointStatus status, const std::string& sought) {
    return NaiveWalk{
        .status = status, .leaf = std::nullopt, .visitedTags = path, .soughtTag = sought};
  };
  if (!records.outbounds.contains(tag)) return ended(OUTBOUND_NOT_FOUND, tag);
  const std::size_t position = records.outbounds.at(tag);
  const Outbound& outbound = input.outbounds[position];
  path.push_back(tag);

  std::string next = outbound.detour;
  const bool selects = outbound.type == "selector" || outbound.type == "urltest";
  if (selects) {
    if (!records.answers.contains(tag)) return ended(SELECTOR_TRANSPORT_FAILED, tag);
    const SelectorAnswer& answer = records.answers.at(tag);
    const auto number = static_cast<std::int32_t>(answer.status);
    if (number == 1) return ended(SELECTOR_TRANSPORT_FAILED, tag);
    if (number == 2) return ended(SELECTOR_RESPONSE_MALFORMED, tag);
    if (number == 3 || answer.now.empty()) return ended(SELECTOR_NOW_MISSING, tag);
    next = answer.now;
  } else if (next.empty()) {
    return {.status = OK, .leaf = position, .visitedTags = path, .soughtTag = {}};
  }
  // "proxy" and eight steps.
  if (path.size() == 9) {
    return ended(selects ? SELECTOR_DEPTH_EXCEEDED : DETOUR_DEPTH_EXCEEDED, next);
  }
  if (std::set<std::string>(path.begin(), path.end()).contains(next)) {
    return ended(selects ? SELECTOR_CYCLE : DETOUR_CYCLE, next);
  }
  return enter(next, path, records, input);
}

// Ordinals number the distinct interface indexes from 1.
std::map<std::uint32_t, std::int64_t> ordinalsOf(const DiagnosisInput& input) {
  std::set<std::uint32_t> indexes;
  for (const InterfaceRow& row : input.adapters.rows) indexes.insert(row.interfaceIndex);
  std::map<std::uint32_t, std::int64_t> ordinals;
  for (const std::uint32_t index : indexes) {
    ordinals.emplace(index, static_cast<std::int64_t>(ordinals.size()) + 1);
  }
  return ordinals;
}

bool sameText(const std::string& a, const std::string& b) {
  return sameNumericAddress(parseNumericAddress(a), parseNumericAddress(b));
}

// The ordinals of all adapters that have the address.
std::set<std::int64_t> ownersOf(const std::string& address, const DiagnosisInput& input) {
  std::set<std::int64_t> owners;
  for (const InterfaceRow& row : input.adapters.rows) {
    for (const std::string& own : row.addresses) {
      if (sameText(own, address)) owners.insert(ordinalsOf(input).at(row.interfaceIndex));
    }
  }
  return owners;
}

struct NaiveSelection {
  SelectionStatus status = SelectionStatus::OK;
  ReportScalar ordinal;  // null unless OK
};

NaiveSelection selectNaively(const DiagnosisInput& input, EgressSelectionPolicy policy,
                             ActiveEndpointStatus endpoint, const Outbound* leaf) {
  using enum SelectionStatus;
  const auto none = [](SelectionStatus status) {
    return NaiveSelection{.status = status, .ordinal = {}};
  };
  if (policy == EgressSelectionPolicy::os_routed) return none(NOT_APPLICABLE_OS_ROUTED);
  if (endpoint != ActiveEndpointStatus::OK) return none(NOT_EVALUATED_ENDPOINT_UNAVAILABLE);
  if (input.sockets.enumFailed) return none(NOT_EVALUATED_SOCKET_ENUM_FAILED);
  if (input.adapters.enumFailed) return none(NOT_EVALUATED_ADAPTER_ENUM_FAILED);

  std::vector<std::set<std::int64_t>> sources;
  for (const SocketSource& socket : input.sockets.rows) {
    if (socket.remotePort == leaf->ports.at(0) && sameText(socket.remoteAddress, leaf->server)) {
      sources.push_back(ownersOf(socket.localAddress, input));
    }
  }
  if (sources.empty()) return none(NO_MATCHING_SOCKET);

  std::size_t unmapped = 0;
  std::size_t ambiguous = 0;
  std::set<std::int64_t> unique;
  for (const std::set<std::int64_t>& owners : sources) {
    if (owners.empty()) ++unmapped;
    if (owners.size() > 1) ++ambiguous;
    if (owners.size() == 1) unique.insert(*owners.begin());
  }
  if (ambiguous > 0) return none(ADDRESS_INTERFACE_AMBIGUOUS);
  if (unique.empty()) return none(SOCKET_SOURCE_ADDRESS_UNMAPPED);
  if (unmapped > 0) return none(PARTIAL_SOCKET_SOURCE_MAPPING);
  if (unique.size() > 1) return none(MULTIPLE_MATCHING_SOCKET_INTERFACES);
  return {.status = OK, .ordinal = integerScalar(*unique.begin())};
}

// Sorted by interface index. Rows with equal indexes keep the order of the snapshot, as in the real
// core, although it is unspecified.
std::vector<ReportRow> interfaceRows(const DiagnosisInput& input) {
  std::multimap<std::uint32_t, ReportRow> rows;  // keeps the order of equal keys
  if (input.adapters.enumFailed) return {};
  for (const InterfaceRow& row : input.adapters.rows) {
    rows.emplace(row.interfaceIndex,
                 ReportRow{{"ordinal", integerScalar(ordinalsOf(input).at(row.interfaceIndex))},
                           {"operStatus", integerScalar(row.operStatus)},
                           {"interfaceMetric", integerScalar(row.interfaceMetric)}});
  }
  std::vector<ReportRow> sorted;
  for (const auto& [index, row] : rows) sorted.push_back(row);
  return sorted;
}

std::vector<ReportRow> routeRows(const DiagnosisInput& input, bool& inconsistent) {
  std::vector<ReportRow> rows;
  if (input.routes.enumFailed) return rows;
  const auto ordinals = ordinalsOf(input);
  for (const RouteRow& route : input.routes.rows) {
    const bool known = ordinals.contains(route.interfaceIndex);
    const bool mapped = known && !input.adapters.enumFailed;
    if (!known && !input.adapters.enumFailed) inconsistent = true;
    rows.push_back(
        {{"family", integerScalar(route.family)},
         {"interfaceOrdinal",
          mapped ? integerScalar(ordinals.at(route.interfaceIndex)) : nullScalar()},
         {"interfaceOrdinalStatus", stringScalar(mapped ? "OK" : "ROUTE_INTERFACE_UNMAPPED")},
         {"routeMetric", integerScalar(route.routeMetric)}});
  }
  return rows;
}

std::vector<ReportRow> observedRows(const DiagnosisInput& input) {
  std::set<std::int64_t> observed;
  if (!input.sockets.enumFailed && !input.adapters.enumFailed) {
    for (const SocketSource& socket : input.sockets.rows) {
      const std::set<std::int64_t> owners = ownersOf(socket.localAddress, input);
      if (owners.size() == 1) observed.insert(*owners.begin());
    }
  }
  std::vector<ReportRow> rows;
  rows.reserve(observed.size());
  for (const std::int64_t ordinal : observed) {
    rows.push_back({{"interfaceOrdinal", integerScalar(ordinal)}});
  }
  return rows;
}

struct Rule {
  bool applies = false;
  ActiveEndpointStatus status = ActiveEndpointStatus::OK;
};

EgressSelectionPolicy policyOf(const DiagnosisInput& input) {
  if (input.configStatus != ConfigStatus::OK) return EgressSelectionPolicy::unknown;
  return input.autoDetectInterface ? EgressSelectionPolicy::singbox_auto_detect
                                   : EgressSelectionPolicy::os_routed;
}

}  // namespace

NaiveWalk naiveWalk(const DiagnosisInput& input) {
  return enter("proxy", {}, recordsByTag(input), input);
}

ActiveEndpointStatus naiveClassification(const Outbound& leaf) {
  using enum ActiveEndpointStatus;
  using Words = std::set<std::string>;
  const bool transportCounts = leaf.hasTransport && !leaf.transportType.empty();
  const std::array<Rule, 9> rules = {{
      {Words{"direct", "block", "dns"}.contains(leaf.type), LEAF_HAS_NO_REMOTE_ENDPOINT},
      {!leaf.hasServer || leaf.server.empty() || !leaf.portSpecified, ENDPOINT_MISSING},
      {leaf.portMalformed || leaf.ports.empty(), ENDPOINT_INVALID},
      {!parseNumericAddress(leaf.server).valid, ENDPOINT_NOT_NUMERIC},
      {leaf.portHopping || leaf.ports.size() != 1, ENDPOINT_NOT_SINGLETON},
      {Words{"hysteria", "hysteria2", "tuic"}.contains(leaf.type), TRANSPORT_UNSUPPORTED},
      {!Words{"vmess", "vless", "trojan", "anytls", "shadowsocks"}.contains(leaf.type),
       TRANSPORT_UNKNOWN},
      {transportCounts && leaf.transportType == "quic", TRANSPORT_UNSUPPORTED},
      {transportCounts && !Words{"ws", "grpc", "http"}.contains(leaf.transportType),
       TRANSPORT_UNKNOWN},
  }};
  for (const Rule& rule : rules) {
    if (rule.applies) return rule.status;
  }
  return OK;
}

EgressReport naiveReport(const DiagnosisInput& input) {
  const bool usable = input.configStatus == ConfigStatus::OK;
  const EgressSelectionPolicy policy = policyOf(input);
  auto endpoint = ActiveEndpointStatus::NOT_EVALUATED_CONFIG_UNAVAILABLE;
  const Outbound* leaf = nullptr;
  bool hintStale = false;
  if (usable) {
    const NaiveWalk walk = naiveWalk(input);
    endpoint = walk.status;
    if (walk.leaf) {
      leaf = &input.outbounds[*walk.leaf];
      endpoint = naiveClassification(*leaf);
    }
    const std::set<std::string> visited(walk.visitedTags.begin(), walk.visitedTags.end());
    hintStale = !input.selectorHint.empty() && !visited.contains(input.selectorHint);
  }
  const NaiveSelection selection = selectNaively(input, policy, endpoint, leaf);
  bool inconsistent = false;
  std::vector<ReportRow> routes = routeRows(input, inconsistent);
  const char* routesStatus = inconsistent ? "SNAPSHOT_INCONSISTENT" : "OK";
  if (input.routes.enumFailed) routesStatus = "ROUTE_ENUM_FAILED";

  EgressReport report;
  const auto word = [&report](const char* key, const char* value) {
    insertMember(report, key, stringScalar(value));
  };
  word("configStatus", toString(input.configStatus));
  if (usable) {
    insertMember(report, "autoDetectInterfaceEnabled", booleanScalar(input.autoDetectInterface));
  }
  word("egressSelectionPolicy", toString(policy));
  word("activeEndpointStatus", toString(endpoint));
  insertMember(report, "selectorHintStale", booleanScalar(hintStale));
  insertMember(report, "selectedInterfaceOrdinal", selection.ordinal);
  word("selectionStatus", toString(selection.status));
  word("interfacesStatus", input.adapters.enumFailed ? "ADAPTER_ENUM_FAILED" : "OK");
  insertMember(report, "interfaces", interfaceRows(input));
  word("defaultRoutesStatus", routesStatus);
  insertMember(report, "defaultRoutes", std::move(routes));
  word("socketSourcesStatus", input.sockets.enumFailed ? "SOCKET_ENUM_FAILED" : "OK");
  insertMember(report, "observedSocketSources", observedRows(input));
  return report;
}

}  // namespace egress::test
