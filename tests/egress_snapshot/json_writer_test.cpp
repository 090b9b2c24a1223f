#include "egress_snapshot/json_writer.h"

#include <array>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace egress::snapshot {
namespace {

using OrderedJson = nlohmann::ordered_json;

void writeTree(JsonWriter& writer, const OrderedJson& value) {
  if (value.is_object()) {
    writer.open('{');
    for (const auto& member : value.items()) {
      writer.member(member.key());
      writeTree(writer, member.value());
    }
    return writer.close('}');
  }
  if (!value.is_array()) return writer.scalar(Json(value));
  writer.open('[');
  for (const OrderedJson& item : value) {
    writer.element();
    writeTree(writer, item);
  }
  writer.close(']');
}

std::vector<std::string> partsOf(const OrderedJson& value) {
  std::vector<std::string> parts;
  JsonWriter writer([&parts](std::string_view part) { parts.emplace_back(part); });
  writeTree(writer, value);
  writer.finish();
  return parts;
}

std::string joinedPartsOf(const OrderedJson& value) {
  std::string text;
  for (const std::string& part : partsOf(value)) text += part;
  return text;
}

TEST(JsonWriter, IndentsByTwoBlanksAndKeepsTheOrderOfMembers) {
  OrderedJson object;
  object["b"] = {1, nullptr, {{"z", true}}};
  object["a"] = "\xC3\xA9\n";
  object["c"] = OrderedJson::array();
  EXPECT_EQ(joinedPartsOf(object), R"({
  "b": [
    1,
    null,
    {
      "z": true
    }
  ],
  "a": ")"
                                   "\xC3\xA9\\n"
                                   R"(",
  "c": []
})");
}

TEST(JsonWriter, WritesWhatNlohmannJsonWrites) {
  for (const std::string_view text : std::to_array<std::string_view>({
           "null",
           "true",
           "-5",
           "18446744073709551615",
           R"("")",
           "[]",
           "{}",
           "[[]]",
           "[{}]",
           R"({"": {}})",
           R"([[], [], [[1], []], 2])",
           R"([{"a": {}}, {"a": [], "b": {"c": [3]}}, {}])",
           R"({"\"\\\u0000\u001f": "\"\\\/\b\f\n\r\t\u0000\u007f\u2028\ud83d\ude00"})",
           R"({"z": [false, null], "a": [[[[{"deep": [{}]}]]]], "last": 1})",
       })) {
    const OrderedJson value = OrderedJson::parse(text);
    EXPECT_EQ(joinedPartsOf(value), value.dump(2));
  }
}

TEST(JsonWriter, WritesEachAsciiCharacterOfAKeyAsNlohmannJsonDoes) {
  for (int byte = 0; byte < 0x80; ++byte) {
    const OrderedJson value = {{std::string("a").append(1, static_cast<char>(byte)), 1}};
    EXPECT_EQ(joinedPartsOf(value), value.dump(2)) << byte;
  }
}

TEST(JsonWriter, WritesAReplacementCharacterForBytesThatAreNotUtf8) {
  EXPECT_EQ(joinedPartsOf("a\xFFz"), "\"a\xEF\xBF\xBDz\"");
  EXPECT_EQ(joinedPartsOf({{"a\xFFz", 1}}), "{\n  \"a\xEF\xBF\xBDz\": 1\n}");
}

TEST(JsonWriter, APartIsAsLongAsAllowed) {
  // With two quotes, the string is as long as a part.
  const std::string text(JsonWriter::kMaxPart - 2, 'x');
  EXPECT_EQ(partsOf(text), std::vector{'"' + text + '"'});
  const OrderedJson numbers(std::vector<int>(10'000, 1));
  const std::vector<std::string> parts = partsOf(numbers);
  // Of the opening bracket, "\n  1" for each number, commas, a line end and the closing bracket.
  const std::size_t size = 1 + 10'000 * 4 + 9'999 + 2;
  EXPECT_EQ(parts.size(), size / JsonWriter::kMaxPart + 1);
  for (const std::string& part : parts) EXPECT_LE(part.size(), JsonWriter::kMaxPart);
  EXPECT_EQ(joinedPartsOf(numbers), numbers.dump(2));
}

TEST(JsonWriter, ALongScalarOrKeyIsAPartOfItsOwn) {
  const std::string text(JsonWriter::kMaxPart - 1, 'x');
  const std::string quoted = '"' + text + '"';
  EXPECT_EQ(partsOf(OrderedJson::array({text, text})),
            (std::vector<std::string>{"[\n  ", quoted, ",\n  ", quoted, "\n]"}));
  EXPECT_EQ(partsOf({{text, text}}),
            (std::vector<std::string>{"{\n  ", quoted, ": ", quoted, "\n}"}));
}

}  // namespace
}  // namespace egress::snapshot
