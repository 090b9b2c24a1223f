#include "examples/linux-host/sockets.h"

#include <arpa/inet.h>
#include <array>
#include <netinet/tcp.h>
#include <string>
#include <sys/socket.h>

#include <linux/inet_diag.h>
#include <linux/sock_diag.h>

#include "examples/linux-host/netlink.h"

namespace linux_host {
namespace {

struct SocketTable {
  const char* name;
  std::uint8_t family;
  std::uint8_t protocol;
};

constexpr std::array<SocketTable, 4> kSocketTables = {{
    {.name = "TCP over IPv4", .family = AF_INET, .protocol = IPPROTO_TCP},
    {.name = "TCP over IPv6", .family = AF_INET6, .protocol = IPPROTO_TCP},
    {.name = "UDP over IPv4", .family = AF_INET, .protocol = IPPROTO_UDP},
    {.name = "UDP over IPv6", .family = AF_INET6, .protocol = IPPROTO_UDP},
}};

// A connected UDP socket also has the state ESTABLISHED.
constexpr std::uint32_t kConnectedStates = 1U << TCP_ESTABLISHED | 1U << TCP_FIN_WAIT1 |
                                           1U << TCP_FIN_WAIT2 | 1U << TCP_CLOSE_WAIT |
                                           1U << TCP_LAST_ACK | 1U << TCP_CLOSING;

egress::SocketSource socketIn(const inet_diag_msg& socket) {
  const inet_diag_sockid& ends = socket.id;
  return {.localAddress = addressText(socket.idiag_family, ends.idiag_src, sizeof(ends.idiag_src)),
          .localPort = ntohs(ends.idiag_sport),
          .remoteAddress = addressText(socket.idiag_family, ends.idiag_dst, sizeof(ends.idiag_dst)),
          .remotePort = ntohs(ends.idiag_dport)};
}

}  // namespace

std::vector<egress::SocketSource> takeSockets(const std::vector<pid_t>& processes) {
  const std::set<std::uint32_t> inodes = socketInodesOf(processes);
  std::vector<egress::SocketSource> sockets;
  for (const SocketTable& table : kSocketTables) {
    const inet_diag_req_v2 request{.sdiag_family = table.family,
                                   .sdiag_protocol = table.protocol,
                                   .idiag_ext = 0,
                                   .pad = 0,
                                   .idiag_states = kConnectedStates,
                                   .id = {}};
    const NetlinkReply reply =
        dumpNetlink(table.name, NETLINK_SOCK_DIAG, SOCK_DIAG_BY_FAMILY, request);
    forEachMessage(reply, [&](const nlmsghdr& message) {
      const auto& socket = payloadOf<inet_diag_msg>(message);
      if (inodes.contains(socket.idiag_inode)) sockets.push_back(socketIn(socket));
    });
  }
  return sockets;
}

}  // namespace linux_host
