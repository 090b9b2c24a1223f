#ifndef EGRESS_REPORT_DIAGNOSE_ONCE_H
#define EGRESS_REPORT_DIAGNOSE_ONCE_H

#include "apps/report/options.h"

namespace egress::report {

// Diagnoses this machine or one snapshot, and prints and saves what the options ask for. Returns
// the exit status. Throws CannotRun.
[[nodiscard]] int diagnoseOnce(const Options& options);

}  // namespace egress::report

#endif
