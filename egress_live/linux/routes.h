#ifndef EGRESS_LIVE_LINUX_ROUTES_H
#define EGRESS_LIVE_LINUX_ROUTES_H

#include <optional>
#include <vector>

#include "egress/core/diagnosis_input.h"
#include "egress_live/linux/netlink_message.h"
#include "egress_live/linux/next_hops.h"

namespace egress::live {

// The default routes (prefix length 0) of both families from all routing tables, from rtnetlink.
// Each next hop of a multipath route or of a group of next-hop objects gives one row. Only unicast
// routes are listed: unreachable, blackhole and similar routes have no interface. Throws
// EnumerationError.
[[nodiscard]] std::vector<RouteRow> takeDefaultRoutes();

// The default routes of a family, AF_INET or AF_INET6, in the reply to RTM_GETROUTE. Nothing if a
// route uses a next-hop object that is not in `nextHops`. Throws EnumerationError.
[[nodiscard]] std::optional<std::vector<RouteRow>> defaultRoutesIn(const NetlinkReply& reply,
                                                                   int family,
                                                                   const NextHops& nextHops);

}  // namespace egress::live

#endif
