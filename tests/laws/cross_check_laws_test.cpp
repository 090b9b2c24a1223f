// Cross-checks generated records.

#include "tests/laws/cross_check_laws.h"

#include <iostream>
#include <map>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "tests/laws/generated_snapshot.h"
#include "tests/laws/random_rounds.h"

namespace egress::test {
namespace {

constexpr std::size_t kMaxBytes = 800;  // that a generated record takes

TEST(CrossCheckLaws, TheyHoldForGeneratedRecords) {
  std::map<std::string_view, std::size_t> counts;
  checkOnRandomBytes(20'000, kMaxBytes, [&counts](std::string_view bytes) {
    Choices choices(bytes);
    snapshot::HostSnapshot record = generateSnapshot(choices);
    if (!choices.rarely(8)) record = aimedAtEndpoint(std::move(record), choices);
    const auto status = crossCheck(record, diagnose(record)).status;
    ++counts[snapshot::kCrossCheckStatusWords.at(static_cast<std::size_t>(status))];
    return checkCrossCheck(record, choices);
  });
  // Every status must be frequent, or the law shows little.
  for (const std::string_view word : snapshot::kCrossCheckStatusWords) {
    std::cout << word << " " << counts[word] << "\n";
    EXPECT_GT(counts[word], 100U) << word;
  }
}

}  // namespace
}  // namespace egress::test
