#include "egress/core/select_interface.h"

namespace egress {
namespace {

SelectionStatus judge(const EndpointSources& sources) noexcept {
  using enum SelectionStatus;
  if (!sources.anySocket) return NO_MATCHING_SOCKET;
  if (sources.anyAmbiguous) return ADDRESS_INTERFACE_AMBIGUOUS;
  if (!sources.ordinal) return SOCKET_SOURCE_ADDRESS_UNMAPPED;
  if (sources.anyUnmapped) return PARTIAL_SOCKET_SOURCE_MAPPING;
  if (sources.several) return MULTIPLE_MATCHING_SOCKET_INTERFACES;
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

  const SelectionStatus status = judge(input.sources);
  if (status != OK) return notSelected(status);
  return {.status = OK, .ordinal = input.sources.ordinal};
}

}  // namespace egress
