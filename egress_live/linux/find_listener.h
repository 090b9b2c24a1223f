#ifndef EGRESS_LIVE_LINUX_FIND_LISTENER_H
#define EGRESS_LIVE_LINUX_FIND_LISTENER_H

#include <string>
#include <variant>

#include "egress_live/linux/process_info.h"
#include "egress_live/take_snapshot.h"

namespace egress::live {

// The processes in this network namespace that have a socket open which listens there, at least
// one, or why there is none. Processes whose descriptors this user may not read are ignored. Throws
// EnumerationError if the kernel's list of listening sockets or /proc cannot be read, or not before
// the deadline.
[[nodiscard]] std::variant<FoundProcesses, NoProcess> findListener(const Listener& listener,
                                                                   Deadline deadline);

// Where it listens: the path, "127.0.0.1:9090", "[::1]:9090" or "port 9090".
[[nodiscard]] std::string placeOf(const Listener& listener);

}  // namespace egress::live

#endif
