#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "egress/json/json_reader.h"
#include "tests/support/joined.h"

// The capacity that the reader reserves before it knows the size of an object or array. No text may
// make it allocate much more than its values need.
namespace egress::test {
namespace {

std::string objectText(std::size_t members) {
  std::string text = "{";
  for (std::size_t i = 0; i < members; ++i) text += i == 0 ? R"("a":1)" : R"(,"a":1)";
  return text + "}";
}

// Reads an array of objects with these numbers of members.
std::vector<JsonValue> readObjects(const std::vector<std::size_t>& memberCounts) {
  std::string text;
  for (const std::size_t members : memberCounts) {
    text += joined({text.empty() ? "[" : ",", objectText(members)});
  }
  JsonValue value;
  EXPECT_TRUE(parseJsonDocument(text + "]", value));
  EXPECT_EQ(value.items.size(), memberCounts.size());
  return std::move(value.items);
}

TEST(JsonCapacity, ReservesAtMostOneMoreThanSimilarObjectsNeed) {
  for (const std::size_t members : {3U, 11U, 31U}) {
    const std::vector<JsonValue> objects = readObjects(std::vector<std::size_t>(20, members));
    EXPECT_LE(objects.back().memberKeys.capacity(), members + 1);
    EXPECT_LE(objects.back().memberValues.capacity(), members + 1);
  }
}

TEST(JsonCapacity, ReservesLittleForManySmallObjects) {
  const std::vector<JsonValue> objects = readObjects(std::vector<std::size_t>(1000, 1));
  std::size_t capacity = 0;
  for (const JsonValue& object : objects) capacity += object.memberValues.capacity();
  EXPECT_LE(capacity, 2 * objects.size() + 10);
}

TEST(JsonCapacity, ReservesAtMost32AfterAHugeObject) {
  const std::vector<JsonValue> objects = readObjects({1000, 1, 1000, 1});
  for (const std::size_t place : {1U, 3U}) {
    EXPECT_GT(objects[place].memberValues.capacity(), 8U);
    EXPECT_LE(objects[place].memberValues.capacity(), 32U);
  }
}

TEST(JsonCapacity, AveragesEachDepthSeparately) {
  JsonValue value;
  ASSERT_TRUE(parseJsonDocument(joined({R"([{"a":)", objectText(30), R"(},{"a":)", objectText(30),
                                        R"(},{"a":)", objectText(30), "}]"}),
                                value));
  EXPECT_LT(value.items.back().memberValues.capacity(), 8U);
  EXPECT_GE(value.items.back().memberValues.front().memberValues.capacity(), 30U);
}

TEST(JsonCapacity, ReservesNothingForEmptyContainers) {
  JsonValue value;
  ASSERT_TRUE(parseJsonDocument("[{},[],{ }, [ ]]", value));
  for (const JsonValue& item : value.items) {
    EXPECT_EQ(item.items.capacity() + item.memberKeys.capacity() + item.memberValues.capacity(),
              0U);
  }
}

}  // namespace
}  // namespace egress::test
