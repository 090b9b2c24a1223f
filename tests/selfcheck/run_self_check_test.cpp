#include "egress/selfcheck/run_self_check.h"

#include <gtest/gtest.h>

#include "tests/support/captured_output.h"

namespace egress::test {
namespace {

// The second run checks that no state remains.
TEST(RunSelfCheck, PrintsOnlyTheSummaryForACorrectCore) {
  for (int run = 1; run <= 2; ++run) {
    const CapturedOutput output;
    EXPECT_EQ(runSelfCheck(output.stream()), 0);
    EXPECT_EQ(output.text(), "PASS: 121 checks, 0 failures\n");
  }
}

}  // namespace
}  // namespace egress::test
