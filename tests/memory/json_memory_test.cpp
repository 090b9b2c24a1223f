// Allocations and out-of-memory behaviour of the JSON functions.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "egress/json/decimal_integer.h"
#include "egress/json/json_reader.h"
#include "egress/json/json_value.h"
#include "tests/memory/fail_each_allocation.h"

namespace egress::test {
namespace {

constexpr std::string_view kLongText = "a text that is too long for the small-string buffer";

// Every kind of value, in several arrays and objects that grow beyond one element.
constexpr std::string_view kDocument =
    R"({"a key that is too long for the small-string buffer":[1,-2.5e3,true,false,null,[],{}],)"
    R"("another key too long for the small-string buffer":"a value \u00E9\uD83D\uDE00 as long",)"
    R"("objects":[{"a":[[["deep down in the innermost array of them"]]]},{"b":1,"c":2,"d":3}],)"
    R"("one":"more that needs an allocation of its own","and":["another","one","and","one"]})";

bool sameValue(const JsonValue& a, const JsonValue& b) {
  const auto sameValues = [](const std::vector<JsonValue>& x, const std::vector<JsonValue>& y) {
    return std::equal(x.begin(), x.end(), y.begin(), y.end(), sameValue);
  };
  return a.kind == b.kind && a.boolValue == b.boolValue && a.intValue == b.intValue &&
         a.stringValue == b.stringValue && a.memberKeys == b.memberKeys &&
         sameValues(a.items, b.items) && sameValues(a.memberValues, b.memberValues);
}

// A value with every field set.
JsonValue fullValue() {
  JsonValue value;
  value.kind = JsonKind::Object;
  value.boolValue = true;
  value.intValue = -7;
  value.stringValue = kLongText;
  value.items.emplace_back().stringValue = kLongText;
  value.memberKeys.emplace_back(kLongText);
  value.memberValues.emplace_back().intValue = 8;
  return value;
}

TEST(JsonMemory, AFailedParseDoesNotChangeTheValue) {
  JsonValue value = fullValue();
  const JsonValue before = fullValue();
  bool accepted = false;
  const std::size_t failures =
      failEachAllocation([&] { accepted = parseJsonDocument(kDocument, value); },
                         [&] { EXPECT_TRUE(sameValue(value, before)); });
  EXPECT_GT(failures, 15U);
  EXPECT_TRUE(accepted);
  EXPECT_EQ(value.memberKeys.size(), 5U);
}

TEST(JsonMemory, AFailureBeforeASyntaxErrorThrows) {
  const std::string text = std::string(kDocument) + '!';
  JsonValue value = fullValue();
  const JsonValue before = fullValue();
  bool accepted = true;
  const auto check = [&] { EXPECT_TRUE(sameValue(value, before)); };
  const std::size_t failures =
      failEachAllocation([&] { accepted = parseJsonDocument(text, value); }, check);
  EXPECT_GT(failures, 15U);
  EXPECT_FALSE(accepted);
  check();
}

TEST(JsonMemory, FindingAFaultThrowsOnEveryFailure) {
  const std::string text = std::string(kDocument) + '!';
  std::optional<JsonFault> fault;
  const std::size_t failures =
      failEachAllocation([&] { fault = findJsonFault(text); }, [&] { EXPECT_FALSE(fault); });
  EXPECT_GT(failures, 15U);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->offset, kDocument.size());
}

TEST(JsonMemory, FindingAFaultKeepsNoElement) {
  for (const std::string_view row : {"0,", "[],", "{},", "true,", "-1.5,"}) {
    for (const std::string_view start : {"[", R"({"a":[{},[)", R"({"a":1,"b":[[],)"}) {
      std::string text(start);
      text.append(row);
      const std::size_t one = allocationsOf([&] { EXPECT_TRUE(findJsonFault(text)); });
      for (int i = 0; i < 1000; ++i) text.append(row);
      EXPECT_EQ(allocationsOf([&] { EXPECT_TRUE(findJsonFault(text)); }), one) << row;
    }
  }
  std::string text = "{";
  const std::size_t none = allocationsOf([&] { EXPECT_TRUE(findJsonFault(text)); });
  for (int i = 0; i < 1000; ++i) text += R"("a":0,)";
  EXPECT_EQ(allocationsOf([&] { EXPECT_TRUE(findJsonFault(text)); }), none);
}

TEST(JsonMemory, FindingAMemberDoesNotAllocate) {
  const JsonValue value = fullValue();
  const JsonValue* found = nullptr;
  EXPECT_EQ(allocationsOf([&] { found = findMember(value, kLongText); }), 0U);
  EXPECT_EQ(found, value.memberValues.data());
}

TEST(JsonMemory, MovingDoesNotAllocate) {
  JsonValue source = fullValue();
  JsonValue target = fullValue();
  EXPECT_EQ(allocationsOf([&] {
              JsonValue between = std::move(source);
              target = std::move(between);
            }),
            0U);
  EXPECT_TRUE(sameValue(target, fullValue()));
}

TEST(JsonMemory, ParsingAnIntegerDoesNotAllocate) {
  const std::string text(1000, '0');
  std::optional<std::int64_t> number;
  EXPECT_EQ(allocationsOf([&] { number = parseDecimalInteger(text); }), 0U);
  EXPECT_EQ(number, 0);
}

}  // namespace
}  // namespace egress::test
