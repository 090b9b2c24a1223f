#include "egress/json/json_reader.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/exact_text.h"
#include "tests/support/joined.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kWhitespace = " \t\n\r";
constexpr std::string_view kDigits = "0123456789";
constexpr int kByteValues = 256;

static_assert(kMaxJsonDepth == 64);

bool parses(std::string_view text) {
  JsonValue value;
  return parseJsonDocument(ExactText(text).view(), value);
}

// Whether a prefix of a document is a document: a number is complete after any of its digits, every
// other value after its last byte.
bool isWholeDocument(std::string_view cut, std::string_view document, bool isNumber) {
  if (document.find_first_not_of(kWhitespace, cut.size()) == std::string_view::npos) return true;
  return isNumber && !cut.empty() && kDigits.find(cut.back()) != std::string_view::npos;
}

// Reads an accepted document, and checks every proper prefix of it.
JsonValue accepted(std::string_view document) {
  JsonValue value;
  EXPECT_TRUE(parseJsonDocument(ExactText(document).view(), value)) << document;
  const bool isNumber = value.kind == JsonKind::Integer || value.kind == JsonKind::Number;
  forEveryCut(document, [document, isNumber](std::string_view cut) {
    EXPECT_EQ(parses(cut), isWholeDocument(cut, document, isNumber)) << cut;
  });
  return value;
}

std::string inQuotes(std::string_view bytes) {
  return joined({"\"", bytes, "\""});
}

// `leaf` inside `levels` containers, whose kinds repeat the brackets of `pattern`.
std::string nested(std::string_view pattern, std::size_t levels, std::string_view leaf) {
  std::string text(leaf);
  for (std::size_t level = levels; level > 0; --level) {
    const bool isArray = pattern[(level - 1) % pattern.size()] == '[';
    text = joined({isArray ? "[" : R"({"a":)", text, isArray ? "]" : "}"});
  }
  return text;
}

// Serializes a value, to compare whole documents.
std::string describe(const JsonValue& value) {
  std::string text;
  switch (value.kind) {
    case JsonKind::Null: return "null";
    case JsonKind::Bool: return value.boolValue ? "yes" : "no";
    case JsonKind::Integer: return std::to_string(value.intValue);
    case JsonKind::Number: return "number";
    case JsonKind::String: return joined({"<", value.stringValue, ">"});
    case JsonKind::Array:
      for (const JsonValue& item : value.items) text += describe(item) + " ";
      return joined({"(", text, ")"});
    case JsonKind::Object: break;
  }
  EXPECT_EQ(value.memberKeys.size(), value.memberValues.size());
  for (std::size_t i = 0; i < value.memberKeys.size(); ++i) {
    text += value.memberKeys[i] + "=" + describe(value.memberValues[i]) + " ";
  }
  return joined({"{", text, "}"});
}

struct FieldsRow {
  std::string_view document;
  JsonKind kind = JsonKind::Null;
  bool boolValue = false;
  std::int64_t intValue = 0;
  std::string_view bytes{};
  std::size_t itemCount = 0;
};

// Parses the document into `value`, which may already hold a tree, and compares every field.
void expectReplaced(JsonValue& value, const FieldsRow& row) {
  SCOPED_TRACE(row.document);
  EXPECT_TRUE(parseJsonDocument(row.document, value));
  EXPECT_EQ(value.kind, row.kind);
  EXPECT_EQ(value.boolValue, row.boolValue);
  EXPECT_EQ(value.intValue, row.intValue);
  EXPECT_EQ(value.stringValue, row.bytes);
  EXPECT_EQ(value.items.size(), row.itemCount);
  EXPECT_TRUE(value.memberKeys.empty());
  EXPECT_TRUE(value.memberValues.empty());
}

void expectRejected(std::initializer_list<std::string_view> texts) {
  for (const std::string_view text : texts) {
    EXPECT_FALSE(parses(text)) << testing::PrintToString(text);
  }
}

struct DocumentRow {
  std::string_view document;
  std::string_view description;
};

void expectDescription(const DocumentRow& row) {
  SCOPED_TRACE(row.document);
  EXPECT_EQ(describe(accepted(row.document)), row.description);
}

TEST(JsonReader, RejectsEmptyTextAndWhitespaceAlone) {
  expectRejected({"", " ", "\t", "\n", "\r", " \t\n\r "});
}

TEST(JsonReader, ReadsEveryKindAndKeepsTheOrderOfItemsAndMembers) {
  constexpr auto rows = std::to_array<DocumentRow>({
      {.document = "null", .description = "null"},
      {.document = "true", .description = "yes"},
      {.document = "false", .description = "no"},
      {.document = "12", .description = "12"},
      {.document = "1.5", .description = "number"},
      {.document = R"("a")", .description = "<a>"},
      {.document = R"("443")", .description = "<443>"},
      {.document = R"("true")", .description = "<true>"},
      {.document = "[]", .description = "()"},
      {.document = "{}", .description = "{}"},
      {.document = R"({"route":{}})", .description = "{route={} }"},
      {.document = R"([2,"a",true,false,null,1.5,[1],{"k":3}])",
       .description = "(2 <a> yes no null number (1 ) {k=3 } )"},
      {.document = R"({"b":null,"a":[{},[]],"":"x","c":true,"d":false})",
       .description = "{b=null a=({} () ) =<x> c=yes d=no }"},
      // All members with a repeated key are kept.
      {.document = R"({"a":1,"b":2,"a":3,"a":1})", .description = "{a=1 b=2 a=3 a=1 }"},
      // Keys are unescaped like other strings.
      {.document = R"({"\u0061\n":1})", .description = "{a\n=1 }"},
      {.document = R"({"\ud83d":1,"\ud83d\ude00":2})",
       .description = "{\xED\xA0\xBD=1 \xF0\x9F\x98\x80=2 }"},
      {.document = "{\"\0\xFF\":1,\"\":2}"sv, .description = "{\0\xFF=1 =2 }"sv},
      // A number ends at the first byte that cannot continue it.
      {.document = R"([1,-2 ,3.5,4e1,{"a":5},6])", .description = "(1 -2 number number {a=5 } 6 )"},
      {.document = "12\n", .description = "12"},
      {.document = "1.5 ", .description = "number"},
      {.document = "null \n", .description = "null"},
  });
  for (const DocumentRow& row : rows) expectDescription(row);
}

// A document as tokens, between which whitespace is allowed.
constexpr auto kTokens = std::to_array<std::string_view>(
    {"{", R"("a")", ":", "[", "1", ",", "true",   ",", "[",      "]", "]",
     ",", R"("b")", ":", "{", "}", ",", R"("c")", ":", R"("x")", "}"});

// The document with `filler` before token `gap`, or at its end when `gap` is the number of tokens.
std::string filledAt(std::size_t gap, std::string_view filler) {
  std::string document;
  for (std::size_t i = 0; i <= kTokens.size(); ++i) {
    if (i == gap) document += filler;
    if (i < kTokens.size()) document += kTokens[i];
  }
  return document;
}

TEST(JsonReader, AcceptsWhitespaceBetweenAllTokensAndAroundTheRoot) {
  for (const std::string_view filler : {" ", "\t", "\n", "\r", " \t\n\r\r\n\t "}) {
    for (std::size_t gap = 0; gap <= kTokens.size(); ++gap) {
      const std::string document = filledAt(gap, filler);
      SCOPED_TRACE(testing::PrintToString(document));
      EXPECT_EQ(describe(accepted(document)), "{a=(1 yes () ) b={} c=<x> }");
    }
  }
}

TEST(JsonReader, RejectsOtherBytesAsWhitespace) {
  constexpr auto fillers = std::to_array<std::string_view>(
      {"\0"sv, "\x01"sv, "\x08"sv, "\x0B"sv, "\x0C"sv, "\x0E"sv, "\x1F"sv, "\x7F"sv, "\x85"sv,
       "\xA0"sv, "\xC2\xA0"sv, "\xE2\x80\xA8"sv, "\xEF\xBB\xBF"sv, "//"sv, "/**/"sv});
  for (const std::string_view filler : fillers) {
    for (std::size_t gap = 0; gap <= kTokens.size(); ++gap) {
      const std::string document = filledAt(gap, filler);
      EXPECT_FALSE(parses(document)) << testing::PrintToString(document);
    }
  }
}

TEST(JsonReader, RejectsBytesAfterTheRoot) {
  expectRejected({"{} x", "{}{}", "{}}", "[]]", "[],", "1 2", "1,", "null null", R"("a""b")",
                  R"("a"b)", "{}\0"sv, "1\0"sv});
}

TEST(JsonReader, RejectsMisspelledLiteralsAndBytesAfterThem) {
  expectRejected({"not json",    "True",           "tRue",
                  "trUe",        "truE",           "trve",
                  "t rue",       "False",          "falsE",
                  "faLse",       "fake!",          "Null",
                  "nulL",        "nil ",           "nan",
                  "undefined",   "nullx",          "truefalse",
                  "true1",       "falsee",         "[nullx]",
                  "[truefalse]", "[true1]",        "[falsefalse]",
                  "[null null]", R"({"a":nullx})", R"({"a":true"b":1})"});
}

TEST(JsonReader, RejectsMalformedArrays) {
  expectRejected({"[1 2]", "[1,]", "[,1]", "[,]", "[1,,2]", "]", "[1}", "[}", "[1:2]", "[1;2]",
                  R"([1"a"])", "[1[]]", "[[1,2]", "(1)", R"(["a":1])"});
}

TEST(JsonReader, RejectsMembersWithoutStringKeyOrColon) {
  expectRejected({R"({"a" 1})",     R"({"a"})",        R"({"a":})",        R"({"a",1})",
                  R"({"a"=1})",     R"({"a"::1})",     R"({1:2})",         R"({a:1})",
                  R"({a":1})",      R"({"a":1,b":2})", R"({"a:1})",        R"({'a':1})",
                  R"({null:1})",    R"({[]:1})",       R"({:1})",          R"({"a":1,2})",
                  R"({"a":1,b:2})", R"({"a":1,"b"})",  R"({"a":1,"b" 2})", R"({"\x":1})",
                  R"({"\u12":1})"});
}

TEST(JsonReader, RejectsMalformedObjects) {
  expectRejected({R"({"a":1,})", R"({,})", R"({,"a":1})", R"({"a":1 "b":2})", R"({"a":1])",
                  R"({"a":1;"b":2})", R"({"a":1:"b":2})", R"({"a":1,,"b":2})", R"({"a":{"b":1})",
                  "}", "{]"});
}

TEST(JsonReader, AcceptsDepth64AndRejectsDepth65) {
  for (const std::string_view pattern : {"[", "{", "[{", "{["}) {
    for (const std::string_view leaf : {"1", R"("s")", "true", "null", "[]", "{}", "[ \n]"}) {
      SCOPED_TRACE(std::string(pattern) + " " + std::string(leaf));
      accepted(nested(pattern, 64, leaf));
      EXPECT_FALSE(parses(nested(pattern, 65, leaf)));
      EXPECT_FALSE(parses(nested(pattern, 66, leaf)));
    }
  }
}

TEST(JsonReader, ReadsAValueAtTheMaximumDepth) {
  const JsonValue root = accepted(nested("[{", kMaxJsonDepth, R"("deep")"));
  const JsonValue* value = &root;
  for (std::size_t level = 0; level < kMaxJsonDepth; ++level) {
    ASSERT_EQ(value->kind, level % 2 == 0 ? JsonKind::Array : JsonKind::Object) << level;
    ASSERT_EQ(value->items.size() + value->memberValues.size(), 1U) << level;
    value = value->kind == JsonKind::Array ? value->items.data() : value->memberValues.data();
  }
  EXPECT_EQ(value->stringValue, "deep");
}

TEST(JsonReader, RejectsAMissingValueBelowTheMaximumDepth) {
  for (const std::string_view leaf : {"[,]", "[ ,]", R"({"a":})", R"({"a":,"b":})"}) {
    expectRejected({leaf, nested("[", kMaxJsonDepth, leaf)});
  }
}

TEST(JsonReader, SiblingsDoNotAddToTheDepth) {
  const std::string deepest = nested("[", kMaxJsonDepth - 1, "1");
  accepted(joined({"[", deepest, ",", deepest, "]"}));
  accepted(joined({R"({"a":)", deepest, R"(,"b":)", deepest, "}"}));
  EXPECT_FALSE(parses(joined({"[", deepest, ",[", deepest, "]]"})));
  EXPECT_FALSE(parses(joined({R"({"a":)", deepest, R"(,"b":[)", deepest, "]}"})));
}

TEST(JsonReader, ASecondDocumentReplacesEveryField) {
  constexpr auto rows = std::to_array<FieldsRow>({
      {.document = R"("443")", .kind = JsonKind::String, .bytes = "443"},
      {.document = "[1,2]", .kind = JsonKind::Array, .itemCount = 2},
      {.document = "[3]", .kind = JsonKind::Array, .itemCount = 1},
      {.document = "7", .kind = JsonKind::Integer, .intValue = 7},
      {.document = "1.5", .kind = JsonKind::Number},
      {.document = "true", .kind = JsonKind::Bool, .boolValue = true},
      {.document = "false", .kind = JsonKind::Bool},
      {.document = "5", .kind = JsonKind::Integer, .intValue = 5},
      {.document = "9223372036854775808", .kind = JsonKind::Number},
      {.document = "null", .kind = JsonKind::Null},
  });
  JsonValue value;
  ASSERT_TRUE(parseJsonDocument(R"({"a":[1]})", value));
  for (const FieldsRow& row : rows) expectReplaced(value, row);
}

TEST(JsonReader, ARejectedDocumentDoesNotAffectTheNext) {
  for (const std::string_view rejected :
       {R"({"a":[1],"b":2,)", "[1,2", R"("text)", "true x", "7 x", ""}) {
    JsonValue value;
    ASSERT_FALSE(parseJsonDocument(rejected, value));
    expectReplaced(value, {.document = "null", .kind = JsonKind::Null});
    ASSERT_FALSE(parseJsonDocument(rejected, value));
    expectReplaced(value, {.document = "[4]", .kind = JsonKind::Array, .itemCount = 1});
  }
}

struct EscapeRow {
  std::string_view escaped;
  std::string_view bytes;
};

void expectBytes(const EscapeRow& row) {
  SCOPED_TRACE(row.escaped);
  EXPECT_EQ(accepted(inQuotes(row.escaped)).stringValue, row.bytes);
}

TEST(JsonReader, AStringEndsAtTheFirstUnescapedQuote) {
  expectBytes({.escaped = "", .bytes = ""});
  expectBytes({.escaped = R"(\")", .bytes = R"(")"});
  expectBytes({.escaped = R"(\\)", .bytes = R"(\)"});
  expectBytes({.escaped = R"(\\\")", .bytes = R"(\")"});
  expectRejected(
      {R"(")", R"("abc)", R"("\")", R"("\)", R"("\\\")", R"("\\"")", R"(""")", "'a'", "a"});
}

TEST(JsonReader, KeepsEveryRawByteOfAString) {
  for (int byte = 0; byte < kByteValues; ++byte) {
    const std::string bytes(2, static_cast<char>(byte));
    if (bytes == R"("")" || bytes == R"(\\)") continue;
    EXPECT_EQ(accepted(inQuotes(bytes)).stringValue, bytes) << byte;
  }
}

TEST(JsonReader, KeepsControlBytesNulAndInvalidUtf8) {
  constexpr auto texts = std::to_array<std::string_view>(
      {"a\tb\nc", "a\0b\0"sv, "\x01\x1F\x7F", "\xFF\xFE", "\xC0\x80", "\xE2\x82", "\x80",
       "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xEF\xBB\xBF", "\xF0\x9F\x98\x80"});
  for (const std::string_view bytes : texts) {
    EXPECT_EQ(accepted(inQuotes(bytes)).stringValue, bytes);
  }
}

TEST(JsonReader, DecodesTheNineEscapesAndRejectsAllOthers) {
  EXPECT_EQ(accepted(R"("\"\\\/\b\f\n\r\t\u0041")").stringValue,
            "\x22\x5C\x2F\x08\x0C\x0A\x0D\x09\x41"sv);
  EXPECT_FALSE(parses(R"("\x")"));
  for (int byte = 0; byte < kByteValues; ++byte) {
    const char escape = static_cast<char>(byte);
    if (R"("\/bfnrtu)"sv.find(escape) != std::string_view::npos) continue;
    // Four hex digits follow, in case the byte is read as the start of a longer escape.
    EXPECT_FALSE(parses(inQuotes(joined({R"(\)", std::string(1, escape), "0041"})))) << byte;
  }
}

TEST(JsonReader, EncodesUnicodeEscapesAsUtf8) {
  constexpr auto rows = std::to_array<EscapeRow>({
      {.escaped = R"(\u0000)", .bytes = "\0"sv},
      {.escaped = R"(a\u0000b)", .bytes = "a\0b"sv},
      {.escaped = R"(\u007f)", .bytes = "\x7F"},
      {.escaped = R"(\u0080)", .bytes = "\xC2\x80"},
      {.escaped = R"(\u00e9)", .bytes = "\xC3\xA9"},
      {.escaped = R"(\u07ff)", .bytes = "\xDF\xBF"},
      {.escaped = R"(\u0800)", .bytes = "\xE0\xA0\x80"},
      {.escaped = R"(\u1234)", .bytes = "\xE1\x88\xB4"},
      {.escaped = R"(\u5678)", .bytes = "\xE5\x99\xB8"},
      {.escaped = R"(\u9abc)", .bytes = "\xE9\xAA\xBC"},
      {.escaped = R"(\uefef)", .bytes = "\xEE\xBF\xAF"},
      {.escaped = R"(\uabcd)", .bytes = "\xEA\xAF\x8D"},
      {.escaped = R"(\uABCD)", .bytes = "\xEA\xAF\x8D"},
      {.escaped = R"(\uEfeF)", .bytes = "\xEE\xBF\xAF"},
      {.escaped = R"(\ud7ff)", .bytes = "\xED\x9F\xBF"},
      {.escaped = R"(\ue000)", .bytes = "\xEE\x80\x80"},
      {.escaped = R"(\uffff)", .bytes = "\xEF\xBF\xBF"},
      {.escaped = R"(\u00410)", .bytes = "A0"},
      {.escaped = R"(\u0041\u0042)", .bytes = "AB"},
      // A surrogate pair is one code point of four bytes.
      {.escaped = R"(\ud83d\ude00)", .bytes = "\xF0\x9F\x98\x80"},
      {.escaped = R"(\uD83D\uDE00)", .bytes = "\xF0\x9F\x98\x80"},
      {.escaped = R"(\ud800\udc00)", .bytes = "\xF0\x90\x80\x80"},
      {.escaped = R"(\ud800\udfff)", .bytes = "\xF0\x90\x8F\xBF"},
      {.escaped = R"(\udbff\udc00)", .bytes = "\xF4\x8F\xB0\x80"},
      {.escaped = R"(\udbff\udfff)", .bytes = "\xF4\x8F\xBF\xBF"},
      {.escaped = R"(a\ud83d\ude00z)", .bytes = "a\xF0\x9F\x98\x80z"},
      // An unpaired surrogate is encoded on its own.
      {.escaped = R"(\ud83d)", .bytes = "\xED\xA0\xBD"},
      {.escaped = R"(\ud800)", .bytes = "\xED\xA0\x80"},
      {.escaped = R"(\udbff)", .bytes = "\xED\xAF\xBF"},
      {.escaped = R"(\udc00)", .bytes = "\xED\xB0\x80"},
      {.escaped = R"(\udfff)", .bytes = "\xED\xBF\xBF"},
      {.escaped = R"(\ude00\ud83d)", .bytes = "\xED\xB8\x80\xED\xA0\xBD"},
      {.escaped = R"(\udc00\udc00)", .bytes = "\xED\xB0\x80\xED\xB0\x80"},
      {.escaped = R"(\ud7ff\udc00)", .bytes = "\xED\x9F\xBF\xED\xB0\x80"},
      // What follows an unpaired high surrogate is read on its own.
      {.escaped = R"(\ud83dx)", .bytes = "\xED\xA0\xBDx"},
      {.escaped = R"(\ud83d\u0041)", .bytes = "\xED\xA0\xBD\x41"},
      {.escaped = R"(\ud83d\ue000)", .bytes = "\xED\xA0\xBD\xEE\x80\x80"},
      {.escaped = R"(\ud83d\udbff)", .bytes = "\xED\xA0\xBD\xED\xAF\xBF"},
      {.escaped = R"(\ud800\ud800\udc00)", .bytes = "\xED\xA0\x80\xF0\x90\x80\x80"},
      {.escaped = R"(\ud800\ud800\ud800)", .bytes = "\xED\xA0\x80\xED\xA0\x80\xED\xA0\x80"},
      {.escaped = R"(\ud83d\ude00\ude00)", .bytes = "\xF0\x9F\x98\x80\xED\xB8\x80"},
      {.escaped = R"(\ud83d\n)", .bytes = "\xED\xA0\xBD\n"},
      {.escaped = R"(\ud83d\\ude00)", .bytes = "\xED\xA0\xBD\\ude00"},
      {.escaped = R"(\ud83d\"\ude00)", .bytes = "\xED\xA0\xBD\"\xED\xB8\x80"},
      {.escaped = R"(\ud83dude00)", .bytes = "\xED\xA0\xBDude00"},
      {.escaped = R"(\ud83ddc00)", .bytes = "\xED\xA0\xBD\x64\x63\x30\x30"},
      {.escaped = R"(\ud83d \ude00)", .bytes = "\xED\xA0\xBD \xED\xB8\x80"},
  });
  for (const EscapeRow& row : rows) expectBytes(row);
}

TEST(JsonReader, RejectsABadEscapeAfterAHighSurrogate) {
  for (const std::string_view bad : {R"(\u12)", R"(\u)", R"(\uzzzz)", R"(\ude0g)", R"(\ude0)",
                                     R"(\uDE0 )", R"(\x)", R"(\dc00)", R"(\Ude00)", R"(\)"}) {
    EXPECT_FALSE(parses(inQuotes(joined({R"(\ud83d)", bad})))) << bad;
  }
}

TEST(JsonReader, RejectsAUnicodeEscapeWithoutFourHexDigits) {
  for (const std::string_view bad :
       {R"(\u12)", R"(\u)", R"(\u1)", R"(\u123)", R"(\u{41})", R"(\u00\u0041)", R"(\u 041)",
        R"(\u+041)", R"(\u-041)", R"(\u0x41)", R"(\U0041)", R"(\uu041)"}) {
    EXPECT_FALSE(parses(inQuotes(bad))) << bad;
  }
  for (std::size_t place = 0; place < 4; ++place) {
    for (const char neighbour : "/:@G`g\xFF"sv) {
      std::string digits = "0041";
      digits[place] = neighbour;
      EXPECT_FALSE(parses(inQuotes(joined({R"(\u)", digits})))) << testing::PrintToString(digits);
    }
  }
}

TEST(JsonReader, KeepsIntegersOf64Bits) {
  struct Row {
    std::string_view text;
    std::int64_t value;
  };
  constexpr auto rows = std::to_array<Row>({
      {.text = "0", .value = 0},
      {.text = "-0", .value = 0},
      {.text = "7", .value = 7},
      {.text = "-7", .value = -7},
      {.text = "007", .value = 7},
      {.text = "-007", .value = -7},
      {.text = "00", .value = 0},
      {.text = "1234567890", .value = 1234567890},
      {.text = "9223372036854775806", .value = std::numeric_limits<std::int64_t>::max() - 1},
      {.text = "9223372036854775807", .value = std::numeric_limits<std::int64_t>::max()},
      {.text = "-9223372036854775807", .value = std::numeric_limits<std::int64_t>::min() + 1},
      {.text = "-9223372036854775808", .value = std::numeric_limits<std::int64_t>::min()},
      {.text = "0000000000000000000000009223372036854775807",
       .value = std::numeric_limits<std::int64_t>::max()},
  });
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const JsonValue value = accepted(row.text);
    EXPECT_EQ(value.kind, JsonKind::Integer);
    EXPECT_EQ(value.intValue, row.value);
  }
}

void expectNumberWithoutValue(std::initializer_list<std::string_view> texts) {
  for (const std::string_view text : texts) {
    SCOPED_TRACE(text);
    const JsonValue value = accepted(text);
    EXPECT_EQ(value.kind, JsonKind::Number);
    EXPECT_EQ(value.intValue, 0);
  }
}

TEST(JsonReader, KeepsNoValueOfOtherNumbers) {
  expectNumberWithoutValue({"9223372036854775808", "-9223372036854775809", "18446744073709551615",
                            "18446744073709551617", "99999999999999999999999999",
                            "-0009223372036854775809"});
  expectNumberWithoutValue({"1.0", "0.0", "-1.5", "443.0", "00.5", "1e5", "1E5", "1e+5", "1E-2",
                            "1e05", "0e0", "1.5e3", "-12.5E+30", "1e999999"});
}

TEST(JsonReader, RejectsMalformedNumbers) {
  for (const std::string_view text :
       {"1.",    "1e",    "1E",   "1e+",   "1e-",      "-",   "+1",        ".5",  "-.5",   "1.e5",
        "1e+-5", "1e++5", "1e 5", "1e.5",  "1.-5",     "--1", "- 1",       "-+1", "1.2.3", "1e5.0",
        "1e5e5", "1eE5",  "0x10", "1_000", "Infinity", "e5",  "-Infinity", "-e5", "1f",    "12abc",
        "1-2",   "1+2",   "1/",   "1:",    "1. 5",     "-a",  "1 .5"}) {
    expectRejected({text, joined({"[", text, "]"}), joined({R"({"a":)", text, "}"})});
  }
}

}  // namespace
}  // namespace egress::test
