// Arbitrary bytes as a JSON document: the verdict and the tree equal those of nlohmann/json. No
// proper prefix of an accepted object or array is accepted. A rejected document has its fault at
// the first byte that makes every continuation invalid.

#include <cstddef>

#include "fuzz/fuzz_target.h"
#include "tests/laws/json_laws.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  constexpr std::size_t kMaxCutSize = 200;  // checking all cuts takes quadratic time
  const test::JsonVerdict verdict = test::judgeJsonText(bytes);
  if (!verdict.complaint.empty()) return verdict.complaint;
  if (!verdict.accepted) return test::judgeFault(bytes);
  return bytes.size() > kMaxCutSize ? test::Complaint{} : test::judgeCuts(bytes);
}

}  // namespace egress::fuzz
