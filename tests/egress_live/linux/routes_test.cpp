#include "egress_live/linux/routes.h"

#include <array>
#include <optional>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/rtnetlink.h>

#include "tests/egress_live/linux/netlink_builder.h"

namespace egress::live {
namespace {

using testing::ElementsAre;
using testing::Optional;

Message route(int family, int type = RTN_UNICAST, int prefixLength = 0) {
  rtmsg header{};
  header.rtm_family = static_cast<std::uint8_t>(family);
  header.rtm_type = static_cast<std::uint8_t>(type);
  header.rtm_dst_len = static_cast<std::uint8_t>(prefixLength);
  return {RTM_NEWROUTE, header};
}

// A next hop, with attributes of its own.
Bytes nextHop(int index, std::size_t attributesSize = 0) {
  rtnexthop hop{};
  hop.rtnh_len = static_cast<std::uint16_t>(sizeof(hop) + attributesSize);
  hop.rtnh_ifindex = index;
  Bytes bytes = bytesOfValue(hop);
  bytes.resize(sizeof(hop) + aligned(attributesSize));
  return bytes;
}

Bytes operator+(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

auto isRow(int family, std::uint32_t index, std::uint32_t metric) {
  return testing::AllOf(testing::Field(&RouteRow::family, family),
                        testing::Field(&RouteRow::interfaceIndex, index),
                        testing::Field(&RouteRow::routeMetric, metric));
}

// Without next-hop objects.
std::vector<RouteRow> routesIn(const NetlinkReply& reply, int family) {
  return defaultRoutesIn(reply, family, {}).value();
}

std::vector<RouteRow> ipv4RoutesIn(const Message& message) {
  return routesIn(replyWith({message}), AF_INET);
}

TEST(DefaultRoutesIn, ReadsInterfaceAndMetric) {
  EXPECT_THAT(routesIn(replyWith({route(AF_INET).with(RTA_OIF, 3),
                                  route(AF_INET).with(RTA_OIF, 4).with(RTA_PRIORITY, -1)}),
                       AF_INET),
              ElementsAre(isRow(4, 3, 0), isRow(4, 4, 4294967295)));
  EXPECT_THAT(routesIn(replyWith({route(AF_INET6).with(RTA_OIF, 3)}), AF_INET6),
              ElementsAre(isRow(6, 3, 0)));
}

TEST(DefaultRoutesIn, IgnoresRoutesOfOtherFamiliesTypesAndPrefixes) {
  for (const Message& other : {route(AF_INET6), route(AF_PHONET), route(AF_INET, RTN_UNREACHABLE),
                               route(AF_INET, RTN_BLACKHOLE), route(AF_INET, RTN_PROHIBIT),
                               route(AF_INET, RTN_THROW), route(AF_INET, RTN_LOCAL),
                               route(AF_INET, RTN_UNICAST, 1), route(AF_INET, RTN_UNICAST, 32)}) {
    EXPECT_THAT(routesIn(replyWith({Message(other).with(RTA_OIF, 3)}), AF_INET), ElementsAre());
    EXPECT_THAT(ipv4RoutesIn(other), ElementsAre());  // they may have no interface
  }
}

TEST(DefaultRoutesIn, EachNextHopGivesARow) {
  EXPECT_THAT(ipv4RoutesIn(route(AF_INET)
                               .with(RTA_PRIORITY, 100)
                               .with(RTA_MULTIPATH, nextHop(3) + nextHop(4, 8) + nextHop(5, 1))),
              ElementsAre(isRow(4, 3, 100), isRow(4, 4, 100), isRow(4, 5, 100)));
}

TEST(DefaultRoutesIn, RejectsNextHopsThatAreCutOff) {
  const Bytes hops = nextHop(3) + nextHop(4, 8) + nextHop(5);
  for (std::size_t size = 0; size < hops.size(); ++size) {
    const Bytes cut(hops.begin(), hops.begin() + static_cast<std::ptrdiff_t>(size));
    const Message message = route(AF_INET).with(RTA_MULTIPATH, cut);
    const auto rows = [&message] { return ipv4RoutesIn(message); };
    switch (size) {
      case 0: EXPECT_THAT(rows(), ElementsAre()); break;
      case 8: EXPECT_THAT(rows(), ElementsAre(isRow(4, 3, 0))); break;
      case 24: EXPECT_THAT(rows(), ElementsAre(isRow(4, 3, 0), isRow(4, 4, 0))); break;
      default: EXPECT_THROW(static_cast<void>(rows()), EnumerationError) << size; break;
    }
  }
}

TEST(DefaultRoutesIn, RejectsNextHopsWithALengthThatDoesNotFit) {
  for (const auto length : std::to_array<std::uint16_t>({0, 1, 7, 17, 65535})) {
    rtnexthop hop{};
    hop.rtnh_len = length;
    EXPECT_THROW(static_cast<void>(ipv4RoutesIn(
                     route(AF_INET).with(RTA_MULTIPATH, bytesOfValue(hop) + nextHop(4)))),
                 EnumerationError)
        << length;
  }
}

TEST(DefaultRoutesIn, EachInterfaceOfANextHopObjectGivesARow) {
  const NextHops nextHops = {{5, {.interfaceIndex = 3, .members = {}}},
                             {6, {.interfaceIndex = 4, .members = {}}},
                             {7, {.interfaceIndex = {}, .members = {6, 5}}},
                             {8, {.interfaceIndex = {}, .members = {5, 9}}},
                             {10, {}}};
  const auto rowsOf = [&nextHops](int id) {
    const Message message = route(AF_INET6).with(RTA_PRIORITY, 100).with(RTA_NH_ID, id);
    return defaultRoutesIn(replyWith({route(AF_INET6).with(RTA_OIF, 2), message}), AF_INET6,
                           nextHops);
  };
  EXPECT_THAT(rowsOf(5), Optional(ElementsAre(isRow(6, 2, 0), isRow(6, 3, 100))));
  EXPECT_THAT(rowsOf(7), Optional(ElementsAre(isRow(6, 2, 0), isRow(6, 4, 100), isRow(6, 3, 100))));
  EXPECT_THAT(rowsOf(10), Optional(ElementsAre(isRow(6, 2, 0))));  // a blackhole
  EXPECT_EQ(rowsOf(9), std::nullopt);
  EXPECT_EQ(rowsOf(8), std::nullopt);  // a member is not there
}

TEST(DefaultRoutesIn, TheInterfaceOfARouteCountsBeforeItsNextHopObject) {
  EXPECT_THAT(ipv4RoutesIn(route(AF_INET).with(RTA_NH_ID, 5).with(RTA_OIF, 3)),
              ElementsAre(isRow(4, 3, 0)));
  EXPECT_THAT(ipv4RoutesIn(route(AF_INET).with(RTA_NH_ID, 5).with(RTA_MULTIPATH, nextHop(3))),
              ElementsAre(isRow(4, 3, 0)));
}

TEST(DefaultRoutesIn, RejectsARouteWithoutAnInterface) {
  EXPECT_THROW(static_cast<void>(ipv4RoutesIn(route(AF_INET).with(RTA_PRIORITY, 1))),
               EnumerationError);
}

TEST(DefaultRoutesIn, RejectsShortMessagesAndAttributes) {
  const Message message = route(AF_INET);
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(static_cast<void>(routesIn({.bytes = message.first(size)}, AF_INET)),
                 EnumerationError);
  }
  for (std::size_t size = 0; size < sizeof(std::uint32_t); ++size) {
    EXPECT_THROW(static_cast<void>(ipv4RoutesIn(route(AF_INET).with(RTA_OIF, Bytes(size)))),
                 EnumerationError);
    EXPECT_THROW(static_cast<void>(
                     ipv4RoutesIn(route(AF_INET).with(RTA_OIF, 3).with(RTA_PRIORITY, Bytes(size)))),
                 EnumerationError);
  }
}

}  // namespace
}  // namespace egress::live
