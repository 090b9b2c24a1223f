#include "egress/config/selector_answer.h"

#include "egress/json/json_reader.h"
#include "egress/json/json_value.h"

namespace egress {

SelectorAnswerStatus readSelectorAnswer(std::string_view text, std::string* now) {
  JsonValue root;
  if (!parseJsonDocument(text, root)) return SelectorAnswerStatus::Malformed;
  if (root.kind != JsonKind::Object) return SelectorAnswerStatus::Malformed;

  const JsonValue* const choice = findMember(root, "now");
  if (choice == nullptr) return SelectorAnswerStatus::NowMissing;
  if (choice->kind != JsonKind::String) return SelectorAnswerStatus::NowMissing;
  if (choice->stringValue.empty()) return SelectorAnswerStatus::NowMissing;
  if (now != nullptr) *now = choice->stringValue;
  return SelectorAnswerStatus::Ok;
}

}  // namespace egress
