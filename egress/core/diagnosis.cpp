#include "egress/core/diagnosis.h"

#include <algorithm>

namespace egress {

std::optional<std::uint32_t> interfaceIndexOf(const Diagnosis& diagnosis,
                                              std::int64_t ordinal) noexcept {
  const auto found =
      std::ranges::lower_bound(diagnosis.interfaces, ordinal, {}, &DiagnosedInterface::ordinal);
  if (found == diagnosis.interfaces.end() || found->ordinal != ordinal) return std::nullopt;
  return found->interfaceIndex;
}

}  // namespace egress
