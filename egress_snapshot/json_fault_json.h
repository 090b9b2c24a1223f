#ifndef EGRESS_SNAPSHOT_JSON_FAULT_JSON_H
#define EGRESS_SNAPSHOT_JSON_FAULT_JSON_H

#include <cstddef>
#include <string>
#include <string_view>

#include "egress/json/json_fault.h"
#include "egress_snapshot/export.h"

namespace egress::snapshot {

// A place in a text, from 1. The column counts bytes.
struct TextPosition {
  std::size_t line = 1;
  std::size_t column = 1;
};

// The place of the byte at this offset, which is at most the text's size. Lines end with LF.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT TextPosition positionOf(std::string_view text,
                                                             std::size_t offset) noexcept;

// What is wrong at the fault, in words; constant text, never null.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT const char* phraseOf(JsonFaultKind kind) noexcept;

// What findJsonFault of egress says of the text, as JSON (RFC 8259): null, or an object of the kind
// and the offset of the fault, its line and column, and the phrase. Throws only when memory runs
// out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::string jsonFaultToJson(std::string_view text);

// The same for a configuration, of which blankNonJson blanks what people write beside JSON.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::string configFaultToJson(std::string_view configText);

}  // namespace egress::snapshot

#endif
