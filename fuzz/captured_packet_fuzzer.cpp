// Reads any bytes as a captured packet. Everything in the record stands in the bytes, and a packet
// that is cut off gives the same record or none.
//
// captured_packet_corpus.py made the corpus.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <tuple>
#include <vector>

#include "egress_live/linux/captured_packet.h"
#include "fuzz/fuzz_target.h"

namespace egress::fuzz {
namespace {

using live::CapturedPacket;

constexpr std::size_t kCuts = 300;  // sizes to cut a packet to, more than a capture has

// In an allocation of exactly its size, so that a sanitizer sees a read past the end.
std::optional<CapturedPacket> read(std::string_view bytes) {
  const auto data = std::as_bytes(std::span(bytes));
  return live::packetIn(std::vector<std::byte>(data.begin(), data.end()));
}

auto valuesOf(const CapturedPacket& packet) {
  const NumericAddress& source = packet.sourceAddress;
  const NumericAddress& destination = packet.destinationAddress;
  return std::tuple(packet.interfaceIndex, packet.isOutgoing, packet.protocol, source.valid,
                    source.family, source.bytes, packet.sourcePort, destination.valid,
                    destination.family, destination.bytes, packet.destinationPort);
}

bool isSame(const std::optional<CapturedPacket>& a, const std::optional<CapturedPacket>& b) {
  if (!a || !b) return a.has_value() == b.has_value();
  return valuesOf(*a) == valuesOf(*b);
}

// Whether the bytes are in the packet at an offset.
bool hasAt(std::string_view packet, std::size_t at, std::span<const std::uint8_t> bytes) {
  if (at > packet.size() || packet.size() - at < bytes.size()) return false;
  return std::ranges::equal(packet.substr(at, bytes.size()), bytes, {},
                            [](char c) { return static_cast<std::uint8_t>(c); });
}

std::array<std::uint8_t, 4> bytesOf(std::uint32_t word) {
  const auto byte = [word](unsigned shift) { return static_cast<std::uint8_t>(word >> shift); };
  return {byte(24), byte(16), byte(8), byte(0)};
}

bool areAddresses(std::string_view bytes, const CapturedPacket& packet) {
  const NumericAddress& source = packet.sourceAddress;
  const NumericAddress& destination = packet.destinationAddress;
  if (!source.valid || !destination.valid || source.family != destination.family) return false;
  const std::size_t ip = live::kCookedHeaderSize;
  if (source.family == 4) {
    return hasAt(bytes, ip + 12, std::span(source.bytes).first(4)) &&
           hasAt(bytes, ip + 16, std::span(destination.bytes).first(4));
  }
  return source.family == 6 && hasAt(bytes, ip + 8, source.bytes) &&
         hasAt(bytes, ip + 24, destination.bytes);
}

// Behind an IP header, both ports at a multiple of 4 bytes: of 8 behind that of IPv6.
std::optional<std::size_t> endOfPorts(std::string_view bytes, const CapturedPacket& packet) {
  const auto ports = bytesOf(packet.sourcePort << 16U | packet.destinationPort);
  const bool isIpv4 = packet.sourceAddress.family == 4;
  const std::size_t step = isIpv4 ? 4 : 8;
  std::size_t at = live::kCookedHeaderSize + (isIpv4 ? 20 : live::kIpv6HeaderSize);
  for (; at < bytes.size(); at += step) {
    const std::size_t end = at + ports.size();
    if (hasAt(bytes, at, ports) && read(bytes.substr(0, end)) && !read(bytes.substr(0, end - 1))) {
      return end;
    }
  }
  return std::nullopt;
}

}  // namespace

test::Violation check(std::string_view bytes) {
  const auto packet = read(bytes);
  for (std::size_t size = 0; size < std::min(bytes.size(), kCuts); ++size) {
    const auto cut = read(bytes.substr(0, size));
    if (cut && !isSame(cut, packet)) return "another packet when it is cut off";
  }
  if (!packet) return {};
  if (!hasAt(bytes, 4, bytesOf(packet->interfaceIndex))) return "not its interface";
  if (packet->sourcePort > 65535 || packet->destinationPort > 65535) return "not a port";
  if (!areAddresses(bytes, *packet)) return "not its addresses";
  return endOfPorts(bytes, *packet) ? "" : "not its ports";
}

}  // namespace egress::fuzz
