#include "egress/config/classify_endpoint.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/exact_text.h"

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

// A leaf that is OK; a row names only what it changes.
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

void expectRefused(const Leaf& leaf, ActiveEndpointStatus status) {
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

struct Refusal {
  std::string_view name;
  Leaf leaf;
  ActiveEndpointStatus status = OK;
};

void expectRefusals(const std::vector<Refusal>& rows) {
  for (const Refusal& row : rows) {
    SCOPED_TRACE(row.name);
    expectRefused(row.leaf, row.status);
  }
}

TEST(ClassifyEndpoint, EverySupportedTypeIsAnEndpoint) {
  for (const std::string_view type : kSupportedTypes) {
    SCOPED_TRACE(type);
    expectDefaultEndpoint({.type = type});
  }
}

TEST(ClassifyEndpoint, DirectBlockAndDnsHaveNoEndpointEvenWithServerAndPort) {
  for (const std::string_view type : kTypesWithoutEndpoint) {
    SCOPED_TRACE(type);
    expectRefused({.type = type}, LEAF_HAS_NO_REMOTE_ENDPOINT);
    expectRefused(
        {.type = type, .hasServer = false, .server = "", .portSpecified = false, .ports = {}},
        LEAF_HAS_NO_REMOTE_ENDPOINT);
  }
}

TEST(ClassifyEndpoint, WithoutServerOrPortTheEndpointIsMissing) {
  expectRefusals({
      {.name = "vmess with neither server nor port",
       .leaf =
           {.type = "vmess", .hasServer = false, .server = "", .portSpecified = false, .ports = {}},
       .status = ENDPOINT_MISSING},
      {.name = "vmess with a server but no port key",
       .leaf = {.type = "vmess", .portSpecified = false, .ports = {}},
       .status = ENDPOINT_MISSING},
      {.name = "a port but no server",
       .leaf = {.hasServer = false, .server = ""},
       .status = ENDPOINT_MISSING},
      {.name = "hasServer with an empty server",
       .leaf = {.hasServer = true, .server = ""},
       .status = ENDPOINT_MISSING},
      {.name = "a server without hasServer",
       .leaf = {.hasServer = false},
       .status = ENDPOINT_MISSING},
      {.name = "ports without portSpecified",
       .leaf = {.portSpecified = false},
       .status = ENDPOINT_MISSING},
  });
}

TEST(ClassifyEndpoint, APortThatCannotBeUsedIsInvalid) {
  expectRefusals({
      {.name = "a malformed port",
       .leaf = {.portMalformed = true, .ports = {}},
       .status = ENDPOINT_INVALID},
      {.name = "a malformed port beside a good one",
       .leaf = {.portMalformed = true},
       .status = ENDPOINT_INVALID},
      {.name = "no port at all under a port key",
       .leaf = {.ports = {}},
       .status = ENDPOINT_INVALID},
  });
}

TEST(ClassifyEndpoint, AHostNameIsNotNumeric) {
  const std::vector<std::string_view> servers = {
      "node.example", "localhost",      "198.51.100", "198.51.100.256",    " 198.51.100.10",
      "%eth0",        "198.51.100.10 ", "[]",         "198.51.100.10:443", "2001:db8::1::",
  };
  for (const std::string_view server : servers) {
    SCOPED_TRACE(server);
    expectRefused({.type = "trojan", .server = server}, ENDPOINT_NOT_NUMERIC);
  }
}

TEST(ClassifyEndpoint, MoreThanOnePortIsNoSingleton) {
  expectRefusals({
      {.name = "hysteria2 hopping with one single port as well",
       .leaf = {.type = "hysteria2", .portHopping = true, .ports = {20000}},
       .status = ENDPOINT_NOT_SINGLETON},
      {.name = "hysteria2 with two single ports",
       .leaf = {.type = "hysteria2", .ports = {443, 8443}},
       .status = ENDPOINT_NOT_SINGLETON},
      {.name = "hopping over two ports",
       .leaf = {.portHopping = true, .ports = {443, 8443}},
       .status = ENDPOINT_NOT_SINGLETON},
      {.name = "one port twice", .leaf = {.ports = {443, 443}}, .status = ENDPOINT_NOT_SINGLETON},
      {.name = "three ports", .leaf = {.ports = {1, 2, 3}}, .status = ENDPOINT_NOT_SINGLETON},
  });
}

TEST(ClassifyEndpoint, ALoneRangeIsInvalidRatherThanNoSingleton) {
  expectRefused({.type = "hysteria2", .portHopping = true, .ports = {}}, ENDPOINT_INVALID);
}

TEST(ClassifyEndpoint, QuicProtocolsAreUnsupportedWhateverTheTransport) {
  const std::vector<std::string_view> transports = {"", "ws", "grpc", "http", "quic", "kcp"};
  for (const std::string_view type : kQuicTypes) {
    SCOPED_TRACE(type);
    expectRefused({.type = type}, TRANSPORT_UNSUPPORTED);
    for (const std::string_view transport : transports) {
      SCOPED_TRACE(transport);
      expectRefused({.type = type, .hasTransport = true, .transportType = transport},
                    TRANSPORT_UNSUPPORTED);
    }
  }
}

TEST(ClassifyEndpoint, EveryOtherTypeIsUnknownWhateverTheTransport) {
  const std::vector<std::string_view> types = {
      "wireguard", "socks",  "http",        "",        "selector",     "urltest",    "quic",
      "ws",        "Direct", "BLOCK",       "dns ",    "direct2",      "doh",        "Hysteria",
      "HYSTERIA2", "TUIC",   "hysteria3",   "hyster",  "VMess",        "VLESS",      "Trojan",
      "AnyTLS",    "vmess ", "Shadowsocks", "vmess\n", "shadowsocksr", "shadowsock",
  };
  const std::vector<std::string_view> transports = {"", "ws", "quic", "kcp"};
  for (const std::string_view type : types) {
    SCOPED_TRACE(type);
    expectRefused({.type = type}, TRANSPORT_UNKNOWN);
    for (const std::string_view transport : transports) {
      SCOPED_TRACE(transport);
      expectRefused({.type = type, .hasTransport = true, .transportType = transport},
                    TRANSPORT_UNKNOWN);
    }
  }
}

TEST(ClassifyEndpoint, WsGrpcAndHttpPassForEverySupportedType) {
  const std::vector<std::string_view> transports = {"ws", "grpc", "http"};
  for (const std::string_view type : kSupportedTypes) {
    SCOPED_TRACE(type);
    for (const std::string_view transport : transports) {
      SCOPED_TRACE(transport);
      expectDefaultEndpoint({.type = type, .hasTransport = true, .transportType = transport});
    }
  }
}

TEST(ClassifyEndpoint, ATransportWithoutTypeCountsAsNone) {
  for (const std::string_view type : kSupportedTypes) {
    SCOPED_TRACE(type);
    expectDefaultEndpoint({.type = type, .hasTransport = true, .transportType = ""});
  }
}

TEST(ClassifyEndpoint, ATransportTypeWithoutHasTransportIsIgnored) {
  const std::vector<std::string_view> transports = {"quic", "kcp", "ws"};
  for (const std::string_view transport : transports) {
    SCOPED_TRACE(transport);
    expectDefaultEndpoint({.hasTransport = false, .transportType = transport});
  }
}

TEST(ClassifyEndpoint, TheQuicTransportIsUnsupportedForEverySupportedType) {
  for (const std::string_view type : kSupportedTypes) {
    SCOPED_TRACE(type);
    expectRefused({.type = type, .hasTransport = true, .transportType = "quic"},
                  TRANSPORT_UNSUPPORTED);
  }
}

TEST(ClassifyEndpoint, EveryOtherTransportIsUnknown) {
  const std::vector<std::string_view> transports = {
      "kcp",   "WS",    "Ws",  "GRPC", "HTTP",        "QUIC", "Quic", "ws ", " ws",
      "quic ", "quic2", "qui", "w",    "httpupgrade", "h2",   "htt",  "tcp", "grpc2",
  };
  for (const std::string_view type : kSupportedTypes) {
    SCOPED_TRACE(type);
    for (const std::string_view transport : transports) {
      SCOPED_TRACE(transport);
      expectRefused({.type = type, .hasTransport = true, .transportType = transport},
                    TRANSPORT_UNKNOWN);
    }
  }
}

// In each row two rules or more hold at once; the status is that of the earliest.
TEST(ClassifyEndpoint, TheFirstRuleThatHoldsDecides) {
  expectRefusals({
      {.name = "no remote endpoint before missing",
       .leaf = {.type = "direct", .hasServer = false, .portSpecified = false},
       .status = LEAF_HAS_NO_REMOTE_ENDPOINT},
      {.name = "no remote endpoint before invalid",
       .leaf = {.type = "dns", .portMalformed = true},
       .status = LEAF_HAS_NO_REMOTE_ENDPOINT},
      {.name = "no remote endpoint before not numeric",
       .leaf = {.type = "block", .server = "node.example"},
       .status = LEAF_HAS_NO_REMOTE_ENDPOINT},
      {.name = "no remote endpoint before no singleton",
       .leaf = {.type = "direct", .ports = {443, 8443}},
       .status = LEAF_HAS_NO_REMOTE_ENDPOINT},
      {.name = "no remote endpoint before the transport",
       .leaf = {.type = "direct", .hasTransport = true, .transportType = "quic"},
       .status = LEAF_HAS_NO_REMOTE_ENDPOINT},
      {.name = "no server before a malformed port",
       .leaf = {.hasServer = false, .portMalformed = true},
       .status = ENDPOINT_MISSING},
      {.name = "an empty server before an empty list of ports",
       .leaf = {.server = "", .ports = {}},
       .status = ENDPOINT_MISSING},
      {.name = "no port key before a malformed port",
       .leaf = {.portSpecified = false, .portMalformed = true},
       .status = ENDPOINT_MISSING},
      {.name = "an empty server before not numeric, with a good port",
       .leaf = {.server = ""},
       .status = ENDPOINT_MISSING},
      {.name = "no port key before not numeric",
       .leaf = {.server = "node.example", .portSpecified = false},
       .status = ENDPOINT_MISSING},
      {.name = "missing before no singleton",
       .leaf = {.hasServer = false, .portHopping = true},
       .status = ENDPOINT_MISSING},
      {.name = "missing before a QUIC protocol",
       .leaf = {.type = "tuic", .portSpecified = false},
       .status = ENDPOINT_MISSING},
      {.name = "missing before an unknown type",
       .leaf = {.type = "wireguard", .hasServer = false},
       .status = ENDPOINT_MISSING},
      {.name = "missing before an unknown transport",
       .leaf = {.portSpecified = false, .hasTransport = true, .transportType = "kcp"},
       .status = ENDPOINT_MISSING},
      {.name = "a malformed port before a host name",
       .leaf = {.server = "node.example", .portMalformed = true, .ports = {}},
       .status = ENDPOINT_INVALID},
      {.name = "an empty list of ports before a host name",
       .leaf = {.server = "node.example", .ports = {}},
       .status = ENDPOINT_INVALID},
      {.name = "a malformed port before no singleton",
       .leaf = {.portMalformed = true, .portHopping = true, .ports = {443, 8443}},
       .status = ENDPOINT_INVALID},
      {.name = "an empty list of ports before no singleton",
       .leaf = {.portHopping = true, .ports = {}},
       .status = ENDPOINT_INVALID},
      {.name = "invalid before a QUIC protocol",
       .leaf = {.type = "hysteria", .portMalformed = true},
       .status = ENDPOINT_INVALID},
      {.name = "invalid before an unknown type",
       .leaf = {.type = "", .ports = {}},
       .status = ENDPOINT_INVALID},
      {.name = "not numeric before hopping",
       .leaf = {.server = "node.example", .portHopping = true},
       .status = ENDPOINT_NOT_NUMERIC},
      {.name = "not numeric before two ports",
       .leaf = {.server = "node.example", .ports = {443, 8443}},
       .status = ENDPOINT_NOT_NUMERIC},
      {.name = "not numeric before a QUIC protocol",
       .leaf = {.type = "hysteria2", .server = "node.example"},
       .status = ENDPOINT_NOT_NUMERIC},
      {.name = "not numeric before an unknown type",
       .leaf = {.type = "wireguard", .server = "node.example"},
       .status = ENDPOINT_NOT_NUMERIC},
      {.name = "not numeric before the transport",
       .leaf = {.server = "node.example", .hasTransport = true, .transportType = "quic"},
       .status = ENDPOINT_NOT_NUMERIC},
      {.name = "hopping before a QUIC protocol",
       .leaf = {.type = "tuic", .portHopping = true},
       .status = ENDPOINT_NOT_SINGLETON},
      {.name = "two ports before an unknown type",
       .leaf = {.type = "wireguard", .ports = {443, 8443}},
       .status = ENDPOINT_NOT_SINGLETON},
      {.name = "hopping before the transport",
       .leaf = {.portHopping = true, .hasTransport = true, .transportType = "kcp"},
       .status = ENDPOINT_NOT_SINGLETON},
      {.name = "a QUIC protocol before not being a supported type",
       .leaf = {.type = "hysteria2"},
       .status = TRANSPORT_UNSUPPORTED},
      {.name = "a QUIC protocol before an unknown transport",
       .leaf = {.type = "hysteria2", .hasTransport = true, .transportType = "kcp"},
       .status = TRANSPORT_UNSUPPORTED},
      {.name = "an unknown type before the quic transport",
       .leaf = {.type = "wireguard", .hasTransport = true, .transportType = "quic"},
       .status = TRANSPORT_UNKNOWN},
  });
}

TEST(ClassifyEndpoint, TheServerMayBeIpv6) {
  constexpr Bytes bytes = {0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  const std::vector<std::string_view> servers = {"2001:db8::1", "2001:DB8:0:0:0:0:0:1",
                                                 "[2001:db8::1]", "2001:db8::1%eth0"};
  for (const std::string_view server : servers) {
    SCOPED_TRACE(server);
    expectEndpoint({.type = "shadowsocks", .server = server}, 6, bytes, 443);
  }
}

TEST(ClassifyEndpoint, ACutServerIsNotNumericUnlessWhatIsLeftIsAnAddress) {
  forEveryCut("198.51.100.10", [](std::string_view cut) {
    SCOPED_TRACE(cut);
    if (cut == "198.51.100.1") return expectEndpoint({.server = cut}, 4, {198, 51, 100, 1}, 443);
    expectRefused({.server = cut}, cut.empty() ? ENDPOINT_MISSING : ENDPOINT_NOT_NUMERIC);
  });
  forEveryCut("2001:db8::1", [](std::string_view cut) {
    SCOPED_TRACE(cut);
    if (cut == "2001:db8::") {
      return expectEndpoint({.server = cut}, 6, {0x20, 0x01, 0x0D, 0xB8}, 443);
    }
    expectRefused({.server = cut}, cut.empty() ? ENDPOINT_MISSING : ENDPOINT_NOT_NUMERIC);
  });
}

TEST(ClassifyEndpoint, ThePortIsTheOnlyOneListed) {
  for (const std::uint32_t port : {1U, 443U, 8443U, 65535U}) {
    SCOPED_TRACE(port);
    expectEndpoint({.ports = {port}}, 4, kDefaultServer, port);
  }
}

}  // namespace
}  // namespace egress::test
