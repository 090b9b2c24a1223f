#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "egress/json/json_reader.h"
#include "tests/support/joined.h"

// How much room the reader makes in lists before it knows what comes. Nothing that a text holds may
// make it take much more memory than the text's values need.
namespace egress::test {
namespace {

std::string objectText(std::size_t members) {
  std::string text = "{";
  for (std::size_t i = 0; i < members; ++i) text += i == 0 ? R"("a":1)" : R"(,"a":1)";
  return text + "}";
}

// The objects of an array that has one with each of these numbers of members.
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

TEST(JsonRoom, ObjectsThatAreAlikeSoonHaveRoomForOneMoreAtMost) {
  for (const std::size_t members : {3U, 11U, 31U}) {
    const std::vector<JsonValue> objects = readObjects(std::vector<std::size_t>(20, members));
    EXPECT_LE(objects.back().memberKeys.capacity(), members + 1);
    EXPECT_LE(objects.back().memberValues.capacity(), members + 1);
  }
}

TEST(JsonRoom, ManyTinyObjectsTakeLittle) {
  const std::vector<JsonValue> objects = readObjects(std::vector<std::size_t>(1000, 1));
  std::size_t room = 0;
  for (const JsonValue& object : objects) room += object.memberValues.capacity();
  EXPECT_LE(room, 2 * objects.size() + 10);
}

TEST(JsonRoom, AHugeObjectMakesLittleRoomInTheNext) {
  const std::vector<JsonValue> objects = readObjects({1000, 1, 1000, 1});
  for (const std::size_t place : {1U, 3U}) {
    EXPECT_GT(objects[place].memberValues.capacity(), 8U);
    EXPECT_LE(objects[place].memberValues.capacity(), 32U);
  }
}

TEST(JsonRoom, EachLevelHasItsOwn) {
  JsonValue value;
  ASSERT_TRUE(parseJsonDocument(joined({R"([{"a":)", objectText(30), R"(},{"a":)", objectText(30),
                                        R"(},{"a":)", objectText(30), "}]"}),
                                value));
  EXPECT_LT(value.items.back().memberValues.capacity(), 8U);
  EXPECT_GE(value.items.back().memberValues.front().memberValues.capacity(), 30U);
}

TEST(JsonRoom, EmptyContainersTakeNone) {
  JsonValue value;
  ASSERT_TRUE(parseJsonDocument("[{},[],{ }, [ ]]", value));
  for (const JsonValue& item : value.items) {
    EXPECT_EQ(item.items.capacity() + item.memberKeys.capacity() + item.memberValues.capacity(),
              0U);
  }
}

}  // namespace
}  // namespace egress::test
