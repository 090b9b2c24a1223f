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

JsonValue documentOf(std::string_view text) {
  JsonValue document;
  EXPECT_TRUE(parseJsonDocument(text, document)) << text;
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

// A value with every field set.
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

// One text within the small-string buffer of std::string, one beyond it.
constexpr auto kShortAndLongText = std::to_array<std::string_view>(
    {"short", "a text that is too long for the small-string buffer"});

TEST(JsonValue, KindsHaveFixedNumbers) {
  constexpr auto kinds =
      std::to_array<JsonKind>({JsonKind::Null, JsonKind::Bool, JsonKind::Integer, JsonKind::Number,
                               JsonKind::String, JsonKind::Array, JsonKind::Object});
  for (std::size_t i = 0; i < kinds.size(); ++i) EXPECT_EQ(static_cast<std::size_t>(kinds[i]), i);
}

TEST(JsonValue, IsNullAndEmptyByDefault) {
  const JsonValue value;
  EXPECT_EQ(value.kind, JsonKind::Null);
  EXPECT_FALSE(value.boolValue);
  EXPECT_EQ(value.intValue, 0);
  EXPECT_EQ(value.stringValue, "");
  EXPECT_TRUE(value.items.empty());
  EXPECT_TRUE(value.memberKeys.empty());
  EXPECT_TRUE(value.memberValues.empty());
}

TEST(JsonValue, MoveConstructionEmptiesTheSource) {
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

TEST(JsonValue, MovingKeepsTheAddressesOfTheChildren) {
  JsonValue source = fullValue("text");
  const JsonValue* const item = source.items.data();
  const JsonValue* const member = source.memberValues.data();
  const JsonValue target = takeFrom(source);
  EXPECT_EQ(target.items.data(), item);
  EXPECT_EQ(target.memberValues.data(), member);
}

TEST(FindMember, ReturnsTheAddressOfTheFirstMemberWithTheKey) {
  JsonValue object;
  appendMember(object, "first", 1);
  appendMember(object, "middle", 2);
  appendMember(object, "last", 3);
  for (std::size_t i = 0; i < object.memberKeys.size(); ++i) {
    EXPECT_EQ(findMember(object, object.memberKeys[i]), &object.memberValues[i]) << i;
  }
  appendMember(object, "first", 4);
  EXPECT_EQ(findMember(object, "first"), object.memberValues.data());
  EXPECT_EQ(findMember(object, "other"), nullptr);
}

TEST(FindMember, ComparesLengthAndBytes) {
  struct Row {
    std::string_view stored;
    std::string_view asked;
    bool same;
  };
  constexpr auto rows = std::to_array<Row>({
      {.stored = "route", .asked = "route", .same = true},
      {.stored = "route", .asked = "rout", .same = false},
      {.stored = "route", .asked = "routes", .same = false},
      {.stored = "route", .asked = "Route", .same = false},
      {.stored = "Route", .asked = "route", .same = false},
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
      {.stored = "\xC3\xA9",
       .asked = "e\xCC\x81",
       .same = false},  // the same letter, composed and decomposed
      {.stored = "\xC3\xA9", .asked = "\xC3\x89", .same = false},  // the same letter in upper case
  });
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.stored) + " " + testing::PrintToString(row.asked));
    JsonValue object;
    appendMember(object, row.stored, 1);
    EXPECT_EQ(findMember(object, ExactText(row.asked).view()) != nullptr, row.same);
  }
}

TEST(FindMember, DoesNotSearchNestedObjects) {
  const JsonValue root = documentOf(R"({"outer":{"inner":1},"list":[{"inner":2}]})");
  EXPECT_EQ(findMember(root, "inner"), nullptr);
  const JsonValue* const outer = findMember(root, "outer");
  ASSERT_NE(outer, nullptr);
  ASSERT_NE(findMember(*outer, "inner"), nullptr);
  EXPECT_EQ(findMember(*outer, "inner")->intValue, 1);
}

TEST(FindMember, FindsNothingInEmptyObjectsAndOtherKinds) {
  constexpr auto texts =
      std::to_array<std::string_view>({"null", "true", "1", "1.5", R"("a")", R"(["a"])", "{}"});
  for (const std::string_view text : texts) {
    SCOPED_TRACE(text);
    EXPECT_EQ(findMember(documentOf(text), "a"), nullptr);
    EXPECT_EQ(findMember(documentOf(text), ""), nullptr);
  }
  JsonValue list;
  appendMember(list, "a", 1);
  list.kind = JsonKind::Array;  // an array has no members, whatever its member lists hold
  EXPECT_EQ(findMember(list, "a"), nullptr);
}

}  // namespace
}  // namespace egress::test
