#include "egress/config/classify_endpoint.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace egress {
namespace {

constexpr std::array<std::string_view, 3> kTypesWithoutEndpoint = {"direct", "block", "dns"};
constexpr std::array<std::string_view, 3> kQuicTypes = {"hysteria", "hysteria2", "tuic"};
constexpr std::array<std::string_view, 5> kSupportedTypes = {"vmess", "vless", "trojan", "anytls",
                                                             "shadowsocks"};
constexpr std::array<std::string_view, 3> kSupportedTransports = {"ws", "grpc", "http"};

template <std::size_t N>
bool isOneOf(std::string_view text, const std::array<std::string_view, N>& list) noexcept {
  return std::ranges::find(list, text) != list.end();
}

ActiveEndpointStatus classifyTransport(const Outbound& leaf) noexcept {
  using enum ActiveEndpointStatus;
  if (!leaf.hasTransport || leaf.transportType.empty()) return OK;
  if (isOneOf(leaf.transportType, kSupportedTransports)) return OK;
  if (leaf.transportType == "quic") return TRANSPORT_UNSUPPORTED;
  return TRANSPORT_UNKNOWN;
}

}  // namespace

ActiveEndpointStatus classifyEndpoint(const Outbound& leaf, NumericAddress& address,
                                      std::uint32_t& port) noexcept {
  using enum ActiveEndpointStatus;
  if (isOneOf(leaf.type, kTypesWithoutEndpoint)) return LEAF_HAS_NO_REMOTE_ENDPOINT;
  if (!leaf.hasServer || leaf.server.empty() || !leaf.portSpecified) return ENDPOINT_MISSING;
  // Before the singleton rule: a lone range leaves no single port, which is no usable port at all.
  if (leaf.portMalformed || leaf.ports.empty()) return ENDPOINT_INVALID;
  const NumericAddress server = parseNumericAddress(leaf.server);
  if (!server.valid) return ENDPOINT_NOT_NUMERIC;
  if (leaf.portHopping || leaf.ports.size() != 1) return ENDPOINT_NOT_SINGLETON;
  if (isOneOf(leaf.type, kQuicTypes)) return TRANSPORT_UNSUPPORTED;
  if (!isOneOf(leaf.type, kSupportedTypes)) return TRANSPORT_UNKNOWN;
  const ActiveEndpointStatus transport = classifyTransport(leaf);
  if (transport != OK) return transport;

  address = server;
  port = leaf.ports.front();
  return OK;
}

}  // namespace egress
