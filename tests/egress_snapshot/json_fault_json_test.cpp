#include "egress_snapshot/json_fault_json.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace egress::snapshot {
namespace {

struct PositionRow {
  std::string_view text;
  std::size_t offset = 0;
  std::size_t line = 0;
  std::size_t column = 0;
};

TEST(JsonFaultJson, LinesEndWithLineFeedsAndColumnsCountBytes) {
  const std::vector<PositionRow> rows = {
      {.text = "", .offset = 0, .line = 1, .column = 1},
      {.text = "a", .offset = 0, .line = 1, .column = 1},
      {.text = "a", .offset = 1, .line = 1, .column = 2},
      {.text = "a\nb", .offset = 1, .line = 1, .column = 2},  // the line feed ends its line
      {.text = "a\nb", .offset = 2, .line = 2, .column = 1},
      {.text = "a\r\nb", .offset = 3, .line = 2, .column = 1},
      {.text = "a\rb", .offset = 2, .line = 1, .column = 3},
      {.text = "\n\n\n", .offset = 3, .line = 4, .column = 1},
      {.text = "\xC3\xA9!", .offset = 2, .line = 1, .column = 3},
      {.text = "a\nbc\nd", .offset = 4, .line = 2, .column = 3},
  };
  for (const PositionRow& row : rows) {
    const TextPosition found = positionOf(row.text, row.offset);
    EXPECT_EQ(found.line, row.line) << row.text;
    EXPECT_EQ(found.column, row.column) << row.text;
  }
}

TEST(JsonFaultJson, AFaultIsAnObject) {
  EXPECT_EQ(jsonFaultToJson("{\n  \"a\": 1\n  \"b\": 2\n}"), R"({
  "kind": "NO_COMMA",
  "offset": 13,
  "line": 3,
  "column": 3,
  "message": "a comma or the closing bracket is missing"
})");
  EXPECT_EQ(jsonFaultToJson(""), R"({
  "kind": "END_OF_TEXT",
  "offset": 0,
  "line": 1,
  "column": 1,
  "message": "the text is cut off"
})");
}

TEST(JsonFaultJson, ATextWithoutFaultGivesNull) {
  EXPECT_EQ(jsonFaultToJson("{}"), "null");
  EXPECT_EQ(jsonFaultToJson(" [1, \"\xFF\"]\n"), "null");
}

TEST(JsonFaultJson, AConfigurationMayHaveCommentsAndTrailingCommas) {
  EXPECT_EQ(configFaultToJson("\xEF\xBB\xBF{ // a comment\n\"a\": [1,],}"), "null");
  EXPECT_EQ(configFaultToJson("{ /* a\ncomment */ 1}"), R"({
  "kind": "NO_KEY",
  "offset": 18,
  "line": 2,
  "column": 12,
  "message": "a key in double quotes is missing"
})");
  EXPECT_EQ(configFaultToJson("// unclosed: /*\n[/*"), R"({
  "kind": "NO_VALUE",
  "offset": 17,
  "line": 2,
  "column": 2,
  "message": "a value is missing"
})");
}

TEST(JsonFaultJson, EveryKindHasItsPhrase) {
  std::set<std::string> phrases;
  constexpr auto kKinds = static_cast<std::uint32_t>(JsonFaultKind::BYTES_AFTER_ROOT) + 1;
  for (std::uint32_t kind = 0; kind < kKinds; ++kind) {
    phrases.emplace(phraseOf(static_cast<JsonFaultKind>(kind)));
  }
  EXPECT_EQ(phrases.size(), kKinds);
  EXPECT_STREQ(phraseOf(static_cast<JsonFaultKind>(kKinds)),
               phraseOf(JsonFaultKind::BYTES_AFTER_ROOT));
}

}  // namespace
}  // namespace egress::snapshot
