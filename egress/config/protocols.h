#ifndef EGRESS_CONFIG_PROTOCOLS_H
#define EGRESS_CONFIG_PROTOCOLS_H

#include <cstdint>
#include <string_view>

#include "egress/export.h"

namespace egress {

// How the diagnosis treats an outbound's "type".
enum class OutboundType : std::uint32_t {
  Selector,     // chooses another outbound at run time
  NoEndpoint,   // has no remote endpoint
  Supported,    // its sockets can be followed
  Unsupported,  // runs over QUIC, so its sockets cannot be followed
  Unknown,
};

// How the diagnosis treats the "type" inside an outbound's "transport".
enum class TransportType : std::uint32_t {
  None,  // the empty string
  Supported,
  Unsupported,  // QUIC
  Unknown,
};

// Both compare byte for byte.
[[nodiscard]] EGRESS_EXPORT OutboundType outboundTypeOf(std::string_view type) noexcept;
[[nodiscard]] EGRESS_EXPORT TransportType transportTypeOf(std::string_view transportType) noexcept;

}  // namespace egress

#endif
