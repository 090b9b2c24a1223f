#include "egress_live/linux/captured_packet.h"

#include <array>
#include <vector>

#include <gtest/gtest.h>

#include "tests/egress_live/linux/packet_builder.h"
#include "tests/support/exact_text.h"

namespace egress::live {
namespace {

using snapshot::SocketProtocol;

constexpr int kIpv4 = 0x0800;
constexpr int kIpv6 = 0x86DD;
constexpr int kTcp = 6;
constexpr int kUdp = 17;
constexpr int kHopByHop = 0;
constexpr int kRouting = 43;
constexpr int kFragment = 44;
constexpr int kDestination = 60;

std::optional<CapturedPacket> read(std::string_view bytes) {
  const test::ExactText exact(bytes);
  return packetIn(std::as_bytes(std::span(exact.view())));
}

std::string ipv4(int protocol, std::string_view options = {}, int flagsAndOffset = 0) {
  return cookedHeader(kIpv4) + ipv4Header(protocol, options, flagsAndOffset) + ports();
}

std::string ipv6(int nextHeader, std::string_view extensions = {}) {
  return cookedHeader(kIpv6) + ipv6Header(nextHeader) + std::string(extensions) + ports();
}

// An extension header of 8 bytes, and those after its first two.
std::string extension(int nextHeader, int length = 0, int byte2 = 0, int byte3 = 0) {
  return bytesOf({nextHeader, length, byte2, byte3, 0, 0, 0, 0});
}

void expectAddress(const NumericAddress& address, std::string_view text) {
  EXPECT_TRUE(sameNumericAddress(address, parseNumericAddress(text))) << text;
}

struct Row {
  std::string_view what;
  std::string bytes;
  bool isIpv4 = true;
  SocketProtocol protocol = SocketProtocol::TCP;
  bool isOutgoing = true;
};

const std::vector<Row> kPackets = {
    {.what = "TCP over IPv4", .bytes = ipv4(kTcp)},
    {.what = "UDP over IPv4", .bytes = ipv4(kUdp), .protocol = SocketProtocol::UDP},
    {.what = "one option word", .bytes = ipv4(kTcp, bytesOf({1, 1, 1, 0}))},
    {.what = "all option words", .bytes = ipv4(kTcp, std::string(40, '\x01'))},
    {.what = "do not fragment", .bytes = ipv4(kTcp, {}, 0x4000)},
    {.what = "the first fragment", .bytes = ipv4(kTcp, {}, 0x2000)},
    {.what = "a payload", .bytes = ipv4(kTcp) + "payload"},
    {.what = "TCP over IPv6", .bytes = ipv6(kTcp), .isIpv4 = false},
    {.what = "UDP over IPv6",
     .bytes = ipv6(kUdp),
     .isIpv4 = false,
     .protocol = SocketProtocol::UDP},
    {.what = "hop-by-hop options", .bytes = ipv6(kHopByHop, extension(kTcp)), .isIpv4 = false},
    {.what = "a routing header", .bytes = ipv6(kRouting, extension(kTcp)), .isIpv4 = false},
    {.what = "destination options", .bytes = ipv6(kDestination, extension(kTcp)), .isIpv4 = false},
    {.what = "a header of 16 bytes",
     .bytes = ipv6(kRouting, extension(kTcp, 1) + std::string(8, '\x2A')),
     .isIpv4 = false},
    {.what = "the first fragment of IPv6, its length field is reserved",
     .bytes = ipv6(kFragment, extension(kTcp, 255, 0, 1)),
     .isIpv4 = false},
    {.what = "all extensions",
     .bytes = ipv6(kHopByHop, extension(kDestination) + extension(kRouting) + extension(kFragment) +
                                  extension(kDestination) + extension(kUdp)),
     .isIpv4 = false,
     .protocol = SocketProtocol::UDP},
    {.what = "received",
     .bytes = cookedHeader(kIpv4, 0) + ipv4Header(kTcp) + ports(),
     .isOutgoing = false},
    {.what = "received for another host",
     .bytes = cookedHeader(kIpv4, 3) + ipv4Header(kTcp) + ports(),
     .isOutgoing = false},
    {.what = "an unknown packet type",
     .bytes = cookedHeader(kIpv4, 5) + ipv4Header(kTcp) + ports(),
     .isOutgoing = false},
};

TEST(PacketIn, ReadsInterfaceDirectionProtocolAndBothEnds) {
  for (const Row& row : kPackets) {
    SCOPED_TRACE(row.what);
    const auto packet = read(row.bytes);
    ASSERT_TRUE(packet.has_value());
    EXPECT_EQ(packet->interfaceIndex, 0x01020304);
    EXPECT_EQ(packet->isOutgoing, row.isOutgoing);
    EXPECT_EQ(packet->protocol, row.protocol);
    EXPECT_EQ(packet->sourceAddress.family, row.isIpv4 ? 4 : 6);
    expectAddress(packet->sourceAddress, row.isIpv4 ? "10.0.0.7" : "2001:db8:1::2");
    EXPECT_EQ(packet->sourcePort, 51000);
    expectAddress(packet->destinationAddress, row.isIpv4 ? "198.51.100.10" : "2001:db8:f::10");
    EXPECT_EQ(packet->destinationPort, 443);
  }
}

// The ports are the last that is read, so that a packet is nothing without their last byte, and the
// same without what follows.
TEST(PacketIn, APacketThatIsCutOffBeforeItsPortsIsNothing) {
  for (const Row& row : kPackets) {
    SCOPED_TRACE(row.what);
    const std::size_t end = row.bytes.find(ports()) + ports().size();
    test::forEveryCut(row.bytes, [end](std::string_view cut) {
      EXPECT_EQ(read(cut).has_value(), cut.size() >= end) << cut.size();
    });
  }
}

struct NothingRow {
  std::string_view what;
  std::string bytes;
};

TEST(PacketIn, OnTheLoopbackInterfaceAPacketIsOutgoingAsItArrives) {
  using namespace std::string_view_literals;
  struct IndexRow {
    std::string_view bytes;
    std::uint32_t index;
  };
  for (const IndexRow& row : std::to_array<IndexRow>({{"\0\0\0\1"sv, 1},
                                                      {"\0\0\0\2"sv, 2},
                                                      {"\1\0\0\1"sv, 0x01000001},
                                                      {"\xFF\xFF\xFF\xFF"sv, 0xFFFFFFFF}})) {
    const auto packet = read(cookedHeader(kIpv4, 0, row.bytes) + ipv4Header(kTcp) + ports());
    ASSERT_TRUE(packet.has_value());
    EXPECT_EQ(packet->interfaceIndex, row.index);
    EXPECT_EQ(packet->isOutgoing, row.index == 1);
  }
}

TEST(PacketIn, OtherPacketsAreNothing) {
  const auto changed = [](std::string bytes, std::size_t at, int value) {
    bytes.at(at) = static_cast<char>(value);
    return bytes;
  };
  for (const NothingRow& row : std::to_array<NothingRow>({
           {"ARP", cookedHeader(0x0806) + ipv4Header(kTcp) + ports()},
           {"a VLAN tag", cookedHeader(0x8100) + ipv4Header(kTcp) + ports()},
           {"IPv6 that is called IPv4", cookedHeader(kIpv4) + ipv6Header(kTcp) + ports()},
           {"IPv4 that is called IPv6",
            cookedHeader(kIpv6) + ipv4Header(kTcp) + ports() + std::string(40, '\0')},
           {"version 5", changed(ipv4(kTcp), kCookedHeaderSize, 0x55)},
           {"an IPv4 header of 16 bytes", changed(ipv4(kTcp), kCookedHeaderSize, 0x44)},
           {"an IPv4 header longer than the packet", changed(ipv4(kTcp), kCookedHeaderSize, 0x47)},
           {"ICMP", ipv4(1)},
           {"ICMPv6", ipv6(58)},
           {"SCTP", ipv4(132)},
           {"no next header", ipv6(59)},
           {"the numbers of IPv6 extensions in IPv4",
            cookedHeader(kIpv4) + ipv4Header(kHopByHop) + extension(kTcp) + ports()},
           {"authentication", ipv6(51, extension(kTcp))},
           {"encrypted", ipv6(50, extension(kTcp))},
           {"the second fragment", ipv4(kTcp, {}, 0x0001)},
           {"the last fragment", ipv4(kTcp, {}, 0x1000)},
           {"the second fragment of IPv6", ipv6(kFragment, extension(kTcp, 0, 0, 0x08))},
           {"the last fragment of IPv6", ipv6(kFragment, extension(kTcp, 0, 0x80, 0))},
           {"an extension longer than the packet", ipv6(kRouting, extension(kTcp, 1))},
           {"the longest extension", ipv6(kRouting, extension(kTcp, 255))},
           {"an extension in its own place", ipv6(kRouting, extension(kRouting))},
           {"another protocol behind an extension", ipv6(kRouting, extension(58))},
       })) {
    EXPECT_FALSE(read(row.bytes).has_value()) << row.what;
  }
}

TEST(PacketIn, TheCapturedSizeHoldsTheLongestIpv4Header) {
  EXPECT_EQ(kCaptureSize, 84);
  EXPECT_EQ(ipv4(kTcp, std::string(40, '\x01')).size(), kCaptureSize);
  EXPECT_TRUE(read((ipv4(kTcp, std::string(40, '\x01')) + "payload").substr(0, kCaptureSize)));
}

}  // namespace
}  // namespace egress::live
