// Reading and writing records when memory runs out.

#include <string>
#include <string_view>
#include <variant>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/anonymize.h"
#include "egress_snapshot/details_json.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/selector_answers_json.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_snapshot/detailed_snapshot.h"
#include "tests/egress_snapshot/full_snapshot.h"
#include "tests/memory/fail_each_allocation.h"

namespace egress::test {
namespace {

using snapshot::HostSnapshot;
using snapshot::snapshotFromJson;

const auto kNothing = [] {};

// Members that are replaced and that are ignored, both with elements.
std::string textOfARecord() {
  std::string text = snapshotToJson(snapshot::fullSnapshot());
  text.pop_back();
  return text.append(R"(, "unknown": [[1, {"a": [2]}], "x"], "processes": [{"id": 7}, {}],)"
                     R"( "unknown": {"b": [[], {}]}})");
}

class SnapshotMemory : public testing::Test {
 protected:
  // The lists of words that reading asks for stay.
  void SetUp() override { static_cast<void>(snapshotFromJson(textOfARecord())); }
};

TEST_F(SnapshotMemory, ReadingARecordThrowsOnEveryFailure) {
  const std::string text = textOfARecord();
  std::size_t processes = 0;
  const std::size_t failures = failEachAllocation(
      [&] { processes = std::get<HostSnapshot>(snapshotFromJson(text)).processes.size(); },
      kNothing);
  EXPECT_GT(failures, 100U);
  EXPECT_EQ(processes, 2U);
}

TEST_F(SnapshotMemory, RefusingARecordThrowsOnEveryFailure) {
  const std::string text = textOfARecord();
  const std::string cutOff = text.substr(0, text.size() - 1);
  std::string wrong = text;
  wrong[wrong.find("4294967295")] = '9';
  for (const std::string& refused : {cutOff, wrong}) {
    bool isRefused = false;
    EXPECT_GT(failEachAllocation(
                  [&] {
                    isRefused =
                        std::holds_alternative<snapshot::Refusal>(snapshotFromJson(refused));
                  },
                  kNothing),
              10U);
    EXPECT_TRUE(isRefused);
  }
}

TEST_F(SnapshotMemory, ReadingAndRefusingAnswersThrowOnEveryFailure) {
  const std::string text =
      R"({"a": {"now": "a tag that is longer than a short string"}, "b": [[{}]], "a": {"c": 1}})";
  for (const std::string& read : {text, text + ","}) {
    bool isRead = false;
    const auto readAnswers = [&] { isRead = snapshot::selectorAnswersFromJson(read).index() == 0; };
    EXPECT_GT(failEachAllocation(readAnswers, kNothing), 10U);
    EXPECT_EQ(isRead, read == text);
  }
}

TEST_F(SnapshotMemory, WritingAndAnonymizingARecordThrowOnEveryFailure) {
  const HostSnapshot record = snapshot::fullSnapshot();
  std::string text;
  EXPECT_GT(failEachAllocation([&] { text = snapshotToJson(record); }, kNothing), 10U);
  EXPECT_EQ(text, snapshotToJson(snapshot::fullSnapshot()));
  bool isAnonymized = false;
  const auto anonymize = [&] {
    isAnonymized = std::holds_alternative<HostSnapshot>(anonymized(record));
  };
  EXPECT_GT(failEachAllocation(anonymize, kNothing), 50U);
  EXPECT_TRUE(isAnonymized);
}

TEST_F(SnapshotMemory, DiagnosingAndWritingTheDetailsThrowOnEveryFailure) {
  const HostSnapshot record = snapshot::namedSnapshot();
  std::vector<snapshot::AddressFinding> findings;
  const auto examine = [&] {
    std::vector<snapshot::AddressFinding> found = diagnoseAddresses(record);
    crossCheckAddresses(record, found);
    findings = std::move(found);
  };
  EXPECT_GT(failEachAllocation(examine, kNothing), 50U);
  EXPECT_EQ(findings.size(), 3U);
  std::string text;
  const auto write = [&] { text = detailsToJson(record, findings); };
  EXPECT_GT(failEachAllocation(write, kNothing), 10U);
  EXPECT_TRUE(text.ends_with("\"failures\": {}\n}"));
}

}  // namespace
}  // namespace egress::test
