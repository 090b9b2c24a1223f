// Generates a diagnosis input from any bytes. The report must equal that of the naive core and have
// the documented members, and an irrelevant change of the input must not change it.

#include <cstddef>

#include "fuzz/fuzz_target.h"
#include "tests/laws/core_laws.h"
#include "tests/laws/generated_input.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  test::Choices choices(bytes);
  const std::size_t change = choices.below(test::kInputChanges);
  const DiagnosisInput input = test::generateInput(choices);
  const test::Violation violation = test::checkReport(input);
  return violation.empty() ? test::checkChange(change, input, choices) : violation;
}

}  // namespace egress::fuzz
