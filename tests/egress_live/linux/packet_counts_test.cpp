#include "egress_live/linux/packet_counts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace egress::live {
namespace {

using snapshot::SeenPackets;
using snapshot::Socket;
using snapshot::SocketProtocol;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view kEndpoint = "198.51.100.10";

ActiveEndpoint endpoint(std::string_view address = kEndpoint) {
  return {.status = ActiveEndpointStatus::OK, .address = parseNumericAddress(address), .port = 443};
}

Socket socket(std::string local, std::uint32_t localPort = 51000,
              SocketProtocol protocol = SocketProtocol::TCP) {
  Socket made;
  made.protocol = protocol;
  made.localAddress = std::move(local);
  made.localPort = localPort;
  made.remoteAddress = kEndpoint;
  made.remotePort = 443;
  return made;
}

CapturedPacket packet(std::string_view source, std::uint32_t interfaceIndex) {
  return {.interfaceIndex = interfaceIndex,
          .isOutgoing = true,
          .protocol = SocketProtocol::TCP,
          .sourceAddress = parseNumericAddress(source),
          .sourcePort = 51000,
          .destinationAddress = parseNumericAddress(kEndpoint),
          .destinationPort = 443};
}

auto seen(std::uint32_t interfaceIndex, std::uint32_t count) {
  return testing::AllOf(testing::Field(&SeenPackets::interfaceIndex, interfaceIndex),
                        testing::Field(&SeenPackets::count, count));
}

TEST(PacketCounts, CountsForEachSocketByInterface) {
  std::vector<Socket> rows = {socket("10.0.0.9"), socket("10.0.0.7"), socket("10.0.0.8")};
  PacketCounts counts(endpoint(), rows);
  EXPECT_FALSE(counts.isEmpty());
  for (const std::uint32_t interfaceIndex : {11U, 5U, 11U, 7U, 11U}) {
    counts.add(packet("10.0.0.7", interfaceIndex));
  }
  counts.add(packet("10.0.0.9", 5));
  counts.moveTo(rows);
  EXPECT_THAT(rows[0].seenPackets, ElementsAre(seen(5, 1)));
  EXPECT_THAT(rows[1].seenPackets, ElementsAre(seen(5, 1), seen(7, 1), seen(11, 3)));
  EXPECT_THAT(rows[2].seenPackets, IsEmpty());
}

TEST(PacketCounts, ReplacesThePacketsThatWereSeenBefore) {
  std::vector<Socket> rows = {socket("10.0.0.7"), socket("10.0.0.7")};
  rows[0].seenPackets = {{.interfaceIndex = 9, .count = 9}};
  rows[1].seenPackets = {{.interfaceIndex = 9, .count = 9}};
  rows[1].remotePort = 444;
  PacketCounts counts(endpoint(), rows);
  counts.moveTo(rows);
  EXPECT_THAT(rows[0].seenPackets, IsEmpty());
  EXPECT_THAT(rows[1].seenPackets, ElementsAre(seen(9, 9)));  // it does not go to the endpoint
}

TEST(PacketCounts, SocketsWithTheSameEndsShareTheirPackets) {
  std::vector<Socket> rows = {socket("10.0.0.7"), socket("10.0.0.7")};
  PacketCounts counts(endpoint(), rows);
  counts.add(packet("10.0.0.7", 5));
  counts.moveTo(rows);
  EXPECT_THAT(rows[0].seenPackets, ElementsAre(seen(5, 1)));
  EXPECT_THAT(rows[1].seenPackets, ElementsAre(seen(5, 1)));
}

TEST(PacketCounts, AddressesAreComparedByValue) {
  std::vector<Socket> rows = {socket("2001:DB8::7"), socket("fe80::1%eth0")};
  for (Socket& row : rows) row.remoteAddress = "2001:0db8::0010";
  PacketCounts counts(endpoint("2001:db8::10"), rows);
  for (const std::string_view source : {"2001:db8::7", "fe80::1"}) {
    CapturedPacket one = packet(source, 5);
    one.destinationAddress = parseNumericAddress("2001:db8::10");
    counts.add(one);
  }
  counts.moveTo(rows);
  EXPECT_THAT(rows[0].seenPackets, ElementsAre(seen(5, 1)));
  EXPECT_THAT(rows[1].seenPackets, ElementsAre(seen(5, 1)));
}

TEST(PacketCounts, APacketCountsOnlyIfBothEndsProtocolAndDirectionAreThoseOfTheSocket) {
  std::vector<Socket> rows = {socket("10.0.0.7")};
  PacketCounts counts(endpoint(), rows);
  using Change = void (*)(CapturedPacket&);
  for (const Change change : std::to_array<Change>({
           [](CapturedPacket& one) { one.isOutgoing = false; },
           [](CapturedPacket& one) { one.protocol = SocketProtocol::UDP; },
           [](CapturedPacket& one) { one.sourceAddress = parseNumericAddress("10.0.0.8"); },
           [](CapturedPacket& one) { one.sourceAddress = parseNumericAddress("::ffff:10.0.0.7"); },
           [](CapturedPacket& one) { one.sourceAddress = parseNumericAddress("a00:7::"); },
           [](CapturedPacket& one) { one.sourcePort = 51001; },
           [](CapturedPacket& one) { one.destinationAddress = parseNumericAddress("10.0.0.7"); },
           [](CapturedPacket& one) { one.destinationPort = 444; },
       })) {
    CapturedPacket other = packet("10.0.0.7", 5);
    change(other);
    counts.add(other);
  }
  counts.moveTo(rows);
  EXPECT_THAT(rows[0].seenPackets, IsEmpty());
}

TEST(PacketCounts, OnlySocketsToTheEndpointHavePackets) {
  std::vector<Socket> rows = {socket("10.0.0.7"), socket("10.0.0.7")};
  rows[0].remotePort = 444;
  rows[1].remoteAddress = "198.51.100.11";
  EXPECT_TRUE(PacketCounts(endpoint(), rows).isEmpty());
  EXPECT_TRUE(PacketCounts(endpoint("::ffff:198.51.100.10"), {socket("10.0.0.7")}).isEmpty());
  EXPECT_FALSE(PacketCounts(endpoint(), {socket("10.0.0.7")}).isEmpty());
  ActiveEndpoint unknown = endpoint();
  unknown.status = ActiveEndpointStatus::OUTBOUND_NOT_FOUND;
  EXPECT_TRUE(PacketCounts(unknown, {socket("10.0.0.7")}).isEmpty());
}

TEST(PacketCounts, ASocketWithoutNumericAddressHasNoPackets) {
  std::vector<Socket> rows = {socket("localhost")};
  PacketCounts counts(endpoint(), rows);
  counts.add(packet("0.0.0.0", 5));
  counts.moveTo(rows);
  EXPECT_THAT(rows[0].seenPackets, IsEmpty());
}

TEST(PacketCounts, OfStackedInterfacesOnlyTheUppermostIsLeft) {
  std::vector<Socket> rows = {socket("10.0.0.7"), socket("10.0.0.8"), socket("10.0.0.9")};
  PacketCounts counts(endpoint(), rows);
  counts.add(packet("10.0.0.8", 2));
  EXPECT_FALSE(counts.areOnSeveral());
  for (const std::uint32_t interfaceIndex : {2U, 4U, 6U, 9U}) {
    counts.add(packet("10.0.0.7", interfaceIndex));
  }
  EXPECT_TRUE(counts.areOnSeveral());
  counts.leaveUppermost({{2, 4}, {4, 6}, {9, 10}});  // a link, its bond and its VLAN
  counts.moveTo(rows);
  EXPECT_THAT(rows[0].seenPackets, ElementsAre(seen(6, 1), seen(9, 1)));
  EXPECT_THAT(rows[1].seenPackets, ElementsAre(seen(2, 1)));
  EXPECT_THAT(rows[2].seenPackets, IsEmpty());
}

TEST(PacketCounts, ACountEndsAtItsLargestValue) {
  EXPECT_EQ(incrementSaturated(0), 1);
  EXPECT_EQ(incrementSaturated(4294967294), 4294967295);
  EXPECT_EQ(incrementSaturated(4294967295), 4294967295);
}

}  // namespace
}  // namespace egress::live
