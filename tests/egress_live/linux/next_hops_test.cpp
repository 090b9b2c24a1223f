#include "egress_live/linux/next_hops.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include "tests/egress_live/linux/netlink_builder.h"

namespace egress::live {
namespace {

using testing::ElementsAre;
using testing::Field;
using testing::Optional;
using testing::Pair;

Message nextHop() {
  return {RTM_NEWNEXTHOP, nhmsg{}};
}

Bytes groupOf(std::initializer_list<std::uint32_t> ids) {
  Bytes bytes;
  for (const std::uint32_t id : ids) {
    nexthop_grp member{};
    member.id = id;
    const Bytes more = bytesOfValue(member);
    bytes.insert(bytes.end(), more.begin(), more.end());
  }
  return bytes;
}

TEST(NextHopsIn, ReadsInterfacesGroupsAndBlackholes) {
  const NextHops nextHops =
      nextHopsIn(replyWith({nextHop().with(NHA_ID, 7).with(NHA_GROUP, groupOf({6, 5})),
                            nextHop().with(NHA_ID, 5).with(NHA_OIF, 3),
                            nextHop().with(NHA_ID, 8).with(NHA_BLACKHOLE, Bytes())}));
  EXPECT_THAT(nextHops, ElementsAre(Pair(5, Field(&NextHop::interfaceIndex, Optional(3))),
                                    Pair(7, Field(&NextHop::members, ElementsAre(6, 5))),
                                    Pair(8, AllOf(Field(&NextHop::interfaceIndex, std::nullopt),
                                                  Field(&NextHop::members, ElementsAre())))));
}

TEST(NextHopsIn, RejectsAnObjectWithoutID) {
  EXPECT_THROW(static_cast<void>(nextHopsIn(replyWith({nextHop().with(NHA_OIF, 3)}))),
               EnumerationError);
}

TEST(NextHopsIn, RejectsWhatIsCutOff) {
  const Message message = nextHop();
  for (std::size_t size = sizeof(nlmsghdr); size < message.size(); ++size) {
    EXPECT_THROW(static_cast<void>(nextHopsIn({.bytes = message.first(size)})), EnumerationError);
  }
  const Bytes group = groupOf({6, 5});
  for (std::size_t size = 0; size < group.size(); ++size) {
    const Bytes cut(group.begin(), group.begin() + static_cast<std::ptrdiff_t>(size));
    const NetlinkReply reply = replyWith({nextHop().with(NHA_ID, 7).with(NHA_GROUP, cut)});
    if (size % sizeof(nexthop_grp) == 0) {
      EXPECT_EQ(nextHopsIn(reply).at(7).members.size(), size / sizeof(nexthop_grp));
    } else {
      EXPECT_THROW(static_cast<void>(nextHopsIn(reply)), EnumerationError) << size;
    }
  }
  for (const int attribute : {NHA_ID, NHA_OIF}) {
    const Message cut = nextHop().with(attribute, Bytes(3)).with(NHA_ID, 7);
    EXPECT_THROW(static_cast<void>(nextHopsIn(replyWith({cut}))), EnumerationError) << attribute;
  }
}

TEST(InterfacesOf, AGroupThatContainsItselfHasNoInterface) {
  const NextHops nextHops = {{5, {.interfaceIndex = {}, .members = {5}}}};
  EXPECT_THAT(interfacesOf(5, nextHops), Optional(ElementsAre()));
}

}  // namespace
}  // namespace egress::live
