#ifndef EGRESS_REPORT_EXAMINE_H
#define EGRESS_REPORT_EXAMINE_H

#include "apps/report/finding.h"
#include "apps/report/input.h"
#include "apps/report/options.h"
#include "egress_live/packet_observer.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::report {

// Finds out what the options ask for, without the rights that the snapshot needed: completes the
// snapshot from the texts, asks the engine and the resolver, diagnoses, and asks the system about
// the sockets to the endpoint. `observer` may be null. Throws CannotRun.
[[nodiscard]] Finding examine(const Options& options, snapshot::HostSnapshot taken,
                              InputTexts texts, live::PacketObserver* observer);

}  // namespace egress::report

#endif
