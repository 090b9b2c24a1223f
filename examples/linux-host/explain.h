#ifndef EGRESS_EXAMPLES_LINUX_HOST_EXPLAIN_H
#define EGRESS_EXAMPLES_LINUX_HOST_EXPLAIN_H

#include <cstdint>
#include <map>
#include <string>

#include "egress/core/egress_report.h"

namespace linux_host {

using NamesByOrdinal = std::map<std::int64_t, std::string>;

// A report in words for people: the answer first, then every status; those that are not "OK" with
// their meaning, usual cause and what to do; then the rows. Names of interfaces are shown where
// they are known.
[[nodiscard]] std::string explain(const egress::EgressReport& report, const NamesByOrdinal& names);

}  // namespace linux_host

#endif
