#include "examples/linux-host/routes.h"

#include <sys/socket.h>

#include <linux/rtnetlink.h>

#include "examples/linux-host/netlink.h"

namespace linux_host {
namespace {

using Rows = std::vector<egress::RouteRow>;

void addNextHops(const nlattr& multipath, egress::RouteRow row, Rows& rows) {
  const auto* hop = static_cast<const rtnexthop*>(mnl_attr_get_payload(&multipath));
  auto left = static_cast<int>(mnl_attr_get_payload_len(&multipath));
  for (; RTNH_OK(hop, left); hop = RTNH_NEXT(hop)) {
    row.interfaceIndex = static_cast<std::uint32_t>(hop->rtnh_ifindex);
    rows.push_back(row);
    left -= static_cast<int>(RTNH_ALIGN(hop->rtnh_len));
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
  egress::RouteRow row{.family = family == AF_INET ? 4 : 6};
  if (const nlattr* const metric = attribute(RTA_PRIORITY)) {
    row.routeMetric = valueOf<std::uint32_t>(*metric);
  }
  if (const nlattr* const multipath = attribute(RTA_MULTIPATH)) {
    addNextHops(*multipath, row, rows);
    return;
  }
  const nlattr* const interfaceIndex = attribute(RTA_OIF);
  if (interfaceIndex == nullptr) {
    throw EnumerationError("a default route has no interface");
  }
  row.interfaceIndex = valueOf<std::uint32_t>(*interfaceIndex);
  rows.push_back(row);
}

void addRoutes(const std::string& what, int family, Rows& rows) {
  rtmsg request{};
  request.rtm_family = static_cast<unsigned char>(family);
  forEachMessage(dumpNetlink(what, NETLINK_ROUTE, RTM_GETROUTE, request),
                 [&](const nlmsghdr& message) { addRoute(message, family, rows); });
}

}  // namespace

Rows takeDefaultRoutes() {
  Rows rows;
  addRoutes("IPv4", AF_INET, rows);
  addRoutes("IPv6", AF_INET6, rows);
  return rows;
}

}  // namespace linux_host
