#include "egress/config/protocols.h"

#include <array>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

namespace egress::test {
namespace {

TEST(Protocols, ClassifiesOutboundTypes) {
  using enum OutboundType;
  constexpr auto kRows = std::to_array<std::pair<std::string_view, OutboundType>>({
      {"selector", Selector},
      {"urltest", Selector},
      {"direct", NoEndpoint},
      {"block", NoEndpoint},
      {"dns", NoEndpoint},
      {"vmess", Supported},
      {"vless", Supported},
      {"trojan", Supported},
      {"anytls", Supported},
      {"shadowsocks", Supported},
      {"hysteria", Unsupported},
      {"hysteria2", Unsupported},
      {"tuic", Unsupported},
      {"wireguard", Unknown},
      {"socks", Unknown},
      {"http", Unknown},
      {"", Unknown},
      {"Selector", Unknown},
      {"VLESS", Unknown},
      {"vless ", Unknown},
      {"hysteria3", Unknown},
      {"vles", Unknown},
  });
  for (const auto& [type, expected] : kRows) EXPECT_EQ(outboundTypeOf(type), expected) << type;
}

TEST(Protocols, ClassifiesTransportTypes) {
  using enum TransportType;
  constexpr auto kRows = std::to_array<std::pair<std::string_view, TransportType>>({
      {"", None},
      {"ws", Supported},
      {"grpc", Supported},
      {"http", Supported},
      {"quic", Unsupported},
      {"kcp", Unknown},
      {"WS", Unknown},
      {"QUIC", Unknown},
      {"ws ", Unknown},
      {"w", Unknown},
  });
  for (const auto& [type, expected] : kRows) EXPECT_EQ(transportTypeOf(type), expected) << type;
}

}  // namespace
}  // namespace egress::test
