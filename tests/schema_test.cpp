// Compares docs/report.schema.json with the report table.

#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress/core/report_table.h"

namespace egress::test {
namespace {

using Json = nlohmann::ordered_json;

// The types or words of a field in the schema, with references resolved.
Json typesOf(const Json& schema, const Json& field) {
  if (field.contains("$ref")) {
    return typesOf(schema,
                   schema.at(Json::json_pointer(field["$ref"].get<std::string>().substr(1))));
  }
  if (field.contains("anyOf")) {
    Json types = Json::array();
    for (const Json& choice : field["anyOf"]) types.push_back(typesOf(schema, choice));
    return types;
  }
  return field.contains("enum") ? field["enum"] : field.at("type");
}

Json typesOf(const ReportField& field) {
  if (field.kind == ReportKind::String) return field.declaredWords();
  const Json type = field.kind == ReportKind::Boolean ? "boolean" : "integer";
  return field.mayBeNull ? Json::array({type, "null"}) : type;
}

TEST(ReportSchema, MatchesTheMembersColumnsTypesWordsAndOrderOfTheReportTable) {
  std::ifstream file(EGRESS_SOURCE_DIR "/docs/report.schema.json");
  const Json schema = Json::parse(file);

  Json found = Json::object();
  Json wanted = Json::object();
  Json required = Json::array();
  for (const auto& [key, value] : schema["properties"].items()) {
    if (!value.contains("items")) {
      found[key] = typesOf(schema, value);
      continue;
    }
    EXPECT_EQ(value["type"], "array") << key;
    Json columns = Json::array();
    found[key] = Json::object();
    for (const auto& [column, field] : value["items"]["properties"].items()) {
      found[key][column] = typesOf(schema, field);
      columns.push_back(column);
    }
    EXPECT_EQ(value["items"]["required"], columns) << key;
  }
  for (const ReportMemberField& member : kReportMembers) {
    const std::string key(member.field.key);
    if (!member.onlyWithConfig) required.push_back(key);
    if (member.columns.empty()) wanted[key] = typesOf(member.field);
    for (const ReportField& column : member.columns) {
      wanted[key][std::string(column.key)] = typesOf(column);
    }
  }
  EXPECT_EQ(found.dump(1), wanted.dump(1));
  EXPECT_EQ(schema["required"], required);
}

}  // namespace
}  // namespace egress::test
