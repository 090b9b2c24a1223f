// Compares docs/snapshot.schema.json with what snapshotToJson writes and snapshotFromJson accepts.

#include <functional>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress/config/selector_answer.h"
#include "egress/core/status_words.h"
#include "egress_snapshot/base64.h"
#include "egress_snapshot/snapshot_json.h"
#include "tests/egress_snapshot/full_snapshot.h"
#include "tests/support/read_file.h"

namespace egress::snapshot {
namespace {

using Json = nlohmann::ordered_json;
using Pointer = Json::json_pointer;

Json readSchema() {
  return Json::parse(test::readFile(EGRESS_SOURCE_DIR "/docs/snapshot.schema.json"));
}

// A schema with its reference resolved. Its own description replaces that of the reference.
Json resolved(const Json& root, const Json& schema) {
  if (!schema.contains("$ref")) return schema;
  const std::string reference = schema["$ref"];
  Json target = resolved(root, root.at(Pointer(reference.substr(1))));
  if (schema.contains("description")) target["description"] = schema["description"];
  return target;
}

Json keysOf(const Json& object) {
  Json keys = Json::array();
  for (const auto& [key, value] : object.items()) keys.push_back(key);
  return keys;
}

Json fullJson() {
  return Json::parse(snapshotToJson(fullSnapshot()));
}

// Calls visit(place, schema, value) for the full record and everything in it.
using Visit = std::function<void(const Pointer&, const Json&, const Json&)>;

void walk(const Json& root, const Pointer& place, const Json& schema, const Json& value,
          const Visit& visit) {
  visit(place, schema, value);
  if (schema.contains("properties")) {
    for (const auto& [key, inner] : schema["properties"].items()) {
      if (value.contains(key)) {
        walk(root, place / key, resolved(root, inner), value[key], visit);
      }
    }
  }
  if (!schema.contains("items")) return;
  for (std::size_t i = 0; i < value.size(); ++i) {
    walk(root, place / i, resolved(root, schema["items"]), value[i], visit);
  }
}

void walkFullRecord(const Visit& visit) {
  const Json root = readSchema();
  walk(root, Pointer(), root, fullJson(), visit);
}

bool isText(const Json& schema) {
  return schema.contains("anyOf");
}

// Whether the full record is read with another value in one place.
bool accepts(const Pointer& place, const Json& value) {
  Json object = fullJson();
  object[place] = value;
  return std::holds_alternative<HostSnapshot>(snapshotFromJson(object.dump()));
}

// The members of an object in the full record. The second rows lack the facts that may be unknown.
Json membersOf(const Json& schema, const std::string& place) {
  Json members = schema["properties"];
  if (place == "/adapters/rows/1") members.erase("kind");
  if (place == "/sockets/rows/1") {
    for (const char* const fact : {"boundInterfaceIndex", "mark", "user", "routeInterfaceIndex"}) {
      members.erase(fact);
    }
  }
  return keysOf(members);
}

TEST(SnapshotSchema, HasTheMembersThatAreWrittenInTheirOrder) {
  std::size_t records = 0;
  walkFullRecord([&records](const Pointer& place, const Json& schema, const Json& value) {
    SCOPED_TRACE(place.to_string());
    EXPECT_FALSE(schema.empty());
    if (!value.is_object() || isText(schema)) return;
    ++records;
    EXPECT_EQ(schema["type"], "object");
    EXPECT_EQ(keysOf(value), membersOf(schema, place.to_string()));
  });
  // The root, origin, config, 2 outbounds, blanked, 4 answers, 2 queries, 2 names, 2 processes, 3
  // lists and 2 rows of each, 2 rows of packets and 2 missing facts.
  EXPECT_EQ(records, 1U + 1U + 1U + 2U + 1U + 4U + 2U + 2U + 2U + 3U + 6U + 2U + 2U);
}

TEST(SnapshotSchema, DescribesEveryMember) {
  const Json types = readSchema()["$defs"];
  walkFullRecord([&types](const Pointer& place, const Json& schema, const Json&) {
    if (!place.empty() && place.back().find_first_not_of("0123456789") == std::string::npos) return;
    ASSERT_TRUE(schema.contains("description")) << place;
    const std::string description = schema["description"];
    EXPECT_TRUE(description.ends_with('.')) << place;
    for (const std::string_view type : {"text", "signed", "unsigned"}) {
      EXPECT_NE(description, types[type]["description"].get<std::string>()) << place;
    }
  });
}

TEST(SnapshotSchema, RequiresOnlyFormatAndVersion) {
  walkFullRecord([](const Pointer& place, const Json& schema, const Json& value) {
    SCOPED_TRACE(place.to_string());
    EXPECT_FALSE(schema.contains("additionalProperties"));
    EXPECT_FALSE(schema.contains("unevaluatedProperties"));
    EXPECT_EQ(schema.contains("required"), place.empty());
    if (!value.is_object() || isText(schema)) return;
    Json required = Json::array();
    for (const auto& [key, member] : value.items()) {
      Json object = fullJson();
      object[place].erase(key);
      const bool isRead = std::holds_alternative<HostSnapshot>(snapshotFromJson(object.dump()));
      if (!isRead) required.push_back(key);
    }
    EXPECT_EQ(required, schema.value("required", Json::array()));
    EXPECT_TRUE(accepts(place / "unknown", 1));
  });
}

// One value of each type, by the names that a schema has for them.
const Json kTypes = {{"null", nullptr},         {"boolean", true}, {"integer", 1},
                     {"number", 1.5},           {"string", "x"},   {"array", Json::array()},
                     {"object", Json::object()}};

TEST(SnapshotSchema, HasTheTypesThatAreAccepted) {
  walkFullRecord([](const Pointer& place, const Json& schema, const Json&) {
    if (!schema.contains("type") && !isText(schema)) return;  // constants and words
    const std::string wanted = schema.value("type", "string");
    for (const auto& [type, value] : kTypes.items()) {
      const bool isRoot = place.empty();  // an empty object lacks the required members there
      const bool isWanted = type == wanted && !isRoot;
      EXPECT_EQ(accepts(place, value), isWanted) << place << " " << type;
    }
  });
}

TEST(SnapshotSchema, HasTheRangesThatAreAccepted) {
  std::size_t count = 0;
  walkFullRecord([&count](const Pointer& place, const Json& schema, const Json&) {
    if (!schema.contains("type") || schema["type"] != "integer") return;
    ++count;
    const std::int64_t minimum = schema["minimum"];
    const std::int64_t maximum = schema["maximum"];
    EXPECT_TRUE(accepts(place, minimum)) << place;
    EXPECT_TRUE(accepts(place, maximum)) << place;
    EXPECT_FALSE(accepts(place, minimum - 1)) << place;
    EXPECT_FALSE(accepts(place, maximum + 1)) << place;
  });
  // 2 ports, 2 counts of what was blanked, and the numbers of 2 processes, 2 adapters, 2 routes, 2
  // sockets of which one has no facts, and 2 rows of packets; the seconds.
  EXPECT_EQ(count, 2U + 2U + 2U * 2U + 2U * 3U + 2U * 3U + (2U + 4U) + 2U + 2U * 2U + 1U);
}

TEST(SnapshotSchema, HasTheConstantsThatAreAccepted) {
  const Json schema = readSchema();
  for (const std::string_view key : {"format", "version"}) {
    const Json& constant = schema["properties"][key]["const"];
    EXPECT_EQ(constant, fullJson()[key]);
    const Pointer place = Pointer() / std::string(key);
    EXPECT_TRUE(accepts(place, constant));
    for (const auto& [type, value] : kTypes.items()) {
      EXPECT_EQ(accepts(place, value), value == constant) << place << " " << type;
    }
  }
}

Json wordsOfSelectorAnswers() {
  constexpr std::int32_t kCount = 4;
  Json words = Json::array();
  for (std::int32_t i = 0; i < kCount; ++i) {
    words.push_back(egress::toString(static_cast<SelectorAnswerStatus>(i)));
  }
  // No enumerator follows: the value has the word of those outside.
  EXPECT_STREQ(egress::toString(static_cast<SelectorAnswerStatus>(kCount)), "Ok");
  return words;
}

TEST(SnapshotSchema, HasTheWordsOfTheEnumerations) {
  const Json schema = readSchema();
  const auto wordsAt = [&schema](const char* place) { return schema.at(Pointer(place)); };
  EXPECT_EQ(wordsAt("/properties/config/properties/configStatus/enum"),
            Json(declaredConfigStatus()));
  EXPECT_EQ(wordsAt("/properties/selectorAnswers/items/properties/status/enum"),
            wordsOfSelectorAnswers());
  EXPECT_EQ(wordsAt("/properties/sockets/properties/rows/items/properties/protocol/enum"),
            Json(kSocketProtocolWords));
  EXPECT_EQ(wordsAt("/properties/sockets/properties/rows/items/properties/state/enum"),
            Json(kSocketStateWords));
  EXPECT_EQ(wordsAt("/properties/adapters/properties/rows/items/properties/kind/enum"),
            Json(kInterfaceKindWords));
  EXPECT_EQ(wordsAt("/properties/missingFacts/items/properties/fact/enum"), Json(kFactKindWords));
  EXPECT_EQ(wordsAt("/properties/queries/items/properties/outcome/enum"), Json(kQueryOutcomeWords));
  EXPECT_EQ(wordsAt("/properties/resolvedNames/items/properties/source/enum"),
            Json(kNameSourceWords));
}

TEST(SnapshotSchema, HasTheWordsThatAreAccepted) {
  std::size_t count = 0;
  walkFullRecord([&count](const Pointer& place, const Json& schema, const Json&) {
    if (!schema.contains("enum")) return;
    ++count;
    for (const Json& word : schema["enum"]) EXPECT_TRUE(accepts(place, word)) << place << word;
    for (const auto& [type, value] : kTypes.items()) EXPECT_FALSE(accepts(place, value)) << place;
  });
  // The configuration, 4 answers, 2 queries, 2 names, 2 words of 2 sockets, one adapter whose kind
  // is known, 2 facts.
  EXPECT_EQ(count, 1U + 4U + 2U + 2U + 2U * 2U + 1U + 2U);
}

TEST(SnapshotSchema, HasThePatternOfTheBase64ThatIsAccepted) {
  const Json schema = readSchema();
  const Json object = schema["$defs"]["text"]["anyOf"][1];
  EXPECT_EQ(object["required"], Json::array({"base64"}));
  EXPECT_EQ(keysOf(object["properties"]), Json::array({"base64"}));
  const std::regex pattern(object["properties"]["base64"]["pattern"].get<std::string>());
  // Every text of up to five of these bytes, which include digits with and without unused bits.
  constexpr std::string_view kBytes = "AQEh/=-";
  std::vector<std::string> texts = {""};
  std::size_t matches = 0;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string text = texts[i];
    const bool isMatch = std::regex_match(text, pattern);
    EXPECT_EQ(isMatch, bytesOfBase64(text).has_value()) << text;
    matches += isMatch ? 1 : 0;
    if (text.size() == 5) continue;
    for (const char byte : kBytes) texts.push_back(text + byte);
  }
  // Nothing; four of five digits; three and "=", the last one A, E or Q; two and "==", A or Q.
  EXPECT_EQ(matches, 1U + 5U * 5U * 5U * 5U + 5U * 5U * 3U + 5U * 2U);
  // Every last digit before the padding.
  for (int byte = 1; byte < 128; ++byte) {
    for (const std::string_view padding : {"=", "=="}) {
      std::string text = padding == "=" ? "AA" : "A";
      text += static_cast<char>(byte);
      text += padding;
      EXPECT_EQ(std::regex_match(text, pattern), bytesOfBase64(text).has_value()) << text;
    }
  }
}

}  // namespace
}  // namespace egress::snapshot
