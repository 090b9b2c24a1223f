// Arbitrary bytes as a diagnosis input: the report equals that of the naive core and has the
// documented structure. Changes of the input that must not affect the report do not affect it.

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
