#ifndef EGRESS_LIVE_LINUX_PACKET_FILTER_H
#define EGRESS_LIVE_LINUX_PACKET_FILTER_H

#include <cstdint>
#include <string>

#include "egress/config/numeric_address.h"

namespace egress::live {

// The filter (pcap-filter(7)) of cooked headers for outgoing packets to an address, which must be
// valid, and a port. It also accepts packets whose ports it does not find behind extension headers
// of IPv6. The address is compared as a number: to libpcap, an IPv6 address is a name to look up.
[[nodiscard]] std::string filterText(const NumericAddress& address, std::uint32_t port);

}  // namespace egress::live

#endif
