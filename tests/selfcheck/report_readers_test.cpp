#include "egress/selfcheck/report_readers.h"

#include <limits>

#include <gtest/gtest.h>

#include "tests/support/report_builder.h"

namespace egress::test {
namespace {

EgressReport makeReport() {
  EgressReport report;
  insertMember(report, "text", stringScalar("OK"));
  insertMember(report, "empty", stringScalar(""));
  insertMember(report, "number", integerScalar(7));
  insertMember(report, "lowest", integerScalar(std::numeric_limits<std::int64_t>::min()));
  insertMember(report, "flag", booleanScalar(true));
  insertMember(report, "nothing", nullScalar());
  insertMember(report, "rows", std::vector<ReportRow>{{{"ordinal", integerScalar(1)}}, {}});
  insertMember(report, "noRows", std::vector<ReportRow>{});
  return report;
}

TEST(ReportString, ReadsOnlyStrings) {
  const EgressReport report = makeReport();
  EXPECT_EQ(reportString(report, "text"), "OK");
  EXPECT_EQ(reportString(report, "empty"), "");
  for (const std::string_view key :
       {"number", "flag", "nothing", "rows", "absent", "Text", "tex"}) {
    EXPECT_EQ(reportString(report, key), "<missing>") << key;
  }
}

TEST(ReportInteger, ReadsOnlyIntegers) {
  const EgressReport report = makeReport();
  EXPECT_EQ(reportInteger(report, "number"), 7);
  EXPECT_EQ(reportInteger(report, "lowest"), std::numeric_limits<std::int64_t>::min());
  for (const std::string_view key : {"text", "flag", "rows", "noRows"}) {
    EXPECT_EQ(reportInteger(report, key), -1) << key;
  }
}

TEST(ReportInteger, DoesNotDistinguishNullFromAbsent) {
  const EgressReport report = makeReport();
  EXPECT_EQ(reportInteger(report, "nothing"), -1);
  EXPECT_EQ(reportInteger(report, "absent"), -1);
}

TEST(ReportIsNull, DistinguishesNullFromAbsent) {
  const EgressReport report = makeReport();
  EXPECT_TRUE(reportIsNull(report, "nothing"));
  for (const std::string_view key : {"absent", "text", "empty", "number", "flag", "noRows"}) {
    EXPECT_FALSE(reportIsNull(report, key)) << key;
  }
}

TEST(ReportRows, ReadsOnlyArrays) {
  const EgressReport report = makeReport();
  ASSERT_NE(reportRows(report, "rows"), nullptr);
  EXPECT_EQ(reportRows(report, "rows")->size(), 2U);
  ASSERT_NE(reportRows(report, "noRows"), nullptr);
  EXPECT_TRUE(reportRows(report, "noRows")->empty());
  EXPECT_EQ(reportRows(report, "nothing"), nullptr);
  EXPECT_EQ(reportRows(report, "text"), nullptr);
  EXPECT_EQ(reportRows(report, "absent"), nullptr);
}

TEST(FindReportScalar, FindsScalarsButNotRows) {
  const EgressReport report = makeReport();
  ASSERT_NE(findReportScalar(report, "flag"), nullptr);
  EXPECT_EQ(*findReportScalar(report, "flag"), booleanScalar(true));
  EXPECT_EQ(findReportScalar(report, "rows"), nullptr);
  EXPECT_EQ(findReportScalar(report, "absent"), nullptr);
}

TEST(ReportReaders, ReadOnlyTheFirstMemberWithAKey) {
  EgressReport report;
  insertMember(report, "a", integerScalar(1));
  insertMember(report, "a", stringScalar("OK"));
  insertMember(report, "b", stringScalar("OK"));
  insertMember(report, "b", integerScalar(2));
  insertMember(report, "b", nullScalar());
  insertMember(report, "b", std::vector<ReportRow>{});
  EXPECT_EQ(reportString(report, "a"), "<missing>");
  EXPECT_EQ(reportInteger(report, "b"), -1);
  EXPECT_FALSE(reportIsNull(report, "b"));
  EXPECT_EQ(reportRows(report, "b"), nullptr);
}

TEST(RowReaders, SkipValuesOfOtherKinds) {
  const ReportRow row = {{"other", stringScalar("no")}, {"a", nullScalar()},
                         {"a", integerScalar(3)},       {"a", stringScalar("OK")},
                         {"a", stringScalar("late")},   {"a", integerScalar(4)}};
  EXPECT_EQ(rowString(row, "a"), "OK");
  EXPECT_EQ(rowInteger(row, "a"), 3);
}

TEST(RowReaders, ReturnSentinelsWithoutAMatch) {
  const ReportRow row = {{"a", nullScalar()}, {"a", booleanScalar(true)}};
  EXPECT_EQ(rowString(row, "a"), "<missing>");
  EXPECT_EQ(rowInteger(row, "a"), -1);
  EXPECT_EQ(rowString({}, "a"), "<missing>");
  EXPECT_EQ(rowInteger({}, "a"), -1);
}

}  // namespace
}  // namespace egress::test
