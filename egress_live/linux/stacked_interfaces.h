#ifndef EGRESS_LIVE_LINUX_STACKED_INTERFACES_H
#define EGRESS_LIVE_LINUX_STACKED_INTERFACES_H

#include <cstdint>
#include <set>
#include <utility>

#include "egress_live/linux/netlink_message.h"

namespace egress::live {

// Which interfaces pass their packets on to which others of this network namespace, as a bridge or
// a bond does to its ports, and a VLAN or a macvlan to its link: pairs of lower and upper index.
using StackedInterfaces = std::set<std::pair<std::uint32_t, std::uint32_t>>;

// From rtnetlink. Throws EnumerationError.
[[nodiscard]] StackedInterfaces takeStackedInterfaces();

// Those in the reply to RTM_GETLINK. The two ends of a veth, which name each other, are not
// stacked. Throws EnumerationError.
[[nodiscard]] StackedInterfaces stackedInterfacesIn(const NetlinkReply& reply);

}  // namespace egress::live

#endif
