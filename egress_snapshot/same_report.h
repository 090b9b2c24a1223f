#ifndef EGRESS_SNAPSHOT_SAME_REPORT_H
#define EGRESS_SNAPSHOT_SAME_REPORT_H

#include "egress_snapshot/host_snapshot.h"
#include "egress_snapshot/refusal.h"

namespace egress::snapshot {

// Returns the changed record if it gives the same report as the original, whichever sockets count.
[[nodiscard]] Result<HostSnapshot> ifSameReport(const HostSnapshot& original, HostSnapshot changed);

}  // namespace egress::snapshot

#endif
