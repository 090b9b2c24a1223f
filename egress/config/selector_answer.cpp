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

const char* toString(SelectorAnswerStatus status) noexcept {
  using enum SelectorAnswerStatus;
  switch (status) {
    case TransportFailed: return "TransportFailed";
    case Malformed: return "Malformed";
    case NowMissing: return "NowMissing";
    case Ok: break;
  }
  return "Ok";
}

// Past the last enumerator the word is that of Ok again.
std::optional<SelectorAnswerStatus> parseSelectorAnswerStatus(std::string_view word) noexcept {
  const std::string_view first = toString(SelectorAnswerStatus::Ok);
  for (std::int32_t number = 0;; ++number) {
    const auto status = static_cast<SelectorAnswerStatus>(number);
    if (number > 0 && toString(status) == first) return std::nullopt;
    if (toString(status) == word) return status;
  }
}

}  // namespace egress
