#ifndef EGRESS_EXAMPLES_LINUX_HOST_EXPLAIN_H
#define EGRESS_EXAMPLES_LINUX_HOST_EXPLAIN_H

#include <cstdint>
#include <map>
#include <string>

#include "egress/core/egress_report.h"

namespace linux_host {

using NamesByOrdinal = std::map<std::int64_t, std::string>;

// Formats a report as text: selectionStatus first, then the other members in the report's order.
// Each status other than "OK" comes with its meaning, usual cause and what to do. Interfaces are
// shown with their names if those are known.
[[nodiscard]] std::string explain(const egress::EgressReport& report, const NamesByOrdinal& names);

}  // namespace linux_host

#endif
