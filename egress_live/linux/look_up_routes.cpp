#include "egress_live/look_up_routes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <sys/socket.h>
#include <variant>
#include <vector>

#include <linux/rtnetlink.h>

#include "egress_live/linux/netlink_dump.h"
#include "egress_live/linux/route_lookup.h"
#include "egress_live/linux/routing_rules.h"
#include "egress_snapshot/cross_check.h"

namespace egress::live {
namespace {

using snapshot::HostSnapshot;
using snapshot::MissingFact;
using snapshot::Socket;

// The index of the interface that a look-up found, 0 if the system has no route, or why it failed.
using FoundRoute = std::variant<std::uint32_t, std::string>;

using Request = std::vector<std::byte>;
// Any order. g++ 12 warns of an overread in that of vectors.
struct IsBefore {
  bool operator()(const Request& a, const Request& b) const {
    if (a.size() != b.size()) return a.size() < b.size();
    return std::memcmp(a.data(), b.data(), a.size()) < 0;
  }
};
using FoundRoutes = std::map<Request, FoundRoute, IsBefore>;

// Whether the kernel chooses among several next hops by the ports, too. If that cannot be known,
// for example because the kernel has no such routes, it counts as yes: that only costs look-ups.
bool hashesPorts(int family) {
  std::ifstream setting(family == AF_INET ? "/proc/sys/net/ipv4/fib_multipath_hash_policy"
                                          : "/proc/sys/net/ipv6/fib_multipath_hash_policy");
  int policy = 0;
  return !(setting >> policy) || policy != 0;
}

FoundRoute lookUp(const Request& request) {
  try {
    const NetlinkReply reply =
        requestNetlink("route look-up", NETLINK_ROUTE, RTM_GETROUTE, request);
    return routeInterfaceIn(reply);
  } catch (const KernelError& error) {
    if (meansNoRoute(error.errorNumber)) return std::uint32_t{0};
    return error.what();
  } catch (const EnumerationError& error) {
    return error.what();
  }
}

// The interface of the route that a request finds. Throws EnumerationError if it fails.
std::uint32_t interfaceFor(const Request& request, FoundRoutes& found) {
  auto route = found.find(request);
  if (route == found.end()) route = found.emplace(request, lookUp(request)).first;
  if (const auto* const reason = std::get_if<std::string>(&route->second)) {
    throw EnumerationError(*reason);
  }
  return std::get<std::uint32_t>(route->second);
}

// The route of a socket that is bound to a device, over IPv6. Its packets leave through the device,
// but the look-up prefers other routes with a lower metric if it is given a source address, too.
// Without one it keeps to the device, but passes over the rules for source addresses.
std::uint32_t boundRouteOf(const Socket& socket, const RuleSelectors& selectors,
                           FoundRoutes& found) {
  const auto interfaceOf = [&](bool withSource) {
    const RequestParts parts{.source = withSource, .ports = selectors.ports};
    return interfaceFor(routeRequestFor(socket, parts), found);
  };
  if (interfaceOf(/*withSource=*/true) == socket.boundInterfaceIndex) {
    return *socket.boundInterfaceIndex;
  }
  const std::uint32_t interfaceIndex = interfaceOf(/*withSource=*/false);
  if (interfaceIndex == socket.boundInterfaceIndex || !selectors.sources) return interfaceIndex;
  throw EnumerationError(
      "the routing rules look at source addresses, and the kernel's look-up over IPv6 ignores "
      "them or the device that the socket is bound to");
}

// The route of one socket. Throws EnumerationError if it cannot be looked up.
std::uint32_t routeOf(const Socket& socket, int family, const RuleSelectors& selectors,
                      FoundRoutes& found) {
  if (selectors.marks && !socket.mark) {
    throw EnumerationError(
        "the routing rules look at marks, and the kernel shows marks only with CAP_NET_ADMIN");
  }
  const bool isBound = socket.boundInterfaceIndex.value_or(0) != 0;
  if (isBound && family == AF_INET6) return boundRouteOf(socket, selectors, found);
  return interfaceFor(routeRequestFor(socket, {.ports = selectors.ports}), found);
}

void addMissingRoute(const std::string& reason, std::vector<MissingFact>& facts) {
  const auto isSame = [&reason](const MissingFact& fact) {
    return fact.fact == snapshot::FactKind::ROUTE && fact.reason == reason;
  };
  if (std::ranges::any_of(facts, isSame)) return;
  facts.push_back({.fact = snapshot::FactKind::ROUTE, .reason = reason});
}

std::vector<Socket*> socketsTo(const ActiveEndpoint& endpoint, std::vector<Socket>& rows) {
  std::vector<Socket*> sockets;
  for (Socket& row : rows) {
    if (goesTo(row, endpoint)) sockets.push_back(&row);
  }
  return sockets;
}

// What tells the sockets' routes apart. Throws EnumerationError if that is not known.
RuleSelectors selectorsOf(int family) {
  RuleSelectors selectors = takeRuleSelectors(family);
  if (selectors.trafficClass) {
    throw EnumerationError(
        "the routing rules look at the type of service or the flow label, which are not read");
  }
  selectors.ports = selectors.ports || hashesPorts(family);
  return selectors;
}

// Sets the routes of sockets of one family. Throws EnumerationError if none can be looked up.
void setRoutes(const std::vector<Socket*>& sockets, int family,
               std::vector<MissingFact>& missingFacts) {
  const RuleSelectors selectors = selectorsOf(family);
  FoundRoutes found;
  for (Socket* const socket : sockets) {
    try {
      socket->routeInterfaceIndex = routeOf(*socket, family, selectors, found);
    } catch (const EnumerationError& error) {
      addMissingRoute(error.what(), missingFacts);
    }
  }
}

}  // namespace

void lookUpRoutes(const ActiveEndpoint& endpoint, HostSnapshot& snapshot) {
  if (snapshot.sockets.enumFailed) return;
  const std::vector<Socket*> sockets = socketsTo(endpoint, snapshot.sockets.rows);
  if (sockets.empty()) return;
  try {
    const int family = endpoint.address.family == 4 ? AF_INET : AF_INET6;
    setRoutes(sockets, family, snapshot.missingFacts);
  } catch (const EnumerationError& error) {
    addMissingRoute(error.what(), snapshot.missingFacts);
  }
}

}  // namespace egress::live
