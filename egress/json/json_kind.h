#ifndef EGRESS_JSON_JSON_KIND_H
#define EGRESS_JSON_JSON_KIND_H

#include <cstdint>

#include "egress/export.h"

namespace egress {

// The kind of a JSON value.
enum class JsonKind : std::int32_t {
  Null,     // also the kind of a fresh value
  Bool,     // true or false
  Integer,  // without fraction and exponent, and fits a signed 64-bit integer
  Number,   // every other number
  String,
  Array,
  Object,
};

// The enumerator's name; constant text, never null. A value outside the enumeration gives "Object".
[[nodiscard]] EGRESS_EXPORT const char* toString(JsonKind kind) noexcept;

}  // namespace egress

#endif
