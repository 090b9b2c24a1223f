#ifndef EGRESS_CONFIG_NUMERIC_ADDRESS_H
#define EGRESS_CONFIG_NUMERIC_ADDRESS_H

#include <array>
#include <cstdint>
#include <string_view>

#include "egress/export.h"

namespace egress {

// An IPv4 or IPv6 address as bytes in network order; all zero if it is not valid. An IPv4 address
// fills bytes 0 to 3 and is never written as an IPv4-mapped IPv6 address.
struct NumericAddress {
  bool valid = false;
  std::uint32_t family = 0;  // 4 or 6
  std::array<std::uint8_t, 16> bytes{};
};

// Reads a literal IPv4 or IPv6 address, for example "198.51.100.10", "[2001:db8::1]" or
// "fe80::1%eth0".
//
// One pair of brackets around the text is dropped, then everything from the first '%' on (a zone);
// text with a colon is IPv6, other text IPv4. Names are never looked up. Any other text, including
// blanks, gives an invalid address.
[[nodiscard]] EGRESS_EXPORT NumericAddress parseNumericAddress(std::string_view text) noexcept;

// Whether both are valid and the same address; their texts may differ. An IPv4 address never
// equals an IPv6 address, not even its IPv4-mapped form.
[[nodiscard]] EGRESS_EXPORT bool sameNumericAddress(const NumericAddress& a,
                                                    const NumericAddress& b) noexcept;

}  // namespace egress

#endif
