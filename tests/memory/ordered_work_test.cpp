// The threads of many snapshots. The preset tsan also detects races without visible effects.

#include "apps/report/ordered_work.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "egress_snapshot/details_json.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "egress_snapshot/snapshot_json.h"

namespace egress::report {
namespace {

// Takes a different time for each number, so that later results are ready before earlier ones.
WorkResult numberAsText(std::size_t number) {
  for (std::size_t turn = 0; turn < number * 7 % 13; ++turn) std::this_thread::yield();
  return {.output = std::to_string(number), .error = {}};
}

std::vector<std::string> textsUpTo(std::size_t count) {
  std::vector<std::string> texts;
  for (std::size_t number = 0; number < count; ++number) texts.push_back(std::to_string(number));
  return texts;
}

TEST(Threads, ResultsAreTakenInTheOrderOfTheirNumbers) {
  for (const std::size_t threads : {0U, 1U, 2U, 8U}) {
    for (const std::size_t count : {0U, 1U, 2U, 15U, 16U, 17U, 500U}) {
      std::vector<std::string> taken;
      const auto take = [&taken](std::size_t number, const WorkResult& result) {
        EXPECT_EQ(number, taken.size());
        taken.push_back(result.output);
        return true;
      };
      runOrdered({.count = count, .produce = numberAsText, .take = take}, threads);
      EXPECT_EQ(taken, textsUpTo(count)) << threads << " threads";
    }
  }
}

TEST(Threads, EachWorkIsDoneOnceAndFewAreAheadOfTheOneThatIsTaken) {
  constexpr std::size_t kCount = 300;
  constexpr std::size_t kThreads = 4;
  std::vector<std::atomic<int>> done(kCount);
  std::atomic<std::size_t> taken = 0;
  std::atomic<std::size_t> furthest = 0;
  const auto produce = [&](std::size_t number) {
    ++done.at(number);
    const std::size_t ahead = number - taken;
    std::size_t known = furthest;
    while (ahead > known && !furthest.compare_exchange_weak(known, ahead)) {
    }
    return numberAsText(number);
  };
  const auto take = [&](std::size_t, const WorkResult&) {
    for (int turn = 0; turn < 50; ++turn) std::this_thread::yield();  // threads get ahead
    ++taken;
    return true;
  };
  runOrdered({.count = kCount, .produce = produce, .take = take}, kThreads);
  EXPECT_TRUE(std::ranges::all_of(done, [](const auto& times) { return times == 1; }));
  // One is taken before `take` counts it.
  EXPECT_LE(furthest, kThreads * kAheadForEachThread);
  EXPECT_GE(furthest, 1U);
}

TEST(Threads, TheWorkEndsWhenTakingSaysSo) {
  constexpr std::size_t kThreads = 3;
  std::atomic<std::size_t> produced = 0;
  std::size_t taken = 0;
  const auto produce = [&produced](std::size_t number) {
    ++produced;
    return numberAsText(number);
  };
  const auto take = [&taken](std::size_t number, const WorkResult&) {
    ++taken;
    return number < 4;
  };
  runOrdered({.count = 1'000'000, .produce = produce, .take = take}, kThreads);
  EXPECT_EQ(taken, 5U);
  EXPECT_LE(produced, 5 + kThreads * kAheadForEachThread);
}

TEST(Threads, WhatTakingThrowsEndsTheWorkAndIsPassedOn) {
  const auto take = [](std::size_t number, const WorkResult&) -> bool {
    if (number == 3) throw std::runtime_error("full");
    return true;
  };
  EXPECT_THROW(
      runOrdered({.count = 1'000'000, .produce = numberAsText, .take = take}, /*threadCount=*/4),
      std::runtime_error);
}

TEST(Threads, AnErrorKeepsItsPlace) {
  const auto produce = [](std::size_t number) -> WorkResult {
    if (number % 3 == 0) return {.output = {}, .error = "no " + std::to_string(number)};
    if (number % 3 == 1) return {.output = {}, .error = {}, .isOutOfMemory = true};
    return numberAsText(number);
  };
  const auto take = [&produce](std::size_t number, const WorkResult& result) {
    const WorkResult wanted = produce(number);
    EXPECT_EQ(result.output, wanted.output);
    EXPECT_EQ(result.error, wanted.error);
    EXPECT_EQ(result.isOutOfMemory, wanted.isOutOfMemory);
    return true;
  };
  runOrdered({.count = 100, .produce = produce, .take = take}, /*threadCount=*/4);
}

// What a thread of the program does with the text of a file.
std::string detailsOf(const std::string& text) {
  const auto read = snapshot::snapshotFromJson(text);
  const auto& record = std::get<snapshot::HostSnapshot>(read);
  std::vector<snapshot::AddressFinding> findings = diagnoseAddresses(record);
  crossCheckAddresses(record, findings);
  return detailsToJson(record, findings, snapshot::JsonLayout::ONE_LINE);
}

std::string snapshotTo(const std::string& remote) {
  return R"({"format": "egress-snapshot", "version": 1,
    "config": {"configStatus": "OK", "autoDetectInterface": true, "outbounds": [
      {"tag": "proxy", "type": "vless", "hasServer": true, "server": "198.51.100.10",
       "portSpecified": true, "ports": [443]}]},
    "adapters": {"rows": [{"interfaceIndex": 5, "operStatus": 1, "addresses": ["10.0.0.7"]}]},
    "sockets": {"rows": [{"localAddress": "10.0.0.7", "localPort": 1, "remotePort": 443,
                          "remoteAddress": ")" +
         remote + R"("}]}})";
}

TEST(Threads, RecordsThatAreDiagnosedAtTheSameTimeGiveWhatEachGivesAlone) {
  const std::vector<std::string> texts = {snapshotTo("198.51.100.10"), snapshotTo("203.0.113.1")};
  const std::vector<std::string> wanted = {detailsOf(texts[0]), detailsOf(texts[1])};
  ASSERT_NE(wanted[0], wanted[1]);
  const auto produce = [&texts](std::size_t number) -> WorkResult {
    return {.output = detailsOf(texts.at(number % 2)), .error = {}};
  };
  const auto take = [&wanted](std::size_t number, const WorkResult& result) {
    EXPECT_EQ(result.output, wanted.at(number % 2));
    return true;
  };
  runOrdered({.count = 200, .produce = produce, .take = take}, /*threadCount=*/4);
}

}  // namespace
}  // namespace egress::report
