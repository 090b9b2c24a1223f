// Parses any bytes as an address text, and compares the result with inet_pton.

#include "fuzz/fuzz_target.h"
#include "tests/laws/address_laws.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  return test::checkAddressText(bytes).violation;
}

}  // namespace egress::fuzz
