#ifndef EGRESS_CONFIG_SELECTOR_ANSWER_H
#define EGRESS_CONFIG_SELECTOR_ANSWER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "egress/export.h"

namespace egress {

enum class SelectorAnswerStatus : std::int32_t {
  Ok,               // the answer names a choice
  TransportFailed,  // there is no answer; set by the caller that fetches answers, never by the
                    // reader
  Malformed,        // no JSON, or its root is no object
  NowMissing,       // "now" is absent, no string, or empty
};

// The proxy engine's answer to the question which outbound one of its selectors uses now.
struct SelectorAnswer {
  std::string selectorTag;  // tag of the selector that was asked
  SelectorAnswerStatus status = SelectorAnswerStatus::Ok;
  std::string now;  // tag of the outbound in use; means something only when status is Ok
};

// Reads the text of one answer, a JSON object such as {"name":"proxy","now":"node_3"}; every member
// but the first "now" is ignored. On Ok the choice is stored into `now`, if given; on every other
// result `now` stays as it was. Throws only when memory runs out.
[[nodiscard]] EGRESS_EXPORT SelectorAnswerStatus readSelectorAnswer(std::string_view text,
                                                                    std::string* now);

// The enumerator's name; constant text, never null. A value outside the enumeration gives "Ok", as
// which the diagnosis takes it.
[[nodiscard]] EGRESS_EXPORT const char* toString(SelectorAnswerStatus status) noexcept;

// The inverse: the enumerator with exactly this name, or nothing.
[[nodiscard]] EGRESS_EXPORT std::optional<SelectorAnswerStatus> parseSelectorAnswerStatus(
    std::string_view word) noexcept;

}  // namespace egress

#endif
