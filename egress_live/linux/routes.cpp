#include "egress_live/linux/routes.h"

#include <algorithm>
#include <sys/socket.h>

#include <linux/rtnetlink.h>

#include "egress_live/linux/netlink_dump.h"

namespace egress::live {
namespace {

using Rows = std::vector<RouteRow>;

// RTNH_OK of <linux/rtnetlink.h> reads the length of a next hop before it checks that it is there.
void addNextHops(std::span<const std::byte> hops, RouteRow row, Rows& rows) {
  while (!hops.empty()) {
    rtnexthop hop{};
    if (hops.size() >= sizeof(hop)) std::memcpy(&hop, hops.data(), sizeof(hop));
    if (hop.rtnh_len < sizeof(hop) || hop.rtnh_len > hops.size()) {
      throw EnumerationError("a next hop of a default route is cut off");
    }
    row.interfaceIndex = static_cast<std::uint32_t>(hop.rtnh_ifindex);
    rows.push_back(row);
    hops = hops.subspan(std::min(aligned(hop.rtnh_len), hops.size()));
  }
}

// A kernel that lacks the requested family dumps the routes of all families.
void addRoute(const nlmsghdr& message, int family, Rows& rows) {
  const auto& route = payloadOf<rtmsg>(message);
  if (route.rtm_family != family) return;
  if (route.rtm_dst_len != 0 || route.rtm_type != RTN_UNICAST) return;
  const auto attribute = [&](std::uint16_t type) {
    return findAttribute(message, sizeof(route), type);
  };
  RouteRow row{.family = family == AF_INET ? 4 : 6};
  if (const nlattr* const metric = attribute(RTA_PRIORITY)) {
    row.routeMetric = valueOf<std::uint32_t>(*metric);
  }
  if (const nlattr* const multipath = attribute(RTA_MULTIPATH)) {
    addNextHops(bytesOf(*multipath), row, rows);
    return;
  }
  const nlattr* const interfaceIndex = attribute(RTA_OIF);
  if (interfaceIndex == nullptr) {
    throw EnumerationError("a default route has no interface");
  }
  row.interfaceIndex = valueOf<std::uint32_t>(*interfaceIndex);
  rows.push_back(row);
}

Rows takeRoutes(std::string_view what, int family) {
  rtmsg request{};
  request.rtm_family = static_cast<unsigned char>(family);
  return defaultRoutesIn(dumpNetlink(what, NETLINK_ROUTE, RTM_GETROUTE, request), family);
}

}  // namespace

Rows defaultRoutesIn(const NetlinkReply& reply, int family) {
  Rows rows;
  forEachMessage(reply.bytes, [&](const nlmsghdr& message) { addRoute(message, family, rows); });
  return rows;
}

Rows takeDefaultRoutes() {
  Rows rows = takeRoutes("IPv4", AF_INET);
  const Rows ipv6 = takeRoutes("IPv6", AF_INET6);
  rows.insert(rows.end(), ipv6.begin(), ipv6.end());
  return rows;
}

}  // namespace egress::live
