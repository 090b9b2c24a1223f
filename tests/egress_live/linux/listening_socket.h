#ifndef EGRESS_TESTS_EGRESS_LIVE_LINUX_LISTENING_SOCKET_H
#define EGRESS_TESTS_EGRESS_LIVE_LINUX_LISTENING_SOCKET_H

#include <algorithm>
#include <arpa/inet.h>
#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>

#include "egress_live/linux/descriptor.h"

namespace egress::live {

// A Unix socket that listens at a path; none if that is not possible.
inline Descriptor listenAt(const std::string& path) {
  Descriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::ranges::copy(path, std::begin(address.sun_path));
  const void* const pointer = &address;
  if (bind(made.number(), static_cast<const sockaddr*>(pointer), sizeof(address)) != 0 ||
      listen(made.number(), 1) != 0) {
    return Descriptor();
  }
  return made;
}

// A TCP socket that listens at an IPv6 address, or an IPv4-mapped one, and a port that was free.
struct TcpListener {
  Descriptor descriptor = Descriptor();
  std::uint32_t port = 0;
};

// None if that is not possible.
inline TcpListener listenAtAddress(const std::string& text) {
  TcpListener made{.descriptor = Descriptor(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0))};
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  inet_pton(AF_INET6, text.c_str(), &address.sin6_addr);
  void* const pointer = &address;
  auto* const generic = static_cast<sockaddr*>(pointer);
  socklen_t size = sizeof(address);
  const int socket = made.descriptor.number();
  if (bind(socket, generic, size) != 0 || listen(socket, 1) != 0 ||
      getsockname(socket, generic, &size) != 0) {
    return {};
  }
  made.port = ntohs(address.sin6_port);
  return made;
}

}  // namespace egress::live

#endif
