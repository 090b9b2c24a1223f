#ifndef EGRESS_EXAMPLES_LINUX_HOST_LIVE_SNAPSHOT_H
#define EGRESS_EXAMPLES_LINUX_HOST_LIVE_SNAPSHOT_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "egress/core/diagnosis_input.h"
#include "examples/linux-host/processes.h"

namespace linux_host {

// What takeLiveSnapshots returns in addition to the snapshots.
struct LiveNotes {
  std::map<std::uint32_t, std::string> interfaceNames;  // by interface index
  std::vector<std::string> failures;                    // why a snapshot failed, one line each
};

// Takes the three snapshots of this network namespace, one after the other, and stores them in
// `input`. Each is complete, or failed and without rows. Throws CannotRun if there is no such
// process.
[[nodiscard]] LiveNotes takeLiveSnapshots(const ProcessChoice& choice,
                                          egress::DiagnosisInput& input);

}  // namespace linux_host

#endif
