#ifndef EGRESS_SNAPSHOT_REPORT_JSON_H
#define EGRESS_SNAPSHOT_REPORT_JSON_H

#include <string>
#include <string_view>

#include "egress/core/egress_report.h"
#include "egress_snapshot/export.h"
#include "egress_snapshot/json_layout.h"
#include "egress_snapshot/refusal.h"

namespace egress::snapshot {

// The report as JSON (RFC 8259) without a trailing newline, with the members in the report's order.
// docs/report.schema.json is its schema. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::string reportToJson(
    const EgressReport& report, JsonLayout layout = JsonLayout::INDENTED);

// Reads a report. Its members may stand in any order; the result has them in the report's. Refuses
// text that is not JSON, a member that is missing or unknown, and a value of another kind or
// vocabulary than the report has there. How the members go together is not checked. Throws only
// when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT Result<EgressReport> reportFromJson(std::string_view text);

}  // namespace egress::snapshot

#endif
