#ifndef EGRESS_REPORT_ENGINE_SOCKET_H
#define EGRESS_REPORT_ENGINE_SOCKET_H

#include "apps/report/options.h"

namespace egress::report {

// Connects to the Unix socket where the engine is asked. Returns the socket, the caller's and
// non-blocking, or -1 if there is none or it cannot be connected to at once.
[[nodiscard]] int connectToEngine(const Options& options);

}  // namespace egress::report

#endif
