#include "egress_snapshot/same_report.h"

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/diagnose_snapshot.h"

namespace egress::snapshot {

Result<HostSnapshot> ifSameReport(const HostSnapshot& original, HostSnapshot changed) {
  for (const CountedSockets counted : {CountedSockets::TCP, CountedSockets::TCP_AND_UDP}) {
    if (diagnoseEgress(toInput(changed, counted)) != diagnoseEgress(toInput(original, counted))) {
      return Refusal{.place = "", .reason = "the report would change"};
    }
  }
  return changed;
}

}  // namespace egress::snapshot
