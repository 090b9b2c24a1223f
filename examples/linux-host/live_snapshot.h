#ifndef EGRESS_EXAMPLES_LINUX_HOST_LIVE_SNAPSHOT_H
#define EGRESS_EXAMPLES_LINUX_HOST_LIVE_SNAPSHOT_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "egress/core/diagnosis_input.h"
#include "examples/linux-host/processes.h"

namespace linux_host {

// What a look at this machine adds to the snapshots.
struct LiveNotes {
  std::map<std::uint32_t, std::string> interfaceNames;  // by interface index
  std::vector<std::string> failures;                    // why a snapshot failed, one line each
};

// Takes the three snapshots of this network namespace, one after the other, into `input`. Each is
// complete, or failed and without rows. Throws CannotRun when no such process is there.
[[nodiscard]] LiveNotes takeLiveSnapshots(const ProcessChoice& choice,
                                          egress::DiagnosisInput& input);

}  // namespace linux_host

#endif
