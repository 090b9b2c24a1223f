#ifndef EGRESS_JSON_JSON_READER_H
#define EGRESS_JSON_JSON_READER_H

#include <cstddef>
#include <string_view>

#include "egress/export.h"
#include "egress/json/json_value.h"

namespace egress {

// The deepest nesting level at which a value may start; the root value stands at level 0. It bounds
// the reader's recursion, so that no text can exhaust the stack.
inline constexpr std::size_t kMaxJsonDepth = 64;

// Reads one JSON document (RFC 8259): a value of any kind with blanks around it and nothing else.
//
// Works on bytes and is lenient where strictness would help nobody: it accepts leading zeros, raw
// control bytes and invalid UTF-8 in strings, and encodes an unpaired surrogate escape on its own
// as three bytes. Returns false for anything else that is not JSON and for a value deeper than
// kMaxJsonDepth; `value` then stays as it was. Throws only when memory runs out.
[[nodiscard]] EGRESS_EXPORT bool parseJsonDocument(std::string_view text, JsonValue& value);

}  // namespace egress

#endif
