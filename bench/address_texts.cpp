#include "bench/address_texts.h"

#include <arpa/inet.h>
#include <array>
#include <cstdint>

namespace egress::bench {

std::string makeIpv4Text(RandomSource& random) {
  std::string text = std::to_string(1 + random.below(223));
  for (int part = 1; part < 4; ++part) text.append(".").append(std::to_string(random.below(256)));
  return text;
}

std::string makeIpv6Text(RandomSource& random) {
  std::array<std::uint8_t, 16> bytes{};
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random.below(256));
  bytes[0] = 0x20;
  bytes[1] = 0x01;
  // Servers and routers have short identifiers, hosts have long ones.
  if (random.percent(40)) {
    for (std::size_t i = 6; i < 14; ++i) bytes.at(i) = 0;
  }
  std::array<char, INET6_ADDRSTRLEN> text{};
  return inet_ntop(AF_INET6, bytes.data(), text.data(), text.size());
}

std::vector<std::string> makeAddressTexts(std::size_t count, std::size_t ipv4Percent) {
  RandomSource random(/*seed=*/2);
  std::vector<std::string> texts;
  texts.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    texts.push_back(random.percent(ipv4Percent) ? makeIpv4Text(random) : makeIpv6Text(random));
  }
  return texts;
}

}  // namespace egress::bench
