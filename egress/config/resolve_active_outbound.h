#ifndef EGRESS_CONFIG_RESOLVE_ACTIVE_OUTBOUND_H
#define EGRESS_CONFIG_RESOLVE_ACTIVE_OUTBOUND_H

#include "egress/core/diagnosis.h"
#include "egress/core/diagnosis_input.h"

namespace egress {

// Walks from the outbound tagged kStartTag to the leaf, the outbound that carries the traffic: from
// a selector to the choice that its answer names, from any other outbound to its detour. Of
// outbounds with equal tags, and of answers for one selector, the first counts. The status is OK or
// the reason why the walk ended early. Throws only when memory runs out.
[[nodiscard]] Resolution resolveActiveOutbound(const DiagnosisInput& diagnosisInput);

}  // namespace egress

#endif
