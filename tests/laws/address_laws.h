#ifndef EGRESS_TESTS_LAWS_ADDRESS_LAWS_H
#define EGRESS_TESTS_LAWS_ADDRESS_LAWS_H

#include <string>
#include <string_view>

#include "tests/laws/choices.h"
#include "tests/laws/complaint.h"

namespace egress::test {

// What a text has that inet_pton refuses and parseNumericAddress takes.
struct Liberties {
  bool leadingZeros = false;  // in a dotted quad
  bool brackets = false;
  bool zone = false;

  [[nodiscard]] bool any() const { return leadingZeros || brackets || zone; }
};

struct AddressVerdict {
  Complaint complaint;
  bool accepted = false;
  bool systemAgrees = false;  // inet_pton says the same of the very same text
  Liberties liberties;
};

// parseNumericAddress reads the text exactly as inet_pton reads it without the liberties; where
// there are none to take, the two agree.
AddressVerdict judgeAddressText(std::string_view text);

// Whatever inet_ntop writes is read back as the same bytes, and an IPv4 address is never the same
// as its form mapped into IPv6 (RFC 4291, section 2.5.5.2).
Complaint judgeFormattedAddress(Choices& choices);

// sameNumericAddress is an equivalence relation on valid addresses, says the same as comparing
// family and bytes, and never holds for an invalid one.
Complaint judgeEquality(Choices& choices);

// A text that is an address, or was one before a few bytes of it were changed.
std::string generateAddressText(Choices& choices);

}  // namespace egress::test

#endif
