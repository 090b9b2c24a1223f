#include "egress_live/curl/connected_socket.h"

#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace egress::live {

curl_socket_t openPlaceholder(curl_sockaddr& address) noexcept {
  // Not a Unix socket with an abstract name: libcurl 7.88 reuses no connection to one.
  constexpr in_port_t kDiscard = 9;
  const sockaddr_in thisHost{.sin_family = AF_INET,
                             .sin_port = htons(kDiscard),
                             .sin_addr = {htonl(INADDR_LOOPBACK)},
                             .sin_zero = {}};
  static_assert(sizeof(thisHost) == sizeof(address.addr));
  const int opened = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (opened < 0) return CURL_SOCKET_BAD;
  if (connect(opened, reinterpret_cast<const sockaddr*>(&thisHost), sizeof(thisHost)) != 0) {
    close(opened);
    return CURL_SOCKET_BAD;
  }
  std::memcpy(&address.addr, &thisHost, sizeof(thisHost));
  address.addrlen = sizeof(thisHost);
  return opened;
}

bool replacePlaceholder(curl_socket_t placeholder, int connected) noexcept {
  const int flags = fcntl(connected, F_GETFL);
  return flags >= 0 && fcntl(connected, F_SETFL, flags | O_NONBLOCK) == 0 &&
         dup3(connected, placeholder, O_CLOEXEC) == placeholder;
}

}  // namespace egress::live
