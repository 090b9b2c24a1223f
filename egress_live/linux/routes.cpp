#include "egress_live/linux/routes.h"

#include <algorithm>
#include <sys/socket.h>

#include <linux/rtnetlink.h>

#include "egress_live/linux/netlink_dump.h"

namespace egress::live {
namespace {

// A next-hop object removed between the two dumps is missing; both are then repeated.
constexpr int kAttempts = 5;

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

// Adds the rows of a route. Returns false if it uses a next-hop object that is not there. A kernel
// that lacks the requested family dumps the routes of all families.
bool addRoute(const nlmsghdr& message, int family, const NextHops& nextHops, Rows& rows) {
  const auto& route = payloadOf<rtmsg>(message);
  if (route.rtm_family != family) return true;
  if (route.rtm_dst_len != 0 || route.rtm_type != RTN_UNICAST) return true;
  const auto attribute = [&](std::uint16_t type) {
    return findAttribute(message, sizeof(route), type);
  };
  RouteRow row{.family = family == AF_INET ? 4 : 6};
  if (const nlattr* const metric = attribute(RTA_PRIORITY)) {
    row.routeMetric = valueOf<std::uint32_t>(*metric);
  }
  if (const nlattr* const multipath = attribute(RTA_MULTIPATH)) {
    addNextHops(bytesOf(*multipath), row, rows);
    return true;
  }
  if (const nlattr* const interfaceIndex = attribute(RTA_OIF)) {
    row.interfaceIndex = valueOf<std::uint32_t>(*interfaceIndex);
    rows.push_back(row);
    return true;
  }
  const nlattr* const object = attribute(RTA_NH_ID);
  if (object == nullptr) throw EnumerationError("a default route has no interface");
  const auto interfaces = interfacesOf(valueOf<std::uint32_t>(*object), nextHops);
  for (const std::uint32_t interfaceIndex : interfaces.value_or(std::vector<std::uint32_t>())) {
    row.interfaceIndex = interfaceIndex;
    rows.push_back(row);
  }
  return interfaces.has_value();
}

Rows takeRoutes(std::string_view what, int family) {
  rtmsg request{};
  request.rtm_family = static_cast<unsigned char>(family);
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const NetlinkReply reply = dumpNetlink(what, NETLINK_ROUTE, RTM_GETROUTE, request);
    if (auto rows = defaultRoutesIn(reply, family, NextHops())) return *std::move(rows);
    if (auto rows = defaultRoutesIn(reply, family, takeNextHops())) return *std::move(rows);
  }
  throw EnumerationError("a next hop of a default route was removed during every attempt");
}

}  // namespace

std::optional<Rows> defaultRoutesIn(const NetlinkReply& reply, int family,
                                    const NextHops& nextHops) {
  Rows rows;
  bool isComplete = true;
  forEachMessage(reply.bytes, [&](const nlmsghdr& message) {
    isComplete = addRoute(message, family, nextHops, rows) && isComplete;
  });
  if (!isComplete) return std::nullopt;
  return rows;
}

Rows takeDefaultRoutes() {
  Rows rows = takeRoutes("IPv4", AF_INET);
  const Rows ipv6 = takeRoutes("IPv6", AF_INET6);
  rows.insert(rows.end(), ipv6.begin(), ipv6.end());
  return rows;
}

}  // namespace egress::live
