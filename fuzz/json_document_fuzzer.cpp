// Any bytes as a JSON document: nlohmann/json's verdict and tree, and no prefix of an accepted
// object or array is accepted.

#include <cstddef>

#include "fuzz/fuzz_target.h"
#include "tests/laws/json_laws.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  constexpr std::size_t kLongestCut = 200;  // the time for all cuts grows with its square
  const test::JsonVerdict verdict = test::judgeJsonText(bytes);
  if (!verdict.complaint.empty() || bytes.size() > kLongestCut) return verdict.complaint;
  return test::judgeCuts(bytes);
}

}  // namespace egress::fuzz
