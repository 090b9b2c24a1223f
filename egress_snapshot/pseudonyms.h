#ifndef EGRESS_SNAPSHOT_PSEUDONYMS_H
#define EGRESS_SNAPSHOT_PSEUDONYMS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "egress/config/numeric_address.h"

namespace egress::snapshot {

// What kind of network an address belongs to; a replacement stays of that class.
//
//               IPv4                          becomes             IPv6         becomes
// LOOPBACK      127.0.0.0/8                   127.0.0.0/8         ::1          ::1
// LINK_LOCAL    169.254.0.0/16                169.254.0.0/16      fe80::/10    fe80::/64
// SHARED        100.64.0.0/10 (RFC 6598)      100.64.0.0/10
// PRIVATE       10.0.0.0/8, 172.16.0.0/12,    10.0.0.0/8          fc00::/7     fd00::/64
//               192.168.0.0/16 (RFC 1918)                         (RFC 4193)
// GLOBAL        any other                     192.0.2.0/24,       any other    2001:db8::/64
//                                             198.51.100.0/24,                 (RFC 3849)
//                                             203.0.113.0/24 (RFC 5737),
//                                             then 240.0.0.0/4 (reserved, RFC 1112)
//
// The unspecified addresses 0.0.0.0 and :: stay. An IPv4-mapped IPv6 address (::ffff:0:0/96)
// becomes the mapped form of what stands for its IPv4 address.
enum class AddressClass : std::uint8_t { LOOPBACK, LINK_LOCAL, SHARED, PRIVATE, GLOBAL };

// Numbers values from 0 in the order of their first look-up.
template <typename Value>
class Numbering {
 public:
  std::size_t numberOf(const Value& value) {
    return numbers_.try_emplace(value, numbers_.size()).first->second;
  }

 private:
  std::map<Value, std::size_t> numbers_;
};

// The replacements assigned so far.
class Pseudonyms {
 public:
  // For an address, or any other text in place of one. An empty text stays empty.
  [[nodiscard]] std::string address(const std::string& text);

  // For an outbound's tag. An empty one and the start of the walk stay.
  [[nodiscard]] std::string tag(const std::string& text);

 private:
  using Bytes = std::array<std::uint8_t, 16>;

  std::string ipv4(const Bytes& bytes);
  std::string ipv6(const Bytes& bytes);
  std::size_t numberOf(std::uint32_t family, AddressClass addressClass, const Bytes& bytes);

  std::map<std::pair<std::uint32_t, AddressClass>, Numbering<Bytes>> addresses_;
  Numbering<std::string> hosts_;
  Numbering<std::string> tags_;
};

}  // namespace egress::snapshot

#endif
