#include "apps/report/finding.h"

#include <utility>

#include "apps/report/text.h"

namespace egress::report {
namespace {

// An interface without a name has its ordinal in the report.
std::map<std::uint32_t, std::string> namesOf(const snapshot::HostSnapshot& snapshot,
                                             const Diagnosis& diagnosis) {
  std::map<std::uint32_t, std::string> names;
  for (const DiagnosedInterface& row : diagnosis.interfaces) {
    names[row.interfaceIndex] = "interface " + std::to_string(row.ordinal);
  }
  for (const snapshot::Adapter& row : snapshot.adapters.rows) {
    if (!row.name.empty()) names[row.interfaceIndex] = readable(row.name);
  }
  return names;
}

}  // namespace

Finding findOut(snapshot::HostSnapshot snapshot, std::vector<snapshot::AddressFinding> addresses,
                snapshot::CountedSockets counted) {
  Finding finding;
  finding.addresses = std::move(addresses);
  crossCheckAddresses(snapshot, finding.addresses, counted);
  finding.interfaceNames = namesOf(snapshot, finding.diagnosis());
  finding.snapshot = std::move(snapshot);
  return finding;
}

const char* nameOf(snapshot::FactKind fact) {
  switch (fact) {
    case snapshot::FactKind::MARK: return "marks of the sockets";
    case snapshot::FactKind::ROUTE: return "routes of the sockets";
    case snapshot::FactKind::PACKETS: return "packets";
    case snapshot::FactKind::ADDRESS: break;
  }
  return "addresses of the server";
}

Outcome outcomeOf(const Finding& finding) {
  using enum snapshot::CrossCheckStatus;
  if (!doAgree(finding.addresses)) return Outcome::NOT_NAMED;
  const bool isNamedByCore = finding.diagnosis().selection.status == SelectionStatus::OK;
  switch (finding.check().status) {
    case AGREES:
    case SETTLES: return Outcome::NAMED;
    case DISAGREES:
    case SEVERAL:
    case NO_WAY_OUT:
    case TRYING:
    case NO_SOCKET: return Outcome::NOT_NAMED;
    case UNKNOWN: break;
  }
  if (isNamedByCore) return Outcome::NAMED;
  const bool hasEndpoint = finding.diagnosis().endpoint.status == ActiveEndpointStatus::OK;
  const bool hasLists =
      !finding.snapshot.sockets.enumFailed && !finding.snapshot.adapters.enumFailed;
  return hasEndpoint && !hasLists ? Outcome::CANNOT_LOOK : Outcome::NOT_NAMED;
}

}  // namespace egress::report
