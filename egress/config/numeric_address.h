#ifndef EGRESS_CONFIG_NUMERIC_ADDRESS_H
#define EGRESS_CONFIG_NUMERIC_ADDRESS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "egress/export.h"

namespace egress {

// An IPv4 or IPv6 address as bytes in network order; all zero when it is not valid. An IPv4 address
// fills bytes 0 to 3 and is never written as an IPv4-mapped IPv6 address.
struct NumericAddress {
  bool valid = false;
  std::uint32_t family = 0;  // 4 or 6
  std::array<std::uint8_t, 16> bytes{};
};

// The 16-bit groups of a piece of IPv6 text.
struct HexGroups {
  std::array<std::uint16_t, 8> values{};  // the first 8 groups
  std::size_t count = 0;                  // all groups; a piece may hold more than an address does
};

// Reads a literal IPv4 or IPv6 address, for example "198.51.100.10", "[2001:db8::1]" or
// "fe80::1%eth0".
//
// One pair of brackets around the text is dropped, then everything from the first '%' on (a zone);
// text with a colon is IPv6, other text IPv4. Names are never looked up. Anything else, blanks
// included, gives an invalid address.
[[nodiscard]] EGRESS_EXPORT NumericAddress parseNumericAddress(std::string_view text) noexcept;

// Reads a dotted quad: four decimal numbers from 0 to 255 of one to three digits each; leading
// zeros do not make them octal. Writes `out4` only on success.
[[nodiscard]] EGRESS_EXPORT bool parseIpv4Text(std::string_view text,
                                               std::span<std::uint8_t, 4> out4) noexcept;

// Reads the text forms of RFC 4291, section 2.2; a "::" stands for at least one group of zeros.
// Writes `out16` only on success.
[[nodiscard]] EGRESS_EXPORT bool parseIpv6Text(std::string_view text,
                                               std::span<std::uint8_t, 16> out16) noexcept;

// Appends the groups of `piece`, separated by single colons; an empty piece has none. A dotted quad
// counts as two groups and is accepted only as the last one, and only if `mayEndWithIpv4`. On
// failure `groups` may hold some groups of the piece.
[[nodiscard]] EGRESS_EXPORT bool parseHexGroups(std::string_view piece, bool mayEndWithIpv4,
                                                HexGroups& groups) noexcept;

// Whether both are valid and the same address; text forms play no part. An IPv4 address is never
// the same as an IPv6 one, not even as its IPv4-mapped form.
[[nodiscard]] EGRESS_EXPORT bool sameNumericAddress(const NumericAddress& a,
                                                    const NumericAddress& b) noexcept;

}  // namespace egress

#endif
