#include "egress/selfcheck/check_recorder.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/captured_output.h"
#include "tests/support/read_file.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

class CheckRecorderTest : public testing::Test {
 protected:
  void expect(std::int32_t checks, std::int32_t failures, std::string_view lines) const {
    EXPECT_EQ(recorder.checkCount, checks);
    EXPECT_EQ(recorder.failureCount, failures);
    EXPECT_EQ(output.text(), lines);
  }

  CapturedOutput output;
  CheckRecorder recorder{.output = output.stream()};
};

TEST_F(CheckRecorderTest, StartsAtZeroAndWritesNothing) {
  expect(0, 0, "");
}

TEST_F(CheckRecorderTest, EqualTextsPassWithoutOutput) {
  checkEqual(recorder, "OK", "OK", "policy/os-routed selectionStatus");
  checkEqual(recorder, "", "", "label");
  expect(2, 0, "");
}

TEST_F(CheckRecorderTest, UnequalTextsAreQuotedExpectedFirst) {
  checkEqual(recorder, "OK", "NOT_APPLICABLE_OS_ROUTED", "policy/os-routed selectionStatus");
  checkEqual(recorder, "OK", "OK ", "trailing space");
  checkEqual(recorder, "", "OK", "empty");
  expect(3, 3,
         "FAIL policy/os-routed selectionStatus: expected 'NOT_APPLICABLE_OS_ROUTED', got 'OK'\n"
         "FAIL trailing space: expected 'OK ', got 'OK'\n"
         "FAIL empty: expected 'OK', got ''\n");
}

TEST_F(CheckRecorderTest, ComparesAndWritesEveryByte) {
  checkEqual(recorder, "a\0b"sv, "a\0c"sv, "l\0"sv);
  recordFailure(recorder, "l\"", "'\xFF\t%s");
  expect(1, 2, "FAIL l\0: expected 'a\0c', got 'a\0b'\nFAIL l\": '\xFF\t%s\n"sv);
}

TEST_F(CheckRecorderTest, WritesFailuresInOrder) {
  recordCheck(recorder, true, "first");
  expect(1, 0, "");
  recordCheck(recorder, false, "second");
  expect(2, 1, "FAIL second: condition is false\n");
  recordFailure(recorder, "third", "x");  // not a check
  expect(2, 2, "FAIL second: condition is false\nFAIL third: x\n");
}

TEST_F(CheckRecorderTest, SummaryWithoutFailuresIsPass) {
  recordCheck(recorder, true, "label");
  recordCheck(recorder, true, "label");
  writeSummary(recorder);
  expect(2, 0, "PASS: 2 checks, 0 failures\n");
}

TEST_F(CheckRecorderTest, SummaryUsesPluralsForOne) {
  recordCheck(recorder, false, "label");
  writeSummary(recorder);
  expect(1, 1, "FAIL label: condition is false\nFAILED: 1 checks, 1 failures\n");
}

TEST_F(CheckRecorderTest, AFailureWithoutACheckFailsTheRun) {
  recordFailure(recorder, "label", "x");
  writeSummary(recorder);
  expect(0, 1, "FAIL label: x\nFAILED: 0 checks, 1 failures\n");
}

TEST_F(CheckRecorderTest, CountsHaveNoDigitSeparators) {
  recorder.checkCount = 2147483647;
  writeSummary(recorder);
  EXPECT_EQ(output.text(), "PASS: 2147483647 checks, 0 failures\n");
}

TEST(CheckRecorder, WritesToStandardOutputByDefault) {
  EXPECT_EQ(CheckRecorder{}.output, stdout);
}

// A second handle sees only flushed data.
TEST(CheckRecorder, FlushesEveryLine) {
  const std::string path = temporaryPath();
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  CheckRecorder recorder{.output = file};
  recordFailure(recorder, "label", "x");
  EXPECT_EQ(readFile(path), "FAIL label: x\n");
  writeSummary(recorder);
  EXPECT_EQ(readFile(path), "FAIL label: x\nFAILED: 0 checks, 1 failures\n");
  std::fclose(file);
  std::remove(path.c_str());
}

}  // namespace
}  // namespace egress::test
