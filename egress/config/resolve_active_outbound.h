#ifndef EGRESS_CONFIG_RESOLVE_ACTIVE_OUTBOUND_H
#define EGRESS_CONFIG_RESOLVE_ACTIVE_OUTBOUND_H

#include <cstddef>
#include <string>
#include <vector>

#include "egress/core/diagnosis_input.h"
#include "egress/export.h"

namespace egress {

// The most follows from the outbound tagged "proxy" to the leaf, selectors and detours together:
// far more than a sensible configuration has, few enough to end at once.
inline constexpr std::size_t kMaxFollowSteps = 8;

struct Resolution {
  ActiveEndpointStatus status = ActiveEndpointStatus::OUTBOUND_NOT_FOUND;
  const Outbound* leaf = nullptr;        // into the input; set only when status is OK
  std::vector<std::string> visitedTags;  // of every outbound entered, in order, on failure too
};

// Walks from the outbound tagged "proxy" to the leaf, the outbound that carries the traffic: from a
// selector to the choice that its answer names, from any other outbound to its detour. Of outbounds
// with equal tags, and of answers for one selector, the first counts. The status is OK or the
// reason why the walk ended early. The leaf lives as long as `diagnosisInput`. Throws only when
// memory runs out.
[[nodiscard]] EGRESS_EXPORT Resolution resolveActiveOutbound(const DiagnosisInput& diagnosisInput);

}  // namespace egress

#endif
