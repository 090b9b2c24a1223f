#ifndef EGRESS_CORE_SELECT_INTERFACE_H
#define EGRESS_CORE_SELECT_INTERFACE_H

#include <cstdint>
#include <optional>

#include "egress/core/socket_sources.h"
#include "egress/core/status_words.h"
#include "egress/export.h"

namespace egress {

// What the selection looks at.
struct SelectionInput {
  EgressSelectionPolicy policy = EgressSelectionPolicy::unknown;
  ActiveEndpointStatus endpoint = ActiveEndpointStatus::NOT_EVALUATED_CONFIG_UNAVAILABLE;
  bool socketsFailed = false;
  bool adaptersFailed = false;
  EndpointSources sources;
};

struct Selection {
  SelectionStatus status = SelectionStatus::NO_MATCHING_SOCKET;
  std::optional<std::int64_t> ordinal;  // set only when status is OK
};

// The interface through which the sockets to the endpoint leave, or the first reason why there is
// not exactly one. Routes, metrics and operational states play no part.
[[nodiscard]] EGRESS_EXPORT Selection selectInterface(const SelectionInput& input) noexcept;

}  // namespace egress

#endif
