#ifndef EGRESS_LIVE_LINUX_PROCESSES_H
#define EGRESS_LIVE_LINUX_PROCESSES_H

#include <variant>

#include "egress_live/linux/process_info.h"
#include "egress_live/take_snapshot.h"

namespace egress::live {

// The chosen processes in this network namespace, at least one, or why there is none. Processes
// that /proc hides from this user are ignored. Throws EnumerationError if /proc or the kernel's
// list of listening sockets cannot be read, or not before the deadline.
[[nodiscard]] std::variant<FoundProcesses, NoProcess> findProcesses(const ProcessChoice& choice,
                                                                    Deadline deadline);

}  // namespace egress::live

#endif
