#ifndef EGRESS_EXAMPLES_LINUX_HOST_REPORT_JSON_H
#define EGRESS_EXAMPLES_LINUX_HOST_REPORT_JSON_H

#include <string>

#include "egress/core/egress_report.h"

namespace linux_host {

// A report as JSON text (RFC 8259), indented, its members in the report's order; no line end after
// it. docs/report.schema.json describes it.
[[nodiscard]] std::string reportJson(const egress::EgressReport& report);

}  // namespace linux_host

#endif
