// Arbitrary bytes as a selector's answer: the result equals that of a second, simple reader.

#include "fuzz/fuzz_target.h"
#include "tests/laws/config_laws.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  return test::judgeSelectorAnswerText(bytes);
}

}  // namespace egress::fuzz
