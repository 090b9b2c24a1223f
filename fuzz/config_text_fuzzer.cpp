// Arbitrary bytes as a configuration: the result equals that of a second, simple reader.

#include "fuzz/fuzz_target.h"
#include "tests/laws/config_laws.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  return test::judgeConfigText(bytes);
}

}  // namespace egress::fuzz
