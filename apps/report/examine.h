#ifndef EGRESS_REPORT_EXAMINE_H
#define EGRESS_REPORT_EXAMINE_H

#include "apps/report/finding.h"
#include "apps/report/input.h"
#include "apps/report/options.h"
#include "egress_live/packet_observer.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::report {

// What had to be opened with those rights; the caller's.
struct Opened {
  live::PacketObserver* observer = nullptr;  // none: no packets are observed
  int engineSocket = -1;                     // connected to where the engine is asked; -1: none
};

// Finds out what the options ask for, without the rights that the snapshot needed: completes the
// snapshot from the texts, asks the engine and the resolver, diagnoses, and asks the system about
// the sockets to the endpoint. Throws CannotRun.
[[nodiscard]] Finding examine(const Options& options, snapshot::HostSnapshot taken,
                              InputTexts texts, const Opened& opened);

}  // namespace egress::report

#endif
