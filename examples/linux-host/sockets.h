#ifndef EGRESS_EXAMPLES_LINUX_HOST_SOCKETS_H
#define EGRESS_EXAMPLES_LINUX_HOST_SOCKETS_H

#include <vector>

#include "egress/core/diagnosis_input.h"
#include "examples/linux-host/processes.h"

namespace linux_host {

// The connected TCP and UDP sockets of both families that the processes hold, from sock_diag.
// A TCP socket counts from the end of its handshake until it is closed for good. An address that is
// mapped into IPv6, as dual-stack sockets show it, is written as IPv4. Throws EnumerationError.
[[nodiscard]] std::vector<egress::SocketSource> takeSockets(const std::vector<pid_t>& processes);

}  // namespace linux_host

#endif
