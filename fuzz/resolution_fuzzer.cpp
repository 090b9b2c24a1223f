// Arbitrary bytes as outbounds and selector answers: the walk has the same result as that of the
// naive core, and the classification of every outbound as a leaf matches the decision table.

#include "fuzz/fuzz_target.h"
#include "tests/laws/core_laws.h"
#include "tests/laws/generated_input.h"

namespace egress::fuzz {

test::Complaint judge(std::string_view bytes) {
  test::Choices choices(bytes);
  DiagnosisInput input;
  test::generateOutbounds(choices, input);
  test::Complaint complaint = test::judgeResolution(input);
  for (const Outbound& outbound : input.outbounds) {
    if (complaint.empty()) complaint = test::judgeClassification(outbound);
  }
  return complaint;
}

}  // namespace egress::fuzz
