#include "egress_live/linux/adapters.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <sys/socket.h>

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>

#include "egress_live/linux/netlink_dump.h"

namespace egress::live {
namespace {

// An interface added between the two dumps appears only in the second; both are then repeated.
constexpr int kAttempts = 5;

using snapshot::Adapter;
using snapshot::InterfaceKind;

// Kinds of links (ip-link(8)) that send their packets inside others.
constexpr auto kTunnelKinds = std::to_array<std::string_view>(
    {"tun", "wireguard", "gre", "gretap", "ip6gre", "ip6gretap", "ipip", "ip6tnl", "sit", "vti",
     "vti6", "xfrm", "vxlan", "geneve", "ppp", "erspan", "ip6erspan"});

// Maps IF_OPER_* to ifOperStatus of RFC 2863, which numbers the states differently.
std::int32_t rfc2863Status(std::uint8_t linuxStatus) {
  switch (linuxStatus) {
    case IF_OPER_UP: return 1;
    case IF_OPER_DOWN: return 2;
    case IF_OPER_TESTING: return 3;
    case IF_OPER_DORMANT: return 5;
    case IF_OPER_NOTPRESENT: return 6;
    case IF_OPER_LOWERLAYERDOWN: return 7;
    default: return 4;  // unknown: the driver does not report it
  }
}

InterfaceKind kindOf(const nlmsghdr& message) {
  const auto& link = payloadOf<ifinfomsg>(message);
  if ((link.ifi_flags & IFF_LOOPBACK) != 0) return InterfaceKind::LOOPBACK;
  const nlattr* const info = findAttribute(message, sizeof(link), IFLA_LINKINFO);
  const nlattr* const kind = info == nullptr ? nullptr : findNestedAttribute(*info, IFLA_INFO_KIND);
  if (kind == nullptr) return InterfaceKind::OTHER;
  const bool isTunnel = std::ranges::find(kTunnelKinds, textOf(*kind)) != kTunnelKinds.end();
  return isTunnel ? InterfaceKind::TUNNEL : InterfaceKind::OTHER;
}

Adapter linkIn(const nlmsghdr& message) {
  const auto& link = payloadOf<ifinfomsg>(message);
  Adapter row;
  row.interfaceIndex = static_cast<std::uint32_t>(link.ifi_index);
  row.operStatus = rfc2863Status(IF_OPER_UNKNOWN);
  if (const nlattr* const status = findAttribute(message, sizeof(link), IFLA_OPERSTATE)) {
    row.operStatus = rfc2863Status(valueOf<std::uint8_t>(*status));
  }
  if (const nlattr* const name = findAttribute(message, sizeof(link), IFLA_IFNAME)) {
    row.name = textOf(*name);
  }
  row.kind = kindOf(message);
  return row;
}

// Adds the address in a message. Returns false if `adapters` lacks its interface.
bool addAddress(const nlmsghdr& message, Adapters& adapters) {
  const auto& header = payloadOf<ifaddrmsg>(message);
  if (header.ifa_family != AF_INET && header.ifa_family != AF_INET6) return true;
  // On a point-to-point link IFA_ADDRESS is the peer's address.
  const nlattr* address = findAttribute(message, sizeof(header), IFA_LOCAL);
  if (address == nullptr) address = findAttribute(message, sizeof(header), IFA_ADDRESS);
  if (address == nullptr) return true;
  const auto row =
      std::ranges::lower_bound(adapters, header.ifa_index, {}, &Adapter::interfaceIndex);
  if (row == adapters.end() || row->interfaceIndex != header.ifa_index) return false;
  row->addresses.push_back(addressText(header.ifa_family, bytesOf(*address)));
  return true;
}

}  // namespace

Adapters linksIn(const NetlinkReply& reply) {
  std::map<std::uint32_t, Adapter> rows;
  forEachMessage(reply.bytes, [&rows](const nlmsghdr& message) {
    Adapter row = linkIn(message);
    rows.insert_or_assign(row.interfaceIndex, std::move(row));
  });
  Adapters adapters;
  adapters.reserve(rows.size());
  for (auto& [index, row] : rows) adapters.push_back(std::move(row));
  return adapters;
}

bool addAddresses(const NetlinkReply& reply, Adapters& adapters) {
  bool isConsistent = true;
  forEachMessage(reply.bytes, [&](const nlmsghdr& message) {
    isConsistent = addAddress(message, adapters) && isConsistent;
  });
  return isConsistent;
}

Adapters takeAdapters() {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const NetlinkReply links = dumpNetlink("links", NETLINK_ROUTE, RTM_GETLINK, ifinfomsg{});
    const NetlinkReply addresses =
        dumpNetlink("addresses", NETLINK_ROUTE, RTM_GETADDR, ifaddrmsg{});
    Adapters adapters = linksIn(links);
    if (addAddresses(addresses, adapters)) return adapters;
  }
  throw EnumerationError("a new interface appeared during every attempt");
}

}  // namespace egress::live
