#ifndef EGRESS_EXAMPLES_LINUX_HOST_REPORT_JSON_H
#define EGRESS_EXAMPLES_LINUX_HOST_REPORT_JSON_H

#include <string>

#include "egress/core/egress_report.h"

namespace linux_host {

// Formats a report as indented JSON (RFC 8259) without a trailing newline. Members keep the
// report's order. docs/report.schema.json is its schema.
[[nodiscard]] std::string reportJson(const egress::EgressReport& report);

}  // namespace linux_host

#endif
