// Any bytes as an address text: read as by the system's inet_pton, but for the known liberties.

#include "fuzz/fuzz_target.h"
#include "tests/laws/address_laws.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  return test::judgeAddressText(bytes).complaint;
}

}  // namespace egress::fuzz
