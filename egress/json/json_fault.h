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
  END_OF_TEXT,       // the text ends too early, or is empty
  NO_VALUE,          // expected a value
  BAD_LITERAL,       // expected true, false or null
  BAD_NUMBER,        // expected a digit
  BAD_ESCAPE,        // unknown escape, or expected a hexadecimal digit
  NO_KEY,            // expected a member's key, a string
  NO_COLON,          // expected a colon after a key
  NO_COMMA,          // expected a comma or the closing bracket after an element
  TOO_DEEP,          // a value would start deeper than kMaxJsonDepth
  BYTES_AFTER_ROOT,  // expected nothing but blanks after the document's value
};

struct JsonFault {
  JsonFaultKind kind = JsonFaultKind::END_OF_TEXT;
  std::size_t offset = 0;  // of the faulty byte, from 0; the text's size for END_OF_TEXT
};

// Where the readers stop in a text that they refuse, or nothing for a text that they accept.
//
// The faulty byte is the first after which no continuation is accepted: the text before it begins
// some accepted text, the text including it begins none. Takes as much time as reading the text,
// and memory for its longest string. Throws only when memory runs out.
[[nodiscard]] EGRESS_EXPORT std::optional<JsonFault> findJsonFault(std::string_view text);

// The enumerator's name; constant text, never null. A value outside the enumeration gives the last
// one.
[[nodiscard]] EGRESS_EXPORT const char* toString(JsonFaultKind kind) noexcept;

}  // namespace egress

#endif
