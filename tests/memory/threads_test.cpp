// What several threads may do at once. The preset tsan tells a race that went well by chance.

#include <array>
#include <cstddef>
#include <functional>
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "egress/core/diagnose_egress.h"
#include "tests/memory/declared_lists.h"
#include "tests/memory/hefty_input.h"

namespace egress::test {
namespace {

constexpr std::size_t kThreads = 8;

// Runs `use` in all threads, each with its own number; they start together.
void inAllThreads(const std::function<void(std::size_t)>& use) {
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&start, &use, number] {
      start.arrive_and_wait();
      use(number);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// What one thread saw of a list.
struct Sight {
  const std::vector<std::string>* words = nullptr;
  bool complete = false;
};

// The lists are made once in a process, so no other test of this program asks for one.
TEST(Threads, AllSeeTheSameFullListsAlreadyOnTheFirstUse) {
  static bool made = false;
  if (std::exchange(made, true)) GTEST_SKIP() << "the lists are there since the first run";
  for (const DeclaredList& list : kDeclaredLists) {
    SCOPED_TRACE(list.name);
    const std::vector<std::string> wanted = list.wanted();
    std::array<Sight, kThreads> sights{};
    inAllThreads([&](std::size_t number) {
      Sight& sight = sights.at(number);
      sight.words = &list.get();
      sight.complete = *sight.words == wanted;
    });
    for (const Sight& sight : sights) {
      EXPECT_EQ(sight.words, sights.front().words);
      EXPECT_TRUE(sight.complete);
    }
  }
}

TEST(Threads, DiagnosesOfOneInputGiveEqualReports) {
  const DiagnosisInput input = heftyInput(4, 50);
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

TEST(Threads, ReadersOfOneTextGiveEqualRecords) {
  const std::string text = heftyConfig(10, R"([1,{"a":"b"}])");
  const std::string answer = R"({"now":")" + nodeTag(0) + "\"}";
  const ProxyConfig alone = readProxyConfig(text, /*hasText=*/true);
  std::array<bool, kThreads> equal{};
  inAllThreads([&](std::size_t number) {
    std::string now;
    const bool answered = readSelectorAnswer(answer, &now) == SelectorAnswerStatus::Ok;
    const ProxyConfig config = readProxyConfig(text, /*hasText=*/true);
    equal.at(number) =
        answered && now == nodeTag(0) && sameOutbounds(config.outbounds, alone.outbounds);
  });
  for (const bool same : equal) EXPECT_TRUE(same);
}

}  // namespace
}  // namespace egress::test
