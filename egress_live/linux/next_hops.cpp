#include "egress_live/linux/next_hops.h"

#include <linux/nexthop.h>
#include <linux/rtnetlink.h>

#include "egress_live/linux/netlink_dump.h"

namespace egress::live {
namespace {

std::vector<std::uint32_t> membersIn(std::span<const std::byte> bytes) {
  std::vector<std::uint32_t> members;
  for (; !bytes.empty(); bytes = bytes.subspan(sizeof(nexthop_grp))) {
    nexthop_grp member{};
    if (bytes.size() < sizeof(member)) {
      throw EnumerationError("a group of next-hop objects is cut off");
    }
    std::memcpy(&member, bytes.data(), sizeof(member));
    members.push_back(member.id);
  }
  return members;
}

}  // namespace

NextHops nextHopsIn(const NetlinkReply& reply) {
  NextHops nextHops;
  forEachMessage(reply.bytes, [&nextHops](const nlmsghdr& message) {
    const auto& header = payloadOf<nhmsg>(message);
    const nlattr* const id = findAttribute(message, sizeof(header), NHA_ID);
    if (id == nullptr) throw EnumerationError("a next-hop object has no ID");
    NextHop& nextHop = nextHops[valueOf<std::uint32_t>(*id)];
    if (const nlattr* const interfaceIndex = findAttribute(message, sizeof(header), NHA_OIF)) {
      nextHop.interfaceIndex = valueOf<std::uint32_t>(*interfaceIndex);
    }
    if (const nlattr* const group = findAttribute(message, sizeof(header), NHA_GROUP)) {
      nextHop.members = membersIn(bytesOf(*group));
    }
  });
  return nextHops;
}

std::optional<std::vector<std::uint32_t>> interfacesOf(std::uint32_t id, const NextHops& nextHops) {
  const auto object = nextHops.find(id);
  if (object == nextHops.end()) return std::nullopt;
  std::vector<std::uint32_t> ids = object->second.members;  // the kernel nests no groups
  if (ids.empty()) ids.push_back(id);
  std::vector<std::uint32_t> interfaces;
  for (const std::uint32_t one : ids) {
    const auto member = nextHops.find(one);
    if (member == nextHops.end()) return std::nullopt;
    if (member->second.interfaceIndex) interfaces.push_back(*member->second.interfaceIndex);
  }
  return interfaces;
}

NextHops takeNextHops() {
  return nextHopsIn(dumpNetlink("next-hop objects", NETLINK_ROUTE, RTM_GETNEXTHOP, nhmsg{}));
}

}  // namespace egress::live
