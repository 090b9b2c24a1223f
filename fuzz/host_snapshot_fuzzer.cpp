// Generates the record of a host from any bytes. It and its report must be read as they were
// written. It must be refused when it is cut short, and lose all private data but keep its report
// when it is anonymized. The laws of the cross-check hold for it.

#include <cstddef>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "fuzz/fuzz_target.h"
#include "tests/laws/anonymize_laws.h"
#include "tests/laws/cross_check_laws.h"
#include "tests/laws/generated_snapshot.h"
#include "tests/laws/snapshot_laws.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  test::Choices choices(bytes);
  const std::size_t law = choices.below(6);  // one law an input, to generate more of them
  const std::size_t cut = choices.below(65536);
  const snapshot::HostSnapshot record = test::generateSnapshot(choices);
  switch (law) {
    case 0: return test::checkSnapshotJson(record);
    case 1: return test::checkSnapshotCut(record, cut);
    case 2: return test::checkReportJson(diagnoseEgress(toInput(record)));
    case 3: return test::checkAnonymized(record);
    case 4: return test::checkPrivacy(record, choices);
    default: return test::checkCrossCheck(test::aimedAtEndpoint(record, choices), choices);
  }
}

}  // namespace egress::fuzz
