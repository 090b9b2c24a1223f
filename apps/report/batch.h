#ifndef EGRESS_REPORT_BATCH_H
#define EGRESS_REPORT_BATCH_H

#include "apps/report/options.h"

namespace egress::report {

// Whether the options name many snapshots: several, a list or a folder. Looks for a folder with the
// rights of the caller only.
[[nodiscard]] bool isBatch(const Options& options);

// Diagnoses all of these snapshots on all processors, and prints a line of JSON for each, in their
// order. A file that cannot be diagnosed is a line on standard error. Returns the exit status: that
// of CANNOT_RUN if there was such a file, 0 otherwise, whatever the diagnoses say. Throws CannotRun
// if an option is not for many snapshots, or its file cannot be read.
[[nodiscard]] int diagnoseBatch(const Options& options);

}  // namespace egress::report

#endif
