#ifndef EGRESS_EXAMPLES_LINUX_HOST_ROUTES_H
#define EGRESS_EXAMPLES_LINUX_HOST_ROUTES_H

#include <vector>

#include "egress/core/diagnosis_input.h"

namespace linux_host {

// The default routes (destination length 0) of both families from all routing tables, from
// rtnetlink; each next hop of a multipath route is a row of its own. Routes that lead nowhere
// (unreachable, blackhole, ...) leave through no interface and are no rows. Throws
// EnumerationError, also for a route whose interface the kernel does not name.
[[nodiscard]] std::vector<egress::RouteRow> takeDefaultRoutes();

}  // namespace linux_host

#endif
