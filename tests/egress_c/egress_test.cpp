#include "egress_c/egress.h"

#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include <gtest/gtest.h>

#include "egress/core/write_report.h"
#include "egress/version.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/explanations_json.h"
#include "egress_snapshot/json_fault_json.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_from_texts.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_c/owned_result.h"
#include "tests/egress_snapshot/detailed_snapshot.h"
#include "tests/egress_snapshot/details_text.h"
#include "tests/support/exact_text.h"

namespace egress::c {
namespace {

using snapshot::HostSnapshot;
using test::ExactText;

using TextFunction = const egress_result*(const char*, size_t);

constexpr std::string_view kNoSnapshot = R"({"format": "egress-snapshot", "version": "1"})";
constexpr std::string_view kRefusal = R"(/version: "1" is not a version)";

void expectResult(const OwnedResult& result, egress_status status, std::string_view text) {
  EXPECT_EQ(result.status(), status);
  EXPECT_EQ(result.text(), text);
}

// Hands over the text without a zero byte after it.
OwnedResult call(TextFunction* function, std::string_view text) {
  const ExactText exact(text);
  return OwnedResult(function(exact.view().data(), exact.view().size()));
}

void expectText(TextFunction* function, std::string_view text, std::string_view wanted) {
  expectResult(call(function, text), EGRESS_OK, wanted);
}

// Programs in other languages have the numbers.
TEST(EgressC, TheStatusesHaveTheirNumbers) {
  EXPECT_EQ(EGRESS_OK, 0);
  EXPECT_EQ(EGRESS_REFUSED, 1);
  EXPECT_EQ(EGRESS_NO_MEMORY, 2);
  EXPECT_EQ(EGRESS_FAILED, 3);
  EXPECT_EQ(EGRESS_NO_PROCESS, 4);
}

TEST(EgressC, TheVersionIsThatOfTheProject) {
  expectResult(OwnedResult(egress_version()), EGRESS_OK, kVersion);
}

TEST(EgressC, ASnapshotGivesTheReportOfTheLibrary) {
  for (const HostSnapshot& record : {snapshot::detailedSnapshot(), snapshot::namedSnapshot()}) {
    expectText(egress_diagnose, snapshotToJson(record),
               snapshot::reportToJson(writeReport(diagnose(record))));
  }
}

TEST(EgressC, ASnapshotGivesTheDetailsOfTheLibrary) {
  for (const HostSnapshot& record : {snapshot::detailedSnapshot(), snapshot::namedSnapshot()}) {
    expectText(egress_diagnose_in_detail, snapshotToJson(record), detailsTextOf(record));
  }
}

TEST(EgressC, ASnapshotIsAnonymized) {
  const HostSnapshot snapshot = snapshot::selectedSnapshot();
  expectText(egress_anonymize, snapshotToJson(snapshot),
             snapshotToJson(std::get<HostSnapshot>(anonymized(snapshot))));
}

TEST(EgressC, WhatIsNotASnapshotIsRefused) {
  for (TextFunction* const function :
       {egress_diagnose, egress_diagnose_in_detail, egress_anonymize}) {
    expectResult(call(function, kNoSnapshot), EGRESS_REFUSED, kRefusal);
    expectResult(call(function, ""), EGRESS_REFUSED, "the text is empty");
    expectResult(OwnedResult(function(nullptr, 5)), EGRESS_REFUSED, "the text is empty");
  }
}

TEST(EgressC, AConfigurationAndAnswersBecomeASnapshot) {
  constexpr std::string_view kConfig = R"({"route": {"auto_detect_interface": true}, // a comment
    "outbounds": [{"tag": "proxy", "type": "selector"}]})";
  constexpr std::string_view kAnswers = R"({"proxy": {"now": "leaf"}})";
  for (const std::string_view answers : {kAnswers, std::string_view()}) {
    const ExactText exactConfig(kConfig);
    const ExactText exactAnswers(answers);
    expectResult(
        OwnedResult(egress_read_config(exactConfig.view().data(), exactConfig.view().size(),
                                       exactAnswers.view().data(), exactAnswers.view().size())),
        EGRESS_OK,
        snapshotToJson(std::get<HostSnapshot>(snapshot::snapshotFromTexts(kConfig, answers))));
  }
}

TEST(EgressC, AnswersThatAreNoObjectAreRefused) {
  expectResult(OwnedResult(egress_read_config("{}", 2, "[]", 2)), EGRESS_REFUSED,
               "an array is not an object");
}

TEST(EgressC, ANullPointerIsAnEmptyText) {
  const OwnedResult result(egress_read_config(nullptr, 3, nullptr, 7));
  const HostSnapshot wanted = std::get<HostSnapshot>(snapshot::snapshotFromTexts("", ""));
  expectResult(result, EGRESS_OK, snapshotToJson(wanted));
}

TEST(EgressC, AWordIsExplained) {
  for (const std::string_view word : {"NO_MATCHING_SOCKET", "OK", "NO_SUCH_WORD", ""}) {
    expectText(egress_explain, word, snapshot::explanationsToJson(word));
  }
}

TEST(EgressC, AFaultOfAJsonTextIsFound) {
  for (const std::string_view text : {"{}", "{\n,", ""}) {
    expectText(egress_find_json_fault, text, snapshot::jsonFaultToJson(text));
  }
}

TEST(EgressC, AFaultOfAConfigurationIsFound) {
  for (const std::string_view text : {"{} // a comment", "{\n// a comment\n1", ""}) {
    expectText(egress_find_config_fault, text, snapshot::configFaultToJson(text));
  }
}

TEST(EgressC, ATextMayHoldZeroBytes) {
  using namespace std::string_view_literals;
  expectText(egress_find_json_fault, "\0"sv, snapshot::jsonFaultToJson("\0"sv));
  expectText(egress_explain, "OK\0"sv, "[]");
}

}  // namespace
}  // namespace egress::c
