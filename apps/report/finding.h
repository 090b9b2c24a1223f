#ifndef EGRESS_REPORT_FINDING_H
#define EGRESS_REPORT_FINDING_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::report {

// Everything that a run finds out.
struct Finding {
  snapshot::HostSnapshot snapshot;
  // For each address of the endpoint that the engine uses, at least one; the report is that of the
  // first one.
  std::vector<snapshot::AddressFinding> addresses{1};
  std::string configFault;  // where the text of the configuration breaks off; empty: nowhere
  std::vector<std::string> possibleMainTags;  // if the main outbound is not there

  std::map<std::uint32_t, std::string> interfaceNames;  // for people, by index

  [[nodiscard]] const Diagnosis& diagnosis() const { return addresses.front().diagnosis; }
  [[nodiscard]] const snapshot::CrossCheck& check() const { return addresses.front().crossCheck; }
};

// Cross-checks and names the interfaces. The addresses are those of the record with these sockets.
[[nodiscard]] Finding findOut(snapshot::HostSnapshot snapshot,
                              std::vector<snapshot::AddressFinding> addresses,
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
