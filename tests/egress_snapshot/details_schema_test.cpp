// Compares docs/details.schema.json with what detailsToJson writes.

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress/core/diagnose_egress.h"
#include "egress_snapshot/details_json.h"
#include "egress_snapshot/diagnose_snapshot.h"
#include "tests/egress_snapshot/detailed_snapshot.h"
#include "tests/support/read_file.h"

namespace egress::snapshot {
namespace {

using Json = nlohmann::ordered_json;
using Pointer = Json::json_pointer;

Json readSchema(const std::string& name) {
  return Json::parse(test::readFile(EGRESS_SOURCE_DIR "/docs/" + name + ".schema.json"));
}

std::string detailsOf(const HostSnapshot& snapshot) {
  std::vector<AddressFinding> findings = diagnoseAddresses(snapshot);
  crossCheckAddresses(snapshot, findings);
  return detailsToJson(snapshot, findings);
}

// Details that together have every member, and each member that may be absent once without it.
std::vector<Json> detailsToCompare() {
  HostSnapshot failed = detailedSnapshot();
  failed.selectorAnswers.clear();
  failed.adapters.enumFailed = true;
  failed.routes.enumFailed = true;
  failed.sockets.enumFailed = true;
  HostSnapshot withoutNames = detailedSnapshot();
  for (Adapter& row : withoutNames.adapters.rows) row.name.clear();
  std::vector<Json> details;
  for (const HostSnapshot& snapshot :
       {HostSnapshot{}, failed, withoutNames, detailedSnapshot(), namedSnapshot()}) {
    details.push_back(Json::parse(detailsOf(snapshot)));
  }
  const HostSnapshot empty;
  details.push_back(Json::parse(
      detailsToJson(empty, diagnoseAddresses(empty), JsonLayout::INDENTED, "named.json")));
  return details;
}

// The place of the schema that says more: the target of a reference, or the alternative that an
// object has in place of null.
std::string followed(const Json& root, const std::string& place) {
  const Json& schema = root.at(Pointer(place));
  if (schema.contains("$ref")) return followed(root, schema["$ref"].get<std::string>().substr(1));
  const bool mayBeNull = schema.contains("anyOf") && schema["anyOf"][1] == Json({{"type", "null"}});
  return mayBeNull ? followed(root, place + "/anyOf/0") : place;
}

// Calls visit(place, schema, value) for each value in `value`. The place is that of the schema.
using Visit = std::function<void(const std::string&, const Json&, const Json&)>;

void walk(const Json& root, const std::string& start, const Json& value, const Visit& visit) {
  if (value.is_null()) return;
  const std::string place = followed(root, start);
  const Json& schema = root.at(Pointer(place));
  visit(place, schema, value);
  if (value.is_array()) {
    for (const Json& item : value) walk(root, place + "/items", item, visit);
  }
  if (!value.is_object() || !schema.contains("properties")) return;
  for (const auto& [key, member] : value.items()) {
    ASSERT_TRUE(schema["properties"].contains(key)) << place << " " << key;
    walk(root, (Pointer(place) / "properties" / key).to_string(), member, visit);
  }
}

void walkDetails(const Visit& visit) {
  const Json root = readSchema("details");
  for (const Json& details : detailsToCompare()) walk(root, "", details, visit);
}

std::vector<std::string> keysOf(const Json& object) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : object.items()) keys.push_back(key);
  return keys;
}

bool isText(const Json& schema) {
  return schema.contains("anyOf");
}

// The members of one kind of object: how many objects there were, and how many had each.
struct SeenMembers {
  std::size_t objects = 0;
  std::map<std::string, std::size_t> counts;
};

TEST(DetailsSchema, HasTheMembersThatAreWrittenInTheirOrderAndRequiresThoseThatAlwaysAre) {
  std::map<std::string, SeenMembers> seen;
  walkDetails([&seen](const std::string& place, const Json& schema, const Json& value) {
    if (!value.is_object() || isText(schema)) return;
    const std::vector<std::string> properties = keysOf(schema["properties"]);
    std::vector<std::string> wanted;
    for (const std::string& key : properties) {
      if (value.contains(key)) wanted.push_back(key);
    }
    EXPECT_EQ(keysOf(value), wanted) << place;
    ++seen[place].objects;
    for (const std::string& key : wanted) ++seen[place].counts[key];
  });
  // The root, origin, input with what was blanked, queries and names, the report and its three
  // kinds of rows, way and its rows, endpoint, other addresses, crossCheck, socket, packets,
  // interface row, missing fact, process, failures and interface.
  EXPECT_EQ(seen.size(), 1U + 1U + 4U + 4U + 2U + 1U + 1U + 1U + 2U + 1U + 1U + 1U + 1U + 1U);
  const Json root = readSchema("details");
  for (const auto& [place, members] : seen) {
    const Json& schema = root.at(Pointer(place));
    std::vector<std::string> all;
    std::vector<std::string> always;
    for (const std::string& key : keysOf(schema["properties"])) {
      const auto count = members.counts.find(key);
      if (count == members.counts.end()) continue;
      all.push_back(key);
      if (count->second == members.objects) always.push_back(key);
    }
    EXPECT_EQ(keysOf(schema["properties"]), all) << place;
    EXPECT_EQ(schema["required"].get<std::vector<std::string>>(), always) << place;
  }
}

// Calls visit(place, schema) for each schema of an object in the document.
void forEachObjectSchema(const Json& schema, const Pointer& place,
                         const std::function<void(const Pointer&, const Json&)>& visit) {
  if (schema.is_object() && schema.value("type", Json()) == "object") visit(place, schema);
  if (!schema.is_structured()) return;
  for (const auto& [key, inner] : schema.items()) forEachObjectSchema(inner, place / key, visit);
}

TEST(DetailsSchema, AllowsNoOtherMember) {
  std::size_t objects = 0;
  forEachObjectSchema(readSchema("details"), Pointer(),
                      [&objects](const Pointer& place, const Json& schema) {
                        ++objects;
                        ASSERT_TRUE(schema.contains("additionalProperties")) << place;
                        EXPECT_EQ(schema["additionalProperties"], false) << place;
                        EXPECT_TRUE(schema.contains("required")) << place;
                      });
  EXPECT_EQ(objects, 22U + 1U);  // those that are written, and base64
}

TEST(DetailsSchema, HasTheTypesThatAreWritten) {
  const std::map<std::string, std::function<bool(const Json&)>> types = {
      {"object", [](const Json& value) { return value.is_object(); }},
      {"array", [](const Json& value) { return value.is_array(); }},
      {"boolean", [](const Json& value) { return value.is_boolean(); }},
      {"integer", [](const Json& value) { return value.is_number_integer(); }}};
  walkDetails([&types](const std::string& place, const Json& schema, const Json& value) {
    if (schema.contains("const")) {
      EXPECT_EQ(value, schema["const"]) << place;
    } else if (schema.contains("enum")) {
      EXPECT_NE(std::ranges::find(schema["enum"], value), schema["enum"].end()) << place;
    } else if (isText(schema)) {
      EXPECT_TRUE(value.is_string() || keysOf(value) == std::vector<std::string>{"base64"})
          << place;
    } else {
      EXPECT_TRUE(types.at(schema["type"])(value)) << place << " " << value;
    }
    if (!value.is_number_integer()) return;
    EXPECT_GE(value, schema.value("minimum", value)) << place;
    EXPECT_LE(value, schema.value("maximum", value)) << place;
  });
}

TEST(DetailsSchema, DescribesEveryMember) {
  const Json root = readSchema("details");
  forEachObjectSchema(root, Pointer(), [](const Pointer& place, const Json& schema) {
    if (place.to_string().starts_with("/$defs/report")) return;
    for (const auto& [key, member] : schema["properties"].items()) {
      const bool isInterface = member == Json({{"$ref", "#/$defs/interface"}});
      const bool isOrdinal = member == Json({{"$ref", "#/$defs/ordinal"}});
      if (isInterface || isOrdinal) continue;  // these describe themselves
      ASSERT_TRUE(member.contains("description")) << place << " " << key;
      EXPECT_TRUE(member["description"].get<std::string>().ends_with('.')) << place << " " << key;
    }
  });
  for (const char* const name : {"interface", "ordinal"}) {
    EXPECT_TRUE(root["$defs"][name].contains("description")) << name;
  }
}

TEST(DetailsSchema, HasTheSchemaOfTheReport) {
  Json report = readSchema("report");
  const Json definitions = readSchema("details")["$defs"];
  for (const auto& [name, definition] : report["$defs"].items()) {
    EXPECT_EQ(definitions[name], definition) << name;
  }
  for (const char* const key : {"$schema", "$id", "title", "$defs"}) report.erase(key);
  EXPECT_EQ(definitions["report"], report);
}

TEST(DetailsSchema, HasTheWordsOfTheEnumerations) {
  const Json root = readSchema("details");
  const auto wordsAt = [&root](const char* place) { return root.at(Pointer(place))["enum"]; };
  const std::string socket = "/properties/sockets/items/properties/";
  EXPECT_EQ(wordsAt("/properties/endpoint/properties/status"),
            Json(declaredActiveEndpointStatus()));
  EXPECT_EQ(wordsAt("/properties/crossCheck/properties/status"), Json(kCrossCheckStatusWords));
  const std::string other = "/properties/otherAddresses/items/properties/";
  EXPECT_EQ(wordsAt((other + "crossCheckStatus").c_str()), Json(kCrossCheckStatusWords));
  EXPECT_EQ(wordsAt((other + "selectionStatus").c_str()), Json(declaredSelectionStatus()));
  const std::string input = "/properties/input/properties/";
  EXPECT_EQ(wordsAt((input + "queries/items/properties/outcome").c_str()),
            Json(kQueryOutcomeWords));
  EXPECT_EQ(wordsAt((input + "resolvedNames/items/properties/source").c_str()),
            Json(kNameSourceWords));
  EXPECT_EQ(wordsAt((socket + "protocol").c_str()), Json(kSocketProtocolWords));
  EXPECT_EQ(wordsAt((socket + "state").c_str()), Json(kSocketStateWords));
  EXPECT_EQ(wordsAt((socket + "role").c_str()), Json(kSocketRoleWords));
  EXPECT_EQ(wordsAt((socket + "decidedBy").c_str()), Json(kEvidenceWords));
  EXPECT_EQ(wordsAt("/properties/interfaces/items/properties/kind"), Json(kInterfaceKindWords));
  EXPECT_EQ(wordsAt("/properties/missingFacts/items/properties/fact"), Json(kFactKindWords));
}

TEST(DetailsSchema, HasTheRangesOfTheNumbers) {
  const Json root = readSchema("details");
  std::set<std::string> unsignedPlaces;
  const Json flat = root["properties"].flatten();
  for (const auto& [place, value] : flat.items()) {
    if (value == "#/$defs/unsigned") unsignedPlaces.insert(Pointer(place).parent_pointer().back());
  }
  const std::set<std::string> wanted = {
      "port", "comments", "trailingCommas", "observedSeconds", "localPort", "remotePort", "user",
      "mark", "id"};
  EXPECT_EQ(unsignedPlaces, wanted);
  const Json& packets = root.at(Pointer("/properties/sockets/items/properties/byPackets/items"));
  EXPECT_EQ(packets["properties"]["count"]["minimum"], 1);
  EXPECT_FALSE(packets["properties"]["count"].contains("maximum"));  // a sum
  const Json& row = root.at(Pointer("/properties/interfaces/items/properties/operStatus"));
  EXPECT_EQ(row["minimum"], std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(row["maximum"], std::numeric_limits<std::int32_t>::max());
}

TEST(DetailsSchema, HasTheConstants) {
  const Json properties = readSchema("details")["properties"];
  EXPECT_EQ(properties["format"]["const"], kDetailsFormat);
  EXPECT_EQ(properties["version"]["const"], kDetailsVersion);
}

TEST(DetailsSchema, HasThePatternOfTheSnapshotsBase64) {
  const auto pattern = [](const char* name) {
    return readSchema(name)["$defs"]["text"]["anyOf"][1]["properties"]["base64"]["pattern"];
  };
  EXPECT_TRUE(pattern("details").is_string());
  EXPECT_EQ(pattern("details"), pattern("snapshot"));
}

}  // namespace
}  // namespace egress::snapshot
