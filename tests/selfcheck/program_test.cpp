// The self-check as a program: what it prints and how it ends, however it is started.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_program.h"

namespace egress::test {
namespace {

const std::string kProgram = "'" EGRESS_SELFCHECK_PROGRAM "'";

void expectPass(const ProgramResult& result) {
  EXPECT_EQ(result.output, "PASS: 121 checks, 0 failures\n");
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.status, 0);
}

TEST(SelfCheckProgram, PrintsExactlyTheSummaryLine) {
  expectPass(runProgram(kProgram));
}

TEST(SelfCheckProgram, IgnoresArguments) {
  expectPass(runProgram(kProgram + " --help -x '' /etc/passwd 7"));
}

TEST(SelfCheckProgram, RunsTheSameFromAnyFolder) {
  expectPass(runProgram("cd / && " + kProgram));
}

TEST(SelfCheckProgram, RunsTheSameWithAnEmptyEnvironment) {
  expectPass(runProgram("env -i " + kProgram));
}

TEST(SelfCheckProgram, RunsTheSameWithAnotherLocale) {
  expectPass(runProgram("LC_ALL=de_DE.UTF-8 " + kProgram));
}

TEST(SelfCheckProgram, ReadsNothingFromStandardInput) {
  expectPass(runProgram(kProgram + " <&-"));
  EXPECT_EQ(runProgram("{ " + kProgram + " >/dev/null; cat; } <<END\nkept\nEND\n").output,
            "kept\n");
}

TEST(SelfCheckProgram, KeepsItsVerdictWhenItsOutputIsClosed) {
  EXPECT_EQ(runProgram(kProgram + " >&-").status, 0);
}

}  // namespace
}  // namespace egress::test
