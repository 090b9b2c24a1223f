#ifndef EGRESS_JSON_JSON_VALUE_H
#define EGRESS_JSON_JSON_VALUE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "egress/json/json_kind.h"

namespace egress {

// One value of a JSON document (RFC 8259), owning everything below it.
//
// A flat record: every value has every field, and only the fields of its kind are meaningful. A
// number that is not a 64-bit integer keeps only its kind. An object's members are in document
// order, including repeated keys. Moving empties the source except for kind, boolValue and
// intValue. A value cannot be copied, because a document is read, inspected and dropped.
struct JsonValue {
  JsonKind kind = JsonKind::Null;
  bool boolValue = false;               // Bool
  std::int64_t intValue = 0;            // Integer
  std::string stringValue;              // String: unescaped bytes, may include zero bytes
  std::vector<JsonValue> items;         // Array
  std::vector<std::string> memberKeys;  // Object: memberKeys[i] is the key of memberValues[i]
  std::vector<JsonValue> memberValues;  // Object: same size as memberKeys

  JsonValue() noexcept;
  JsonValue(JsonValue&&) noexcept = default;
  JsonValue& operator=(JsonValue&&) noexcept = default;
  JsonValue(const JsonValue&) = delete;
  JsonValue& operator=(const JsonValue&) = delete;
  ~JsonValue() = default;
};

// Defaulted outside the class, because std::vector would otherwise zero all bytes of a new element
// before it constructs it.
inline JsonValue::JsonValue() noexcept = default;

// The value of the first member of `object` whose key has exactly the bytes of `key`, or nullptr if
// there is none or `object` is not an object. Lives as long as `object`.
[[nodiscard]] const JsonValue* findMember(const JsonValue& object, std::string_view key) noexcept;

}  // namespace egress

#endif
