#include "egress/core/diagnose_egress.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "egress/config/classify_endpoint.h"
#include "egress/config/resolve_active_outbound.h"
#include "egress/core/interface_mapping.h"
#include "egress/core/select_interface.h"
#include "egress/core/socket_sources.h"

namespace egress {
namespace {

struct ReportedRoutes {
  DefaultRoutesStatus status = DefaultRoutesStatus::OK;
  std::vector<ReportRow> rows;
};

EgressSelectionPolicy policyOf(const DiagnosisInput& input) {
  using enum EgressSelectionPolicy;
  if (input.configStatus != ConfigStatus::OK) return unknown;
  return input.autoDetectInterface ? singbox_auto_detect : os_routed;
}

ActiveEndpoint endpointOf(const Resolution& resolution) {
  ActiveEndpoint endpoint{.status = resolution.status, .address = {}, .port = 0};
  if (resolution.leaf != nullptr) {
    endpoint.status = classifyEndpoint(*resolution.leaf, endpoint.address, endpoint.port);
  }
  return endpoint;
}

bool isHintStale(const std::string& selectorHint, const Resolution& resolution) {
  if (selectorHint.empty()) return false;
  const std::vector<std::string>& visited = resolution.visitedTags;
  return std::ranges::find(visited, selectorHint) == visited.end();
}

InterfacesStatus statusOf(const AdapterSnapshot& adapters) {
  using enum InterfacesStatus;
  return adapters.enumFailed ? ADAPTER_ENUM_FAILED : OK;
}

SocketSourcesStatus statusOf(const SocketSnapshot& sockets) {
  using enum SocketSourcesStatus;
  return sockets.enumFailed ? SOCKET_ENUM_FAILED : OK;
}

ReportScalar ordinalScalar(std::optional<std::int64_t> ordinal) {
  return ordinal ? integerScalar(*ordinal) : nullScalar();
}

std::vector<ReportRow> reportInterfaces(const AdapterSnapshot& adapters,
                                        const OrdinalTable& ordinalTable) {
  std::vector<ReportRow> rows;
  if (adapters.enumFailed) return rows;
  std::vector<const InterfaceRow*> sorted;
  sorted.reserve(adapters.rows.size());
  for (const InterfaceRow& adapter : adapters.rows) sorted.push_back(&adapter);
  // Rows of one index keep their order by their place in memory, not by a stable sort: that one
  // asks for a buffer, and when there is none, it says nothing and only becomes slow.
  std::ranges::sort(sorted, {}, [](const InterfaceRow* adapter) {
    return std::pair(adapter->interfaceIndex, adapter);
  });

  rows.reserve(sorted.size());
  for (const InterfaceRow* adapter : sorted) {
    ReportRow& row = rows.emplace_back();
    row.reserve(3);
    row.emplace_back("ordinal", ordinalScalar(ordinalOf(ordinalTable, adapter->interfaceIndex)));
    row.emplace_back("operStatus", integerScalar(adapter->operStatus));
    row.emplace_back("interfaceMetric", integerScalar(adapter->interfaceMetric));
  }
  return rows;
}

ReportRow reportRoute(const RouteRow& route, std::optional<std::int64_t> ordinal) {
  using enum InterfaceOrdinalStatus;
  ReportRow row;
  row.reserve(4);
  row.emplace_back("family", integerScalar(route.family));
  row.emplace_back("interfaceOrdinal", ordinalScalar(ordinal));
  row.emplace_back("interfaceOrdinalStatus",
                   stringScalar(toString(ordinal ? OK : ROUTE_INTERFACE_UNMAPPED)));
  row.emplace_back("routeMetric", integerScalar(route.routeMetric));
  return row;
}

// Only a good adapter snapshot can contradict a route; without one, routes are merely unmapped.
ReportedRoutes reportRoutes(const RouteSnapshot& routes, const AdapterSnapshot& adapters,
                            const OrdinalTable& ordinalTable) {
  using enum DefaultRoutesStatus;
  ReportedRoutes result;
  if (routes.enumFailed) {
    result.status = ROUTE_ENUM_FAILED;
    return result;
  }
  result.rows.reserve(routes.rows.size());
  for (const RouteRow& route : routes.rows) {
    std::optional<std::int64_t> ordinal;
    if (!adapters.enumFailed) {
      ordinal = ordinalOf(ordinalTable, route.interfaceIndex);
      if (!ordinal) result.status = SNAPSHOT_INCONSISTENT;
    }
    result.rows.push_back(reportRoute(route, ordinal));
  }
  return result;
}

// No socket and no source when either snapshot failed.
SocketSources socketSourcesOf(const DiagnosisInput& input, const ActiveEndpoint& endpoint,
                              const OrdinalTable& ordinalTable) {
  if (input.sockets.enumFailed || input.adapters.enumFailed) return {};
  const AddressTable addressTable = makeAddressTable(input.adapters, ordinalTable);
  return findSocketSources(input.sockets, endpoint, addressTable, ordinalTable);
}

// One row for each interface that a socket leaves through, wherever the socket goes.
std::vector<ReportRow> reportObservedSources(const SocketSources& sources) {
  std::vector<ReportRow> rows;
  for (std::size_t i = 0; i < sources.observed.size(); ++i) {
    if (sources.observed[i] == 0) continue;
    const auto ordinal = static_cast<std::int64_t>(i) + 1;
    rows.emplace_back().emplace_back("interfaceOrdinal", integerScalar(ordinal));
  }
  return rows;
}

template <typename Status>
void insertWord(EgressReport& report, std::string_view key, Status status) {
  insertMember(report, key, stringScalar(toString(status)));
}

}  // namespace

EgressReport diagnoseEgress(const DiagnosisInput& diagnosisInput) {
  const AdapterSnapshot& adapters = diagnosisInput.adapters;
  const SocketSnapshot& sockets = diagnosisInput.sockets;
  const bool configUsable = diagnosisInput.configStatus == ConfigStatus::OK;
  const Resolution resolution = configUsable ? resolveActiveOutbound(diagnosisInput) : Resolution{};
  const OrdinalTable ordinalTable = makeOrdinalTable(adapters);
  const ActiveEndpoint endpoint = configUsable ? endpointOf(resolution) : ActiveEndpoint{};
  const SocketSources sources = socketSourcesOf(diagnosisInput, endpoint, ordinalTable);
  const EgressSelectionPolicy policy = policyOf(diagnosisInput);
  const Selection selection = selectInterface({.policy = policy,
                                               .endpoint = endpoint.status,
                                               .socketsFailed = sockets.enumFailed,
                                               .adaptersFailed = adapters.enumFailed,
                                               .sources = sources.toEndpoint});
  ReportedRoutes routes = reportRoutes(diagnosisInput.routes, adapters, ordinalTable);

  EgressReport report;
  report.members.reserve(13);
  insertWord(report, "configStatus", diagnosisInput.configStatus);
  if (configUsable) {
    const bool enabled = diagnosisInput.autoDetectInterface;
    insertMember(report, "autoDetectInterfaceEnabled", booleanScalar(enabled));
  }
  insertWord(report, "egressSelectionPolicy", policy);
  insertWord(report, "activeEndpointStatus", endpoint.status);
  const bool hintStale = configUsable && isHintStale(diagnosisInput.selectorHint, resolution);
  insertMember(report, "selectorHintStale", booleanScalar(hintStale));
  insertMember(report, "selectedInterfaceOrdinal", ordinalScalar(selection.ordinal));
  insertWord(report, "selectionStatus", selection.status);
  insertWord(report, "interfacesStatus", statusOf(adapters));
  insertMember(report, "interfaces", reportInterfaces(adapters, ordinalTable));
  insertWord(report, "defaultRoutesStatus", routes.status);
  insertMember(report, "defaultRoutes", std::move(routes.rows));
  insertWord(report, "socketSourcesStatus", statusOf(sockets));
  insertMember(report, "observedSocketSources", reportObservedSources(sources));
  return report;
}

}  // namespace egress
