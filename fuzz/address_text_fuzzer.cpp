// Arbitrary bytes as an address: the result equals that of inet_pton, except for the documented
// extensions.

#include "fuzz/fuzz_target.h"
#include "tests/laws/address_laws.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  return test::judgeAddressText(bytes).complaint;
}

}  // namespace egress::fuzz
