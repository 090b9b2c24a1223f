#include <algorithm>

#include <boost/asio/ip/address.hpp>

#include "bench/peers/address_peers.h"

namespace egress::bench {

NumericAddress asioMakeAddress(const std::string& text) {
  boost::system::error_code error;
  const auto parsed = boost::asio::ip::make_address(text, error);
  NumericAddress address;
  if (error) return address;
  address.valid = true;
  address.family = parsed.is_v4() ? 4 : 6;
  if (parsed.is_v4()) {
    std::ranges::copy(parsed.to_v4().to_bytes(), address.bytes.begin());
  } else {
    std::ranges::copy(parsed.to_v6().to_bytes(), address.bytes.begin());
  }
  return address;
}

}  // namespace egress::bench
