#ifndef EGRESS_EXAMPLES_LINUX_HOST_PROCESSES_H
#define EGRESS_EXAMPLES_LINUX_HOST_PROCESSES_H

#include <cstdint>
#include <set>
#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

namespace linux_host {

// Whose sockets count: one process, or all processes of a name.
using ProcessChoice = std::variant<pid_t, std::string>;

// The chosen processes of this network namespace; at least one. A name is compared with that of
// /proc/PID/comm, which the kernel cuts to 15 bytes, and, where it is longer, with the file name of
// the program. Throws CannotRun when there is none, EnumerationError when that cannot be told.
[[nodiscard]] std::vector<pid_t> findProcesses(const ProcessChoice& choice);

// The inode numbers of all sockets that the processes hold. A process that has ended meanwhile
// holds none. Throws EnumerationError when a process does not let its files be seen.
[[nodiscard]] std::set<std::uint32_t> socketInodesOf(const std::vector<pid_t>& processes);

}  // namespace linux_host

#endif
