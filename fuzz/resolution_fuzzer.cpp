// Generates outbounds and selector answers from any bytes. The walk and the classification of every
// outbound must match the naive core.

#include "fuzz/fuzz_target.h"
#include "tests/laws/core_laws.h"
#include "tests/laws/generated_input.h"

namespace egress::fuzz {

test::Violation check(std::string_view bytes) {
  test::Choices choices(bytes);
  DiagnosisInput input;
  test::generateOutbounds(choices, input);
  test::Violation violation = test::checkResolution(input);
  for (const Outbound& outbound : input.outbounds) {
    if (violation.empty()) violation = test::checkClassification(outbound);
  }
  return violation;
}

}  // namespace egress::fuzz
