// Any bytes as a whole diagnosis input: the report is the naive core's, shaped as documented, and
// a change of the input that must not show does not show.

#include <cstddef>

#include "fuzz/fuzz_target.h"
#include "tests/laws/core_laws.h"
#include "tests/laws/generated_input.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  test::Choices choices(bytes);
  const std::size_t change = choices.below(test::kInputChanges);
  const DiagnosisInput input = test::generateInput(choices);
  const test::Complaint complaint = test::judgeReport(input);
  return complaint.empty() ? test::judgeChange(change, input, choices) : complaint;
}

}  // namespace egress::fuzz
