#ifndef EGRESS_REPORT_EXPLAIN_H
#define EGRESS_REPORT_EXPLAIN_H

#include <string>

#include "apps/report/finding.h"

namespace egress::report {

// Formats the report as text: the cross-check and selectionStatus first, then the other members in
// the report's order. Each word other than "OK" comes with its meaning, usual cause and what to do.
[[nodiscard]] std::string explain(const Finding& finding);

}  // namespace egress::report

#endif
