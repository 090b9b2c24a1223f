#ifndef EGRESS_CORE_SELECT_INTERFACE_H
#define EGRESS_CORE_SELECT_INTERFACE_H

#include "egress/core/diagnosis.h"
#include "egress/core/map_sockets.h"

namespace egress {

// What the selection depends on.
struct SelectionInput {
  EgressSelectionPolicy policy = EgressSelectionPolicy::unknown;
  ActiveEndpointStatus endpoint = ActiveEndpointStatus::NOT_EVALUATED_CONFIG_UNAVAILABLE;
  bool socketsFailed = false;
  bool adaptersFailed = false;
  MatchSummary matches;
};

// The interface that the sockets to the endpoint leave through, or the first reason why there is
// not exactly one. Does not depend on routes, metrics and operational states.
[[nodiscard]] Selection selectInterface(const SelectionInput& input) noexcept;

}  // namespace egress

#endif
