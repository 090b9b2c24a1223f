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
  TransportFailed,  // there is no answer; set by the host, never by the reader
  Malformed,        // not JSON, or its root is not an object
  NowMissing,       // "now" is absent, empty or not a string
};

// The proxy engine's answer to a query for the outbound that a selector uses.
struct SelectorAnswer {
  std::string selectorTag;  // tag of the selector that was asked
  SelectorAnswerStatus status = SelectorAnswerStatus::Ok;
  std::string now;  // tag of the outbound in use; meaningful only if status is Ok
};

// Reads the text of one answer, a JSON object such as {"name":"proxy","now":"node_3"}; only the
// first "now" is read. On Ok it is stored in `*now`, unless `now` is null; on every other result
// `*now` is unchanged. Throws only when memory runs out.
[[nodiscard]] EGRESS_EXPORT SelectorAnswerStatus readSelectorAnswer(std::string_view text,
                                                                    std::string* now);

// The enumerator's name; constant text, never null. A value outside the enumeration gives "Ok":
// the diagnosis treats it so.
[[nodiscard]] EGRESS_EXPORT const char* toString(SelectorAnswerStatus status) noexcept;

// The inverse: the enumerator with exactly this name, or nothing.
[[nodiscard]] EGRESS_EXPORT std::optional<SelectorAnswerStatus> parseSelectorAnswerStatus(
    std::string_view word) noexcept;

}  // namespace egress

#endif
