#ifndef EGRESS_REPORT_EXPLAIN_H
#define EGRESS_REPORT_EXPLAIN_H

#include <cstdint>
#include <map>
#include <string>

#include "egress/core/egress_report.h"

namespace egress::report {

using NamesByOrdinal = std::map<std::int64_t, std::string>;

// Formats a report as text: selectionStatus first, then the other members in the report's order.
// Each status other than "OK" comes with its meaning, usual cause and what to do. Interfaces are
// shown with their names if those are known.
[[nodiscard]] std::string explain(const EgressReport& report, const NamesByOrdinal& names);

}  // namespace egress::report

#endif
