#include "egress/config/protocols.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace egress {
namespace {

constexpr std::array<std::string_view, 2> kSelectors = {"selector", "urltest"};
constexpr std::array<std::string_view, 3> kTypesWithoutEndpoint = {"direct", "block", "dns"};
constexpr std::array<std::string_view, 5> kSupportedTypes = {"vmess", "vless", "trojan", "anytls",
                                                             "shadowsocks"};
constexpr std::array<std::string_view, 3> kQuicTypes = {"hysteria", "hysteria2", "tuic"};
constexpr std::array<std::string_view, 3> kSupportedTransports = {"ws", "grpc", "http"};

template <std::size_t N>
bool isOneOf(std::string_view text, const std::array<std::string_view, N>& list) noexcept {
  return std::ranges::find(list, text) != list.end();
}

}  // namespace

OutboundType outboundTypeOf(std::string_view type) noexcept {
  using enum OutboundType;
  if (isOneOf(type, kSelectors)) return Selector;
  if (isOneOf(type, kTypesWithoutEndpoint)) return NoEndpoint;
  if (isOneOf(type, kSupportedTypes)) return Supported;
  if (isOneOf(type, kQuicTypes)) return Unsupported;
  return Unknown;
}

TransportType transportTypeOf(std::string_view transportType) noexcept {
  using enum TransportType;
  if (transportType.empty()) return None;
  if (isOneOf(transportType, kSupportedTransports)) return Supported;
  if (transportType == "quic") return Unsupported;
  return Unknown;
}

}  // namespace egress
