// Parses any bytes as the datagrams of a reply. Each parser gives the same rows again, with values
// in their ranges, or an EnumerationError; datagrams that are not the kernel's change nothing.
//
// The first byte chooses the parser. Each datagram follows its sender (1 byte, 0 is the kernel) and
// its size (2 bytes, the low one first).
//
// netlink_corpus.py made the corpus, from replies of the kernel.

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <string>
#include <sys/socket.h>
#include <vector>

#include <linux/inet_diag.h>
#include <linux/rtnetlink.h>

#include "egress_live/linux/adapters.h"
#include "egress_live/linux/netlink_message.h"
#include "egress_live/linux/next_hops.h"
#include "egress_live/linux/route_lookup.h"
#include "egress_live/linux/routes.h"
#include "egress_live/linux/routing_rules.h"
#include "egress_live/linux/sockets.h"
#include "fuzz/fuzz_target.h"
#include "tests/support/snapshot_equality.h"

namespace egress::fuzz {
namespace {

using live::NetlinkReply;
using snapshot::Adapter;
using snapshot::HostSnapshot;
using snapshot::Socket;
using snapshot::SocketProtocol;
using snapshot::SocketState;

const live::NetlinkRequest kDump = {.what = "part", .sequence = 1, .port = 7};
const live::NetlinkRequest kSingle = {.what = "part", .sequence = 1, .port = 7, .isDump = false};
const std::set<std::uint32_t> kInodes = {1, 2, 3};  // of the sockets in the corpus
constexpr std::uint32_t kMaxPort = 65535;

// Whether it is an address as inet_ntop formats it, and no IPv4-mapped one.
bool isFormatted(int family, const std::string& text) {
  std::array<std::byte, 16> bytes{};
  if (inet_pton(family, text.c_str(), bytes.data()) != 1) return false;
  return live::addressText(family, bytes) == text;
}

// Empty if the kernel named another family.
bool isAddressText(const std::string& text) {
  return text.empty() || isFormatted(AF_INET, text) || isFormatted(AF_INET6, text);
}

enum Parser : std::uint8_t { ADAPTERS, ROUTES4, ROUTES6, TCP, UDP, RULES, LOOK_UP, kParsers };

// What the parsers return or throw.
struct Outcome {
  HostSnapshot rows;
  live::RuleSelectors selectors;
  std::uint32_t routeInterfaceIndex = 0;
  std::string error;
  bool isReply = true;  // all messages answer the request
};

// The messages of a reply that have this type, or all others: the kernel sends, for example, links
// and addresses in two replies.
NetlinkReply partOf(const NetlinkReply& reply, std::uint16_t type, bool isOfType) {
  NetlinkReply part;
  live::forEachMessage(reply.bytes, [&](const nlmsghdr& message) {
    if ((message.nlmsg_type == type) != isOfType) return;
    const auto* const first = static_cast<const std::byte*>(static_cast<const void*>(&message));
    part.bytes.insert(part.bytes.end(), first, first + live::aligned(message.nlmsg_len));
  });
  part.bytes.shrink_to_fit();
  return part;
}

void parseRoutes(const NetlinkReply& reply, int family, HostSnapshot& rows) {
  const auto nextHops = live::nextHopsIn(partOf(reply, RTM_NEWNEXTHOP, /*isOfType=*/true));
  const auto routes =
      live::defaultRoutesIn(partOf(reply, RTM_NEWNEXTHOP, /*isOfType=*/false), family, nextHops);
  rows.routes.enumFailed = !routes.has_value();
  rows.routes.rows = routes.value_or(std::vector<RouteRow>());
}

void parse(std::uint8_t parser, const NetlinkReply& reply, Outcome& outcome) {
  HostSnapshot& rows = outcome.rows;
  switch (parser) {
    case ADAPTERS:
      rows.adapters.rows = live::linksIn(partOf(reply, RTM_NEWADDR, /*isOfType=*/false));
      rows.adapters.enumFailed =
          !live::addAddresses(partOf(reply, RTM_NEWADDR, /*isOfType=*/true), rows.adapters.rows);
      break;
    case ROUTES4: parseRoutes(reply, AF_INET, rows); break;
    case ROUTES6: parseRoutes(reply, AF_INET6, rows); break;
    case TCP: rows.sockets.rows = live::socketsIn(reply, SocketProtocol::TCP, kInodes); break;
    case UDP: rows.sockets.rows = live::socketsIn(reply, SocketProtocol::UDP, kInodes); break;
    case RULES: outcome.selectors = live::ruleSelectorsIn(reply); break;
    default: outcome.routeInterfaceIndex = live::routeInterfaceIn(reply); break;
  }
}

struct Datagram {
  std::uint32_t sender = 0;
  std::string_view bytes;
};

std::vector<Datagram> datagramsIn(std::string_view bytes) {
  constexpr std::size_t kHeaderSize = 3;
  std::vector<Datagram> datagrams;
  while (bytes.size() >= kHeaderSize) {
    const auto byteAt = [&bytes](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    const std::size_t size = byteAt(1) + std::size_t{256} * byteAt(2);
    datagrams.push_back({.sender = byteAt(0), .bytes = bytes.substr(kHeaderSize, size)});
    bytes.remove_prefix(kHeaderSize + datagrams.back().bytes.size());
  }
  return datagrams;
}

bool isReplyTo(const live::NetlinkRequest& request, const NetlinkReply& reply) {
  bool isReply = true;
  live::forEachMessage(reply.bytes, [&](const nlmsghdr& message) {
    const bool isAnswer =
        message.nlmsg_seq == request.sequence && message.nlmsg_pid == request.port;
    isReply = isReply && isAnswer;
  });
  return isReply;
}

// What is received and what is collected from it are in allocations of exactly their sizes, so that
// a sanitizer sees a read past the end.
Outcome parseDatagrams(std::uint8_t parser, const std::vector<Datagram>& datagrams) {
  Outcome outcome;
  const live::NetlinkRequest& request = parser == LOOK_UP ? kSingle : kDump;
  try {
    NetlinkReply reply;
    for (const Datagram& datagram : datagrams) {
      const auto data = std::as_bytes(std::span(datagram.bytes));
      const std::vector<std::byte> part(data.begin(), data.end());
      const live::NetlinkPart received{.sender = datagram.sender, .bytes = part};
      if (live::addPart(request, received, reply) != live::ReplyProgress::More) break;
    }
    reply.bytes.shrink_to_fit();
    outcome.isReply = isReplyTo(request, reply);
    parse(parser, reply, outcome);
  } catch (const live::EnumerationError& error) {
    outcome.error = error.what();
  }
  return outcome;
}

// Each row takes at least a message or a next hop; many routes may use one group of next hops.
bool isBounded(const HostSnapshot& rows, std::size_t size) {
  const std::size_t groups = size / (sizeof(nlmsghdr) + sizeof(rtmsg)) + 1;
  std::size_t addresses = 0;
  std::size_t names = 0;
  for (const Adapter& row : rows.adapters.rows) {
    addresses += row.addresses.size();
    names += row.name.size();
  }
  return rows.adapters.rows.size() <= size / (sizeof(nlmsghdr) + sizeof(ifinfomsg)) &&
         addresses <= size / (sizeof(nlmsghdr) + sizeof(ifaddrmsg)) && names <= size &&
         rows.routes.rows.size() <= groups * (size / sizeof(rtnexthop)) &&
         rows.sockets.rows.size() <= size / (sizeof(nlmsghdr) + sizeof(inet_diag_msg));
}

bool areAdapters(const std::vector<Adapter>& rows) {
  const bool areAscending = std::ranges::adjacent_find(rows, std::greater_equal(),
                                                       &Adapter::interfaceIndex) == rows.end();
  return areAscending && std::ranges::all_of(rows, [](const Adapter& row) {
           return row.operStatus >= 1 && row.operStatus <= 7 &&
                  row.name.find('\0') == std::string::npos && row.kind.has_value() &&
                  std::ranges::all_of(row.addresses, isAddressText);
         });
}

bool areRoutes(const std::vector<RouteRow>& rows, std::int32_t family) {
  return std::ranges::all_of(rows, [family](const RouteRow& row) { return row.family == family; });
}

bool isListed(SocketState state) {
  using enum SocketState;
  constexpr std::array kStates = {ESTABLISHED, SYN_SENT, FIN_WAIT_1, FIN_WAIT_2,
                                  CLOSE_WAIT,  CLOSING,  LAST_ACK};
  return std::ranges::find(kStates, state) != kStates.end();
}

bool areSockets(const std::vector<Socket>& rows, SocketProtocol protocol) {
  return std::ranges::all_of(rows, [protocol](const Socket& row) {
    return row.protocol == protocol && isListed(row.state) && isAddressText(row.localAddress) &&
           row.localPort <= kMaxPort && isAddressText(row.remoteAddress) &&
           row.remotePort <= kMaxPort && row.boundInterfaceIndex && row.user &&
           !row.routeInterfaceIndex;
  });
}

}  // namespace

test::Violation check(std::string_view bytes) {
  if (bytes.empty()) return {};
  const auto parser =
      static_cast<std::uint8_t>(static_cast<std::uint8_t>(bytes.front()) % kParsers);
  bytes.remove_prefix(1);
  std::vector<Datagram> datagrams = datagramsIn(bytes);
  const Outcome outcome = parseDatagrams(parser, datagrams);
  std::erase_if(datagrams, [](const Datagram& datagram) { return datagram.sender != 0; });
  const Outcome again = parseDatagrams(parser, datagrams);
  const HostSnapshot& rows = outcome.rows;
  if (!outcome.isReply) return "a message that answers another request";
  if (!isBounded(rows, bytes.size())) return "more rows than bytes";
  if (!areAdapters(rows.adapters.rows)) return "not an adapter";
  if (!areRoutes(rows.routes.rows, parser == ROUTES4 ? 4 : 6)) return "not a route of the family";
  const SocketProtocol protocol = parser == TCP ? SocketProtocol::TCP : SocketProtocol::UDP;
  if (!areSockets(rows.sockets.rows, protocol)) return "not a listed socket of the protocol";
  if (parser == LOOK_UP && outcome.error.empty() && outcome.routeInterfaceIndex == 0) {
    return "a route without interface";
  }
  const bool isSame = outcome.error == again.error && rows == again.rows &&
                      outcome.selectors == again.selectors &&
                      outcome.routeInterfaceIndex == again.routeInterfaceIndex;
  return isSame ? "" : "other rows without the datagrams of other senders";
}

}  // namespace egress::fuzz
