#ifndef EGRESS_LIVE_ENTER_NETWORK_H
#define EGRESS_LIVE_ENTER_NETWORK_H

#include <cstdint>
#include <optional>
#include <string>

#include "egress_live/export.h"

namespace egress::live {

// Moves the calling thread into the network namespace of a process, so that takeSnapshot and the
// other functions see that network; threads that it starts later begin there, too. Returns why it
// was not possible, in words, or nothing. Needs CAP_SYS_ADMIN on Linux. Throws only when memory
// runs out.
[[nodiscard]] EGRESS_LIVE_EXPORT std::optional<std::string> enterNetworkOf(std::uint32_t processId);

}  // namespace egress::live

#endif
