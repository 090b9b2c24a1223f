#ifndef EGRESS_CONFIG_CLASSIFY_ENDPOINT_H
#define EGRESS_CONFIG_CLASSIFY_ENDPOINT_H

#include <cstdint>

#include "egress/config/numeric_address.h"
#include "egress/config/proxy_config.h"

namespace egress {

// Whether a leaf names one numeric address and one port, reached over a protocol and a transport
// whose sockets can be followed. The first reason against it is the result; `address` and `port`
// (the only entry of `ports`) are written only on OK.
[[nodiscard]] ActiveEndpointStatus classifyEndpoint(const Outbound& leaf, NumericAddress& address,
                                                    std::uint32_t& port) noexcept;

}  // namespace egress

#endif
