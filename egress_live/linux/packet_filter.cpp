#include "egress_live/linux/packet_filter.h"

#include "egress_live/linux/captured_packet.h"

namespace egress::live {

std::string filterText(const NumericAddress& address, std::uint32_t port) {
  const bool isIpv4 = address.family == 4;
  // Where the destination address begins in the IP header.
  const std::string header = isIpv4 ? "ip" : "ip6";
  const std::size_t begin = isIpv4 ? 16 : 24;
  const std::size_t size = isIpv4 ? 4 : 16;
  std::string text = "(outbound or ifindex " + std::to_string(kLoopbackIndex) + ")";
  for (std::size_t i = 0; i < size; ++i) {
    text += " and " + header + "[" + std::to_string(begin + i) +
            "] == " + std::to_string(address.bytes.at(i));
  }
  const std::string hasPort = "dst port " + std::to_string(port);
  if (isIpv4) return text + " and " + hasPort;
  // Neither TCP nor UDP follows the IPv6 header directly.
  return text + " and (" + hasPort + " or (ip6[6] != 6 and ip6[6] != 17))";
}

}  // namespace egress::live
