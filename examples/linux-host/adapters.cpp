#include "examples/linux-host/adapters.h"

#include <optional>
#include <sys/socket.h>

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/rtnetlink.h>

#include "examples/linux-host/netlink.h"

namespace linux_host {
namespace {

// An interface added between the two dumps appears only in the second; both are then repeated.
constexpr int kAttempts = 5;

using RowsByIndex = std::map<std::uint32_t, egress::InterfaceRow>;

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

// Adds the address in a message. Returns false if `rows` lacks its interface.
bool addAddress(const nlmsghdr& message, RowsByIndex& rows) {
  const auto& header = payloadOf<ifaddrmsg>(message);
  if (header.ifa_family != AF_INET && header.ifa_family != AF_INET6) return true;
  // On a point-to-point link IFA_ADDRESS is the peer's address.
  const nlattr* address = findAttribute(message, sizeof(header), IFA_LOCAL);
  if (address == nullptr) address = findAttribute(message, sizeof(header), IFA_ADDRESS);
  if (address == nullptr) return true;
  const auto row = rows.find(header.ifa_index);
  if (row == rows.end()) return false;
  row->second.addresses.push_back(addressText(header.ifa_family, mnl_attr_get_payload(address),
                                              mnl_attr_get_payload_len(address)));
  return true;
}

// Returns nothing if an interface was added between the dumps.
std::optional<Adapters> tryToTakeAdapters() {
  const NetlinkReply links = dumpNetlink("links", NETLINK_ROUTE, RTM_GETLINK, ifinfomsg{});
  const NetlinkReply addresses = dumpNetlink("addresses", NETLINK_ROUTE, RTM_GETADDR, ifaddrmsg{});
  Adapters adapters;
  RowsByIndex rows;
  bool isConsistent = true;
  forEachMessage(links, [&](const nlmsghdr& message) { addLink(message, rows, adapters); });
  forEachMessage(addresses, [&](const nlmsghdr& message) {
    isConsistent = addAddress(message, rows) && isConsistent;
  });
  if (!isConsistent) return std::nullopt;
  adapters.rows.reserve(rows.size());
  for (auto& [index, row] : rows) adapters.rows.push_back(std::move(row));
  return adapters;
}

}  // namespace

Adapters takeAdapters() {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (std::optional<Adapters> adapters = tryToTakeAdapters()) return *std::move(adapters);
  }
  throw EnumerationError("a new interface appeared during every attempt");
}

}  // namespace linux_host
