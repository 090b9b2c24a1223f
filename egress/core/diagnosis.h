#ifndef EGRESS_CORE_DIAGNOSIS_H
#define EGRESS_CORE_DIAGNOSIS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "egress/config/numeric_address.h"
#include "egress/core/status_words.h"
#include "egress/export.h"

namespace egress {

// The tag of the outbound where the proxy engine's traffic enters and the walk to the leaf starts.
inline constexpr std::string_view kStartTag = "proxy";

// Maximum number of selectors and detours followed from there to the leaf. Real configurations have
// fewer.
inline constexpr std::size_t kMaxFollowSteps = 8;

// The walk to the leaf, the outbound that carries the traffic.
struct Resolution {
  ActiveEndpointStatus status = ActiveEndpointStatus::OUTBOUND_NOT_FOUND;
  std::optional<std::size_t> leaf;       // position in DiagnosisInput::outbounds; only on OK
  std::vector<std::string> visitedTags;  // of every outbound entered, in order; also on failure
  // What the walk looked for when it failed: the tag that no outbound has, the selector that gave
  // no choice, or the target that closed a cycle or was too deep. Empty on OK.
  std::string soughtTag;
};

// The remote end of the proxy engine's traffic.
struct ActiveEndpoint {
  ActiveEndpointStatus status = ActiveEndpointStatus::NOT_EVALUATED_CONFIG_UNAVAILABLE;
  NumericAddress address;  // valid only on OK
  std::uint32_t port = 0;  // 0 unless OK
};

// The interface that the sockets to the endpoint leave through.
struct Selection {
  SelectionStatus status = SelectionStatus::NOT_EVALUATED_ENDPOINT_UNAVAILABLE;
  std::optional<std::int64_t> ordinal;  // set only on OK
};

// One adapter row. Rows of one interface share its ordinal.
struct DiagnosedInterface {
  std::int64_t ordinal = 0;          // from 1, in the order of interfaceIndex
  std::uint32_t interfaceIndex = 0;  // the system's own; the report leaves it out
  std::int32_t operStatus = 0;
  std::uint32_t interfaceMetric = 0;
};

// One route row.
struct DiagnosedRoute {
  std::int32_t family = 0;
  std::optional<std::int64_t> interfaceOrdinal;  // set only if interfaceOrdinalStatus is OK
  InterfaceOrdinalStatus interfaceOrdinalStatus = InterfaceOrdinalStatus::ROUTE_INTERFACE_UNMAPPED;
  std::uint32_t routeMetric = 0;
};

// Everything that one diagnosis decides. Owns its data, and refers to the input only by position. A
// fresh one is the diagnosis of a fresh DiagnosisInput.
struct Diagnosis {
  ConfigStatus configStatus = ConfigStatus::NO_CONFIG;
  bool autoDetectInterface = false;  // meaningful only if configStatus is OK
  EgressSelectionPolicy policy = EgressSelectionPolicy::unknown;

  Resolution resolution;  // meaningful only if configStatus is OK
  ActiveEndpoint endpoint;
  bool selectorHintStale = false;  // the walk entered no outbound with the hint's tag

  Selection selection;

  // A failed snapshot has no rows here.
  InterfacesStatus interfacesStatus = InterfacesStatus::OK;
  std::vector<DiagnosedInterface> interfaces;  // by ordinal
  DefaultRoutesStatus defaultRoutesStatus = DefaultRoutesStatus::OK;
  std::vector<DiagnosedRoute> defaultRoutes;  // in snapshot order
  SocketSourcesStatus socketSourcesStatus = SocketSourcesStatus::OK;
  std::vector<std::int64_t> observedOrdinals;  // of every socket's interface; ascending, each once
};

// The system's index of the interface with this ordinal, or nothing if no interface has it.
[[nodiscard]] EGRESS_EXPORT std::optional<std::uint32_t> interfaceIndexOf(
    const Diagnosis& diagnosis, std::int64_t ordinal) noexcept;

}  // namespace egress

#endif
