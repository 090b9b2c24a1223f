#ifndef EGRESS_LIVE_LINUX_CAPTURED_PACKET_H
#define EGRESS_LIVE_LINUX_CAPTURED_PACKET_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "egress/config/numeric_address.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// Sizes of headers, in bytes.
inline constexpr std::size_t kCookedHeaderSize = 20;
inline constexpr std::size_t kLargestIpv4HeaderSize = 60;
inline constexpr std::size_t kIpv6HeaderSize = 40;
inline constexpr std::size_t kPortsSize = 4;  // both ports, where TCP and UDP headers begin

// As many bytes of a packet as packetIn needs at most; of IPv6, with 20 bytes of extension headers.
inline constexpr std::size_t kCaptureSize = kCookedHeaderSize + kLargestIpv4HeaderSize + kPortsSize;

// The loopback interface of every network namespace. libpcap leaves out that it sends a packet,
// because it then receives it.
inline constexpr std::uint32_t kLoopbackIndex = 1;

// One packet of TCP or UDP, as one interface sent or received it.
struct CapturedPacket {
  std::uint32_t interfaceIndex = 0;
  bool isOutgoing = false;  // sent by this host; on the loopback interface every packet is
  snapshot::SocketProtocol protocol = snapshot::SocketProtocol::TCP;
  NumericAddress sourceAddress;  // valid
  std::uint32_t sourcePort = 0;
  NumericAddress destinationAddress;  // valid
  std::uint32_t destinationPort = 0;
};

// Reads the beginning of a packet: the cooked header of version 2 (LINKTYPE_LINUX_SLL2), IPv4 (RFC
// 791) or IPv6 (RFC 8200), and the ports of TCP (RFC 9293) or UDP (RFC 768).
//
// Options of IPv4 are skipped, of IPv6 hop-by-hop options, destination options, routing and
// fragment headers. Nothing for any other packet, for a fragment that is not the first and so has
// no ports, and if the bytes end before the ports do. The lengths of the packet itself are not
// compared: a packet that the interface is to divide may be too long for them, and then has 0.
[[nodiscard]] std::optional<CapturedPacket> packetIn(std::span<const std::byte> captured) noexcept;

}  // namespace egress::live

#endif
