// Concurrent use of the C interface. The preset tsan also detects races without visible effects.

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "egress_c/egress.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_c/owned_result.h"
#include "tests/egress_snapshot/detailed_snapshot.h"
#include "tests/memory/in_all_threads.h"

namespace egress::test {
namespace {

using c::OwnedResult;

// What every function gives, one after the other.
std::string allResults(std::string_view text) {
  constexpr std::string_view kConfig = R"({"outbounds": [{"tag": "proxy"}],})";
  constexpr std::string_view kWord = "NO_MATCHING_SOCKET";
  std::string all;
  for (const egress_result* const result :
       {egress_version(), egress_diagnose(text.data(), text.size()),
        egress_diagnose_in_detail(text.data(), text.size()),
        egress_anonymize(text.data(), text.size()), egress_explain(kWord.data(), kWord.size()),
        egress_read_config(kConfig.data(), kConfig.size(), nullptr, 0),
        egress_find_json_fault(kConfig.data(), kConfig.size()),
        egress_find_config_fault(kConfig.data(), kConfig.size())}) {
    all += OwnedResult(result).text();
    all += '\n';
  }
  return all;
}

// The threads are first, so that they make the tables of words.
TEST(Threads, ConcurrentCallsInCGiveEqualTexts) {
  const std::string text = snapshotToJson(snapshot::namedSnapshot());
  std::array<std::string, kThreads> results;
  inAllThreads([&](std::size_t number) { results.at(number) = allResults(text); });
  const std::string alone = allResults(text);
  EXPECT_GT(alone.size(), text.size());
  for (const std::string& result : results) EXPECT_EQ(result, alone);
}

TEST(Threads, ReadAndFreeResultsOfOthersInC) {
  constexpr std::string_view kWord = "OK";
  std::array<const egress_result*, kThreads> made{};
  const OwnedResult shared(egress_explain(kWord.data(), kWord.size()));
  for (auto& result : made) result = egress_version();
  std::array<std::size_t, kThreads> equal{};
  inAllThreads([&](std::size_t number) {
    const OwnedResult own(made.at((number + 1) % kThreads));
    if (!own.text().empty() && shared.text().front() == '[') ++equal.at(number);
  });
  for (const std::size_t count : equal) EXPECT_EQ(count, 1U);
}

}  // namespace
}  // namespace egress::test
