#ifndef EGRESS_LIVE_LINUX_ROUTE_LOOKUP_H
#define EGRESS_LIVE_LINUX_ROUTE_LOOKUP_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "egress_live/linux/netlink_message.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// What a request names, beside the target, the protocol, and the facts that are known and not 0.
struct RequestParts {
  bool source = true;
  bool ports = true;
};

// The payload of RTM_GETROUTE for the packets of a socket. Equal payloads have the same route.
// Throws EnumerationError if the addresses are not numeric, or of two families.
[[nodiscard]] std::vector<std::byte> routeRequestFor(const snapshot::Socket& socket,
                                                     const RequestParts& parts);

// The index of the interface in the reply to RTM_GETROUTE. Throws EnumerationError.
[[nodiscard]] std::uint32_t routeInterfaceIn(const NetlinkReply& reply);

// Whether this error of RTM_GETROUTE says that the packets would not leave: there is no route, or
// one that refuses them, or the device is down, or the host has lost the source address.
[[nodiscard]] bool meansNoRoute(int errorNumber) noexcept;

}  // namespace egress::live

#endif
