#include "egress/core/select_interface.h"

namespace egress {
namespace {

SelectionStatus statusOf(const MatchSummary& matches) noexcept {
  using enum SelectionStatus;
  if (!matches.anySocket) return NO_MATCHING_SOCKET;
  if (matches.anyAmbiguous) return ADDRESS_INTERFACE_AMBIGUOUS;
  if (!matches.ordinal) return SOCKET_SOURCE_ADDRESS_UNMAPPED;
  if (matches.anyUnmapped) return PARTIAL_SOCKET_SOURCE_MAPPING;
  if (matches.severalInterfaces) return MULTIPLE_MATCHING_SOCKET_INTERFACES;
  return OK;
}

Selection notSelected(SelectionStatus reason) noexcept {
  return {.status = reason, .ordinal = std::nullopt};
}

}  // namespace

Selection selectInterface(const SelectionInput& input) noexcept {
  using enum SelectionStatus;
  if (input.policy == EgressSelectionPolicy::os_routed)
    return notSelected(NOT_APPLICABLE_OS_ROUTED);
  if (input.endpoint != ActiveEndpointStatus::OK) {
    return notSelected(NOT_EVALUATED_ENDPOINT_UNAVAILABLE);
  }
  if (input.socketsFailed) return notSelected(NOT_EVALUATED_SOCKET_ENUM_FAILED);
  if (input.adaptersFailed) return notSelected(NOT_EVALUATED_ADAPTER_ENUM_FAILED);

  const SelectionStatus status = statusOf(input.matches);
  if (status != OK) return notSelected(status);
  return {.status = OK, .ordinal = input.matches.ordinal};
}

}  // namespace egress
