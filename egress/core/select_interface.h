#ifndef EGRESS_CORE_SELECT_INTERFACE_H
#define EGRESS_CORE_SELECT_INTERFACE_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "egress/config/numeric_address.h"
#include "egress/core/interface_mapping.h"
#include "egress/core/status_words.h"

namespace egress {

// The remote end that the proxy engine's traffic goes to.
struct ActiveEndpoint {
  ActiveEndpointStatus status = ActiveEndpointStatus::NOT_EVALUATED_CONFIG_UNAVAILABLE;
  NumericAddress address;  // set only when status is OK, like the port
  std::uint32_t port = 0;
};

// A socket row whose source address has been mapped.
struct MappedSocket {
  InterfaceMapping source;
  std::string_view remoteAddress;  // into the snapshot
  std::uint32_t remotePort = 0;
};

struct SelectionInput {
  EgressSelectionPolicy policy = EgressSelectionPolicy::unknown;
  ActiveEndpoint endpoint;
  bool socketsFailed = false;
  bool adaptersFailed = false;
  std::vector<MappedSocket> sockets;
};

struct Selection {
  SelectionStatus status = SelectionStatus::NO_MATCHING_SOCKET;
  std::optional<std::int64_t> ordinal;  // set only when status is OK
};

// The interface through which the sockets to the endpoint leave, or the first reason why there is
// not exactly one. Routes, metrics and operational states play no part.
[[nodiscard]] Selection selectInterface(const SelectionInput& input) noexcept;

}  // namespace egress

#endif
