#ifndef EGRESS_LIVE_LOOK_UP_ROUTES_H
#define EGRESS_LIVE_LOOK_UP_ROUTES_H

#include "egress/core/diagnosis.h"
#include "egress_live/export.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// Asks the system which interface the packets of each socket to the endpoint leave through, and
// sets routeInterfaceIndex of those sockets: TCP and UDP, also connection attempts. The record must
// be one that takeSnapshot has just taken on this machine; an endpoint whose status is not OK has
// no sockets.
//
// - On Linux the kernel's own look-up (RTM_GETROUTE) is asked with the addresses, the protocol, the
//   bound device, the mark and the user of the socket, and with its ports if the routing rules or
//   the choice among several next hops look at them: once for sockets that do not differ in these.
//   It is the route of a packet that is sent now. What changes a packet later, such as a firewall
//   that sets marks, is not asked; the type of service is taken as 0. The choice among several next
//   hops may have been another when the connection was made.
// - 0, no route: the kernel refuses the packets (unreachable, prohibit, blackhole), the bound
//   device is down, or, over IPv4, the host has lost the source address.
// - If routing rules look at marks, the route of a socket whose mark is unknown stays unknown; if
//   they look at the type of service or the flow label, every route does; if they look at source
//   addresses, that of a socket over IPv6 that is bound to a device may.
// - A look-up that fails leaves the fact absent and adds the reason to missingFacts, each reason
//   once.
// - Permissions: none. Cost on Linux: a few system calls for each look-up, and one list of rules.
// - Threads: any number may call it at once with different records; it keeps no state.
// - Throws only when memory runs out.
EGRESS_LIVE_EXPORT void lookUpRoutes(const ActiveEndpoint& endpoint,
                                     snapshot::HostSnapshot& snapshot);

}  // namespace egress::live

#endif
