// Reads any bytes as a configuration, and compares the result with that of a simple reader.

#include "fuzz/fuzz_target.h"
#include "tests/laws/config_laws.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  return test::checkConfigText(bytes);
}

}  // namespace egress::fuzz
