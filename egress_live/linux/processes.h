#ifndef EGRESS_LIVE_LINUX_PROCESSES_H
#define EGRESS_LIVE_LINUX_PROCESSES_H

#include <cstdint>
#include <set>
#include <variant>
#include <vector>

#include "egress_live/linux/proc_files.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// A process whose directory in /proc is kept open.
struct FoundProcess {
  snapshot::Process process;
  ProcDirectory directory;
};
using FoundProcesses = std::vector<FoundProcess>;

// The chosen processes in this network namespace, at least one, or why there is none. Processes
// that /proc hides from this user are ignored. Throws EnumerationError if /proc cannot be read, or
// not before the deadline.
[[nodiscard]] std::variant<FoundProcesses, NoProcess> findProcesses(const ProcessChoice& choice,
                                                                    Deadline deadline);

// The inode numbers of all sockets that the threads of the processes have open. A process that has
// ended has none. Throws EnumerationError if the file descriptors of a process cannot be read, or
// not before the deadline.
[[nodiscard]] std::set<std::uint32_t> socketInodesOf(const FoundProcesses& processes,
                                                     Deadline deadline);

}  // namespace egress::live

#endif
