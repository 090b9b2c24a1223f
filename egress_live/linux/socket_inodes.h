#ifndef EGRESS_LIVE_LINUX_SOCKET_INODES_H
#define EGRESS_LIVE_LINUX_SOCKET_INODES_H

#include <cstdint>
#include <set>

#include "egress_live/linux/process_info.h"

namespace egress::live {

// The inode numbers of all sockets that the threads of the processes have open. A process that has
// ended has none. Throws NoPermission if the file descriptors of a process cannot be read, and
// EnumerationError if not before the deadline.
[[nodiscard]] std::set<std::uint32_t> socketInodesOf(const FoundProcesses& processes,
                                                     Deadline deadline);
[[nodiscard]] std::set<std::uint32_t> socketInodesOf(const ProcDirectory& process,
                                                     Deadline deadline);

}  // namespace egress::live

#endif
