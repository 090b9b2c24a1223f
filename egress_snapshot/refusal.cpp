#include "egress_snapshot/refusal.h"

namespace egress::snapshot {

std::string toString(const Refusal& refusal) {
  if (refusal.place.empty()) return refusal.reason;
  std::string text = refusal.place;
  return text.append(": ").append(refusal.reason);
}

}  // namespace egress::snapshot
