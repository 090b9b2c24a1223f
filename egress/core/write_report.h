#ifndef EGRESS_CORE_WRITE_REPORT_H
#define EGRESS_CORE_WRITE_REPORT_H

#include "egress/core/diagnosis.h"
#include "egress/core/egress_report.h"
#include "egress/export.h"

namespace egress {

// Writes the report of a diagnosis: the members of kReportMembers (report_table.h), in that order.
// Every string is a declared word, and no system interface index is written. Throws only when
// memory runs out.
[[nodiscard]] EGRESS_EXPORT EgressReport writeReport(const Diagnosis& diagnosis);

}  // namespace egress

#endif
