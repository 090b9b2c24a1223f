#include "tests/laws/generated_input.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace egress::test {
namespace {

using namespace std::string_view_literals;

constexpr std::uint32_t kMaxUint32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::int32_t kMinInt32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMaxInt32 = std::numeric_limits<std::int32_t>::max();

constexpr std::array kTags = {"proxy"sv, "a"sv, "b"sv, "c"sv, "d"sv, "e"sv,
                              "f"sv,     "g"sv, "h"sv, "i"sv, ""sv,  "Proxy"sv};
constexpr std::array kTypes = {"shadowsocks"sv, "selector"sv, "urltest"sv,  "vmess"sv,
                               "vless"sv,       "trojan"sv,   "anytls"sv,   "direct"sv,
                               "block"sv,       "dns"sv,      "hysteria"sv, "hysteria2"sv,
                               "tuic"sv,        "socks"sv,    "Selector"sv, ""sv};
constexpr std::array kTransports = {""sv, "ws"sv, "grpc"sv, "http"sv, "quic"sv, "kcp"sv, "WS"sv};
constexpr std::array kServers = {"198.51.100.10"sv,        "198.51.100.10"sv, "[198.51.100.10]"sv,
                                 "2001:db8::1"sv,          "node.example"sv,  ""sv,
                                 "::ffff:198.51.100.10"sv, "2001:DB8::0:1"sv};
constexpr std::array kLocalAddresses = {"10.0.0.7"sv,
                                        "192.168.1.50"sv,
                                        "10.0.0.8"sv,
                                        "010.000.0.7"sv,
                                        "2001:db8::7"sv,
                                        "2001:DB8::7"sv,
                                        "fe80::1%eth0"sv,
                                        "fe80::1%eth1"sv,
                                        "172.16.9.9"sv,
                                        "::ffff:10.0.0.7"sv,
                                        "<missing>"sv,
                                        "host.example"sv,
                                        ""sv,
                                        "[10.0.0.7]"sv,
                                        "0.0.0.0"sv,
                                        "::"sv};
constexpr std::array<std::uint32_t, 6> kIndexes = {5, 11, 4, 0, kMaxUint32, 2147483648U};
constexpr std::array<std::uint32_t, 6> kPorts = {443, 443, 8443, 1, 65535, kMaxUint32};
constexpr std::array<std::int32_t, 6> kSigned = {1, 0, -1, kMinInt32, kMaxInt32, 7};
constexpr std::array<std::uint32_t, 5> kMetrics = {0, 5, 25, kMaxUint32, 2147483648U};
constexpr std::array<std::int32_t, 5> kFamilies = {4, 6, 0, kMinInt32, kMaxInt32};

std::size_t drawCount(Choices& choices, std::size_t atMost) {
  return choices.below(atMost + 1);
}

SelectorAnswer generateAnswer(Choices& choices) {
  SelectorAnswer answer;
  answer.selectorTag = choices.oneOf(kTags);
  // 0 to 3 are declared; a caller may pass any number.
  const std::size_t status = choices.below(16);
  if (status < 8) answer.status = static_cast<SelectorAnswerStatus>(status % 5);
  answer.now = choices.oneOf(kTags);
  return answer;
}

InterfaceRow generateAdapter(Choices& choices) {
  InterfaceRow row;
  row.interfaceIndex = choices.oneOf(kIndexes);
  row.operStatus = choices.oneOf(kSigned);
  row.interfaceMetric = choices.oneOf(kMetrics);
  for (std::size_t i = drawCount(choices, 3); i > 0; --i) {
    if (choices.flag()) row.addresses.emplace_back(kLocalAddresses[choices.below(3)]);
    row.addresses.emplace_back(choices.oneOf(kLocalAddresses));
  }
  return row;
}

RouteRow generateRoute(Choices& choices) {
  return {.family = choices.oneOf(kFamilies),
          .interfaceIndex = choices.oneOf(kIndexes),
          .routeMetric = choices.oneOf(kMetrics)};
}

SocketSource generateSocket(Choices& choices) {
  if (choices.flag()) {  // from an adapter's address to the endpoint
    return {std::string(kLocalAddresses[choices.below(3)]), 51000, std::string(kServers[0]), 443};
  }
  SocketSource row;
  row.localAddress = choices.oneOf(kLocalAddresses);
  row.localPort = choices.oneOf(kPorts);
  row.remoteAddress = choices.oneOf(kServers);
  row.remotePort = choices.oneOf(kPorts);
  return row;
}

// A chain of up to eleven steps through selectors and detours, one outbound each.
void generateLongChain(Choices& choices, DiagnosisInput& input) {
  const std::size_t steps = choices.below(12);
  std::string tag = "proxy";
  for (std::size_t i = 0; i < steps; ++i) {
    Outbound outbound;
    outbound.tag = tag;
    tag = "hop_" + std::to_string(i + 1);
    if (choices.flag()) {
      outbound.type = choices.flag() ? "selector" : "urltest";
      input.selectorAnswers.push_back(
          {.selectorTag = outbound.tag, .status = SelectorAnswerStatus::Ok, .now = tag});
    } else {
      outbound.detour = tag;
    }
    input.outbounds.push_back(outbound);
  }
  Outbound leaf = generateOutbound(choices);
  leaf.tag = tag;
  input.outbounds.push_back(leaf);
}

}  // namespace

Outbound generateOutbound(Choices& choices) {
  Outbound outbound;
  outbound.tag = choices.oneOf(kTags);
  outbound.type = choices.oneOf(kTypes);
  if (choices.rarely(4)) outbound.detour = choices.oneOf(kTags);
  outbound.server = choices.oneOf(kServers);
  outbound.hasServer = !outbound.server.empty();
  const std::size_t ports = choices.rarely(8) ? choices.below(4) : 1;
  for (std::size_t i = 0; i < ports; ++i) outbound.ports.push_back(choices.oneOf(kPorts));
  outbound.portSpecified = ports > 0;
  outbound.portHopping = ports > 1;
  outbound.hasTransport = choices.flag();
  if (outbound.hasTransport) outbound.transportType = choices.oneOf(kTransports);
  if (choices.rarely(8)) {
    outbound.hasServer = choices.flag();
    outbound.portSpecified = choices.flag();
    outbound.portMalformed = choices.flag();
    outbound.portHopping = choices.flag();
    outbound.transportType = choices.oneOf(kTransports);
  }
  return outbound;
}

void generateOutbounds(Choices& choices, DiagnosisInput& input) {
  if (choices.rarely(8)) generateLongChain(choices, input);
  for (std::size_t i = drawCount(choices, 12); i > 0; --i) {
    input.outbounds.push_back(generateOutbound(choices));
  }
  if (!input.outbounds.empty() && !choices.rarely(16)) input.outbounds.front().tag = "proxy";
  for (std::size_t i = drawCount(choices, 12); i > 0; --i) {
    input.selectorAnswers.push_back(generateAnswer(choices));
  }
}

DiagnosisInput generateInput(Choices& choices) {
  DiagnosisInput input;
  input.configStatus = ConfigStatus::OK;
  if (choices.rarely(8)) input.configStatus = static_cast<ConfigStatus>(choices.below(7));
  input.autoDetectInterface = !choices.rarely(8);
  input.adapters.enumFailed = choices.rarely(8);
  input.routes.enumFailed = choices.rarely(8);
  input.sockets.enumFailed = choices.rarely(8);
  if (choices.rarely(4)) input.selectorHint = choices.oneOf(kTags);
  for (std::size_t i = drawCount(choices, 4); i > 0; --i) {
    input.adapters.rows.push_back(generateAdapter(choices));
  }
  for (std::size_t i = drawCount(choices, 3); i > 0; --i) {
    input.routes.rows.push_back(generateRoute(choices));
  }
  for (std::size_t i = drawCount(choices, 4); i > 0; --i) {
    input.sockets.rows.push_back(generateSocket(choices));
  }
  generateOutbounds(choices, input);
  return input;
}

}  // namespace egress::test
