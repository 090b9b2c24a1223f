#ifndef EGRESS_LIVE_LINUX_LISTENING_SOCKETS_H
#define EGRESS_LIVE_LINUX_LISTENING_SOCKETS_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "egress/config/numeric_address.h"
#include "egress_live/linux/netlink_message.h"
#include "egress_live/linux/socket_file.h"
#include "egress_live/take_snapshot.h"

namespace egress::live {

// The inode numbers of all sockets of this network namespace that listen at the Unix socket.
// Throws EnumerationError.
[[nodiscard]] std::set<std::uint32_t> inodesListeningAt(const SocketFile& file);

// The inode numbers of all TCP sockets of this network namespace that accept connections of this
// host to the address and port; if some listen at that address itself, only these. Throws
// EnumerationError.
[[nodiscard]] std::set<std::uint32_t> inodesListeningAt(const Listener& listener);

// A TCP socket that listens.
struct ListeningSocket {
  std::uint32_t inode = 0;
  NumericAddress address;  // IPv4 for an IPv4-mapped address; invalid for another family
  std::uint32_t port = 0;
  std::uint32_t boundInterfaceIndex = 0;  // of the device that it is bound to; 0: none
  bool isOnlyIpv6 = false;                // :: does not accept IPv4
};

// The listening sockets in the reply to SOCK_DIAG_BY_FAMILY. Throws EnumerationError.
[[nodiscard]] std::vector<ListeningSocket> listeningSocketsIn(const NetlinkReply& reply);

// Those of the sockets that inodesListeningAt() selects.
[[nodiscard]] std::set<std::uint32_t> inodesListeningAt(const Listener& listener,
                                                        const std::vector<ListeningSocket>& all);

// The inode numbers of the sockets at the file that listen, in the reply to SOCK_DIAG_BY_FAMILY.
// Throws EnumerationError.
[[nodiscard]] std::set<std::uint32_t> inodesListeningAt(const SocketFile& file,
                                                        const NetlinkReply& reply);

}  // namespace egress::live

#endif
