#include "egress/selfcheck/run_self_check.h"

#include <gtest/gtest.h>

#include "tests/support/captured_output.h"

namespace egress::test {
namespace {

TEST(RunSelfCheck, WritesOnlyTheSummaryOfACorrectCore) {
  const CapturedOutput output;
  EXPECT_EQ(runSelfCheck(output.stream()), 0);
  EXPECT_EQ(output.text(), "PASS: 121 checks, 0 failures\n");
}

TEST(RunSelfCheck, KeepsNoStateBetweenRuns) {
  const CapturedOutput output;
  EXPECT_EQ(runSelfCheck(output.stream()), 0);
  EXPECT_EQ(runSelfCheck(output.stream()), 0);
  EXPECT_EQ(output.text(), "PASS: 121 checks, 0 failures\nPASS: 121 checks, 0 failures\n");
}

}  // namespace
}  // namespace egress::test
