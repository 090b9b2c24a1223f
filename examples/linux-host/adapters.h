#ifndef EGRESS_EXAMPLES_LINUX_HOST_ADAPTERS_H
#define EGRESS_EXAMPLES_LINUX_HOST_ADAPTERS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "egress/core/diagnosis_input.h"

namespace linux_host {

struct Adapters {
  std::vector<egress::InterfaceRow> rows;
  std::map<std::uint32_t, std::string> names;  // by interface index; printed, but never saved
};

// All interfaces of this network namespace with their unicast addresses, from rtnetlink.
// interfaceMetric is 0: Linux has no interface metric. Throws EnumerationError.
[[nodiscard]] Adapters takeAdapters();

}  // namespace linux_host

#endif
