// Reads any bytes as a selector's answer, and compares the result with that of a simple reader.

#include "fuzz/fuzz_target.h"
#include "tests/laws/config_laws.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  return test::checkSelectorAnswerText(bytes);
}

}  // namespace egress::fuzz
