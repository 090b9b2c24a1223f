#include "egress_snapshot/main_tags.h"

#include <set>

#include "egress_snapshot/json_text.h"

namespace egress::snapshot {
namespace {

const std::string* textIn(const Json& object, const char* key) {
  const auto member = object.find(key);  // its end, unless the value is an object
  return member == object.end() ? nullptr : member->get_ptr<const std::string*>();
}

// Empty if there is no array.
const Json::array_t& arrayIn(const Json& object, const char* key) {
  static const Json::array_t kNone;
  const auto member = object.find(key);
  const auto* const array =
      member == object.end() ? nullptr : member->get_ptr<const Json::array_t*>();
  return array == nullptr ? kNone : *array;
}

// To where this outbound leads.
void addTargets(const Json& outbound, std::set<std::string>& targets) {
  const std::string* const own = textIn(outbound, "tag");
  const auto add = [&](const std::string* target) {
    if (target != nullptr && (own == nullptr || *target != *own)) targets.insert(*target);
  };
  add(textIn(outbound, "detour"));
  for (const Json& choice : arrayIn(outbound, "outbounds")) {
    add(choice.get_ptr<const std::string*>());
  }
}

}  // namespace

std::vector<std::string> possibleMainTags(std::string_view configText) {
  JsonTree tree;
  if (parseJson(configText, tree)) return {};
  const Json::array_t& outbounds = arrayIn(tree.root, "outbounds");
  std::set<std::string> targets;
  for (const Json& outbound : outbounds) addTargets(outbound, targets);
  std::vector<std::string> tags;
  for (const Json& outbound : outbounds) {
    const std::string* const tag = textIn(outbound, "tag");
    if (tag != nullptr && !tag->empty() && targets.insert(*tag).second) tags.push_back(*tag);
  }
  return tags;
}

}  // namespace egress::snapshot
