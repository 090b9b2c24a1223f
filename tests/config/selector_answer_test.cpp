#include "egress/config/selector_answer.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/exact_text.h"

namespace egress::test {
namespace {

using enum SelectorAnswerStatus;
using namespace std::string_view_literals;

// The value of `now` before each call. Longer than every `now` below, to detect a partial
// overwrite.
constexpr std::string_view kBefore = "a value that is longer than every expected one";

// Reads `text` with and without an output. On success the output is `now`, on failure unchanged.
void expectAnswer(std::string_view text, SelectorAnswerStatus status, std::string_view now = "") {
  const ExactText exact(text);
  std::string stored(kBefore);
  EXPECT_EQ(readSelectorAnswer(exact.view(), &stored), status);
  EXPECT_EQ(stored, status == Ok ? now : kBefore);
  EXPECT_EQ(readSelectorAnswer(exact.view(), nullptr), status);
}

struct Success {
  std::string_view text;
  std::string_view now;
};

TEST(SelectorAnswer, StatusNumbersAreFixed) {
  EXPECT_EQ(static_cast<std::int32_t>(Ok), 0);
  EXPECT_EQ(static_cast<std::int32_t>(TransportFailed), 1);
  EXPECT_EQ(static_cast<std::int32_t>(Malformed), 2);
  EXPECT_EQ(static_cast<std::int32_t>(NowMissing), 3);
}

TEST(SelectorAnswer, KeepsEveryByteOfNow) {
  constexpr auto rows = std::to_array<Success>({
      {.text = R"({"name":"proxy","now":"node_3"})", .now = "node_3"},
      {.text = R"({ "now" : "a" , "name" : "proxy" })", .now = "a"},
      {.text = " \t\r\n{\"now\":\"a\"}", .now = "a"},
      {.text = R"({"now":" a "})", .now = " a "},
      {.text = R"({"now":" "})", .now = " "},
      {.text = R"({"now":"Node_3"})", .now = "Node_3"},
      {.text = R"({"now":"node\u005f3"})", .now = "node_3"},
      {.text = R"({"now":"a\"b"})", .now = "a\"b"},
      {.text = R"({"now":"\u0000"})", .now = "\0"sv},
      {.text = R"({"now":"a\u0000b"})", .now = "a\0b"sv},
      // The first "now" wins; other members are ignored.
      {.text = R"({"now":"a","now":"b"})", .now = "a"},
      {.text = R"({"now":"a","now":1})", .now = "a"},
      {.text = R"({"now":"a","now":""})", .now = "a"},
      {.text = R"({"now":"a","name":"proxy","now":null})", .now = "a"},
      {.text = R"({"name":1,"now":"a"})", .now = "a"},
      {.text = R"({"type":"selector","all":["a","b"],"now":"a"})", .now = "a"},
      {.text = R"({"history":{"now":"x"},"now":"a"})", .now = "a"},
      {.text = R"({"Now":"x","now":"a"})", .now = "a"},
      {.text = R"({"nowhere":"x","no":"y","":"z","now":"a"})", .now = "a"},
      {.text = R"({"n\u006fw":"a"})", .now = "a"},
  });
  for (const Success& row : rows) {
    SCOPED_TRACE(row.text);
    expectAnswer(row.text, Ok, row.now);
    forEveryCut(row.text, [](std::string_view cut) {
      SCOPED_TRACE(cut);
      expectAnswer(cut, Malformed);
    });
  }
  expectAnswer("{\"now\":\"a\"} \t\r\n", Ok, "a");
}

struct Failure {
  std::string_view name;
  std::string_view text;
  SelectorAnswerStatus status;
};

TEST(SelectorAnswer, AFailureDoesNotChangeNow) {
  constexpr auto rows = std::to_array<Failure>({
      {.name = "not JSON", .text = "not json", .status = Malformed},
      {.name = "empty text", .text = "", .status = Malformed},
      {.name = "whitespace only", .text = " \t\r\n ", .status = Malformed},
      {.name = "trailing bytes", .text = R"({"now":"a"} x)", .status = Malformed},
      {.name = "a root that is an array", .text = R"([{"now":"a"}])", .status = Malformed},
      {.name = "now missing", .text = R"({"name":"proxy"})", .status = NowMissing},
      {.name = "now is a number", .text = R"({"now":123})", .status = NowMissing},
      {.name = "now is empty", .text = R"({"now":""})", .status = NowMissing},
      {.name = "now is null", .text = R"({"now":null})", .status = NowMissing},
  });
  for (const Failure& row : rows) {
    SCOPED_TRACE(row.name);
    expectAnswer(row.text, row.status);
  }
}

TEST(SelectorAnswer, NowIsMissingUnlessTheFirstIsANonEmptyString) {
  for (const std::string_view text :
       {R"({})", R"({"name":"now"})", R"({"data":{"now":"a"}})", R"({"data":["now","a"]})",
        R"({"now":true})", R"({"now":false})", R"({"now":0})", R"({"now":1.5})", R"({"now":[]})",
        R"({"now":["a"]})", R"({"now":{}})", R"({"now":{"now":1}})", R"( {"now":123} )",
        // An unusable first "now" hides a usable second one.
        R"({"now":1,"now":"a"})", R"({"now":"","now":"a"})", R"({"now":null,"now":"a"})",
        R"({"now":{"now":"a"},"now":"a"})",
        // Similar keys.
        R"({"Now":"a"})", R"({"NOW":"a"})", R"({"noW":"a"})", R"({"now ":"a"})", R"({" now":"a"})",
        R"({"no":"a"})", R"({"":"a"})", R"({"nowx":"a"})", R"({"xnow":"a"})", R"({"ow":"a"})",
        R"({"new":"a"})", R"({"now\u0000":"a"})"}) {
    SCOPED_TRACE(text);
    expectAnswer(text, NowMissing);
  }
}

TEST(SelectorAnswer, InvalidJsonOrANonObjectRootIsMalformed) {
  for (const std::string_view text :
       {// Syntax errors, also where "now" is missing or empty.
        R"({"now":"a",})"sv, R"({"now" "a"})"sv, R"({now:"a"})"sv, R"({'now':'a'})"sv,
        R"({"now":a})"sv, R"({"now":"\x"})"sv, "\xEF\xBB\xBF{\"now\":\"a\"}"sv,
        R"({"now":"","name"})"sv,
        // Trailing bytes.
        R"({"now":"a"}x)"sv, R"({"now":"a"}})"sv, R"({"now":"a"},)"sv,
        R"({"now":"a"}{"now":"b"})"sv, "{\"now\":\"a\"}\0"sv, R"({"name":"proxy"} x)"sv,
        // Whitespace.
        " "sv, "\t"sv, "\r\n"sv,
        // A root that is not an object.
        R"([])"sv, R"(["now"])"sv, R"(["now","a"])"sv, R"("node_3")"sv, R"("now")"sv, R"(true)"sv,
        R"(false)"sv, R"(null)"sv, R"(1)"sv, R"(1.5)"sv}) {
    SCOPED_TRACE(text);
    expectAnswer(text, Malformed);
  }
}

}  // namespace
}  // namespace egress::test
