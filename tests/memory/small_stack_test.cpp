// Runs the readers and the diagnosis in a thread with a small stack. Unoptimised builds need the
// most stack.

#include "tests/support/small_stack.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "egress/config/proxy_config.h"
#include "egress/core/diagnose_egress.h"
#include "egress/json/json_reader.h"
#include "tests/memory/large_input.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

constexpr std::size_t kKibibyte = 1024;

#if defined(__has_feature)
#define EGRESS_HAS_FEATURE(feature) __has_feature(feature)
#else
#define EGRESS_HAS_FEATURE(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    EGRESS_HAS_FEATURE(address_sanitizer) || EGRESS_HAS_FEATURE(thread_sanitizer)
// Sanitizers pad variables and keep tables on the thread's stack.
constexpr std::size_t kStackBytes = 1024 * kKibibyte;
#else
// The smallest default thread stack of common systems.
constexpr std::size_t kStackBytes = 128 * kKibibyte;
#endif

constexpr std::size_t kLevels = kMaxJsonDepth + 1;  // depth starts at 0

std::string repeated(std::string_view text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

std::string nested(std::string_view opening, std::size_t times, std::string_view inside,
                   std::string_view closing) {
  return joined({repeated(opening, times), inside, repeated(closing, times)});
}

// Parses and destroys a document on the small stack.
bool parsesOnSmallStack(const std::string& text) {
  bool accepted = false;
  runWithStack(kStackBytes, [&] {
    JsonValue value;
    accepted = parseJsonDocument(text, value);
  });
  return accepted;
}

TEST(SmallStack, ParsesTheDeepestArraysAndObjects) {
  EXPECT_TRUE(parsesOnSmallStack(nested("[", kLevels, "", "]")));
  EXPECT_TRUE(parsesOnSmallStack(nested(R"({"a":)", kMaxJsonDepth, R"("\uD83D\uDE00")", "}")));
  EXPECT_TRUE(parsesOnSmallStack(nested(R"({"a":)", kMaxJsonDepth, "{}", "}")));
  EXPECT_TRUE(parsesOnSmallStack(nested(R"([{"a":)", kMaxJsonDepth / 2, "-1.5e3", "}]")));
  EXPECT_TRUE(parsesOnSmallStack(nested(R"({"a":[)", kMaxJsonDepth / 2, "1", "]}")));
}

// Growing vectors move and destroy their elements at every depth.
TEST(SmallStack, ParsesWideTreesAtTheDepthLimit) {
  const std::string row = repeated(R"([],{},"a",1,)", 1000) + "null";
  const std::string wide = joined({repeated(R"([0,1,{"a":0,"b":)", kMaxJsonDepth / 2), "0",
                                   repeated(R"(,"c":2},3,4])", kMaxJsonDepth / 2)});
  EXPECT_TRUE(parsesOnSmallStack(nested("[", kMaxJsonDepth, row, "]")));
  EXPECT_TRUE(parsesOnSmallStack(wide));
}

TEST(SmallStack, RejectsAnyDepthBeyondTheLimit) {
  constexpr std::size_t kMany = 10'000'000;
  EXPECT_FALSE(parsesOnSmallStack(nested("[", kLevels + 1, "", "]")));
  EXPECT_FALSE(parsesOnSmallStack(nested(R"({"a":)", kLevels, "1", "}")));
  EXPECT_FALSE(parsesOnSmallStack(nested(R"([{"a":)", kMaxJsonDepth / 2 + 1, "1", "}]")));
  EXPECT_FALSE(parsesOnSmallStack(repeated("[", kMany)));
  EXPECT_FALSE(parsesOnSmallStack(repeated(R"({"a":)", kMany / 5)));
  EXPECT_FALSE(parsesOnSmallStack(repeated(R"([{"a":)", kMany / 6)));
}

struct HugeText {
  std::string_view name;
  std::string text;
  bool accepted = false;
};

TEST(SmallStack, ParsesHugeTextsWithoutNesting) {
  constexpr std::size_t kMany = 10'000'000;
  const std::vector<HugeText> rows = {
      {"a number", repeated("9", kMany), true},
      {"zeros before a number", joined({repeated("0", kMany), "443"}), true},
      {"a fraction", joined({"1.", repeated("0", kMany)}), true},
      {"an exponent", joined({"1e", repeated("0", kMany)}), true},
      {"an exponent without digits", joined({repeated("0", kMany), "e+"}), false},
      {"backslashes in an unterminated string", joined({"\"", repeated("\\", kMany)}), false},
      {"backslashes in a string", joined({"\"", repeated("\\\\", kMany / 2), "\""}), true},
      {"an escape without its digits", repeated(R"("\u)", kMany / 3), false},
      {"unpaired surrogates", joined({"\"", repeated(R"(\uD83D)", kMany / 6), "\""}), true},
      {"an unterminated string", joined({"\"", repeated("a", kMany)}), false},
      {"whitespace", repeated(" ", kMany), false},
      {"whitespace around a value", nested("\n", kMany / 2, "{}", "\t"), true},
      {"closing brackets", repeated("]", kMany), false},
      {"commas", joined({"[", repeated(",", kMany)}), false},
  };
  for (const HugeText& row : rows)
    EXPECT_EQ(parsesOnSmallStack(row.text), row.accepted) << row.name;
}

TEST(SmallStack, ReadsAConfigurationWithManyNodesAndDeepMembers) {
  const std::size_t levelsOfAMember = kLevels - 3;  // the root, the array and the node use three
  const std::string text = largeConfig(1000, nested("[", levelsOfAMember, "", "]"));
  ProxyConfig config;
  runWithStack(kStackBytes, [&] { config = readProxyConfig(text, /*hasText=*/true); });
  EXPECT_EQ(config.configStatus, ConfigStatus::OK);
  EXPECT_EQ(config.outbounds.size(), 1001U);

  const std::string tooDeep = largeConfig(1, nested("[", levelsOfAMember + 1, "", "]"));
  runWithStack(kStackBytes, [&] { config = readProxyConfig(tooDeep, /*hasText=*/true); });
  EXPECT_EQ(config.configStatus, ConfigStatus::JSON_PARSE_FAILED);
}

TEST(SmallStack, DiagnosesManyRows) {
  const DiagnosisInput input = largeInput(100, 2000);
  ReportScalar status;
  runWithStack(kStackBytes, [&] {
    const EgressReport report = diagnoseEgress(input);
    const ReportMember* const member = findReportMember(report, "selectionStatus");
    if (member != nullptr) status = std::get<ReportScalar>(member->value);
  });
  EXPECT_EQ(status, stringScalar("OK"));
}

}  // namespace
}  // namespace egress::test
