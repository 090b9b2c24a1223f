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
using snapshot::InterfaceKind;
using testing::ElementsAre;
using testing::Field;

const Bytes kIpv4 = bytesOfText("\xC0\x01\x02\x03");  // 192.1.2.3
const Bytes kPeer = bytesOfText("\xC0\x01\x02\x04");

Message link(int index) {
  ifinfomsg header{};
  header.ifi_index = index;
  return {RTM_NEWLINK, header};
}

// A link of a kind, as ip-link(8) names it.
Message linkOfKind(const Bytes& kind) {
  return link(1).with(IFLA_LINKINFO,
                      attributes({{IFLA_INFO_DATA, Bytes(5)}, {IFLA_INFO_KIND, kind}}));
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
    return Adapter{.name = "", .interfaceIndex = index, .addresses = {}, .kind = {}};
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

TEST(LinksIn, ReadsTheKind) {
  using enum InterfaceKind;
  struct Row {
    std::string_view linuxKind;
    InterfaceKind kind;
  };
  for (const Row& row : {Row{"tun", TUNNEL},
                         Row{"wireguard", TUNNEL},
                         Row{"gre", TUNNEL},
                         Row{"gretap", TUNNEL},
                         Row{"ip6gre", TUNNEL},
                         Row{"ip6gretap", TUNNEL},
                         Row{"ipip", TUNNEL},
                         Row{"ip6tnl", TUNNEL},
                         Row{"sit", TUNNEL},
                         Row{"vti", TUNNEL},
                         Row{"vti6", TUNNEL},
                         Row{"xfrm", TUNNEL},
                         Row{"vxlan", TUNNEL},
                         Row{"geneve", TUNNEL},
                         Row{"ppp", TUNNEL},
                         Row{"erspan", TUNNEL},
                         Row{"ip6erspan", TUNNEL},
                         Row{"veth", OTHER},
                         Row{"bridge", OTHER},
                         Row{"tu", OTHER},
                         Row{"tunx", OTHER},
                         Row{"TUN", OTHER},
                         Row{"", OTHER}}) {
    for (const std::string& end : {std::string(), std::string(1, '\0')}) {
      const Bytes kind = bytesOfText(std::string(row.linuxKind) + end);
      EXPECT_THAT(linksIn(replyWith({linkOfKind(kind)})),
                  ElementsAre(Field(&Adapter::kind, row.kind)))
          << row.linuxKind;
    }
  }
}

TEST(LinksIn, TheLoopbackIsNamedByAFlag) {
  ifinfomsg header{};
  header.ifi_index = 1;
  header.ifi_flags = IFF_LOOPBACK | IFF_UP;
  const Message loopback = {RTM_NEWLINK, header};
  EXPECT_THAT(linksIn(replyWith({loopback})),
              ElementsAre(Field(&Adapter::kind, InterfaceKind::LOOPBACK)));
  header.ifi_flags = IFF_UP | IFF_POINTOPOINT;
  const Message physical = {RTM_NEWLINK, header};
  EXPECT_THAT(linksIn(replyWith({physical})),
              ElementsAre(Field(&Adapter::kind, InterfaceKind::OTHER)));
}

TEST(LinksIn, AKindThatIsCutOffIsNotRead) {
  const Message whole = linkOfKind(bytesOfText("tun"));
  for (std::size_t size = link(1).size(); size < whole.size(); ++size) {
    EXPECT_THAT(linksIn({.bytes = whole.first(size)}),
                ElementsAre(Field(&Adapter::kind, InterfaceKind::OTHER)));
  }
  const Bytes inner = attributes({{IFLA_INFO_KIND, bytesOfText("tun")}});
  for (std::size_t size = 0; size < inner.size(); ++size) {
    const Bytes cut(inner.begin(), inner.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_THAT(linksIn(replyWith({link(1).with(IFLA_LINKINFO, cut)})),
                ElementsAre(Field(&Adapter::kind, InterfaceKind::OTHER)));
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
