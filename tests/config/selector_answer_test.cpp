#include "egress/config/selector_answer.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/exact_text.h"

namespace egress::test {
namespace {

using enum SelectorAnswerStatus;
using namespace std::string_view_literals;

// Longer than every choice below, so that a partial overwrite would show.
constexpr std::string_view kBefore = "the choice that was known before this answer";

// Reads `text` with and without an output; what comes out is `now`, or `kBefore` unless Ok.
void expectAnswer(std::string_view text, SelectorAnswerStatus status, std::string_view now = "") {
  const ExactText exact(text);
  std::string stored(kBefore);
  EXPECT_EQ(readSelectorAnswer(exact.view(), &stored), status);
  EXPECT_EQ(stored, status == Ok ? now : kBefore);
  EXPECT_EQ(readSelectorAnswer(exact.view(), nullptr), status);
}

struct Choice {
  std::string_view text;
  std::string_view now;
};

void expectChoices(const std::vector<Choice>& rows) {
  for (const Choice& row : rows) {
    SCOPED_TRACE(row.text);
    expectAnswer(row.text, Ok, row.now);
    forEveryCut(row.text, [](std::string_view cut) {
      SCOPED_TRACE(cut);
      expectAnswer(cut, Malformed);
    });
  }
}

void expectRefusals(const std::vector<std::string_view>& texts, SelectorAnswerStatus status) {
  for (const std::string_view text : texts) {
    SCOPED_TRACE(text);
    expectAnswer(text, status);
  }
}

TEST(SelectorAnswer, StatusNumbersAreFixed) {
  EXPECT_EQ(static_cast<std::int32_t>(Ok), 0);
  EXPECT_EQ(static_cast<std::int32_t>(TransportFailed), 1);
  EXPECT_EQ(static_cast<std::int32_t>(Malformed), 2);
  EXPECT_EQ(static_cast<std::int32_t>(NowMissing), 3);
}

TEST(SelectorAnswer, ANonEmptyNowIsTheChoice) {
  const std::vector<Choice> rows = {
      {.text = R"({"name":"proxy","now":"node_3"})", .now = "node_3"},
      {.text = R"({"now":"node_3"})", .now = "node_3"},
      {.text = R"({ "now" : "a" , "name" : "proxy" })", .now = "a"},
  };
  expectChoices(rows);
}

TEST(SelectorAnswer, TheChoiceIsKeptByteForByte) {
  const std::vector<Choice> rows = {
      {.text = R"({"now":" "})", .now = " "},
      {.text = R"({"now":" a "})", .now = " a "},
      {.text = R"({"now":"Node_3"})", .now = "Node_3"},
      {.text = R"({"now":"node\u005f3"})", .now = "node_3"},
      {.text = R"({"now":"a\"b"})", .now = "a\"b"},
      {.text = R"({"now":"\u0000"})", .now = "\0"sv},
      {.text = R"({"now":"a\u0000b"})", .now = "a\0b"sv},
  };
  expectChoices(rows);
}

TEST(SelectorAnswer, TheFirstNowWins) {
  const std::vector<Choice> rows = {
      {.text = R"({"now":"a","now":"b"})", .now = "a"},
      {.text = R"({"now":"a","now":1})", .now = "a"},
      {.text = R"({"now":"a","now":""})", .now = "a"},
      {.text = R"({"now":"a","name":"proxy","now":null})", .now = "a"},
  };
  expectChoices(rows);
}

TEST(SelectorAnswer, AnUnusableFirstNowHidesALaterChoice) {
  const std::vector<std::string_view> texts = {
      R"({"now":1,"now":"a"})",
      R"({"now":"","now":"a"})",
      R"({"now":null,"now":"a"})",
      R"({"now":{"now":"a"},"now":"a"})",
  };
  expectRefusals(texts, NowMissing);
}

TEST(SelectorAnswer, EveryOtherMemberIsIgnored) {
  const std::vector<Choice> rows = {
      {.text = R"({"name":"another","now":"a"})", .now = "a"},
      {.text = R"({"name":1,"now":"a"})", .now = "a"},
      {.text = R"({"type":"selector","all":["a","b"],"now":"a"})", .now = "a"},
      {.text = R"({"history":{"now":"x"},"now":"a"})", .now = "a"},
      {.text = R"({"Now":"x","now":"a"})", .now = "a"},
      {.text = R"({"nowhere":"x","no":"y","now":"a"})", .now = "a"},
      {.text = R"({"":"x","now":"a"})", .now = "a"},
      {.text = R"({"n\u006fw":"a"})", .now = "a"},
  };
  expectChoices(rows);
}

TEST(SelectorAnswer, AnObjectWithoutNowMissesIt) {
  const std::vector<std::string_view> texts = {
      R"({})",
      R"({"name":"proxy"})",
      R"({"name":"now"})",
      R"({"data":{"now":"a"}})",
      R"({"data":["now","a"]})",
  };
  expectRefusals(texts, NowMissing);
}

TEST(SelectorAnswer, ANowThatIsNoStringOrEmptyIsMissing) {
  const std::vector<std::string_view> texts = {
      R"({"now":123})", R"({"now":""})",    R"({"now":null})",      R"({"now":true})",
      R"({"now":[]})",  R"({"now":["a"]})", R"({"now":{}})",        R"({"now":false})",
      R"({"now":0})",   R"({"now":1.5})",   R"({"now":{"now":1}})",
  };
  expectRefusals(texts, NowMissing);
}

TEST(SelectorAnswer, TheKeyIsExactlyTheThreeBytesNow) {
  const std::vector<std::string_view> texts = {
      R"({"Now":"a"})",  R"({"NOW":"a"})", R"({"noW":"a"})", R"({"now ":"a"})",
      R"({" now":"a"})", R"({"no":"a"})",  R"({"":"a"})",    R"({"nowx":"a"})",
      R"({"xnow":"a"})", R"({"ow":"a"})",  R"({"new":"a"})", R"({"now\u0000":"a"})",
  };
  expectRefusals(texts, NowMissing);
}

TEST(SelectorAnswer, TextThatIsNoJsonIsMalformed) {
  const std::vector<std::string_view> texts = {
      "not json",       R"({"now":"a",})", R"({"now" "a"})",  R"({now:"a"})",
      R"({'now':'a'})", R"({"now":a})",    R"({"now":"\x"})", "\xEF\xBB\xBF{\"now\":\"a\"}",
  };
  expectRefusals(texts, Malformed);
}

TEST(SelectorAnswer, EmptyTextAndBlanksOnlyAreMalformed) {
  const std::vector<std::string_view> texts = {"", " ", "\t", "\r\n", " \t\r\n "};
  expectRefusals(texts, Malformed);
}

TEST(SelectorAnswer, TrailingBytesAreMalformed) {
  const std::vector<std::string_view> texts = {
      R"({"now":"a"} x)", R"({"now":"a"}x)",           R"({"now":"a"}})",
      R"({"now":"a"},)",  R"({"now":"a"}{"now":"b"})", "{\"now\":\"a\"}\0"sv,
  };
  expectRefusals(texts, Malformed);
}

TEST(SelectorAnswer, ARootThatIsNoObjectIsMalformed) {
  const std::vector<std::string_view> texts = {
      R"(["now"])", R"([])", R"(["now","a"])", R"([{"now":"a"}])", R"("node_3")", R"("now")",
      R"(true)",    R"(1)",  R"(1.5)",         R"(false)",         R"(null)",
  };
  expectRefusals(texts, Malformed);
}

TEST(SelectorAnswer, MalformedComesBeforeAMissingNow) {
  const std::vector<std::string_view> texts = {
      R"({"name":"proxy"} x)",
      R"({"now":123)",
      R"({"now":"","name"})",
      R"({} {})",
  };
  expectRefusals(texts, Malformed);
}

TEST(SelectorAnswer, BlanksAroundTheObjectDoNotMatter) {
  expectAnswer(" \t\r\n{\"now\":\"a\"} \t\r\n", Ok, "a");
  expectAnswer(R"( {"now":123} )", NowMissing);
}

TEST(SelectorAnswer, NowKeepsItsContentAfterEveryResultButOk) {
  std::string now = "first";
  EXPECT_EQ(readSelectorAnswer("not json", &now), Malformed);
  EXPECT_EQ(now, "first");
  EXPECT_EQ(readSelectorAnswer(R"({"now":""})", &now), NowMissing);
  EXPECT_EQ(now, "first");
  EXPECT_EQ(readSelectorAnswer(R"({"now":"second"})", &now), Ok);
  EXPECT_EQ(now, "second");
  EXPECT_EQ(readSelectorAnswer(R"({"now":123})", &now), NowMissing);
  EXPECT_EQ(now, "second");
  EXPECT_EQ(readSelectorAnswer(R"({"now":"third"} x)", &now), Malformed);
  EXPECT_EQ(now, "second");
}

TEST(SelectorAnswer, WithoutAnOutputTheStatusIsTheSame) {
  EXPECT_EQ(readSelectorAnswer(R"({"now":"a"})", nullptr), Ok);
  EXPECT_EQ(readSelectorAnswer(R"({"now":1})", nullptr), NowMissing);
  EXPECT_EQ(readSelectorAnswer(R"([])", nullptr), Malformed);
}

}  // namespace
}  // namespace egress::test
