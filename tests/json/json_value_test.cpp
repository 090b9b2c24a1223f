#include "egress/json/json_value.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "egress/json/json_reader.h"
#include "tests/support/exact_text.h"

namespace egress::test {
namespace {

using namespace std::string_view_literals;

static_assert(std::is_same_v<std::underlying_type_t<JsonKind>, std::int32_t>);
static_assert(!std::is_copy_constructible_v<JsonValue>);
static_assert(!std::is_copy_assignable_v<JsonValue>);
static_assert(std::is_nothrow_default_constructible_v<JsonValue>);
static_assert(std::is_nothrow_move_constructible_v<JsonValue>);
static_assert(std::is_nothrow_move_assignable_v<JsonValue>);
static_assert(noexcept(findMember(std::declval<const JsonValue&>(), std::string_view{})));

bool parses(std::string_view text) {
  JsonValue value;
  return parseJsonDocument(text, value);
}

// The document of an accepted text, which is also cut at every length: what stands behind a text in
// memory plays no part.
JsonValue documentOf(std::string_view text) {
  JsonValue document;
  EXPECT_TRUE(parseJsonDocument(ExactText(text).view(), document)) << text;
  forEveryCut(text, [text](std::string_view cut) {
    EXPECT_EQ(parses(cut), parses(text.substr(0, cut.size()))) << cut;
  });
  return document;
}

JsonValue integerValue(std::int64_t number) {
  JsonValue value;
  value.kind = JsonKind::Integer;
  value.intValue = number;
  return value;
}

void appendMember(JsonValue& object, std::string_view key, std::int64_t number) {
  object.kind = JsonKind::Object;
  object.memberKeys.emplace_back(key);
  object.memberValues.push_back(integerValue(number));
}

// A value in which every field differs from a fresh one's.
JsonValue fullValue(std::string_view text) {
  JsonValue value;
  appendMember(value, "key", 1);
  value.kind = JsonKind::Array;
  value.boolValue = true;
  value.intValue = -7;
  value.stringValue = text;
  value.items.push_back(integerValue(2));
  value.items.push_back(integerValue(3));
  return value;
}

void expectFullValue(const JsonValue& value, std::string_view text) {
  EXPECT_EQ(value.kind, JsonKind::Array);
  EXPECT_TRUE(value.boolValue);
  EXPECT_EQ(value.intValue, -7);
  EXPECT_EQ(value.stringValue, text);
  ASSERT_EQ(value.items.size(), 2U);
  EXPECT_EQ(value.items[0].intValue, 2);
  EXPECT_EQ(value.items[1].intValue, 3);
  ASSERT_EQ(value.memberKeys.size(), 1U);
  EXPECT_EQ(value.memberKeys[0], "key");
  ASSERT_EQ(value.memberValues.size(), 1U);
  EXPECT_EQ(value.memberValues[0].intValue, 1);
}

void expectMovedFrom(const JsonValue& source) {
  EXPECT_EQ(source.kind, JsonKind::Array);
  EXPECT_TRUE(source.boolValue);
  EXPECT_EQ(source.intValue, -7);
  EXPECT_EQ(source.stringValue, "");
  EXPECT_TRUE(source.items.empty());
  EXPECT_TRUE(source.memberKeys.empty());
  EXPECT_TRUE(source.memberValues.empty());
}

JsonValue takeFrom(JsonValue& source) {
  return std::move(source);
}

void assignFrom(JsonValue& source, JsonValue& target) {
  target = std::move(source);
}

// One text that a string can hold inside itself and one for which it must allocate.
constexpr auto kShortAndLongText =
    std::to_array<std::string_view>({"short", "a text that is too long to be held in place"});

TEST(JsonValue, KindsAreNumberedInTheirOrder) {
  struct Row {
    JsonKind kind;
    std::int32_t number;
  };
  constexpr auto rows = std::to_array<Row>({
      {.kind = JsonKind::Null, .number = 0},
      {.kind = JsonKind::Bool, .number = 1},
      {.kind = JsonKind::Integer, .number = 2},
      {.kind = JsonKind::Number, .number = 3},
      {.kind = JsonKind::String, .number = 4},
      {.kind = JsonKind::Array, .number = 5},
      {.kind = JsonKind::Object, .number = 6},
  });
  for (const Row& row : rows) EXPECT_EQ(static_cast<std::int32_t>(row.kind), row.number);
}

TEST(JsonValue, AFreshValueIsNullAndEmpty) {
  const JsonValue value;
  EXPECT_EQ(value.kind, JsonKind::Null);
  EXPECT_FALSE(value.boolValue);
  EXPECT_EQ(value.intValue, 0);
  EXPECT_EQ(value.stringValue, "");
  EXPECT_TRUE(value.items.empty());
  EXPECT_TRUE(value.memberKeys.empty());
  EXPECT_TRUE(value.memberValues.empty());
}

TEST(JsonValue, MoveConstructionTransfersEverythingAndEmptiesTheSource) {
  for (const std::string_view text : kShortAndLongText) {
    SCOPED_TRACE(text);
    JsonValue source = fullValue(text);
    const JsonValue target = takeFrom(source);
    expectFullValue(target, text);
    expectMovedFrom(source);
  }
}

TEST(JsonValue, MoveAssignmentReplacesTheTargetAndEmptiesTheSource) {
  for (const std::string_view text : kShortAndLongText) {
    SCOPED_TRACE(text);
    JsonValue source = fullValue(text);
    JsonValue target = fullValue("replaced");
    appendMember(target, "replaced", 4);
    assignFrom(source, target);
    expectFullValue(target, text);
    expectMovedFrom(source);
  }
}

TEST(JsonValue, MovingKeepsTheSubtreeWhereItIs) {
  JsonValue source = fullValue("text");
  const JsonValue* const item = source.items.data();
  const JsonValue* const member = source.memberValues.data();
  const JsonValue target = takeFrom(source);
  EXPECT_EQ(target.items.data(), item);
  EXPECT_EQ(target.memberValues.data(), member);
}

TEST(FindMember, OfARepeatedKeyTheFirstMemberIsFoundAndAllAreKept) {
  const JsonValue root = documentOf(R"({"a":1,"a":2})");
  const JsonValue* const found = findMember(root, "a");
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->kind, JsonKind::Integer);
  EXPECT_EQ(found->intValue, 1);

  ASSERT_EQ(root.memberKeys.size(), 2U);
  EXPECT_EQ(root.memberKeys[0], "a");
  EXPECT_EQ(root.memberKeys[1], "a");
  ASSERT_EQ(root.memberValues.size(), 2U);
  EXPECT_EQ(root.memberValues[0].intValue, 1);
  EXPECT_EQ(root.memberValues[1].intValue, 2);
}

TEST(FindMember, AnEmptyObjectHasNoMember) {
  const JsonValue root = documentOf("{}");
  EXPECT_EQ(root.kind, JsonKind::Object);
  EXPECT_EQ(findMember(root, "a"), nullptr);
  EXPECT_EQ(findMember(root, ""), nullptr);
}

TEST(FindMember, AKeyThatDiffersOnlyInCaseIsAnother) {
  EXPECT_EQ(findMember(documentOf(R"({"Route":1})"), "route"), nullptr);
  EXPECT_EQ(findMember(documentOf(R"({"route":1})"), "Route"), nullptr);

  const JsonValue both = documentOf(R"({"Route":1,"route":2})");
  ASSERT_NE(findMember(both, "route"), nullptr);
  EXPECT_EQ(findMember(both, "route")->intValue, 2);
}

TEST(FindMember, ReturnsTheStoredValueOfEveryPlace) {
  JsonValue object;
  appendMember(object, "first", 1);
  appendMember(object, "middle", 2);
  appendMember(object, "last", 3);
  for (std::size_t i = 0; i < object.memberKeys.size(); ++i) {
    EXPECT_EQ(findMember(object, object.memberKeys[i]), &object.memberValues[i]) << i;
  }
  EXPECT_EQ(findMember(object, "other"), nullptr);
}

TEST(FindMember, KeysAreComparedByLengthAndByBytes) {
  struct Row {
    std::string_view stored;
    std::string_view asked;
    bool same;
  };
  constexpr auto rows = std::to_array<Row>({
      {.stored = "route", .asked = "route", .same = true},
      {.stored = "route", .asked = "rout", .same = false},
      {.stored = "route", .asked = "routes", .same = false},
      {.stored = "route", .asked = "routf", .same = false},
      {.stored = "route", .asked = "soute", .same = false},
      {.stored = "route", .asked = "", .same = false},
      {.stored = "route", .asked = " route", .same = false},
      {.stored = "route", .asked = "route ", .same = false},
      {.stored = "", .asked = "", .same = true},
      {.stored = "", .asked = "\0"sv, .same = false},
      {.stored = "a\0b"sv, .asked = "a\0b"sv, .same = true},
      {.stored = "a\0b"sv, .asked = "a\0c"sv, .same = false},
      {.stored = "a\0b"sv, .asked = "a", .same = false},
      {.stored = "a", .asked = "a\0"sv, .same = false},
      {.stored = "\xFF\xFE", .asked = "\xFF\xFE", .same = true},
      {.stored = "\xC3\xA9", .asked = "\xC3\xA9", .same = true},
      {.stored = "\xC3\xA9", .asked = "e\xCC\x81", .same = false},  // one letter, composed or not
      {.stored = "\xC3\xA9", .asked = "\xC3\x89", .same = false},   // one letter in the other case
  });
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.stored) + " " + testing::PrintToString(row.asked));
    JsonValue object;
    appendMember(object, row.stored, 1);
    EXPECT_EQ(findMember(object, ExactText(row.asked).view()) != nullptr, row.same);
  }
}

TEST(FindMember, MembersOfMembersAreNotSearched) {
  const JsonValue root = documentOf(R"({"outer":{"inner":1},"list":[{"inner":2}]})");
  EXPECT_EQ(findMember(root, "inner"), nullptr);
  const JsonValue* const outer = findMember(root, "outer");
  ASSERT_NE(outer, nullptr);
  ASSERT_NE(findMember(*outer, "inner"), nullptr);
  EXPECT_EQ(findMember(*outer, "inner")->intValue, 1);
}

TEST(FindMember, AValueThatIsNoObjectHasNoMember) {
  constexpr auto texts =
      std::to_array<std::string_view>({"null", "true", "1", "1.5", R"("a")", R"(["a"])"});
  for (const std::string_view text : texts) {
    SCOPED_TRACE(text);
    EXPECT_EQ(findMember(documentOf(text), "a"), nullptr);
    EXPECT_EQ(findMember(documentOf(text), ""), nullptr);
  }
  JsonValue list;
  appendMember(list, "a", 1);
  list.kind = JsonKind::Array;  // what it holds as an object then means nothing
  EXPECT_EQ(findMember(list, "a"), nullptr);
}

TEST(JsonValue, SixtyFourBitIntegersAreKeptExactlyAndOtherNumbersNotAtAll) {
  struct Row {
    std::string_view text;
    JsonKind kind = JsonKind::Number;
    std::int64_t intValue = 0;
  };
  constexpr auto rows = std::to_array<Row>({
      {.text = "1.5"},
      {.text = "1e3"},
      {.text = "443.0"},
      {.text = "9223372036854775808"},
      {.text = "-9223372036854775808",
       .kind = JsonKind::Integer,
       .intValue = std::numeric_limits<std::int64_t>::min()},
      {.text = "9223372036854775807",
       .kind = JsonKind::Integer,
       .intValue = std::numeric_limits<std::int64_t>::max()},
      {.text = "443", .kind = JsonKind::Integer, .intValue = 443},
  });
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const JsonValue value = documentOf(row.text);
    EXPECT_EQ(value.kind, row.kind);
    EXPECT_EQ(value.intValue, row.intValue);
    EXPECT_EQ(value.stringValue, "");
  }
}

TEST(JsonValue, AStringIsNeverReadAsAnythingElse) {
  struct Row {
    std::string_view text;
    std::string_view bytes;
  };
  constexpr auto rows = std::to_array<Row>({
      {.text = R"("443")", .bytes = "443"},
      {.text = R"("true")", .bytes = "true"},
      {.text = R"("null")", .bytes = "null"},
      {.text = R"("[]")", .bytes = "[]"},
  });
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const JsonValue value = documentOf(row.text);
    EXPECT_EQ(value.kind, JsonKind::String);
    EXPECT_EQ(value.stringValue, row.bytes);
    EXPECT_FALSE(value.boolValue);
    EXPECT_EQ(value.intValue, 0);
    EXPECT_TRUE(value.items.empty());
  }
}

TEST(JsonValue, ALiteralIsNeverReadAsAString) {
  struct Row {
    std::string_view text;
    JsonKind kind = JsonKind::Bool;
    bool boolValue = false;
  };
  constexpr auto rows = std::to_array<Row>({
      {.text = "true", .boolValue = true},
      {.text = "false"},
      {.text = "null", .kind = JsonKind::Null},
  });
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const JsonValue value = documentOf(row.text);
    EXPECT_EQ(value.kind, row.kind);
    EXPECT_EQ(value.boolValue, row.boolValue);
    EXPECT_EQ(value.intValue, 0);
    EXPECT_EQ(value.stringValue, "");
  }
}

}  // namespace
}  // namespace egress::test
