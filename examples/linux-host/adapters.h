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
  std::map<std::uint32_t, std::string> names;  // by interface index; for this machine's screen only
};

// All network interfaces of this network namespace with their unicast addresses, from rtnetlink.
// Linux keeps no metric of an interface: it is 0. Throws EnumerationError.
[[nodiscard]] Adapters takeAdapters();

}  // namespace linux_host

#endif
