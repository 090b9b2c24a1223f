// Parses any bytes as JSON. The reader must agree with nlohmann/json, reject every proper prefix of
// an accepted object or array, and report the first faulty byte of a rejected text.

#include <cstddef>

#include "fuzz/fuzz_target.h"
#include "tests/laws/json_laws.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  constexpr std::size_t kMaxPrefixBytes = 200;  // parsing all prefixes takes quadratic time
  const test::JsonVerdict verdict = test::checkJsonText(bytes);
  if (!verdict.violation.empty()) return verdict.violation;
  if (!verdict.accepted) return test::checkFault(bytes);
  return bytes.size() > kMaxPrefixBytes ? test::Violation{} : test::checkPrefixes(bytes);
}

}  // namespace egress::fuzz
