#ifndef EGRESS_CONFIG_ADDRESS_TEXT_H
#define EGRESS_CONFIG_ADDRESS_TEXT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace egress {

// The steps of parseNumericAddress, defined in its source file so that the compiler can inline
// them.

// The 16-bit groups of a piece of IPv6 text.
struct HexGroups {
  std::array<std::uint16_t, 8> values{};  // the first 8 groups
  std::size_t count = 0;                  // all groups; a piece may hold more than an address does
};

// Reads a dotted quad: four decimal numbers from 0 to 255 of one to three digits each; leading
// zeros do not make them octal. Writes `out4` only on success.
[[nodiscard]] bool parseIpv4Text(std::string_view text, std::span<std::uint8_t, 4> out4) noexcept;

// Reads the text forms of RFC 4291, section 2.2; a "::" stands for at least one group of zeros.
// Writes `out16` only on success.
[[nodiscard]] bool parseIpv6Text(std::string_view text, std::span<std::uint8_t, 16> out16) noexcept;

// Appends the groups of `piece`, separated by single colons; an empty piece has none. A dotted quad
// counts as two groups and is accepted only as the last one, and only if `mayEndWithIpv4`. On
// failure `groups` may hold some groups of the piece.
[[nodiscard]] bool parseHexGroups(std::string_view piece, bool mayEndWithIpv4,
                                  HexGroups& groups) noexcept;

}  // namespace egress

#endif
