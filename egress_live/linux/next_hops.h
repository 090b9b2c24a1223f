#ifndef EGRESS_LIVE_LINUX_NEXT_HOPS_H
#define EGRESS_LIVE_LINUX_NEXT_HOPS_H

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "egress_live/linux/netlink_message.h"

namespace egress::live {

// A next-hop object (ip-nexthop(8)). Routes refer to it by ID; if net.ipv4.nexthop_compat_mode is
// 0, the kernel lists such a route without its interfaces.
struct NextHop {
  std::optional<std::uint32_t> interfaceIndex;  // nothing: a group, or a blackhole
  std::vector<std::uint32_t> members;           // IDs of the objects in a group
};
using NextHops = std::map<std::uint32_t, NextHop>;  // by ID

// All next-hop objects of this network namespace, from rtnetlink. Throws EnumerationError, also if
// the kernel has none (Linux before 5.3).
[[nodiscard]] NextHops takeNextHops();

// The next-hop objects in the reply to RTM_GETNEXTHOP. Throws EnumerationError.
[[nodiscard]] NextHops nextHopsIn(const NetlinkReply& reply);

// The interfaces that the object with this ID leads to; none for a blackhole. Nothing if the object
// or a member is not there.
[[nodiscard]] std::optional<std::vector<std::uint32_t>> interfacesOf(std::uint32_t id,
                                                                     const NextHops& nextHops);

}  // namespace egress::live

#endif
