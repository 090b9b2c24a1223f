#include "egress_live/linux/stacked_interfaces.h"

#include <sys/socket.h>

#include <linux/rtnetlink.h>

#include "egress_live/linux/netlink_dump.h"

namespace egress::live {

StackedInterfaces stackedInterfacesIn(const NetlinkReply& reply) {
  StackedInterfaces named;
  forEachMessage(reply.bytes, [&named](const nlmsghdr& message) {
    const auto& link = payloadOf<ifinfomsg>(message);
    const auto index = static_cast<std::uint32_t>(link.ifi_index);
    if (const nlattr* const upper = findAttribute(message, sizeof(link), IFLA_MASTER)) {
      named.emplace(index, valueOf<std::uint32_t>(*upper));
    }
    // An index of another network namespace means nothing here.
    if (findAttribute(message, sizeof(link), IFLA_LINK_NETNSID) != nullptr) return;
    if (const nlattr* const lower = findAttribute(message, sizeof(link), IFLA_LINK)) {
      named.emplace(valueOf<std::uint32_t>(*lower), index);
    }
  });
  StackedInterfaces stacked;
  for (const auto& [lower, upper] : named) {
    if (!named.contains({upper, lower})) stacked.emplace(lower, upper);
  }
  return stacked;
}

StackedInterfaces takeStackedInterfaces() {
  return stackedInterfacesIn(dumpNetlink("links", NETLINK_ROUTE, RTM_GETLINK, ifinfomsg{}));
}

}  // namespace egress::live
