#ifndef EGRESS_REPORT_WATCH_H
#define EGRESS_REPORT_WATCH_H

#include "apps/report/options.h"

namespace egress::report {

// Diagnoses again when the network changes and after `watchSeconds`, and prints what changed, until
// SIGINT or SIGTERM, or if the first round cannot run. Returns the exit status of the last round.
// Throws std::runtime_error if it cannot wait or write to standard output.
//
// This process keeps its rights for the snapshots and never parses what others wrote: a child
// without rights does that in each round.
[[nodiscard]] int watch(const Options& options);

}  // namespace egress::report

#endif
