#ifndef EGRESS_LIVE_RESOLVE_SERVER_H
#define EGRESS_LIVE_RESOLVE_SERVER_H

#include <cstdint>

#include "egress_live/export.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// If the walk ends at an outbound whose server is a host name without an address in the record,
// asks the system's resolver for its addresses and adds them, in the resolver's order, at most
// snapshot::kMaxAddresses. No other name is looked up.
//
// - The system may ask name servers on the network. The addresses are those that it gives now; the
//   engine may have connected to others.
// - After the time limit, or if the name has no address, the reason is added to missingFacts.
// - Threads: any number may call it at once with different records. A look-up that takes longer
//   than the limit goes on in a thread of its own until the resolver gives up.
// - Throws only when memory runs out.
EGRESS_LIVE_EXPORT void resolveServer(std::uint32_t timeoutMilliseconds,
                                      snapshot::HostSnapshot& snapshot);

}  // namespace egress::live

#endif
