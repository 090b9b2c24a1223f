#include "egress_live/linux/listening_sockets.h"

#include <algorithm>
#include <array>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <span>
#include <sys/socket.h>

#include <linux/inet_diag.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>

#include "egress_live/linux/netlink_dump.h"

namespace egress::live {
namespace {

constexpr std::uint32_t kListening = 1U << TCP_LISTEN;
constexpr std::uint32_t kLoopbackIndex = 1;  // of "lo" in every network namespace

enum class Match : std::uint8_t { NONE, WILDCARD, ADDRESS };

bool isWildcard(const NumericAddress& address) {
  return address.valid &&
         std::ranges::all_of(address.bytes, [](std::uint8_t byte) { return byte == 0; });
}

bool isLoopback(const NumericAddress& address) {
  constexpr std::uint8_t kLoopbackNet = 127;  // 127.0.0.0/8
  if (address.family == 4) return address.bytes[0] == kLoopbackNet;
  return sameNumericAddress(address, parseNumericAddress("::1"));
}

// The address that packets to this one contain: IPv4 for an IPv4-mapped one.
NumericAddress parsePacketAddress(const std::string& text) {
  const NumericAddress address = parseNumericAddress(text);
  if (address.family != 6) return address;
  return parseNumericAddress(addressText(AF_INET6, std::as_bytes(std::span(address.bytes))));
}

// `wanted` is that of the listener, which may have none.
Match matchOf(const ListeningSocket& socket, const Listener& listener,
              const NumericAddress& wanted) {
  if (socket.port != listener.port) return Match::NONE;
  // A connection of this host to itself arrives at the loopback.
  const std::uint32_t device = socket.boundInterfaceIndex;
  if (device != 0 && device != kLoopbackIndex) return Match::NONE;
  if (listener.address.empty()) {
    const bool accepts = isLoopback(socket.address) || isWildcard(socket.address);
    return accepts ? Match::ADDRESS : Match::NONE;
  }
  if (sameNumericAddress(socket.address, wanted)) return Match::ADDRESS;
  if (!isWildcard(socket.address)) return Match::NONE;
  const bool isDualStack = socket.address.family == 6 && !socket.isOnlyIpv6;
  const bool accepts =
      wanted.family == socket.address.family || (wanted.family == 4 && isDualStack);
  return accepts ? Match::WILDCARD : Match::NONE;
}

ListeningSocket listeningSocketIn(const nlmsghdr& message) {
  const auto& socket = payloadOf<inet_diag_msg>(message);
  const auto source = std::as_bytes(std::span(socket.id.idiag_src));
  const nlattr* const onlyIpv6 = findAttribute(message, sizeof(socket), INET_DIAG_SKV6ONLY);
  return {.inode = socket.idiag_inode,
          .address = parseNumericAddress(addressText(socket.idiag_family, source)),
          .port = ntohs(socket.id.idiag_sport),
          .boundInterfaceIndex = socket.id.idiag_if,
          .isOnlyIpv6 = onlyIpv6 != nullptr && valueOf<std::uint8_t>(*onlyIpv6) != 0};
}

// The kernel tells the lower 32 bits of the inode number.
bool isAt(const SocketFile& file, const unix_diag_vfs& place) {
  return place.udiag_vfs_ino == static_cast<std::uint32_t>(file.inode) &&
         place.udiag_vfs_dev == file.device;
}

}  // namespace

std::vector<ListeningSocket> listeningSocketsIn(const NetlinkReply& reply) {
  std::vector<ListeningSocket> sockets;
  forEachMessage(reply.bytes, [&](const nlmsghdr& message) {
    if (payloadOf<inet_diag_msg>(message).idiag_state != TCP_LISTEN) return;
    sockets.push_back(listeningSocketIn(message));
  });
  return sockets;
}

std::set<std::uint32_t> inodesListeningAt(const Listener& listener,
                                          const std::vector<ListeningSocket>& all) {
  const NumericAddress wanted = parsePacketAddress(listener.address);
  std::set<std::uint32_t> inodes;
  Match best = Match::WILDCARD;  // seen so far: the kernel prefers the address to the wildcard
  for (const ListeningSocket& socket : all) {
    const Match match = matchOf(socket, listener, wanted);
    if (match > best) inodes.clear();
    best = std::max(best, match);
    if (match == best) inodes.insert(socket.inode);
  }
  return inodes;
}

std::set<std::uint32_t> inodesListeningAt(const Listener& listener) {
  std::vector<ListeningSocket> all;
  for (const std::uint8_t family : {std::uint8_t{AF_INET}, std::uint8_t{AF_INET6}}) {
    const inet_diag_req_v2 request{.sdiag_family = family,
                                   .sdiag_protocol = IPPROTO_TCP,
                                   .idiag_ext = 0,
                                   .pad = 0,
                                   .idiag_states = kListening,
                                   .id = {}};
    const char* const name = family == AF_INET ? "listening over IPv4" : "listening over IPv6";
    const NetlinkReply reply = dumpNetlink(name, NETLINK_SOCK_DIAG, SOCK_DIAG_BY_FAMILY, request);
    std::ranges::copy(listeningSocketsIn(reply), std::back_inserter(all));
  }
  return inodesListeningAt(listener, all);
}

std::set<std::uint32_t> inodesListeningAt(const SocketFile& file, const NetlinkReply& reply) {
  std::set<std::uint32_t> inodes;
  forEachMessage(reply.bytes, [&](const nlmsghdr& message) {
    const auto& socket = payloadOf<unix_diag_msg>(message);
    const nlattr* const place = findAttribute(message, sizeof(socket), UNIX_DIAG_VFS);
    if (socket.udiag_state != TCP_LISTEN || place == nullptr) return;
    if (isAt(file, valueOf<unix_diag_vfs>(*place))) inodes.insert(socket.udiag_ino);
  });
  return inodes;
}

std::set<std::uint32_t> inodesListeningAt(const SocketFile& file) {
  unix_diag_req request{};
  request.sdiag_family = AF_UNIX;
  request.udiag_states = kListening;
  request.udiag_show = UDIAG_SHOW_VFS;
  return inodesListeningAt(
      file, dumpNetlink("listening Unix sockets", NETLINK_SOCK_DIAG, SOCK_DIAG_BY_FAMILY, request));
}

}  // namespace egress::live
