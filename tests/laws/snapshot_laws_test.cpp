// Writes and reads generated records and reports, anonymizes records, and reads damaged texts.

#include "tests/laws/snapshot_laws.h"

#include <cstddef>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/report_json.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/laws/anonymize_laws.h"
#include "tests/laws/generated_input.h"
#include "tests/laws/generated_snapshot.h"
#include "tests/laws/random_rounds.h"

namespace egress::test {
namespace {

constexpr std::size_t kMaxBytes = 500;  // that a generated record takes

struct Counts {
  std::size_t texts = 0;
  std::size_t accepted = 0;

  Violation count(const TextVerdict& verdict) {
    ++texts;
    if (verdict.accepted) ++accepted;
    return verdict.violation;
  }

  // Both must be frequent, or the law shows little.
  void expectBoth() const {
    std::cout << texts << " texts, " << accepted << " accepted\n";
    EXPECT_GT(accepted, texts / 10);
    EXPECT_LT(accepted, texts / 10 * 9);
  }
};

TEST(SnapshotLaws, ARecordIsReadAsItWasWritten) {
  checkOnRandomBytes(3'000, kMaxBytes, [](std::string_view bytes) {
    Choices choices(bytes);
    return checkSnapshotJson(generateSnapshot(choices));
  });
}

TEST(SnapshotLaws, ARecordThatIsCutShortIsRefused) {
  checkOnRandomBytes(3'000, kMaxBytes, [](std::string_view bytes) {
    Choices choices(bytes);
    const std::size_t length = choices.below(65536);
    return checkSnapshotCut(generateSnapshot(choices), length);
  });
}

TEST(SnapshotLaws, ADamagedRecordIsReadOrRefused) {
  Counts counts;
  checkOnRandomBytes(3'000, kMaxBytes, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    const std::string text = snapshot::snapshotToJson(generateSnapshot(choices));
    return counts.count(checkSnapshotText(damaged(text, choices)));
  });
  counts.expectBoth();
}

TEST(ReportJsonLaws, AReportIsReadAsItWasWritten) {
  checkOnRandomBytes(10'000, kMaxBytes, [](std::string_view bytes) {
    Choices choices(bytes);
    return checkReportJson(diagnoseEgress(generateInput(choices)));
  });
}

TEST(ReportJsonLaws, ADamagedReportIsReadOrRefused) {
  Counts counts;
  checkOnRandomBytes(10'000, kMaxBytes, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    const std::string text = snapshot::reportToJson(diagnoseEgress(generateInput(choices)));
    return counts.count(checkReportText(damaged(text, choices)));
  });
  counts.expectBoth();
}

TEST(AnonymizeLaws, TheReportIsKeptAndReplacementsAreConsistent) {
  checkOnRandomBytes(20'000, kMaxBytes, [](std::string_view bytes) {
    Choices choices(bytes);
    return checkAnonymized(generateSnapshot(choices));
  });
}

TEST(AnonymizeLaws, NoPrivateDataGetsThrough) {
  checkOnRandomBytes(10'000, kMaxBytes, [](std::string_view bytes) {
    Choices choices(bytes);
    const snapshot::HostSnapshot record = generateSnapshot(choices);
    return checkPrivacy(record, choices);
  });
}

}  // namespace
}  // namespace egress::test
