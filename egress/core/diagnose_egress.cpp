#include "egress/core/diagnose_egress.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "egress/config/classify_endpoint.h"
#include "egress/config/resolve_active_outbound.h"
#include "egress/core/interface_mapping.h"
#include "egress/core/map_sockets.h"
#include "egress/core/select_interface.h"

namespace egress {
namespace {

// The configuration's part: policy, the walk to the endpoint, and whether the hint lies on it.
void diagnoseConfig(const DiagnosisInput& input, Diagnosis& diagnosis) {
  diagnosis.configStatus = input.configStatus;
  if (input.configStatus != ConfigStatus::OK) return;

  using enum EgressSelectionPolicy;
  diagnosis.autoDetectInterface = input.autoDetectInterface;
  diagnosis.policy = input.autoDetectInterface ? singbox_auto_detect : os_routed;

  diagnosis.resolution = resolveActiveOutbound(input);
  const Resolution& resolution = diagnosis.resolution;
  ActiveEndpoint& endpoint = diagnosis.endpoint;
  endpoint.status = resolution.status;
  if (resolution.leaf) {
    const Outbound& leaf = input.outbounds[*resolution.leaf];
    endpoint.status = classifyEndpoint(leaf, endpoint.address, endpoint.port);
  }

  const std::vector<std::string>& visited = resolution.visitedTags;
  diagnosis.selectorHintStale = !input.selectorHint.empty() &&
                                std::ranges::find(visited, input.selectorHint) == visited.end();
}

void diagnoseInterfaces(const AdapterSnapshot& adapters, const OrdinalTable& ordinalTable,
                        Diagnosis& diagnosis) {
  if (adapters.enumFailed) {
    diagnosis.interfacesStatus = InterfacesStatus::ADAPTER_ENUM_FAILED;
    return;
  }
  std::vector<const InterfaceRow*> sorted;
  sorted.reserve(adapters.rows.size());
  for (const InterfaceRow& row : adapters.rows) sorted.push_back(&row);
  // Ties break by row address: std::stable_sort silently slows down when its buffer cannot be
  // allocated.
  std::ranges::sort(sorted, {},
                    [](const InterfaceRow* row) { return std::pair(row->interfaceIndex, row); });

  std::vector<DiagnosedInterface>& interfaces = diagnosis.interfaces;
  interfaces.reserve(sorted.size());
  for (const InterfaceRow* row : sorted) {
    interfaces.push_back({.ordinal = ordinalOf(ordinalTable, row->interfaceIndex).value_or(0),
                          .interfaceIndex = row->interfaceIndex,
                          .operStatus = row->operStatus,
                          .interfaceMetric = row->interfaceMetric});
  }
}

// Only a good adapter snapshot can contradict a route; without one, routes are unmapped.
void diagnoseRoutes(const DiagnosisInput& input, const OrdinalTable& ordinalTable,
                    Diagnosis& diagnosis) {
  using enum DefaultRoutesStatus;
  if (input.routes.enumFailed) {
    diagnosis.defaultRoutesStatus = ROUTE_ENUM_FAILED;
    return;
  }
  diagnosis.defaultRoutes.reserve(input.routes.rows.size());
  for (const RouteRow& row : input.routes.rows) {
    DiagnosedRoute& route = diagnosis.defaultRoutes.emplace_back();
    route.family = row.family;
    route.routeMetric = row.routeMetric;
    if (input.adapters.enumFailed) continue;
    route.interfaceOrdinal = ordinalOf(ordinalTable, row.interfaceIndex);
    if (route.interfaceOrdinal) {
      route.interfaceOrdinalStatus = InterfaceOrdinalStatus::OK;
    } else {
      diagnosis.defaultRoutesStatus = SNAPSHOT_INCONSISTENT;
    }
  }
}

// The sources of all sockets, and the selection from those that go to the endpoint.
void diagnoseSockets(const DiagnosisInput& input, const OrdinalTable& ordinalTable,
                     Diagnosis& diagnosis) {
  const bool socketsFailed = input.sockets.enumFailed;
  const bool adaptersFailed = input.adapters.enumFailed;
  if (socketsFailed) diagnosis.socketSourcesStatus = SocketSourcesStatus::SOCKET_ENUM_FAILED;
  MappedSockets mapped;
  if (!socketsFailed && !adaptersFailed) {
    const AddressTable addressTable = makeAddressTable(input.adapters, ordinalTable);
    mapped = mapSockets(input.sockets, diagnosis.endpoint, addressTable, ordinalTable);
  }
  for (std::size_t i = 0; i < mapped.observed.size(); ++i) {
    if (mapped.observed[i] != 0) {
      diagnosis.observedOrdinals.push_back(static_cast<std::int64_t>(i) + 1);
    }
  }
  diagnosis.selection = selectInterface({.policy = diagnosis.policy,
                                         .endpoint = diagnosis.endpoint.status,
                                         .socketsFailed = socketsFailed,
                                         .adaptersFailed = adaptersFailed,
                                         .matches = mapped.matches});
}

}  // namespace

Diagnosis diagnose(const DiagnosisInput& diagnosisInput) {
  const OrdinalTable ordinalTable = makeOrdinalTable(diagnosisInput.adapters);
  Diagnosis diagnosis;
  diagnoseConfig(diagnosisInput, diagnosis);
  diagnoseInterfaces(diagnosisInput.adapters, ordinalTable, diagnosis);
  diagnoseRoutes(diagnosisInput, ordinalTable, diagnosis);
  diagnoseSockets(diagnosisInput, ordinalTable, diagnosis);
  return diagnosis;
}

EgressReport diagnoseEgress(const DiagnosisInput& diagnosisInput) {
  return writeReport(diagnose(diagnosisInput));
}

}  // namespace egress
