#ifndef EGRESS_EXAMPLES_LINUX_HOST_PROCESSES_H
#define EGRESS_EXAMPLES_LINUX_HOST_PROCESSES_H

#include <cstdint>
#include <set>
#include <string>
#include <sys/types.h>
#include <variant>
#include <vector>

namespace linux_host {

// The engine's processes: one process ID, or all processes with a name.
using ProcessChoice = std::variant<pid_t, std::string>;

// The chosen processes in this network namespace, at least one. A name is compared with
// /proc/PID/comm, which the kernel truncates to 15 bytes; a longer name is also compared with the
// file name of the executable. Throws CannotRun if there is no such process, EnumerationError if
// /proc cannot be read.
[[nodiscard]] std::vector<pid_t> findProcesses(const ProcessChoice& choice);

// The inode numbers of all sockets that the processes have open. A process that has ended has none.
// Throws EnumerationError if the file descriptors of a process cannot be read.
[[nodiscard]] std::set<std::uint32_t> socketInodesOf(const std::vector<pid_t>& processes);

}  // namespace linux_host

#endif
