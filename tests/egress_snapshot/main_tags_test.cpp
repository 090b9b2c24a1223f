#include "egress_snapshot/main_tags.h"

#include <gtest/gtest.h>

namespace egress::snapshot {
namespace {

struct Row {
  const char* name;
  std::string_view text;
  std::vector<std::string> tags;
};

TEST(PossibleMainTags, AreThoseToWhichNoOtherOutboundLeads) {
  const std::vector<Row> rows = {
      {"alone", R"({"outbounds": [{"tag": "a"}]})", {"a"}},
      {"a detour leads", R"({"outbounds": [{"tag": "a", "detour": "b"}, {"tag": "b"}]})", {"a"}},
      {"a choice leads",
       R"({"outbounds": [{"tag": "x"}, {"tag": "s", "outbounds": ["x", 1, "y"]}, {"tag": "y"}]})",
       {"s"}},
      {"in order, each once",
       R"({"outbounds": [{"tag": "c"}, {"tag": "b"}, {"tag": "c"}, {"tag": "a"}]})",
       {"c", "b", "a"}},
      {"an outbound does not lead to itself",
       R"({"outbounds": [{"tag": "a", "detour": "a", "outbounds": ["a"]}]})",
       {"a"}},
      {"an outbound without a tag leads, too",
       R"({"outbounds": [{"detour": "a"}, {"tag": "a"}, {"tag": "b"}]})",
       {"b"}},
      {"a circle",
       R"({"outbounds": [{"tag": "a", "detour": "b"}, {"tag": "b", "detour": "a"}]})",
       {}},
      {"no tag", R"({"outbounds": [{}, {"tag": ""}, {"tag": 1}, [], 1, null]})", {}},
      {"choices that are no array",
       R"({"outbounds": [{"tag": "a", "outbounds": {"a": "b"}}]})",
       {"a"}},
      {"no outbounds", R"({"outbound": [{"tag": "a"}]})", {}},
      {"outbounds that are no array", R"({"outbounds": {"tag": "a"}})", {}},
      {"no object", R"([{"outbounds": [{"tag": "a"}]}])", {}},
      {"no JSON", R"({"outbounds": [{"tag": "a"}])", {}},
      {"nothing", "", {}},
  };
  for (const Row& row : rows) EXPECT_EQ(possibleMainTags(row.text), row.tags) << row.name;
}

}  // namespace
}  // namespace egress::snapshot
