#include "examples/linux-host/adapters.h"

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>

#include "examples/linux-host/netlink.h"

namespace linux_host {
namespace {

using RowsByIndex = std::map<std::uint32_t, egress::InterfaceRow>;

// The number that RFC 2863 gives to an operational state; Linux counts in another order.
std::int32_t rfc2863Status(std::uint8_t linuxStatus) {
  switch (linuxStatus) {
    case IF_OPER_UP: return 1;
    case IF_OPER_DOWN: return 2;
    case IF_OPER_TESTING: return 3;
    case IF_OPER_DORMANT: return 5;
    case IF_OPER_NOTPRESENT: return 6;
    case IF_OPER_LOWERLAYERDOWN: return 7;
    default: return 4;  // unknown, as drivers leave it that never say
  }
}

void addLink(const nlmsghdr& message, RowsByIndex& rows, Adapters& adapters) {
  const auto& link = payloadOf<ifinfomsg>(message);
  const auto index = static_cast<std::uint32_t>(link.ifi_index);
  egress::InterfaceRow& row = rows[index];
  row.interfaceIndex = index;
  row.operStatus = rfc2863Status(IF_OPER_UNKNOWN);
  if (const nlattr* const status = findAttribute(message, sizeof(link), IFLA_OPERSTATE)) {
    row.operStatus = rfc2863Status(valueOf<std::uint8_t>(*status));
  }
  if (const nlattr* const name = findAttribute(message, sizeof(link), IFLA_IFNAME)) {
    adapters.names[index] = mnl_attr_get_str(name);
  }
}

void addAddress(const nlmsghdr& message, RowsByIndex& rows) {
  const auto& header = payloadOf<ifaddrmsg>(message);
  // On a link between two hosts IFA_ADDRESS is the other one's.
  const nlattr* address = findAttribute(message, sizeof(header), IFA_LOCAL);
  if (address == nullptr) address = findAttribute(message, sizeof(header), IFA_ADDRESS);
  if (address == nullptr) return;
  const auto row = rows.find(header.ifa_index);
  if (row == rows.end()) {
    throw EnumerationError("adapters: an interface came while they were read");
  }
  row->second.addresses.push_back(addressText(header.ifa_family, mnl_attr_get_payload(address),
                                              mnl_attr_get_payload_len(address)));
}

}  // namespace

Adapters takeAdapters() {
  const NetlinkReply links =
      dumpNetlink("adapters: links", NETLINK_ROUTE, RTM_GETLINK, ifinfomsg{});
  const NetlinkReply addresses =
      dumpNetlink("adapters: addresses", NETLINK_ROUTE, RTM_GETADDR, ifaddrmsg{});
  Adapters adapters;
  RowsByIndex rows;
  forEachMessage(links, [&](const nlmsghdr& message) { addLink(message, rows, adapters); });
  forEachMessage(addresses, [&](const nlmsghdr& message) { addAddress(message, rows); });
  adapters.rows.reserve(rows.size());
  for (auto& [index, row] : rows) adapters.rows.push_back(std::move(row));
  return adapters;
}

}  // namespace linux_host
