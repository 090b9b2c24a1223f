#include "egress_live/linux/captured_packet.h"

#include <cstring>
#include <netinet/in.h>

#include <linux/if_ether.h>
#include <linux/if_packet.h>

namespace egress::live {
namespace {

using Bytes = std::span<const std::byte>;

// A packet above the IP header and its extensions.
struct Transport {
  std::uint32_t protocol = 0;
  Bytes bytes;
};

// Numbers of 1, 2 and 4 bytes in network byte order, at an offset within the bytes.
std::uint32_t byteAt(Bytes bytes, std::size_t at) {
  return std::to_integer<std::uint32_t>(bytes[at]);
}

std::uint32_t shortAt(Bytes bytes, std::size_t at) {
  return byteAt(bytes, at) << 8U | byteAt(bytes, at + 1);
}

std::uint32_t wordAt(Bytes bytes, std::size_t at) {
  return shortAt(bytes, at) << 16U | shortAt(bytes, at + 2);
}

NumericAddress addressAt(Bytes bytes, std::size_t at, std::uint32_t family) {
  NumericAddress address{.valid = true, .family = family};
  std::memcpy(address.bytes.data(), &bytes[at], family == 4 ? 4 : 16);
  return address;
}

// Reads the addresses and returns what follows the IPv4 header (RFC 791, section 3.1).
std::optional<Transport> readIpv4(Bytes bytes, CapturedPacket& packet) {
  constexpr std::size_t kSmallestHeaderSize = 20;
  constexpr std::uint32_t kFragmentOffsetMask = 0x1FFF;
  if (bytes.size() < kSmallestHeaderSize || byteAt(bytes, 0) >> 4U != 4) return std::nullopt;
  const std::size_t headerSize = std::size_t{4} * (byteAt(bytes, 0) & 0xFU);
  if (headerSize < kSmallestHeaderSize || headerSize > bytes.size()) return std::nullopt;
  if ((shortAt(bytes, 6) & kFragmentOffsetMask) != 0) return std::nullopt;
  packet.sourceAddress = addressAt(bytes, 12, 4);
  packet.destinationAddress = addressAt(bytes, 16, 4);
  return Transport{.protocol = byteAt(bytes, 9), .bytes = bytes.subspan(headerSize)};
}

// Whether it is an extension header (RFC 8200, section 4) that a packet with ports may have.
bool isExtension(std::uint32_t nextHeader) {
  return nextHeader == IPPROTO_HOPOPTS || nextHeader == IPPROTO_ROUTING ||
         nextHeader == IPPROTO_FRAGMENT || nextHeader == IPPROTO_DSTOPTS;
}

// Returns what follows the extension headers. Each has at least 8 bytes, so the loop ends.
std::optional<Transport> skipExtensions(Transport rest) {
  constexpr std::size_t kUnit = 8;
  constexpr std::uint32_t kFragmentOffsetMask = 0xFFF8;
  while (isExtension(rest.protocol)) {
    if (rest.bytes.size() < kUnit) return std::nullopt;
    const bool isFragment = rest.protocol == IPPROTO_FRAGMENT;
    if (isFragment && (shortAt(rest.bytes, 2) & kFragmentOffsetMask) != 0) return std::nullopt;
    const std::size_t size = isFragment ? kUnit : kUnit * (1 + byteAt(rest.bytes, 1));
    if (size > rest.bytes.size()) return std::nullopt;
    rest = {.protocol = byteAt(rest.bytes, 0), .bytes = rest.bytes.subspan(size)};
  }
  return rest;
}

// Reads the addresses and returns what follows the IPv6 header (RFC 8200, section 3) and its
// extensions.
std::optional<Transport> readIpv6(Bytes bytes, CapturedPacket& packet) {
  if (bytes.size() < kIpv6HeaderSize || byteAt(bytes, 0) >> 4U != 6) return std::nullopt;
  packet.sourceAddress = addressAt(bytes, 8, 6);
  packet.destinationAddress = addressAt(bytes, 24, 6);
  return skipExtensions({.protocol = byteAt(bytes, 6), .bytes = bytes.subspan(kIpv6HeaderSize)});
}

// The protocol in the cooked header chooses the version of IP.
std::optional<Transport> readIp(std::uint32_t protocol, Bytes bytes, CapturedPacket& packet) {
  if (protocol == ETH_P_IP) return readIpv4(bytes, packet);
  if (protocol == ETH_P_IPV6) return readIpv6(bytes, packet);
  return std::nullopt;
}

}  // namespace

std::optional<CapturedPacket> packetIn(Bytes captured) noexcept {
  if (captured.size() < kCookedHeaderSize) return std::nullopt;
  CapturedPacket packet;
  packet.interfaceIndex = wordAt(captured, 4);
  packet.isOutgoing =
      byteAt(captured, 10) == PACKET_OUTGOING || packet.interfaceIndex == kLoopbackIndex;
  const auto transport = readIp(shortAt(captured, 0), captured.subspan(kCookedHeaderSize), packet);
  if (!transport || transport->bytes.size() < kPortsSize) return std::nullopt;
  if (transport->protocol != IPPROTO_TCP && transport->protocol != IPPROTO_UDP) return std::nullopt;
  packet.protocol = transport->protocol == IPPROTO_TCP ? snapshot::SocketProtocol::TCP
                                                       : snapshot::SocketProtocol::UDP;
  packet.sourcePort = shortAt(transport->bytes, 0);
  packet.destinationPort = shortAt(transport->bytes, 2);
  return packet;
}

}  // namespace egress::live
