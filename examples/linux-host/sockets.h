#ifndef EGRESS_EXAMPLES_LINUX_HOST_SOCKETS_H
#define EGRESS_EXAMPLES_LINUX_HOST_SOCKETS_H

#include <vector>

#include "egress/core/diagnosis_input.h"
#include "examples/linux-host/processes.h"

namespace linux_host {

// The connected TCP and UDP sockets of both families that the processes have open, from sock_diag.
// TCP sockets are listed from ESTABLISHED to LAST_ACK or CLOSING, so not in SYN-SENT, SYN-RECEIVED
// or TIME-WAIT. IPv4-mapped IPv6 addresses, as of dual-stack sockets, are written as IPv4. Throws
// EnumerationError.
[[nodiscard]] std::vector<egress::SocketSource> takeSockets(const std::vector<pid_t>& processes);

}  // namespace linux_host

#endif
