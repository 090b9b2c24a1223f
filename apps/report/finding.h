#ifndef EGRESS_REPORT_FINDING_H
#define EGRESS_REPORT_FINDING_H

#include <cstdint>
#include <map>
#include <string>

#include "egress/core/diagnosis.h"
#include "egress_snapshot/cross_check.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::report {

// Everything that a run finds out.
struct Finding {
  snapshot::HostSnapshot snapshot;
  Diagnosis diagnosis;
  snapshot::CrossCheck check;
  std::string configFault;  // where the text of the configuration breaks off; empty: nowhere

  std::map<std::uint32_t, std::string> interfaceNames;  // for people, by index
};

// Fills in the cross-check and the names; `diagnosis` is that of the snapshot with these sockets.
[[nodiscard]] Finding findOut(snapshot::HostSnapshot snapshot, Diagnosis diagnosis,
                              snapshot::CountedSockets counted);

// For example "marks", in plural.
[[nodiscard]] const char* nameOf(snapshot::FactKind fact);

// The exit status of the program.
enum class Outcome : std::uint8_t {
  NAMED = 0,        // an interface is named, and nothing contradicts it
  NOT_NAMED = 1,    // none can be named, or the system contradicts the one that is named
  CANNOT_RUN = 2,   // the input is unusable
  CANNOT_LOOK = 3,  // a list that the answer needs could not be taken
};

[[nodiscard]] Outcome outcomeOf(const Finding& finding);

}  // namespace egress::report

#endif
