#ifndef EGRESS_TESTS_LAWS_ADDRESS_LAWS_H
#define EGRESS_TESTS_LAWS_ADDRESS_LAWS_H

#include <string>
#include <string_view>

#include "tests/laws/choices.h"
#include "tests/laws/violation.h"

namespace egress::test {

// The syntax in a text that parseNumericAddress accepts and inet_pton rejects.
struct Extensions {
  bool leadingZeros = false;  // in a dotted quad
  bool brackets = false;
  bool zone = false;

  [[nodiscard]] bool any() const { return leadingZeros || brackets || zone; }
};

struct AddressVerdict {
  Violation violation;
  bool accepted = false;
  bool systemAgrees = false;  // inet_pton gives the same result for the unchanged text
  Extensions extensions;
};

// parseNumericAddress gives the result of inet_pton for the text without its extensions. The two
// differ only for texts with extensions.
AddressVerdict checkAddressText(std::string_view text);

// parseNumericAddress reads the output of inet_ntop back as the same bytes. An IPv4 address never
// equals its IPv4-mapped IPv6 address (RFC 4291, section 2.5.5.2).
Violation checkFormattedAddress(Choices& choices);

// sameNumericAddress is an equivalence relation on valid addresses, equals a comparison of family
// and bytes, and is false for invalid addresses.
Violation checkEquality(Choices& choices);

// An address text, sometimes mutated.
std::string generateAddressText(Choices& choices);

}  // namespace egress::test

#endif
