#ifndef EGRESS_REPORT_TERMINAL_H
#define EGRESS_REPORT_TERMINAL_H

#include "apps/report/answer.h"

namespace egress::report {

// The style of standard output: as wide as the terminal, 80 columns elsewhere; with colour on a
// terminal, unless the environment variable NO_COLOR is set and not empty (no-color.org).
[[nodiscard]] TextStyle terminalStyle();

}  // namespace egress::report

#endif
