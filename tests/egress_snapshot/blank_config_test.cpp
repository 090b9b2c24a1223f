#include "egress_snapshot/blank_config.h"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/exact_text.h"

namespace egress::snapshot {
namespace {

using namespace std::string_view_literals;

// Equal texts have no parts.
struct Row {
  std::string_view name;
  std::string_view text;
  std::string_view blanked;
  BlankedParts parts = {};
};

constexpr auto kByteOrderMarks = std::to_array<Row>({
    {.name = "byte-order mark at the beginning",
     .text = "\xEF\xBB\xBF{}",
     .blanked = "   {}",
     .parts = {.byteOrderMark = true}},
    {.name = "nothing but a byte-order mark",
     .text = "\xEF\xBB\xBF",
     .blanked = "   ",
     .parts = {.byteOrderMark = true}},
    {.name = "second byte-order mark",
     .text = "\xEF\xBB\xBF\xEF\xBB\xBF{}",
     .blanked = "   \xEF\xBB\xBF{}",
     .parts = {.byteOrderMark = true}},
    {.name = "byte-order mark after a blank",
     .text = " \xEF\xBB\xBF{}",
     .blanked = " \xEF\xBB\xBF{}"},
    {.name = "part of a byte-order mark", .text = "\xEF\xBB{}", .blanked = "\xEF\xBB{}"},
});

constexpr auto kComments = std::to_array<Row>({
    {.name = "line comment up to LF",
     .text = "[1] // a,]\n ",
     .blanked = "[1]       \n ",
     .parts = {.comments = 1}},
    {.name = "line comment up to CR LF",
     .text = "[1]//a\r\n",
     .blanked = "[1]   \r\n",
     .parts = {.comments = 1}},
    {.name = "line comment up to CR",
     .text = "//a\r1",
     .blanked = "   \r1",
     .parts = {.comments = 1}},
    {.name = "line comment up to the end",
     .text = "1//a\0\xFF\""sv,
     .blanked = "1      ",
     .parts = {.comments = 1}},
    {.name = "empty line comments",
     .text = "//\n//",
     .blanked = "  \n  ",
     .parts = {.comments = 2}},
    {.name = "line comment that has the other kind",
     .text = "///* */\n1",
     .blanked = "       \n1",
     .parts = {.comments = 1}},
    {.name = "block comment",
     .text = "[/* a */1]",
     .blanked = "[       1]",
     .parts = {.comments = 1}},
    {.name = "block comment keeps line ends and blanks tabs",
     .text = "/*\r\n\t\"\n*/1",
     .blanked = "  \r\n  \n  1",
     .parts = {.comments = 1}},
    {.name = "block comment that has the other kind",
     .text = "/*//*/1",
     .blanked = "      1",
     .parts = {.comments = 1}},
    {.name = "smallest block comment",
     .text = "/**/1",
     .blanked = "    1",
     .parts = {.comments = 1}},
    {.name = "block comment with a star at the end",
     .text = "/***/1",
     .blanked = "     1",
     .parts = {.comments = 1}},
    {.name = "block comments do not nest",
     .text = "/*/**/*/1//",
     .blanked = "      */1//",
     .parts = {.comments = 1}},
    {.name = "comment does not join numbers",
     .text = "1/**/2",
     .blanked = "1    2",
     .parts = {.comments = 1}},
});

constexpr auto kIncomplete = std::to_array<Row>({
    {.name = "block comment without its end", .text = "[1] /* a ", .blanked = "[1] /* a "},
    {.name = "block comment that is cut in its end", .text = "[1] /* a *", .blanked = "[1] /* a *"},
    {.name = "the star of the beginning is not that of the end", .text = "/*/", .blanked = "/*/"},
    {.name = "single slash", .text = "/", .blanked = "/"},
    {.name = "nothing after a block comment without its end is touched",
     .text = "//a\n/*//b\n[1,]",
     .blanked = "   \n/*//b\n[1,]",
     .parts = {.comments = 1}},
    {.name = "nothing after a single slash is touched",
     .text = "/*a*/ / //b\n[1,]",
     .blanked = "      / //b\n[1,]",
     .parts = {.comments = 1}},
    {.name = "single slash between a comma and its bracket", .text = "[1,/]", .blanked = "[1,/]"},
});

constexpr auto kCommas = std::to_array<Row>({
    {.name = "comma after a number",
     .text = "[1,]",
     .blanked = "[1 ]",
     .parts = {.trailingCommas = 1}},
    {.name = "comma after a string",
     .text = "[\"a\",]",
     .blanked = "[\"a\" ]",
     .parts = {.trailingCommas = 1}},
    {.name = "comma after a literal",
     .text = "{\"a\":true,}",
     .blanked = "{\"a\":true }",
     .parts = {.trailingCommas = 1}},
    {.name = "commas after an array and an object",
     .text = "[[],],[{},]",
     .blanked = "[[] ],[{} ]",
     .parts = {.trailingCommas = 2}},
    {.name = "commas inside each other",
     .text = R"({"a":[{"b":1,},],})",
     .blanked = R"({"a":[{"b":1 } ] })",
     .parts = {.trailingCommas = 3}},
    {.name = "every blank before the comma and the bracket",
     .text = "[1 \t\n\r, \t\n\r]",
     .blanked = "[1 \t\n\r  \t\n\r]",
     .parts = {.trailingCommas = 1}},
    {.name = "comments before the comma and the bracket",
     .text = "[1/*,*/,/*]*/ //,\n]",
     .blanked = "[1               \n]",
     .parts = {.comments = 3, .trailingCommas = 1}},
    {.name = "comma between values", .text = "[1,2]", .blanked = "[1,2]"},
    {.name = "comma before a string", .text = "[1,\"]\"]", .blanked = "[1,\"]\"]"},
    {.name = "comma before an opening bracket", .text = "[1,[]]", .blanked = "[1,[]]"},
    {.name = "comma before a byte that is no blank of JSON", .text = "[1,\f]", .blanked = "[1,\f]"},
    {.name = "comma before the end", .text = "[1,", .blanked = "[1,"},
    {.name = "comma before blanks and the end", .text = "[1, \n", .blanked = "[1, \n"},
    {.name = "comma after a comma", .text = "[1,,]", .blanked = "[1,,]"},
    {.name = "comma after a bracket", .text = "[,]", .blanked = "[,]"},
    {.name = "comma after a brace", .text = "{,}", .blanked = "{,}"},
    {.name = "comma after a colon", .text = "{\"a\":,}", .blanked = "{\"a\":,}"},
    {.name = "comma at the beginning", .text = ",]", .blanked = ",]"},
    {.name = "comma at the beginning, after blanked parts",
     .text = "\xEF\xBB\xBF//\n,]",
     .blanked = "     \n,]",
     .parts = {.byteOrderMark = true, .comments = 1}},
    // No document, but the reader says so at the same place or later.
    {.name = "bracket of the other kind",
     .text = "[1,}",
     .blanked = "[1 }",
     .parts = {.trailingCommas = 1}},
    {.name = "bracket without a beginning",
     .text = "1,]",
     .blanked = "1 ]",
     .parts = {.trailingCommas = 1}},
    {.name = "key without a value",
     .text = "{\"a\",}",
     .blanked = "{\"a\" }",
     .parts = {.trailingCommas = 1}},
});

constexpr auto kStrings = std::to_array<Row>({
    {.name = "everything in a string",
     .text = R"(["//", "/* */", ",]", "\xEF\xBB\xBF"])",
     .blanked = R"(["//", "/* */", ",]", "\xEF\xBB\xBF"])"},
    {.name = "a key", .text = R"({"/**/": 1})", .blanked = R"({"/**/": 1})"},
    {.name = "escaped quote", .text = R"("\"//")", .blanked = R"("\"//")"},
    {.name = "escaped backslash before the end",
     .text = R"("\\"//")",
     .blanked = R"("\\"   )",
     .parts = {.comments = 1}},
    {.name = "escaped backslash before an escaped quote",
     .text = R"("\\\"//")",
     .blanked = R"("\\\"//")"},
    {.name = "backslash outside a string escapes nothing",
     .text = R"(\"//")",
     .blanked = R"(\"//")"},
    {.name = "string without its end, over lines",
     .text = "[\"a\n//b\n,]",
     .blanked = "[\"a\n//b\n,]"},
    {.name = "string that ends in a backslash", .text = "\"//\\", .blanked = "\"//\\"},
    {.name = "string without its end, after a comma", .text = "[1,\"]", .blanked = "[1,\"]"},
    {.name = "zero bytes, in and outside of strings",
     .text = "\"\0//\"\0//"sv,
     .blanked = "\"\0//\"\0  "sv,
     .parts = {.comments = 1}},
});

constexpr auto kTexts = std::to_array<Row>({
    {.name = "empty text", .text = "", .blanked = ""},
    {.name = "blanks", .text = " \t\n\r", .blanked = " \t\n\r"},
    {.name = "JSON",
     .text = R"({"a": [1, -2.5e3, {}], "b": [[], null]})",
     .blanked = R"({"a": [1, -2.5e3, {}], "b": [[], null]})"},
    {.name = "all at once",
     .text = "\xEF\xBB\xBF// a\n{\n  \"a\": [1, /* b\n */ 2,], // \"c\"\n}\n",
     .blanked = "       \n{\n  \"a\": [1,     \n    2 ]        \n}\n",
     .parts = {.byteOrderMark = true, .comments = 3, .trailingCommas = 2}},
});

template <typename Use>
void forEveryRow(Use use) {
  for (const Row& row : kByteOrderMarks) use(row);
  for (const Row& row : kComments) use(row);
  for (const Row& row : kIncomplete) use(row);
  for (const Row& row : kCommas) use(row);
  for (const Row& row : kStrings) use(row);
  for (const Row& row : kTexts) use(row);
}

TEST(BlankConfig, BlanksWhatIsNotJson) {
  forEveryRow([](const Row& row) {
    SCOPED_TRACE(row.name);
    std::string text(row.text);
    const BlankedParts parts = blankNonJson(text);
    EXPECT_EQ(text, row.blanked);
    EXPECT_EQ(parts.byteOrderMark, row.parts.byteOrderMark);
    EXPECT_EQ(parts.comments, row.parts.comments);
    EXPECT_EQ(parts.trailingCommas, row.parts.trailingCommas);
  });
}

// What holds for every text.
void checkBlanking(std::string_view original) {
  std::string text(original);
  blankNonJson(text);
  ASSERT_EQ(text.size(), original.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    EXPECT_TRUE(text[i] == original[i] || text[i] == ' ') << original << " at " << i;
  }
  const std::string once = text;
  const BlankedParts parts = blankNonJson(text);
  EXPECT_EQ(text, once) << original;
  EXPECT_FALSE(parts.byteOrderMark) << original;
  EXPECT_EQ(parts.comments + parts.trailingCommas, 0U) << original;
}

TEST(BlankConfig, OnlyBlanksReplaceBytesAndASecondTimeChangesNothing) {
  forEveryRow([](const Row& row) {
    checkBlanking(row.text);
    test::forEveryCut(row.text, checkBlanking);
  });
}

TEST(BlankConfig, TakesTimeInProportionToTheText) {
  // Each would take minutes if the rest of the text were searched again and again.
  constexpr std::size_t kCount = 1'000'000;
  for (const std::string_view repeated : {"/*", "/**", "//", "/", "\"", "\\\"", ",", "[1,", "]"}) {
    std::string text;
    text.reserve(kCount * repeated.size());
    for (std::size_t i = 0; i < kCount; ++i) text += repeated;
    const std::size_t size = text.size();
    blankNonJson(text);
    EXPECT_EQ(text.size(), size);
  }
}

}  // namespace
}  // namespace egress::snapshot
