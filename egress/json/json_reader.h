#ifndef EGRESS_JSON_JSON_READER_H
#define EGRESS_JSON_JSON_READER_H

#include <string_view>

#include "egress/json/json_fault.h"
#include "egress/json/json_value.h"

namespace egress {

// Whether to keep the text of a number that is not a 64-bit integer.
enum class NumberText { Drop, Keep };

// Reads one JSON document (RFC 8259): a value of any kind, surrounded by blanks and nothing else.
//
// Works on bytes and is lenient: it accepts leading zeros, and in strings raw control bytes and
// invalid UTF-8, and it encodes an unpaired surrogate escape as three bytes. Returns false for any
// other text that is not JSON, and for one that is nested deeper than kMaxJsonDepth; `value` is
// then unchanged, and findJsonFault gives the reason. NumberText::Keep stores the text of each
// `Number` in its stringValue. Throws only when memory runs out.
[[nodiscard]] bool parseJsonDocument(std::string_view text, JsonValue& value,
                                     NumberText numberText = NumberText::Drop);

}  // namespace egress

#endif
