#include "egress_live/linux/stacked_interfaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/rtnetlink.h>

#include "tests/egress_live/linux/netlink_builder.h"

namespace egress::live {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

Message link(int index) {
  ifinfomsg header{};
  header.ifi_index = index;
  return {RTM_NEWLINK, header};
}

StackedInterfaces read(std::initializer_list<Message> messages) {
  return stackedInterfacesIn({.bytes = joined(messages)});
}

TEST(StackedInterfacesIn, PortsAreBelowTheirBridgeAndLinksBelowTheirVlan) {
  EXPECT_THAT(read({link(2).with(IFLA_MASTER, std::uint32_t{9}),
                    link(3).with(IFLA_MASTER, std::uint32_t{9}), link(9),
                    link(10).with(IFLA_LINK, std::uint32_t{9})}),
              ElementsAre(Pair(2, 9), Pair(3, 9), Pair(9, 10)));
  EXPECT_THAT(read({link(2), link(3)}), IsEmpty());
}

TEST(StackedInterfacesIn, AnInterfaceHasBothAMasterAndALink) {
  EXPECT_THAT(read({link(5).with(IFLA_LINK, std::uint32_t{2}).with(IFLA_MASTER, std::uint32_t{9})}),
              ElementsAre(Pair(2, 5), Pair(5, 9)));
}

TEST(StackedInterfacesIn, TheEndsOfAVethAreNotStacked) {
  EXPECT_THAT(read({link(2).with(IFLA_LINK, std::uint32_t{3}),
                    link(3).with(IFLA_LINK, std::uint32_t{2}).with(IFLA_MASTER, std::uint32_t{9})}),
              ElementsAre(Pair(3, 9)));
}

TEST(StackedInterfacesIn, ALinkInAnotherNamespaceIsNoInterfaceHere) {
  EXPECT_THAT(
      read({link(2).with(IFLA_LINK, std::uint32_t{3}).with(IFLA_LINK_NETNSID, std::uint32_t{0})}),
      IsEmpty());
}

TEST(StackedInterfacesIn, MessagesThatAreTooShortAreRefused) {
  EXPECT_THROW(read({Message(RTM_NEWLINK, std::uint32_t{0})}), EnumerationError);
  EXPECT_THROW(read({link(2).with(IFLA_MASTER, std::uint16_t{9})}), EnumerationError);
  EXPECT_THROW(read({link(2).with(IFLA_LINK, std::uint16_t{9})}), EnumerationError);
}

}  // namespace
}  // namespace egress::live
