#ifndef EGRESS_SNAPSHOT_ANONYMIZE_H
#define EGRESS_SNAPSHOT_ANONYMIZE_H

#include "egress_snapshot/export.h"
#include "egress_snapshot/host_snapshot.h"
#include "egress_snapshot/refusal.h"

namespace egress::snapshot {

// A record without private data that gives the same report. It drops
// - the origin, the processes, the reasons of failures and of missing facts, and the users of
//   sockets;
// - the local ports of sockets, which become 0;
// - each outbound that the walk to the endpoint does not enter, and each answer that it does not
//   use; if the configuration is not usable, there is no walk.
// It replaces, equal values by equal ones and numbered in the order in which they occur:
// - each address by one of its class (pseudonyms.h has the ranges);
// - each host name, or other text in place of an address, by a name below "example" (RFC 2606);
// - each tag except "proxy", the start of the walk to the endpoint, by "tag-N";
// - interface indexes by their ranks, and the name of the interface with rank N by "ifN";
// - types that the core does not know by "other".
// All else is kept: of the entered outbounds the types that the core knows, the ports and the
// transports, of the sockets the protocols, states, remote ports, marks and numbers of packets, the
// metrics, states and kinds of interfaces, the metrics of routes, which facts are missing, and the
// number of rows.
//
// Compares the reports of both records, and refuses if they differ. That takes more addresses of
// one class than it has replacements: more than 16,777,216 private ones. Throws only when memory
// runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT Result<HostSnapshot> anonymized(const HostSnapshot& snapshot);

}  // namespace egress::snapshot

#endif
