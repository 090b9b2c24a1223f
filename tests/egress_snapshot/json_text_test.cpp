#include "egress_snapshot/json_text.h"

#include <array>
#include <limits>

#include <gtest/gtest.h>

#include "tests/egress_snapshot/expect_refused.h"
#include "tests/support/exact_text.h"
#include "tests/support/joined.h"

namespace egress::snapshot {
namespace {

using namespace std::string_view_literals;
using egress::test::ExactText;
using egress::test::forEveryCut;
using egress::test::joined;

constexpr std::string_view kNotStrict =
    "not strict JSON: invalid UTF-8, a control character or an unpaired surrogate in a string, or "
    "a number with a leading zero or out of range";

Result<Json> parseExactly(std::string_view text) {
  JsonTree tree;
  if (Problem problem = parseJson(ExactText(text).view(), tree)) return *std::move(problem);
  return tree.root;
}

// The value of a text without faults.
Json parsed(std::string_view text) {
  const Result<Json> result = parseExactly(text);
  if (const auto* const refusal = std::get_if<Refusal>(&result)) {
    ADD_FAILURE() << toString(*refusal);
    return nullptr;
  }
  return std::get<Json>(result);
}

TEST(JsonPlace, IsAJsonPointerOfKeysAndIndexes) {
  const Place root;
  const Place member{.parent = &root, .key = "a/b~c"};
  const Place element{.parent = &member, .index = 0};
  const Place inner{.parent = &element, .key = "d"};
  EXPECT_EQ(refusalAt(root, "why").place, "");
  EXPECT_EQ(refusalAt(member, "why").place, "/a~1b~0c");
  EXPECT_EQ(refusalAt(element, "why").place, "/a~1b~0c/0");
  EXPECT_EQ(refusalAt(inner, "why").place, "/a~1b~0c/0/d");
  EXPECT_EQ(refusalAt(inner, "why").reason, "why");
}

TEST(JsonPlace, AnEmptyKeyIsNoIndex) {
  const Place root;
  EXPECT_EQ(refusalAt({.parent = &root, .key = ""}, "why").place, "/");
}

TEST(JsonPlace, AKeyIsShortenedTo40Bytes) {
  const Place root;
  const std::string key(41, 'k');
  EXPECT_EQ(refusalAt({.parent = &root, .key = key}, "").place, "/" + std::string(40, 'k'));
}

TEST(ShownValue, ShowsScalarsAsJsonAndNamesTheTypesOfOthers) {
  EXPECT_EQ(shownValue(nullptr), "null");
  EXPECT_EQ(shownValue(true), "true");
  EXPECT_EQ(shownValue(-7), "-7");
  EXPECT_EQ(shownValue(18446744073709551615U), "18446744073709551615");
  EXPECT_EQ(shownValue(1.5), "1.5");
  EXPECT_EQ(shownValue("text"), "\"text\"");
  EXPECT_EQ(shownValue(Json::array({1, 2})), "an array");
  EXPECT_EQ(shownValue(Json::object({{"a", 1}})), "an object");
}

TEST(ShownValue, ShortensAStringOfMoreThan40Bytes) {
  const std::string shown = joined({"\"", std::string(40, 'x'), "\""});
  EXPECT_EQ(shownValue(std::string(40, 'x')), shown);
  EXPECT_EQ(shownValue(std::string(41, 'x')), shown + "...");
  EXPECT_EQ(shownValue(std::string(100'000, 'x')), shown + "...");
}

TEST(ShownValue, EscapesEverythingButPrintableAscii) {
  EXPECT_EQ(shownValue("\x1B[2J\x07\n\x7F\"\\"), R"("\u001b[2J\u0007\n\u007f\"\\")");
  EXPECT_EQ(shownValue(std::string("a\0b"sv)), R"("a\u0000b")");
  EXPECT_EQ(shownValue("\xC3\xA9\xF0\x9F\x98\x80"), R"("\u00e9\ud83d\ude00")");
  // Cut after the first byte of the last character.
  EXPECT_EQ(shownValue(joined({std::string(39, 'x'), "\xC3\xA9"})),
            joined({"\"", std::string(39, 'x'), R"(\ufffd"...)"}));
}

TEST(Refuse, SaysWhatTheValueIsNot) {
  const Place root;
  const Refusal refusal = refuse({.parent = &root, .index = 2}, true, "is not a number");
  EXPECT_EQ(refusal.place, "/2");
  EXPECT_EQ(refusal.reason, "true is not a number");
}

TEST(ReadValue, ReadsBooleans) {
  bool result = false;
  EXPECT_EQ(readValue(true, {}, result), std::nullopt);
  EXPECT_TRUE(result);
  EXPECT_EQ(readValue(false, {}, result), std::nullopt);
  EXPECT_FALSE(result);
}

TEST(ReadValue, RefusesWhatIsNoBooleanAndChangesNothing) {
  bool result = true;
  for (const Json& value : {Json(nullptr), Json(0), Json("true"), Json::array()}) {
    const Problem problem = readValue(value, {}, result);
    ASSERT_TRUE(problem) << value;
    EXPECT_EQ(problem->reason, shownValue(value) + " is not true or false");
    EXPECT_TRUE(result);
  }
}

struct IntegerRow {
  std::string_view text;
  std::optional<std::int64_t> value;  // nothing: refused
  std::string_view reason = {};
};

constexpr auto kIntegers = std::to_array<IntegerRow>({
    {.text = "0", .value = 0},
    {.text = "-0", .value = 0},
    {.text = "-1", .value = -1},
    {.text = "9223372036854775807", .value = std::numeric_limits<std::int64_t>::max()},
    {.text = "-9223372036854775808", .value = std::numeric_limits<std::int64_t>::min()},
    {.text = "9223372036854775808", .value = {}, .reason = "9223372036854775808 does not fit"},
    {.text = "18446744073709551615", .value = {}, .reason = "18446744073709551615 does not fit"},
    // Beyond 64 bits nlohmann/json has only floating-point numbers.
    {.text = "18446744073709551616",
     .value = {},
     .reason = "1.8446744073709552e+19 is not an integer that fits"},
    {.text = "-9223372036854775809",
     .value = {},
     .reason = "-9.223372036854776e+18 is not an integer that fits"},
    {.text = "1.0", .value = {}, .reason = "1.0 is not an integer that fits"},
    {.text = "1.5", .value = {}, .reason = "1.5 is not an integer that fits"},
    {.text = "1e3", .value = {}, .reason = "1000.0 is not an integer that fits"},
    {.text = "\"1\"", .value = {}, .reason = "\"1\" is not a number"},
    {.text = "true", .value = {}, .reason = "true is not a number"},
    {.text = "null", .value = {}, .reason = "null is not a number"},
    {.text = "[1]", .value = {}, .reason = "an array is not a number"},
    {.text = "{}", .value = {}, .reason = "an object is not a number"},
});

TEST(ReadValue, ReadsIntegersOf64Bits) {
  const Place root;
  for (const IntegerRow& row : kIntegers) {
    SCOPED_TRACE(row.text);
    std::int64_t result = 77;
    const Problem problem = readValue(parsed(row.text), {.parent = &root, .key = "n"}, result);
    EXPECT_EQ(result, row.value.value_or(77));
    ASSERT_EQ(problem.has_value(), !row.value);
    if (!problem) continue;
    EXPECT_EQ(problem->place, "/n");
    EXPECT_EQ(problem->reason, row.reason);
  }
}

TEST(ParseJson, ReadsEveryKindOfValue) {
  EXPECT_EQ(parsed(R"( [null, true, -1, 1.5, "a\u0000\n\ud83d\ude00", {"k": []}] )"),
            Json::array({nullptr, true, -1, 1.5, std::string("a\0\n\xF0\x9F\x98\x80"sv),
                         Json::object({{"k", Json::array()}})}));
}

TEST(ParseJson, ReadsTheLastOfRepeatedMembers) {
  EXPECT_EQ(parsed(R"({"a": {"b": 1}, "a": {"c": 2}})"), Json::object({{"a", {{"c", 2}}}}));
}

TEST(ParseJson, IgnoresOneByteOrderMark) {
  EXPECT_EQ(parsed("\xEF\xBB\xBF[1]"), Json::array({1}));
  expectRefused(parseExactly("\xEF\xBB\xBF\xEF\xBB\xBF[1]"), "",
                "not JSON: line 1, byte 0 of the text: NO_VALUE");
  expectRefused(parseExactly("\xEF\xBB[1]"), "", "not JSON: line 1, byte 0 of the text: NO_VALUE");
}

struct FaultRow {
  std::string_view text;
  std::string_view place;
  std::string_view reason;
};

constexpr auto kFaults = std::to_array<FaultRow>({
    {.text = "", .place = "", .reason = "the text is empty"},
    {.text = "\xEF\xBB\xBF", .place = "", .reason = "the text is empty"},
    // Cut off.
    {.text = " \r\n\t", .place = "", .reason = "cut off after byte 4"},
    {.text = "[", .place = "/0", .reason = "cut off after byte 1"},
    {.text = "[1,", .place = "/1", .reason = "cut off after byte 3"},
    {.text = "[[], {}, tr", .place = "/2", .reason = "cut off after byte 11"},
    {.text = "{", .place = "", .reason = "cut off after byte 1"},
    {.text = R"({"a)", .place = "", .reason = "cut off after byte 3"},
    {.text = R"({"a": {"b": [1, "x)", .place = "/a/b/1", .reason = "cut off after byte 18"},
    {.text = R"({"a": {"b": 1}, "c": [)", .place = "/c/0", .reason = "cut off after byte 22"},
    // Each fault of the grammar.
    {.text = "[?]", .place = "/0", .reason = "not JSON: line 1, byte 1 of the text: NO_VALUE"},
    {.text = "[1, trUe]",
     .place = "/1",
     .reason = "not JSON: line 1, byte 6 of the text: BAD_LITERAL"},
    {.text = "[-x]", .place = "/0", .reason = "not JSON: line 1, byte 2 of the text: BAD_NUMBER"},
    {.text = R"(["\q"])",
     .place = "/0",
     .reason = "not JSON: line 1, byte 3 of the text: BAD_ESCAPE"},
    {.text = R"({"a": {1: 2}})",
     .place = "/a",
     .reason = "not JSON: line 1, byte 7 of the text: NO_KEY"},
    {.text = R"({"a": {"b" 2}})",
     .place = "/a/b",
     .reason = "not JSON: line 1, byte 11 of the text: NO_COLON"},
    {.text = R"({"a": 1 "b": 2})",
     .place = "/a",
     .reason = "not JSON: line 1, byte 8 of the text: NO_COMMA"},
    {.text = "[1] 2",
     .place = "",
     .reason = "not JSON: line 1, byte 4 of the text: BYTES_AFTER_ROOT"},
    {.text = "{}\n{}",
     .place = "",
     .reason = "not JSON: line 2, byte 3 of the text: BYTES_AFTER_ROOT"},
    {.text = "{}\0"sv,
     .place = "",
     .reason = "not JSON: line 1, byte 2 of the text: BYTES_AFTER_ROOT"},
    {.text = "{\n  \"a\": 1,\r\n  \"b\": [\n    0,\n    x\n  ]\n}",
     .place = "/b/1",
     .reason = "not JSON: line 5, byte 33 of the text: NO_VALUE"},
    // A fault after a value belongs to that member, or to the next element.
    {.text = "[1 x]", .place = "/1", .reason = "not JSON: line 1, byte 3 of the text: NO_COMMA"},
    {.text = "[[1], x]", .place = "/1", .reason = "not JSON: line 1, byte 6 of the text: NO_VALUE"},
    // Keys in the place.
    {.text = R"({"a/b~c": x})",
     .place = "/a~1b~0c",
     .reason = "not JSON: line 1, byte 10 of the text: NO_VALUE"},
    {.text = R"({"": x})",
     .place = "/",
     .reason = "not JSON: line 1, byte 5 of the text: NO_VALUE"},
    {.text = R"({"0123456789012345678901234567890123456789X": x})",
     .place = "/0123456789012345678901234567890123456789",
     .reason = "not JSON: line 1, byte 46 of the text: NO_VALUE"},
    // UTF-16 of both byte orders, with and without a byte-order mark.
    {.text = "\xFF\xFE{\0}\0"sv,
     .place = "",
     .reason = "not JSON: line 1, byte 0 of the text: NO_VALUE"},
    {.text = "\xFE\xFF\0{\0}"sv,
     .place = "",
     .reason = "not JSON: line 1, byte 0 of the text: NO_VALUE"},
    {.text = "{\0}\0"sv, .place = "", .reason = "not JSON: line 1, byte 1 of the text: NO_KEY"},
    {.text = "\0{\0}"sv, .place = "", .reason = "not JSON: line 1, byte 0 of the text: NO_VALUE"},
    // What only a strict reader refuses.
    {.text = "[0, {\"a\": \"\xFF\"}]", .place = "/1/a", .reason = kNotStrict},
    {.text = "[\"\xED\xA0\x80\"]", .place = "/0", .reason = kNotStrict},  // a surrogate as UTF-8
    {.text = "[\"\xC0\x80\"]", .place = "/0", .reason = kNotStrict},      // an overlong zero
    {.text = "[\"a\tb\"]", .place = "/0", .reason = kNotStrict},
    {.text = "[\"a\0b\"]"sv, .place = "/0", .reason = kNotStrict},
    {.text = R"(["\ud83d"])", .place = "/0", .reason = kNotStrict},
    {.text = R"(["\ude00\ud83d"])", .place = "/0", .reason = kNotStrict},
    {.text = R"({"a": 01})", .place = "/a", .reason = kNotStrict},
    {.text = R"({"a": -00})", .place = "/a", .reason = kNotStrict},
    {.text = "[1, 1e400]", .place = "/1", .reason = kNotStrict},
    {.text = "[-1e400]", .place = "/0", .reason = kNotStrict},
});

TEST(ParseJson, SaysWhereAndWhyATextBreaksOff) {
  for (const FaultRow& row : kFaults) {
    SCOPED_TRACE(row.text);
    expectRefused(parseExactly(row.text), row.place, row.reason);
  }
}

TEST(ParseJson, AValidTextThatIsCutIsCalledCutOff) {
  constexpr std::string_view kText =
      R"({"a/b": [1, -2.5e3, "x\u00e9\ud83d\ude00\"", true, false, null, {}, []], "c": {"d": 0}})";
  EXPECT_EQ(parsed(kText).size(), 2U);
  forEveryCut(kText, [](std::string_view cut) {
    const Result<Json> result = parseExactly(cut);
    const auto* const refusal = std::get_if<Refusal>(&result);
    ASSERT_NE(refusal, nullptr) << cut;
    EXPECT_EQ(refusal->reason, cut.empty() ? "the text is empty"
                                           : "cut off after byte " + std::to_string(cut.size()));
  });
}

TEST(JsonTreeBuilder, RefusesBinaryValues) {
  Json::binary_t value;
  EXPECT_FALSE(JsonTreeBuilder::binary(value));
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  result.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

TEST(ParseJson, ReadsTextThatIsNested64LevelsDeep) {
  // The root is at level 0, so 65 brackets reach level 64.
  Json value = parsed(joined({repeated("[", 65), repeated("]", 65)}));
  std::size_t levels = 0;
  for (; value.is_array() && !value.empty(); ++levels) value = Json(value.front());
  EXPECT_EQ(levels, 64U);
}

TEST(ParseJson, RefusesTextThatIsNestedDeeper) {
  constexpr std::string_view kReason = "not JSON: line 1, byte 65 of the text: TOO_DEEP";
  for (const std::size_t depth : {66U, 100U, 100'000U}) {
    SCOPED_TRACE(depth);
    const std::string opening = repeated("[", depth);
    const std::string closing = repeated("]", depth);
    expectRefused(parseExactly(joined({opening, closing})), repeated("/0", 65), kReason);
    expectRefused(parseExactly(opening), repeated("/0", 65), kReason);
    expectRefused(parseExactly(joined({opening, "?"})), repeated("/0", 65), kReason);
  }
  // An object at level 64 is at byte 64 * 5. Its first key already is one too many.
  expectRefused(parseExactly(repeated(R"({"a":)", 100'000)), repeated("/a", 64),
                "not JSON: line 1, byte 321 of the text: TOO_DEEP");
}

// Quadratic time would take minutes here.
TEST(ParseJson, FindsTheFaultInALargeText) {
  const std::string text = joined({"{\"x\": [", repeated(R"({"a": [{}], "b": 1},)", 100'000)});
  expectRefused(parseExactly(text), "/x/100000",
                "cut off after byte " + std::to_string(7 + 100'000 * 20));
}

TEST(ParseJson, EveryBytePairIsReadOrRefusedInOneLine) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string text = {static_cast<char>(first), static_cast<char>(second)};
      const Result<Json> result = parseExactly(text);
      const auto* const refusal = std::get_if<Refusal>(&result);
      if (refusal == nullptr) continue;
      EXPECT_FALSE(refusal->reason.empty());
      EXPECT_EQ(toString(*refusal).find('\n'), std::string::npos);
    }
  }
}

struct Utf8Row {
  std::string_view bytes;
  bool isUtf8;
};

constexpr auto kUtf8Rows = std::to_array<Utf8Row>({
    {.bytes = "", .isUtf8 = true},
    {.bytes = "ascii \x7F\x01\0\"\\"sv, .isUtf8 = true},
    {.bytes = "\xC2\x80", .isUtf8 = true},          // U+0080, the first of two bytes
    {.bytes = "\xDF\xBF", .isUtf8 = true},          // U+07FF, the last
    {.bytes = "\xE0\xA0\x80", .isUtf8 = true},      // U+0800, the first of three bytes
    {.bytes = "\xED\x9F\xBF", .isUtf8 = true},      // U+D7FF, before the surrogates
    {.bytes = "\xEE\x80\x80", .isUtf8 = true},      // U+E000, after the surrogates
    {.bytes = "\xEF\xBF\xBD", .isUtf8 = true},      // U+FFFD, the replacement character
    {.bytes = "\xEF\xBF\xBF", .isUtf8 = true},      // U+FFFF
    {.bytes = "\xF0\x90\x80\x80", .isUtf8 = true},  // U+10000, the first of four bytes
    {.bytes = "\xF4\x8F\xBF\xBF", .isUtf8 = true},  // U+10FFFF, the last
    {.bytes = "\xEF\xBB\xBF", .isUtf8 = true},      // a byte-order mark
    {.bytes = "\x80", .isUtf8 = false},             // a continuation alone
    {.bytes = "\xFF", .isUtf8 = false},
    {.bytes = "a\xC3", .isUtf8 = false},  // cut
    {.bytes = "\xC3z", .isUtf8 = false},
    {.bytes = "\xE2\x82", .isUtf8 = false},
    {.bytes = "\xF0\x9F\x98", .isUtf8 = false},
    {.bytes = "\xC0\x80", .isUtf8 = false},  // overlong
    {.bytes = "\xC1\xBF", .isUtf8 = false},
    {.bytes = "\xE0\x9F\xBF", .isUtf8 = false},
    {.bytes = "\xF0\x8F\xBF\xBF", .isUtf8 = false},
    {.bytes = "\xED\xA0\x80", .isUtf8 = false},  // surrogates
    {.bytes = "\xED\xBF\xBF", .isUtf8 = false},
    {.bytes = "\xF4\x90\x80\x80", .isUtf8 = false},  // U+110000
    {.bytes = "\xF5\x80\x80\x80", .isUtf8 = false},
});

TEST(IsUtf8, AcceptsExactlyTheBytesOfRfc3629) {
  for (const Utf8Row& row : kUtf8Rows) {
    EXPECT_EQ(isUtf8(std::string(row.bytes)), row.isUtf8) << testing::PrintToString(row.bytes);
  }
}

}  // namespace
}  // namespace egress::snapshot
