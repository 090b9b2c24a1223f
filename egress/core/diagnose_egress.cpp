#include "egress/core/diagnose_egress.h"

#include "egress/config/classify_endpoint.h"
#include "egress/config/resolve_active_outbound.h"
#include "egress/core/interface_mapping.h"
#include "egress/core/select_interface.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace egress {
namespace {

struct RouteRows {
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

ReportScalar ordinalScalar(std::optional<std::int64_t> ordinal) {
  return ordinal ? integerScalar(*ordinal) : nullScalar();
}

std::vector<ReportRow> interfaceRows(const AdapterSnapshot& adapters,
                                     const OrdinalTable& ordinalTable) {
  std::vector<ReportRow> rows;
  if (adapters.enumFailed) return rows;
  std::vector<const InterfaceRow*> sorted;
  sorted.reserve(adapters.rows.size());
  for (const InterfaceRow& adapter : adapters.rows) sorted.push_back(&adapter);
  std::ranges::stable_sort(sorted, {}, &InterfaceRow::interfaceIndex);

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

ReportRow routeRow(const RouteRow& route, std::optional<std::int64_t> ordinal) {
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
RouteRows routeRows(const RouteSnapshot& routes, const AdapterSnapshot& adapters,
                    const OrdinalTable& ordinalTable) {
  using enum DefaultRoutesStatus;
  RouteRows result;
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
    result.rows.push_back(routeRow(route, ordinal));
  }
  return result;
}

// Every socket with the interface of its source address, or none when either snapshot failed.
std::vector<MappedSocket> mapSockets(const DiagnosisInput& input,
                                     const OrdinalTable& ordinalTable) {
  std::vector<MappedSocket> sockets;
  if (input.sockets.enumFailed || input.adapters.enumFailed) return sockets;
  const AddressTable addressTable = makeAddressTable(input.adapters, ordinalTable);
  sockets.reserve(input.sockets.rows.size());
  for (const SocketSource& row : input.sockets.rows) {
    sockets.push_back({.source = mapAddressToInterface(addressTable, row.localAddress),
                       .remoteAddress = row.remoteAddress,
                       .remotePort = row.remotePort});
  }
  return sockets;
}

// One row for each interface that a socket leaves through, wherever the socket goes.
std::vector<ReportRow> observedSourceRows(const std::vector<MappedSocket>& sockets,
                                          const OrdinalTable& ordinalTable) {
  std::vector<bool> observed(ordinalTable.interfaceIndexes.size() + 1);
  for (const MappedSocket& socket : sockets) {
    if (socket.source.kind == MappingKind::Unique) {
      observed[static_cast<std::size_t>(socket.source.ordinal)] = true;
    }
  }
  std::vector<ReportRow> rows;
  for (std::size_t ordinal = 1; ordinal < observed.size(); ++ordinal) {
    if (!observed[ordinal]) continue;
    rows.emplace_back().emplace_back("interfaceOrdinal",
                                     integerScalar(static_cast<std::int64_t>(ordinal)));
  }
  return rows;
}

}  // namespace

EgressReport diagnoseEgress(const DiagnosisInput& diagnosisInput) {
  const bool configUsable = diagnosisInput.configStatus == ConfigStatus::OK;
  const AdapterSnapshot& adapters = diagnosisInput.adapters;
  const bool socketsFailed = diagnosisInput.sockets.enumFailed;

  const EgressSelectionPolicy policy = policyOf(diagnosisInput);
  ActiveEndpoint endpoint;
  bool hintStale = false;
  if (configUsable) {
    const Resolution resolution = resolveActiveOutbound(diagnosisInput);
    endpoint = endpointOf(resolution);
    hintStale = isHintStale(diagnosisInput.selectorHint, resolution);
  }

  const OrdinalTable ordinalTable = makeOrdinalTable(adapters);
  RouteRows routes = routeRows(diagnosisInput.routes, adapters, ordinalTable);
  std::vector<MappedSocket> sockets = mapSockets(diagnosisInput, ordinalTable);
  std::vector<ReportRow> observedSources = observedSourceRows(sockets, ordinalTable);
  const Selection selection = selectInterface({.policy = policy,
                                               .endpoint = endpoint,
                                               .socketsFailed = socketsFailed,
                                               .adaptersFailed = adapters.enumFailed,
                                               .sockets = std::move(sockets)});

  EgressReport report;
  const auto insertWord = [&report](std::string_view key, auto status) {
    insertMember(report, key, stringScalar(toString(status)));
  };
  report.members.reserve(13);
  insertWord("configStatus", diagnosisInput.configStatus);
  if (configUsable) {
    insertMember(report, "autoDetectInterfaceEnabled",
                 booleanScalar(diagnosisInput.autoDetectInterface));
  }
  insertWord("egressSelectionPolicy", policy);
  insertWord("activeEndpointStatus", endpoint.status);
  insertMember(report, "selectorHintStale", booleanScalar(hintStale));
  insertMember(report, "selectedInterfaceOrdinal", ordinalScalar(selection.ordinal));
  insertWord("selectionStatus", selection.status);
  insertWord("interfacesStatus",
             adapters.enumFailed ? InterfacesStatus::ADAPTER_ENUM_FAILED : InterfacesStatus::OK);
  insertMember(report, "interfaces", interfaceRows(adapters, ordinalTable));
  insertWord("defaultRoutesStatus", routes.status);
  insertMember(report, "defaultRoutes", std::move(routes.rows));
  insertWord("socketSourcesStatus",
             socketsFailed ? SocketSourcesStatus::SOCKET_ENUM_FAILED : SocketSourcesStatus::OK);
  insertMember(report, "observedSocketSources", std::move(observedSources));
  return report;
}

}  // namespace egress
