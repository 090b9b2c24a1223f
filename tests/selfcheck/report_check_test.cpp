#include "egress/selfcheck/report_check.h"

#include <array>

#include <gtest/gtest.h>

#include "tests/support/captured_output.h"
#include "tests/support/report_builder.h"

namespace egress::test {
namespace {

EgressReport makeReport() {
  EgressReport report;
  insertMember(report, "word", stringScalar("OK"));
  insertMember(report, "number", integerScalar(1));
  insertMember(report, "flag", booleanScalar(true));
  insertMember(report, "off", booleanScalar(false));
  insertMember(report, "nothing", nullScalar());
  insertMember(report, "rows", std::vector<ReportRow>(2));
  insertMember(report, "noRows", std::vector<ReportRow>{});
  return report;
}

struct Row {
  std::string_view key;
  Expectation expected;
  std::string_view line;  // empty: the check passes
};

constexpr std::string_view kConditionFails = "FAIL label: condition is false\n";

const auto kRows = std::to_array<Row>({
    {.key = "word", .expected = IsWord{"OK"}, .line = ""},
    {.key = "word",
     .expected = IsWord{"NO_CONFIG"},
     .line = "FAIL label: expected 'NO_CONFIG', got 'OK'\n"},
    {.key = "absent",
     .expected = IsWord{"OK"},
     .line = "FAIL label: expected 'OK', got '<missing>'\n"},
    {.key = "number",
     .expected = IsWord{"OK"},
     .line = "FAIL label: expected 'OK', got '<missing>'\n"},
    {.key = "number", .expected = IsInteger{1}, .line = ""},
    {.key = "number", .expected = IsInteger{2}, .line = kConditionFails},
    {.key = "nothing", .expected = IsInteger{0}, .line = kConditionFails},
    {.key = "absent", .expected = IsInteger{0}, .line = kConditionFails},
    {.key = "flag", .expected = IsBoolean{true}, .line = ""},
    {.key = "flag", .expected = IsBoolean{false}, .line = kConditionFails},
    {.key = "off", .expected = IsBoolean{false}, .line = ""},
    {.key = "nothing", .expected = IsBoolean{false}, .line = kConditionFails},
    {.key = "absent", .expected = IsBoolean{false}, .line = kConditionFails},
    {.key = "rows", .expected = IsBoolean{false}, .line = kConditionFails},
    {.key = "nothing", .expected = IsNull{}, .line = ""},
    {.key = "absent", .expected = IsNull{}, .line = kConditionFails},
    {.key = "off", .expected = IsNull{}, .line = kConditionFails},
    {.key = "rows", .expected = HasRows{2}, .line = ""},
    {.key = "rows", .expected = HasRows{1}, .line = kConditionFails},
    {.key = "rows", .expected = HasRows{3}, .line = kConditionFails},
    {.key = "noRows", .expected = HasRows{0}, .line = ""},
    {.key = "nothing", .expected = HasRows{0}, .line = kConditionFails},
    {.key = "absent", .expected = HasRows{0}, .line = kConditionFails},
});

TEST(CheckReport, CountsOneCheckAndPrintsOnlyWords) {
  const EgressReport report = makeReport();
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.key);
    SCOPED_TRACE(row.line);
    const CapturedOutput output;
    CheckRecorder recorder{.output = output.stream()};
    checkReport(recorder, report, {.label = "label", .key = row.key, .expected = row.expected});
    EXPECT_EQ(recorder.checkCount, 1);
    EXPECT_EQ(recorder.failureCount, row.line.empty() ? 0 : 1);
    EXPECT_EQ(output.text(), row.line);
  }
}

}  // namespace
}  // namespace egress::test
