#include "egress_snapshot/selector_answers_json.h"

#include <utility>

#include "egress_snapshot/json_text.h"
#include "egress_snapshot/json_tree.h"

namespace egress::snapshot {

Result<std::vector<SelectorAnswer>> selectorAnswersFromJson(std::string_view text) {
  JsonTree tree;
  if (Problem problem = parseJson(text, tree)) return *std::move(problem);
  if (!tree.root.is_object()) return refuse(Place(), tree.root, "is not an object");
  std::vector<SelectorAnswer> answers;
  answers.reserve(tree.root.size());
  for (const auto& member : tree.root.items()) {
    SelectorAnswer& answer = answers.emplace_back();
    answer.selectorTag = member.key();
    answer.status = readSelectorAnswer(member.value().dump(), &answer.now);
  }
  return answers;
}

}  // namespace egress::snapshot
