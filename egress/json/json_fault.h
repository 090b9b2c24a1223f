#ifndef EGRESS_JSON_JSON_FAULT_H
#define EGRESS_JSON_JSON_FAULT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "egress/export.h"

namespace egress {

// The deepest nesting level at which a value may start; the root is at level 0. It bounds the
// reader's recursion, so that no text can exhaust the stack.
inline constexpr std::size_t kMaxJsonDepth = 64;

// Why the readers refuse a JSON text.
enum class JsonFaultKind : std::uint32_t {
  END_OF_TEXT,       // the text ends too early; an empty one, too
  NO_VALUE,          // no value can begin with this byte
  BAD_LITERAL,       // neither true, false nor null
  BAD_NUMBER,        // a digit must stand here
  BAD_ESCAPE,        // no such escape, or no hexadecimal digit
  NO_KEY,            // a member's key, a string, must stand here
  NO_COLON,          // a colon must stand between a key and its value
  NO_COMMA,          // a comma or the closing bracket must follow an element
  TOO_DEEP,          // a value would start below kMaxJsonDepth
  BYTES_AFTER_ROOT,  // only blanks may follow the value
};

struct JsonFault {
  JsonFaultKind kind = JsonFaultKind::END_OF_TEXT;
  std::size_t offset = 0;  // of the faulty byte, from 0; the text's size for END_OF_TEXT
};

// Where the readers stop in a text that they refuse, or nothing for a text that they accept.
//
// The faulty byte is the first after which no continuation is accepted: the text before it begins
// some accepted text, the text including it begins none. Costs as much as reading the text. Throws
// only when memory runs out.
[[nodiscard]] EGRESS_EXPORT std::optional<JsonFault> findJsonFault(std::string_view text);

// The enumerator's name; constant text, never null. A value outside the enumeration gives the last
// one.
[[nodiscard]] EGRESS_EXPORT const char* toString(JsonFaultKind kind) noexcept;

}  // namespace egress

#endif
