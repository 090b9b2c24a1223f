#include "egress/config/classify_endpoint.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace egress::test {
namespace {

using enum ActiveEndpointStatus;

using Bytes = std::array<std::uint8_t, 16>;

constexpr std::uint32_t kPortBefore = 0xDEADBEEF;
constexpr std::uint32_t kFamilyBefore = 99;
constexpr std::uint8_t kByteBefore = 0xA5;

constexpr Bytes kDefaultServer = {198, 51, 100, 10};  // 198.51.100.10

constexpr auto kSupportedTypes =
    std::to_array<std::string_view>({"vmess", "vless", "trojan", "anytls", "shadowsocks"});
constexpr auto kQuicTypes = std::to_array<std::string_view>({"hysteria", "hysteria2", "tuic"});
constexpr auto kTypesWithoutEndpoint = std::to_array<std::string_view>({"direct", "block", "dns"});

// A valid leaf by default; rows override single fields.
struct Leaf {
  std::string_view type = "vless";
  bool hasServer = true;
  std::string_view server = "198.51.100.10";
  bool portSpecified = true;
  bool portMalformed = false;
  bool portHopping = false;
  std::vector<std::uint32_t> ports = {443};
  bool hasTransport = false;
  std::string_view transportType = {};
};

void setTransport(Leaf& leaf, std::string_view type) {
  leaf.hasTransport = true;
  leaf.transportType = type;
}

Outbound outboundOf(const Leaf& leaf) {
  Outbound outbound;
  outbound.tag = "proxy";
  outbound.type = leaf.type;
  outbound.hasServer = leaf.hasServer;
  outbound.server = leaf.server;
  outbound.portSpecified = leaf.portSpecified;
  outbound.portMalformed = leaf.portMalformed;
  outbound.portHopping = leaf.portHopping;
  outbound.ports = leaf.ports;
  outbound.hasTransport = leaf.hasTransport;
  outbound.transportType = leaf.transportType;
  return outbound;
}

struct Classified {
  ActiveEndpointStatus status = OK;
  NumericAddress address;
  std::uint32_t port = kPortBefore;
};

Classified classify(const Leaf& leaf) {
  Classified result;
  result.address = {.valid = false, .family = kFamilyBefore, .bytes = {}};
  result.address.bytes.fill(kByteBefore);
  result.status = classifyEndpoint(outboundOf(leaf), result.address, result.port);
  return result;
}

void expectRejected(const Leaf& leaf, ActiveEndpointStatus status) {
  const Classified result = classify(leaf);
  EXPECT_EQ(result.status, status) << toString(result.status) << ", not " << toString(status);
  Bytes before{};
  before.fill(kByteBefore);
  EXPECT_FALSE(result.address.valid);
  EXPECT_EQ(result.address.family, kFamilyBefore);
  EXPECT_EQ(result.address.bytes, before);
  EXPECT_EQ(result.port, kPortBefore);
}

void expectEndpoint(const Leaf& leaf, std::uint32_t family, const Bytes& bytes,
                    std::uint32_t port) {
  const Classified result = classify(leaf);
  EXPECT_EQ(result.status, OK) << toString(result.status);
  EXPECT_TRUE(result.address.valid);
  EXPECT_EQ(result.address.family, family);
  EXPECT_EQ(result.address.bytes, bytes);
  EXPECT_EQ(result.port, port);
}

void expectDefaultEndpoint(const Leaf& leaf) {
  expectEndpoint(leaf, 4, kDefaultServer, 443);
}

struct Defect {
  std::string_view name;
  void (*apply)(Leaf& leaf) = nullptr;
  ActiveEndpointStatus status = OK;
};

// Ordered by rule, then by the conditions of the rule.
constexpr auto kDefects = std::to_array<Defect>({
    {"direct", [](Leaf& leaf) { leaf.type = "direct"; }, LEAF_HAS_NO_REMOTE_ENDPOINT},
    {"no server", [](Leaf& leaf) { leaf.hasServer = false; }, ENDPOINT_MISSING},
    {"an empty server", [](Leaf& leaf) { leaf.server = ""; }, ENDPOINT_MISSING},
    {"no port key", [](Leaf& leaf) { leaf.portSpecified = false; }, ENDPOINT_MISSING},
    {"a malformed port", [](Leaf& leaf) { leaf.portMalformed = true; }, ENDPOINT_INVALID},
    {"no ports", [](Leaf& leaf) { leaf.ports = {}; }, ENDPOINT_INVALID},
    {"a host name", [](Leaf& leaf) { leaf.server = "node.example"; }, ENDPOINT_NOT_NUMERIC},
    {"a port range", [](Leaf& leaf) { leaf.portHopping = true; }, ENDPOINT_NOT_SINGLETON},
    {"two ports", [](Leaf& leaf) { leaf.ports.push_back(8443); }, ENDPOINT_NOT_SINGLETON},
    {"one port twice", [](Leaf& leaf) { leaf.ports.push_back(443); }, ENDPOINT_NOT_SINGLETON},
    {"three ports", [](Leaf& leaf) { leaf.ports.resize(3, 1); }, ENDPOINT_NOT_SINGLETON},
    {"a QUIC protocol", [](Leaf& leaf) { leaf.type = "hysteria2"; }, TRANSPORT_UNSUPPORTED},
    {"an unknown type", [](Leaf& leaf) { leaf.type = "wireguard"; }, TRANSPORT_UNKNOWN},
    {"the quic transport", [](Leaf& leaf) { setTransport(leaf, "quic"); }, TRANSPORT_UNSUPPORTED},
    {"another transport", [](Leaf& leaf) { setTransport(leaf, "kcp"); }, TRANSPORT_UNKNOWN},
});

// Also pairs each rule with itself. Where both set the same field, the first defect overwrites the
// later one.
TEST(ClassifyEndpoint, TheFirstMatchingRuleDecides) {
  for (std::size_t first = 0; first < kDefects.size(); ++first) {
    for (std::size_t later = first; later < kDefects.size(); ++later) {
      SCOPED_TRACE(std::string(kDefects[first].name).append(" and ").append(kDefects[later].name));
      Leaf leaf;
      kDefects[later].apply(leaf);
      kDefects[first].apply(leaf);
      expectRejected(leaf, kDefects[first].status);
    }
  }
}

TEST(ClassifyEndpoint, DirectBlockAndDnsHaveNoEndpoint) {
  for (const std::string_view type : kTypesWithoutEndpoint) {
    SCOPED_TRACE(type);
    expectRejected({.type = type}, LEAF_HAS_NO_REMOTE_ENDPOINT);
    expectRejected(
        {.type = type, .hasServer = false, .server = "", .portSpecified = false, .ports = {}},
        LEAF_HAS_NO_REMOTE_ENDPOINT);
  }
}

TEST(ClassifyEndpoint, ANonNumericServerIsRejected) {
  const std::vector<std::string_view> servers = {
      "node.example", "localhost",      "198.51.100", "198.51.100.256",    " 198.51.100.10",
      "%eth0",        "198.51.100.10 ", "[]",         "198.51.100.10:443", "2001:db8::1::",
  };
  for (const std::string_view server : servers) {
    SCOPED_TRACE(server);
    expectRejected({.type = "trojan", .server = server}, ENDPOINT_NOT_NUMERIC);
  }
}

TEST(ClassifyEndpoint, QuicProtocolsAreUnsupportedWithAnyTransport) {
  const std::vector<std::string_view> transports = {"", "ws", "grpc", "http", "quic", "kcp"};
  for (const std::string_view type : kQuicTypes) {
    SCOPED_TRACE(type);
    expectRejected({.type = type}, TRANSPORT_UNSUPPORTED);
    for (const std::string_view transport : transports) {
      SCOPED_TRACE(transport);
      expectRejected({.type = type, .hasTransport = true, .transportType = transport},
                     TRANSPORT_UNSUPPORTED);
    }
  }
}

TEST(ClassifyEndpoint, OtherTypesAreUnknownWithAnyTransport) {
  const std::vector<std::string_view> types = {
      "wireguard", "socks",  "http",        "",        "selector",     "urltest",    "quic",
      "ws",        "Direct", "BLOCK",       "dns ",    "direct2",      "doh",        "Hysteria",
      "HYSTERIA2", "TUIC",   "hysteria3",   "hyster",  "VMess",        "VLESS",      "Trojan",
      "AnyTLS",    "vmess ", "Shadowsocks", "vmess\n", "shadowsocksr", "shadowsock",
  };
  const std::vector<std::string_view> transports = {"", "ws", "quic", "kcp"};
  for (const std::string_view type : types) {
    SCOPED_TRACE(type);
    expectRejected({.type = type}, TRANSPORT_UNKNOWN);
    for (const std::string_view transport : transports) {
      SCOPED_TRACE(transport);
      expectRejected({.type = type, .hasTransport = true, .transportType = transport},
                     TRANSPORT_UNKNOWN);
    }
  }
}

TEST(ClassifyEndpoint, SupportedTypesAcceptEverySupportedTransport) {
  for (const std::string_view type : kSupportedTypes) {
    SCOPED_TRACE(type);
    expectDefaultEndpoint({.type = type});
    for (const std::string_view transport : {"ws", "grpc", "http", ""}) {  // "": none
      SCOPED_TRACE(transport);
      expectDefaultEndpoint({.type = type, .hasTransport = true, .transportType = transport});
    }
  }
}

TEST(ClassifyEndpoint, ATransportTypeWithoutHasTransportIsIgnored) {
  const std::vector<std::string_view> transports = {"quic", "kcp", "ws"};
  for (const std::string_view transport : transports) {
    SCOPED_TRACE(transport);
    expectDefaultEndpoint({.hasTransport = false, .transportType = transport});
  }
}

TEST(ClassifyEndpoint, QuicTransportIsUnsupportedAndOthersUnknown) {
  const std::vector<std::string_view> transports = {
      "kcp",   "WS",    "Ws",  "GRPC", "HTTP",        "QUIC", "Quic", "ws ", " ws",
      "quic ", "quic2", "qui", "w",    "httpupgrade", "h2",   "htt",  "tcp", "grpc2",
  };
  for (const std::string_view type : kSupportedTypes) {
    SCOPED_TRACE(type);
    expectRejected({.type = type, .hasTransport = true, .transportType = "quic"},
                   TRANSPORT_UNSUPPORTED);
    for (const std::string_view transport : transports) {
      SCOPED_TRACE(transport);
      expectRejected({.type = type, .hasTransport = true, .transportType = transport},
                     TRANSPORT_UNKNOWN);
    }
  }
}

TEST(ClassifyEndpoint, AcceptsIpv6Servers) {
  constexpr Bytes bytes = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  const std::vector<std::string_view> servers = {"2001:db8::1", "2001:DB8:0:0:0:0:0:1",
                                                 "[2001:db8::1]", "2001:db8::1%eth0"};
  for (const std::string_view server : servers) {
    SCOPED_TRACE(server);
    expectEndpoint({.type = "shadowsocks", .server = server}, 6, bytes, 443);
  }
}

TEST(ClassifyEndpoint, ReturnsTheSinglePort) {
  for (const std::uint32_t port : {1U, 443U, 8443U, 65535U}) {
    SCOPED_TRACE(port);
    expectEndpoint({.ports = {port}}, 4, kDefaultServer, port);
  }
}

}  // namespace
}  // namespace egress::test
