#ifndef EGRESS_LIVE_LOOK_UP_ROUTES_H
#define EGRESS_LIVE_LOOK_UP_ROUTES_H

#include "egress/core/diagnosis.h"
#include "egress_live/export.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// Asks the system which interface the packets of each socket to the endpoint leave through, and
// sets routeInterfaceIndex of those sockets. The record must be one that takeSnapshot has just
// taken on this machine; an endpoint whose status is not OK has no sockets.
//
// - On Linux the kernel's own look-up (RTM_GETROUTE) is asked with the addresses, the ports, the
//   protocol, the bound device, the mark and the user of the socket: once for sockets that differ
//   in nothing that the routing rules look at. A route that depends on the mark of a socket whose
//   mark is unknown stays unknown.
// - A look-up that fails leaves the fact absent and adds the reason to missingFacts, each reason
//   once.
// - Permissions: none.
// - Throws only when memory runs out.
EGRESS_LIVE_EXPORT void lookUpRoutes(const ActiveEndpoint& endpoint,
                                     snapshot::HostSnapshot& snapshot);

}  // namespace egress::live

#endif
