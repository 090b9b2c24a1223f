#ifndef EGRESS_LIVE_LINUX_SOCKETS_H
#define EGRESS_LIVE_LINUX_SOCKETS_H

#include <cstdint>
#include <set>
#include <vector>

#include "egress_live/linux/netlink_message.h"
#include "egress_snapshot/host_snapshot.h"

namespace egress::live {

// The TCP sockets and the connected UDP sockets of both families with these inode numbers, from
// sock_diag. TCP sockets are listed in SYN_SENT and from ESTABLISHED to LAST_ACK or CLOSING, so not
// in SYN_RECEIVED or TIME_WAIT. IPv4-mapped IPv6 addresses, as of dual-stack sockets, are written
// as IPv4. The bound device and the user are known, the mark only with CAP_NET_ADMIN, the rest is
// absent. Throws EnumerationError.
[[nodiscard]] std::vector<snapshot::Socket> takeSockets(const std::set<std::uint32_t>& inodes);

// The sockets in these states with these inode numbers in the reply to SOCK_DIAG_BY_FAMILY. Throws
// EnumerationError.
[[nodiscard]] std::vector<snapshot::Socket> socketsIn(const NetlinkReply& reply,
                                                      snapshot::SocketProtocol protocol,
                                                      const std::set<std::uint32_t>& inodes);

}  // namespace egress::live

#endif
