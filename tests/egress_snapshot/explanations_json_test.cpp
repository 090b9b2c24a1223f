#include "egress_snapshot/explanations_json.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress_snapshot/explanations.h"

namespace egress::snapshot {
namespace {

using Json = nlohmann::json;

TEST(ExplanationsJson, AWordHasOneObjectForEachKeyThatHasItInTheirOrder) {
  const Json objects = Json::parse(explanationsToJson("OK"));
  std::vector<std::string> keys;
  for (const Json& object : objects) keys.push_back(object["key"]);
  EXPECT_EQ(keys, (std::vector<std::string>{
                      "configStatus", "activeEndpointStatus", "selectionStatus", "interfacesStatus",
                      "defaultRoutesStatus", "defaultRoutes[].interfaceOrdinalStatus",
                      "socketSourcesStatus"}));
}

TEST(ExplanationsJson, AnObjectHasAllTextsAndTheInputsThatAreNotEmpty) {
  for (const ExplainedKey& row : explainedKeys()) {
    for (const std::string word :
         {"OK", "NO_CONFIG", "true", "os_routed", "SELECTOR_NOW_MISSING", "SETTLES"}) {
      const std::optional<Explanation> explanation = row.explain(word);
      if (!explanation) continue;
      SCOPED_TRACE(row.key);
      Json wanted = {{"key", row.key},
                     {"question", row.question},
                     {"meaning", explanation->meaning},
                     {"usualCause", explanation->usualCause},
                     {"whatToDo", explanation->whatToDo},
                     {"smallestInput", Json::object()}};
      const SmallestInput& input = explanation->smallestInput;
      Json& inputs = wanted["smallestInput"];
      if (!input.config.empty()) inputs["config"] = input.config;
      if (!input.answer.empty()) inputs["answer"] = input.answer;
      if (!input.snapshot.empty()) inputs["snapshot"] = input.snapshot;
      const Json objects = Json::parse(explanationsToJson(word));
      EXPECT_EQ(std::count(objects.begin(), objects.end(), wanted), 1);
    }
  }
}

TEST(ExplanationsJson, AnUnknownWordGivesAnEmptyArray) {
  for (const std::string word : {"", "ok", "OK ", "NO_SUCH_WORD", "\xFF"}) {
    EXPECT_EQ(explanationsToJson(word), "[]") << word;
  }
}

TEST(ExplanationsJson, TheTextIsIndented) {
  EXPECT_TRUE(explanationsToJson("SETTLES").starts_with("[\n  {\n    \"key\": \"crossCheck\",\n"));
}

}  // namespace
}  // namespace egress::snapshot
