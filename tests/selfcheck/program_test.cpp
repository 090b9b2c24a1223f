// Runs the self-check as a program. readme_test.cpp compares its output with README.md.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_program.h"

namespace egress::test {
namespace {

const std::string kProgram = "'" EGRESS_SELFCHECK_PROGRAM "'";

TEST(SelfCheckProgram, IgnoresArgumentsDirectoryEnvironmentAndInput) {
  const std::string summary = runProgram(kProgram).output;
  EXPECT_THAT(summary, testing::MatchesRegex("PASS: [0-9]+ checks, 0 failures\n"));
  for (const std::string& command :
       {kProgram, kProgram + " --help -x '' /etc/passwd 7", "cd / && " + kProgram,
        "env -i " + kProgram, "LC_ALL=de_DE.UTF-8 " + kProgram, kProgram + " <&-"}) {
    SCOPED_TRACE(command);
    const ProgramResult result = runProgram(command);
    EXPECT_EQ(result.output, summary);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.status, 0);
  }
}

TEST(SelfCheckProgram, DoesNotReadStandardInput) {
  EXPECT_EQ(runProgram("{ " + kProgram + " >/dev/null; cat; } <<END\nkept\nEND\n").output,
            "kept\n");
}

TEST(SelfCheckProgram, KeepsItsExitStatusWithoutStandardOutput) {
  EXPECT_EQ(runProgram(kProgram + " >&-").status, 0);
}

}  // namespace
}  // namespace egress::test
