#include "egress_live/linux/sockets.h"

#include <arpa/inet.h>
#include <array>
#include <netinet/tcp.h>
#include <optional>
#include <sys/socket.h>

#include <linux/inet_diag.h>
#include <linux/sock_diag.h>

#include "egress_live/linux/netlink_dump.h"

namespace egress::live {
namespace {

using snapshot::Socket;
using snapshot::SocketProtocol;
using snapshot::SocketState;

struct SocketTable {
  const char* name;
  std::uint8_t family;
  SocketProtocol protocol;
};

constexpr std::array<SocketTable, 4> kSocketTables = {{
    {.name = "TCP over IPv4", .family = AF_INET, .protocol = SocketProtocol::TCP},
    {.name = "TCP over IPv6", .family = AF_INET6, .protocol = SocketProtocol::TCP},
    {.name = "UDP over IPv4", .family = AF_INET, .protocol = SocketProtocol::UDP},
    {.name = "UDP over IPv6", .family = AF_INET6, .protocol = SocketProtocol::UDP},
}};

// A connected UDP socket also has the state ESTABLISHED.
constexpr std::uint32_t kListedStates =
    1U << TCP_ESTABLISHED | 1U << TCP_SYN_SENT | 1U << TCP_FIN_WAIT1 | 1U << TCP_FIN_WAIT2 |
    1U << TCP_CLOSE_WAIT | 1U << TCP_LAST_ACK | 1U << TCP_CLOSING;

// Nothing for a socket that is in none of these states any more: the kernel reads the state again
// after it has selected the sockets.
std::optional<SocketState> stateOf(std::uint8_t state) {
  using enum SocketState;
  switch (state) {
    case TCP_ESTABLISHED: return ESTABLISHED;
    case TCP_SYN_SENT: return SYN_SENT;
    case TCP_FIN_WAIT1: return FIN_WAIT_1;
    case TCP_FIN_WAIT2: return FIN_WAIT_2;
    case TCP_CLOSE_WAIT: return CLOSE_WAIT;
    case TCP_LAST_ACK: return LAST_ACK;
    case TCP_CLOSING: return CLOSING;
    default: return std::nullopt;
  }
}

Socket socketIn(const nlmsghdr& message, SocketProtocol protocol, SocketState state) {
  const auto& socket = payloadOf<inet_diag_msg>(message);
  const inet_diag_sockid& ends = socket.id;
  const auto address = [&socket](const auto& words) {
    return addressText(socket.idiag_family, std::as_bytes(std::span(words)));
  };
  Socket row{.protocol = protocol,
             .state = state,
             .localAddress = address(ends.idiag_src),
             .localPort = ntohs(ends.idiag_sport),
             .remoteAddress = address(ends.idiag_dst),
             .remotePort = ntohs(ends.idiag_dport),
             .boundInterfaceIndex = ends.idiag_if,
             .mark = {},
             .user = socket.idiag_uid,
             .routeInterfaceIndex = {},
             .seenPackets = {}};
  if (const nlattr* const mark = findAttribute(message, sizeof(socket), INET_DIAG_MARK)) {
    row.mark = valueOf<std::uint32_t>(*mark);
  }
  return row;
}

}  // namespace

std::vector<Socket> socketsIn(const NetlinkReply& reply, SocketProtocol protocol,
                              const std::set<std::uint32_t>& inodes) {
  std::vector<Socket> sockets;
  forEachMessage(reply.bytes, [&](const nlmsghdr& message) {
    const auto& socket = payloadOf<inet_diag_msg>(message);
    const std::optional<SocketState> state = stateOf(socket.idiag_state);
    if (state && inodes.contains(socket.idiag_inode)) {
      sockets.push_back(socketIn(message, protocol, *state));
    }
  });
  return sockets;
}

std::vector<Socket> takeSockets(const std::set<std::uint32_t>& inodes) {
  std::vector<Socket> sockets;
  for (const SocketTable& table : kSocketTables) {
    const bool isTcp = table.protocol == SocketProtocol::TCP;
    const inet_diag_req_v2 request{
        .sdiag_family = table.family,
        .sdiag_protocol = static_cast<std::uint8_t>(isTcp ? IPPROTO_TCP : IPPROTO_UDP),
        .idiag_ext = 0,
        .pad = 0,
        .idiag_states = kListedStates,
        .id = {}};
    const NetlinkReply reply =
        dumpNetlink(table.name, NETLINK_SOCK_DIAG, SOCK_DIAG_BY_FAMILY, request);
    for (Socket& socket : socketsIn(reply, table.protocol, inodes)) {
      sockets.push_back(std::move(socket));
    }
  }
  return sockets;
}

}  // namespace egress::live
