// Concurrent use. The preset tsan also detects races without visible effects.

#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "tests/memory/declared_lists.h"
#include "tests/memory/in_all_threads.h"
#include "tests/memory/large_input.h"
#include "tests/support/record_equality.h"

namespace egress::test {
namespace {

// A list as seen by one thread.
struct Observation {
  const std::vector<std::string>* words = nullptr;
  bool complete = false;
};

// Each list is built once per process, so no other test of this program may use one.
TEST(Threads, AllThreadsSeeTheSameCompleteListsOnFirstUse) {
  static bool made = false;
  if (std::exchange(made, true)) GTEST_SKIP() << "the first run built the lists";
  for (const DeclaredList& list : kDeclaredLists) {
    SCOPED_TRACE(list.name);
    const std::vector<std::string> expected = list.expected();
    std::array<Observation, kThreads> observations{};
    inAllThreads([&](std::size_t number) {
      Observation& observation = observations.at(number);
      observation.words = &list.get();
      observation.complete = *observation.words == expected;
    });
    for (const Observation& observation : observations) {
      EXPECT_EQ(observation.words, observations.front().words);
      EXPECT_TRUE(observation.complete);
    }
  }
}

TEST(Threads, ConcurrentDiagnosesGiveEqualReports) {
  const DiagnosisInput input = largeInput(4, 50);
  const EgressReport alone = diagnoseEgress(input);
  std::array<std::size_t, kThreads> equal{};
  constexpr std::size_t kRounds = 20;
  inAllThreads([&](std::size_t number) {
    for (std::size_t round = 0; round < kRounds; ++round) {
      if (diagnoseEgress(input) == alone) ++equal.at(number);
    }
  });
  for (const std::size_t count : equal) EXPECT_EQ(count, kRounds);
}

TEST(Threads, ConcurrentReadersGiveEqualRecords) {
  const std::string text = largeConfig(10, R"([1,{"a":"b"}])");
  const std::string answer = R"({"now":")" + nodeTag(0) + "\"}";
  const ProxyConfig alone = readProxyConfig(text, /*hasText=*/true);
  std::array<bool, kThreads> equal{};
  inAllThreads([&](std::size_t number) {
    std::string now;
    const bool answered = readSelectorAnswer(answer, &now) == SelectorAnswerStatus::Ok;
    const ProxyConfig config = readProxyConfig(text, /*hasText=*/true);
    equal.at(number) = answered && now == nodeTag(0) && config.outbounds == alone.outbounds;
  });
  for (const bool same : equal) EXPECT_TRUE(same);
}

}  // namespace
}  // namespace egress::test
