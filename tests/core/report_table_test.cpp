#include "egress/core/report_table.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress/selfcheck/fixtures.h"

namespace egress::test {
namespace {

using testing::ElementsAre;

template <typename Fields>
std::vector<std::string_view> keysOf(const Fields& fields) {
  std::vector<std::string_view> keys;
  keys.reserve(fields.size());
  for (const ReportField& field : fields) keys.push_back(field.key);
  return keys;
}

TEST(ReportTable, KeysHaveTheOrderOfTheReport) {
  std::vector<std::string_view> keys;
  keys.reserve(kReportMembers.size());
  for (const ReportMemberField& member : kReportMembers) keys.push_back(member.field.key);
  EXPECT_THAT(
      keys, ElementsAre("configStatus", "autoDetectInterfaceEnabled", "egressSelectionPolicy",
                        "activeEndpointStatus", "selectorHintStale", "selectedInterfaceOrdinal",
                        "selectionStatus", "interfacesStatus", "interfaces", "defaultRoutesStatus",
                        "defaultRoutes", "socketSourcesStatus", "observedSocketSources"));
  EXPECT_THAT(keysOf(kInterfaceColumns), ElementsAre("ordinal", "operStatus", "interfaceMetric"));
  EXPECT_THAT(keysOf(kRouteColumns),
              ElementsAre("family", "interfaceOrdinal", "interfaceOrdinalStatus", "routeMetric"));
  EXPECT_THAT(keysOf(kSourceColumns), ElementsAre("interfaceOrdinal"));
}

TEST(ReportTable, EveryStringFieldHasItsOwnWordList) {
  std::vector<const WordList*> wordLists;
  const auto add = [&wordLists](const ReportField& field) {
    EXPECT_EQ(field.declaredWords != nullptr, field.kind == ReportKind::String) << field.key;
    if (field.declaredWords != nullptr) wordLists.push_back(&field.declaredWords());
  };
  for (const ReportMemberField& member : kReportMembers) {
    add(member.field);
    std::ranges::for_each(member.columns, add);
  }
  EXPECT_THAT(wordLists,
              ElementsAre(&declaredConfigStatus(), &declaredEgressSelectionPolicy(),
                          &declaredActiveEndpointStatus(), &declaredSelectionStatus(),
                          &declaredInterfacesStatus(), &declaredDefaultRoutesStatus(),
                          &declaredInterfaceOrdinalStatus(), &declaredSocketSourcesStatus()));
}

void expectField(const ReportField& field, std::string_view key, const ReportScalar& value) {
  SCOPED_TRACE(field.key);
  EXPECT_EQ(key, field.key);
  if (value.kind == ReportKind::Null) {
    EXPECT_TRUE(field.mayBeNull);
    return;
  }
  EXPECT_EQ(value.kind, field.kind);
  if (value.kind != ReportKind::String) return;
  const WordList& words = field.declaredWords();
  EXPECT_NE(std::ranges::find(words, value.stringValue), words.end()) << value.stringValue;
}

// Compares a report with the table and returns the number of its rows.
std::size_t expectTable(const EgressReport& report, bool hasConfig) {
  std::size_t rows = 0;
  auto member = report.members.begin();
  for (const ReportMemberField& wanted : kReportMembers) {
    if (wanted.onlyWithConfig && !hasConfig) continue;
    SCOPED_TRACE(wanted.field.key);
    if (member == report.members.end()) {
      ADD_FAILURE() << "absent";
      return rows;
    }
    const auto* const table = std::get_if<std::vector<ReportRow>>(&member->value);
    EXPECT_EQ(table != nullptr, !wanted.columns.empty());
    EXPECT_EQ(member->key, wanted.field.key);
    if (table == nullptr)
      expectField(wanted.field, member->key, std::get<ReportScalar>(member->value));
    for (const ReportRow& row : table == nullptr ? std::vector<ReportRow>{} : *table) {
      ++rows;
      EXPECT_EQ(row.size(), wanted.columns.size());
      for (std::size_t i = 0; i < row.size(); ++i) {
        expectField(wanted.columns[i], row[i].first, row[i].second);
      }
    }
    ++member;
  }
  EXPECT_EQ(member, report.members.end());
  return rows;
}

TEST(ReportTable, ReportsHaveTheMembersAndColumnsOfTheTable) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/true);
  input.routes.rows.push_back({.family = 4, .interfaceIndex = 99});
  input.sockets.rows = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443)};
  EXPECT_EQ(expectTable(diagnoseEgress(input), /*hasConfig=*/true), 6U);
  input.configStatus = ConfigStatus::NO_CONFIG;
  EXPECT_EQ(expectTable(diagnoseEgress(input), /*hasConfig=*/false), 6U);
  EXPECT_EQ(expectTable(diagnoseEgress({}), /*hasConfig=*/false), 0U);
}

}  // namespace
}  // namespace egress::test
