#ifndef EGRESS_LIVE_CURL_CONNECTED_SOCKET_H
#define EGRESS_LIVE_CURL_CONNECTED_SOCKET_H

#include <curl/curl.h>

namespace egress::live {

// libcurl 7.88 has no way to take a connected socket: it connects that of
// CURL_SOCKOPT_ALREADY_CONNECTED again, and fails. So it opens and connects a placeholder, which
// the connected socket replaces before the first request.

// Opens a UDP socket, and sets `address` to 127.0.0.1: connecting it to that succeeds, and sends
// nothing. If there is no route to it, returns CURL_SOCKET_BAD, and leaves the address as it is.
[[nodiscard]] curl_socket_t openPlaceholder(curl_sockaddr& address) noexcept;

// Makes the descriptor of the placeholder a copy of the connected socket, which becomes
// non-blocking. Returns whether that succeeded.
[[nodiscard]] bool replacePlaceholder(curl_socket_t placeholder, int connected) noexcept;

}  // namespace egress::live

#endif
