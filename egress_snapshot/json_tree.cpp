#include "egress_snapshot/json_tree.h"

namespace egress::snapshot {

void release(Json& value) noexcept {
  if (auto* const items = value.get_ptr<Json::array_t*>()) {
    for (Json& item : *items) release(item);
    Json::array_t().swap(*items);
  } else if (auto* const members = value.get_ptr<Json::object_t*>()) {
    for (auto& member : *members) release(member.second);
    members->clear();
  }
}

bool parseInto(JsonTree& tree, std::string_view text) {
  JsonTreeBuilder builder(tree.root);
  return Json::sax_parse(text, &builder);
}

}  // namespace egress::snapshot
