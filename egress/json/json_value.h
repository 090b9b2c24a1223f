#ifndef EGRESS_JSON_JSON_VALUE_H
#define EGRESS_JSON_JSON_VALUE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "egress/export.h"

namespace egress {

enum class JsonKind : std::int32_t {
  Null,     // the literal null; also a freshly made value
  Bool,     // true or false
  Integer,  // no fraction, no exponent, fits a signed 64-bit integer
  Number,   // every other number; its value is not kept
  String,
  Array,
  Object,
};

// One value of a JSON document (RFC 8259), owning everything below it.
//
// A flat record: every value carries every field, and only those of its kind mean something.
// Numbers that are no 64-bit integer keep their kind alone. An object's members stand in document
// order, repeated keys included. Moving empties the source but for kind, boolValue and intValue;
// copying is ruled out, because a document is read, looked at and dropped.
struct JsonValue {
  JsonKind kind = JsonKind::Null;
  bool boolValue = false;               // Bool
  std::int64_t intValue = 0;            // Integer
  std::string stringValue;              // String: unescaped bytes, zero bytes included
  std::vector<JsonValue> items;         // Array
  std::vector<std::string> memberKeys;  // Object: memberKeys[i] is the key of memberValues[i]
  std::vector<JsonValue> memberValues;  // Object: as long as memberKeys

  JsonValue() noexcept;
  JsonValue(JsonValue&&) noexcept = default;
  JsonValue& operator=(JsonValue&&) noexcept = default;
  JsonValue(const JsonValue&) = delete;
  JsonValue& operator=(const JsonValue&) = delete;
  ~JsonValue() = default;
};

// Defaulted here, because lists zero all bytes of a new element whose constructor is defaulted in
// its class, and then construct it.
inline JsonValue::JsonValue() noexcept = default;

// The value of the first member of `object` whose key has exactly the bytes of `key`, or nullptr
// when there is none (always so for a value that is not an object). Lives as long as `object`.
[[nodiscard]] EGRESS_EXPORT const JsonValue* findMember(const JsonValue& object,
                                                        std::string_view key) noexcept;

}  // namespace egress

#endif
