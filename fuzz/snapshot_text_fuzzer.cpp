// Reads any bytes as a saved record and as a saved report. Each gives a value that can be saved and
// read again, or a refusal with a reason and a place.

#include "fuzz/fuzz_target.h"
#include "tests/laws/snapshot_laws.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  test::Violation violation = test::checkSnapshotText(bytes).violation;
  return violation.empty() ? test::checkReportText(bytes).violation : violation;
}

}  // namespace egress::fuzz
