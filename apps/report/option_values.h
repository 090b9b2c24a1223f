#ifndef EGRESS_REPORT_OPTION_VALUES_H
#define EGRESS_REPORT_OPTION_VALUES_H

#include "apps/report/described_options.h"
#include "apps/report/options.h"

namespace egress::report {

// Checks the values of the options, and completes `options` with them. Throws CannotRun.
void checkAndComplete(const RawOptions& raw, Options& options);

}  // namespace egress::report

#endif
