#include "egress_snapshot/selector_answers_json.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "egress/json/json_fault.h"
#include "tests/egress_snapshot/expect_refused.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"

namespace egress::snapshot {
namespace {

using namespace std::string_view_literals;
using enum SelectorAnswerStatus;

struct Answer {
  std::string_view selectorTag;
  SelectorAnswerStatus status = Ok;
  std::string_view now = {};
};

struct Row {
  std::string_view text;
  std::vector<Answer> answers;
};

const std::vector<Row> kRows = {
    {.text = "{}", .answers = {}},
    {.text = R"({"proxy": {"now": "node_3"}})", .answers = {{"proxy", Ok, "node_3"}}},
    {.text = "\xEF\xBB\xBF{\"proxy\": {\"now\": \"node_3\"}}\n",
     .answers = {{"proxy", Ok, "node_3"}}},
    {.text = R"({"proxy": {"name": "proxy", "now": "a", "all": [{"now": "b"}, 1.5, null]}})",
     .answers = {{"proxy", Ok, "a"}}},
    // By tag, not as in the text.
    {.text = R"({"b": {"now": "1"}, "a": {"now": "2"}, "": {"now": "3"}})",
     .answers = {{"", Ok, "3"}, {"a", Ok, "2"}, {"b", Ok, "1"}}},
    // The last of each key.
    {.text = R"({"a": {"now": "1"}, "b": {"now": "2"}, "a": {"now": "3"}})",
     .answers = {{"a", Ok, "3"}, {"b", Ok, "2"}}},
    {.text = R"({"a": {"now": "1"}, "a": 2})", .answers = {{"a", Malformed}}},
    {.text = R"({"a": {"now": "1", "now": "2"}})", .answers = {{"a", Ok, "2"}}},
    {.text = R"({"a": {"now": "1", "now": 2}})", .answers = {{"a", NowMissing}}},
    // Every kind of value that is no usable answer.
    {.text = R"({"a": null, "b": true, "c": 1, "d": "now", "e": ["now"]})",
     .answers = {{"a", Malformed},
                 {"b", Malformed},
                 {"c", Malformed},
                 {"d", Malformed},
                 {"e", Malformed}}},
    {.text = R"({"a": {}, "b": {"now": ""}, "c": {"now": {"now": "x"}}, "d": {"Now": "x"}})",
     .answers = {{"a", NowMissing}, {"b", NowMissing}, {"c", NowMissing}, {"d", NowMissing}}},
    // Texts that are not ASCII, and bytes that JSON escapes.
    {.text = R"({"\u0000\"\\\n": {"now": "\ud83d\ude00\u00e9\u0000\u001f\"\\"}})",
     .answers = {{"\0\"\\\n"sv, Ok, "\xF0\x9F\x98\x80\xC3\xA9\0\x1F\"\\"sv}}},
};

void expectAnswers(const Result<std::vector<SelectorAnswer>>& result,
                   const std::vector<Answer>& expected) {
  const auto* const answers = std::get_if<std::vector<SelectorAnswer>>(&result);
  ASSERT_NE(answers, nullptr) << toString(std::get<Refusal>(result));
  ASSERT_EQ(answers->size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ((*answers)[i].selectorTag, expected[i].selectorTag);
    EXPECT_EQ((*answers)[i].status, expected[i].status) << expected[i].selectorTag;
    EXPECT_EQ((*answers)[i].now, expected[i].now) << expected[i].selectorTag;
  }
}

TEST(SelectorAnswersJson, EachMemberIsTheAnswerOfASelector) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.text);
    expectAnswers(selectorAnswersFromJson(test::ExactText(row.text).view()), row.answers);
  }
}

struct RefusedRow {
  std::string text;
  std::string_view place;
  std::string_view reason;
};

TEST(SelectorAnswersJson, RefusesWhatIsNotAnObjectOfAnswers) {
  for (const RefusedRow& row : std::to_array<RefusedRow>({
           {.text = "", .place = "", .reason = "the text is empty"},
           {.text = "null", .place = "", .reason = "null is not an object"},
           {.text = R"("now")", .place = "", .reason = R"("now" is not an object)"},
           {.text = R"([{"now": "a"}])", .place = "", .reason = "an array is not an object"},
           {.text = R"({"a": {"now": "b"}} 1)",
           .place = "",
           .reason = "not JSON: line 1, byte 20 of the text: BYTES_AFTER_ROOT"},
           {.text = "{\"a\": {\n\"now\": b}}",
           .place = "/a/now",
           .reason = "not JSON: line 2, byte 15 of the text: NO_VALUE"},
           {.text = "{\"a\": {\"now\": \"\xFF\"}}",
           .place = "/a/now",
           .reason = "not strict JSON: invalid UTF-8, a control character or an unpaired "
                     "surrogate in a string, or a number with a leading zero or out of range"},
           {.text = R"({"a": {"now": "b"})", .place = "/a", .reason = "cut off after byte 18"},
       })) {
    SCOPED_TRACE(row.text);
    expectRefused(selectorAnswersFromJson(test::ExactText(row.text).view()), row.place, row.reason);
  }
}

TEST(SelectorAnswersJson, RefusesAValueThatIsNestedTooDeep) {
  const std::string opening(kMaxJsonDepth - 1, '[');
  const std::string closing(kMaxJsonDepth - 1, ']');
  const std::string deepest = test::joined({R"({"a":)", opening, "1", closing, "}"});
  expectAnswers(selectorAnswersFromJson(deepest), {{"a", Malformed}});
  const auto result =
      selectorAnswersFromJson(test::joined({R"({"a":)", opening, "[1]", closing, "}"}));
  const auto* const refusal = std::get_if<Refusal>(&result);
  ASSERT_NE(refusal, nullptr);
  EXPECT_EQ(refusal->reason, "not JSON: line 1, byte 69 of the text: TOO_DEEP");
}

TEST(SelectorAnswersJson, ATextThatIsCutShortIsRefusedAsCutOff) {
  test::forEveryCut(R"({"proxy": {"now": "a"}, "b": [true]})", [](std::string_view cut) {
    const auto result = selectorAnswersFromJson(cut);
    const auto* const refusal = std::get_if<Refusal>(&result);
    ASSERT_NE(refusal, nullptr) << cut;
    EXPECT_EQ(refusal->reason, cut.empty() ? "the text is empty"
                                           : "cut off after byte " + std::to_string(cut.size()));
  });
}

}  // namespace
}  // namespace egress::snapshot
