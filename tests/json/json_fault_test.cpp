#include "egress/json/json_fault.h"

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/exact_text.h"

namespace egress::test {
namespace {

using enum JsonFaultKind;

struct Row {
  std::string text;
  JsonFaultKind kind;
  std::size_t offset;
};

void expectFaults(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const std::optional<JsonFault> fault = findJsonFault(ExactText(row.text).view());
    ASSERT_TRUE(fault);
    EXPECT_EQ(fault->kind, row.kind) << toString(fault->kind);
    EXPECT_EQ(fault->offset, row.offset);
  }
}

TEST(JsonFault, NoneInAnAcceptedText) {
  for (const std::string_view text : {"0", " {} ", R"({"a":[1,-2.5e3,"\u0041"]})", "007", "null"}) {
    EXPECT_FALSE(findJsonFault(ExactText(text).view())) << text;
  }
}

TEST(JsonFault, ATruncatedTextIsFaultyAtItsEnd) {
  for (const std::string text : {"",       " \n",     "[",        "[1",        "[1,",         "{",
                                 R"({"a)", R"({"a")", R"({"a":)", R"({"a":1)", R"({"a":1,)",  "-",
                                 "1.",     "1e",      "1e+",      "tru",       "f",           "nul",
                                 "\"",     R"("\)",   R"("\u)",   R"("\u12)",  R"("\ud83d\u)"}) {
    expectFaults({{text, END_OF_TEXT, text.size()}});
  }
}

TEST(JsonFault, EachKindHasTheOffsetOfTheFirstBadByte) {
  expectFaults({
      {"x", NO_VALUE, 0},
      {" \f1", NO_VALUE, 1},
      {"+1", NO_VALUE, 0},
      {".5", NO_VALUE, 0},
      {"[1,]", NO_VALUE, 3},
      {"[,1]", NO_VALUE, 1},
      {R"({"a":})", NO_VALUE, 5},
      {"not json", BAD_LITERAL, 1},
      {"[trve]", BAD_LITERAL, 3},
      {"falsE", BAD_LITERAL, 4},
      {"-x", BAD_NUMBER, 1},
      {"1.x", BAD_NUMBER, 2},
      {"1.e5", BAD_NUMBER, 2},
      {"1ex", BAD_NUMBER, 2},
      {"1e+-2", BAD_NUMBER, 3},
      {R"("\x")", BAD_ESCAPE, 2},
      {R"("\u12")", BAD_ESCAPE, 5},
      {R"("\u12g4")", BAD_ESCAPE, 5},
      {R"("\ud83d\u1Z34")", BAD_ESCAPE, 10},
      {R"({"a":1,})", NO_KEY, 7},
      {"{1:2}", NO_KEY, 1},
      {"{,", NO_KEY, 1},
      {R"({"a" 1})", NO_COLON, 5},
      {"[1 2]", NO_COMMA, 3},
      {"[1}", NO_COMMA, 2},
      {R"({"a":1])", NO_COMMA, 6},
      {"[1.5.2]", NO_COMMA, 4},
      {"[nullx]", NO_COMMA, 5},
      {"{} x", BYTES_AFTER_ROOT, 3},
      {"12abc", BYTES_AFTER_ROOT, 2},
      {std::string("{}\0", 3), BYTES_AFTER_ROOT, 2},
  });
}

TEST(JsonFault, TooDeepIsTheFirstByteOfTheFirstValueBeyondTheLimit) {
  const std::string deepest(kMaxJsonDepth + 1, '[');
  std::string members;
  for (std::size_t i = 0; i < kMaxJsonDepth; ++i) members += R"({"a":)";
  expectFaults({
      {deepest, END_OF_TEXT, deepest.size()},
      {deepest + " 1", TOO_DEEP, deepest.size() + 1},
      {deepest + "[]", TOO_DEEP, deepest.size()},
      {members + "{", END_OF_TEXT, members.size() + 1},
      {members + R"({ "a":1})", TOO_DEEP, members.size() + 2},
  });
}

TEST(JsonFault, EachKindHasItsOwnWordAndUnknownNumbersGetTheLastOne) {
  std::set<std::string> words;
  for (std::uint32_t number = 0; number <= static_cast<std::uint32_t>(BYTES_AFTER_ROOT); ++number) {
    words.insert(toString(JsonFaultKind{number}));
  }
  EXPECT_EQ(words, (std::set<std::string>{"END_OF_TEXT", "NO_VALUE", "BAD_LITERAL", "BAD_NUMBER",
                                          "BAD_ESCAPE", "NO_KEY", "NO_COLON", "NO_COMMA",
                                          "TOO_DEEP", "BYTES_AFTER_ROOT"}));
  EXPECT_STREQ(toString(JsonFaultKind{10}), "BYTES_AFTER_ROOT");
  EXPECT_STREQ(toString(END_OF_TEXT), "END_OF_TEXT");
  EXPECT_STREQ(toString(TOO_DEEP), "TOO_DEEP");
}

}  // namespace
}  // namespace egress::test
