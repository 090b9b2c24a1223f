#include "egress/core/select_interface.h"

namespace egress {
namespace {

// The sources of the sockets to the endpoint, all together.
struct Sources {
  bool anyUnmapped = false;
  bool anyAmbiguous = false;
  bool several = false;                 // more than one ordinal
  std::optional<std::int64_t> ordinal;  // the first one
};

bool goesTo(const ActiveEndpoint& endpoint, const MappedSocket& socket) noexcept {
  return socket.remotePort == endpoint.port &&
         sameNumericAddress(parseNumericAddress(socket.remoteAddress), endpoint.address);
}

void addSource(Sources& sources, const InterfaceMapping& source) noexcept {
  switch (source.kind) {
    case MappingKind::Unique:
      if (sources.ordinal && *sources.ordinal != source.ordinal) sources.several = true;
      if (!sources.ordinal) sources.ordinal = source.ordinal;
      return;
    case MappingKind::Ambiguous: sources.anyAmbiguous = true; return;
    case MappingKind::Unmapped: break;  // also every value outside the enumeration
  }
  sources.anyUnmapped = true;
}

SelectionStatus judge(const Sources& sources) noexcept {
  using enum SelectionStatus;
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
  if (input.endpoint.status != ActiveEndpointStatus::OK) {
    return notSelected(NOT_EVALUATED_ENDPOINT_UNAVAILABLE);
  }
  if (input.socketsFailed) return notSelected(NOT_EVALUATED_SOCKET_ENUM_FAILED);
  if (input.adaptersFailed) return notSelected(NOT_EVALUATED_ADAPTER_ENUM_FAILED);

  bool anyMatch = false;
  Sources sources;
  for (const MappedSocket& socket : input.sockets) {
    if (!goesTo(input.endpoint, socket)) continue;
    anyMatch = true;
    addSource(sources, socket.source);
  }
  if (!anyMatch) return notSelected(NO_MATCHING_SOCKET);

  const SelectionStatus status = judge(sources);
  if (status != OK) return notSelected(status);
  return {.status = OK, .ordinal = sources.ordinal};
}

}  // namespace egress
