// Any bytes as a JSON document: nlohmann/json's verdict and tree; no prefix of an accepted object or
// array is accepted; a refused text has a fault at the first byte that cannot be continued.

#include <cstddef>

#include "fuzz/fuzz_target.h"
#include "tests/laws/json_laws.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  constexpr std::size_t kLongestCut = 200;  // the time for all cuts grows with its square
  const test::JsonVerdict verdict = test::judgeJsonText(bytes);
  if (!verdict.complaint.empty()) return verdict.complaint;
  if (!verdict.accepted) return test::judgeFault(bytes);
  return bytes.size() > kLongestCut ? test::Complaint{} : test::judgeCuts(bytes);
}

}  // namespace egress::fuzz
