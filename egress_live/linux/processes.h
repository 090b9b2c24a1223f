#ifndef EGRESS_LIVE_LINUX_PROCESSES_H
#define EGRESS_LIVE_LINUX_PROCESSES_H

#include <cstdint>
#include <set>
#include <variant>
#include <vector>

#include "egress_live/take_snapshot.h"

namespace egress::live {

using ProcessIds = std::vector<std::uint32_t>;

// The chosen processes in this network namespace, at least one, or why there is none. Throws
// EnumerationError if /proc cannot be read.
[[nodiscard]] std::variant<ProcessIds, NoProcess> findProcesses(const ProcessChoice& choice);

// The inode numbers of all sockets that the processes have open. A process that has ended has none.
// Throws EnumerationError if the file descriptors of a process cannot be read.
[[nodiscard]] std::set<std::uint32_t> socketInodesOf(const ProcessIds& processes);

}  // namespace egress::live

#endif
