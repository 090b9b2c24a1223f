#ifndef EGRESS_EXAMPLES_LINUX_HOST_ROUTES_H
#define EGRESS_EXAMPLES_LINUX_HOST_ROUTES_H

#include <vector>

#include "egress/core/diagnosis_input.h"

namespace linux_host {

// The default routes (prefix length 0) of both families from all routing tables, from rtnetlink.
// Each next hop of a multipath route gives one row. Only unicast routes are listed: unreachable,
// blackhole and similar routes have no interface. Throws EnumerationError, also if a route has no
// RTA_OIF.
[[nodiscard]] std::vector<egress::RouteRow> takeDefaultRoutes();

}  // namespace linux_host

#endif
