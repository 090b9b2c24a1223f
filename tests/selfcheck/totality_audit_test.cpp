#include "egress/selfcheck/totality_audit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/selfcheck/fixtures.h"
#include "tests/support/captured_output.h"
#include "tests/support/report_builder.h"

namespace egress::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view kRowKey = "defaultRoutes[].interfaceOrdinalStatus";

class AuditTest : public testing::Test {
 protected:
  AuditTest() { run.recorder.output = output.stream(); }

  void expect(std::int32_t checks, std::int32_t failures, std::string_view lines) const {
    EXPECT_EQ(run.recorder.checkCount, checks);
    EXPECT_EQ(run.recorder.failureCount, failures);
    EXPECT_EQ(output.text(), lines);
  }

  CapturedOutput output;
  SelfCheckRun run;
};

EgressReport makeReport() {
  EgressReport report;
  insertMember(report, "configStatus", stringScalar("OK"));
  insertMember(report, "egressSelectionPolicy", stringScalar("os_routed"));
  insertMember(report, "activeEndpointStatus", stringScalar("DETOUR_CYCLE"));
  insertMember(report, "selectionStatus", stringScalar("NO_MATCHING_SOCKET"));
  insertMember(report, "interfacesStatus", stringScalar("ADAPTER_ENUM_FAILED"));
  insertMember(report, "defaultRoutesStatus", stringScalar("SNAPSHOT_INCONSISTENT"));
  insertMember(
      report, "defaultRoutes",
      std::vector<ReportRow>{{{"interfaceOrdinalStatus", stringScalar("ROUTE_INTERFACE_UNMAPPED")}},
                             {{"interfaceOrdinalStatus", stringScalar("OK")}}});
  insertMember(report, "socketSourcesStatus", stringScalar("SOCKET_ENUM_FAILED"));
  return report;
}

TEST_F(AuditTest, ExportedKeysAreInOrder) {
  std::vector<std::string> keys;
  for (const ExportedKey& exported : exportedKeys()) keys.push_back(exported.key);
  EXPECT_THAT(keys, ElementsAre("configStatus", "egressSelectionPolicy", "activeEndpointStatus",
                                "selectionStatus", "interfacesStatus", "defaultRoutesStatus",
                                "socketSourcesStatus", kRowKey));
}

TEST_F(AuditTest, RecordsEachWordUnderItsKey) {
  recordProducedValues(run, makeReport());
  EXPECT_THAT(run.producedValues["configStatus"], ElementsAre("OK"));
  EXPECT_THAT(run.producedValues["egressSelectionPolicy"], ElementsAre("os_routed"));
  EXPECT_THAT(run.producedValues["activeEndpointStatus"], ElementsAre("DETOUR_CYCLE"));
  EXPECT_THAT(run.producedValues["selectionStatus"], ElementsAre("NO_MATCHING_SOCKET"));
  EXPECT_THAT(run.producedValues["interfacesStatus"], ElementsAre("ADAPTER_ENUM_FAILED"));
  EXPECT_THAT(run.producedValues["defaultRoutesStatus"], ElementsAre("SNAPSHOT_INCONSISTENT"));
  EXPECT_THAT(run.producedValues["socketSourcesStatus"], ElementsAre("SOCKET_ENUM_FAILED"));
  EXPECT_THAT(run.producedValues[kRowKey], ElementsAre("OK", "ROUTE_INTERFACE_UNMAPPED"));
  expect(0, 0, "");
}

TEST_F(AuditTest, RecordsEachWordOnceAndKeepsIt) {
  recordProducedValues(run, makeReport());
  recordProducedValues(run, makeReport());
  EgressReport other = makeReport();
  std::get<ReportScalar>(other.members[0].value) = stringScalar("NO_CONFIG");
  recordProducedValues(run, other);
  EXPECT_THAT(run.producedValues["configStatus"], ElementsAre("NO_CONFIG", "OK"));
}

TEST_F(AuditTest, RecordsAnAbsentOrMistypedStatusAsMissing) {
  EgressReport report;
  insertMember(report, "configStatus", integerScalar(0));
  insertMember(report, "configStatus", stringScalar("OK"));  // only the first one is used
  insertMember(report, "interfacesStatus", std::vector<ReportRow>{});
  recordProducedValues(run, report);
  for (const ExportedKey& exported : exportedKeys()) {
    if (exported.key == kRowKey) continue;
    EXPECT_THAT(run.producedValues[exported.key], ElementsAre("<missing>")) << exported.key;
  }
}

TEST_F(AuditTest, RecordsTheFirstStringOfARow) {
  EgressReport report;
  insertMember(report, "defaultRoutes",
               std::vector<ReportRow>{{{"interfaceOrdinalStatus", nullScalar()},
                                       {"interfaceOrdinalStatus", stringScalar("OK")},
                                       {"interfaceOrdinalStatus", stringScalar("late")}},
                                      {{"family", integerScalar(4)}}});
  recordProducedValues(run, report);
  EXPECT_THAT(run.producedValues[kRowKey], ElementsAre("<missing>", "OK"));
}

TEST_F(AuditTest, RecordsNothingWithoutRouteRows) {
  recordProducedValues(run, EgressReport{});
  EXPECT_THAT(run.producedValues[kRowKey], IsEmpty());
  EgressReport report;
  insertMember(report, "defaultRoutes", stringScalar("OK"));
  recordProducedValues(run, report);
  EXPECT_THAT(run.producedValues[kRowKey], IsEmpty());
}

TEST_F(AuditTest, ReportsUndeclaredStringsInReportOrder) {
  EgressReport report;
  insertMember(report, "note", stringScalar("it's 10.0.0.7"));
  insertMember(report, "interfaces",
               std::vector<ReportRow>{
                   {{"ordinal", integerScalar(1)}, {"address", stringScalar("192.168.1.50")}},
                   {{"address", stringScalar("OK")}, {"name", stringScalar("")}}});
  insertMember(report, "a", stringScalar("3"));
  auditExportedStrings(run, "policy/os-routed", report);
  expect(0, 4,
         "FAIL policy/os-routed: undeclared exported string 'it's 10.0.0.7' at key note\n"
         "FAIL policy/os-routed: undeclared exported string '192.168.1.50' in row key address\n"
         "FAIL policy/os-routed: undeclared exported string '' in row key name\n"
         "FAIL policy/os-routed: undeclared exported string '3' at key a\n");
}

TEST_F(AuditTest, AcceptsDeclaredWordsAndNonStrings) {
  EgressReport report = makeReport();
  insertMember(report, "a", integerScalar(11));
  insertMember(report, "b", booleanScalar(true));
  insertMember(report, "c", nullScalar());
  insertMember(report, "d", std::vector<ReportRow>{{{"e", integerScalar(1)}, {"f", nullScalar()}}});
  auditExportedStrings(run, "l", report);
  expect(0, 0, "");
}

TEST_F(AuditTest, AWordOfAnotherKeyFailsOnlyTheTotalityCheck) {
  EgressReport report = makeReport();
  std::get<ReportScalar>(report.members[3].value) = stringScalar("NO_CONFIG");
  auditExportedStrings(run, "l", report);
  expect(0, 0, "");
  recordProducedValues(run, report);
  auditTotality(run.recorder, "selectionStatus", run.producedValues["selectionStatus"], {"OK"});
  expect(1, 2,
         "FAIL totality/selectionStatus: declared value never exercised: OK\n"
         "FAIL totality/selectionStatus: undeclared value produced: NO_CONFIG\n");
}

TEST_F(AuditTest, AcceptsEveryDeclaredWord) {
  EgressReport report;
  const auto insertAll = [&report](const std::vector<std::string>& words) {
    for (const std::string& word : words) insertMember(report, "k", stringScalar(word));
  };
  for (const ExportedKey& exported : exportedKeys()) insertAll(exported.declaredWords());
  EXPECT_EQ(report.members.size(), 44U);  // 5 + 3 + 17 + 10 + 2 + 3 + 2 + 2
  auditExportedStrings(run, "l", report);
  expect(0, 0, "");
}

TEST_F(AuditTest, DiagnoseAndAuditRecordsAndReturnsTheReport) {
  const EgressReport report = diagnoseAndAudit(run, "l", makeDefaultInput(true));
  EXPECT_EQ(report.members.size(), 13U);
  EXPECT_THAT(run.producedValues["selectionStatus"], ElementsAre("NO_MATCHING_SOCKET"));
  EXPECT_THAT(run.producedValues[kRowKey], ElementsAre("OK"));
  expect(0, 0, "");
}

TEST_F(AuditTest, TotalityIsOneCheckForAnyNumberOfWords) {
  auditTotality(run.recorder, "k", {"a", "b"}, {"b", "a", "b"});
  expect(1, 0, "");
  auditTotality(run.recorder, "k", {}, {});
  expect(2, 0, "");
}

TEST_F(AuditTest, ReportsMissingThenUndeclaredWordsInByteOrder) {
  auditTotality(run.recorder, "k", {"\xFF", "Z", "z", "OK"}, {"b", "OK", "ab", "a", "B"});
  expect(1, 7,
         "FAIL totality/k: declared value never exercised: B\n"
         "FAIL totality/k: declared value never exercised: a\n"
         "FAIL totality/k: declared value never exercised: ab\n"
         "FAIL totality/k: declared value never exercised: b\n"
         "FAIL totality/k: undeclared value produced: Z\n"
         "FAIL totality/k: undeclared value produced: z\n"
         "FAIL totality/k: undeclared value produced: \xFF\n");
}

TEST_F(AuditTest, ReportsEveryDeclaredWordForAnEmptyRun) {
  auditAllTotalities(run);
  EXPECT_EQ(run.recorder.checkCount, 8);
  EXPECT_EQ(run.recorder.failureCount, 44);
  EXPECT_THAT(output.text(),
              testing::EndsWith("FAIL totality/defaultRoutes[].interfaceOrdinalStatus: "
                                "declared value never exercised: OK\n"
                                "FAIL totality/defaultRoutes[].interfaceOrdinalStatus: "
                                "declared value never exercised: ROUTE_INTERFACE_UNMAPPED\n"));
}

TEST_F(AuditTest, PassesIfExactlyTheDeclaredWordsWereProduced) {
  for (const ExportedKey& exported : exportedKeys()) {
    const WordList& words = exported.declaredWords();
    run.producedValues[exported.key].insert(words.begin(), words.end());
  }
  auditAllTotalities(run);
  expect(8, 0, "");
}

}  // namespace
}  // namespace egress::test
