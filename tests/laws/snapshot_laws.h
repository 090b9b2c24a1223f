#ifndef EGRESS_TESTS_LAWS_SNAPSHOT_LAWS_H
#define EGRESS_TESTS_LAWS_SNAPSHOT_LAWS_H

#include <cstddef>
#include <string_view>

#include "egress/core/egress_report.h"
#include "egress_snapshot/host_snapshot.h"
#include "tests/laws/violation.h"

namespace egress::test {

// Any bytes give a value or a refusal with a reason and a place.
struct TextVerdict {
  Violation violation;
  bool accepted = false;
};

// A record is written as JSON as nlohmann/json indents it, and read back as the same record. A word
// outside its enumeration is read back as the last word, or "Ok" for the status of an answer.
Violation checkSnapshotJson(const snapshot::HostSnapshot& record);

// A saved record that is cut short, to any length modulo its own, is refused as cut off or empty.
Violation checkSnapshotCut(const snapshot::HostSnapshot& record, std::size_t length);

// Any bytes give a record, which can be saved, or a refusal. Only JSON gives a record.
TextVerdict checkSnapshotText(std::string_view text);

// A report is written as the JSON that a simple writer gives, indented likewise, and read back as
// the same report.
Violation checkReportJson(const EgressReport& report);

// Any bytes give a report, which can be written, or a refusal. Only JSON gives a report.
TextVerdict checkReportText(std::string_view text);

}  // namespace egress::test

#endif
