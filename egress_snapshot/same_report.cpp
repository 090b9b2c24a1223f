#include "egress_snapshot/same_report.h"

#include "egress/core/diagnose_egress.h"

namespace egress::snapshot {

Result<HostSnapshot> ifSameReport(const HostSnapshot& original, HostSnapshot changed) {
  if (diagnoseEgress(toInput(changed)) != diagnoseEgress(toInput(original))) {
    return Refusal{.place = "", .reason = "the report would change"};
  }
  return changed;
}

}  // namespace egress::snapshot
