#ifndef EGRESS_SNAPSHOT_JSON_FAULT_JSON_H
#define EGRESS_SNAPSHOT_JSON_FAULT_JSON_H

#include <cstddef>
#include <string>
#include <string_view>

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

// What findJsonFault of egress says of the text, as JSON (RFC 8259): null, or an object of the kind
// and the offset of the fault, and its line and column. Throws only when memory runs out.
[[nodiscard]] EGRESS_SNAPSHOT_EXPORT std::string jsonFaultToJson(std::string_view text);

}  // namespace egress::snapshot

#endif
