#include <arpa/inet.h>

#include "bench/peers/address_peers.h"

namespace egress::bench {

NumericAddress inetPtonIpv4(const std::string& text) {
  NumericAddress address{.valid = true, .family = 4};
  if (inet_pton(AF_INET, text.c_str(), address.bytes.data()) != 1) return {};
  return address;
}

NumericAddress inetPtonIpv6(const std::string& text) {
  NumericAddress address{.valid = true, .family = 6};
  if (inet_pton(AF_INET6, text.c_str(), address.bytes.data()) != 1) return {};
  return address;
}

NumericAddress inetPton(const std::string& text) {
  return text.find(':') == std::string::npos ? inetPtonIpv4(text) : inetPtonIpv6(text);
}

}  // namespace egress::bench
