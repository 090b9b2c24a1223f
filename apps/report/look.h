#ifndef EGRESS_REPORT_LOOK_H
#define EGRESS_REPORT_LOOK_H

#include <string>

#include "apps/report/files.h"
#include "egress_live/take_snapshot.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::report {

// There is no such process, or this user may not see it.
struct NoEngine : CannotRun {
  using CannotRun::CannotRun;
};

// For example "process 1234, user 1000, /usr/bin/engine"; the program is left out if unknown.
[[nodiscard]] std::string processText(const snapshot::Process& process);

// Takes the snapshot of this machine. If the process is in another network namespace, moves this
// thread there, and says so on standard error. Throws NoEngine.
[[nodiscard]] snapshot::HostSnapshot takeLiveSnapshot(const live::ProcessChoice& choice);

}  // namespace egress::report

#endif
