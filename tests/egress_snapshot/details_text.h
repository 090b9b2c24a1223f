#ifndef EGRESS_TESTS_EGRESS_SNAPSHOT_DETAILS_TEXT_H
#define EGRESS_TESTS_EGRESS_SNAPSHOT_DETAILS_TEXT_H

#include <string>
#include <vector>

#include "egress_snapshot/details_json.h"
#include "egress_snapshot/diagnose_snapshot.h"

namespace egress::snapshot {

// The details of a snapshot with its cross-check, in one line.
inline std::string detailsTextOf(const HostSnapshot& record) {
  std::vector<AddressFinding> findings = diagnoseAddresses(record);
  crossCheckAddresses(record, findings);
  return detailsToJson(record, findings, JsonLayout::ONE_LINE);
}

}  // namespace egress::snapshot

#endif
