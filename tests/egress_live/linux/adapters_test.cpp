#include "egress_live/linux/adapters.h"

#include <array>
#include <string>
#include <sys/socket.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>

#include "tests/egress_live/linux/netlink_builder.h"

namespace egress::live {
namespace {

using snapshot::Adapter;
using testing::ElementsAre;
using testing::Field;

const Bytes kIpv4 = bytesOfText("\xC0\x01\x02\x03");  // 192.1.2.3
const Bytes kPeer = bytesOfText("\xC0\x01\x02\x04");

Message link(int index) {
  ifinfomsg header{};
  header.ifi_index = index;
  return {RTM_NEWLINK, header};
}

Message address(int family, std::uint32_t index) {
  ifaddrmsg header{};
  header.ifa_family = static_cast<std::uint8_t>(family);
  header.ifa_index = index;
  return {RTM_NEWADDR, header};
}

// Interfaces with these indexes.
Adapters adapters(std::initializer_list<std::uint32_t> indexes) {
  Adapters rows(indexes.size());
  std::ranges::transform(indexes, rows.begin(), [](std::uint32_t index) {
    return Adapter{.name = "", .interfaceIndex = index, .addresses = {}};
  });
  return rows;
}

TEST(LinksIn, ReadsNameIndexAndState) {
  const Adapters rows = linksIn(replyWith({link(7)
                                               .with(IFLA_IFNAME, bytesOfText({"eth0\0", 5}))
                                               .with(IFLA_OPERSTATE, std::uint8_t{IF_OPER_UP})}));
  ASSERT_EQ(rows.size(), 1);
  EXPECT_EQ(rows[0].name, "eth0");
  EXPECT_EQ(rows[0].interfaceIndex, 7);
  EXPECT_EQ(rows[0].operStatus, 1);
  EXPECT_EQ(rows[0].interfaceMetric, 0);
  EXPECT_THAT(rows[0].addresses, ElementsAre());
}

TEST(LinksIn, NumbersEveryStateAsRfc2863) {
  struct Row {
    int linuxState;
    std::int32_t operStatus;
  };
  for (const Row& row : {Row{IF_OPER_UNKNOWN, 4}, Row{IF_OPER_NOTPRESENT, 6}, Row{IF_OPER_DOWN, 2},
                         Row{IF_OPER_LOWERLAYERDOWN, 7}, Row{IF_OPER_TESTING, 3},
                         Row{IF_OPER_DORMANT, 5}, Row{IF_OPER_UP, 1}, Row{7, 4}, Row{255, 4}}) {
    const auto state = static_cast<std::uint8_t>(row.linuxState);
    EXPECT_THAT(linksIn(replyWith({link(1).with(IFLA_OPERSTATE, state)})),
                ElementsAre(Field(&Adapter::operStatus, row.operStatus)))
        << row.linuxState;
  }
}

TEST(LinksIn, AcceptsANameWithoutAZeroByteAndMissingAttributes) {
  const Adapters rows = linksIn(replyWith({link(1).with(IFLA_IFNAME, bytesOfText("lo")), link(2)}));
  EXPECT_THAT(rows, ElementsAre(Field(&Adapter::name, "lo"), Field(&Adapter::name, "")));
  EXPECT_EQ(rows[1].operStatus, 4);
}

TEST(LinksIn, SortsByIndexAndKeepsTheLastOfARepeatedOne) {
  const auto named = [](int index, std::string_view name) {
    return link(index).with(IFLA_IFNAME, bytesOfText(name));
  };
  EXPECT_THAT(linksIn(replyWith({named(9, "c"), named(2, "a"), named(9, "b")})),
              ElementsAre(Field(&Adapter::name, "a"), Field(&Adapter::name, "b")));
}

TEST(LinksIn, AnEmptyReplyHasNone) {
  EXPECT_THAT(linksIn({}), ElementsAre());
}

TEST(LinksIn, RejectsShortMessagesAndStates) {
  const Message message = link(1);
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(static_cast<void>(linksIn({.bytes = message.first(size)})), EnumerationError);
  }
  EXPECT_THROW(static_cast<void>(linksIn(replyWith({link(1).with(IFLA_OPERSTATE, Bytes{})}))),
               EnumerationError);
}

TEST(LinksIn, ReadsNothingBehindACutMessage) {
  const Message message =
      link(1).with(IFLA_IFNAME, bytesOfText("eth0")).with(IFLA_OPERSTATE, std::uint8_t{IF_OPER_UP});
  for (std::size_t size = sizeof(nlmsghdr) + sizeof(ifinfomsg); size < message.size(); ++size) {
    EXPECT_THAT(linksIn({.bytes = message.first(size)}),
                ElementsAre(Field(&Adapter::operStatus, 4)));
  }
}

TEST(AddAddresses, AddsThoseOfBothFamiliesToTheirInterfaces) {
  Adapters rows = adapters({3, 5});
  Bytes ipv6(16);
  ipv6.back() = std::byte{1};
  EXPECT_TRUE(addAddresses(replyWith({address(AF_INET, 5).with(IFA_LOCAL, kIpv4),
                                      address(AF_INET6, 5).with(IFA_ADDRESS, ipv6)}),
                           rows));
  EXPECT_THAT(rows[0].addresses, ElementsAre());
  EXPECT_THAT(rows[1].addresses, ElementsAre("192.1.2.3", "::1"));
}

TEST(AddAddresses, PrefersTheLocalAddressToThatOfThePeer) {
  Adapters rows = adapters({5});
  EXPECT_TRUE(addAddresses(
      replyWith({address(AF_INET, 5).with(IFA_ADDRESS, kPeer).with(IFA_LOCAL, kIpv4)}), rows));
  EXPECT_THAT(rows[0].addresses, ElementsAre("192.1.2.3"));
}

TEST(AddAddresses, IgnoresOtherFamiliesAndMessagesWithoutAnAddress) {
  Adapters rows = adapters({5});
  constexpr std::uint32_t kUnknown = 99;
  EXPECT_TRUE(addAddresses(replyWith({address(AF_PHONET, kUnknown).with(IFA_LOCAL, kIpv4),
                                      address(AF_INET, 5), address(AF_INET6, kUnknown)}),
                           rows));
  EXPECT_THAT(rows[0].addresses, ElementsAre());
}

TEST(AddAddresses, DetectsAnInterfaceThatIsMissing) {
  for (const std::uint32_t index : {0U, 4U, 6U}) {
    Adapters rows = adapters({3, 5});
    EXPECT_FALSE(addAddresses(replyWith({address(AF_INET, index).with(IFA_LOCAL, kIpv4),
                                         address(AF_INET, 5).with(IFA_LOCAL, kPeer)}),
                              rows));
    EXPECT_THAT(rows[1].addresses, ElementsAre("192.1.2.4"));
  }
}

TEST(AddAddresses, RejectsShortMessagesAndAddresses) {
  Adapters rows = adapters({5});
  const Message message = address(AF_INET, 5);
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(static_cast<void>(addAddresses({.bytes = message.first(size)}, rows)),
                 EnumerationError);
  }
  for (const int family : {AF_INET, AF_INET6}) {
    EXPECT_THROW(static_cast<void>(
                     addAddresses(replyWith({address(family, 5).with(IFA_LOCAL, Bytes(3))}), rows)),
                 EnumerationError);
  }
}

}  // namespace
}  // namespace egress::live
