#ifndef EGRESS_LIVE_LINUX_ADAPTERS_H
#define EGRESS_LIVE_LINUX_ADAPTERS_H

#include <vector>

#include "egress_live/linux/netlink_message.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

using Adapters = std::vector<snapshot::Adapter>;

// All interfaces of this network namespace with their unicast addresses, from rtnetlink, by index.
// interfaceMetric is 0: Linux has no interface metric. Throws EnumerationError.
[[nodiscard]] Adapters takeAdapters();

// The interfaces in the reply to RTM_GETLINK, by index, without addresses. Throws EnumerationError.
[[nodiscard]] Adapters linksIn(const NetlinkReply& reply);

// Adds the IPv4 and IPv6 addresses in the reply to RTM_GETADDR to their interfaces. Returns false
// if one of them has none. Throws EnumerationError.
[[nodiscard]] bool addAddresses(const NetlinkReply& reply, Adapters& adapters);

}  // namespace egress::live

#endif
