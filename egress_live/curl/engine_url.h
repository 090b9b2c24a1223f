#ifndef EGRESS_LIVE_CURL_ENGINE_URL_H
#define EGRESS_LIVE_CURL_ENGINE_URL_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "egress/config/numeric_address.h"

namespace egress::live {

// What stands for the selector's tag in the template of a URL.
inline constexpr std::string_view kTagPlace = "{tag}";

// The parts of a URL that a message may show, and whether its path or query has a place for a tag.
struct EngineUrl {
  std::string scheme;      // "http" or "https"
  std::string host;        // a name, or a numeric address without brackets and zone
  std::uint32_t port = 0;  // from 1; that of the scheme if the URL has none
  bool hasTagPlace = false;
};

// Reads a URL, or the template of one, as libcurl reads it. Otherwise says why it cannot be used,
// without any text of the URL. Throws only when memory runs out.
[[nodiscard]] std::variant<EngineUrl, std::string> readEngineUrl(const std::string& url);

// "SCHEME://HOST:PORT".
[[nodiscard]] std::string originOf(const EngineUrl& url);

// "HOST:PORT", an IPv6 address in brackets.
[[nodiscard]] std::string hostAndPortOf(const EngineUrl& url);

// The bytes of a tag that a URL can have. Servers accept fewer, often 8000.
inline constexpr std::size_t kMaxTagBytes = 65536;

// The URL for a selector: each place for a tag is replaced by the tag, at most kMaxTagBytes,
// percent-encoded. Throws only when memory runs out.
[[nodiscard]] std::string urlFor(std::string_view urlTemplate, std::string_view tag);

// Whether the host is "localhost" or a name below it (RFC 6761, section 6.3).
[[nodiscard]] bool isLocalName(std::string_view host);

// Whether packets to the address stay on this host: 127.0.0.0/8, also mapped to IPv6, and ::1.
[[nodiscard]] bool isLoopback(const NumericAddress& address) noexcept;

}  // namespace egress::live

#endif
